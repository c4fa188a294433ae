// SPDX-License-Identifier: MIT
//
// The walk over UTF-8 text, and case. Unicode's case tables come from utf8proc.

#include "ztschr12.h"

#include <locale.h>
#include <strings.h>
#include <utf8proc.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

#include "ztschr12_utf8.h"

namespace {

struct Place {
  char const* position;
  std::size_t chars;
};

inline unsigned saturated(std::size_t count) {
  return static_cast<unsigned>(std::min<std::size_t>(count, UINT_MAX));
}

// One character, or eight if they are ASCII and lie before `end`.
inline void stepOn(Place& at, char const* end) {
  if (end - at.position >= 8 && np_utf8_isAscii8(at.position)) {
    at.position += 8;
    at.chars += 8;
    return;
  }
  int const bytes = np_uchar_sequence(at.position);
  at.position += bytes == 0 ? 1 : bytes;
  ++at.chars;
}

// Bytes of the well-formed sequence at the start of a text that isn't empty, or 0.
int sequenceLength(std::string_view text) {
  if (text.size() >= 4) return np_uchar_sequence(text.data());
  char tail[4] = {};
  text.copy(tail, sizeof tail);
  return np_uchar_sequence(tail);
}

// Whether all bytes are ASCII, of a text of 8 to 32 bytes. Some bytes are looked at twice, as
// single bytes and a loop would take most of the time.
inline bool isShortAscii(char const* begin, char const* end) {
  std::ptrdiff_t const bytes = end - begin;
  if (bytes < 8 || bytes > 32) return false;
  if (!np_utf8_isAscii8(begin) || !np_utf8_isAscii8(end - 8)) return false;
  return bytes <= 16 || (np_utf8_isAscii8(begin + 8) && np_utf8_isAscii8(end - 16));
}

// Walks from `begin` until `end` is reached or passed. The text goes on behind `end` or stops
// there, so the last character may end behind it.
Place walk(char const* begin, char const* end) {
  constexpr std::ptrdiff_t kBlock = kNpUtf8Block;
  if (isShortAscii(begin, end)) return {end, static_cast<std::size_t>(end - begin)};
  Place at{begin, 0};
  while (at.position < end) {
    if (end - at.position >= kBlock) {
      NpUtf8Run const run = np_utf8_run(at.position, static_cast<std::size_t>(end - at.position));
      at.position += run.bytes;
      at.chars += run.chars;
    }
    char const* const pause = end - at.position > kBlock ? at.position + kBlock : end;
    while (at.position < pause) stepOn(at, end);
  }
  return at;
}

// The place of `n` characters on, or of the text's end if it is nearer. As n characters have at
// least n bytes, the walk may take that many without looking.
Place walkChars(char const* text, std::size_t n) {
  constexpr std::size_t kWindow = 16384;
  constexpr std::size_t kNear = 16;
  Place at{text, 0};
  while (n - at.chars >= kNear) {
    std::size_t const want = std::min(n - at.chars, kWindow);
    std::size_t const bytes = strnlen(at.position, want);
    Place const on = walk(at.position, at.position + bytes);
    at = {on.position, at.chars + on.chars};
    if (bytes < want) return at;
  }
  while (at.chars < n && *at.position != '\0') stepOn(at, at.position);
  return at;
}

// The greatest place that isn't behind `limit` and where a character of the text begins.
char const* borderBefore(char const* text, char const* limit) {
  for (std::ptrdiff_t back = 1; back <= 3 && back <= limit - text; ++back) {
    if (np_uchar_sequence(limit - back) > back) return limit - back;
  }
  return limit;
}

constexpr unsigned asciiLower(unsigned c) {
  return c - 0x41u < 26 ? c + 32 : c;
}

// ASCII in lower case by its code, and 0 for NUL and every other byte.
class AsciiFolds {
 public:
  constexpr AsciiFolds() {
    for (unsigned c = 1; c < 0x80; ++c) mFolded[c] = static_cast<unsigned char>(asciiLower(c));
  }
  constexpr unsigned char operator[](char c) const {
    return mFolded[static_cast<unsigned char>(c)];
  }

