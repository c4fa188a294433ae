// SPDX-License-Identifier: MIT
//
// Pieces of URIs as strings, with escapes and without.

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "ztschr12.h"
#include "zturi_p.h"

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

constexpr int kEscapeBytes = 3;

// "%00" to "%FF", by byte value.
struct Escape {
  char text[4];
};
constexpr std::array<Escape, 256> kEscapes = [] {
  std::array<Escape, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    table[i] = {{'%', kHexDigits[i / 16], kHexDigits[i % 16], '\0'}};
  }
  return table;
}();

// Blocks of bytes in the compiler's own vector type; the lanes of a comparison are all ones or
// zero.
using Block = unsigned char __attribute__((vector_size(16)));
constexpr std::ptrdiff_t kBlockBytes = sizeof(Block);

Block loadBlock(char const* from) {
  Block block;
  std::memcpy(&block, from, sizeof block);
  return block;
}

Block blockOf(char c) {
  return static_cast<unsigned char>(c) - Block{};
}

Block lanesOf(Block block, Block value) {
  return reinterpret_cast<Block>(block == value);
}

Block highBits(Block block) {
  return block & blockOf('\x80');
}

// The first byte of a word is its lowest.
static_assert(std::endian::native == std::endian::little);
struct Halves {
  std::uint64_t low, high;
};
Halves halvesOf(Block block) {
  Halves halves;
  std::memcpy(&halves, &block, sizeof halves);
  return halves;
}

bool isAny(Block lanes) {
  auto const [low, high] = halvesOf(lanes);
  return (low | high) != 0;
}

// The bytes that are escaped: those of characters of several bytes, and the characters of one byte
// that a caller lists.
class EscapedBytes {
 public:
  EscapedBytes(char const* listed, __int64 count) : mCount(count) {
    std::fill(mIsEscaped.begin() + 0x80, mIsEscaped.end(), true);
    for (__int64 i = 0; i < count; ++i) {
      mIsEscaped[static_cast<unsigned char>(listed[i])] = true;
      if (i < kFew) mListed[i] = blockOf(listed[i]);
    }
  }
  bool has(char c) const { return mIsEscaped[static_cast<unsigned char>(c)]; }
  bool areIn(std::string_view text) const {
    auto const isEscaped = [this](char c) { return has(c); };
    char const* at = text.data();
    char const* const end = at + text.size();
    for (; end - at >= kStep; at += kStep) {
      if (maybeIn(at) && std::any_of(at, at + kStep, isEscaped)) return true;
    }
    return std::any_of(at, end, isEscaped);
  }
  // Whether one may be among the kStep bytes at `at`; long lists aren't looked through.
  bool maybeIn(char const* at) const {
    if (mCount > kFew) return true;
    Block const a = loadBlock(at), b = loadBlock(at + kBlockBytes);
    Block const c = loadBlock(at + 2 * kBlockBytes), d = loadBlock(at + 3 * kBlockBytes);
    Block found = highBits(a | b | c | d);
    for (__int64 i = 0; i < mCount; ++i) {
      Block const one = mListed[i];
      found |= lanesOf(a, one) | lanesOf(b, one) | lanesOf(c, one) | lanesOf(d, one);
    }
    return isAny(found);
  }
  static constexpr std::ptrdiff_t kStep = 4 * kBlockBytes;

 private:
  static constexpr __int64 kFew = 16;

  __int64 mCount;
  std::array<bool, 256> mIsEscaped{};
  Block mListed[kFew];  // only the first mCount are set
};

// A component is mostly short, and then the call of a library function costs more than the look.
bool hasEscape(std::string_view text) {
  constexpr std::size_t kShort = 32;
  if (text.size() > kShort) return text.find('%') != std::string_view::npos;
  return std::find(text.begin(), text.end(), '%') != text.end();
}

