// SPDX-License-Identifier: MIT
//
// Each plan is one run. To look at one of them again:
//
//   ZTB_FAULT_ONLY=memory,one,17 ZTB_FAULT_TRACE=1 ztbcpp31_fault_tests --gtest_filter=Faults.NAME

#include "fault_run.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <set>

#include "ztbcpp31.h"
#include "ztbtest.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

struct {
  Kind kind;
  char const* name;
  bool repeats;  // whether each call from the n-th on may fail: a call is tried again for ever
                 // where every try is interrupted
} constexpr kKinds[] = {
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

char gCurrent[256] = "";

void tellCurrent() {
  char const* const texts[] = {"\nfault run that hung or crashed: ", gCurrent, "\n"};
  for (char const* text : texts) {
    [[maybe_unused]] ssize_t const n = write(STDERR_FILENO, text, std::strlen(text));
  }
}

extern "C" void onSignal(int number) {
  tellCurrent();
  signal(number, SIG_DFL);
  raise(number);
}

// The address sanitizer asks for it, and has its own report of a crash.
extern "C" __attribute__((visibility("default"))) void __asan_on_error() {
  tellCurrent();
}

bool hadChildren() {
  bool found = false;
  while (wait(nullptr) > 0) found = true;
  return found;
}

// What has to be as before once a fault is over and the scenario ran without one.
struct Holdings {
  long descriptors;
  std::set<std::string> files;

  static Holdings now() {
    Holdings all{std::distance(fs::directory_iterator("/proc/self/fd"), {}), {}};
    for (auto const& entry : fs::recursive_directory_iterator(pathOf())) {
      all.files.insert(entry.path());
    }
    return all;
  }
  void removeOthers() const {
    for (std::string const& file : now().files) {
      if (files.count(file) == 0) fs::remove(file);
    }
  }
  std::string grownTo(Holdings const& after) const {
    if (after.descriptors > descriptors) return "a descriptor is left open";
    for (std::string const& file : after.files) {
      if (files.count(file) == 0) return file + " is left";
    }
    return after.files.size() == files.size() ? "" : "a file is gone";
  }
};

}  // namespace

class Sweep {
 public:
  Sweep(char const* name, Scenario scenario) : mName(name), mScenario(scenario) {
    // The first runs fill what is kept for the process.
    for (int i = 0; i < 3; ++i) mGood = run({});
    std::string const problem = mGood.problem(mGood, Kind::kNone);
    if (!problem.empty()) ADD_FAILURE() << mName << ": " << problem << ": " << mGood.mReason;
  }

  void tryAll(Kind kind, char const* kindName, Reach reach) {
    std::string const what = kindName + std::string(reach == Reach::kOne ? ",one," : ",on,");
    char const* const only = std::getenv("ZTB_FAULT_ONLY");
    if (only != nullptr && std::strncmp(only, what.c_str(), what.size()) != 0) return;
    long tried[kNotTried] = {};
    long n = only != nullptr ? std::atol(only + what.size()) : 1;
    while (tryOne({kind, n, reach}, what, tried) && only == nullptr) ++n;
    long const sum = std::accumulate(tried, std::end(tried), 0L);
    if (sum == 0) return;
    std::printf("faults | %s | %s | %s | %ld | %ld | %ld | %ld | %ld\n", mName, kindName,
                reach == Reach::kOne ? "one" : "on", sum, tried[kRefusedWithText], tried[kRefused],
                tried[kEqual], tried[kLess]);
  }

 private:
  enum Outcome { kRefusedWithText, kRefused, kEqual, kLess, kNotTried };

  Trace run(Plan const& plan) const {
    Trace trace;
    alarm(kPatienceSeconds);
    arm(plan);
    try {
      mScenario(trace);
      trace.mSucceeded = true;
    } catch (Trace::Refusal const&) {
    } catch (std::bad_alloc const&) {
      trace.require(trace.mMayThrow, "std::bad_alloc left the library");
    } catch (...) {
      trace.require(false, "an exception left the library");
    }
    trace.mTally = disarm();
    return trace;
  }

  // The run, followed by one without a fault. Behind it nothing is in memory but what is wrong.
  Outcome runTwice(Plan const& plan, std::string& problem) const {
    Holdings const before = Holdings::now();
    Trace const trace = run(plan);
    if (trace.mTally.given == 0) return kNotTried;
    problem = trace.problem(mGood, plan.kind);
    if (problem.empty() && hadChildren()) problem = "a child is left";
    Trace const after = run({});
    alarm(0);
    if (problem.empty()) problem = after.problem(mGood, Kind::kNone);
    if (trace.mTally.leavesFiles) before.removeOthers();
    if (problem.empty()) problem = before.grownTo(Holdings::now());
    if (!problem.empty()) {
      problem = trace.mTally.first + (": " + problem) + "; " + trace.mReason + after.mReason;
    }
    if (!trace.mSucceeded) return trace.mReason.empty() ? kRefused : kRefusedWithText;
    return trace.mValues == mGood.mValues ? kEqual : kLess;
  }

