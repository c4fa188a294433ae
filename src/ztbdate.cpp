// SPDX-License-Identifier: MIT
//
// Dates and their texts. Elements, date texts and the clock come from the platform; what is added
// here is the null state and the text forms.

#include "ztbdate.h"

#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <string_view>

#include "ztbdate_p.h"
#include "ztmsg13.h"
#include "ztschr12.h"
#include "ztsstr12.h"

namespace {

std::atomic<bool> useGmtTimeBase{false};
std::atomic<bool> useIsoInDatavar{false};

constexpr unsigned kTextBytes = 128;
constexpr unsigned kWideChars = 128;
// No character takes more than four bytes of UTF-8, so that what fits the wide buffer fits here.
constexpr unsigned kLocaleTextBytes = 4 * kWideChars;
constexpr wchar_t kDateAndTime[] = L"%x %X";

struct DateForm {
  char const* sample;
  char const* format;
};

// How locales print 1989-02-03 19:05:06, and how to print the date alone in the same order, from
// month, day and year. Sorted by the sample's bytes. Years get four digits even where the sample
// has two, so that an early year isn't taken for one of today.
constexpr std::array<DateForm, 24> kDateForms = {{
    {" 3-02-1989 07.05.06 অপ", " %2$d-%1$02d-%3$04d "},
    {" 3-02-89 07:05:06 অপরাহ্ণ", " %2$d-%1$02d-%3$04d "},
    {" 3-02-89 07:05:06 ಅಪರಾಹ್ನ", " %2$d-%1$02d-%3$04d "},
    {" 3.02.1989 19.05.06", " %2$d.%1$02d.%3$04d "},
    {"02.03.89 19:05:06", "%02d.%02d.%04d "},
    {"02/03/89 19:05:06", "%02d/%02d/%04d "},
    {"03-02-1989 19:05:06", "%2$02d-%1$02d-%3$04d "},
    {"03-02-89 19:05:06", "%2$02d-%1$02d-%3$04d "},
    {"03.02.1989 19:05:06", "%2$02d.%1$02d.%3$04d "},
    {"03.02.89 19.05.06", "%2$02d.%1$02d.%3$04d "},
    {"03.02.89 19:05:06", "%2$02d.%1$02d.%3$04d "},
    {"03/02/1989 19:05:06", "%2$02d/%1$02d/%3$04d "},
    {"03/02/89 19.05.06", "%2$02d/%1$02d/%3$04d "},
    {"03/02/89 19:05:06", "%2$02d/%1$02d/%3$04d "},
    {"030289 19:05:06", "%2$02d%1$02d%3$04d "},
    {"1989-02-03 19:05:06", "%3$04d-%1$02d-%2$02d "},
    {"1989.02.03 19:05:06", "%3$04d.%1$02d.%2$02d "},
    {"1989年\t\t02月\t\t03日 19时\t\t05分\t\t06秒", "%3$04d年\t\t%1$02d月\t\t%2$02d日 "},
    {"1989年02月03日 19时05分06秒 EST", "%3$04d年%1$02d月%2$02d日 "},
    {"2/3/1989 7:05:06 PM", "%d/%d/%04d "},
    {"89-02-03 19.05.06", "%3$04d-%1$02d-%2$02d "},
    {"89-02-03 19:05:06", "%3$04d-%1$02d-%2$02d "},
    {"89/02/03 19:05:06", "%3$04d/%1$02d/%2$02d "},
    {"89年\t\t02月\t\t03日 19时\t\t05分\t\t06秒", "%3$04d年\t\t%1$02d月\t\t%2$02d日"},
}};

constexpr bool sortedBySample(std::array<DateForm, 24> const& forms) {
  for (std::size_t i = 1; i < forms.size(); ++i) {
    // string_view compares as unsigned bytes, as the lookup does.
    if (std::string_view(forms[i - 1].sample) >= std::string_view(forms[i].sample)) return false;
  }
  return true;
}
static_assert(sortedBySample(kDateForms));

char const* formatForSample(ZtbString const& sample) {
  for (DateForm const& form : kDateForms) {
    int const order = sample.compare(form.sample, true);
    if (order == 0) return form.format;
    if (order < 0) return nullptr;
  }
  return nullptr;
}

void putDigits(char* at, int digits, int value) {
  for (int i = digits - 1; i >= 0; --i, value /= 10) at[i] = static_cast<char>('0' + value % 10);
}

// Written by hand: strftime writes the year 99 with two digits, and takes many times as long.
ZtbString isoText(int year, int month, int day, int hour, int minute, int second) {
  char text[] = "0000-00-00 00:00:00";
  putDigits(text, 4, year);
  putDigits(text + 5, 2, month);
  putDigits(text + 8, 2, day);
  putDigits(text + 11, 2, hour);
  putDigits(text + 14, 2, minute);
  putDigits(text + 17, 2, second);
  return ZtbString(text, false);
}

std::chrono::sys_days calendarDay(int year, int month, int day) {
  return std::chrono::year(year) / month / day;
}

int weekDayOf(int year, int month, int day) {
  std::chrono::weekday const weekDay(calendarDay(year, month, day));
  return static_cast<int>(weekDay.c_encoding());
}

// Complete, as some locales print the day of the week. Standard time: a date knows no other.
std::tm brokenDownTime(int year, int month, int day, int hour, int minute, int second) {
  std::tm time{};
  time.tm_year = year - 1900;
  time.tm_mon = month - 1;
  time.tm_mday = day;
  time.tm_hour = hour;
  time.tm_min = minute;
  time.tm_sec = second;
  time.tm_wday = weekDayOf(year, month, day);
  time.tm_yday =
      static_cast<int>((calendarDay(year, month, day) - calendarDay(year, 1, 1)).count());
  return time;
}

enum class LocaleText { kWritten, kTooLong, kNoMemory };

// Writes a time in the locale's manner into `target` of kLocaleTextBytes.
LocaleText putLocaleText(std::tm const& time, wchar_t const* format, char* target) {
  wchar_t wide[kWideChars];
  if (zts_format_time(wide, kWideChars, format, &time) == 0) return LocaleText::kTooLong;
  char const* const source = reinterpret_cast<char const*>(wide);
  int const bytes = np_uchar_encode(np_enc_wide, source, target, kLocaleTextBytes);
  return bytes >= 0 ? LocaleText::kWritten : LocaleText::kNoMemory;
}

// Null if it doesn't fit.
ZtbString localeText(std::tm const& time) {
  char text[kLocaleTextBytes];
  bool const written = putLocaleText(time, kDateAndTime, text) == LocaleText::kWritten;
  return written ? ZtbString(text, false) : ZtbString();
}

}  // namespace

