// SPDX-License-Identifier: MIT
//
// Starting /bin/true and waiting for its end, beside the bare calls of the system and Qt's class;
// and the same from a process with 8 GB of memory, which a start by fork pays for.

#include "ztbexecute.h"

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>

#ifdef ZTB_HAVE_QT
#include <QProcess>
#endif

namespace {

constexpr char kProgram[] = "/bin/true";
constexpr int kRuns = 400;

bool runOurs() {
  static ZtbExecute program;
  program.setCommand(ZtbString(kProgram, true));
  return program.run(false, false, -1);
}

bool runOursWithLimit() {
  static ZtbExecute program;
  program.setCommand(ZtbString(kProgram, true));
  return program.run(false, false, 60);
}

bool runBare() {
  char const* argv[] = {kProgram, nullptr};
  pid_t pid = 0;
  int status = -1;
  if (posix_spawn(&pid, kProgram, nullptr, nullptr, const_cast<char**>(argv), environ) != 0) {
    return false;
  }
  return waitpid(pid, &status, 0) == pid && status == 0;
}

#ifdef ZTB_HAVE_QT
bool runQt() {
  return QProcess::execute(kProgram, {}) == 0;
}
#endif

// Memory that is resident, in small pages, as a heap that has grown is. Empty if the machine can't
// spare it.
class Resident {
 public:
  explicit Resident(std::size_t bytes) : mBytes(bytes) {
    auto const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    auto const spare = static_cast<std::size_t>(sysconf(_SC_AVPHYS_PAGES)) * page;
    if (spare < bytes + bytes / 8) return;
    mMemory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mMemory == MAP_FAILED) return;
    madvise(mMemory, bytes, MADV_NOHUGEPAGE);
    for (std::size_t at = 0; at < bytes; at += page) static_cast<char*>(mMemory)[at] = 1;
  }
  Resident(Resident const&) = delete;
  Resident& operator=(Resident const&) = delete;
  ~Resident() {
    if (*this) munmap(mMemory, mBytes);
  }
  explicit operator bool() const { return mMemory != MAP_FAILED; }

 private:
  void* mMemory = MAP_FAILED;
  std::size_t mBytes;
};

void measure(benchmark::State& state, bool (*run)()) {
  for (auto _ : state) {
    if (!run()) state.SkipWithError("the program didn't run");
  }
}

void measureInLargeProcess(benchmark::State& state, bool (*run)()) {
  static Resident const memory(std::size_t{8} << 30);
  if (!memory) return state.SkipWithError("the machine can't spare 8 GB");
  measure(state, run);
}

benchmark::internal::Benchmark* add(char const* name, void (*how)(benchmark::State&, bool (*)()),
                                    bool (*run)()) {
  return benchmark::RegisterBenchmark(name, how, run)
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime()
      ->Iterations(kRuns);
}

// The large process is a family of its own, since the memory stays once it is filled. Where its
// tables are copied, 5 runs take seconds.
[[maybe_unused]] bool const isRegistered = [] {
  add("execute/start_and_wait/ztbcpp31", measure, runOurs);
  add("execute/start_and_wait/posix_spawn", measure, runBare);
  add("execute/start_and_wait_with_limit/ztbcpp31", measure, runOursWithLimit);
  add("execute/start_and_wait_with_limit/posix_spawn", measure, runBare);
  add("execute_8GB/start_and_wait/ztbcpp31", measureInLargeProcess, runOurs);
  add("execute_8GB/start_and_wait/posix_spawn", measureInLargeProcess, runBare);
#ifdef ZTB_HAVE_QT
  add("execute/start_and_wait/QProcess", measure, runQt);
  add("execute_8GB/start_and_wait/QProcess", measureInLargeProcess, runQt)->Iterations(5);
#endif
  return true;
}();

}  // namespace
