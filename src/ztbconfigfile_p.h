// SPDX-License-Identifier: MIT
//
// Where in its file an entry stands, for the library's own account of where an option came from.

#ifndef ZTBCONFIGFILE_P_H
#define ZTBCONFIGFILE_P_H

#include "ztbconfigfile.h"

struct ZtbConfigFileLines {
  // Physical lines read so far, over all calls of read; never reset.
  static int count(ZtbConfigFile const& file);
  // The number of the entry's own key=value line in that count; -1 for an entry that was only set,
  // and for an absent key.
  static int ofEntry(ZtbConfigFile const& file, ZtbString const& key);
};

#endif
