// SPDX-License-Identifier: MIT

#include "zturi.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "ztbstringformat.h"
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

// The characters of one byte that a caller wants escaped.
using ListedBytes = std::array<bool, 256>;

ListedBytes listBytes(char const* listed, __int64 count) {
  ListedBytes bytes{};
  for (__int64 i = 0; i < count; ++i) bytes[static_cast<unsigned char>(listed[i])] = true;
  return bytes;
}

// The first byte of a character of several bytes, or `end`.
char const* findHighByte(char const* from, char const* end) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  for (std::uint64_t words[4]; end - from >= static_cast<std::ptrdiff_t>(sizeof words);
       from += sizeof words) {
    std::memcpy(words, from, sizeof words);
    if ((words[0] | words[1] | words[2] | words[3]) & kHighBits) break;
  }
  for (std::uint64_t word; end - from >= static_cast<std::ptrdiff_t>(sizeof word);
       from += sizeof word) {
    std::memcpy(&word, from, sizeof word);
    if (word & kHighBits) break;
  }
  return std::find_if(from, end, [](char c) { return static_cast<signed char>(c) < 0; });
}

// The first byte that is listed or begins a character of several bytes, or `end`. Without a list
// whole words are looked at, so the usual text is passed at the speed of memory.
char const* findEscaped(char const* from, char const* end, ListedBytes const* listed) {
  if (!listed) return findHighByte(from, end);
  return std::find_if(from, end, [listed](char c) {
    return static_cast<signed char>(c) < 0 || (*listed)[static_cast<unsigned char>(c)];
  });
}

// Appends text of one-byte characters to a string, small pieces of it together.
class Appender {
 public:
  explicit Appender(ZtbString* out) : mOut(out) {}

  void add(char const* text, std::size_t size) {
    if (size > sizeof mPieces - mUsed) flush();
    if (size > sizeof mPieces) {
      append(text, size);
      return;
    }
    std::memcpy(mPieces + mUsed, text, size);
    mUsed += size;
  }
  // False if memory ran out for a piece.
  bool flush() {
    if (mUsed != 0) append(mPieces, mUsed);
    mUsed = 0;
    return !mFailed;
  }

 private:
  void append(char const* text, std::size_t size) {
    bool failed = false;
    mOut->append(text, static_cast<int>(size), &failed);
    mFailed = mFailed || failed;
  }

  ZtbString* mOut;
  bool mFailed = false;
  std::size_t mUsed = 0;
  char mPieces[512];
};

// Escapes a text up to its end or its first ill-formed byte; gives where it stopped.
char const* escapeInto(Appender* out, char const* text, char const* end,
                       ListedBytes const* listed) {
  while (text < end) {
    char const* const next = findEscaped(text, end, listed);
    out->add(text, static_cast<std::size_t>(next - text));
    text = next;
    int bytes = 0;
    if (next == end || np_uchar_toint(next, &bytes) == np_uchar_illformed) break;
    for (; bytes > 0; --bytes) out->add(kEscapes[static_cast<unsigned char>(*text++)].text, 3);
  }
  return text;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Undoes one escape of three bytes; gives where the output goes on. What is no escape is copied,
// and an escaped NUL, which no text can hold, vanishes.
char* unescapeOne(char const* escape, char* target) {
  int const upper = hexValue(escape[1]);
  int const lower = hexValue(escape[2]);
  if (upper < 0 || lower < 0) return std::copy_n(escape, 3, target);
  if (upper + lower != 0) *target++ = static_cast<char>(upper * 16 + lower);
  return target;
}

// Undoes the escapes of a text into an area of its size and a terminator.
void unescapeInto(char* target, std::string_view text) {
  std::size_t escape;
  while ((escape = text.find('%')) != std::string_view::npos) {
    target = std::copy_n(text.data(), escape, target);
    text.remove_prefix(escape);
    if (text.size() < 3) break;
    target = unescapeOne(text.data(), target);
    text.remove_prefix(3);
  }
  *std::copy(text.begin(), text.end(), target) = '\0';
}

bool isAscii(std::string_view text) {
  char const* const end = text.data() + text.size();
  return findHighByte(text.data(), end) == end;
}

void assignPiece(std::string_view piece, ZtbString* out) {
  std::size_t const chars =
      isAscii(piece) ? piece.size() : np_uchar_tell(piece.data(), piece.data() + piece.size());
  out->assign(piece.data(), static_cast<int>(chars));
}

// False if memory ran out, and `out` is null then. `text` must not lie in `out`.
bool unescape(std::string_view text, ZtbString* out) {
  constexpr std::size_t kAreaBytes = 512;
  if (text.find('%') == std::string_view::npos) {
    assignPiece(text, out);
    return !out->isNull();
  }
  out->setNull();
  char area[kAreaBytes];
  std::unique_ptr<char[]> large;
  if (text.size() >= kAreaBytes) {
    large.reset(new (std::nothrow) char[text.size() + 1]);
    if (!large) return false;
  }
  char* const target = large ? large.get() : area;
  unescapeInto(target, text);
  out->assign(target);
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

void ztURIUnescape(std::string_view piece, ZtbString* out) {
  if (piece.empty()) {
    *out = ZtbString("", true);
  } else if (!unescape(piece, out)) {
    ztURIAssign(piece, out);
  }
}

ZtbString ztURIUnescaped(ZtbString const& text) {
  ZtbString unescaped;
  ztURIUnescape(ztURIView(text), &unescaped);
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
    return hasHost ? ztbStringFormat("%S://%S/%S", &scheme, &host, &pathText)
                   : ztbStringFormat("%S:///%S", &scheme, &pathText);
  }
  return hasHost ? ztbStringFormat("//%S/%S", &host, &pathText) : ztbStringFormat("/%S", &pathText);
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
  ZtbString converted;
  if (!convertSlashesToBackSlashes(path, &converted)) converted = path;
  *out = ztURIIsSet(host) ? ztbStringFormat("\\\\%S\\%S", &host, &converted) : converted;
  return true;
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
  ListedBytes const listed = hasList ? listBytes(escapeChars, escapeCount) : ListedBytes{};
  Appender appender(out);
  char const* const stop =
      escapeInto(&appender, bytes.data(), bytes.data() + bytes.size(), hasList ? &listed : nullptr);
  return appender.flush() && stop - bytes.data() >= static_cast<std::ptrdiff_t>(source.length());
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
