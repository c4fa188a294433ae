// SPDX-License-Identifier: MIT
//
// What the library itself asks a configuration file: where in it an entry stands, to account for
// where an option came from; and whether memory reached, which edits and copies don't tell.

#ifndef ZTBCONFIGFILE_P_H
#define ZTBCONFIGFILE_P_H

#include "ztbconfigfile.h"

struct ZtbConfigFileLines {
  // Physical lines read so far, over all calls of read; never reset.
  static int count(ZtbConfigFile const& file);
  // The number of the entry's own key=value line in that count; -1 for an entry that was only set,
  // and for an absent key.
  static int ofEntry(ZtbConfigFile const& file, ZtbString const& key);
  // Whether there is an entry; takes no memory.
  static bool holds(ZtbConfigFile const& file, ZtbString const& key);
  // False for a file, such as a copy, that there was no memory for: it is empty and stays so.
  static bool isThere(ZtbConfigFile const& file);
  // Whether memory reached for what getNextEntry gave last: a text that isn't null in the file
  // isn't null here either. A null pointer wasn't asked for.
  static bool isWhole(ZtbConfigFile const& file, ZtbString const* key, ZtbString const* value);
  // Whether it was for lack of memory that read or write failed last.
  static bool lacksMemory(ZtbConfigFile const& file);
};

#endif
