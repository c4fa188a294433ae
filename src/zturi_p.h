// SPDX-License-Identifier: MIT
//
// What the families of URIs share: the fields and behaviours of a URI that is kept as text and
// components, and the generic URI.

#ifndef ZTURI_P_H
#define ZTURI_P_H

#include <string_view>

#include "zturi.h"

// The common half of the generic, the data and the repository URI: each has its own interface, and
// all have these fields. The destructor is virtual and stands behind the interface's operations.
template <class Interface>
class ZtURIBase : public Interface {
 public:
  void release() override { delete this; }
  ZtbString getScheme() override { return scheme; }
  ZtbString getHost() override { return host; }
  ZtbString getPath() override { return path; }
  ZtbString getQuery() override { return query; }
  ZtbString getFragment() override { return fragment; }
  ZtReposURI* asReposURI() override { return nullptr; }
  ZtDataURI* asDataURI() override { return nullptr; }
  virtual ~ZtURIBase() = default;

 protected:
  ZtbString uriText;
  ZtbString scheme;
  ZtbString host;
  ZtbString path;
  ZtbString query;
  ZtbString fragment;
};

// A URI of any other scheme.
class ZtURIImpl : public ZtURIBase<ZtURI> {
 public:
  ZtURIImpl() = default;
  explicit ZtURIImpl(ZtbString const& text);

  ZtbString getURIString() override;
  ZtbString getEscapedURIString() override;

  void setScheme(ZtbString const& value) { scheme = value; }
  void setHost(ZtbString const& value) { host = value; }
  void setPath(ZtbString const& value);
  void setQuery(ZtbString const& value) { query = value; }
  void setFragment(ZtbString const& value) { fragment = value; }

 private:
  ZtbString compose(ZtbString const& pathText) const;
};

// Where the pieces of a URI lie in its text, which must outlive them. A piece that the text doesn't
// have is a view of no text at all, one that is there and empty a view of length 0.
struct ZtURIPieces {
  std::string_view scheme;
  std::string_view host;
  std::string_view path;
};
ZtURIPieces ztURISplit(ZtbString const& text);

// The text of a string, which must outlive the view.
inline std::string_view ztURIView(ZtbString const& text) {
  return {text.asCstr(), text.cStrSize() - 1};
}

// Makes `out` a copy of a piece; null for one that isn't there.
void ztURIAssign(std::string_view piece, ZtbString* out);
// The same without escapes, or with them if that fails. Empty for a piece that isn't there.
bool ztURIUnescape(std::string_view piece, ZtbString* out);

// Neither null nor empty.
inline bool ztURIIsSet(ZtbString const& text) {
  return text.length() != 0;
}

// The text without escapes, or as it stands if that fails. Empty for a null text.
ZtbString ztURIUnescaped(ZtbString const& text);
// The text with its multi-byte characters escaped, or as it stands if that fails.
ZtbString ztURIEscaped(ZtbString const& text);

#endif
