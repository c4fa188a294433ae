// SPDX-License-Identifier: MIT
//
// UTF-8 and UTF-16 by blocks where they are ASCII, by characters elsewhere. The block loops are
// plain loops of fixed length, which the compiler makes vector code of (bench: convert).

#include "winnls.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ztschr12_utf8.h"

namespace {

using Unit = unsigned short;

constexpr std::size_t kBlock = 16;

// How far a conversion came, in units of the source and of the target.
struct Progress {
  std::size_t taken;
  std::size_t put;
};

bool isSurrogate(unsigned unit) {
  return (unit & 0xF800) == 0xD800;
}

bool isPair(unsigned high, unsigned low) {
  return (high & 0xFC00) == 0xD800 && (low & 0xFC00) == 0xDC00;
}

std::size_t terminatedLength(char const* text) {
  return std::strlen(text) + 1;
}

std::size_t terminatedLength(Unit const* text) {
  std::size_t units = 0;
  while (text[units] != 0) ++units;
  return units + 1;
}

// ---- UTF-8 to UTF-16 ----------------------------------------------------------------------------

inline bool isAsciiBlock(char const* p) {
  return np_utf8_isAscii8(p) && np_utf8_isAscii8(p + 8);
}

inline void widenBlock(char const* source, Unit* target) {
  for (std::size_t i = 0; i < kBlock; ++i) target[i] = static_cast<unsigned char>(source[i]);
}

// The part at the front, with U+FFFD for an ill-formed one. The source may lack a terminator.
inline NpPart partOf(char const* source, std::size_t available) {
  int const bytes = available < 4 ? 0 : np_uchar_sequence(source);
  if (bytes != 0) return {np_uchar_codepoint(source, bytes), static_cast<std::size_t>(bytes)};
  NpPart const part = np_utf8_part(source, available, true);
  return {part.codePoint == np_uchar_illformed ? kNpReplacement : part.codePoint, part.bytes};
}

inline std::size_t unitsOf(unsigned codePoint) {
  return codePoint < 0x10000 ? 1 : 2;
}

inline void putUnits(unsigned codePoint, Unit* target) {
  if (codePoint < 0x10000) {
    *target = static_cast<Unit>(codePoint);
    return;
  }
  target[0] = static_cast<Unit>(0xD7C0 + (codePoint >> 10));
  target[1] = static_cast<Unit>(0xDC00 | (codePoint & 0x3FF));
}

// The units of a well-formed text: one for each character, and one more for each of four bytes.
std::size_t unitsOfRun(char const* source, NpUtf8Run run) {
  std::size_t fours = 0;
  for (std::size_t i = 0; i < run.bytes; ++i)
    fours += static_cast<unsigned char>(source[i]) >= 0xF0;
  return run.chars + fours;
}

std::size_t convertedSize(char const* source, std::size_t bytes) {
  std::size_t units = 0;
  for (std::size_t at = 0; at < bytes;) {
    NpUtf8Run const run = np_utf8_run(source + at, bytes - at);
    units += unitsOfRun(source + at, run);
    at += run.bytes;
    // Behind something ill-formed it goes on by parts for the length of a block.
    for (std::size_t const pause = at + std::min(bytes - at, kNpUtf8Block); at < pause;) {
      NpPart const part = partOf(source + at, bytes - at);
      units += unitsOf(part.codePoint);
      at += part.bytes;
    }
  }
  return units;
}

// Converts characters until the source or the room ends.
Progress convert(char const* source, std::size_t bytes, Unit* target, std::size_t room) {
  Progress done{0, 0};
  while (done.taken < bytes) {
    while (bytes - done.taken >= kBlock && room - done.put >= kBlock &&
           isAsciiBlock(source + done.taken)) {
      widenBlock(source + done.taken, target + done.put);
      done.taken += kBlock;
      done.put += kBlock;
    }
    std::size_t const pause = done.taken + std::min(bytes - done.taken, kBlock);
    while (done.taken < pause) {
      NpPart const part = partOf(source + done.taken, bytes - done.taken);
      if (unitsOf(part.codePoint) > room - done.put) return done;
      putUnits(part.codePoint, target + done.put);
      done.taken += part.bytes;
      done.put += unitsOf(part.codePoint);
    }
  }
  return done;
}

// Ends a text that was cut behind `put` units of `size`, in place of its last character if need be.
void terminate(Unit* target, std::size_t put, std::size_t size) {
  if (put == size) put -= isSurrogate(target[put - 1]) ? 2 : 1;
  target[put] = 0;
}

// ---- UTF-16 to UTF-8 ----------------------------------------------------------------------------

inline bool isAsciiBlock(Unit const* p) {
  unsigned any = 0;
  for (std::size_t i = 0; i < kBlock; ++i) any |= p[i];
  return any < 0x80;
}

inline void narrowBlock(Unit const* source, char* target) {
  for (std::size_t i = 0; i < kBlock; ++i) target[i] = static_cast<char>(source[i]);
}

// The character at the front, with its units as its `bytes`.
inline NpPart partOf(Unit const* source, std::size_t available) {
  unsigned const unit = *source;
  if (!isSurrogate(unit)) return {unit, 1};
  if (available < 2 || !isPair(unit, source[1])) return {kNpReplacement, 1};
  return {0x10000 + ((unit & 0x3FF) << 10 | (source[1] & 0x3FFu)), 2};
}

inline std::size_t bytesOf(unsigned codePoint) {
  return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

// Three bytes a unit are right for an unpaired surrogate too, since it becomes U+FFFD; a pair has
// four.
std::size_t convertedSize(Unit const* source, std::size_t units) {
  std::size_t bytes = units;
  std::size_t pairs = 0;
  for (std::size_t i = 0; i < units; ++i) bytes += (source[i] >= 0x80) + (source[i] >= 0x800);
  for (std::size_t i = 1; i < units; ++i) pairs += isPair(source[i - 1], source[i]);
  return bytes - 2 * pairs;
}

Progress convert(Unit const* source, std::size_t units, char* target, std::size_t room) {
  Progress done{0, 0};
  while (done.taken < units) {
    while (units - done.taken >= kBlock && room - done.put >= kBlock &&
           isAsciiBlock(source + done.taken)) {
      narrowBlock(source + done.taken, target + done.put);
      done.taken += kBlock;
      done.put += kBlock;
    }
    std::size_t const pause = done.taken + std::min(units - done.taken, kBlock);
    while (done.taken < pause) {
      NpPart const part = partOf(source + done.taken, units - done.taken);
      if (bytesOf(part.codePoint) > room - done.put) return done;
      done.put += np_utf8_put(part.codePoint, target + done.put);
      done.taken += part.bytes;
    }
  }
  return done;
}

void terminate(char* target, std::size_t put, std::size_t size) {
  if (put == size) {
    do {
      --put;
    } while ((target[put] & 0xC0) == 0x80);
  }
  target[put] = '\0';
}

// ---- Both ---------------------------------------------------------------------------------------

template <class Source, class Target>
int convertText(Source const* source, int length, Target* target, int size) {
  if (source == nullptr || length == 0 || size < 0) return 0;
  std::size_t const units =
      length < 0 ? terminatedLength(source) : static_cast<std::size_t>(length);
  if (size == 0) {
    std::size_t const needed = convertedSize(source, units);
    return needed > INT_MAX ? 0 : static_cast<int>(needed);
  }
  if (target == nullptr) return 0;
  auto const room = static_cast<std::size_t>(size);
  Progress const done = convert(source, units, target, room);
  if (done.taken == units) return static_cast<int>(done.put);
  terminate(target, done.put, room);
  return 0;
}

bool isKnown(unsigned codePage, unsigned flags) {
  return codePage == kCodePageUtf8 && flags == 0;
}

}  // namespace

int MultiByteToWideChar(unsigned codePage, unsigned flags, char const* source, int sourceBytes,
                        unsigned short* target, int targetUnits) {
  return isKnown(codePage, flags) ? convertText(source, sourceBytes, target, targetUnits) : 0;
}

int WideCharToMultiByte(unsigned codePage, unsigned flags, unsigned short const* source,
                        int sourceUnits, char* target, int targetBytes, char const* /*defaultChar*/,
                        int* usedDefaultChar) {
  if (usedDefaultChar != nullptr) *usedDefaultChar = 0;
  return isKnown(codePage, flags) ? convertText(source, sourceUnits, target, targetBytes) : 0;
}
