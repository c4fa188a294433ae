// SPDX-License-Identifier: MIT
//
// What the families of URIs share: the fields and behaviours of a URI that is kept as text and
// components, and the generic URI.

#ifndef ZTURI_P_H
#define ZTURI_P_H

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

// Neither null nor empty.
inline bool ztURIIsSet(ZtbString const& text) {
  return text.length() != 0;
}

// The text without escapes, or as it stands if that fails.
ZtbString ztURIUnescaped(ZtbString const& text);
// The text with its multi-byte characters escaped, or as it stands if that fails.
ZtbString ztURIEscaped(ZtbString const& text);

#endif
