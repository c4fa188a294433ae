// SPDX-License-Identifier: MIT
//
// What the library itself does with strings: trimming without a copy, and strings that memory may
// not reach for.

#ifndef ZTBSTRING_P_H
#define ZTBSTRING_P_H

#include <new>
#include <string_view>

#include "ztbstring.h"

// As ZtbString::trim: `part` without white space at its left end, its right end or both. It is of a
// terminated text, and begins and ends where characters do.
std::string_view ztbTrimmedLeft(std::string_view part);
std::string_view ztbTrimmedRight(std::string_view part);
std::string_view ztbTrimmed(std::string_view part);

// What a failure says for which there is no memory, or none for its own text.
inline constexpr char kNoMemoryText[] = "Out of memory";

// A string that is null only if memory ran out; then it throws.
inline ZtbString ztbOrThrow(ZtbString const& string) {
  if (string.isNull()) throw std::bad_alloc();
  return string;
}

// The same for the text of a failure, which there is in any case.
inline ZtbString ztbOrNoMemoryText(ZtbString const& text) {
  return text.isNull() ? ZtbString(kNoMemoryText, true) : text;
}

#endif
