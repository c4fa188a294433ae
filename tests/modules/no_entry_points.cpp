// SPDX-License-Identifier: MIT
//
// A dependency module without its entry points.

extern "C" __attribute__((visibility("default"))) int ZtbDepsStartupOfAnother(void*) {
  return 0;
}
