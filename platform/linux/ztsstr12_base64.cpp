// SPDX-License-Identifier: MIT
//
// Base64 from a table of all pairs of characters: 12 bits of the input are one look-up, and the
// table, 8 KiB, stays in the first cache.

#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

#include "ztsstr12.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned kPairCount = 64 * 64;

using Pair = std::array<char, 2>;

constexpr std::array<Pair, kPairCount> kPairs = [] {
  std::array<Pair, kPairCount> pairs{};
  for (unsigned i = 0; i < kPairCount; ++i) pairs[i] = {kAlphabet[i / 64], kAlphabet[i % 64]};
  return pairs;
}();

// Writes the two characters of the lowest 12 bits.
char* putPair(char* target, std::uint64_t bits) {
  std::memcpy(target, kPairs[bits % kPairCount].data(), sizeof(Pair));
  return target + sizeof(Pair);
}

// The 8 bytes at `bytes`, the first one highest.
std::uint64_t load(unsigned char const* bytes) {
  static_assert(std::endian::native == std::endian::little);
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return __builtin_bswap64(word);
}

// The two bytes at `bytes`, the first one in bits 16 to 23 and the second in 8 to 15.
unsigned loadTwo(unsigned char const* bytes, bool hasSecond) {
  unsigned const first = bytes[0];
  unsigned const second = hasSecond ? bytes[1] : 0;
  return first << 16 | second << 8;
}

// The last one or two bytes, filled up with "=".
char* putRest(char* target, unsigned char const* bytes, int count) {
  if (count == 0) return target;
  unsigned const bits = loadTwo(bytes, count == 2);
  target = putPair(target, bits >> 12);
  *target++ = count == 2 ? kAlphabet[bits >> 6 & 63u] : '=';
  *target++ = '=';
  return target;
}

}  // namespace

int zts_b64_encode(char const* bytes, int count, char* target, int targetSize) {
  if (count < 0) return -1;
  long long const length = (static_cast<long long>(count) + 2) / 3 * 4;
  if (length > INT_MAX) return -1;
  if (target == nullptr) return static_cast<int>(length);
  if (length >= targetSize || (bytes == nullptr && count > 0)) return -1;
  auto const* source = reinterpret_cast<unsigned char const*>(bytes);
  // Eight bytes are read and six of them used.
  for (; count >= 8; count -= 6, source += 6) {
    std::uint64_t const word = load(source);
    for (int shift = 52; shift >= 16; shift -= 12) target = putPair(target, word >> shift);
  }
  for (; count >= 3; count -= 3, source += 3) {
    unsigned const bits = loadTwo(source, true) | source[2];
    target = putPair(putPair(target, bits >> 12), bits);
  }
  *putRest(target, source, count) = '\0';
  return static_cast<int>(length);
}
