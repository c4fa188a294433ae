// SPDX-License-Identifier: MIT
//
// Attributes: the parts of a text such as a connection string, with brackets and an escape in it.
//
//   ./attributes

#include <ztbinit.h>
#include <ztbparse.h>

#include <cstdio>

namespace {

char const* shown(ZtbString const& text) {
  return text.isNull() ? "(null)" : text.asCstr();
}

void show(char const* text) {
  ZtbParse attributes;
  attributes.parse(ZtbString(text, true));
  ZtbString name;
  ZtbString value;
  for (int i = 0; attributes.getAttribute(i, &name, &value); ++i) {
    std::printf("%s is %s\n", shown(name), shown(value));
  }
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "attributes: %s\n", error);
    return 1;
  }
  show("server=db1; user=kim; filter=(price<10=yes); note=one%3B two");
  ztbShutdown();
  return 0;
}
