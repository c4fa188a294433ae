// SPDX-License-Identifier: MIT
//
// Dates with time: a nullable moment to the millisecond, from year 1 to 9999, without time zone.
//
// A date is null or holds a moment on the proleptic Gregorian calendar. Whatever can't be made into
// a moment (a bad text, elements that name no day, a number out of range) ends in a null date;
// nothing throws and nothing is reported elsewhere. A date is a plain value of two fields: copying
// costs nothing, different objects may be used in any threads at once, and calls of const
// operations are safe together.

#ifndef ZTBDATE_H
#define ZTBDATE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// A moment, or null. A failed `assign` leaves the date null, also if it held a moment; asDouble
// stays as it was.
//
//   ZtbDate due("2026-01-31");
//   if (due.isNull()) return refuse();
//   due.assign(due.asDouble() + 30 * 86400.0);
//   due.asString(true);                         // "2026-03-02 00:00:00"
class ZTB_API ZtbDate {
 public:
  // A null date whose asDouble is 0.
  ZtbDate();

  // The date that the assign of the same arguments gives, or a null date whose asDouble is 0. The
  // forms from text and from a number convert implicitly; a literal zero fits both, so write 0.0
  // for the number and nullptr for no text.
  ZtbDate(int year, int month, int day, int hour, int minute, int second);
  ZtbDate(char const* text);
  ZtbDate(double value);

  // The same moment, or null.
  ZtbDate(ZtbDate const& other) = default;
  ZtbDate& operator=(ZtbDate const& other) = default;

  // From elements: year 1 to 9999 in full, month 1 to 12, day 1 to 31, hour 0 to 23, minute and
  // second 0 to 59. Null if one is out of range or the month has no such day.
  void assign(int year, int month, int day, int hour, int minute, int second);

  // From a text such as "1989-02-03 19:05:06", "1989-02-03T19:05", "3 Feb 1989", "Feb 3, 1989
  // 7:05 PM" or "19:05". White space around it is skipped; anything else behind it makes it no
  // date, and so does a time zone. Numeric dates such as "3/2/89" follow the order in which the
  // process locale (LC_TIME) writes day, month and year, unless a year of four digits comes first.
  // Years of two digits are 1969 to 2068. A fraction of a second is accepted and left out. A date
  // alone is its midnight; a time alone lies on 1970-01-01. A number isn't a date. A null pointer
  // gives a null date. docs/dates.md has the grammar.
  void assign(char const* text);

  // From a number as asDouble gives it. It is rounded to the nearest millisecond, so that asDouble
  // may differ from it. Null for a NaN, an infinity and what lies outside the years 1 to 9999.
  void assign(double value);

  // Writes the elements, in the ranges above and without the milliseconds, to each pointer that
  // isn't null. A null date gives zeros.
  void getElements(int* year, int* month, int* day, int* hour, int* minute, int* second);

  // -1 if this date is before the other, 0 if they are equal, 1 if it is behind. A null date comes
  // before all others, and two of them are equal. Milliseconds count.
  int compare(ZtbDate const& other) const;

  // The date as text; a null string for a null date, when memory runs out, and for a locale's text
  // of more than 127 characters. Milliseconds are left out.
  // With `iso` true "1989-02-03 19:05:06", always with four digits for the year and the same under
  // every locale; assign reads it back. Otherwise as the process locale prints date and time ("%x
  // %X" of strftime). Before 1900 that keeps the order and the separators but writes the year with
  // four digits; if the locale's way of printing dates isn't one of those known, the text is as
  // with `iso` true. Those early dates cost two to three times as much as others.
  ZtbString asString(bool iso) const;

  // Seconds since 1970-01-01 00:00:00, milliseconds as the fraction; whole milliseconds only, the
  // same number for the same moment. A null date gives what the object held last, or 0.
  double asDouble() const;

  // True for a date without a moment.
  bool isNull() const;

  // Makes the date null; asDouble stays as it was.
  void setNull();

  // 0 for Sunday to 6 for Saturday, -1 for a null date.
  int getWeekDay() const;

  // The present moment: GMT if start-up found the option BASE/TIME_BASE to be "GMT", otherwise
  // local time as the TZ variable says at the call.
  static ZtbDate currentDate();

 private:
  ZtbString asStringHard(int year, int month, int day, int hour, int minute, int second) const;

  bool mIsNull;
  double mValue;
};

// Orders dates as compare does, for ordered containers.
class ZTB_API ZtbDateLess {
 public:
  // Whether `a` is before `b`; a null date is before every other.
  bool operator()(ZtbDate const& a, ZtbDate const& b) const;
};

// The order of ZtbDateLess.
ZTB_API bool operator<(ZtbDate const& a, ZtbDate const& b);

#endif
