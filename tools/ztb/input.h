// SPDX-License-Identifier: MIT
//
// Texts that come to a subcommand in one piece: a file, all of standard input, an argument.

#ifndef ZTB_INPUT_H
#define ZTB_INPUT_H

#include <string>

namespace tool {

// The bytes of the longest text that is worked on.
inline constexpr std::size_t kLongestText = std::size_t{128} << 20;

// Refuses a text that is longer, or holds a NUL.
void checkText(std::string const& text);

// All of a file, or of standard input if it is "-", unchanged. Refuses, with the name in front,
// what can't be read and what checkText refuses, without reading it to its end.
std::string readText(std::string const& file);

// How messages name the file.
std::string inputName(std::string const& file);

// The text if it is well-formed UTF-8, else its conversion from the character set of the user's
// locale. Refuses, as `what`, a text that is neither. Call takeUserLocale before.
std::string utf8Of(std::string const& text, std::string const& what);

}  // namespace tool

#endif
