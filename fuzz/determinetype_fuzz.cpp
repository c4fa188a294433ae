// SPDX-License-Identifier: MIT
//
// The type of any text against a second, plain writing of the rules: every character is counted,
// and nothing is left early.
// Aimed at src/ztbdeterminetype.cpp

#include <algorithm>

#include "target.h"
#include "ztbdeterminetype.h"
#include "ztschr12.h"
#include "ztsstr12.h"

namespace {

using std::u32string_view;

bool isDigit(char32_t c) {
  return c >= '0' && c <= '9';
}

constexpr u32string_view kSpaces =
    U" \t\n\v\f\r\u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009"
    U"\u200A\u2028\u2029\u202F\u205F\u3000";

std::u32string charactersOf(char const* text) {
  std::u32string result;
  int width = 0;
  for (; unsigned const c = np_uchar_toint(text, &width); text += width) result.push_back(c);
  return result;
}

// Of all the characters beyond ASCII only the long s folds to a letter of the words.
bool isBooleanWord(std::u32string text) {
  for (char32_t& c : text) {
    if (c == U'\u017F') c = 's';
    if (c >= 'A' && c <= 'Z') c += 'a' - 'A';
  }
  u32string_view const words[] = {U"yes", U"no", U"true", U"false", U"y", U"n"};
  return std::find(std::begin(words), std::end(words), text) != std::end(words);
}

bool isPlainNumber(u32string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kSpaces), text.size()));
  text = text.substr(0, text.find_last_not_of(kSpaces) + 1);
  return text.find_first_not_of(U"0123456789.") == text.npos && text.find('.') == text.rfind('.');
}

determinedType typeByCounts(u32string_view text) {
  int exponent = 0, digit = 0, sign = 0, point = 0, other = 0;
  char32_t before = 0;
  for (char32_t const c : text) {
    if (c == 'E' || c == 'e') {
      ++(isDigit(before) ? exponent : other);
    } else if (isDigit(c)) {
      ++digit;
    } else if (c == '-' || c == '+') {
      ++(before == 0 || before == 'E' || before == 'e' ? sign : other);
    } else if (c == '.') {
      ++point;
    } else if (c != ' ') {
      ++other;
    }
    before = c;
  }
  bool const isText = other > 0 || exponent > 1 || sign > 2 || digit == 0 || point > 1;
  return isText ? determinedString : point == 0 ? determinedInteger : determinedReal;
}

determinedType expected(char const* text) {
  std::u32string const characters = charactersOf(text);
  if (isBooleanWord(characters)) return determinedBoolean;
  int e[6] = {};
  bool const isDate =
      !isPlainNumber(characters) &&
      zts_string_to_date(text, &e[0], &e[1], &e[2], &e[3], &e[4], &e[5], zts_date_locale) == 0 &&
      ((e[0] != 0 && e[1] != 0 && e[2] != 0) || (e[3] != 0 && e[4] != 0 && e[5] != 0));
  return isDate ? determinedDate : typeByCounts(characters);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text = bytesOf(data, size);
  require(determineType(ZtbString(text.c_str(), true)) == expected(text.c_str()));
  return 0;
}
