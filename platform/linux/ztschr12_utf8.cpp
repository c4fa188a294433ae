// SPDX-License-Identifier: MIT
//
// Well-formed UTF-8 by blocks: vector code in the compiler's own vector types for any processor,
// and with AVX2 where the processor has it; np_uchar_tell stands and falls by it (bench:
// string/find).

#include "ztschr12_utf8.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using Bytes = unsigned char __attribute__((vector_size(16)));

constexpr std::size_t kBlock = kNpUtf8Block;

inline Bytes load(char const* p) {
  Bytes v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline Bytes all(unsigned char value) {
  return value - Bytes{};
}

inline std::uint64_t fold(Bytes v) {
  std::uint64_t half[2];
  std::memcpy(half, &v, sizeof half);
  return half[0] | half[1];
}

// Non-zero lanes where a byte of `now` can't stand behind the three bytes before it: `one` holds
// the bytes one place before, `two` and `three` those farther back. Each byte must be a
// continuation exactly if a lead before it asks for one; the rest are leads that no sequence has,
// and the narrower second bytes behind E0, ED, F0 and F4.
inline Bytes errors(Bytes now, Bytes one, Bytes two, Bytes three) {
  auto const asked = (one >= all(0xC0)) | (two >= all(0xE0)) | (three >= all(0xF0));
  auto const continuation = (now & all(0xC0)) == all(0x80);
  auto bad = asked ^ continuation;
  bad |= ((now & all(0xFE)) == all(0xC0)) | (now >= all(0xF5));
  bad |= ((one == all(0xE0)) & (now < all(0xA0))) | ((one == all(0xED)) & (now >= all(0xA0)));
  bad |= ((one == all(0xF0)) & (now < all(0x90))) | ((one == all(0xF4)) & (now >= all(0x90)));
  return reinterpret_cast<Bytes>(bad);
}

// 1 in each lane that begins a character.
inline Bytes leads(Bytes now) {
  return reinterpret_cast<Bytes>((now & all(0xC0)) != all(0x80)) & all(1);
}

inline std::size_t sum(Bytes v) {
  constexpr std::uint64_t kOnes = 0x0101010101010101u;
  std::uint64_t half[2];
  std::memcpy(half, &v, sizeof half);
  return (half[0] * kOnes >> 56) + (half[1] * kOnes >> 56);
}

// The bytes in front of `end` that begin a character which isn't complete there.
inline std::size_t openBytes(char const* end) {
  auto const* const p = reinterpret_cast<unsigned char const*>(end);
  return p[-1] >= 0xC0 ? 1 : p[-2] >= 0xE0 ? 2 : p[-3] >= 0xF0 ? 3 : 0;
}

// The characters that begin in the 64 bytes at `p`, or -1 if something is ill-formed there. What
// the four bytes before `p` ask for counts.
inline int scanBlock(char const* p) {
  Bytes const v0 = load(p), v1 = load(p + 16), v2 = load(p + 32), v3 = load(p + 48);
  Bytes bad = errors(v0, load(p - 1), load(p - 2), load(p - 3));
  bad |= errors(v1, load(p + 15), load(p + 14), load(p + 13));
  bad |= errors(v2, load(p + 31), load(p + 30), load(p + 29));
  bad |= errors(v3, load(p + 47), load(p + 46), load(p + 45));
  if (fold(bad) != 0) return -1;
  return static_cast<int>(sum(leads(v0) + leads(v1) + leads(v2) + leads(v3)));
}

inline bool isAsciiBlock(char const* p) {
  std::uint32_t before;
  std::memcpy(&before, p - sizeof before, sizeof before);
  std::uint64_t const any = fold(load(p) | load(p + 16) | load(p + 32) | load(p + 48)) | before;
  return (any & 0x8080808080808080u) == 0;
}

// As np_utf8_run, but whole blocks only; the last may end inside a character.
NpUtf8Run scanBlocks(char const* text, std::size_t nBytes) {
  NpUtf8Run run{0, 0};
  for (; nBytes - run.bytes >= kBlock; run.bytes += kBlock) {
    char const* const p = text + run.bytes;
    int const chars = isAsciiBlock(p) ? static_cast<int>(kBlock) : scanBlock(p);
    if (chars < 0) break;
    run.chars += static_cast<std::size_t>(chars);
  }
  return run;
}

#if defined(__x86_64__)

// The same with 32 bytes at a time. The test is the one of J. Keiser and D. Lemire, "Validating
// UTF-8 In Less Than One Instruction Per Byte" (2021): three look-ups by half bytes give what is
// wrong with a pair of bytes as one bit a kind of fault, and a fault is there if all three agree.
#define ZTB_AVX2 __attribute__((target("avx2,popcnt"), always_inline)) inline

enum PairFault : unsigned char {
  kTooShort = 1 << 0,      // a lead, then no continuation
  kTooLong = 1 << 1,       // ASCII, then a continuation
  kOverlong3 = 1 << 2,     // E0, then 80 to 9F
  kTooLarge = 1 << 3,      // F4, then 90 to BF, or a greater lead
  kSurrogate = 1 << 4,     // ED, then A0 to BF
  kOverlong2 = 1 << 5,     // C0 or C1
  kTooLarge1000 = 1 << 6,  // F5 or more, then 80 to 8F
  kOverlong4 = 1 << 6,     // F0, then 80 to 8F
  kTwoConts = 1 << 7,      // right if a longer sequence asks for it
};
constexpr unsigned char kCarry = kTooShort | kTooLong | kTwoConts;

alignas(16) constexpr unsigned char kFirstHigh[16] = {
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTwoConts,
    kTwoConts,
    kTwoConts,
    kTwoConts,
    kTooShort | kOverlong2,
    kTooShort,
    kTooShort | kOverlong3 | kSurrogate,
    kTooShort | kTooLarge | kTooLarge1000 | kOverlong4};

alignas(16) constexpr unsigned char kFirstLow[16] = {
    kCarry | kOverlong3 | kOverlong2 | kOverlong4,
    kCarry | kOverlong2,
    kCarry,
    kCarry,
    kCarry | kTooLarge,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000 | kSurrogate,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000};

alignas(16) constexpr unsigned char kSecondHigh[16] = {
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge1000 | kOverlong4,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort};

ZTB_AVX2 __m256i load256(char const* p) {
  return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(p));
}

