// SPDX-License-Identifier: MIT
//
// Whole processes from exec to exit: one that comes up on the sample home and goes down, beside an
// empty one that is linked against the same libraries. What a start-up may take, twice the empty
// one and 3 ms, stands as a peer of its own.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace {

constexpr int kRuns = 60;

std::filesystem::path const& folder() {
  static std::filesystem::path const path =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  return path;
}

// Negative if the program fails.
double secondsOf(std::string const& program) {
  setenv("ZTEXEC_HOME", (folder().parent_path() / "home").c_str(), 1);
  char* arguments[] = {const_cast<char*>(program.c_str()), nullptr};
  auto const begin = std::chrono::steady_clock::now();
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) return -1;
  int status = -1;
  waitpid(child, &status, 0);
  auto const end = std::chrono::steady_clock::now();
  return status == 0 ? std::chrono::duration<double>(end - begin).count() : -1;
}

void run(benchmark::State& state, char const* name, double factor, double added) {
  std::string const program = folder() / name;
  for (auto _ : state) {
    double const seconds = secondsOf(program);
    if (seconds < 0) return state.SkipWithError("the program failed");
    state.SetIterationTime(seconds * factor + added);
  }
}

void add(char const* who, char const* program, double factor, double added) {
  benchmark::RegisterBenchmark((std::string("startup/exec_to_exit/") + who).c_str(), run, program,
                               factor, added)
      ->Unit(benchmark::kMillisecond)
      ->UseManualTime()
      ->Iterations(kRuns);
}

[[maybe_unused]] bool const isRegistered = [] {
  add("ztbcpp31", "ztb_startup_probe", 1, 0);
  add("empty_program", "ztb_startup_empty", 1, 0);
  add("twice_empty_and_3_ms", "ztb_startup_empty", 2, 0.003);
  return true;
}();

}  // namespace
