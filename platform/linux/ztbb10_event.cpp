// SPDX-License-Identifier: MIT
//
// Events on Linux: one futex word each, which also says whether anybody sleeps on it, so that a
// post that nobody sleeps for is no system call.

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <new>

#include "ztbb10.h"

struct ZtEventRecord {
  enum State : unsigned { kClear = 0, kSignalled = 1, kSleptOn = 2 };
  std::atomic<unsigned> state{kClear};
};
static_assert(sizeof(std::atomic<unsigned>) == 4 && std::atomic<unsigned>::is_always_lock_free);

namespace {

timespec deadlineIn(int milliseconds) {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  time.tv_sec += milliseconds / 1000;
  time.tv_nsec += milliseconds % 1000 * 1'000'000L;
  if (time.tv_nsec >= 1'000'000'000L) {
    ++time.tv_sec;
    time.tv_nsec -= 1'000'000'000L;
  }
  return time;
}

bool isSignalled(ZtEvent event) {
  return event->state.load(std::memory_order_acquire) == ZtEventRecord::kSignalled;
}

// Sleeps unless the event is signalled, or until the deadline, which may be null. True once the
// deadline has passed; a sleep may also end without a reason.
bool sleepUntil(ZtEvent event, timespec const* deadline) {
  unsigned seen = ZtEventRecord::kClear;
  event->state.compare_exchange_strong(seen, ZtEventRecord::kSleptOn, std::memory_order_relaxed);
  if (seen == ZtEventRecord::kSignalled) return false;
  long const result = ::syscall(SYS_futex, &event->state, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG,
                                ZtEventRecord::kSleptOn, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
  return result != 0 && errno == ETIMEDOUT;
}

}  // namespace

ZtEvent ztEventCreate(int) {
  return new (std::nothrow) ZtEventRecord;
}

void ztEventPost(ZtEvent event, int) {
  if (event == nullptr) return;
  unsigned const before =
      event->state.exchange(ZtEventRecord::kSignalled, std::memory_order_release);
  if (before != ZtEventRecord::kSleptOn) return;
  ::syscall(SYS_futex, &event->state, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void ztEventClear(ZtEvent event) {
  if (event == nullptr) return;
  // The mark of those who sleep stays.
  unsigned seen = ZtEventRecord::kSignalled;
  event->state.compare_exchange_strong(seen, ZtEventRecord::kClear, std::memory_order_relaxed);
}

int ztEventWait(int, ZtEvent const* events, int, int timeoutMs, int, int*) {
  ZtEvent const event = *events;
  if (event == nullptr) return 1;
  if (isSignalled(event)) return 0;
  timespec const deadline = deadlineIn(timeoutMs);
  while (!isSignalled(event)) {
    if (sleepUntil(event, timeoutMs < 0 ? nullptr : &deadline)) return isSignalled(event) ? 0 : 1;
  }
  return 0;
}

void ztEventDestroy(ZtEvent event) {
  delete event;
}