ZTB_AVX2 __m256i lookUp(unsigned char const (&table)[16], __m256i index) {
  __m128i const row = _mm_load_si128(reinterpret_cast<__m128i const*>(table));
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(row), index);
}

ZTB_AVX2 __m256i highHalf(__m256i v) {
  return _mm256_and_si256(_mm256_srli_epi16(v, 4), _mm256_set1_epi8(0x0F));
}

// Non-zero lanes where a byte of the 32 at `p` is wrong behind those before it.
ZTB_AVX2 __m256i errors256(char const* p, __m256i now) {
  __m256i const one = load256(p - 1);
  __m256i const low = _mm256_and_si256(one, _mm256_set1_epi8(0x0F));
  __m256i const faults =
      _mm256_and_si256(_mm256_and_si256(lookUp(kFirstHigh, highHalf(one)), lookUp(kFirstLow, low)),
                       lookUp(kSecondHigh, highHalf(now)));
  // The highest bit stays where the byte two or three places before asks for a continuation.
  __m256i const third = _mm256_subs_epu8(load256(p - 2), _mm256_set1_epi8(0xE0 - 0x80));
  __m256i const fourth = _mm256_subs_epu8(load256(p - 3), _mm256_set1_epi8(0xF0 - 0x80));
  __m256i const asked =
      _mm256_and_si256(_mm256_or_si256(third, fourth), _mm256_set1_epi8(char(0x80)));
  return _mm256_xor_si256(asked, faults);
}

ZTB_AVX2 unsigned leads256(__m256i v) {
  // As signed numbers, the continuations are those below -64.
  return static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(v, _mm256_set1_epi8(-65))));
}

__attribute__((target("avx2,popcnt"))) NpUtf8Run scanBlocksAvx2(char const* text,
                                                                std::size_t nBytes) {
  NpUtf8Run run{0, 0};
  for (; nBytes - run.bytes >= kBlock; run.bytes += kBlock) {
    char const* const p = text + run.bytes;
    __m256i const v0 = load256(p), v1 = load256(p + 32);
    std::uint32_t before;
    std::memcpy(&before, p - sizeof before, sizeof before);
    auto const high = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_or_si256(v0, v1)));
    if ((high | (before & 0x80808080u)) == 0) {
      run.chars += kBlock;
      continue;
    }
    __m256i const bad = _mm256_or_si256(errors256(p, v0), errors256(p + 32, v1));
    if (!_mm256_testz_si256(bad, bad)) break;
    std::uint64_t const begins = leads256(v0) | std::uint64_t{leads256(v1)} << 32;
    run.chars += static_cast<std::size_t>(_mm_popcnt_u64(begins));
  }
  return run;
}

#undef ZTB_AVX2

bool hasAvx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
}

#else

NpUtf8Run scanBlocksAvx2(char const* text, std::size_t nBytes) {
  return scanBlocks(text, nBytes);
}
bool hasAvx2() {
  return false;
}

#endif

template <class Scan>
NpUtf8Run runBy(Scan scan, char const* text, std::size_t nBytes) {
  if (nBytes < kBlock) return {0, 0};
  // The first block has nothing before it, which zeros stand for.
  char first[kBlock + 4] = {};
  std::memcpy(first + 4, text, kBlock);
  NpUtf8Run run = scan(first + 4, kBlock);
  if (run.bytes == 0) return run;
  NpUtf8Run const rest = scan(text + kBlock, nBytes - kBlock);
  run = {run.bytes + rest.bytes, run.chars + rest.chars};
  std::size_t const open = openBytes(text + run.bytes);
  return {run.bytes - open, run.chars - (open != 0)};
}

}  // namespace

NpUtf8Run np_utf8_run(char const* text, std::size_t nBytes) {
  return hasAvx2() ? runBy(scanBlocksAvx2, text, nBytes) : np_utf8_run_portable(text, nBytes);
}

NpUtf8Run np_utf8_run_portable(char const* text, std::size_t nBytes) {
  return runBy(scanBlocks, text, nBytes);
}

NpPart np_utf8_part(char const* text, std::size_t available, bool last) {
  auto const* const p = reinterpret_cast<unsigned char const*>(text);
  unsigned const lead = p[0];
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return {np_uchar_illformed, 1};
  std::size_t const need = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte's range; those behind it have the whole range of continuations.
  unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t i = 1; i < need; ++i) {
    if (i == available) return {np_uchar_illformed, last ? i : 0};
    if (p[i] < low || p[i] > high) return {np_uchar_illformed, i};
    low = 0x80;
    high = 0xBF;
  }
  return {np_uchar_codepoint(text, static_cast<int>(need)), need};
}
