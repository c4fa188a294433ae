// SPDX-License-Identifier: MIT
//
// The frame of an application: up on its configuration, work, down. Run it with ZTEXEC_HOME set to
// a home, and with options as KEY=VALUE.

#include <cstdio>
#include <string>

#include "ztbconfigoptions.h"
#include "ztbinit.h"
#include "ztbstartup.h"

namespace {

int work() {
  ZtbString folder;
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  if (!options->getOption(ZtbString("BASE/MACROS_PATH", true), &folder)) return 1;
  std::printf("macros are read from %s\n", folder.asCstr());
  return 0;
}

int fail(char const* what, char const* error) {
  std::fprintf(stderr, "%s: %s\n", what, error);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) return fail("initialize", error);
  for (int i = 1; i < argc; ++i) {
    std::string const argument = argv[i];
    std::size_t const equals = argument.find('=');
    if (equals == std::string::npos) continue;
    ztbStartupAddOption(argument.substr(0, equals).c_str(), argv[i] + equals + 1, &error);
  }
  int const result = ztbStartup(&error) == 0 ? work() : fail("start-up", error);
  ztbShutdown();
  return result;
}
