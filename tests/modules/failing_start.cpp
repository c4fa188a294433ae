// SPDX-License-Identifier: MIT
//
// A dependency module whose start fails, and which tells through the environment that it was
// stopped all the same.

#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int ZtbDepsStartup(void*) {
  return 7;
}

extern "C" __attribute__((visibility("default"))) void ZtbDepsShutdown(void*) {
  setenv("ZTB_TEST_STOPPED", "yes", 1);
}
