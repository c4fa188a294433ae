// SPDX-License-Identifier: MIT
//
// Runs the benchmarks. Each is named "family/operation/WHO": all that share what stands before the
// last slash are one comparison, and WHO is "ztbcpp31" for ours. scripts/bench runs each family in
// a process of its own, since a process that ever had a second thread pays for the bus lock from
// then on, and makes the ratios; bench/operations.txt says what each operation is and what it is
// held to.

#include <benchmark/benchmark.h>

#include <cstdio>

#include "ztbinit.h"

int main(int argc, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "ztb_bench: %s\n", error);
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  ztbShutdown();
  return 0;
}
