// SPDX-License-Identifier: MIT
//
// Reads the cells of a row as the types of their columns, and tells what didn't fit.
//
//   ./variants

#include <ztbdatavar.h>
#include <ztbinit.h>

#include <cstdio>

namespace {

struct Cell {
  char const* column;
  char const* typeName;
  char const* text;
};

constexpr Cell kRow[] = {
    {"item", "Integer", "4711"},         {"price", "Real", "12.50"}, {"in stock", "Boolean", "yes"},
    {"delivered", "Date", "3 Feb 1989"}, {"weight", "Real", "n/a"},
};

void show(Cell const& cell) {
  ZtbDatavar value;
  value.assign(cell.text);
  bool const converted = value.setType(ztbTypeFromString(cell.typeName));
  if (!converted || value.isNull()) {
    std::printf("%-9s \"%s\" is no %s\n", cell.column, cell.text, cell.typeName);
    return;
  }
  unsigned int bytes = 0;
  value.getRaw(&bytes);
  ZtbString const text = value.asString();
  std::printf("%-9s %s, %u bytes as %s\n", cell.column, text.asCstr(), bytes, cell.typeName);
}

void shareAndWrite() {
  ZtbDatavar first;
  first.assign("a text that two variants share");
  ZtbDatavar second(first);
  second.truncate(6, -1);
  std::printf("%s / %s\n", first.asString().asCstr(), second.asString().asCstr());
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "variants: %s\n", error);
    return 1;
  }
  for (Cell const& cell : kRow) show(cell);
  shareAndWrite();
  ztbShutdown();
  return 0;
}
