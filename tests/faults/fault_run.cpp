// SPDX-License-Identifier: MIT
//
// Each plan is one run. To look at one of them again:
//
//   ZTB_FAULT_ONLY=memory,one,17 ZTB_FAULT_TRACE=1 ztbcpp31_fault_tests --gtest_filter=Faults.NAME

#include "fault_run.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>

#include "fault_calls.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

namespace faults {
namespace {

struct KindName {
  Kind kind;
  char const* name;
  bool repeats;  // whether each call from the n-th on may fail: a call is tried again for ever
                 // where every try is interrupted
};

constexpr KindName kKinds[] = {
    {Kind::kMemory, "memory", true},
    {Kind::kLocks, "locks", true},
    {Kind::kFiles, "files", true},
    {Kind::kDiskFull, "disk full", true},
    {Kind::kDescriptors, "descriptors", true},
    {Kind::kInterrupted, "interrupted", false},
    {Kind::kShort, "short", true},
    {Kind::kProcesses, "processes", true},
};

constexpr int kPatienceSeconds = 60;
constexpr int kMostProblems = 5;  // in a kind and reach

struct Totals {
  long tried = 0;
  long refusedWithText = 0;
  long refused = 0;
  long equal = 0;
  long didWithout = 0;
};

char gCurrent[256] = "";

#if defined(__SANITIZE_ADDRESS__)
void tellCurrent() {
  std::fprintf(stderr, "\nfault run: %s\n", gCurrent);
}
#endif

extern "C" void onSignal(int number) {
  static char const kText[] = "\nfault run that hung or crashed: ";
  [[maybe_unused]] ssize_t n = write(STDERR_FILENO, kText, sizeof kText - 1);
  n = write(STDERR_FILENO, gCurrent, std::strlen(gCurrent));
  n = write(STDERR_FILENO, "\n", 1);
  signal(number == SIGALRM ? SIGABRT : number, SIG_DFL);
  raise(number == SIGALRM ? SIGABRT : number);
}

void watchForDeath() {
  static bool const once = [] {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_set_death_callback(tellCurrent);
#else
    signal(SIGSEGV, onSignal);
#endif
    signal(SIGABRT, onSignal);
    signal(SIGALRM, onSignal);
    return true;
  }();
  static_cast<void>(once);
}

long openDescriptors() {
  long count = 0;
  DIR* const stream = opendir("/proc/self/fd");
  while (readdir(stream) != nullptr) ++count;
  closedir(stream);
  return count;
}

// What lies below the folder, with the sizes of the files.
std::vector<std::string> leftBehind() {
  std::vector<std::string> names;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder())) {
    names.push_back(entry.path());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool hasChildren() {
  siginfo_t end{};
  bool found = false;
  while (waitid(P_ALL, 0, &end, WEXITED | WNOHANG) == 0) {
    found = true;
    if (end.si_pid == 0) usleep(1000);
    end = {};
  }
  return found;
}

}  // namespace

struct Run {
  bool succeeded;
  Trace trace;
  Tally tally;
  std::string escaped;  // an exception that left the library

  static Run of(Scenario scenario, Plan const& plan) {
    Run run{false, {}, {}, ""};
    alarm(kPatienceSeconds);
    arm(plan);
    try {
      run.succeeded = scenario(run.trace);
      run.tally = disarm();
    } catch (std::exception const& exception) {
      run.tally = disarm();
      run.escaped = exception.what();
    }
    alarm(0);
    return run;
  }

  // What is wrong with this run, beside one without a fault; empty if nothing is.
  std::string problem(Run const& good, bool mayLack) const {
    if (!escaped.empty()) return "an exception left the library: " + escaped;
    if (!trace.mProblem.empty()) return trace.mProblem;
    if (!succeeded && tally.given == 0) return "failed without a fault";
    if (!succeeded && trace.mWantsReason && trace.mReason.empty()) return "refused without a text";
    return mayLack ? "" : difference(good);
  }