void setUseGmtTimeBase(bool on) {
  useGmtTimeBase.store(on, std::memory_order_relaxed);
}

void setDatavarIsoDates(bool on) {
  useIsoInDatavar.store(on, std::memory_order_relaxed);
}

bool datavarIsoDates() {
  return useIsoInDatavar.load(std::memory_order_relaxed);
}

ZtbDate::ZtbDate() : mIsNull(true), mValue(0.0) {}

ZtbDate::ZtbDate(int year, int month, int day, int hour, int minute, int second) : ZtbDate() {
  assign(year, month, day, hour, minute, second);
}

ZtbDate::ZtbDate(char const* text) : ZtbDate() {
  assign(text);
}

ZtbDate::ZtbDate(double value) : ZtbDate() {
  assign(value);
}

void ZtbDate::assign(int year, int month, int day, int hour, int minute, int second) {
  mIsNull = zts_compose_date(year, month, day, hour, minute, second, &mValue) == 0;
}

void ZtbDate::assign(char const* text) {
  int year, month, day, hour, minute, second;
  mIsNull = true;
  if (zts_string_to_date(text, &year, &month, &day, &hour, &minute, &second,
                         zts_get_date_format()) != 0) {
    return;
  }
  assign(year, month, day, hour, minute, second);
}

