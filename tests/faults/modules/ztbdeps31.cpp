// SPDX-License-Identifier: MIT
//
// A dependency module that does nothing, and needs no library for it.

extern "C" __attribute__((visibility("default"))) int ZtbDepsStartup(void*) {
  return 0;
}

extern "C" __attribute__((visibility("default"))) void ZtbDepsShutdown(void*) {}
