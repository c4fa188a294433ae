// SPDX-License-Identifier: MIT
//
// The vocabulary of scenarios.

#ifndef FAULT_SCOPE_H
#define FAULT_SCOPE_H

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "fault_calls.h"
#include "fault_run.h"
#include "ztbexecute.h"
#include "ztbstring.h"

namespace faults {

// A text that is a literal.
inline ZtbString lit(char const* text) {
  return ZtbString(text, true);
}

// Writes a file below the folder of the program.
inline void writeFile(char const* name, char const* bytes) {
  Pause const pause;
  std::ofstream(pathOf(name), std::ios::binary) << bytes;
}

inline std::string readFile(std::string const& path) {
  Pause const pause;
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Makes a home below the folder, with the message texts of the sample home, its configuration and a
// logging file that writes to log/app.log; ZTEXEC_HOME names it.
void makeHome();

// How a scenario gives up on a program's first run. One without a message is that of an object
// without memory.
bool refusedRun(Trace& trace, ZtbExecute& program);

// Brings the library up on that home for a scenario that isn't about start-up.
class WithLibrary : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

}  // namespace faults

#endif
