// SPDX-License-Identifier: MIT
//
// Templates: what a text asks for, its expansion from a table of values, and what is wrong with one
// that is no template.
//
//   ZTEXEC_HOME=HOME ./templates

#include <ztbinit.h>
#include <ztbstartup.h>
#include <ztbtemplate.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

// Where the values of the variables come from.
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
    std::printf("refused   %s\n", error.asCstr());
    return;
  }
  for (int i = 0; i < letter->getVariableCount(); ++i) {
    bool bracketed = false;
    ZtbString const name = letter->getVariable(i, &bracketed, &error);
    std::printf("variable  %s%s\n", name.asCstr(), bracketed ? ", in square brackets" : "");
  }
  ZtbString const expanded = letter->expand(&error);
  if (error.isNull()) {
    std::printf("text      %s\n", expanded.asCstr());
  } else {
    std::printf("refused   %s\n", error.asCstr());
  }
}

bool showLetters() {
  Fields fields;
  ZtbString error;
  ZtbTemplate* const letter = ztbCreateBasicTemplate(&fields, &error);
  if (letter == nullptr) {
    std::fprintf(stderr, "templates: %s\n", error.asCstr());
    return false;
  }
  show(letter, "Dear {name}, order [order] is {{packed}}.");
  show(letter, "Dear {name}, it left on {date}.");
  show(letter, "Dear {name},\nit is packed}.");
  letter->release();
  return true;
}

}  // namespace

int main(int, char** argv) {
  char const* reason = nullptr;
  if (ztbInitialize(argv[0], &reason) != 0 || ztbStartup(&reason) != 0) {
    std::fprintf(stderr, "templates: %s\n", reason);
    ztbShutdown();
    return 1;
  }
  bool const isDone = showLetters();
  ztbShutdown();
  return isDone ? 0 : 1;
}
