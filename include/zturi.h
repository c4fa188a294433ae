// SPDX-License-Identifier: MIT
//
// Resource identifiers: the interface of every URI, the factories, and operations on URI text.

#ifndef ZTURI_H
#define ZTURI_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZtDataURI;
class ZtReposURI;

class ZTB_API ZtURI {
 public:
  virtual void release() = 0;
  virtual ZtbString getScheme() = 0;
  virtual ZtbString getHost() = 0;
  virtual ZtbString getPath() = 0;
  virtual ZtbString getQuery() = 0;
  virtual ZtbString getFragment() = 0;
  virtual ZtbString getURIString() = 0;
  virtual ZtbString getEscapedURIString() = 0;
  virtual ZtReposURI* asReposURI() = 0;
  virtual ZtDataURI* asDataURI() = 0;
};

ZTB_API ZtURI* getURIFromURIString(ZtbString const& text);
ZTB_API ZtURI* getFullURI(ZtbString const& scheme, ZtbString const& host, ZtbString const& path,
                          ZtbString const& query, ZtbString const& fragment);
ZTB_API ZtURI* getURI(ZtbString const& scheme, ZtbString const& host, ZtbString const& path);

ZTB_API bool getNativePath(ZtURI* uri, ZtbString* out);
ZTB_API bool getEscapeStringForURI(ZtbString const& text, char* escapeChars, __int64 escapeCount,
                                   ZtbString* out, ZtbString* errorText);
ZTB_API bool getUnEscapeStringFromURI(ZtbString const& text, ZtbString* out);
ZTB_API bool getPathURLComponentsFromString(ZtbString const& text, ZtbString* scheme,
                                            ZtbString* host, ZtbString* path, ZtbString* type);
ZTB_API bool convertSlashesToBackSlashes(ZtbString const& in, ZtbString* out);
ZTB_API bool convertBackSlashesToSlashes(ZtbString const& in, ZtbString* out);

#endif
