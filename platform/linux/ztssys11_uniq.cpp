// SPDX-License-Identifier: MIT
//
// Unique text.

#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

#include "ztssys11.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
static_assert(sizeof kAlphabet == 64 + 1);

// 96 bits: three words of 32.
using UniqueBits = std::array<std::uint32_t, 3>;
static_assert(sizeof(UniqueBits) == 12);

bool randomBits(UniqueBits& bits) {
  ssize_t count = 0;
  do {
    count = getrandom(bits.data(), sizeof bits, 0);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(sizeof bits);
}

// A process number has 22 bits on Linux; the 10 left count the calls, so a process would have to
// make 1024 of them in one nanosecond to meet itself.
UniqueBits bitsOfTimeAndProcess() {
  constexpr std::uint32_t kCountBits = 10;
  static std::atomic<std::uint32_t> calls{0};
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  auto const nanoseconds = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u +
                           static_cast<std::uint64_t>(now.tv_nsec);
  std::uint32_t const call = calls.fetch_add(1, std::memory_order_relaxed);
  std::uint32_t const process = static_cast<std::uint32_t>(getpid()) << kCountBits;
  return {static_cast<std::uint32_t>(nanoseconds >> 32), static_cast<std::uint32_t>(nanoseconds),
          process | (call & ((1u << kCountBits) - 1))};
}

}  // namespace

void np_uniq_s64(char* buffer) {
  UniqueBits bits{};
  if (!randomBits(bits)) bits = bitsOfTimeAndProcess();
  std::uint64_t pending = 0;
  int pendingBits = 0;
  for (std::uint32_t const word : bits) {
    pending = pending << 32 | word;
    pendingBits += 32;
    while (pendingBits >= 6) {
      pendingBits -= 6;
      *buffer++ = kAlphabet[pending >> pendingBits & 63];
    }
  }
  *buffer = '\0';
}
