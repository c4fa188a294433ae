// SPDX-License-Identifier: MIT
//
// Strings of arbitrary bytes, mostly ill-formed. The input is cut at its NUL bytes into a text, a
// needle and what replaces it; its first byte gives positions. The string's short ways through
// find, rfind and replace must come out as the plain walk does, and a length as that of a fresh
// string of the same bytes.
// Aimed at src/ztbstring.cpp

#include <cstring>

#include "target.h"
#include "ztbstring.h"
#include "ztbstringformat.h"
#include "ztschr12.h"

namespace {

void checkLengths(ZtbString const& string, int line = __builtin_LINE()) {
  require(string.cStrSize() == std::strlen(string.asCstr()) + 1, line);
  require(string.length() == np_uchar_length(string.asCstr()), line);
}

int plainFind(char const* text, char const* needle, int start) {
  char const* const begin = np_uchar_seek(text, start);
  char const* const hit = begin && *needle ? std::strstr(begin, needle) : nullptr;
  return hit ? static_cast<int>(np_uchar_tell(begin, hit)) + start : -1;
}

int plainRfind(char const* text, char const* needle) {
  char const* last = nullptr;
  for (char const* from = text; *needle && (from = std::strstr(from, needle));) {
    last = from;
    from = np_uchar_seek(from, 1);
  }
  return last ? static_cast<int>(np_uchar_tell(text, last)) : -1;
}

ZtbString plainReplace(ZtbString const& text, ZtbString const& from, ZtbString const& to,
                       unsigned start) {
  ZtbString result;
  int cursor = static_cast<int>(start);
  if (start != 0) result.append(text.mid(0, cursor), nullptr);
  for (int hit; (hit = plainFind(text.asCstr(), from.asCstr(), cursor)) >= 0;) {
    result.append(text.mid(static_cast<unsigned>(cursor), hit - cursor), nullptr);
    result.append(to, nullptr);
    cursor = hit + static_cast<int>(from.length());
  }
  result.append(text.mid(static_cast<unsigned>(cursor), -1), nullptr);
  return result;
}

void checkSearch(ZtbString const& text, ZtbString const& from, ZtbString const& to,
                 unsigned start) {
  int const begin = static_cast<int>(start);
  require(text.find(from, begin) == plainFind(text.asCstr(), from.asCstr(), begin));
  require(text.rfind(from) == plainRfind(text.asCstr(), from.asCstr()));
  ZtbString const replaced = text.replace(from, to, start, -1);
  checkLengths(replaced);
  require(replaced.compare(plainReplace(text, from, to, start), true) == 0);
}

// No change of a string is seen by its copy.
void checkChanges(ZtbString string, ZtbString const& other, unsigned count) {
  ZtbString const held(string);
  std::string const before = held.asCstr();
  string.append(other, nullptr).append(other.asCstr(), static_cast<int>(count), nullptr);
  checkLengths(string);
  checkLengths(string.mid(count, 3));
  checkLengths(string.right(static_cast<int>(count)));
  string.trim(true, true);
  string.trimChar(-1, true, true);
  checkLengths(string);
  string.uppercase();
  checkLengths(string);
  string.truncate(count);
  checkLengths(string);
  string.assignBytes(other.asCstr(), static_cast<int>(count));
  checkLengths(string);
  require(before == held.asCstr());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  if (size == 0) return 0;
  unsigned const position = data[0] % 16;
  std::string const input = bytesOf(data, size, 1) + std::string(2, '\0');
  std::size_t const first = input.find('\0'), second = input.find('\0', first + 1);
  ZtbString const text(input.c_str(), false), from(&input[first + 1], false),
      to(&input[second + 1], false);
  checkLengths(text);
  checkSearch(text, from, to, position);
  checkChanges(text, from, position);
  checkLengths(ztbStringFormat("%s%S%s", text.asCstr(), &from, to.asCstr()));
  return 0;
}
