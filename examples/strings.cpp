// SPDX-License-Identifier: MIT
//
// Strings: the three forms, characters beside bytes, copy on write, and formatting.
//
//   ./strings

#include <ztbinit.h>
#include <ztbstring.h>
#include <ztbstringformat.h>

#include <cstdio>
#include <map>

namespace {

void showForms() {
  ZtbString const null;
  ZtbString const fixed("a literal is held, not copied", true);
  ZtbString const owned("text that may go away is copied", false);
  std::printf("%s, with the text \"%s\"\n", null.isNull() ? "null" : "not null", null.asCstr());
  std::printf("%s; %s\n", fixed.asCstr(), owned.asCstr());
}

void countCharacters() {
  ZtbString const price("5 \u20ac", true);
  std::printf("\"%s\" has %u characters in %u bytes\n", price.asCstr(), price.length(),
              price.cStrSize() - 1);
  std::printf("the sign stands at %d\n", price.find(ZtbString("\u20ac", true), 0));
}

void changeACopy() {
  ZtbString const original("  trim me  ", false);
  ZtbString copy(original);
  int const removed = copy.trim(true, true);
  std::printf("\"%s\" without %d blanks is \"%s\"\n", original.asCstr(), removed, copy.asCstr());
}

void readANumber(char const* text) {
  bool failed = false;
  int const number = ZtbString(text, true).asInt(&failed);
  if (failed) {
    std::printf("\"%s\" is no number\n", text);
  } else {
    std::printf("\"%s\" is %d\n", text, number);
  }
}

void formatALine() {
  ZtbString const table("CUSTOMER", true);
  ZtbString const line = ztbStringFormat("%S: %d columns, %lld rows, %g s", &table, 12,
                                         static_cast<__int64>(5000000000), 0.25);
  std::printf("%s\n", line.asCstr());
}

void lookUpWithoutCase() {
  std::map<ZtbString, int, ZtbStringLessInsensitive> colours;
  colours[ZtbString("Gr\u00fcn", true)] = 2;
  std::printf("GR\u00dcN is %d\n", colours[ZtbString("GR\u00dcN", true)]);
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "initialize: %s\n", error);
    return 1;
  }
  // Strings go before the library does, so they live in functions of their own.
  showForms();
  countCharacters();
  changeACopy();
  readANumber("42");
  readANumber("4294967296");
  formatALine();
  lookUpWithoutCase();
  ztbShutdown();
  return 0;
}
