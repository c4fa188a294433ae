// SPDX-License-Identifier: MIT

#include "zturi.h"

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

#include "ztbstringformat_p.h"
#include "ztdatauri.h"
#include "ztdatauri_p.h"
#include "ztreposuri.h"
#include "ztreposuri_p.h"
#include "ztschr12.h"
#include "zturi_p.h"
#include "ztwturi.h"
#include "ztwturi_p.h"

namespace {

// The factory by the beginning of the text; what stands in none of these rows is generic.
struct Scheme {
  char const* start;
  ZtURI* (*parse)(ZtbString const& text);
};
constexpr Scheme kSchemes[] = {
    {"ztr://", parseReposURI},
    {"ztd://", parseDataURI},
    {"ztf://", parseDataURI},
    {"ztwt://", parseWorkTableURI},
};

bool startsWith(ZtbString const& text, char const* start) {
  return std::strncmp(text.asCstr(), start, std::strlen(start)) == 0;
}

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

// The first byte of a word is its lowest.
static_assert(std::endian::native == std::endian::little);
constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;
constexpr std::ptrdiff_t kWordBytes = sizeof(std::uint64_t);

std::uint64_t loadWord(char const* from) {
  std::uint64_t word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

// Bits of which the lowest is in the first byte of the word that is zero; 0 if none is.
std::uint64_t zeroBytes(std::uint64_t word) {
  return (word - kLowBits) & ~word & kHighBits;
}

// What ends a run of bytes that are copied: whether a byte does, and for the bytes of a word, bits
// of which the lowest is in the first that does, or 0.

// The bytes of characters of several bytes.
struct HighByte {
  bool operator()(char c) const { return static_cast<signed char>(c) < 0; }
  std::uint64_t in(std::uint64_t word) const { return word & kHighBits; }
};

// Those, and the characters of one byte that a caller lists.
class ListedByte {
 public:
  ListedByte(char const* listed, __int64 count) : mCount(count) {
    for (__int64 i = 0; i < count; ++i) {
      auto const byte = static_cast<unsigned char>(listed[i]);
      mIsListed[byte] = true;
      if (i < kFew) mFew[i] = kLowBits * byte;
    }
  }
  bool operator()(char c) const {
    return HighByte()(c) || mIsListed[static_cast<unsigned char>(c)];
  }
  std::uint64_t in(std::uint64_t word) const {
    std::uint64_t found = word & kHighBits;
    if (mCount <= kFew) {
      for (__int64 i = 0; i < mCount; ++i) found |= zeroBytes(word ^ mFew[i]);
    } else {
      for (int bit = 0; bit < 64; bit += 8) {
        found |= std::uint64_t{mIsListed[word >> bit & 0xFF]} << bit;
      }
    }
    return found;
  }

 private:
  // For more, a look at each byte costs less.
  static constexpr __int64 kFew = 4;

  __int64 mCount;
  std::uint64_t mFew[kFew] = {};
  std::array<bool, 256> mIsListed{};
};

struct Percent {
  bool operator()(char c) const { return c == '%'; }
  std::uint64_t in(std::uint64_t word) const { return zeroBytes(word ^ (kLowBits * '%')); }
};

// Copies bytes up to the first that ends the run, a word at a time and without a branch for where
// it is; what the last word has behind that byte will be written over. Gives where the copy ends,
// and moves `text` behind what was copied. The target has room for what is left of the text.
template <class End>
char* copyRun(char const** text, char const* end, char* target, End const& endsRun) {
  char const* at = *text;
  for (std::ptrdiff_t copied = kWordBytes; copied == kWordBytes && end - at >= kWordBytes;) {
    std::uint64_t const word = loadWord(at);
    std::memcpy(target, &word, sizeof word);
    copied = std::countr_zero(endsRun.in(word)) / 8;
    at += copied;
    target += copied;
  }
  while (at < end && !endsRun(*at)) *target++ = *at++;
  *text = at;
  return target;
}

// A component is mostly short, and then the call of a library function costs more than the look.
bool hasEscape(std::string_view text) {
  constexpr std::size_t kShort = 32;
  if (text.size() > kShort) return text.find('%') != std::string_view::npos;
  return std::find(text.begin(), text.end(), '%') != text.end();
}

bool isAscii(std::string_view text) {
  constexpr std::ptrdiff_t kBlockBytes = 4 * kWordBytes;
  char const* at = text.data();
  char const* const end = at + text.size();
  for (; end - at >= kBlockBytes; at += kBlockBytes) {
    std::uint64_t const front = loadWord(at) | loadWord(at + kWordBytes);
    std::uint64_t const back = loadWord(at + 2 * kWordBytes) | loadWord(at + 3 * kWordBytes);
    if (HighByte().in(front | back) != 0) return false;
  }
  return std::none_of(at, end, HighByte());
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

// Writes the escape of a byte, and a byte behind it that the next write covers.
char* escapeOne(char byte, char* target) {
  Escape const& escape = kEscapes[static_cast<unsigned char>(byte)];
  std::memcpy(target, escape.text, sizeof escape.text);
  return target + kEscapeBytes;
}

// Escapes a text up to its end or its first ill-formed byte: gives where it stopped, and moves
// `target` behind what was written.
template <class Escaped>
char const* escapeInto(char** target, std::string_view text, Escaped const& isEscaped) {
  char const* at = text.data();
  char const* const end = at + text.size();
  char* to = *target;
  for (;;) {
    to = copyRun(&at, end, to, isEscaped);
    int bytes = at == end ? 0 : np_uchar_sequence(at);
    if (bytes == 0) break;
    for (; bytes > 0; --bytes) to = escapeOne(*at++, to);
  }
  *target = to;
  return at;
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

// Undoes the escapes of a text into an area of its size and a terminator.
void unescapeInto(char* target, std::string_view text) {
  char const* at = text.data();
  char const* const end = at + text.size();
  while (end - at >= kEscapeBytes) {
    target = copyRun(&at, end, target, Percent());
    for (; end - at >= kEscapeBytes && *at == '%'; at += kEscapeBytes) {
      target = unescapeOne(at, target);
    }
  }
  *std::copy(at, end, target) = '\0';
}

void assignPiece(std::string_view piece, ZtbString* out) {
  std::size_t const chars =
      isAscii(piece) ? piece.size() : np_uchar_tell(piece.data(), piece.data() + piece.size());
  out->assign(piece.data(), static_cast<int>(chars));
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
    assignPiece(text, out);
    return !out->isNull();
  }
  out->setNull();
  WorkArea area(text.size() + 1);
  if (!area.bytes()) return false;
  unescapeInto(area.bytes(), text);
  out->assign(area.bytes());
  return !out->isNull();
}

bool convert(char const* from, char const* to, ZtbString const& in, ZtbString* out) {
  if (in.length() == 0) {
    out->setNull();
    return false;
  }
  *out = in.replace(ZtbString(from, true), ZtbString(to, true), 0, -1);
  return !out->isNull();
}

// The path of a repository URI, with the type split off that its last brackets hold. A path without
// them has neither a name nor a type of its own.
struct TypedName {
  std::string_view name;
  std::string_view type;
};

TypedName splitType(std::string_view path) {
  std::size_t const open = path.rfind('(');
  std::size_t const close = path.rfind(')');
  bool const isTyped = open != std::string_view::npos && close != std::string_view::npos;
  if (!isTyped || close == 0) return {path.substr(0, 0), "Folder"};
  std::string_view const behind = path.substr(open + 1);
  return {path.substr(0, open), close > open ? behind.substr(0, close - open - 1) : behind};
}

}  // namespace

ZtURIPieces ztURISplit(ZtbString const& text) {
  std::string_view const all = ztURIView(text);
  ZtURIPieces pieces;
  std::size_t colon = all.find(':');
  if (colon == std::string_view::npos) colon = 0;
  if (colon > 0) pieces.scheme = all.substr(0, colon);
  std::size_t const mark = all.find("//", colon + 1);
  if (mark == std::string_view::npos) return pieces;
  std::size_t const begin = mark + 2;
  std::size_t const slash = all.find('/', begin);
  if (slash == std::string_view::npos) return pieces;
  if (slash > begin) pieces.host = all.substr(begin, slash - begin);
  pieces.path = all.substr(slash + 1);
  return pieces;
}

void ztURIAssign(std::string_view piece, ZtbString* out) {
  if (piece.data()) {
    assignPiece(piece, out);
  } else {
    out->setNull();
  }
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

ZtURIImpl::ZtURIImpl(ZtbString const& text) {
  uriText = text;
  ZtURIPieces const pieces = ztURISplit(uriText);
  ztURIAssign(pieces.scheme, &scheme);
  ztURIAssign(pieces.host, &host);
  ztURIAssign(pieces.path, &path);
}

void ZtURIImpl::setPath(ZtbString const& value) {
  convertBackSlashesToSlashes(value, &path);
}

ZtbString ZtURIImpl::compose(ZtbString const& pathText) const {
  bool const hasHost = ztURIIsSet(host);
  if (ztURIIsSet(scheme)) {
    return hasHost ? ztbWholeFormat("%S://%S/%S", &scheme, &host, &pathText)
                   : ztbWholeFormat("%S:///%S", &scheme, &pathText);
  }
  return hasHost ? ztbWholeFormat("//%S/%S", &host, &pathText) : ztbWholeFormat("/%S", &pathText);
}

ZtbString ZtURIImpl::getURIString() {
  if (!ztURIIsSet(uriText)) uriText = compose(path);
  return uriText;
}

ZtbString ZtURIImpl::getEscapedURIString() {
  return compose(ztURIIsSet(path) ? ztURIEscaped(path) : path);
}

ZtURI* getURIFromURIString(ZtbString const& text) {
  std::size_t const mark = ztURIView(text).find("://");
  if (mark == std::string_view::npos || mark == 0) return nullptr;
  for (Scheme const& scheme : kSchemes) {
    if (startsWith(text, scheme.start)) return scheme.parse(text);
  }
  return new ZtURIImpl(text);
}

ZtURI* getFullURI(ZtbString const& scheme, ZtbString const& host, ZtbString const& path,
                  ZtbString const& query, ZtbString const& fragment) {
  if (scheme.compare("ztr", false) == 0) {
    return getReposURIFromComponents(host, path, ZtbString());
  }
  if (scheme.compare("ztd", true) == 0 || scheme.compare("ztf", true) == 0) {
    ZtbString const none;
    return getDataURIFromComponents(scheme, host, path, none, none, none, none, none);
  }
  if (scheme.compare("ztwt", false) == 0) return getWorkTableURIFromComponents(path);
  auto* const uri = new ZtURIImpl;
  uri->setScheme(scheme);
  uri->setHost(host);
  uri->setPath(path);
  uri->setQuery(query);
  uri->setFragment(fragment);
  return uri;
}

ZtURI* getURI(ZtbString const& scheme, ZtbString const& host, ZtbString const& path) {
  return getFullURI(scheme, host, path, ZtbString(), ZtbString());
}

bool getNativePath(ZtURI* uri, ZtbString* out) {
  if (!uri) return false;
  ZtbString const path = uri->getPath();
  ZtbString const host = uri->getHost();
  ZtbString converted = path;
  // A data URI composes both at once: one alone is all that there was memory for.
  bool const isCut = uri->asDataURI() && path.isNull() != host.isNull();
  if (isCut || (ztURIIsSet(path) && !convertSlashesToBackSlashes(path, &converted))) {
    out->setNull();
    return false;
  }
  *out = ztURIIsSet(host) ? ztbWholeFormat("\\\\%S\\%S", &host, &converted) : converted;
  return !ztURIIsSet(host) || !out->isNull();
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
  if (!hasList && isAscii(bytes)) return appendAscii(bytes.data(), bytes.size(), out);
  WorkArea area(kEscapeBytes * bytes.size() + 1);
  if (!area.bytes()) return false;
  char* end = area.bytes();
  char const* const stop = hasList ? escapeInto(&end, bytes, ListedByte(escapeChars, escapeCount))
                                   : escapeInto(&end, bytes, HighByte());
  return appendAscii(area.bytes(), static_cast<std::size_t>(end - area.bytes()), out) &&
         stop - bytes.data() >= static_cast<std::ptrdiff_t>(source.length());
}

bool getUnEscapeStringFromURI(ZtbString const& text, ZtbString* out) {
  if (!out) return false;
  ZtbString const source = text;  // `out` may be the text itself
  return unescape(ztURIView(source), out);
}

bool getPathURLComponentsFromString(ZtbString const& text, ZtbString* scheme, ZtbString* host,
                                    ZtbString* path, ZtbString* type) {
  if (!scheme) return false;
  ZtbString const source = text;  // an output may be the text itself
  ZtURIPieces const pieces = ztURISplit(source);
  ztURIAssign(pieces.scheme, scheme);
  if (pieces.scheme != "ztr") return false;
  ztURIUnescape(pieces.host, host);
  TypedName const split = splitType(pieces.path);
  ztURIAssign(split.type, type);
  ztURIUnescape(split.name, path);
  return true;
}

bool convertSlashesToBackSlashes(ZtbString const& in, ZtbString* out) {
  return convert("/", "\\", in, out);
}

bool convertBackSlashesToSlashes(ZtbString const& in, ZtbString* out) {
  return convert("\\", "/", in, out);
}
