// SPDX-License-Identifier: MIT
//
// How message texts are filled in: a text of bounded size, and directives that are read and checked
// before any argument is touched. Nothing of a catalog ever reaches the C library's formatter, and
// no locale has a say.
//
// Directives are "%s" (text), "%d" and "%i" (int) and "%%". A position, as in "%2$s", names the
// argument, from 1 to 9; without positions the directives take the arguments in turn, and one
// format uses either positions or turns. "%d" takes a width of at most two digits and a "0" in
// front of it, as in "%1$02d". Anything else is refused.

#ifndef ZTMSG13_FORMAT_H
#define ZTMSG13_FORMAT_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace ztmsg13 {

inline constexpr int kMaxArguments = 9;

union Argument {
  char const* text;
  int number;
};

// What a format says of its arguments: 's' or 'i' for each, 0 for one that isn't named.
struct Signature {
  char types[kMaxArguments] = {};
  int count = 0;  // the highest argument named
};

// Reads a format through. False if it holds a directive that isn't one of the above, names one
// argument with two types, or mixes positions with turns.
[[nodiscard]] bool readSignature(char const* format, Signature& signature);

// Whether a format names only arguments that `declared` has, with the types that it has. Arguments
// may be left unused.
[[nodiscard]] bool fits(char const* format, std::string_view declared);

// Takes arguments of the declared types from a list.
void takeArguments(std::string_view declared, va_list list, Argument* arguments);

// A text in a buffer that it never leaves, terminated at every moment. What doesn't fit is cut at
// the border of a UTF-8 character, and nothing is added behind a cut.
class BoundedText {
 public:
  // With a size of 0 the buffer isn't touched.
  BoundedText(char* target, std::size_t size);
  BoundedText(BoundedText const&) = delete;
  BoundedText& operator=(BoundedText const&) = delete;

  BoundedText& append(std::string_view text);
  BoundedText& append(int number);
  // Adds a format that readSignature accepts, with its arguments; null texts are empty.
  BoundedText& appendFormat(char const* format, Argument const* arguments);
  void trimBlanksAtEnd();
  // Bytes, without the terminator.
  std::size_t size() const { return mSize; }

 private:
  char* const mTarget;
  std::size_t const mCapacity;
  std::size_t mSize = 0;
  bool mIsCut = false;
};

}  // namespace ztmsg13

#endif
