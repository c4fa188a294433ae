// SPDX-License-Identifier: MIT
//
// What the parts of logging share: levels with their names, logger names, and the record on its way
// from a logger to the sinks.

#ifndef ZTLOG11_RECORD_H
#define ZTLOG11_RECORD_H

#include <chrono>
#include <string>
#include <string_view>

namespace ztlog {

enum Level : int { kTrace = 1, kStep, kInfo, kWarning, kError, kOff };

// Under what logging itself writes records.
inline constexpr char kOwnLogger[] = "ZT.Log";
inline constexpr char kOwnSource[] = "ztlog11";

// The name of a level from kTrace to kOff.
std::string_view levelName(int level);

// The level that a text names: "trace" to "off", or a digit from 1 to 5. 0 if it names none.
int levelFromText(std::string_view text);

// The text with everything escaped that would break the line, steer a terminal or reorder what is
// seen. Linear; a text of ASCII letters is looked at once and passed on.
std::string escape(std::string text);

// The name under which a logger is found and shown: of the first 255 bytes, escaped, without empty
// parts. The root's name is empty; null is the root.
std::string loggerName(char const* name);

struct Record {
  std::chrono::system_clock::time_point time;
  unsigned long thread;
  int level;           // kTrace to kError
  char const* logger;  // as shown; lives as long as the process
  std::string source;  // escaped, as is the text
  int line;
  std::string text;
};

}  // namespace ztlog

#endif
