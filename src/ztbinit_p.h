// SPDX-License-Identifier: MIT
//
// What the lifecycle shares with the start-up sequence.

#ifndef ZTBINIT_P_H
#define ZTBINIT_P_H

#include "ztbb10.h"

// Whether the library is up, that is whether the global lock exists.
bool ztbIsInitialized();

// The lock of the handler list, the start-up input and the whole of ztbStartup. While the library
// is down, taking it does nothing.
void ztbLockGlobal();
void ztbUnlockGlobal();

// The lock of the registry of shared instances; null while the library is down.
ZtLock ztbSingletonLock();

// Holds the global lock for the length of a block.
class ZtbGlobalHold {
 public:
  ZtbGlobalHold() { ztbLockGlobal(); }
  ZtbGlobalHold(ZtbGlobalHold const&) = delete;
  ZtbGlobalHold& operator=(ZtbGlobalHold const&) = delete;
  ~ZtbGlobalHold() { ztbUnlockGlobal(); }
};

// The folder of the executable, as given to the outermost ztbInitialize.
char const* ztbExecutableDir();

// Whether ztbInitialize itself put MARLOVEN_ERROR_LOCATION into the environment, in this cycle or
// an earlier one.
bool ztbMessageLocationDerived();

#endif