void ZtbDate::assign(double value) {
  int year, month, day, hour, minute, second, milli;
  mIsNull =
      zts_decompose_date_milli(value, &year, &month, &day, &hour, &minute, &second, &milli) == 0;
  if (mIsNull) return;
  zts_compose_date_milli(year, month, day, hour, minute, second, milli, &mValue);
}

void ZtbDate::getElements(int* year, int* month, int* day, int* hour, int* minute, int* second) {
  int elements[6] = {};
  if (!mIsNull) {
    zts_decompose_date(mValue, &elements[0], &elements[1], &elements[2], &elements[3], &elements[4],
                       &elements[5]);
  }
  int* const targets[6] = {year, month, day, hour, minute, second};
  for (int i = 0; i < 6; ++i) {
    if (targets[i] != nullptr) *targets[i] = elements[i];
  }
}

int ZtbDate::compare(ZtbDate const& other) const {
  if (mIsNull || other.mIsNull) return static_cast<int>(other.mIsNull) - static_cast<int>(mIsNull);
  if (other.mValue > mValue) return -1;
  return mValue == other.mValue ? 0 : 1;
}

ZtbString ZtbDate::asString(bool iso) const {
  int year, month, day, hour, minute, second;
  if (mIsNull || zts_decompose_date(mValue, &year, &month, &day, &hour, &minute, &second) == 0) {
    return ZtbString();
  }
  if (iso) return isoText(year, month, day, hour, minute, second);
  if (year < 1900) return asStringHard(year, month, day, hour, minute, second);
  return localeText(brokenDownTime(year, month, day, hour, minute, second));
}

// All in one buffer: a part that memory didn't reach for would be missing in the middle of a text.
ZtbString ZtbDate::asStringHard(int year, int month, int day, int hour, int minute,
                                int second) const {
  char sample[kLocaleTextBytes];
  LocaleText const put = putLocaleText(brokenDownTime(1989, 2, 3, 19, 5, 6), kDateAndTime, sample);
  if (put == LocaleText::kNoMemory) return ZtbString();
  char const* const format =
      put == LocaleText::kWritten ? formatForSample(ZtbString(sample, true)) : nullptr;
  if (format == nullptr) return isoText(year, month, day, hour, minute, second);
  char text[kTextBytes + kLocaleTextBytes];
  int const dateBytes = ztmsg13_util_printf(text, kTextBytes, format, month, day, year, "", "");
  std::tm timeOfDay{};
  timeOfDay.tm_hour = hour;
  timeOfDay.tm_min = minute;
  timeOfDay.tm_sec = second;
  bool const written = putLocaleText(timeOfDay, L"%X", text + dateBytes) == LocaleText::kWritten;
  return written ? ZtbString(text, false) : ZtbString();
}

double ZtbDate::asDouble() const {
  return mValue;
}

bool ZtbDate::isNull() const {
  return mIsNull;
}

void ZtbDate::setNull() {
  mIsNull = true;
}

int ZtbDate::getWeekDay() const {
  int year, month, day, hour, minute, second;
  if (mIsNull || zts_decompose_date(mValue, &year, &month, &day, &hour, &minute, &second) == 0) {
    return -1;
  }
  return weekDayOf(year, month, day);
}

ZtbDate ZtbDate::currentDate() {
  bool const gmt = useGmtTimeBase.load(std::memory_order_relaxed);
  return ZtbDate(gmt ? zts_gmtimetoday() : zts_timetoday());
}

bool ZtbDateLess::operator()(ZtbDate const& a, ZtbDate const& b) const {
  return a.compare(b) < 0;
}

bool operator<(ZtbDate const& a, ZtbDate const& b) {
  return a.compare(b) < 0;
}
