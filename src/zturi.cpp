// SPDX-License-Identifier: MIT

#include "zturi.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

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

// Which bytes are escaped: all of several-byte characters, and those that the caller lists.
using EscapedBytes = std::array<bool, 256>;

EscapedBytes makeEscapedBytes(char const* listed, __int64 count) {
  EscapedBytes escaped{};
  std::fill(escaped.begin() + 128, escaped.end(), true);
  for (__int64 i = 0; i < count; ++i) {
    // A listed byte counts as signed, so one above 127 is no character's code point.
    if (listed[i] > 0) escaped[static_cast<unsigned char>(listed[i])] = true;
  }
  return escaped;
}

// The first byte from `from` on that is escaped, or the terminator.
char const* findEscaped(char const* from, char const* end, EscapedBytes const& escaped) {
  return std::find_if(from, end, [&](char c) { return escaped[static_cast<unsigned char>(c)]; });
}

void appendEscaped(ZtbString* out, char const* character, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out->append(kEscapes[static_cast<unsigned char>(character[i])].text, 3, nullptr);
  }
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

// Undoes the escapes of `size` bytes into an area of that size and a terminator.
void unescapeInto(char* target, char const* text, std::size_t size) {
  char const* const end = text + size;
  while (char const* const escape = static_cast<char const*>(
             std::memchr(text, '%', static_cast<std::size_t>(end - text)))) {
    target = std::copy(text, escape, target);
    text = escape;
    if (end - escape < 3) break;
    target = unescapeOne(escape, target);
    text = escape + 3;
  }
  *std::copy(text, end, target) = '\0';
}

bool convert(char const* from, char const* to, ZtbString const& in, ZtbString* out) {
  if (in.length() == 0) {
    out->setNull();
    return false;
  }
  *out = in.replace(ZtbString(from, true), ZtbString(to, true), 0, -1);
  return true;
}

// The brackets that close the path of a repository URI: the last of each kind.
struct Brackets {
  int open;
  int close;
};

Brackets findBrackets(ZtbString const& path) {
  return {path.rfind(ZtbString("(", true)), path.rfind(ZtbString(")", true))};
}

// Splits off the type in brackets; a path without them has neither a name nor a type of its own.
void splitType(ZtbString const& path, ZtbString* name, ZtbString* type) {
  Brackets const brackets = findBrackets(path);
  if (brackets.open >= 0 && brackets.close >= 1) {
    *name = path.mid(0, brackets.open);
    *type = path.mid(static_cast<unsigned>(brackets.open) + 1, brackets.close - brackets.open - 1);
    return;
  }
  name->assign("");
  *type = ZtbString("Folder", true);
}

}  // namespace

ZtbString ztURIUnescaped(ZtbString const& text) {
  ZtbString unescaped;
  return getUnEscapeStringFromURI(text, &unescaped) ? unescaped : text;
}

ZtbString ztURIEscaped(ZtbString const& text) {
  ZtbString escaped;
  return getEscapeStringForURI(text, nullptr, 0, &escaped, nullptr) ? escaped : text;
}

ZtURIImpl::ZtURIImpl(ZtbString const& text) {
  uriText = text;
  if (!ztURIIsSet(text)) return;
  int const colon = std::max(text.find(ZtbString(":", true), 0), 0);
  if (colon > 0) scheme = text.mid(0, colon);
  int const mark = text.find(ZtbString("//", true), colon + 1);
  if (mark <= 0) return;
  int const begin = mark + 2;
  int const slash = text.find(ZtbString("/", true), begin);
  if (slash <= 0) return;
  if (slash > begin) host = text.mid(static_cast<unsigned>(begin), slash - begin);
  path = text.mid(static_cast<unsigned>(slash) + 1, -1);
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
  if (text.find(ZtbString("://", true), 0) < 1) return nullptr;
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
  EscapedBytes const escaped = makeEscapedBytes(escapeChars, escapeCount);
  char const* const begin = text.asCstr();
  char const* const end = begin + (text.cStrSize() - 1);
  char const* position = begin;
  while (position < end) {
    char const* const next = findEscaped(position, end, escaped);
    out->append(position, static_cast<int>(next - position), nullptr);
    position = next;
    if (next == end) break;
    int bytes;
    if (np_uchar_toint(next, &bytes) == np_uchar_illformed) break;
    appendEscaped(out, next, bytes);
    position = next + bytes;
  }
  return position - begin >= static_cast<std::ptrdiff_t>(text.length());
}

bool getUnEscapeStringFromURI(ZtbString const& text, ZtbString* out) {
  if (!out) return false;
  constexpr std::size_t kAreaBytes = 512;
  ZtbString const source = text;  // `out` may be the text itself
  std::size_t const size = source.cStrSize() - 1;
  out->setNull();
  char area[kAreaBytes];
  std::unique_ptr<char[]> large;
  if (size >= kAreaBytes) {
    large.reset(new (std::nothrow) char[size + 1]);
    if (!large) return false;
  }
  char* const target = large ? large.get() : area;
  unescapeInto(target, source.asCstr(), size);
  out->assign(target);
  return true;
}

bool getPathURLComponentsFromString(ZtbString const& text, ZtbString* scheme, ZtbString* host,
                                    ZtbString* path, ZtbString* type) {
  ZtURIImpl uri(text);
  if (!scheme) return false;
  *scheme = uri.getScheme();
  if (scheme->compare("ztr", true) != 0) return false;
  *host = ztURIUnescaped(uri.getHost());
  ZtbString const parsed = uri.getPath();
  if (!ztURIIsSet(parsed)) {
    *type = ZtbString("Folder", true);
    path->assign("");
    return true;
  }
  ZtbString name;
  splitType(parsed, &name, type);
  *path = ztURIUnescaped(name);
  return true;
}

bool convertSlashesToBackSlashes(ZtbString const& in, ZtbString* out) {
  return convert("/", "\\", in, out);
}

bool convertBackSlashesToSlashes(ZtbString const& in, ZtbString* out) {
  return convert("\\", "/", in, out);
}
