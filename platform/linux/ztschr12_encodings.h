// SPDX-License-Identifier: MIT
//
// The one table of encodings, shared by the names and the codecs of ztschr12.

#ifndef ZTSCHR12_ENCODINGS_H
#define ZTSCHR12_ENCODINGS_H

#include <string_view>

struct NpEncodingRow {
  int number;
  char const* name;        // preferred, as IANA registers it
  char const* aliases;     // further names, separated by blanks
  char const* systemName;  // what iconv calls it; null where the codec is our own
  int unitBytes;           // of a code unit, and of the terminator
  std::string_view mark;   // byte-order mark, empty if there is none
};

// Null for a number that isn't an encoding.
NpEncodingRow const* np_encoding_row(int encoding);

#endif
