// SPDX-License-Identifier: MIT
//
// Moments from and to their elements, by the calendar types of the standard library, and the
// present moment from the clock. All that may look at TZ is done under the environment's lock.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <cwchar>
#include <limits>

#include "ztsstr12.h"
#include "ztsstr12_calendar.h"
#include "ztssys11.h"
#include "ztssys11_env.h"

namespace {

constexpr std::int64_t kMillisADay = 86'400'000;

constexpr std::int64_t daysSinceEpoch(int year, int month, int day) {
  using std::chrono::sys_days;
  auto const date = std::chrono::year(year) / month / day;
  return sys_days(date).time_since_epoch().count();
}

constexpr std::int64_t kFirstMilli = daysSinceEpoch(1, 1, 1) * kMillisADay;
constexpr std::int64_t kEndMilli = daysSinceEpoch(10000, 1, 1) * kMillisADay;
constexpr double kNoMoment = std::numeric_limits<double>::quiet_NaN();

// The moment in whole milliseconds, rounded to the nearest; false outside the years 1 to 9999.
bool toMillis(double value, std::int64_t* millis) {
  double const rounded = std::round(value * 1000.0);
  // Also refuses a NaN, which compares as false.
  if (!(rounded >= static_cast<double>(kFirstMilli) && rounded < static_cast<double>(kEndMilli))) {
    return false;
  }
  *millis = static_cast<std::int64_t>(rounded);
  return true;
}

// Whole milliseconds are exact in a double and the division rounds correctly, so that a moment has
// one double only.
double toMoment(std::int64_t millis) {
  return static_cast<double>(millis) / 1000.0;
}

timespec now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return time;
}

int milliOf(timespec const& time) {
  return static_cast<int>(time.tv_nsec / 1'000'000);
}

}  // namespace

int zts_compose_date_milli(int year, int month, int day, int hour, int minute, int second,
                           int milli, double* value) {
  using ztsstr12::isBetween, ztsstr12::isCalendarDay, ztsstr12::isTimeOfDay;
  if (!isCalendarDay(year, month, day) || !isTimeOfDay(hour, minute, second)) return 0;
  if (!isBetween(milli, 0, 999)) return 0;
  std::int64_t const seconds = (hour * 60 + minute) * 60 + second;
  std::int64_t const millis =
      daysSinceEpoch(year, month, day) * kMillisADay + seconds * 1000 + milli;
  *value = toMoment(millis);
  return 1;
}

int zts_compose_date(int year, int month, int day, int hour, int minute, int second,
                     double* value) {
  return zts_compose_date_milli(year, month, day, hour, minute, second, 0, value);
}

int zts_decompose_date_milli(double value, int* year, int* month, int* day, int* hour, int* minute,
                             int* second, int* milli) {
  std::int64_t millis = 0;
  if (!toMillis(value, &millis)) return 0;
  std::int64_t const sinceFirst = millis - kFirstMilli;
  int const days = static_cast<int>(sinceFirst / kMillisADay);
  int const milliOfDay = static_cast<int>(sinceFirst % kMillisADay);
  using namespace std::chrono;
  year_month_day const date(sys_days(std::chrono::days(days + kFirstMilli / kMillisADay)));
  *year = static_cast<int>(date.year());
  *month = static_cast<int>(static_cast<unsigned>(date.month()));
  *day = static_cast<int>(static_cast<unsigned>(date.day()));
  *hour = milliOfDay / 3'600'000;
  *minute = milliOfDay / 60'000 % 60;
  *second = milliOfDay / 1000 % 60;
  *milli = milliOfDay % 1000;
  return 1;
}

int zts_decompose_date(double value, int* year, int* month, int* day, int* hour, int* minute,
                       int* second) {
  int milli = 0;
  return zts_decompose_date_milli(value, year, month, day, hour, minute, second, &milli);
}

double zts_timetoday() {
  np_stamp_zone();  // localtime_r alone wouldn't notice a change of TZ
  timespec const time = now();
  tm parts{};
  double value = kNoMoment;
  if (localtime_r(&time.tv_sec, &parts) == nullptr) return value;
  // A zone that counts leap seconds can tell a second of 60, which no date has.
  int const second = parts.tm_sec > 59 ? 59 : parts.tm_sec;
  zts_compose_date_milli(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                         parts.tm_min, second, milliOf(time), &value);
  return value;
}

// By the count alone: even gmtime_r looks at TZ.
double zts_gmtimetoday() {
  timespec const time = now();
  std::int64_t const millis = std::int64_t{time.tv_sec} * 1000 + milliOf(time);
  return millis >= kFirstMilli && millis < kEndMilli ? toMoment(millis) : kNoMoment;
}

unsigned zts_format_time(wchar_t* target, unsigned targetChars, wchar_t const* format,
                         tm const* time) {
  ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
  return static_cast<unsigned>(std::wcsftime(target, targetChars, format, time));
}
