// SPDX-License-Identifier: MIT
//
// Numbers and dates from text, and dates from and to their elements.

#include "ztsstr12.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <limits>
#include <memory>
#include <string>

namespace {

struct NumberRow {
  char const* text;
  int result;
  long long value;
};

NumberRow const kIntegers[] = {
    {"0", 1, 0},
    {"-0", 1, 0},
    {"+7", 1, 7},
    {" \t\n42\r\v\f ", 1, 42},
    {"2147483647", 1, INT_MAX},
    {"-2147483648", 1, INT_MIN},
    {"4294967296", 1, 4294967296},
    {"9223372036854775807", 1, LLONG_MAX},
    {"-9223372036854775808", 1, LLONG_MIN},
    {"9223372036854775808", -1, 0},
    {"-9223372036854775809", -1, 0},
    {"99999999999999999999999999999999x", 0, 0},
    {"", 0, 0},
    {"-", 0, 0},
    {"+-1", 0, 0},
    {"- 1", 0, 0},
    {"1 2", 0, 0},
    {"1.0", 0, 0},
    {"1e3", 0, 0},
    {"0x10", 0, 0},
    {"12abc", 0, 0},
    {"1,000", 0, 0},
    {"\xc2\xa0 1", 0, 0},
    {"\xd9\xa1", 0, 0},
};

TEST(ZtsNumparse64, readsWholeTextsOrNothing) {
  for (NumberRow const& row : kIntegers) {
    SCOPED_TRACE(row.text);
    long long value = -77;
    EXPECT_EQ(row.result, zts_numparse64(row.text, &value, 0, 0));
    EXPECT_EQ(row.result > 0 ? row.value : -77, value);
  }
}

TEST(ZtsNumparse, agreesWith64BitsWithinItsRange) {
  for (NumberRow const& row : kIntegers) {
    SCOPED_TRACE(row.text);
    bool const fits = row.value >= INT_MIN && row.value <= INT_MAX;
    int value = -77;
    EXPECT_EQ(fits ? row.result : -1, zts_numparse(row.text, &value, 0, 0));
    EXPECT_EQ(row.result > 0 && fits ? row.value : -77, value);
  }
}

TEST(ZtsNumparse, nullTextIsNoNumber) {
  int small = -77;
  long long large = -77;
  double real = -77;
  EXPECT_EQ(0, zts_numparse(nullptr, &small, 0, 0));
  EXPECT_EQ(0, zts_numparse64(nullptr, &large, 0, 0));
  EXPECT_EQ(0, zts_numparsedbl(nullptr, &real));
  EXPECT_TRUE(small == -77 && large == -77 && real == -77);
}

struct RealRow {
  char const* text;
  int result;
  double value;
};

RealRow const kReals[] = {
    {"0", 1, 0},
    {" +3.25 ", 1, 3.25},
    {"-.5", 1, -.5},
    {"5.", 1, 5},
    {"1e3", 1, 1000},
    {"12.5e-1", 1, 1.25},
    {"1.7976931348623157e308", 1, DBL_MAX},
    {"4.9406564584124654e-324", 1, DBL_TRUE_MIN},
    {"0.0e-999", 1, 0},
    {"1e309", -1, 0},
    {"1e-400", -1, 0},
    {"1e99999999999999999999", -1, 0},
    {"", 0, 0},
    {".", 0, 0},
    {"+-1", 0, 0},
    {"1e", 0, 0},
    {"1.2.3", 0, 0},
    {"1,5", 0, 0},
    {"1 .5", 0, 0},
    {"inf", 0, 0},
    {"-infinity", 0, 0},
    {"nan", 0, 0},
    {"0x1p3", 0, 0},
};

TEST(ZtsNumparsedbl, readsWholeTextsOrNothing) {
  for (RealRow const& row : kReals) {
    SCOPED_TRACE(row.text);
    double value = -77;
    EXPECT_EQ(row.result, zts_numparsedbl(row.text, &value));
    EXPECT_EQ(row.result > 0 ? row.value : -77, value);
  }
}

TEST(ZtsNumparsedbl, takesThePointUnderACommaLocale) {
  std::string const before = std::setlocale(LC_ALL, nullptr);
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no locale de_DE.UTF-8";
  double value = 0;
  EXPECT_EQ(1, zts_numparsedbl("1.5", &value));
  EXPECT_EQ(0, zts_numparsedbl("1,5", &value));
  EXPECT_EQ(1.5, value);
  std::setlocale(LC_ALL, before.c_str());
}

// The rule of the calendar, written anew so that the days are counted independently.
int daysOf(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool const leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

struct Moment {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, milli = 0;
  bool operator==(Moment const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Moment const& m) {
  return out << m.year << '-' << m.month << '-' << m.day << ' ' << m.hour << ':' << m.minute << ':'
             << m.second << '.' << m.milli;
}

constexpr Moment kUntouched{-1, -1, -1, -1, -1, -1, -1};

double composed(Moment const& m) {
  double value = -77;
  int const done =
      zts_compose_date_milli(m.year, m.month, m.day, m.hour, m.minute, m.second, m.milli, &value);
  return done != 0 ? value : -77;
}

Moment decomposed(double value) {
  Moment m = kUntouched;
  zts_decompose_date_milli(value, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second,
                           &m.milli);
  return m;
}

TEST(ZtsComposeDate, countsEveryDayAndComesBack) {
  double expected = -62135596800.0;
  for (int year = 1; year <= 9999; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= daysOf(year, month); ++day, expected += 86400) {
        Moment const moment{year, month, day, day % 24, month, 59, year % 1000};
        double const value = composed(moment);
        double const timeOfDay = moment.hour * 3600 + month * 60 + 59 + year % 1000 / 1000.0;
        ASSERT_DOUBLE_EQ(expected + timeOfDay, value) << moment;
        ASSERT_EQ(moment, decomposed(value));
      }
      ASSERT_EQ(-77, composed({year, month, daysOf(year, month) + 1, 0, 0, 0, 0}));
    }
  }
  EXPECT_EQ(253402300800.0, expected);
}

TEST(ZtsComposeDate, refusesElementsThatMakeNoDate) {
  Moment const rows[] = {
      {0, 1, 1, 0, 0, 0, 0},
      {10000, 1, 1, 0, 0, 0, 0},
      {-1, 1, 1, 0, 0, 0, 0},
      {2001, 0, 1, 0, 0, 0, 0},
      {2001, 13, 1, 0, 0, 0, 0},
      {2001, 1, 0, 0, 0, 0, 0},
      {2001, 2, 30, 0, 0, 0, 0},
      {1900, 2, 29, 0, 0, 0, 0},
      {2001, 1, 1, 24, 0, 0, 0},
      {2001, 1, 1, -1, 0, 0, 0},
      {2001, 1, 1, 0, 60, 0, 0},
      {2001, 1, 1, 0, -1, 0, 0},
      {2016, 12, 31, 23, 59, 60},
      {2001, 1, 1, 0, 0, -1, 0},
      {2001, 1, 1, 0, 0, 0, 1000},
      {2001, 1, 1, 0, 0, 0, -1},
      {INT_MAX, INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, INT_MIN},
  };
  for (Moment const& row : rows) EXPECT_EQ(-77, composed(row)) << row;
}

TEST(ZtsDecomposeDate, roundsToTheNearestMillisecondWithCarries) {
  struct {
    double value;
    Moment moment;
  } const rows[] = {
      {0.0, {1970, 1, 1, 0, 0, 0, 0}},
      {-0.001, {1969, 12, 31, 23, 59, 59, 999}},
      {-0.0004, {1970, 1, 1, 0, 0, 0, 0}},
      {0.0004, {1970, 1, 1, 0, 0, 0, 0}},
      {0.0006, {1970, 1, 1, 0, 0, 0, 1}},
      {0.9994, {1970, 1, 1, 0, 0, 0, 999}},
      {0.9996, {1970, 1, 1, 0, 0, 1, 0}},
      {86399.9996, {1970, 1, 2, 0, 0, 0, 0}},
      {946684799.9996, {2000, 1, 1, 0, 0, 0, 0}},
      {951782399.9996, {2000, 2, 29, 0, 0, 0, 0}},
      {-62135596800.0, {1, 1, 1, 0, 0, 0, 0}},
      {-62135596800.0004, {1, 1, 1, 0, 0, 0, 0}},
      {253402300799.999, {9999, 12, 31, 23, 59, 59, 999}},
  };
  for (auto const& row : rows) EXPECT_EQ(row.moment, decomposed(row.value)) << row.moment;
}

TEST(ZtsDecomposeDate, refusesWhatIsNoMomentAndLeavesOutputsAlone) {
  double const infinity = std::numeric_limits<double>::infinity();
  double const rows[] = {std::nan(""), infinity,         -infinity,         DBL_MAX,
                         -DBL_MAX,     -62135596800.001, 253402300799.9996, 253402300800.0};
  for (double row : rows) EXPECT_EQ(kUntouched, decomposed(row)) << row;
}

TEST(ZtsDecomposeDate, leavesMillisecondsOutAfterRounding) {
  Moment m = kUntouched;
  EXPECT_NE(0, zts_decompose_date(0.999, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second));
  EXPECT_EQ(0, m.second);
  EXPECT_NE(0,
            zts_decompose_date(0.9996, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second));
  EXPECT_EQ(1, m.second);
}

// The elements of a text, or those of kUntouched if it is refused.
Moment scanned(char const* text, ZtsDateFormat format) {
  Moment m = kUntouched;
  int const refused =
      zts_string_to_date(text, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second, format);
  EXPECT_EQ(refused == 0, m.year != -1);
  m.milli = refused != 0 ? -1 : 0;
  return m;
}

struct TextRow {
  char const* text;
  Moment moment;
};

TEST(ZtsStringToDate, readsTextsThatDontDependOnTheOrder) {
  Moment const evening{1989, 2, 3, 19, 5, 6, 0};
  Moment const day{1989, 2, 3, 0, 0, 0, 0};
  TextRow const rows[] = {
      {"1989-02-03 19:05:06", evening},
      {"1989-02-03T19:05:06", evening},
      {"1989-02-03t19:05:06.999999999999", evening},
      {"1989-02-03 19:05:06,5", evening},
      {" \t1989/2/3   19:05:06\r\n", evening},
      {"1989.02.03 7:05:06 PM", evening},
      {"1989-02-03, 07:05:06pm", evening},
      {"1989-02-03 19:05", {1989, 2, 3, 19, 5, 0, 0}},
      {"1989-02-03", day},
      {"3 Feb 1989", day},
      {"3-FEB-89", day},
      {"03/february/1989", day},
      {"3. Feb 1989", day},
      {"Feb 3, 1989", day},
      {"February 3 1989", day},
      {"feb. 3,1989", day},
      {"1989 Feb 3", day},
      {"1989-Feb-03 19:05:06", evening},
      {"1 May 2068", {2068, 5, 1, 0, 0, 0, 0}},
      {"1 sep 68", {2068, 9, 1, 0, 0, 0, 0}},
      {"1 September 69", {1969, 9, 1, 0, 0, 0, 0}},
      {"0001-01-01", {1, 1, 1, 0, 0, 0, 0}},
      {"9999-12-31 23:59:59", {9999, 12, 31, 23, 59, 59, 0}},
      {"2000-02-29", {2000, 2, 29, 0, 0, 0, 0}},
      {"19:05:06", {1970, 1, 1, 19, 5, 6, 0}},
      {"7:05 pm", {1970, 1, 1, 19, 5, 0, 0}},
      {"12:00 AM", {1970, 1, 1, 0, 0, 0, 0}},
      {"12:00 PM", {1970, 1, 1, 12, 0, 0, 0}},
  };
  for (TextRow const& row : rows) {
    for (ZtsDateFormat format : {zts_date_locale, zts_date_dmy, zts_date_ymd, zts_date_mdy}) {
      EXPECT_EQ(row.moment, scanned(row.text, format)) << row.text;
    }
  }
}

TEST(ZtsStringToDate, readsNumericTextsInTheOrderOfTheFormat) {
  struct {
    char const* text;
    Moment dmy, mdy, ymd;
  } const rows[] = {
      {"03/02/1989", {1989, 2, 3}, {1989, 3, 2}, kUntouched},
      {"3-2-89", {1989, 2, 3}, {1989, 3, 2}, kUntouched},
      {"03.02.89", {1989, 2, 3}, {1989, 3, 2}, kUntouched},
      {"31.12.69", {1969, 12, 31}, kUntouched, kUntouched},
      {"12/31/0068", kUntouched, {68, 12, 31}, kUntouched},
      {"68-12-31", kUntouched, kUntouched, {2068, 12, 31}},
      {"10.11.12 1:02", {2012, 11, 10, 1, 2}, {2012, 10, 11, 1, 2}, {2010, 11, 12, 1, 2}},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.dmy, scanned(row.text, zts_date_dmy));
    EXPECT_EQ(row.mdy, scanned(row.text, zts_date_mdy));

    EXPECT_EQ(row.ymd, scanned(row.text, zts_date_ymd));
    EXPECT_EQ(kUntouched, scanned(row.text, 4));
  }
}

