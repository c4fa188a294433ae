// SPDX-License-Identifier: MIT
//
// Runs a scenario under every fault of every kind, and judges each run by what it did without one.

#ifndef FAULT_RUN_H
#define FAULT_RUN_H

#include <initializer_list>
#include <string>
#include <vector>

#include "fault_calls.h"
#include "ztbstring.h"

namespace faults {

// What a scenario saw, in order. Nothing here is counted or can fail.
class Trace {
 public:
  // Values that a success promises to be those of the run without a fault.
  void note(char const* value);
  void note(std::string const& value);
  void note(long long value);
  void note(double value);
  // False for a null text, which is a refusal where the contract says so.
  [[nodiscard]] bool text(ZtbString const& value);

  // How a scenario gives up: by a result that has no text, or with the text that the contract
  // promises. Both give false.
  bool refused();
  bool refused(ZtbString const& reason);
  bool refused(char const* reason);

  // What must hold whatever fails.
  void require(bool condition, char const* what);

 private:
  friend struct Run;

  std::vector<std::string> mValues;
  std::string mReason;
  std::string mProblem;
  bool mWantsReason = false;
};

// True if everything was done. Whatever it opens or brings up it also closes and takes down, and
// what it leaves below TMPDIR it leaves each time.
using Scenario = bool (*)(Trace& trace);

// A folder of the program's own, which is also that of temporary files. Without a trailing slash.
std::string const& folder();
std::string pathOf(char const* name);

// Runs the scenario under every plan, and reports what went wrong as failures of the test. Prints a
// line of totals. Every run is followed by one without faults, which must succeed. Under the kinds
// of `mayLack`, a success may show less, or other values, where the contract says that the library
// does without what failed.
void tryFaults(char const* name, Scenario scenario, std::initializer_list<Kind> mayLack = {});

}  // namespace faults

#endif