 private:
  unsigned char mFolded[256] = {};
};
constexpr AsciiFolds kAsciiFolds;

inline bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

// Whether both are ASCII, the same but for case, and no terminators.
inline bool isSameAscii(char a, char b) {
  return kAsciiFolds[a] == kAsciiFolds[b] && kAsciiFolds[a] != 0;
}

// How many of the next characters are the same but for case, up to kFront. Written out, as a branch
// back for each character would take half the time.
constexpr int kFront = 4;
inline int sameFront(char const* a, char const* b) {
  if (!isSameAscii(a[0], b[0])) return 0;
  if (!isSameAscii(a[1], b[1])) return 1;
  if (!isSameAscii(a[2], b[2])) return 2;
  return isSameAscii(a[3], b[3]) ? kFront : 3;
}

// The C library looks at many bytes at once, which isn't ours to do behind a terminator. The "C"
// locale is a constant of the library, so that nothing is allocated; without it the rest decides.
inline bool isEqualButForAsciiCase(char const* a, char const* b) {
  static locale_t const kAsciiOnly = newlocale(LC_CTYPE_MASK, "C", nullptr);
  return kAsciiOnly != nullptr && strcasecmp_l(a, b, kAsciiOnly) == 0;
}

// The folded form of one character: at most three code points, the rest 0.
struct Folded {
  static constexpr int kMost = 4;
  utf8proc_int32_t codePoints[kMost] = {};
  int count = 0;
  int taken = 0;

  bool isTaken() const { return taken == count; }
  void fill(unsigned c) {
    int boundary = 0;
    auto const one = static_cast<utf8proc_int32_t>(c);
    auto const n = utf8proc_decompose_char(one, codePoints, kMost, UTF8PROC_CASEFOLD, &boundary);
    bool const isFolded = n >= 1 && n <= kMost;
    if (!isFolded) codePoints[0] = one;
    count = isFolded ? static_cast<int>(n) : 1;
    taken = 0;
  }
};

// One side of a comparison: what is folded but not yet compared, and the text behind it.
class FoldedText {
 public:
  explicit FoldedText(char const* text) : mText(text) {}

  bool isBetweenCharacters() const { return mFolded.isTaken(); }
  char const* text() const { return mText; }
  void skip(int bytes) { mText += bytes; }

  // The next code point of the folded text, 0 at its end; an ill-formed byte lies above them all.
  unsigned next() {
    if (mFolded.isTaken()) {
      auto const byte = static_cast<unsigned char>(*mText);
      int width;
      unsigned const c = np_uchar_toint(mText, &width);
      mText += width;
      if (c == np_uchar_illformed) return kBehindAll + byte;
      if (c < 0x80) return asciiLower(c);
      mFolded.fill(c);
    }
    return static_cast<unsigned>(mFolded.codePoints[mFolded.taken++]);
  }

 private:
  static constexpr unsigned kBehindAll = 0x110000;
  char const* mText;
  Folded mFolded;
};

// The bytes of the character that both texts begin with, 0 if it isn't the same.
int sameCharacter(char const* a, char const* b) {
  int const bytes = *a == *b ? np_uchar_sequence(a) : 0;
  return std::strncmp(a, b, static_cast<std::size_t>(bytes)) == 0 ? bytes : 0;
}

[[gnu::noinline]] int compareFolded(char const* a, char const* b) {
  FoldedText left(a), right(b);
  for (;;) {
    if (left.isBetweenCharacters() && right.isBetweenCharacters() && *left.text() != '\0') {
      int const same = sameCharacter(left.text(), right.text());
      if (same > 0) {
        left.skip(same);
        right.skip(same);
        continue;
      }
    }
    unsigned const l = left.next(), r = right.next();
    if (l != r) return l < r ? -1 : 1;
    if (l == 0) return 0;
  }
}

// Puts mapped characters into a buffer that may be too small or absent.
class MappedText {
 public:
  MappedText(char* target, unsigned size) : mTarget(target), mRoom(size == 0 ? 0 : size - 1) {}

  // False if it doesn't fit.
  bool put(char const* bytes, std::size_t count) {
    if (mTarget != nullptr) {
      if (count > mRoom - mBytes) return false;
      std::memcpy(mTarget + mBytes, bytes, count);
    }
    mBytes += count;
    return true;
  }

  unsigned end(unsigned size) {
    if (mTarget != nullptr && size > 0) mTarget[mBytes] = '\0';
    return saturated(mBytes);
  }