TEST(ZtsStringToDate, refusesEverythingElse) {
  struct {
    char const* text;
    char const* reason;
  } const rows[] = {
      {nullptr, "null pointer"},
      {"", "empty"},
      {"  ", "blanks only"},
      {"1989", "a number"},
      {"19890203", "a number"},
      {"1989 02 03", "a number with blanks inside"},
      {"+1989-02-03", "a sign"},
      {"-1989-02-03", "a sign"},
      {"1989.02", "a real"},
      {"1.5e-3", "a number with an exponent"},
      {"1e-02-03", "an exponent letter"},
      {"1989-02", "no day"},
      {"Feb 1989", "no day"},
      {"1989-02-03-", "trailing mark"},
      {"1989-02-03 x", "trailing letter"},
      {"1989-02-03 19:05:06 x", "trailing letter"},
      {"1989-02-03,", "trailing comma"},
      {"1989-02-03 19", "an hour alone"},
      {"1989-02-03 19:05:06Z", "a zone"},
      {"1989-02-03 19:05:06+01:00", "a zone"},
      {"1989-02-03 19:05.5", "a fraction of a minute"},
      {"1989-02-03 19:05:06.", "a point without fraction"},
      {"1989-02-03 19:5:06", "one digit of minutes"},
      {"1989-02-03 19:05:6", "one digit of seconds"},
      {"1989-02-03 19:05:060", "three digits of seconds"},
      {"1989-02-0319:05:06", "nothing between date and time"},
      {"T19:05:06", "no date before the T"},
      {"1989-02-03T", "no time behind the T"},
      {"1989-02-03T 19:05", "a blank behind the T"},
      {"24:00:00", "no such hour"},
      {"23:59:60", "no such second"},
      {"13:00 PM", "no such hour of a half day"},
      {"0:30 AM", "no such hour of a half day"},
      {"7:05 p", "half of PM"},
      {"7:05 PMs", "trailing letter"},
      {"1900-02-29", "no leap year"},
      {"2001-00-01", "no such month"},
      {"2001-13-01", "no such month"},
      {"2001-04-31", "no such day"},
      {"0000-01-01", "no such year"},
      {"10000-01-01", "no such year"},
      {"189-01-01", "three digits of year"},
      {"1989-02-003", "three digits of day"},
      {"1989-02/03", "two separators"},
      {"1989--02-03", "a separator twice"},
      {"1989 - 02 - 03", "blanks around separators"},
      {"3 Fe 1989", "two letters of a month"},
      {"3 Febr 1989", "four letters of a month"},
      {"3 F\xc3\xa9v 1989", "a month that isn't English"},
      {"3Feb1989", "nothing around the month"},
      {"3 Feb -1989", "a sign"},
      {"Feb 1989 3", "no such order"},
      {"1989\xe5\xb9\xb4"
       "02\xe6\x9c\x88"
       "03\xe6\x97\xa5",
       "other writing"},
      {"\xd9\xa1\xd9\xa9\xd9\xa8\xd9\xa9-02-03", "other digits"},
  };
  for (auto const& row : rows) {
    for (ZtsDateFormat format : {zts_date_dmy, zts_date_ymd, zts_date_mdy}) {
      EXPECT_EQ(kUntouched, scanned(row.text, format))
          << (row.text == nullptr ? "null" : row.text) << ": " << row.reason;
    }
  }
}

