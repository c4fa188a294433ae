// SPDX-License-Identifier: MIT
//
// Shared buffers when memory is short, and with delays at every step. In this program allocations
// fail when a test wants it, and in the stress test a wait for an event has no time limit: there, a
// wake-up that is lost is a hang instead of a delay of 250 ms.

#include "sssharedbuffer.h"

#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include "ztbtest.h"

namespace {

// Per thread: what an allocation may take at most, and how many come before one that fails.
thread_local std::size_t gMostBytes = SIZE_MAX;
thread_local int gAllocationsBeforeFailure = -1;

bool fails(std::size_t bytes) {
  return bytes > gMostBytes || (gAllocationsBeforeFailure >= 0 && gAllocationsBeforeFailure-- == 0);
}

// What a throwing form gives; null where it throws, or where it is made to fail.
template <class Allocate>
void* orNull(std::size_t bytes, Allocate const& allocate) noexcept try {
  return fails(bytes) ? nullptr : allocate();
} catch (std::bad_alloc const&) {
  return nullptr;
}

std::atomic<bool> gIsStressed{false};
std::atomic<int> gSleeps{0};

unsigned chance() {
  thread_local unsigned state = 0;
  while (state == 0) state = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&state) >> 4);
  state ^= state << 13;
  state ^= state >> 17;
  return state ^= state << 5;
}

bool oneIn(unsigned n) {
  return chance() % n == 0;
}

}  // namespace

