// SPDX-License-Identifier: MIT
//
// Runs the benchmarks and prints each peer's time beside ours as a ratio. A benchmark is named
// "family/operation/WHO"; all that share what stands before the last slash are one comparison, and
// WHO is "ztbcpp31" for ours. A ratio below 1 means that ours is faster.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ztbinit.h"

namespace {

struct Result {
  std::string comparison;
  std::string who;
  double nanoseconds;
};

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(std::vector<Run> const& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (Run const& run : runs) {
      bool const repeated = run.repetitions > 1;
      if (run.error_occurred || (repeated && run.aggregate_name != "median")) continue;
      std::string const name = run.run_name.function_name;
      std::size_t const slash = name.rfind('/');
      if (slash == std::string::npos) continue;
      mResults.push_back({name.substr(0, slash), name.substr(slash + 1),
                          run.GetAdjustedRealTime() * toNanoseconds(run.time_unit)});
    }
  }

  void printRatios() const {
    std::printf("\n| comparison | ours, ns | peer | peer, ns | ours / peer |\n");
    std::printf("| --- | ---: | --- | ---: | ---: |\n");
    for (Result const& ours : mResults) {
      if (ours.who != "ztbcpp31") continue;
      printPeersOf(ours);
    }
  }

 private:
  static double toNanoseconds(benchmark::TimeUnit unit) {
    return 1e9 / benchmark::GetTimeUnitMultiplier(unit);
  }

  void printPeersOf(Result const& ours) const {
    bool alone = true;
    for (Result const& peer : mResults) {
      if (peer.comparison != ours.comparison || peer.who == ours.who) continue;
      alone = false;
      std::printf("| %s | %.1f | %s | %.1f | %.2f |\n", ours.comparison.c_str(), ours.nanoseconds,
                  peer.who.c_str(), peer.nanoseconds, ours.nanoseconds / peer.nanoseconds);
    }
    if (alone) std::printf("| %s | %.1f | | | |\n", ours.comparison.c_str(), ours.nanoseconds);
  }

  std::vector<Result> mResults;
};

}  // namespace

int main(int argc, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "ztb_bench: %s\n", error);
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  if (benchmark::GetBenchmarkFilter().empty()) {
    // A process that ever had a second thread pays for the bus lock from then on.
    benchmark::RunSpecifiedBenchmarks(&reporter, "-.*_threads/.*");
    benchmark::RunSpecifiedBenchmarks(&reporter, ".*_threads/.*");
  } else {
    benchmark::RunSpecifiedBenchmarks(&reporter);
  }
  reporter.printRatios();
  benchmark::Shutdown();
  ztbShutdown();
  return 0;
}