  std::string difference(Run const& good) const {
    auto const& values = trace.mValues;
    auto const& wanted = good.trace.mValues;
    for (std::size_t i = 0; i < values.size() && i < wanted.size(); ++i) {
      if (values[i] != wanted[i]) {
        return "value " + std::to_string(i) + " is \"" + values[i] + "\", not \"" + wanted[i] + '"';
      }
    }
    if (values.size() > wanted.size()) return "saw more than without a fault";
    if (succeeded && values.size() != wanted.size()) return "saw less than without a fault";
    return "";
  }

  void count(Totals& totals, Run const& good) const {
    ++totals.tried;
    if (succeeded) {
      ++(trace.mValues == good.trace.mValues ? totals.equal : totals.didWithout);
    } else if (!trace.mReason.empty()) {
      ++totals.refusedWithText;
    } else {
      ++totals.refused;
    }
  }
  std::string reason() const { return trace.mReason; }
};

namespace {

// What has to be as before once a fault is over and the scenario ran without one.
struct Holdings {
  long descriptors = 0;
  std::vector<std::string> files;

  static Holdings now() { return {openDescriptors(), leftBehind()}; }
  void removeOthers() const {
    for (std::string const& file : leftBehind()) {
      if (!std::binary_search(files.begin(), files.end(), file)) std::filesystem::remove(file);
    }
  }
  std::string grownTo(Holdings const& after) const {
    if (after.descriptors > descriptors) {
      return std::to_string(after.descriptors - descriptors) + " descriptors are left open";
    }
    for (std::string const& file : after.files) {
      if (!std::binary_search(files.begin(), files.end(), file)) return file + " is left";
    }
    return after.files.size() == files.size() ? "" : "a file is gone";
  }
};

class Sweep {
 public:
  Sweep(char const* name, Scenario scenario, std::initializer_list<Kind> mayLack)
      : mName(name), mScenario(scenario), mMayLack(mayLack) {
    // The first runs fill what is kept for the process.
    for (int i = 0; i < 3; ++i) mGood = Run::of(scenario, {});
    hasChildren();
  }

  void run() {
    if (!mGood.succeeded || !mGood.problem(mGood, false).empty()) {
      ADD_FAILURE() << mName << " fails without a fault: " << mGood.reason() << " "
                    << mGood.problem(mGood, false);
      return;
    }
    for (KindName const& kind : kKinds) {
      for (Reach const reach : {Reach::kOne, Reach::kFromThere}) {
        if (reach == Reach::kOne || kind.repeats) tryAll(kind, reach);
      }
#if defined(__SANITIZE_ADDRESS__)
      if (__lsan_do_recoverable_leak_check() != 0) ADD_FAILURE() << mName << ' ' << kind.name;
#endif
    }
  }

 private:
  // What stands behind the last comma.
  static long numberIn(char const* plan) {
    char const* const comma = std::strrchr(plan, ',');
    return comma != nullptr ? std::atol(comma + 1) : 0;
  }
  static std::string describe(Plan const& plan, KindName const& kind) {
    return std::string(kind.name) + (plan.reach == Reach::kOne ? ",one," : ",on,") +
           std::to_string(plan.nth);
  }

  void tryAll(KindName const& kind, Reach reach) {
    Totals totals;
    mProblems = 0;
    if (char const* const only = std::getenv("ZTB_FAULT_ONLY")) {
      Plan const plan{kind.kind, numberIn(only), reach};
      if (describe(plan, kind) == only) tryOne(plan, kind, totals);
    } else {
      for (long n = 1; mProblems < kMostProblems && tryOne({kind.kind, n, reach}, kind, totals);) {
        ++n;
      }
    }
    if (totals.tried == 0) return;
    std::printf("faults | %s | %s | %s | %ld | %ld | %ld | %ld | %ld\n", mName, kind.name,
                reach == Reach::kOne ? "one" : "on", totals.tried, totals.refusedWithText,
                totals.refused, totals.equal, totals.didWithout);
  }

