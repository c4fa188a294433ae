// SPDX-License-Identifier: MIT
//
// Templates: what a text asks for, its expansion from a table of values, and what is wrong with one
// that is no template.

#include <cstdio>
#include <map>
#include <string>

#include "ztbinit.h"
#include "ztbstartup.h"
#include "ztbtemplate.h"

namespace {

class Fields final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
    auto const field = mFields.find(name.asCstr());
    if (field == mFields.end()) {
      error->assign(("no field " + std::string(name.asCstr())).c_str());
      return false;
    }
    value->assign(field->second.c_str());
    return true;
  }

 private:
  std::map<std::string, std::string> mFields = {{"name", "Marlene"}, {"order", "4711"}};
};

void show(ZtbTemplate* letter, char const* text) {
  ZtbString error;
  if (!letter->parse(ZtbString(text, true), &error)) {
    std::printf("%s\n", error.asCstr());
    return;
  }
  for (int i = 0; i < letter->getVariableCount(); ++i) {
    bool bracketed = false;
    ZtbString const name = letter->getVariable(i, &bracketed, &error);
    std::printf("%s%s\n", name.asCstr(), bracketed ? ", in square brackets" : "");
  }
  ZtbString const expanded = letter->expand(&error);
  std::printf("%s\n", error.isNull() ? expanded.asCstr() : error.asCstr());
}

}  // namespace

int main(int, char** argv) {
  char const* reason = nullptr;
  if (ztbInitialize(argv[0], &reason) != 0 || ztbStartup(&reason) != 0) {
    std::fprintf(stderr, "%s\n", reason);
    return 1;
  }
  Fields fields;
  ZtbString error;
  ZtbTemplate* const letter = ztbCreateBasicTemplate(&fields, &error);
  if (letter != nullptr) {
    show(letter, "Dear {name}, order [order] is {{packed}}.");
    show(letter, "Dear {name}, it left on {date}.");
    show(letter, "Dear {name},\nit is packed}.");
    letter->release();
  }
  error.setNull();
  ztbShutdown();
}
