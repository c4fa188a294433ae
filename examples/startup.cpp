// SPDX-License-Identifier: MIT
//
// Where the options of a process come from: comes up on a home and tells the value and the origin
// of each option that is asked for. KEY=VALUE gives an option that is stronger than all files and
// the environment.
//
//   ZTEXEC_HOME=HOME ./startup [KEY=VALUE | KEY] ...
//   ZTEXEC_HOME=HOME ./startup REPORT/PAGE_ROWS=20 REPORT/PAGE_ROWS REPORT/TITLE

#include <ztbconfigoptions.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>
#include <string>

namespace {

void addOption(std::string const& argument) {
  std::size_t const equals = argument.find('=');
  if (equals == std::string::npos) return;
  ztbStartupAddOption(argument.substr(0, equals).c_str(), argument.c_str() + equals + 1, nullptr);
}

void showOption(std::string const& argument) {
  if (argument.find('=') != std::string::npos) return;
  ZtbString const key(argument.c_str(), false);
  ZtbString value;
  if (!ztbGetConfigOptions(ZtbString())->getOption(key, &value)) {
    std::printf("%s has no value\n", key.asCstr());
    return;
  }
  std::printf("%s = %s (%s)\n", key.asCstr(), value.asCstr(),
              ztbStartupGetOptionOrigin(key).asCstr());
}

int fail(char const* what, char const* error) {
  std::fprintf(stderr, "startup: %s: %s\n", what, error);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) return fail("initialize", error);
  for (int i = 1; i < argc; ++i) addOption(argv[i]);
  bool const isUp = ztbStartup(&error) == 0;
  for (int i = 1; isUp && i < argc; ++i) showOption(argv[i]);
  if (!isUp) fail("start-up", error);
  ztbShutdown();  // owed after a failed start-up too
  return isUp ? 0 : 1;
}
