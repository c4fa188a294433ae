// SPDX-License-Identifier: MIT
//
// Date texts, by a scanner of our own. The C library's parser is no choice here: it follows the
// process locale, is slow, and lets days pass that no calendar has.

#include <langinfo.h>

#include <cstddef>
#include <string_view>

#include "ztsstr12.h"
#include "ztsstr12_ascii.h"
#include "ztsstr12_calendar.h"

namespace {

using ztsstr12::isDigit;
using ztsstr12::isSpace;

enum ScanResult : int { kAccepted = 0, kRefused = 1 };

struct Elements {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

// A time without a date lies on the day that the scale counts from.
constexpr Elements kEpochDay{1970, 1, 1, 0, 0, 0};

// How many digits a number has tells years from days, and 89 from 0089.
struct Number {
  int value = 0;
  int digits = 0;
};

bool isLetter(char c) {
  return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
}

// Walks a text. What it is asked to take and doesn't find, it leaves where it is.
class Scanner {
 public:
  explicit Scanner(char const* text) : mAt(text) {}

  bool atEnd() const { return *mAt == '\0'; }
  bool atLetter() const { return isLetter(*mAt); }
  bool atNumericSeparator() const {
    return (*mAt == '-' || *mAt == '/' || *mAt == '.') && isDigit(mAt[1]);
  }
  bool atTime() const {
    return isDigit(mAt[0]) && (mAt[1] == ':' || (isDigit(mAt[1]) && mAt[2] == ':'));
  }
  char next() { return *mAt++; }

  bool take(char wanted) {
    if (*mAt != wanted) return false;
    ++mAt;
    return true;
  }
  bool takeLetter(char lowerCase) {
    if ((*mAt | 0x20) != lowerCase) return false;
    ++mAt;
    return true;
  }
  bool takeSpace() {
    char const* const before = mAt;
    while (isSpace(*mAt)) ++mAt;
    return mAt != before;
  }
  // One to four digits with no further digit behind them.
  bool takeNumber(Number* number) {
    Number read;
    while (isDigit(*mAt) && read.digits < 5) {
      read.value = read.value * 10 + (*mAt++ - '0');
      ++read.digits;
    }
    *number = read;
    return read.digits >= 1 && read.digits <= 4;
  }
  bool takeDigits() {
    if (!isDigit(*mAt)) return false;
    while (isDigit(*mAt)) ++mAt;
    return true;
  }
  std::string_view takeWord() {
    char const* const before = mAt;
    while (isLetter(*mAt)) ++mAt;
    return {before, static_cast<std::size_t>(mAt - before)};
  }

