// SPDX-License-Identifier: MIT

#include "ztbb10.h"

#include <atomic>
#include <thread>

#include "ztbtest.h"

namespace {

int tryGet(ZtLock lock, int mode) {
  int result = -1;
  std::thread([&] {
    result = ztLockGet(lock, mode, 0);
    if (result == 0) ztLockRelease(lock);
  }).join();
  return result;
}

TEST(ZtLock, ModesExcludeAsTheyShould) {
  struct {
    int shared, held, tried;
    bool free;
  } const rows[] = {
      {0, 1, 1, false},  // exclusive keeps out exclusive
      {0, 0, 0, false},  // a lock without a shared mode is always exclusive
      {1, 1, 0, false},  // a writer keeps out readers
      {1, 0, 1, false},  // a reader keeps out writers
      {1, 0, 0, true},   // readers share
  };
  for (auto const& row : rows) {
    ZtLock const lock = ztLockCreate(row.shared, 0);
    ASSERT_EQ(0, ztLockGet(lock, row.held, 1));
    EXPECT_EQ(row.free, tryGet(lock, row.tried) == 0) << row.shared << row.held << row.tried;
    ztLockRelease(lock);
    EXPECT_EQ(0, tryGet(lock, 1)) << "free after the release";
    ztLockDestroy(lock);
  }
}

TEST(ZtLock, CreatorMayHoldItFromTheStart) {
  ZtLock const lock = ztLockCreate(1, 1);
  EXPECT_NE(0, tryGet(lock, 0));
  ztLockRelease(lock);
  EXPECT_EQ(0, tryGet(lock, 0));
  ztLockDestroy(lock);
}

TEST(ZtLock, NullIsRefusedAndHarmless) {
  EXPECT_NE(0, ztLockGet(nullptr, 1, 1));
  ztLockRelease(nullptr);
  ztLockDestroy(nullptr);
}

class ZtLockThreads : public ::testing::TestWithParam<int> {};

TEST_P(ZtLockThreads, WritersCountBesideReaders) {
  ZtLock const lock = ztLockCreate(GetParam(), 0);
  long plain = 0;
  std::atomic<long> seen{0};
  ztbtest::inThreads(4, [&](int) {
    for (int i = 0; i < 20000; ++i) {
      if (i % 4 == 0) {
        ZtLockHold const hold(lock);
        ++plain;
      } else {
        ZtLockHold const hold(lock, ZtLockHold::kShared);
        seen += plain >= 0;
      }
    }
  });
  EXPECT_EQ(20000, plain);
  EXPECT_EQ(60000, seen.load());
  ztLockDestroy(lock);
}

INSTANTIATE_TEST_SUITE_P(ExclusiveAndShared, ZtLockThreads, ::testing::Values(0, 1));

TEST(ZtAtomThreads, LastSubIsSeenOnce) {
  ZtAtom counter;
  ztAtomInit(&counter, 4);
  std::atomic<int> last{0};
  ztbtest::inThreads(4, [&](int) {
    for (int i = 0; i < 10000; ++i) {
      ztAtomAdd(&counter);
      ztAtomSub(&counter);
    }
    if (ztAtomSub(&counter) == 0) ++last;
  });
  EXPECT_EQ(1, last.load());
  EXPECT_EQ(0, ztAtomGet(&counter));
}

// Two threads nest the locks in opposite list orders while the process forks.
TEST(ZtLockFork, EveryLockIsFreeInTheChild) {
  ZtLock const outer = ztLockCreate(0, 0), inner = ztLockCreate(1, 0);
  std::atomic<bool> stop{false};
  ztbtest::inThreads(6, [&](int thread) {
    while (thread == 1 && !stop) {
      ZtLockHold const first(outer);
      ZtLockHold const second(inner);
    }
    // Enough readers that the lock is hardly ever free by itself.
    while (thread > 1 && !stop) ZtLockHold const hold(inner, ZtLockHold::kShared);
    if (thread != 0) return;
    ZtLock const own = ztLockCreate(0, 1);
    auto const othersAreFree = [&] {
      bool const free = ztLockGet(outer, 1, 0) == 0 && ztLockGet(inner, 1, 0) == 0;
      return free && ztLockGet(own, 1, 0) != 0 ? 0 : 1;
    };
    for (int i = 0; i < 50; ++i) EXPECT_EQ(0, ztbtest::inChild(othersAreFree));
    ztLockDestroy(own);
    stop = true;
  });
  ztLockDestroy(outer);
  ztLockDestroy(inner);
}

int waitFor(ZtEvent event, int timeoutMs) {
  int unused = 0;
  return ztEventWait(1, &event, 1, timeoutMs, 0, &unused);
}

TEST(ZtEvent, StaysSignalledUntilCleared) {
  ZtEvent const event = ztEventCreate(0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(0, waitFor(event, 1));
    ztEventPost(event, 1);
    ztEventPost(event, 1);
    EXPECT_EQ(0, waitFor(event, 0));
    EXPECT_EQ(0, waitFor(event, -1));
    ztEventClear(event);
    ztEventClear(event);
  }
  ztEventDestroy(event);
  EXPECT_NE(0, waitFor(nullptr, -1));
  ztEventPost(nullptr, 1), ztEventClear(nullptr), ztEventDestroy(nullptr);
}

// A clear by one who was woken leaves the others asleep, and to be woken by the next post.
TEST(ZtEventThreads, APostWakesAllWhoSleep) {
  ZtEvent const event = ztEventCreate(0);
  std::atomic<int> awake{0};
  ztbtest::inThreads(4, [&](int thread) {
    if (thread != 0) {
      EXPECT_EQ(0, waitFor(event, -1));
      ++awake;
      return;
    }
    while (awake < 3) {
      ztEventPost(event, 1);
      std::this_thread::yield();
      ztEventClear(event);
    }
  });
  ztEventDestroy(event);
}

}  // namespace
