// SPDX-License-Identifier: MIT

#include "zturi.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "ztbstringformat_p.h"
#include "ztdatauri.h"
#include "ztdatauri_p.h"
#include "ztreposuri.h"
#include "ztreposuri_p.h"
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
