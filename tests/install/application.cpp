// SPDX-License-Identifier: MIT
//
// A small application for an installed library. It tells what a home gives it: an option, and the
// text of a message.

#include <ztbcpp31.h>

#include <cstdio>

namespace {

void work() {
  ZtbString temp;
  ztbGetConfigOptions(ZtbString())->getOption(ZtbString("BASE/TEMP", true), &temp);
  std::printf("BASE/TEMP is %s\n", temp.asCstr());
  ZtbString const message =
      ztb_get_message("application", __LINE__, "Base Services", 1353, "prices.txt", "no such file");
  std::printf("%s\n", message.asCstr());
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  bool const isUp = ztbInitialize(argv[0], &error) == 0 && ztbStartup(&error) == 0;
  if (isUp) {
    work();
  } else {
    std::fprintf(stderr, "%s\n", error);
  }
  ztbShutdown();
  return isUp ? 0 : 1;
}
