// SPDX-License-Identifier: MIT
//
// Programs: one run directly with its output collected, one through the shell, and two that fail.
//
//   ZTEXEC_HOME=HOME ./run_program

#include <ztbexecute.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>
#include <initializer_list>

namespace {

constexpr int kWaitSeconds = 10;

bool runDirectly() {
  ZtbExecute program;
  program.setCommand(ZtbString("printf", true));
  program.addOption(ZtbString("%s;", true));
  program.addOption(ZtbString("two words", true));
  program.addOption(ZtbString("$HOME", true));  // means nothing without a shell
  if (!program.run(false, true, kWaitSeconds)) return false;
  std::printf("directly: %s\n", program.getOutputLog().asCstr());
  return true;
}

// Each option is a part of the line, so that the pipe is one of its own.
bool runThroughShell() {
  ZtbExecute program;
  program.setCommand(ZtbString("printf", true));
  for (char const* part : {"'3\\n1\\n2\\n'", "|", "sort"}) program.addOption(ZtbString(part, true));
  if (!program.run(true, true, kWaitSeconds)) return false;
  std::printf("by the shell: %s\n", program.getOutputLog().asCstr());
  return true;
}

bool isRefused(ZtbString const& command, ZtbString const& option) {
  ZtbExecute program;
  program.setCommand(command);
  program.addOption(ZtbString("-c", true));
  program.addOption(option);
  if (program.run(false, true, kWaitSeconds)) return false;
  std::printf("refused: %s\n", program.getErrorMessage().asCstr());
  return true;
}

bool work() {
  return runDirectly() && runThroughShell() &&
         isRefused(ZtbString("no-such-program", true), ZtbString()) &&
         isRefused(ZtbString("sh", true), ZtbString("kill -9 $$", true));
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "run_program: %s\n", error);
    ztbShutdown();
    return 1;
  }
  bool const isDone = work();
  ztbShutdown();
  return isDone ? 0 : 1;
}
