// SPDX-License-Identifier: MIT
//
// Escapes of any text. The first byte gives the length of the list of characters to escape, which
// follows it; the rest is the text. Both directions must come out as a plain walk over the bytes
// does, and undo each other.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ztbmempool_p.h"
#include "ztschr12.h"
#include "zturi.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "uriescape_fuzz: %s\n", what);
  std::abort();
}

// The escaped front of the text as far as it is well-formed.
struct Escaped {
  std::string text;
  std::size_t front;
};

Escaped plainEscape(std::string const& text, std::string_view listed) {
  Escaped result{"", 0};
  while (result.front < text.size()) {
    int bytes = 0;
    unsigned const code = np_uchar_toint(text.c_str() + result.front, &bytes);
    if (code == np_uchar_illformed) break;
    bool const isEscaped = bytes > 1 || listed.find(static_cast<char>(code)) != listed.npos;
    for (int i = 0; i < bytes; ++i) {
      char const byte = text[result.front++];
      char escape[4] = {byte};
      if (isEscaped)
        std::snprintf(escape, sizeof escape, "%%%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
      result.text += escape;
    }
  }
  return result;
}

std::string plainUnescape(std::string const& text) {
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] != '%' || text.size() - i < 3) {
      result += text[i++];
      continue;
    }
    std::string const three = text.substr(i, 3);
    i += 3;
    bool const isEscape = three.find_first_not_of(kDigits, 1) == std::string::npos;
    auto const byte = static_cast<char>(std::strtol(three.c_str() + 1, nullptr, 16));
    if (!isEscape) {
      result += three;
    } else if (byte != '\0') {
      result += byte;
    }
  }
  return result;
}

std::string unescaped(std::string const& text) {
  ZtbString result;
  require(getUnEscapeStringFromURI(ZtbString(text.c_str(), false), &result), "unescaping fails");
  return result.asCstr();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  require(isUp, "no pool");
  if (size == 0) return 0;
  std::string const input(reinterpret_cast<char const*>(data + 1), size - 1);
  std::string listed = input.substr(0, data[0] % 16);
  std::string const text = input.substr(listed.size()).c_str();

  ZtbString escaped;
  bool const isWhole =
      getEscapeStringForURI(ZtbString(text.c_str(), false), listed.data(),
                            static_cast<__int64>(listed.size()), &escaped, nullptr);
  Escaped const expected = plainEscape(text, listed);
  require(escaped.asCstr() == expected.text, "escaping differs from the plain walk");
  require(isWhole == (expected.front >= ZtbString(text.c_str(), true).length()),
          "escaping tells of the end wrongly");
  bool const isReversible =
      text.find('%') == std::string::npos || listed.find('%') != std::string::npos;
  if (isReversible) {
    require(unescaped(expected.text) == text.substr(0, expected.front), "no way back");
  }
  require(unescaped(text) == plainUnescape(text), "unescaping differs from the plain walk");
  return 0;
}
