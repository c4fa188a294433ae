// SPDX-License-Identifier: MIT
//
// The uncontended ways of locks and counters on Linux. Included by ztbb10.h alone.
//
// A lock is one futex word: the top bit says that it is held exclusively, the next that somebody
// waits, the rest counts the readers. While the C library says that the process has one thread,
// the word is changed by plain loads and stores: it is kept up all the same, since a second thread
// may be started while the lock is held.

#ifndef ZTBB10_INLINE_H
#define ZTBB10_INLINE_H

#include <sys/single_threaded.h>

#include <atomic>

struct alignas(64) ZtLockRecord {
  static constexpr unsigned kWriter = 0x80000000u;
  static constexpr unsigned kWaiters = 0x40000000u;
  static constexpr unsigned kReaders = kWaiters - 1;

  constexpr explicit ZtLockRecord(bool isShared) : shared(isShared) {}

  std::atomic<unsigned> state{0};
  bool const shared;
  // The thread that holds the lock exclusively, for fork alone.
  std::atomic<void const*> owner{nullptr};
  // Whether the fork in progress has taken the lock; guarded by the lock of the list.
  bool takenForFork = false;
  // The list of all locks, for fork.
  ZtLockRecord* previous = nullptr;
  ZtLockRecord* next = nullptr;
};

// The address is the thread's identity; cheaper to come by than the C library's thread handle.
extern constinit thread_local char ztLockThread __attribute__((tls_model("initial-exec")));

int ztLockGetSlowly(ZtLock lock, int mode, int wait);
void ztLockReleaseSlowly(ZtLock lock);

inline bool ztLockTryExclusive(ZtLock lock) {
  unsigned expected = 0;
  if (__libc_single_threaded) {
    if (lock->state.load(std::memory_order_relaxed) != 0) return false;
    lock->state.store(ZtLockRecord::kWriter, std::memory_order_relaxed);
  } else if (!lock->state.compare_exchange_strong(expected, ZtLockRecord::kWriter,
                                                  std::memory_order_acquire,
                                                  std::memory_order_relaxed)) {
    return false;
  }
  lock->owner.store(&ztLockThread, std::memory_order_relaxed);
  return true;
}

inline int ztLockGet(ZtLock lock, int mode, int wait) {
  if (lock != nullptr && mode == 1 && ztLockTryExclusive(lock)) return 0;
  return ztLockGetSlowly(lock, mode, wait);
}

inline void ztLockRelease(ZtLock lock) {
  if (lock == nullptr) return;
  if (lock->state.load(std::memory_order_relaxed) == ZtLockRecord::kWriter) {
    lock->owner.store(nullptr, std::memory_order_relaxed);
    unsigned expected = ZtLockRecord::kWriter;
    if (__libc_single_threaded) {
      lock->state.store(0, std::memory_order_relaxed);
      return;
    }
    if (lock->state.compare_exchange_strong(expected, 0, std::memory_order_release,
                                            std::memory_order_relaxed)) {
      return;
    }
  }
  ztLockReleaseSlowly(lock);
}

inline ZtBriefHold::ZtBriefHold(ZtLock lock) : mLock(__libc_single_threaded ? nullptr : lock) {
  if (mLock != nullptr) ztLockGet(mLock, 1, 1);
}

inline ZtBriefHold::~ZtBriefHold() {
  if (mLock != nullptr) ztLockRelease(mLock);
}

inline void ztAtomInit(ZtAtom* counter, int value) {
  counter->value = value;
}

inline void ztAtomAdd(ZtAtom* counter) {
  if (__libc_single_threaded) {
    ++counter->value;
  } else {
    std::atomic_ref<int>(counter->value).fetch_add(1, std::memory_order_relaxed);
  }
}

inline int ztAtomSub(ZtAtom* counter) {
  if (__libc_single_threaded) return --counter->value;
  return std::atomic_ref<int>(counter->value).fetch_sub(1, std::memory_order_acq_rel) - 1;
}

inline int ztAtomGet(ZtAtom const* counter) {
  // atomic_ref has no form for constant objects in C++20.
  return std::atomic_ref<int>(const_cast<int&>(counter->value)).load(std::memory_order_acquire);
}

inline char const* ztSoleThreadFlag() {
  return &__libc_single_threaded;
}

#endif
