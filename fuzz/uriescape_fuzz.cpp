// SPDX-License-Identifier: MIT
//
// Escapes of any text. The first byte gives the length of the list of characters to escape, which
// follows it; the rest is the text. Both directions must come out as a plain walk over the bytes
// does, and undo each other.
// Aimed at src/zturiescape.cpp

#include "target.h"
#include "ztschr12.h"
#include "zturi.h"

namespace {

// The escaped front of the text, and its bytes as far as they are well-formed.
std::string plainEscape(std::string const& text, std::string_view listed, std::size_t* front) {
  std::string result;
  for (*front = 0; *front < text.size();) {
    int bytes = 0;
    unsigned const code = np_uchar_toint(&text[*front], &bytes);
    if (code == np_uchar_illformed) break;
    bool const isEscaped = bytes > 1 || listed.find(static_cast<char>(code)) != listed.npos;
    for (; bytes > 0; --bytes) {
      char const byte = text[(*front)++];
      char escape[4] = {byte};
      if (isEscaped)
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(byte));
      result += escape;
    }
  }
  return result;
}

std::string plainUnescape(std::string const& text) {
  std::string result;
  for (std::size_t i = 0, taken = 0; i < text.size(); i += taken) {
    std::string const three = text.substr(i, 3);
    taken = three[0] == '%' ? three.size() : 1;
    bool const isEscape =
        taken == 3 && three.find_first_not_of("0123456789abcdefABCDEF", 1) == three.npos;
    auto const byte = static_cast<char>(std::strtol(three.c_str() + 1, nullptr, 16));
    if (!isEscape) result += three.substr(0, taken);
    if (isEscape && byte != '\0') result += byte;
  }
  return result;
}

std::string unescaped(std::string const& text) {
  ZtbString result;
  require(getUnEscapeStringFromURI(ZtbString(text.c_str(), false), &result));
  return result.asCstr();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  if (size == 0) return 0;
  std::string const input = bytesOf(data, size, 1);
  std::string listed = input.substr(0, data[0] % 16);
  std::string const text = input.substr(listed.size()).c_str();
  ZtbString const string(text.c_str(), false);

  ZtbString escaped;
  bool const isWhole = getEscapeStringForURI(
      string, listed.data(), static_cast<__int64>(listed.size()), &escaped, nullptr);
  std::size_t front = 0;
  std::string const expected = plainEscape(text, listed, &front);
  require(escaped.asCstr() == expected && isWhole == (front >= string.length()));
  bool const isReversible = text.find('%') == text.npos || listed.find('%') != listed.npos;
  require(!isReversible || unescaped(expected) == text.substr(0, front));
  require(unescaped(text) == plainUnescape(text));
  return 0;
}
