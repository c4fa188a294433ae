// SPDX-License-Identifier: MIT
//
// What ZtbString::trim does, for a part of a text that is only looked at: nothing is copied.

#ifndef ZTBSTRING_P_H
#define ZTBSTRING_P_H

#include <string_view>

// `part` without white space at its left end, its right end or both. It is of a terminated text,
// and begins and ends where characters do.
std::string_view ztbTrimmedLeft(std::string_view part);
std::string_view ztbTrimmedRight(std::string_view part);
std::string_view ztbTrimmed(std::string_view part);

#endif
