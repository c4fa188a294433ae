// SPDX-License-Identifier: MIT
//
// Strings of arbitrary bytes, mostly ill-formed. The input is cut at its NUL bytes into a text, a
// needle and what replaces it; its first byte gives positions. The string's short ways through
// find, rfind and replace must come out as the plain walk does, and a length as that of a fresh
// string of the same bytes.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ztbmempool_p.h"
#include "ztbstring.h"
#include "ztbstringformat.h"
#include "ztschr12.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "string_fuzz: %s\n", what);
  std::abort();
}

void checkLengths(ZtbString const& string) {
  require(string.cStrSize() == std::strlen(string.asCstr()) + 1, "the size isn't that of the text");
  require(string.length() == np_uchar_length(string.asCstr()), "the length isn't that of the text");
}

int plainFind(char const* text, char const* needle, int start) {
  char const* const begin = np_uchar_seek(text, start);
  char const* const hit = begin && *needle ? std::strstr(begin, needle) : nullptr;
  return hit ? static_cast<int>(np_uchar_tell(begin, hit)) + start : -1;
}

int plainRfind(char const* text, char const* needle) {
  char const* last = nullptr;
  for (char const* from = text; *needle;) {
    char const* const hit = std::strstr(from, needle);
    if (!hit) break;
    last = hit;
    from = np_uchar_seek(hit, 1);
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
  require(text.find(from, static_cast<int>(start)) ==
              plainFind(text.asCstr(), from.asCstr(), static_cast<int>(start)),
          "find differs from the plain walk");
  require(text.rfind(from) == plainRfind(text.asCstr(), from.asCstr()),
          "rfind differs from the plain walk");
  ZtbString const replaced = text.replace(from, to, start, -1);
  checkLengths(replaced);
  require(replaced.compare(plainReplace(text, from, to, start), true) == 0,
          "replace differs from the plain walk");
}

void change(ZtbString string, ZtbString const& other, unsigned count) {
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
  require(before == held.asCstr(), "a copy saw the change");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  if (!isUp || size == 0) return 0;
  unsigned const position = data[0] % 16;
  std::string const input(reinterpret_cast<char const*>(data + 1), size - 1);
  std::size_t const first = input.find('\0');
  std::size_t const second = first == std::string::npos ? first : input.find('\0', first + 1);
  auto const part = [&input](std::size_t nul) {
    return ZtbString(nul == std::string::npos ? "" : input.c_str() + nul + 1, false);
  };
  ZtbString const text(input.c_str(), false), from = part(first), to = part(second);
  checkLengths(text);
  checkSearch(text, from, to, position);
  change(text, from, position);
  ZtbString const formatted = ztbStringFormat("%s%S%s", text.asCstr(), &from, to.asCstr());
  checkLengths(formatted);
  return 0;
}
