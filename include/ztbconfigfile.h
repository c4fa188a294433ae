// SPDX-License-Identifier: MIT
#ifndef ZTBCONFIGFILE_H
#define ZTBCONFIGFILE_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbConfigFile {
 public:
  ZtbConfigFile();
  ZtbConfigFile(ZtbConfigFile const& other);
  ZtbConfigFile& operator=(ZtbConfigFile const& other);
  ~ZtbConfigFile();

  bool read(ZtbString const& path);
  bool write(ZtbString const& path);
  void clear();
  int getEntryCount();
  ZtbString getEntry(ZtbString const& key);
  bool getEntry(int index, ZtbString* key, ZtbString* value);
  bool getNextEntry(bool first, ZtbString* key, ZtbString* value);
  void setEntry(ZtbString const& key, ZtbString const& value);
  void deleteEntry(ZtbString const& key);
  ZtbString getEntryComment(ZtbString const& key);
  void setEntryComment(ZtbString const& key, ZtbString const& comment);
  ZtbString getErrorMessage();

 private:
  friend struct ZtbConfigFileLines;
  struct Body;
  Body* mBody;
};

#endif