  // False if the scenario makes no n-th call, or did wrong.
  bool tryOne(Plan const& plan, std::string const& what, long* tried) const {
    std::snprintf(gCurrent, sizeof gCurrent, "%s: %s%ld", mName, what.c_str(), plan.nth);
    std::string problem;
    long const blocks = liveBlocks();
    Outcome const outcome = runTwice(plan, problem);
    if (outcome == kNotTried) return false;
    ++tried[outcome];
    // What is made once, such as a logger, may be made by a failure first: a leak is what grows
    // again.
    long const grown = liveBlocks();
    if (problem.empty() && grown > blocks) runTwice(plan, problem);
    if (problem.empty() && liveBlocks() > grown) problem = "blocks of memory are left";
    if (!problem.empty()) ADD_FAILURE() << gCurrent << ": " << problem;
    return problem.empty();
  }

  char const* mName;
  Scenario mScenario;
  Trace mGood;
};

void tryFaults(char const* name, Scenario scenario) {
#ifndef __SANITIZE_ADDRESS__
  signal(SIGSEGV, onSignal);
#endif
  signal(SIGABRT, onSignal);
  signal(SIGALRM, onSignal);
  Sweep sweep(name, scenario);
  if (testing::Test::HasFailure()) return;
  for (auto const& [kind, kindName, repeats] : kKinds) {
    sweep.tryAll(kind, kindName, Reach::kOne);
    if (repeats) sweep.tryAll(kind, kindName, Reach::kFromThere);
  }
  alarm(0);
}

void Trace::mayLack(std::initializer_list<Kind> kinds) {
  Pause const pause;
  mMayLack = kinds;
}

void Trace::require(bool condition, char const* what) {
  Pause const pause;
  if (!condition && mProblem.empty()) mProblem = what;
}

void Trace::refuse(char const* reason) {
  Pause const pause;
  mWantsReason = true;
  mReason = reason != nullptr ? reason : "";
  throw Refusal();
}

// What is wrong with this run, beside one without a fault; empty if nothing is.
std::string Trace::problem(Trace const& good, Kind kind) const {
  if (!mProblem.empty()) return mProblem;
  if (!mSucceeded && mTally.given == 0) return "fails without a fault";
  if (!mSucceeded && mWantsReason && mReason.empty()) return "refused without a text";
  if (!mSucceeded && kind == Kind::kInterrupted) return "refused what was only interrupted";
  if (std::find(mMayLack.begin(), mMayLack.end(), kind) != mMayLack.end()) return "";
  auto const [mine, wanted] =
      std::mismatch(mValues.begin(), mValues.end(), good.mValues.begin(), good.mValues.end());
  if (mine != mValues.end()) {
    return "saw \"" + *mine + "\", not \"" + (wanted != good.mValues.end() ? *wanted : "") + '"';
  }
  if (mSucceeded && wanted != good.mValues.end()) return "saw less than without a fault";
  return "";
}

static ztbtest::TempFolder const& folder() {
  static ztbtest::TempFolder const made;
  return made;
}

std::string pathOf(char const* name) {
  return folder().path(name);
}

std::string writeFile(char const* name, std::string const& bytes) {
  Pause const pause;
  return folder().write(name, bytes);
}

std::string readFile(std::string const& path) {
  Pause const pause;
  return ztbtest::readFile(path);
}

void noteOutput(Trace& trace, ZtbExecute& program, bool byShell) {
  bool const hasRun = program.run(byShell, true, byShell ? -1 : 30);
  ZtbString const message = hasRun ? ZtbString() : program.getErrorMessage();
  trace.needs(message.isNull(), message);
  ZtbString const log = program.getOutputLog();
  trace.require(hasRun || log.isNull(), "a program that says nothing has a log");
  trace.needs(hasRun);
  // Output that couldn't be read to memory is replaced by a text of its own.
  trace.needs(log.compare("Failed to allocate memory to read program output", true) != 0);
  trace.text(log);
}

void startUp(Trace& trace) {
  static std::string const logging = pathOf("home/etc/log.cfg");
  char const* error = nullptr;
  ztbStartupAddConfigFile("extra.cfg", &error);
  ztbStartupAddOption("BASE/LOGCONFIG_PATH", logging.c_str(), &error);
  ztbStartupAddOption("BASE/PLUGIN_PATH", ZTB_TEST_FAULT_MODULES, &error);
  trace.needs(ztbStartup(&error) == 0, error);
}

void FaultsAtStart::SetUp() {
  static bool const once = [] {
    setenv("TMPDIR", pathOf().c_str(), 1);
    writeFile("home/etc/extra.cfg", "# more\nEXTRA/ONE=1\nEXTRA/TWO=zwei\n");
    writeFile("home/etc/log.cfg", "sink all file path=../log/app.log\npattern * %l %n: %v\n");
    writeFile("home/log/app.log", "");
    fs::create_directory_symlink(ZTB_TEST_HOME "/share", pathOf("home/share"));
    fs::copy(ZTB_TEST_HOME "/etc", pathOf("home/etc"), fs::copy_options::recursive);
    setenv("ZTEXEC_HOME", pathOf("home").c_str(), 1);
    return unsetenv("MARLOVEN_ERROR_LOCATION") == 0;
  }();
  ASSERT_TRUE(once);
}

void Faults::SetUp() {
  FaultsAtStart::SetUp();
  ztbtest::initialize(kProgram);
  Trace trace;
  startUp(trace);
}

void Faults::TearDown() {
  ztbShutdown();
}

}  // namespace faults
