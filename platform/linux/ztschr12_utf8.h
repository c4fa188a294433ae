// SPDX-License-Identifier: MIT
//
// UTF-8 of a known size, shared by the walk and the codecs of ztschr12: well-formed stretches by
// blocks, and single parts with the maximal ill-formed ones.

#ifndef ZTSCHR12_UTF8_H
#define ZTSCHR12_UTF8_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ztschr12.h"

// A stretch of whole, well-formed characters.
struct NpUtf8Run {
  std::size_t bytes;
  std::size_t chars;
};

// The stretch at the front of [text, text + nBytes) as far as it is found by blocks of 64 bytes: it
// ends in front of the first ill-formed byte or cut character at the latest, and at most 67 bytes
// earlier. NUL is a character like any other.
NpUtf8Run np_utf8_run(char const* text, std::size_t nBytes);

// The same without regard to what the processor can do, so that tests reach it on every machine.
NpUtf8Run np_utf8_run_portable(char const* text, std::size_t nBytes);

// The size of np_utf8_run's blocks: with fewer bytes it finds nothing.
inline constexpr std::size_t kNpUtf8Block = 64;

// One part of a text in some encoding: a character, or something ill-formed.
struct NpPart {
  unsigned codePoint;  // np_uchar_illformed for what is ill-formed
  std::size_t bytes;   // 0 if the part isn't complete
};

// U+FFFD, which stands for every ill-formed part.
inline constexpr unsigned kNpReplacement = 0xFFFD;

// The part at the front of `available` bytes, at least 1. An ill-formed part is the longest start
// of a well-formed sequence, or else one byte. What is cut by the end is incomplete, unless it's
// the `last` of the text and so ill-formed.
NpPart np_utf8_part(char const* text, std::size_t available, bool last);

inline bool np_utf8_isAscii8(char const* p) {
  std::uint64_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return (bytes & 0x8080808080808080u) == 0;
}

// Writes a code point's 1 to 4 bytes and gives their number. U+0000 to U+10FFFF, no surrogates.
inline std::size_t np_utf8_put(unsigned c, char* out) {
  auto const put = [out](int i, unsigned value) { out[i] = static_cast<char>(value); };
  if (c < 0x80) {
    put(0, c);
    return 1;
  }
  if (c < 0x800) {
    put(0, 0xC0 | c >> 6);
    put(1, 0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    put(0, 0xE0 | c >> 12);
    put(1, 0x80 | (c >> 6 & 0x3F));
    put(2, 0x80 | (c & 0x3F));
    return 3;
  }
  put(0, 0xF0 | c >> 18);
  put(1, 0x80 | (c >> 12 & 0x3F));
  put(2, 0x80 | (c >> 6 & 0x3F));
  put(3, 0x80 | (c & 0x3F));
  return 4;
}

#endif
