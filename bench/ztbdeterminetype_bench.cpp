// SPDX-License-Identifier: MIT
//
// The types of a million short lines, beside one strtod each. Both read the lines with
// getline, and `copied` gives each line a body of its own, as a caller without static text would.

#include "ztbdeterminetype.h"

#include <benchmark/benchmark.h>
#include <stdio.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>

namespace {

constexpr int kLines = 1'000'000;

// Lines of every type in the mix of a table of data: a third are integers, a third reals.
std::string randomLine(std::mt19937& random) {
  auto const upTo = [&random](unsigned n) { return std::to_string(random() % n + 1); };
  static char const* const kWords[] = {"apples", "Zürich", "Yes", "n", "December", "A-1234"};
  switch (random() % 9) {
    case 0:
      return upTo(99);
    case 1:
      return upTo(1'000'000'000);
    case 2:
      return "-" + upTo(1'000'000);
    case 3:
      return upTo(100'000) + "." + upTo(99);
    case 4:
      return "-" + upTo(99) + "." + upTo(1'000'000);
    case 5:
      return upTo(9) + "." + upTo(1'000'000) + "E-" + upTo(30);
    case 6:
      return "20" + std::to_string(random() % 90 + 10) + "-" + upTo(12) + "-" + upTo(28);
    case 7:
      return upTo(28) + " Feb 1989 19:05";
    default:
      return kWords[random() % std::size(kWords)];
  }
}

// A file of a million such lines, gone with the process.
std::FILE* column() {
  static std::FILE* const kFile = [] {
    std::FILE* const file = std::tmpfile();
    std::mt19937 random(1);
    for (int i = 0; i < kLines; ++i) std::fputs((randomLine(random) + "\n").c_str(), file);
    return file;
  }();
  return kFile;
}

// Reads the column with getline and shows each line, without its line end, to `look`.
template <class Look>
void readColumn(benchmark::State& state, Look look) {
  std::FILE* const file = column();
  char* line = nullptr;
  std::size_t capacity = 0;
  for (auto _ : state) {
    std::rewind(file);
    for (ssize_t size; (size = getline(&line, &capacity, file)) > 0;) {
      line[size - 1] = '\0';
      look(line);
    }
  }
  std::free(line);
}

void typeZtb(benchmark::State& state) {
  readColumn(state, [](char const* line) {
    benchmark::DoNotOptimize(determineType(ZtbString(line, true)));
  });
}
BENCHMARK(typeZtb)->Name("determinetype/million_lines/ztbcpp31")->Unit(benchmark::kMillisecond);

void typeZtbCopied(benchmark::State& state) {
  readColumn(state, [](char const* line) {
    ZtbString const text(line, false);
    benchmark::DoNotOptimize(determineType(text));
  });
}
BENCHMARK(typeZtbCopied)
    ->Name("determinetype/million_lines_copied/ztbcpp31")
    ->Unit(benchmark::kMillisecond);

void convertStrtod(benchmark::State& state) {
  readColumn(state, [](char const* line) { benchmark::DoNotOptimize(std::strtod(line, nullptr)); });
}
BENCHMARK(convertStrtod)
    ->Name("determinetype/million_lines/getline+strtod")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(convertStrtod)
    ->Name("determinetype/million_lines_copied/getline+strtod")
    ->Unit(benchmark::kMillisecond);

}  // namespace
