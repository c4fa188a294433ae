// SPDX-License-Identifier: MIT
//
// Texts that a subcommand works through one by one: those of the command, or the lines of standard
// input.

#ifndef ZTB_LINES_H
#define ZTB_LINES_H

#include <functional>

#include "tool.h"

namespace tool {

// Lines of standard input with LF, CR LF or nothing at their end, and without a byte-order mark. Of
// a line longer than `mostBytes` a front longer than that is kept, so that memory has a bound.
class Lines {
 public:
  explicit Lines(std::size_t mostBytes) : mMostBytes(mostBytes) {}

  // Takes the next line; false at the end. Refuses if standard input can't be read.
  bool next(std::string& line);

 private:
  bool fill();
  bool takePiece(std::string& line);

  std::size_t mMostBytes;
  std::vector<char> mBuffer = std::vector<char>(std::size_t{1} << 16);
  std::string_view mRest;
  bool mIsBegun = false;
};

// What is shown of each text, in lines or as members of an object; either may refuse it.
struct TextWork {
  std::function<std::string(std::string const& text)> lines;
  std::function<void(std::string const& text, JsonObject& object)> describe;
};

// Shows each text, or on each line of standard input that isn't empty if there are none.
// In JSON all come as one array, a refused text with the reason as its "error". A refused text
// doesn't stop the others: its reason goes to stderr, and the result is 1. `command` stands in
// front of it.
int workOnTexts(std::string const& command, std::vector<std::string> const& texts, bool json,
                TextWork const& work);

}  // namespace tool

#endif
