// SPDX-License-Identifier: MIT
//
// Forced in front of sssharedbuffer.cpp where it is compiled for the stress test: each step at a
// lock or an event then begins and ends with a call of `delayStep`.

#ifndef SSSHAREDBUFFER_DELAYS_H
#define SSSHAREDBUFFER_DELAYS_H

#include "ztbb10.h"

// Lets time pass, or nothing; the test defines it.
void delayStep();

struct DelayedStep {
  DelayedStep() { delayStep(); }
  DelayedStep(DelayedStep const&) = delete;
  DelayedStep& operator=(DelayedStep const&) = delete;
  ~DelayedStep() { delayStep(); }
};

class DelayedLockHold {
 public:
  explicit DelayedLockHold(ZtLock lock) : mHold(lock) {}

 private:
  DelayedStep mStep;
  ZtLockHold mHold;
};

// The step lives as long as the call.
#define ZtLockHold DelayedLockHold
#define ztEventPost(...) (static_cast<void>(DelayedStep()), ztEventPost(__VA_ARGS__))
#define ztEventClear(...) (static_cast<void>(DelayedStep()), ztEventClear(__VA_ARGS__))
#define ztEventWait(...) (static_cast<void>(DelayedStep()), ztEventWait(__VA_ARGS__))
#define ssSharedBufferManager delayedSharedBufferManager

#endif
