// SPDX-License-Identifier: MIT
//
// Events on Linux: one futex word each, 1 while the event is signalled.

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
  std::atomic<unsigned> signalled{0};
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

// Sleeps while the word is 0, or until the deadline, which may be null. True once the deadline has
// passed; a sleep may also end without a reason.
bool sleepUntil(ZtEvent event, timespec const* deadline) {
  long const result =
      ::syscall(SYS_futex, &event->signalled, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, 0u, deadline,
                nullptr, FUTEX_BITSET_MATCH_ANY);
  return result != 0 && errno == ETIMEDOUT;
}

bool isSignalled(ZtEvent event) {
  return event->signalled.load(std::memory_order_acquire) != 0;
}

}  // namespace

ZtEvent ztEventCreate(int) {
  return new (std::nothrow) ZtEventRecord;
}

void ztEventPost(ZtEvent event, int) {
  if (event == nullptr || event->signalled.exchange(1, std::memory_order_release) != 0) return;
  ::syscall(SYS_futex, &event->signalled, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void ztEventClear(ZtEvent event) {
  if (event != nullptr) event->signalled.store(0, std::memory_order_relaxed);
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
