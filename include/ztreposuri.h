// SPDX-License-Identifier: MIT
//
// Repository URIs: objects and folders of a repository, scheme "ztr".

#ifndef ZTREPOSURI_H
#define ZTREPOSURI_H

#include "zturi.h"

class ZTB_API ZtReposURI : public ZtURI {
 public:
  virtual ZtbString getType() = 0;
  virtual ZtbString getRepository() = 0;
  virtual ZtReposURI* getParentFolder() = 0;
  virtual ZtReposURI* getRootFolder() = 0;
  virtual ZtbString getReservedText() = 0;
  virtual ZtbString getLocalURIString() = 0;
  virtual ZtbString getName() = 0;
  virtual bool isRootFolder() = 0;
};

ZTB_API ZtReposURI* getReposURIFromComponents(ZtbString const& host, ZtbString const& path,
                                              ZtbString const& type);

#endif