 private:
  char* mTarget;
  std::size_t mRoom;
  std::size_t mBytes = 0;
};

using CaseMap = utf8proc_int32_t (*)(utf8proc_int32_t);

bool putMapped(MappedText& out, char const* text, int width, unsigned c, CaseMap map) {
  if (c == np_uchar_illformed) return out.put(text, 1);
  utf8proc_int32_t const mapped = map(static_cast<utf8proc_int32_t>(c));
  if (static_cast<unsigned>(mapped) == c) return out.put(text, static_cast<std::size_t>(width));
  char bytes[4];
  return out.put(bytes, np_utf8_put(static_cast<unsigned>(mapped), bytes));
}

// `first` is the first of the 26 ASCII letters that change.
unsigned mapCase(char const* source, char* target, unsigned targetSize, char first, CaseMap map) {
  MappedText out(target, targetSize);
  int width;
  for (char const* p = source; unsigned const c = np_uchar_toint(p, &width); p += width) {
    if (c < 0x80) {
      bool const changes = c - static_cast<unsigned char>(first) < 26u;
      char const mapped = static_cast<char>(changes ? c ^ 0x20u : c);
      if (!out.put(&mapped, 1)) break;
    } else if (!putMapped(out, p, width, c, map)) {
      break;
    }
  }
  return out.end(targetSize);
}

}  // namespace

unsigned np_uchar_length(char const* text) {
  return saturated(walk(text, text + std::strlen(text)).chars);
}

char* np_uchar_seekfar(char const* text, int n) {
  if (n < 0) return nullptr;
  auto const count = static_cast<std::size_t>(n);
  Place const at = walkChars(text, count);
  return at.chars < count ? nullptr : const_cast<char*>(at.position);
}

unsigned np_uchar_tell(char const* base, char const* position) {
  return saturated(walk(base, position).chars);
}

std::size_t np_uchar_wellformed(char const* text, std::size_t nBytes, unsigned* nChars) {
  NpUtf8Run run = np_utf8_run(text, nBytes);
  while (run.bytes < nBytes) {
    int const more = sequenceLength({text + run.bytes, nBytes - run.bytes});
    if (more == 0) break;
    run.bytes += static_cast<std::size_t>(more);
    ++run.chars;
  }
  if (nChars != nullptr) *nChars = saturated(run.chars);
  return run.bytes;
}

unsigned np_uchar_bufncopy(char* target, char const* source, unsigned targetCapacity,
                           unsigned nChars) {
  if (targetCapacity == 0) return 0;
  std::size_t bytes = strnlen(source, targetCapacity);
  if (bytes == targetCapacity) {
    bytes = static_cast<std::size_t>(borderBefore(source, source + bytes - 1) - source);
  }
  if (nChars < bytes) {
    auto const wanted = static_cast<std::size_t>(walkChars(source, nChars).position - source);
    bytes = std::min(bytes, wanted);
  }
  std::memmove(target, source, bytes);
  target[bytes] = '\0';
  return static_cast<unsigned>(bytes);
}

int np_uchar_icomp(char const* a, char const* b) {
  // Most keys of an ordered container differ early; the rest is mostly equal keys.
  int same = sameFront(a, b);
  if (same == kFront && isEqualButForAsciiCase(a + same, b + same)) return 0;
  while (same == kFront) {
    a += same;
    b += same;
    same = sameFront(a, b);
  }
  a += same;
  b += same;
  if (!isAscii(*a) || !isAscii(*b)) return compareFolded(a, b);
  unsigned const left = kAsciiFolds[*a], right = kAsciiFolds[*b];
  return left == right ? 0 : left < right ? -1 : 1;
}

// The folded text, two code points at a time, as a polynomial over the field of the Mersenne prime
// 2^61 - 1, at the point that the seed gives: two polynomials of degree n that aren't the same have
// a given distance at n points at most. There is no constant term, since texts that differ in it
// alone would have the same distance at every point.
unsigned long long np_uchar_ihash(char const* text, unsigned long long seed) {
  __extension__ using Product = unsigned __int128;
  constexpr int kBits = 61;
  constexpr int kCodePointBits = 21;
  constexpr unsigned long long kPrime = (1ULL << kBits) - 1;
  // Below 2^60, so that the unreduced hash stays below 2^63 and never wraps.
  unsigned long long const point = seed % (kPrime / 2) + 1;
  unsigned long long hash = 0;  // up to a multiple of the prime
  FoldedText folded(text);
  while (unsigned long long const first = folded.next()) {
    unsigned long long const pair = first << kCodePointBits | folded.next();
    Product const product = static_cast<Product>(hash + pair) * point;
    hash = static_cast<unsigned long long>(product & kPrime) +
           static_cast<unsigned long long>(product >> kBits);
  }
  return hash % kPrime;
}

unsigned np_uchar_lower(char const* source, char* target, unsigned targetSize) {
  return mapCase(source, target, targetSize, 'A', utf8proc_tolower);
}

unsigned np_uchar_upper(char const* source, char* target, unsigned targetSize) {
  return mapCase(source, target, targetSize, 'a', utf8proc_toupper);
}
