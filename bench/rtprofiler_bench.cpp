// SPDX-License-Identifier: MIT
//
// A section opened and closed, beside what it can't do without: two readings of the clock. Alone,
// inside another, and among the names of a larger program.

#include "rtprofiler.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

void readClockTwice(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
  }
}

void oneSection(benchmark::State& state) {
  RTProfiler profiler;
  for (auto _ : state) {
    profiler.enter();
    profiler.exit("section");
  }
}

void nestedSection(benchmark::State& state) {
  RTProfiler profiler;
  profiler.enter();
  for (auto _ : state) {
    profiler.enter();
    profiler.exit("section");
  }
  profiler.exit("outer");
}

void oneOfAHundred(benchmark::State& state) {
  std::vector<std::string> names;
  for (int i = 0; i < 100; ++i) names.push_back("module.function" + std::to_string(i * 7));
  RTProfiler profiler;
  std::size_t at = 0;
  for (auto _ : state) {
    profiler.enter();
    profiler.exit(names[at].c_str());
    at = (at + 37) % names.size();
  }
}

BENCHMARK(oneSection)->Name("profiler/section/ztbcpp31");
BENCHMARK(readClockTwice)->Name("profiler/section/clock");
BENCHMARK(nestedSection)->Name("profiler/nested/ztbcpp31");
BENCHMARK(readClockTwice)->Name("profiler/nested/clock");
BENCHMARK(oneOfAHundred)->Name("profiler/hundred_names/ztbcpp31");
BENCHMARK(readClockTwice)->Name("profiler/hundred_names/clock");

}  // namespace
