// SPDX-License-Identifier: MIT
//
// Locks on Linux: the contended ways, the list of all locks, and their care across fork.

#include "ztbb10.h"

#include <pthread.h>
#include <sched.h>

#include <chrono>
#include <cstdio>
#include <new>

constinit thread_local char ztLockThread = 0;

namespace {

// The list of all locks and the lock that guards it: constant-initialised and never destroyed, so
// that locks can be made before main and while static objects are destroyed.
constinit ZtLockRecord listLock{false};
constinit ZtLockRecord* listHead = nullptr;

// A short wait by spinning is cheaper than sleeping: most locks here are held for nanoseconds.
constexpr int kSpins = 64;

// How long fork waits for the readers of a lock before it starts again.
constexpr std::chrono::milliseconds kForkPatience{2};

void relax() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

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
    if (__libc_single_threaded) {
      lock->state.store(seen + 1, std::memory_order_relaxed);
      return true;
    }
    if (lock->state.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire)) return true;
  }
  return false;
}

bool tryTake(ZtLock lock, bool exclusive, unsigned waiters) {
  return exclusive ? tryExclusive(lock, waiters) : tryShared(lock);
}

// Marks a lock that is busy as waited for, and gives its marked state; 0 when it isn't busy, or has
// just changed.
unsigned markWaited(ZtLock lock, bool exclusive) {
  unsigned seen = lock->state.load(std::memory_order_relaxed);
  unsigned const blocking =
      exclusive ? ~ZtLockRecord::kWaiters : ZtLockRecord::kWriter | ZtLockRecord::kWaiters;
  if ((seen & blocking) == 0) return 0;
  unsigned const marked = seen | ZtLockRecord::kWaiters;
  return seen == marked || lock->state.compare_exchange_strong(seen, marked) ? marked : 0;
}

// Sleeps until a busy lock changes. A thread that has slept takes the lock with the mark kept,
// since it can't know whether others still sleep.
void sleepOn(ZtLock lock, bool exclusive) {
  unsigned const marked = markWaited(lock, exclusive);
  if (marked != 0) lock->state.wait(marked, std::memory_order_relaxed);
}

// One waiter is enough for a lock without readers; it wakes the next when it lets go. Takes the
// address only, since the lock may already belong to somebody who ends it.
void wake(std::atomic<unsigned>* state, bool shared) {
  if (shared) {
    state->notify_all();
  } else {
    state->notify_one();
  }
}

void addToList(ZtLock lock) {
  lock->previous = nullptr;
  lock->next = listHead;
  if (listHead != nullptr) listHead->previous = lock;
  listHead = lock;
}

void takeOffList(ZtLock lock) {
  if (lock->previous != nullptr) lock->previous->next = lock->next;
  if (lock->next != nullptr) lock->next->previous = lock->previous;
  if (listHead == lock) listHead = lock->next;
}

void releaseAllTaken() {
  for (ZtLock lock = listHead; lock != nullptr; lock = lock->next) {
    if (lock->takenForFork) ztLockRelease(lock);
    lock->takenForFork = false;
  }
}

// Waits a little for the readers of a lock, with new ones kept out.
bool takeFromReaders(ZtLock lock) {
  using Clock = std::chrono::steady_clock;
  for (auto const end = Clock::now() + kForkPatience; Clock::now() < end; sched_yield()) {
    unsigned const marked = markWaited(lock, true);
    if (tryExclusive(lock, 0)) return true;
    if ((marked & ZtLockRecord::kWriter) != 0) break;
  }
  // Nobody may be left to clear the mark, so whoever waits looks again.
  lock->state.fetch_and(~ZtLockRecord::kWaiters, std::memory_order_relaxed);
  lock->state.notify_all();
  return false;
}

// Only the first lock is waited for, since nothing else is held then.
bool takeForFork(ZtLock lock) {
  bool const taken = tryExclusive(lock, 0) || (lock == listHead && takeFromReaders(lock));
  lock->takenForFork = taken;
  return taken;
}

// Takes every lock that this thread doesn't hold itself. False, with none taken, when one is busy;
// that one is then the first of the list.
bool tryTakeAll() {
  for (ZtLock lock = listHead; lock != nullptr; lock = lock->next) {
    if (lock->owner.load(std::memory_order_relaxed) == &ztLockThread) continue;
    if (takeForFork(lock)) continue;
    releaseAllTaken();
    takeOffList(lock);
    addToList(lock);
    return false;
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
  addToList(lock);
  return lock;
}

// The thread that comes second throws its own lock away.
ZtLock ztLockAtFirstUse(std::atomic<ZtLock>& place, int shared) {
  ZtLock lock = place.load(std::memory_order_acquire);
  if (lock != nullptr) return lock;
  ZtLock const made = ztLockCreate(shared, 0);
  if (place.compare_exchange_strong(lock, made, std::memory_order_acq_rel)) return made;
  ztLockDestroy(made);
  return lock;
}

int ztLockGetSlowly(ZtLock lock, int mode, int wait) {
  if (lock == nullptr) return 1;
  bool const exclusive = mode == 1 || !lock->shared;
  if (tryTake(lock, exclusive, 0)) return 0;
  if (wait == 0) return 1;
  for (int spin = 0; spin < kSpins; ++spin) {
    if (tryTake(lock, exclusive, 0)) return 0;
    relax();
  }
  while (!tryTake(lock, exclusive, ZtLockRecord::kWaiters)) sleepOn(lock, exclusive);
  return 0;
}

void ztLockReleaseSlowly(ZtLock lock) {
  bool const shared = lock->shared;
  std::atomic<unsigned>* const state = &lock->state;
  unsigned const seen = state->load(std::memory_order_relaxed);
  if ((seen & ZtLockRecord::kWriter) != 0) {
    lock->owner.store(nullptr, std::memory_order_relaxed);
    unsigned const last = state->exchange(0, std::memory_order_release);
    if ((last & ZtLockRecord::kWaiters) != 0) wake(state, shared);
    return;
  }
  if (__libc_single_threaded) {
    state->store(seen - 1, std::memory_order_relaxed);
    return;
  }
  // Beside readers the mark is a writer's. It stays, so that the writer comes before new readers.
  unsigned const last = state->fetch_sub(1, std::memory_order_release);
  if (last == (ZtLockRecord::kWaiters | 1)) wake(state, shared);
}

void ztLockDestroy(ZtLock lock) {
  if (lock == nullptr) return;
  {
    ZtLockHold const hold(&listLock);
    takeOffList(lock);
  }
  delete lock;
}
