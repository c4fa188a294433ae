// SPDX-License-Identifier: MIT
//
// Finds the columns of a small table whose values are all numbers.
//
//   ./detect_types

#include <ztbdeterminetype.h>
#include <ztbinit.h>

#include <cstdio>

namespace {

constexpr int kRows = 3;
constexpr int kColumns = 4;
constexpr char const* kTable[kRows][kColumns] = {
    {"1001", "12.50", "3 Feb 1989", "yes"},
    {"1002", "7", "1989-03-05", "no"},
    {"1003", "1E-3", "19:05", "n/a"},
};

// A column is one of numbers if every value of it is.
bool isNumber(char const* text) {
  switch (determineType(ZtbString(text, true))) {
    case determinedInteger:
    case determinedReal:
      return true;
    default:
      return false;
  }
}

bool isNumeric(int column) {
  for (auto const& row : kTable) {
    if (!isNumber(row[column])) return false;
  }
  return true;
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "detect_types: %s\n", error);
    return 1;
  }
  for (int column = 0; column < kColumns; ++column) {
    std::printf("column %d %s\n", column + 1, isNumeric(column) ? "is numeric" : "is not numeric");
  }
  ztbShutdown();
  return 0;
}