  // False if the scenario makes no n-th call.
  bool tryOne(Plan const& plan, KindName const& kind, Totals& totals) {
    long const blocks = liveBlocks();
    long const tried = totals.tried;
    std::string problem = problemOf(plan, kind, totals);
    // What is made once, such as a logger, may be made by a failure first: a leak is what grows
    // again.
    long const grown = liveBlocks();
    Totals ignored;
    if (problem.empty() && grown > blocks) problem = problemOf(plan, kind, ignored);
    if (problem.empty() && liveBlocks() > grown) {
      problem = std::string(gCurrent) + ": " + std::to_string(liveBlocks() - grown) +
                " blocks of memory are left";
    }
    if (!problem.empty()) {
      ++mProblems;
      ADD_FAILURE() << problem;
    }
    return totals.tried > tried;
  }

  // Nothing but the result is in memory behind it.
  std::string problemOf(Plan const& plan, KindName const& kind, Totals& totals) {
    std::string const what = std::string(mName) + ": " + describe(plan, kind);
    std::snprintf(gCurrent, sizeof gCurrent, "%s", what.c_str());
    Holdings const before = Holdings::now();
    Run const run = Run::of(mScenario, plan);
    if (run.tally.given == 0) return "";
    run.count(totals, mGood);
    bool const mayLack = std::find(mMayLack.begin(), mMayLack.end(), kind.kind) != mMayLack.end();
    std::string problem = run.problem(mGood, mayLack);
    if (problem.empty() && hasChildren()) problem = "a child is left";
    std::snprintf(gCurrent, sizeof gCurrent, "behind %s (%s)", what.c_str(), run.tally.first);
    Run const after = Run::of(mScenario, {});
    if (problem.empty() && !after.succeeded) problem = "the next run fails: " + after.reason();
    if (problem.empty()) problem = after.problem(mGood, false);
    if (run.tally.leavesFiles) before.removeOthers();
    if (problem.empty()) problem = before.grownTo(Holdings::now());
    if (problem.empty()) return problem;
    if (!run.reason().empty()) problem += "; it said: " + run.reason();
    return std::string(gCurrent) + ": " + problem;
  }

  char const* mName;
  Scenario mScenario;
  std::vector<Kind> mMayLack;
  Run mGood{false, {}, {}, ""};
  int mProblems = 0;
};

}  // namespace

void Trace::note(char const* value) {
  Pause const pause;
  mValues.emplace_back(value);
}

void Trace::note(std::string const& value) {
  note(value.c_str());
}

void Trace::note(double value) {
  Pause const pause;
  mValues.push_back(std::to_string(value));
}

void Trace::note(long long value) {
  Pause const pause;
  mValues.push_back(std::to_string(value));
}

bool Trace::text(ZtbString const& value) {
  if (value.isNull()) return false;
  note(value.asCstr());
  return true;
}

bool Trace::refused() {
  return false;
}

bool Trace::refused(ZtbString const& reason) {
  return refused(reason.asCstr());
}

bool Trace::refused(char const* reason) {
  Pause const pause;
  mWantsReason = true;
  mReason = reason != nullptr ? reason : "";
  return false;
}

void Trace::require(bool condition, char const* what) {
  Pause const pause;
  if (!condition && mProblem.empty()) mProblem = what;
}

std::string const& folder() {
  static std::string const path = [] {
    std::string name = std::filesystem::temp_directory_path() / "ztbfaults-XXXXXX";
    std::string made = mkdtemp(name.data());
    setenv("TMPDIR", made.c_str(), 1);
    static std::string const toRemove = made;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(toRemove, ignored);
    });
    return made;
  }();
  return path;
}

std::string pathOf(char const* name) {
  return folder() + "/" + name;
}

void tryFaults(char const* name, Scenario scenario, std::initializer_list<Kind> mayLack) {
  folder();
  watchForDeath();
  Sweep(name, scenario, mayLack).run();
}

}  // namespace faults
