// SPDX-License-Identifier: MIT
//
// Scenarios: what an application does with a family, tried under every fault of every kind and
// judged by what it does without one.
//
//   SCENARIO(Faults, Strings) {
//     ZtbString text("a text", false);
//     trace.text(text);
//   }

#ifndef FAULT_RUN_H
#define FAULT_RUN_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fault_calls.h"
#include "ztbexecute.h"
#include "ztbstring.h"
#include "ztbtest.h"

namespace faults {

// What a scenario saw, in order, and how it ended. Nothing here is counted or can fail.
class Trace {
 public:
  // A value that a success promises to be that of the run without a fault.
  template <class T>
  void note(T const& value) {
    Pause const pause;
    mValues.push_back((std::ostringstream() << value).str());
  }
  // Such a text. A null one is a refusal where the contract says so.
  void text(ZtbString const& value) {
    needs(!value.isNull());
    note(value.asCstr());
  }

  // Gives the scenario up unless something was done: by a result that has no text, with the text
  // that the contract promises, or with that of the object that refused.
  void needs(bool isDone) {
    if (!isDone) throw Refusal();
  }
  void needs(bool isDone, char const* const& reason) {
    if (!isDone) refuse(reason);
  }
  void needs(bool isDone, ZtbString const& reason) {
    if (!isDone) refuse(reason.asCstr());
  }
  template <class Object>
  auto needs(bool isDone, Object& object) -> std::void_t<decltype(object.getErrorMessage())> {
    if (!isDone) refuse(object.getErrorMessage().asCstr());
  }

  // What must hold whatever fails.
  void require(bool condition, char const* what);

  // From here on: under these kinds a success may show less, or other values, where the contract
  // says that the library does without what failed; std::bad_alloc may leave the library.
  void mayLack(std::initializer_list<Kind> kinds);
  void mayThrow() { mMayThrow = true; }

 private:
  friend class Sweep;
  struct Refusal {};

  [[noreturn]] void refuse(char const* reason);
  std::string problem(Trace const& good, Kind kind) const;

  std::vector<std::string> mValues;
  std::string mReason;
  std::string mProblem;
  std::vector<Kind> mMayLack;
  bool mMayThrow = false;
  bool mWantsReason = false;
  bool mSucceeded = false;
  Tally mTally;
};

// Whatever it opens or brings up it also closes and takes down, and what it leaves below TMPDIR it
// leaves each time.
using Scenario = void (*)(Trace& trace);

#define SCENARIO(fixture, name)       \
  void name##Scenario(Trace& trace);  \
  TEST_F(fixture, name) {             \
    tryFaults(#name, name##Scenario); \
  }                                   \
  void name##Scenario([[maybe_unused]] Trace& trace)

// Runs the scenario under every plan, each time followed by a run without faults, which must
// succeed. Reports what went wrong as failures of the test, and prints a line of totals.
void tryFaults(char const* name, Scenario scenario);

// A path in a folder of the program's own, which is also that of temporary files.
std::string pathOf(char const* name = "");

// A text that is a literal, or lives as long.
inline ZtbString lit(char const* text) {
  return ZtbString(text, true);
}
inline ZtbString lit(std::string const& text) {
  return lit(text.c_str());
}

using ztbtest::Owned;

// Writes a file below the folder of the program, and gives its path.
std::string writeFile(char const* name, std::string const& bytes);
std::string readFile(std::string const& path);

// Runs a program and notes what it prints. One that gives no reason is an object without memory.
void noteOutput(Trace& trace, ZtbExecute& program, bool byShell);

// A home below the folder, with the message texts of the sample home, its configuration and a
// logging file that writes to log/app.log; ZTEXEC_HOME names it.
class FaultsAtStart : public testing::Test {
 protected:
  void SetUp() override;
};

// The library is up on that home.
class Faults : public FaultsAtStart {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// What stands between ztbInitialize and ztbShutdown. The module of that program's folder does
// nothing; it is loaded also if the option for it isn't taken.
inline constexpr char kProgram[] = ZTB_TEST_FAULT_MODULES "/test";
void startUp(Trace& trace);

}  // namespace faults

#endif
