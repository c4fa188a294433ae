// SPDX-License-Identifier: MIT
//
// A plug-in that links the library on its own.

#include "ztbconfigoptions.h"

extern "C" __attribute__((visibility("default"))) ZtbConfigOptions* mainStoreOfPlugin() {
  return ztbGetConfigOptions(ZtbString());
}
