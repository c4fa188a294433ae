// SPDX-License-Identifier: MIT
//
// Levels, logger names and the escaping of what records say.

#include "ztlog11_record.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "ztschr12.h"

namespace ztlog {

namespace {

constexpr std::array<std::string_view, 6> kLevelNames = {"trace",   "step",  "info",
                                                         "warning", "error", "off"};
static_assert(kLevelNames.size() == kOff);

constexpr std::size_t kMaxNameBytes = 255;

bool isPlain(char byte) {
  return byte >= 0x20 && byte != 0x7f;
}

// C1 controls, line and paragraph separators, and what makes text read in another order than it
// stands. The single direction marks stay: texts in right-to-left scripts need them.
bool mustEscape(unsigned character) {
  return (character >= 0x80 && character <= 0x9f) || (character >= 0x2028 && character <= 0x202e) ||
         (character >= 0x2066 && character <= 0x2069);
}

void appendByte(std::string* out, unsigned char byte) {
  constexpr std::string_view kLetters = "\n\r\t";
  std::size_t const letter = kLetters.find(static_cast<char>(byte));
  if (letter != std::string_view::npos) {
    *out += '\\';
    *out += "nrt"[letter];
    return;
  }
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", byte);
  *out += text;
}

// Appends the character at `position` and gives its width. The text there is terminated.
std::size_t appendCharacter(std::string* out, char const* position) {
  if (isPlain(*position)) return *out += *position, 1;
  if (static_cast<unsigned char>(*position) < 0x80) {
    appendByte(out, static_cast<unsigned char>(*position));
    return 1;
  }
  int width = 1;
  unsigned const character = np_uchar_toint(position, &width);
  if (character == np_uchar_illformed) {
    appendByte(out, static_cast<unsigned char>(*position));
  } else if (mustEscape(character)) {
    char text[12];
    std::snprintf(text, sizeof text, "\\u%04x", character);
    *out += text;
  } else {
    out->append(position, static_cast<std::size_t>(width));
  }
  return static_cast<std::size_t>(width);
}

}  // namespace

std::string_view levelName(int level) {
  return kLevelNames[static_cast<std::size_t>(level - 1)];
}

int levelFromText(std::string_view text) {
  if (text.size() == 1 && text[0] >= '0' + kTrace && text[0] <= '0' + kError) return text[0] - '0';
  for (int level = kTrace; level <= kOff; ++level) {
    if (text == levelName(level)) return level;
  }
  return 0;
}

std::string escape(std::string text) {
  std::size_t plain = 0;
  while (plain < text.size() && isPlain(text[plain])) ++plain;
  if (plain == text.size()) return text;
  std::string out(text, 0, plain);
  out.reserve(text.size() + text.size() / 8);
  for (std::size_t at = plain; at < text.size();) at += appendCharacter(&out, text.c_str() + at);
  return out;
}

std::string loggerName(char const* name) {
  std::string result;
  std::string_view rest(name == nullptr ? "" : name,
                        name == nullptr ? 0 : strnlen(name, kMaxNameBytes));
  while (!rest.empty()) {
    std::size_t const dot = std::min(rest.find('.'), rest.size());
    if (dot > 0) {
      if (!result.empty()) result += '.';
      result += rest.substr(0, dot);
    }
    rest.remove_prefix(std::min(dot + 1, rest.size()));
  }
  return escape(std::move(result));
}

}  // namespace ztlog
