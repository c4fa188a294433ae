// SPDX-License-Identifier: MIT
//
// UTF-8 and UTF-16 by blocks where they are ASCII, by characters elsewhere. The block loops are
// plain loops of fixed length, which the compiler makes vector code of (bench: convert).

#include "winnls.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ztschr12_utf8.h"

namespace {

using Unit = unsigned short;

// What is stored by words comes out in the order of UTF-8.
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t kBlock = 16;

// How far a conversion came, in units of the source and of the target.
struct Progress {
  std::size_t taken;
  std::size_t put;
};

bool isSurrogate(unsigned unit) {
  return (unit & 0xF800) == 0xD800;
}

bool isHigh(unsigned unit) {
  return (unit & 0xFC00) == 0xD800;
}

bool isPair(unsigned high, unsigned low) {
  return isHigh(high) && (low & 0xFC00) == 0xDC00;
}

// Eight units, or sixteen bytes, in the compiler's own vector types.
using Units = Unit __attribute__((vector_size(16), may_alias));
using Bytes = unsigned char __attribute__((vector_size(16)));
using Bytes8 = unsigned char __attribute__((vector_size(8)));
using Units16 = Unit __attribute__((vector_size(32)));

template <class Vector, class Item>
inline Vector load(Item const* p) {
  Vector v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

template <class Vector>
inline bool isZero(Vector v) {
  std::uint64_t half[2];
  static_assert(sizeof v == sizeof half);
  std::memcpy(half, &v, sizeof half);
  return (half[0] | half[1]) == 0;
}

inline Units all(Unit value) {
  return value - Units{};
}

std::size_t terminatedLength(char const* text) {
  return std::strlen(text) + 1;
}

// Aligned blocks are read to their end: what lies behind the terminator there is in the same page,
// and only the sanitizers mind.
__attribute__((no_sanitize("address", "thread"))) std::size_t terminatedLength(Unit const* text) {
  Unit const* p = text;
  for (; reinterpret_cast<std::uintptr_t>(p) % (2 * sizeof(Units)) != 0; ++p) {
    if (*p == 0) return static_cast<std::size_t>(p - text) + 1;
  }
  auto const* block = reinterpret_cast<Units const*>(p);
  while (isZero((block[0] == all(0)) | (block[1] == all(0)))) block += 2;
  for (p = reinterpret_cast<Unit const*>(block); *p != 0;) ++p;
  return static_cast<std::size_t>(p - text) + 1;
}

// ---- UTF-8 to UTF-16 ----------------------------------------------------------------------------

inline bool isAsciiBlock(char const* p) {
  return np_utf8_isAscii8(p) && np_utf8_isAscii8(p + 8);
}

inline void widenBlock(char const* source, Unit* target) {
  Units16 const wide = __builtin_convertvector(load<Bytes>(source), Units16);
  std::memcpy(target, &wide, sizeof wide);
}

// The part at the front, with U+FFFD for an ill-formed one. The source may lack a terminator.
inline NpPart partOf(char const* source, std::size_t available) {
  auto const* const p = reinterpret_cast<unsigned char const*>(source);
  unsigned const lead = p[0];
  if (lead < 0x80) return {lead, 1};
  if (available >= 4) {
    unsigned const second = p[1] ^ 0x80u;
    unsigned const third = p[2] ^ 0x80u;
    if (lead - 0xC2 < 0xE0 - 0xC2 && second < 0x40) return {(lead & 0x1F) << 6 | second, 2};
    unsigned const three = (lead & 0x0F) << 12 | second << 6 | third;
    bool const isThree = lead - 0xE0 < 0x10 && (second | third) < 0x40;
    if (isThree && three >= 0x800 && !isSurrogate(three)) return {three, 3};
  }
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
  if (run.chars == run.bytes) return run.chars;
  std::size_t units = run.chars;
  for (std::size_t at = 0; at < run.bytes;) {
    // Few enough for a byte to count, so that the loop becomes vector code.
    std::size_t const end = at + std::min<std::size_t>(run.bytes - at, 240);
    unsigned char fours = 0;
    for (; at < end; ++at) {
      fours = static_cast<unsigned char>(fours + (static_cast<unsigned char>(source[at]) >= 0xF0));
    }
    units += fours;
  }
  return units;
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

inline bool isAscii(Units v) {
  return isZero(v & all(0xFF80));
}

inline bool isAsciiBlock(Unit const* p) {
  return isAscii(load<Units>(p) | load<Units>(p + kBlock / 2));
}

inline void narrowBlock(Unit const* source, char* target) {
  Units16 wide;
  std::memcpy(&wide, source, sizeof wide);
  Bytes const narrow = __builtin_convertvector(wide, Bytes);
  std::memcpy(target, &narrow, sizeof narrow);
}

// The character at the front, with its units as its `bytes`.
inline NpPart partOf(Unit const* source, std::size_t available) {
  unsigned const unit = *source;
  if (!isSurrogate(unit)) return {unit, 1};
  if (available < 2 || !isPair(unit, source[1])) return {kNpReplacement, 1};
  return {0x10000 + ((unit & 0x3FF) << 10 | (source[1] & 0x3FFu)), 2};
}

inline bool hasSurrogate(Units v) {
  return !isZero((v & all(0xF800)) == all(0xD800));
}

// Of 8 units, those in front of the first surrogate.
inline std::size_t unitsToSurrogate(Units v) {
  auto const found = __builtin_convertvector((v & all(0xF800)) == all(0xD800), Bytes8);
  std::uint64_t lanes;
  std::memcpy(&lanes, &found, sizeof lanes);
  return static_cast<std::size_t>(std::countr_zero(lanes)) / 8;
}

inline std::size_t sum(Units v) {
  std::size_t total = 0;
  for (std::size_t i = 0; i < kBlock / 2; ++i) total += v[i];
  return total;
}

inline std::size_t bytesOf(unsigned codePoint) {
  return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

// Two bytes for each half of a pair; three for an unpaired surrogate, which becomes U+FFFD.
std::size_t sizeOfPart(Unit const* source, std::size_t units) {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at < units;) {
    NpPart const part = partOf(source + at, units - at);
    bytes += bytesOf(part.codePoint);
    at += part.bytes;
  }
  return bytes;
}

// Of 8 units, a lane counts the bytes beyond the first of each unit; 2 at most.
inline Units furtherBytes(Units v) {
  return reinterpret_cast<Units>((v >= all(0x800)) + (v >= all(0x80)));
}

// The units at the front, in whole blocks without a surrogate, and their bytes.
Progress sizeOfBasic(Unit const* source, std::size_t units) {
  // Few enough for 16 bits to count what a lane has.
  constexpr std::size_t kMostUnits = kBlock * 10'000;
  std::size_t const most = std::min(units, kMostUnits);
  Units further{};
  std::size_t at = 0;
  for (; most - at >= kBlock; at += kBlock) {
    Units const first = load<Units>(source + at);
    Units const second = load<Units>(source + at + kBlock / 2);
    if (hasSurrogate(first) || hasSurrogate(second)) break;
    further -= furtherBytes(first) + furtherBytes(second);
  }
  return {at, at + sum(further)};
}

std::size_t convertedSize(Unit const* source, std::size_t units) {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at < units;) {
    Progress const basic = sizeOfBasic(source + at, units - at);
    bytes += basic.put;
    at += basic.taken;
    std::size_t part = std::min(units - at, kBlock);
    // No pair is cut.
    if (part > 1 && isHigh(source[at + part - 1])) --part;
    bytes += sizeOfPart(source + at, part);
    at += part;
  }
  return bytes;
}

// Writes the first `count` of 8 units, which aren't surrogates, and gives their bytes. Words of 4
// bytes are stored, so that a unit costs no branch to predict wrongly: the target has kStoredBytes.
constexpr std::size_t kStoredBytes = kBlock / 2 * 4;

inline std::size_t putBasic(Units u, std::size_t count, char* target) {
  Units const last = (u & all(0x3F)) | all(0x80);
  Units const firstOfTwo = u >> 6 | all(0xC0) | last << 8;
  Units const firstOfThree = u >> 12 | all(0xE0) | ((u >> 6 & all(0x3F)) | all(0x80)) << 8;
  auto const isOne = u < all(0x80);
  auto const isTwo = u < all(0x800);
  Units const first = isOne ? u : isTwo ? firstOfTwo : firstOfThree;
  // A word is the first two bytes of a unit, and the third, if there is one.
  Units const words[2] = {__builtin_shufflevector(first, last, 0, 8, 1, 9, 2, 10, 3, 11),
                          __builtin_shufflevector(first, last, 4, 12, 5, 13, 6, 14, 7, 15)};
  // The sizes of the units as the bytes of a number, which the product adds up.
  constexpr std::uint64_t kOnes = 0x0101010101010101u;
  Bytes8 const byUnit = 1 - __builtin_convertvector(furtherBytes(u), Bytes8);
  std::uint64_t sizes;
  std::memcpy(&sizes, &byUnit, sizeof sizes);
  std::uint64_t const ends = sizes * kOnes;
  std::uint64_t starts = ends << 8;
  std::uint64_t pairs[4];
  std::memcpy(pairs, words, sizeof pairs);
  for (std::uint64_t const pair : pairs) {
    auto const one = static_cast<std::uint32_t>(pair);
    auto const other = static_cast<std::uint32_t>(pair >> 32);
    std::memcpy(target + (starts & 0xFF), &one, sizeof one);
    std::memcpy(target + (starts >> 8 & 0xFF), &other, sizeof other);
    starts >>= 16;
  }
  return ends >> 8 * (count - 1) & 0xFF;
}

// Converts eights of units up to a surrogate: some, since text that isn't ASCII is likely to go on
// so, but not all, since a block of ASCII has a faster way.
Progress convertBasic(Unit const* source, std::size_t units, char* target, std::size_t room) {
  constexpr std::size_t kHalf = kBlock / 2;
  constexpr std::size_t kSome = 16 * kHalf;
  Progress done{0, 0};
  std::size_t const most = std::min(units, kSome);
  while (most - done.taken >= kHalf && room - done.put >= kStoredBytes) {
    Units const next = load<Units>(source + done.taken);
    std::size_t const basic = unitsToSurrogate(next);
    if (basic < kHalf) {
      if (basic != 0) done.put += putBasic(next, basic, target + done.put);
      done.taken += basic;
      break;
    }
    done.put += putBasic(next, kHalf, target + done.put);
    done.taken += kHalf;
  }
  return done;
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
    Progress const basic =
        convertBasic(source + done.taken, units - done.taken, target + done.put, room - done.put);
    done.taken += basic.taken;
    done.put += basic.put;
    if (done.taken == units) break;
    NpPart const part = partOf(source + done.taken, units - done.taken);
    if (bytesOf(part.codePoint) > room - done.put) break;
    done.put += np_utf8_put(part.codePoint, target + done.put);
    done.taken += part.bytes;
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
