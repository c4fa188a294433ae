// SPDX-License-Identifier: MIT
//
// Locks on Linux: the contended ways, the list of all locks, and their care across fork.

#include "ztbb10.h"

#include <pthread.h>
#include <sched.h>

#include <cstdio>
#include <new>

thread_local char ztLockThread;

namespace {

// The list of all locks and the lock that guards it: constant-initialised and never destroyed, so
// that locks can be made before main and while static objects are destroyed.
constinit ZtLockRecord listLock{false};
constinit ZtLockRecord* listHead = nullptr;

// A short wait by spinning is cheaper than sleeping: most locks here are held for nanoseconds.
constexpr int kSpins = 64;

bool tryExclusive(ZtLock lock, unsigned waiters) {
  unsigned seen = lock->state.load(std::memory_order_relaxed);
  if ((seen & ~ZtLockRecord::kWaiters) != 0) return false;
  unsigned const wanted = ZtLockRecord::kWriter | waiters | seen;
  if (!lock->state.compare_exchange_strong(seen, wanted, std::memory_order_acquire)) return false;
  lock->owner.store(&ztLockThread, std::memory_order_relaxed);
  return true;
}

// While somebody waits, new readers wait too.
bool tryShared(ZtLock lock) {
  unsigned seen = lock->state.load(std::memory_order_relaxed);
  while ((seen & (ZtLockRecord::kWriter | ZtLockRecord::kWaiters)) == 0) {
    if (lock->state.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire)) return true;
  }
  return false;
}

bool tryTake(ZtLock lock, bool exclusive, unsigned waiters) {
  return exclusive ? tryExclusive(lock, waiters) : tryShared(lock);
}

// Marks the lock as waited for and sleeps until it changes. A thread that has slept takes the lock
// with the mark kept, since it can't know whether others still sleep.
void sleepOn(ZtLock lock, bool exclusive) {
  unsigned seen = lock->state.load(std::memory_order_relaxed);
  unsigned const blocking =
      exclusive ? ~ZtLockRecord::kWaiters : ZtLockRecord::kWriter | ZtLockRecord::kWaiters;
  if ((seen & blocking) == 0) return;
  unsigned const marked = seen | ZtLockRecord::kWaiters;
  if (seen != marked && !lock->state.compare_exchange_strong(seen, marked)) return;
  lock->state.wait(marked, std::memory_order_relaxed);
}

// One waiter is enough for a lock without readers; it wakes the next when it lets go.
void wake(ZtLock lock) {
  if (lock->shared) {
    lock->state.notify_all();
  } else {
    lock->state.notify_one();
  }
}

void releaseAllTaken() {
  for (ZtLock lock = listHead; lock != nullptr; lock = lock->next) {
    if (lock->takenForFork) ztLockRelease(lock);
    lock->takenForFork = false;
  }
}

// Takes every lock that this thread doesn't hold itself; false, with none taken, if one is busy.
bool tryTakeAll() {
  for (ZtLock lock = listHead; lock != nullptr; lock = lock->next) {
    if (lock->owner.load(std::memory_order_relaxed) == &ztLockThread) continue;
    if (!tryExclusive(lock, 0)) {
      releaseAllTaken();
      return false;
    }
    lock->takenForFork = true;
  }
  return true;
}

// The locks nest in orders that only their users know, so nothing is waited for while others are
// held: all or none, until it is all.
void beforeFork() {
  for (;;) {
    ztLockGet(&listLock, 1, 1);
    if (tryTakeAll()) return;
    ztLockRelease(&listLock);
    sched_yield();
  }
}

void afterFork() {
  releaseAllTaken();
  ztLockRelease(&listLock);
}

bool watchForks() {
  static bool const watching = pthread_atfork(beforeFork, afterFork, afterFork) == 0;
  return watching;
}

}  // namespace

int ztbbInitialize(char const* /*executablePath*/, char* errorText, int errorTextSize) {
  if (watchForks()) return 0;
  if (errorText != nullptr && errorTextSize > 0) {
    std::snprintf(errorText, static_cast<std::size_t>(errorTextSize),
                  "Locks can't be kept safe across fork: out of memory.");
  }
  return 1;
}

void ztbbTerminate() {}

ZtLock ztLockCreate(int shared, int held) {
  if (!watchForks()) return nullptr;
  ZtLock const lock = new (std::nothrow) ZtLockRecord(shared != 0);
  if (lock == nullptr) return nullptr;
  if (held != 0) ztLockGet(lock, 1, 1);
  ZtLockHold const hold(&listLock);
  lock->next = listHead;
  if (listHead != nullptr) listHead->previous = lock;
  listHead = lock;
  return lock;
}

int ztLockGetSlowly(ZtLock lock, int mode, int wait) {
  if (lock == nullptr) return 1;
  bool const exclusive = mode == 1 || !lock->shared;
  if (tryTake(lock, exclusive, 0)) return 0;
  if (wait == 0) return 1;
  for (int spin = 0; spin < kSpins; ++spin) {
    if (tryTake(lock, exclusive, 0)) return 0;
    __builtin_ia32_pause();
  }
  while (!tryTake(lock, exclusive, ZtLockRecord::kWaiters)) sleepOn(lock, exclusive);
  return 0;
}

void ztLockReleaseSlowly(ZtLock lock) {
  unsigned seen = lock->state.load(std::memory_order_relaxed);
  if ((seen & ZtLockRecord::kWriter) != 0) {
    lock->owner.store(nullptr, std::memory_order_relaxed);
    seen = lock->state.exchange(0, std::memory_order_release);
    if ((seen & ZtLockRecord::kWaiters) != 0) wake(lock);
    return;
  }
  unsigned wanted = 0;
  do {
    // The last reader clears the mark, so that whoever waits can have the lock.
    wanted = (seen & ZtLockRecord::kReaders) == 1 ? 0 : seen - 1;
  } while (!lock->state.compare_exchange_weak(seen, wanted, std::memory_order_release));
  if (wanted == 0 && (seen & ZtLockRecord::kWaiters) != 0) wake(lock);
}

void ztLockDestroy(ZtLock lock) {
  if (lock == nullptr) return;
  {
    ZtLockHold const hold(&listLock);
    if (lock->previous != nullptr) lock->previous->next = lock->next;
    if (lock->next != nullptr) lock->next->previous = lock->previous;
    if (listHead == lock) listHead = lock->next;
  }
  delete lock;
}
