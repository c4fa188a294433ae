// SPDX-License-Identifier: MIT
//
// Well-formed UTF-8 by blocks, shared by the walk and the codecs of ztschr12.

#ifndef ZTSCHR12_UTF8_H
#define ZTSCHR12_UTF8_H

#include <cstddef>

struct NpUtf8Run {
  std::size_t bytes;
  std::size_t chars;
};

// A stretch of whole, well-formed characters at the front of [text, text + nBytes), found by blocks
// of 64 bytes: it ends in front of the first ill-formed byte or cut character at the latest, and
// fewer than 64 bytes earlier at most, or at a block that ends inside a character. NUL is a
// character like any other.
NpUtf8Run np_utf8_run(char const* text, std::size_t nBytes);

#endif
