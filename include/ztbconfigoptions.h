// SPDX-License-Identifier: MIT
#ifndef ZTBCONFIGOPTIONS_H
#define ZTBCONFIGOPTIONS_H

#include "ztbconfigfile.h"
#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbConfigOptions {
 public:
  virtual bool setOption(ZtbString const& key, ZtbString const& value) = 0;
  virtual bool getOptionAt(unsigned int index, ZtbString* key, ZtbString* value) = 0;
  virtual bool getOption(ZtbString const& key, ZtbString* value) = 0;
  virtual void removeOption(ZtbString const& key) = 0;
  virtual int getOptionCount() = 0;
  virtual void applyEnvironment() = 0;
  virtual bool applyConfigFile(ZtbConfigFile& file) = 0;
  virtual bool readConfigDirectory(ZtbString const& directory, ZtbString const& extension) = 0;
  virtual ZtbString getErrorMessage() = 0;

 protected:
  ~ZtbConfigOptions() = default;
};

ZTB_API ZtbConfigOptions* ztbGetConfigOptions(ZtbString const& name);
ZTB_API void ztbClearConfigOptions(ZtbString const& name);

#endif
