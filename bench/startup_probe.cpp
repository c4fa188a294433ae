// SPDX-License-Identifier: MIT
//
// A whole process: up on the home of ZTEXEC_HOME, and down again. With an argument it tells where
// the time between goes.

#include <chrono>
#include <cstdio>

#include "ztbinit.h"
#include "ztbstartup.h"

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  auto const begin = Clock::now();
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) return std::fprintf(stderr, "%s\n", error);
  auto const initialized = Clock::now();
  if (ztbStartup(&error) != 0) return std::fprintf(stderr, "%s\n", error);
  auto const started = Clock::now();
  ztbShutdown();
  auto const down = Clock::now();
  if (argc > 1) {
    auto const us = [](auto from, auto to) {
      return std::chrono::duration<double, std::micro>(to - from).count();
    };
    std::printf("ztbInitialize %.0f us, ztbStartup %.0f us, ztbShutdown %.0f us\n",
                us(begin, initialized), us(initialized, started), us(started, down));
  }
  return 0;
}