bool isAscii(std::string_view text) {
  constexpr std::ptrdiff_t kStep = 4 * kBlockBytes;
  char const* at = text.data();
  char const* const end = at + text.size();
  for (; end - at >= kStep; at += kStep) {
    Block const front = loadBlock(at) | loadBlock(at + kBlockBytes);
    Block const back = loadBlock(at + 2 * kBlockBytes) | loadBlock(at + 3 * kBlockBytes);
    if (isAny(highBits(front | back))) return false;
  }
  for (; end - at >= kBlockBytes; at += kBlockBytes) {
    if (isAny(highBits(loadBlock(at)))) return false;
  }
  return std::none_of(at, end, [](char c) { return static_cast<signed char>(c) < 0; });
}

// Room to build a text in: on the stack for the short ones, else on the heap.
class WorkArea {
 public:
  explicit WorkArea(std::size_t size) {
    if (size > sizeof mStack) mHeap.reset(new (std::nothrow) char[size]);
    mBytes = size > sizeof mStack ? mHeap.get() : mStack;
  }
  // Null if memory ran out.
  char* bytes() { return mBytes; }

 private:
  char mStack[512];
  std::unique_ptr<char[]> mHeap;
  char* mBytes;
};

// Writes a byte, or its escape. Without a branch, as escapes stand in no order that a processor
// could foresee; what is written behind the form is covered by the next one.
char* putEscaped(char* target, char byte, bool isEscaped) {
  auto const value = static_cast<unsigned char>(byte);
  std::uint32_t escape;
  std::memcpy(&escape, kEscapes[value].text, sizeof escape);
  std::uint32_t const form = value ^ ((value ^ escape) & (std::uint32_t{0} - isEscaped));
  std::memcpy(target, &form, sizeof form);
  return target + 1 + (kEscapeBytes - 1) * isEscaped;
}

// Escapes a text, into three bytes for each of its own and one more: gives where the output ends.
char* escapeInto(char* target, std::string_view text, EscapedBytes const& escaped) {
  constexpr std::ptrdiff_t kStep = EscapedBytes::kStep;
  char const* at = text.data();
  char const* const end = at + text.size();
  while (at < end) {
    if (end - at >= kStep && !escaped.maybeIn(at)) {
      std::memcpy(target, at, kStep);
      at += kStep;
      target += kStep;
      continue;
    }
    for (char const* const pause = at + std::min(end - at, kStep); at < pause; ++at) {
      target = putEscaped(target, *at, escaped.has(*at));
    }
  }
  return target;
}

constexpr std::array<signed char, 256> kHexValues = [] {
  std::array<signed char, 256> values{};
  values.fill(-1);
  for (signed char i = 0; i < 16; ++i) {
    values[static_cast<unsigned char>(kHexDigits[i])] = i;
    values[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
  }
  return values;
}();

int hexValue(char c) {
  return kHexValues[static_cast<unsigned char>(c)];
}

// Undoes one escape of three bytes; gives where the output goes on. What is no escape is copied,
// and an escaped NUL, which no text can hold, vanishes.
char* unescapeOne(char const* escape, char* target) {
  int const upper = hexValue(escape[1]);
  int const lower = hexValue(escape[2]);
  if ((upper | lower) < 0) return std::copy_n(escape, kEscapeBytes, target);
  *target = static_cast<char>(upper << 4 | lower);
  return target + (*target != '\0');
}

// A bit for each byte of a block that is '%'.
std::uint64_t percentsIn(Block block) {
  constexpr Block kBits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  auto const [low, high] = halvesOf(lanesOf(block, blockOf('%')) & kBits);
  return (low * kOnes >> 56) | (high * kOnes >> 56) << 8;
}

// Undoes the escapes of a text into an area of its size and a terminator.
void unescapeInto(char* target, std::string_view text) {
  constexpr std::ptrdiff_t kStep = 4 * kBlockBytes;
  char const* at = text.data();
  char const* const end = at + text.size();
  // A run between two escapes is copied by blocks, the last of which reaches behind it.
  auto const copyUpTo = [&](char const* stop) {
    for (; stop - at > kBlockBytes; at += kBlockBytes, target += kBlockBytes) {
      std::memcpy(target, at, kBlockBytes);
    }
    std::memcpy(target, at, kBlockBytes);
    target += stop - at;
    at = stop;
  };
  while (end - at >= kStep + kBlockBytes) {
    char const* const step = at;
    std::uint64_t percents = 0;
    for (int i = 0; i < 4; ++i) {
      percents |= percentsIn(loadBlock(step + i * kBlockBytes)) << i * kBlockBytes;
    }
    for (; percents != 0; percents &= percents - 1) {
      char const* const escape = step + std::countr_zero(percents);
      if (escape < at) continue;  // in what is no escape
      copyUpTo(escape);
      target = unescapeOne(at, target);
      at += kEscapeBytes;
    }
    if (at < step + kStep) copyUpTo(step + kStep);
  }
  while (at < end) {
    if (end - at < kEscapeBytes || *at != '%') {
      *target++ = *at++;
      continue;
    }
    target = unescapeOne(at, target);
    at += kEscapeBytes;
  }
  *target = '\0';
}

// False if memory ran out or no string could hold the result, which leaves `out` as it was.
bool appendAscii(char const* text, std::size_t size, ZtbString* out) {
  if (size == 0) return true;
  if (size > INT_MAX) return false;
  bool failed = false;
  out->append(text, static_cast<int>(size), &failed);
  return !failed;
}

// False if memory ran out, and `out` is null then. `text` must not lie in `out`.
bool unescape(std::string_view text, ZtbString* out) {
  if (!hasEscape(text)) {
    ztURIAssign(text, out);
    return !out->isNull();
  }
  out->setNull();
  WorkArea area(text.size() + 1);
  if (!area.bytes()) return false;
  unescapeInto(area.bytes(), text);
  out->assign(area.bytes());
  return !out->isNull();
}

}  // namespace

