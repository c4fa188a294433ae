// SPDX-License-Identifier: MIT
//
// Well-formed UTF-8 by blocks: vector code in the compiler's own vector types, for any processor.

#include "ztschr12_utf8.h"

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

// The bytes at the end of [.., end) that begin a character which isn't complete there.
inline std::size_t openBytes(char const* end, std::size_t available) {
  auto const* const p = reinterpret_cast<unsigned char const*>(end);
  if (available >= 1 && p[-1] >= 0xC0) return 1;
  if (available >= 2 && p[-2] >= 0xE0) return 2;
  if (available >= 3 && p[-3] >= 0xF0) return 3;
  return 0;
}

// The characters that begin in the 64 bytes at `p`, or -1 if something is ill-formed there. The
// three bytes before `p` are `before`, in the highest lanes.
inline int scanBlock(char const* p, Bytes before) {
  Bytes const v0 = load(p), v1 = load(p + 16), v2 = load(p + 32), v3 = load(p + 48);
  constexpr std::uint64_t kHigh = 0x8080808080808080u;
  if ((fold(v0 | v1 | v2 | v3 | before) & kHigh) == 0) return kBlock;
  char edge[32];
  std::memcpy(edge, &before, 16);
  std::memcpy(edge + 16, &v0, 16);
  Bytes bad = errors(v0, load(edge + 15), load(edge + 14), load(edge + 13));
  bad |= errors(v1, load(p + 15), load(p + 14), load(p + 13));
  bad |= errors(v2, load(p + 31), load(p + 30), load(p + 29));
  bad |= errors(v3, load(p + 47), load(p + 46), load(p + 45));
  if (fold(bad) != 0) return -1;
  return static_cast<int>(sum(leads(v0) + leads(v1) + leads(v2) + leads(v3)));
}

}  // namespace

NpUtf8Run np_utf8_run(char const* text, std::size_t nBytes) {
  NpUtf8Run run{0, 0};
  Bytes before{};
  while (nBytes - run.bytes >= kBlock) {
    int const chars = scanBlock(text + run.bytes, before);
    if (chars < 0) break;
    run.bytes += kBlock;
    run.chars += static_cast<std::size_t>(chars);
    before = load(text + run.bytes - 16);
  }
  std::size_t const open = openBytes(text + run.bytes, run.bytes);
  return {run.bytes - open, run.chars - (open != 0)};
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