 private:
  char const* mAt;
};

bool equalsIgnoringCase(std::string_view word, std::string_view lowerCase) {
  if (word.size() != lowerCase.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if ((word[i] | 0x20) != lowerCase[i]) return false;
  }
  return true;
}

constexpr std::string_view kMonths[] = {"january",   "february", "march",    "april",
                                        "may",       "june",     "july",     "august",
                                        "september", "october",  "november", "december"};

// 1 to 12 for an English name in full or its first three letters, else 0.
int monthNamed(std::string_view word) {
  int month = 0;
  for (std::string_view name : kMonths) {
    ++month;
    if (equalsIgnoringCase(word, name) || equalsIgnoringCase(word, name.substr(0, 3))) return month;
  }
  return 0;
}

bool takeMonthName(Scanner& in, Number* month) {
  *month = {monthNamed(in.takeWord()), 2};
  return month->value != 0;
}

// What may stand on either side of a month's name.
bool takeNameGap(Scanner& in) {
  if (in.take('-') || in.take('/')) return true;
  bool const mark = in.take(',') || in.take('.');
  return in.takeSpace() || mark;
}

// Two digits stand for 1969 to 2068, as POSIX has it.
bool setYear(Number year, Elements* e) {
  if (year.digits == 2) year.value += year.value >= 69 ? 1900 : 2000;
  e->year = year.value;
  return year.digits == 2 || year.digits == 4;
}

bool setDate(Number year, Number month, Number day, Elements* e) {
  e->month = month.value;
  e->day = day.value;
  return month.digits <= 2 && day.digits <= 2 && setYear(year, e);
}

// "Feb 3, 1989"
bool readMonthFirst(Scanner& in, Elements* e) {
  Number month, day, year;
  bool const read = takeMonthName(in, &month) && takeNameGap(in) && in.takeNumber(&day) &&
                    takeNameGap(in) && in.takeNumber(&year);
  return read && setDate(year, month, day, e);
}

// "3 Feb 1989", "1989-Feb-03"
bool readMonthBetween(Scanner& in, Number first, Elements* e) {
  Number month, last;
  bool const read =
      takeNameGap(in) && takeMonthName(in, &month) && takeNameGap(in) && in.takeNumber(&last);
  if (!read) return false;
  return first.digits == 4 ? setDate(first, month, last, e) : setDate(last, month, first, e);
}

// "1989-02-03", "3.2.1989", "2/3/89"
bool readNumeric(Scanner& in, Number first, ZtsDateFormat format, Elements* e) {
  char const separator = in.next();
  Number second, third;
  if (!in.takeNumber(&second) || !in.take(separator) || !in.takeNumber(&third)) return false;
  if (first.digits == 4) return setDate(first, second, third, e);
  switch (format == zts_date_locale ? zts_get_date_format() : format) {
    case zts_date_dmy:
      return setDate(third, second, first, e);
    case zts_date_ymd:
      return setDate(first, second, third, e);
    case zts_date_mdy:
      return setDate(third, first, second, e);
    default:
      return false;
  }
}

bool readDate(Scanner& in, ZtsDateFormat format, Elements* e) {
  if (in.atLetter()) return readMonthFirst(in, e);
  Number first;
  if (!in.takeNumber(&first)) return false;
  return in.atNumericSeparator() ? readNumeric(in, first, format, e)
                                 : readMonthBetween(in, first, e);
}

bool takeTwoDigits(Scanner& in, int* value) {
  Number number;
  if (!in.takeNumber(&number)) return false;
  *value = number.value;
  return number.digits == 2;
}

// The fraction is checked and left out: the elements end with the second.
bool readSecond(Scanner& in, Elements* e) {
  if (!takeTwoDigits(in, &e->second)) return false;
  return !(in.take('.') || in.take(',')) || in.takeDigits();
}

bool readHalfOfDay(Scanner& in, Elements* e) {
  in.takeSpace();
  bool const afternoon = in.takeLetter('p');
  if (!afternoon && !in.takeLetter('a')) return true;
  if (!in.takeLetter('m') || e->hour < 1 || e->hour > 12) return false;
  e->hour = e->hour % 12 + (afternoon ? 12 : 0);
  return true;
}

bool readTime(Scanner& in, Elements* e) {
  Number hour;
  if (!in.takeNumber(&hour) || hour.digits > 2 || !in.take(':')) return false;
  e->hour = hour.value;
  if (!takeTwoDigits(in, &e->minute)) return false;
  if (in.take(':') && !readSecond(in, e)) return false;
  return readHalfOfDay(in, e);
}

bool readTimeBehindDate(Scanner& in, Elements* e) {
  if (in.takeLetter('t')) return readTime(in, e);
  bool const comma = in.take(',');
  bool const space = in.takeSpace();
  if (in.atEnd()) return !comma;
  return space && readTime(in, e);
}

bool readText(Scanner in, ZtsDateFormat format, Elements* e) {
  in.takeSpace();
  bool const read =
      in.atTime() ? readTime(in, e) : readDate(in, format, e) && readTimeBehindDate(in, e);
  in.takeSpace();
  return read && in.atEnd();
}

bool readTwoDigits(char const* at, int* value) {
  if (!isDigit(at[0]) || !isDigit(at[1])) return false;
  *value = (at[0] - '0') * 10 + (at[1] - '0');
  return true;
}

// The very form that dates are written in, "1989-02-03 19:05:06", in a third of the scanner's time
// (benchmark date/from_iso). The checks stop at the first difference, and so at the terminator.
bool readWrittenForm(char const* at, Elements* e) {
  int century = 0, yearOfCentury = 0;
  if (!readTwoDigits(at, &century) || !readTwoDigits(at + 2, &yearOfCentury) || at[4] != '-' ||
      !readTwoDigits(at + 5, &e->month) || at[7] != '-' || !readTwoDigits(at + 8, &e->day) ||
      (at[10] != ' ' && at[10] != 'T') || !readTwoDigits(at + 11, &e->hour) || at[13] != ':' ||
      !readTwoDigits(at + 14, &e->minute) || at[16] != ':' || !readTwoDigits(at + 17, &e->second)) {
    return false;
  }
  e->year = century * 100 + yearOfCentury;
  return at[19] == '\0';
}

bool isMoment(Elements const& e) {
  return ztsstr12::isCalendarDay(e.year, e.month, e.day) &&
         ztsstr12::isTimeOfDay(e.hour, e.minute, e.second);
}

// The order by the first element that a directive of strftime writes; none by any other directive.
ZtsDateFormat orderByFirst(char directive) {
  switch (directive) {
    case 'd':
    case 'e':
      return zts_date_dmy;
    case 'm':
    case 'b':
    case 'B':
    case 'h':
    case 'D':
      return zts_date_mdy;
    case 'y':
    case 'Y':
    case 'C':
    case 'F':
      return zts_date_ymd;
    default:
      return zts_date_locale;
  }
}

bool isDirectiveFlag(char c) {
  return c == 'E' || c == 'O' || c == '_' || c == '-' || c == '0' || c == '^' || c == '#';
}

}  // namespace

int zts_string_to_date(char const* text, int* year, int* month, int* day, int* hour, int* minute,
                       int* second, ZtsDateFormat format) {
  if (text == nullptr) return kRefused;
  Elements e = kEpochDay;
  if (!readWrittenForm(text, &e)) {
    e = kEpochDay;
    if (!readText(Scanner(text), format, &e)) return kRefused;
  }
  if (!isMoment(e)) return kRefused;
  *year = e.year;
  *month = e.month;
  *day = e.day;
  *hour = e.hour;
  *minute = e.minute;
  *second = e.second;
  return kAccepted;
}

// Looks for the directives by hand: a date text is read in less time than the library's search
// functions take.
ZtsDateFormat zts_get_date_format() {
  char const* at = nl_langinfo(D_FMT);
  while (*at != '\0') {
    if (*at++ != '%') continue;
    while (isDirectiveFlag(*at)) ++at;
    ZtsDateFormat const order = orderByFirst(*at);
    if (order != zts_date_locale) return order;
    if (*at != '\0') ++at;
  }
  return zts_date_mdy;
}