// Under stress: nothing, a chance for the other thread, or a sleep of up to 0.2 ms.
void delayStep() {
  if (!gIsStressed || !oneIn(4)) return;
  if (oneIn(2)) {
    std::this_thread::yield();
  } else {
    timespec const time{0, static_cast<long>(chance() % 200'000)};
    ::nanosleep(&time, nullptr);
  }
}

// The manager whose steps are delayed.
SharedBufferManager* delayedSharedBufferManager(int inputCount, int inputRows, int inputColumns,
                                                int outputCount, int outputRows, int outputColumns);

void* operator new(std::size_t bytes, std::nothrow_t const&) noexcept {
  return orNull(bytes, [bytes] { return ::operator new(bytes); });
}
void* operator new[](std::size_t bytes, std::nothrow_t const&) noexcept {
  return orNull(bytes, [bytes] { return ::operator new[](bytes); });
}
void* operator new(std::size_t bytes, std::align_val_t align, std::nothrow_t const&) noexcept {
  return orNull(bytes, [bytes, align] { return ::operator new(bytes, align); });
}

// Counts the sleeps of waits. Under stress, a wait by futex starts late, ends late, and runs out of
// time now and then instead of sleeping; a sleep has no limit. It passes six arguments on, however
// many there are: what it then reads of the caller's stack is nobody's business.
extern "C" __attribute__((no_sanitize("address"))) long syscall(long number, ...) noexcept {
  using Function = long(long, long, long, long, long, long, long);
  static auto* const real = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "syscall"));
  va_list list;
  va_start(list, number);
  long a[6];
  for (long& argument : a) argument = va_arg(list, long);
  va_end(list);
  bool const isSleep = number == SYS_futex && (a[1] & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET;
  gSleeps += isSleep;
  if (number != SYS_futex || !gIsStressed) return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
  delayStep();
  if (isSleep) {
    a[3] = 0;
    if (oneIn(20)) {
      errno = ETIMEDOUT;
      return -1;
    }
  }
  long const result = real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
  int const error = errno;
  delayStep();
  errno = error;
  return result;
}

namespace {

using SharedBufferMemory = ztbtest::LibraryTest;

TEST_F(SharedBufferMemory, QuartersTheRowsUntilTheyFit) {
  constexpr int kMost = 0x7fffffff;
  struct {
    int rows, columns;
    int fitting;   // values that an allocation may take
    int capacity;  // 0 if there is no buffer
  } const cases[] = {{100, 10, 1000, 100},   {100, 10, 999, 25}, {100, 10, 249, 6},
                     {100, 10, 59, 1},       {100, 10, 9, 0},    {3, 10, 29, 0},
                     {8, 0, 1, 1},           {8, 0, 0, 0},       {kMost, 2, 2, 1},
                     {kMost, kMost, 1000, 0}};
  for (auto const& [rows, columns, fitting, capacity] : cases) {
    SCOPED_TRACE(std::to_string(rows) + " rows, room for " + std::to_string(fitting) + " values");
    SharedBufferManager* const manager = ssSharedBufferManager(1, rows, columns, 0, 0, 0);
    ASSERT_NE(nullptr, manager);
    std::size_t const cookie = fitting == 0 ? 0 : sizeof(std::size_t);
    gMostBytes = static_cast<std::size_t>(fitting) * sizeof(ZtbDatavar) + cookie;
    SharedBuffer* buffer = manager->acquireFreeInput();
    gMostBytes = SIZE_MAX;
    int expected = capacity;
    if (capacity == 0 && rows != kMost) {
      EXPECT_EQ(nullptr, buffer);
      buffer = manager->acquireFreeInput();
      expected = columns == 0 ? 1 : rows;  // the failure has changed nothing
    }
    EXPECT_EQ(expected, buffer == nullptr ? 0 : buffer->getRowCapacity());
    for (int i = 0; i < expected; ++i) EXPECT_NE(nullptr, buffer->nextRow());
    EXPECT_EQ(nullptr, buffer == nullptr ? nullptr : buffer->nextRow());
    manager->destroy();
  }
}

// Each allocation of the creation fails in turn; buffers behind the first make the pool smaller.
TEST_F(SharedBufferMemory, CreationFailsOrMakesSmallerPools) {
  std::string outcomes;
  for (int before = 0; outcomes.find("32") == std::string::npos && before < 50; ++before) {
    gAllocationsBeforeFailure = before;
    SharedBufferManager* const manager = ssSharedBufferManager(3, 1, 1, 2, 1, 1);
    gAllocationsBeforeFailure = -1;
    int input = 0, output = 0;
    if (manager != nullptr) {
      manager->getInputCounts(nullptr, &input);
      manager->getOutputCounts(nullptr, &output);
      manager->destroy();
    }
    outcomes += std::to_string(input) + std::to_string(output) + " ";
  }
  EXPECT_EQ("00 00 00 00 00 00 00 00 12 22 00 00 00 31 32 ", outcomes);
}

// Gives up with one answer.
struct Answer final : SharedBufferWaitCallback {
  unsigned char poll() override { return value; }
  unsigned char value = 1;
};

TEST_F(SharedBufferMemory, OnlyOneTakesTheMarkOfAWaiterBack) {
  for (unsigned const value : {1u, 2u, 255u}) {
    SharedBufferManager* const manager = ssSharedBufferManager(1, 1, 1, 1, 1, 1);
    Answer first, second;
    first.value = static_cast<unsigned char>(value);
    gSleeps = 0;
    EXPECT_EQ(nullptr, manager->acquireFilledInput(&first));
    EXPECT_EQ(1, gSleeps);
    manager->acquireFreeInput()->release();
    manager->acquireFilledInput(nullptr)->release();
    EXPECT_EQ(nullptr, manager->acquireFilledInput(&second));
    EXPECT_EQ(value == 1 ? 2 : 1, gSleeps) << "the release has posted for a waiter that had left";
    manager->destroy();
  }
}

// Waits with answers at random; a callback is asked at moments of its own, too.
struct Whim final : SharedBufferWaitCallback {
  unsigned char poll() override {
    delayStep();
    return static_cast<unsigned char>(chance() % 3);
  }
};

// Repeats a wait that gave up.
template <class Wait>
auto insist(Wait const& wait) {
  for (;;) {
    delayStep();
    if (auto const result = wait()) return result;
  }
}

std::string textOf(int number) {
  return std::string(static_cast<std::size_t>(number % 40), 'x') + std::to_string(number);
}

// A round: `rows` rows to the worker and back, which then ends the manager as soon as the output
// has been read.
class Round {
 public:
  void beClient() {
    int sent = 0, received = 0;
    while (received < rows) {
      SharedBuffer* input = sent < rows && oneIn(3) ? manager->acquireFreeInput() : nullptr;
      SharedBuffer* output = oneIn(3) ? manager->acquireFilledOutput() : nullptr;
      if (input == nullptr && output == nullptr) {
        insist([&] {
          return manager->waitForBuffers(&mClient, sent < rows ? &input : nullptr, &output);
        });
      }
      ZtbDatavar* row;
      while (input != nullptr && sent < rows && !oneIn(10) && (row = input->nextRow()) != nullptr) {
        row[0].assign(sent);
        row[1].assign(textOf(sent++).c_str());
        delayStep();
      }
      if (input != nullptr) input->release();
      for (; output != nullptr && (row = output->nextRow()) != nullptr; ++received) {
        isWrong |= row[0].asInt(nullptr) != received;
        isWrong |= row[1].asString().asCstr() != textOf(received);
        delayStep();
      }
      if (output != nullptr) output->release();
    }
  }

  void beWorker() {
    SharedBuffer* output = nullptr;
    for (int answered = 0; answered < rows;) {
      SharedBuffer* const input = insist([&] { return manager->acquireFilledInput(&mWorker); });
      while (ZtbDatavar const* const row = input->nextRow()) {
        ZtbDatavar* answer;
        while (output == nullptr || (answer = output->nextRow()) == nullptr) {
          if (output != nullptr) output->release();
          output = insist([&] { return manager->acquireFreeOutput(&mWorker); });
        }
        answer[0].assign(row[0].asInt(nullptr));
        answer[1] = row[1];
        ++answered;
        delayStep();
      }
      input->release();
    }
    if (output != nullptr) output->release();
    insist([&] { return manager->waitForOutputDrained(&mWorker); });
    manager->destroy();
  }

  bool isWrong = false;

 private:
  static int below(int limit) { return 1 + static_cast<int>(chance() % unsigned(limit)); }

  SharedBufferManager* const manager =
      delayedSharedBufferManager(below(3), below(5), 2, below(3), below(5), 2);
  int const rows = below(150);
  Whim mClient;
  Whim mWorker;
};

using SharedBufferDelaysThreads = ztbtest::LibraryTest;

// For a second, or as many as ZTB_TEST_STRESS_SECONDS says. A wake-up that is lost ends the program
// with an alarm.
TEST_F(SharedBufferDelaysThreads, NoWakeUpAndNoRowIsLost) {
  char const* const wanted = std::getenv("ZTB_TEST_STRESS_SECONDS");
  auto const end = std::chrono::steady_clock::now() +
                   std::chrono::seconds(wanted != nullptr ? std::atoi(wanted) : 1);
  gIsStressed = true;
  while (std::chrono::steady_clock::now() < end) {
    ::alarm(30);
    Round round;
    ztbtest::inThreads(2, [&](int i) { i == 0 ? round.beClient() : round.beWorker(); });
    ASSERT_FALSE(round.isWrong);
  }
  ::alarm(0);
  gIsStressed = false;
}

}  // namespace
