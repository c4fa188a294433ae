// SPDX-License-Identifier: MIT
//
// Which elements make a moment, for what composes moments and what reads them from text.

#ifndef ZTSSTR12_CALENDAR_H
#define ZTSSTR12_CALENDAR_H

#include <chrono>

namespace ztsstr12 {

inline bool isBetween(int value, int low, int high) {
  return value >= low && value <= high;
}

inline bool isCalendarDay(int year, int month, int day) {
  if (!isBetween(year, 1, 9999) || !isBetween(month, 1, 12) || !isBetween(day, 1, 31)) return false;
  return day <= 28 || (std::chrono::year(year) / month / day).ok();
}

inline bool isTimeOfDay(int hour, int minute, int second) {
  return isBetween(hour, 0, 23) && isBetween(minute, 0, 59) && isBetween(second, 0, 59);
}

}  // namespace ztsstr12

#endif
