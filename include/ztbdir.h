// SPDX-License-Identifier: MIT
#ifndef ZTBDIR_H
#define ZTBDIR_H

#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbstring.h"

ZTB_API ZtbString ztbConcatPath(ZtbString const& first, ZtbString const& second);
ZTB_API ZtbString ztbParsePath(ZtbString const& path, ZtbString* name);

class ZTB_API ZtbDirectoryListing {
 public:
  ZtbDirectoryListing();
  ZtbDirectoryListing(ZtbDirectoryListing const&) = delete;
  ZtbDirectoryListing& operator=(ZtbDirectoryListing const&) = delete;
  virtual ~ZtbDirectoryListing();

  bool init(ZtbString const& path, int flags);
  bool next();
  ZtbString getName();
  ZtbString getFullPathName();
  bool isDir();
  ZtbDate getTimestamp();
  unsigned long getTimestampLong();
  unsigned long getSize();
  bool isReadOnly();
  ZtbString getErrorMessage();

 private:
  struct Record;
  Record* mRecord;
  ZtbString mErrorMessage;
};

#endif