TEST(ZtsStringToDate, readsNothingBehindTheEnd) {
  std::string const whole = " 3 February 1989, 07:05:06.75 PM ";
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    // A buffer of exactly the text's size lets the sanitizer see the first byte too far.
    std::unique_ptr<char[]> const cut(new char[size + 1]);
    whole.copy(cut.get(), size);
    cut[size] = '\0';
    scanned(cut.get(), zts_date_dmy);
  }
}

TEST(ZtsGetDateFormat, followsTheProcessLocale) {
  struct {
    char const* locale;
    ZtsDateFormat format;
    char const* text;
  } const rows[] = {
      {"C", zts_date_mdy, "02/03/89"},           {"en_US.UTF-8", zts_date_mdy, "2/3/1989"},
      {"en_GB.UTF-8", zts_date_dmy, "03/02/89"}, {"de_DE.UTF-8", zts_date_dmy, "3.2.1989"},
      {"ja_JP.UTF-8", zts_date_ymd, "89-02-03"},
  };
  std::string const before = std::setlocale(LC_ALL, nullptr);
  for (auto const& row : rows) {
    if (std::setlocale(LC_ALL, row.locale) == nullptr) {
      std::cout << "skipped: no locale " << row.locale << "\n";
      continue;
    }
    EXPECT_EQ(row.format, zts_get_date_format()) << row.locale;
    EXPECT_EQ((Moment{1989, 2, 3}), scanned(row.text, zts_date_locale)) << row.locale;
  }
  std::setlocale(LC_ALL, before.c_str());
}

// The whole minutes by which local time is ahead of GMT when TZ has this value.
long minutesAhead(char const* zone) {
  setenv("TZ", zone, 1);
  return std::lround((zts_timetoday() - zts_gmtimetoday()) / 60);
}

TEST(ZtsTimetoday, followsTheZoneSetting) {
  char const* const before = std::getenv("TZ");
  std::string const zone = before != nullptr ? before : "";
  EXPECT_EQ(0, minutesAhead("UTC0"));
  EXPECT_EQ(330, minutesAhead("IST-5:30"));
  EXPECT_EQ(-1 * 60, minutesAhead("<-01>1"));
  EXPECT_EQ(60, minutesAhead("STD0DST-1,0/0,365/25"));
  long const newYork = minutesAhead("America/New_York");
  EXPECT_TRUE(newYork == -300 || newYork == -240) << newYork;
  before != nullptr ? setenv("TZ", zone.c_str(), 1) : unsetenv("TZ");
  EXPECT_NEAR(static_cast<double>(std::time(nullptr)), zts_gmtimetoday(), 2);
}

}  // namespace
