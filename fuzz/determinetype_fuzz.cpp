// SPDX-License-Identifier: MIT
//
// The type of any text against a second, plain writing of the rules: every character is counted,
// and nothing is left early.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ztbdeterminetype.h"
#include "ztbmempool_p.h"
#include "ztschr12.h"
#include "ztsstr12.h"

namespace {

using Characters = std::vector<unsigned>;

bool isDigit(unsigned c) {
  return c >= '0' && c <= '9';
}

bool isSpace(unsigned c) {
  for (unsigned const space : {0x85u, 0xA0u, 0x1680u, 0x2028u, 0x2029u, 0x202Fu, 0x205Fu, 0x3000u})
    if (c == space) return true;
  return c == ' ' || (c >= 9 && c <= 13) || (c >= 0x2000 && c <= 0x200A);
}

Characters charactersOf(char const* text) {
  Characters result;
  int width = 0;
  for (; unsigned const c = np_uchar_toint(text, &width); text += width) result.push_back(c);
  return result;
}

// Of all the characters beyond ASCII only the long s folds to a letter of the words.
bool isBooleanWord(Characters const& text) {
  std::string word;
  for (unsigned c : text) {
    if (c == 0x17F) c = 's';
    if (c >= 'A' && c <= 'Z') c += 'a' - 'A';
    word += c < 0x80 ? static_cast<char>(c) : '?';
  }
  for (char const* known : {"yes", "no", "true", "false", "y", "n"})
    if (word == known) return true;
  return false;
}

bool isPlainNumber(Characters const& text) {
  std::size_t begin = 0, end = text.size(), points = 0;
  while (begin < end && isSpace(text[begin])) ++begin;
  while (end > begin && isSpace(text[end - 1])) --end;
  for (std::size_t i = begin; i < end; ++i) {
    if (text[i] == '.') {
      ++points;
    } else if (!isDigit(text[i])) {
      return false;
    }
  }
  return points <= 1;
}

determinedType typeByCounts(Characters const& text) {
  int exponent = 0, digit = 0, sign = 0, point = 0, other = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned const c = text[i];
    unsigned const before = i == 0 ? 0 : text[i - 1];
    if (c == 'E' || c == 'e') {
      ++(isDigit(before) ? exponent : other);
    } else if (isDigit(c)) {
      ++digit;
    } else if (c == '-' || c == '+') {
      ++(i == 0 || before == 'E' || before == 'e' ? sign : other);
    } else if (c == '.') {
      ++point;
    } else if (c != ' ') {
      ++other;
    }
  }
  bool const isText = other > 0 || exponent > 1 || sign > 2 || digit == 0 || point > 1;
  if (isText) return determinedString;
  return point == 0 ? determinedInteger : determinedReal;
}

determinedType expected(char const* text) {
  Characters const characters = charactersOf(text);
  if (isBooleanWord(characters)) return determinedBoolean;
  int e[6] = {};
  if (!isPlainNumber(characters) &&
      zts_string_to_date(text, &e[0], &e[1], &e[2], &e[3], &e[4], &e[5], zts_date_locale) == 0 &&
      ((e[0] != 0 && e[1] != 0 && e[2] != 0) || (e[3] != 0 && e[4] != 0 && e[5] != 0))) {
    return determinedDate;
  }
  return typeByCounts(characters);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  if (determineType(ZtbString(text.c_str(), true)) != expected(text.c_str())) std::abort();
  return 0;
}