void ztURIAssign(std::string_view piece, ZtbString* out) {
  if (!piece.data()) {
    out->setNull();
    return;
  }
  std::size_t const chars =
      isAscii(piece) ? piece.size() : np_uchar_tell(piece.data(), piece.data() + piece.size());
  out->assign(piece.data(), static_cast<int>(chars));
}

bool ztURIUnescape(std::string_view piece, ZtbString* out) {
  if (piece.empty()) {
    *out = ZtbString("", true);
    return true;
  }
  if (unescape(piece, out)) return true;
  ztURIAssign(piece, out);
  return false;
}

ZtbString ztURIUnescaped(ZtbString const& text) {
  ZtbString unescaped;
  if (!getUnEscapeStringFromURI(text, &unescaped)) unescaped = text;
  return unescaped;
}

ZtbString ztURIEscaped(ZtbString const& text) {
  if (isAscii(ztURIView(text))) return text;
  ZtbString escaped;
  return getEscapeStringForURI(text, nullptr, 0, &escaped, nullptr) ? escaped : text;
}

bool getEscapeStringForURI(ZtbString const& text, char* escapeChars, __int64 escapeCount,
                           ZtbString* out, ZtbString* errorText) {
  if (!out) {
    if (errorText) {
      errorText->assign("The output variable is not allocated or defined to be used.");
    }
    return false;
  }
  if (text.length() == 0) {
    out->assign("");
    return true;
  }
  ZtbString const source = text;  // `out` may be the text itself
  std::string_view const bytes = ztURIView(source);
  bool const hasList = escapeChars && escapeCount > 0;
  EscapedBytes const escaped(escapeChars, hasList ? escapeCount : 0);
  if (!escaped.areIn(bytes)) return appendAscii(bytes.data(), bytes.size(), out);
  // Escapes end at the first ill-formed byte.
  std::size_t const sound = np_uchar_wellformed(bytes.data(), bytes.size());
  WorkArea area(kEscapeBytes * sound + 1);
  if (!area.bytes()) return false;
  char const* const end = escapeInto(area.bytes(), bytes.substr(0, sound), escaped);
  return appendAscii(area.bytes(), static_cast<std::size_t>(end - area.bytes()), out) &&
         sound >= static_cast<std::size_t>(source.length());
}

bool getUnEscapeStringFromURI(ZtbString const& text, ZtbString* out) {
  if (!out) return false;
  ZtbString const source = text;  // `out` may be the text itself
  return unescape(ztURIView(source), out);
}
