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

inline void delayedEventPost(ZtEvent event, int stay) {
  DelayedStep const step;
  ztEventPost(event, stay);
}

inline void delayedEventClear(ZtEvent event) {
  DelayedStep const step;
  ztEventClear(event);
}

inline int delayedEventWait(int count, ZtEvent const* events, int all, int timeoutMs, int reserved,
                            int* result) {
  DelayedStep const step;
  return ztEventWait(count, events, all, timeoutMs, reserved, result);
}

#define ZtLockHold DelayedLockHold
#define ztEventPost delayedEventPost
#define ztEventClear delayedEventClear
#define ztEventWait delayedEventWait
#define ssSharedBufferManager delayedSharedBufferManager

#endif
