// SPDX-License-Identifier: MIT
//
// What the library itself does with strings: trimming without a copy, texts that may have no
// terminator, and strings that memory may not reach for.

#ifndef ZTBSTRING_P_H
#define ZTBSTRING_P_H

#include <cstddef>
#include <new>
#include <string_view>

#include "ztbstring.h"

// As ZtbString::trim: `part` without white space at its left end, its right end or both. It is of a
// terminated text, and begins and ends where characters do.
std::string_view ztbTrimmedLeft(std::string_view part);
std::string_view ztbTrimmedRight(std::string_view part);
std::string_view ztbTrimmed(std::string_view part);

// The bytes of the characters of `text`, as many as `nBytes` bytes hold whole, up to its terminator
// or first ill-formed byte; `chars` gets their number. Nothing behind the bytes is read. None for a
// null text.
std::size_t ztbWholeCharacters(char const* text, std::size_t nBytes, unsigned* chars);

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
