// SPDX-License-Identifier: MIT
//
// Type detection.

#include "ztbdeterminetype.h"

#include <algorithm>
#include <iterator>

#include "ztschr12.h"
#include "ztsstr12.h"

namespace {

constexpr char const* kBooleanWords[] = {"yes", "no", "true", "false", "y", "n"};
constexpr unsigned kLongestWord = 5;

// Case folding makes no text shorter, so that a longer one can't be such a word.
bool isBooleanWord(ZtbString const& text) {
  if (text.length() > kLongestWord) return false;
  return std::any_of(std::begin(kBooleanWords), std::end(kBooleanWords),
                     [&text](char const* word) { return text.compare(word, false) == 0; });
}

template <class IsOfClass>
char const* skip(char const* at, IsOfClass isOfClass) {
  int width = 0;
  while (isOfClass(at, &width)) at += width;
  return at;
}

// White space, digits, a point and more digits, white space, any of which may be missing.
bool isPlainNumber(char const* text) {
  char const* at = skip(skip(text, np_uchar_isspace), np_uchar_isdigit);
  if (*at == '.') at = skip(at + 1, np_uchar_isdigit);
  return *skip(at, np_uchar_isspace) == '\0';
}

// Which elements a text without a date or a time has is the date parser's to say.
bool isDate(char const* text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (zts_string_to_date(text, &year, &month, &day, &hour, &minute, &second, zts_date_locale) !=
      0) {
    return false;
  }
  bool const hasDate = year != 0 && month != 0 && day != 0;
  bool const hasTime = hour != 0 && minute != 0 && second != 0;
  return hasDate || hasTime;
}

enum class Kind { kNone, kDigit, kPoint, kBlank, kExponent, kSign, kOther };

Kind kindOf(char const* at, int* width) {
  if (np_uchar_isdigit(at, width)) return Kind::kDigit;
  switch (*at) {
    case '.':
      return Kind::kPoint;
    case ' ':
      return Kind::kBlank;
    case 'E':
    case 'e':
      return Kind::kExponent;
    case '+':
    case '-':
      return Kind::kSign;
    default:
      return Kind::kOther;
  }
}

// Whether a number may have a character of this kind behind one of that; kNone is the start.
bool mayFollow(Kind kind, Kind before) {
  switch (kind) {
    case Kind::kExponent:
      return before == Kind::kDigit;
    case Kind::kSign:
      return before == Kind::kNone || before == Kind::kExponent;
    default:
      return kind != Kind::kOther;
  }
}

// A number by what it consists of. With one exponent letter at most there are two signs at most,
// since they stand at the start and behind that letter.
determinedType typeByCounts(char const* at) {
  int digits = 0, points = 0, exponents = 0, width = 0;
  Kind before = Kind::kNone;
  for (; *at != '\0'; at += width) {
    Kind const kind = kindOf(at, &width);
    if (!mayFollow(kind, before)) return determinedString;
    digits |= kind == Kind::kDigit;
    points += kind == Kind::kPoint;
    exponents += kind == Kind::kExponent;
    if (points > 1 || exponents > 1) return determinedString;
    before = kind;
  }
  if (digits == 0) return determinedString;
  return points == 0 ? determinedInteger : determinedReal;
}

}  // namespace

// A plain number is neither word nor date, so that the cheapest test goes first.
determinedType determineType(ZtbString text) {
  char const* const characters = text.asCstr();
  if (!isPlainNumber(characters)) {
    if (isBooleanWord(text)) return determinedBoolean;
    if (isDate(characters)) return determinedDate;
  }
  return typeByCounts(characters);
}
