// SPDX-License-Identifier: MIT
//
// Numbers and dates from text, and dates from and to their elements.

#include "ztsstr12.h"

#include <sodium.h>

#include <cfloat>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ztbtest.h"

namespace {

// The reference for values is what the C library reads in its own locale.
TEST(ZtsNumparse, ReadsWholeTextsOrNothingUnderEveryLocale) {
  struct {
    int results[3];  // of the parsers of int, 64 bits and double
    std::vector<char const*> texts;
  } const rows[] = {
      {{1, 1, 1}, {"-0", "+7", " \t\n42\r\v\f ", "2147483647", "-2147483648"}},
      {{-1, 1, 1}, {"2147483648", "-2147483649", "9223372036854775807", "-9223372036854775808"}},
      {{-1, -1, 1}, {"9223372036854775808"}},
      {{0, 0, 1},
       {" +3.25 ", "-.5", "5.", "1e3", "12.5E-1", "0.0e-999", "1.7976931348623157e308",
        "4.9406564584124654e-324"}},
      {{0, 0, -1}, {"1e309", "-1e-400", "1e99999999999999999999"}},
      {{0, 0, 0}, {nullptr, "", " ", "-", ".", "+-1", "- 1", "1 2", "1 .5", "12abc"}},
      {{0, 0, 0}, {"1e", "e1", "1.2.3", "1,5", "1,000", "99999999999999999999x"}},
      {{0, 0, 0}, {"inf", "-infinity", "nan", "0x10", "0x1p3", "\u00a0 1", "\u0661"}}};
  for (auto const& [results, texts] : rows) {
    for (char const* text : texts) {
      SCOPED_TRACE(text == nullptr ? "null" : text);
      ztbtest::Locale const ofValue("C");
      long double const value = text == nullptr ? 0 : std::strtold(text, nullptr);
      for (char const* name : {"C", "de_DE.UTF-8"}) {
        ztbtest::Locale const locale(name);
        int small = -77;
        long long large = -77;
        double real = -77;
        EXPECT_EQ(results[0], zts_numparse(text, &small, 0, 0));
        EXPECT_EQ(results[1], zts_numparse64(text, &large, 0, 0));
        EXPECT_EQ(results[2], zts_numparsedbl(text, &real));
        EXPECT_EQ(results[0] > 0 ? value : -77, small);
        EXPECT_EQ(results[1] > 0 ? value : -77, large);
        EXPECT_EQ(results[2] > 0 ? static_cast<double>(value) : -77, real);
      }
    }
  }
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
  EXPECT_EQ(done == 0, value == -77);
  return value;
}

Moment decomposed(double value) {
  Moment m = kUntouched;
  zts_decompose_date_milli(value, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second,
                           &m.milli);
  return m;
}

TEST(ZtsComposeDate, CountsEveryDayAndComesBack) {
  using namespace std::chrono;
  double midnight = -62135596800.0;
  for (sys_days at = 1y / 1 / 1; at < sys_days(10000y / 1 / 1); at += days(1), midnight += 86400) {
    year_month_day const date(at);
    int const year = int(date.year()), month = int(unsigned(date.month())),
              day = int(unsigned(date.day()));
    Moment const moment{year, month, day, day % 24, month, 59, year % 1000};
    double const timeOfDay = moment.hour * 3600 + month * 60 + 59 + year % 1000 / 1000.0;
    ASSERT_DOUBLE_EQ(midnight + timeOfDay, composed(moment)) << moment;
    ASSERT_EQ(moment, decomposed(composed(moment)));
    if ((date.year() / month / (day + 1)).ok()) continue;
    ASSERT_EQ(-77, composed({year, month, day + 1, 0, 0, 0, 0}));
  }
}

TEST(ZtsComposeDate, RefusesElementsOutOfRange) {
  // Behind the good moment, each element below and above its range.
  Moment const good{2001, 1, 1, 0, 0, 0, 0};
  EXPECT_NE(-77, composed(good));
  int Moment::*const elements[] = {&Moment::year,   &Moment::month,  &Moment::day,  &Moment::hour,
                                   &Moment::minute, &Moment::second, &Moment::milli};
  int const limits[][2] = {{0, 10000}, {0, 13}, {0, 32}, {-1, 24}, {-1, 60}, {-1, 60}, {-1, 1000}};
  for (std::size_t i = 0; i < std::size(elements); ++i) {
    for (int const value : {limits[i][0], limits[i][1], INT_MIN, INT_MAX}) {
      Moment bad = good;
      bad.*elements[i] = value;
      EXPECT_EQ(-77, composed(bad)) << bad;
    }
  }
}

TEST(ZtsDecomposeDate, RoundsToTheNearestMillisecondWithCarries) {
  struct {
    double value;
    Moment moment;
  } const rows[] = {{-0.001, {1969, 12, 31, 23, 59, 59, 999}},
                    {-0.0004, {1970, 1, 1}},
                    {0.0004, {1970, 1, 1}},
                    {0.0006, {1970, 1, 1, 0, 0, 0, 1}},
                    {0.9996, {1970, 1, 1, 0, 0, 1, 0}},
                    {946684799.9996, {2000, 1, 1}},
                    {951782399.9996, {2000, 2, 29}},
                    {-62135596800.0004, {1, 1, 1}},
                    {253402300799.999, {9999, 12, 31, 23, 59, 59, 999}}};
  for (auto const& row : rows) EXPECT_EQ(row.moment, decomposed(row.value)) << row.moment;
  double const infinity = std::numeric_limits<double>::infinity();
  for (double value : {std::nan(""), infinity, -infinity, DBL_MAX, -DBL_MAX, -62135596800.001,
                       253402300799.9996, 253402300800.0}) {
    EXPECT_EQ(kUntouched, decomposed(value)) << value;
  }
  Moment m;
  EXPECT_NE(0,
            zts_decompose_date(59.9996, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second));
  EXPECT_EQ((Moment{1970, 1, 1, 0, 1, 0, 0}), m);
}

// The elements of a text, or those of kUntouched if it is refused.
Moment scanned(std::string_view text, ZtsDateFormat format) {
  Moment m = kUntouched;
  // A buffer of exactly the text's size lets the sanitizer see the first byte too far.
  std::vector<char> exact(text.begin(), text.end());
  exact.push_back('\0');
  int const refused = zts_string_to_date(exact.data(), &m.year, &m.month, &m.day, &m.hour,
                                         &m.minute, &m.second, format);
  EXPECT_EQ(refused == 0, m.year != -1);
  m.milli = refused != 0 ? -1 : 0;
  return m;
}

constexpr ZtsDateFormat kFormats[] = {zts_date_locale, zts_date_dmy, zts_date_ymd, zts_date_mdy};

TEST(ZtsStringToDate, ReadsTextsThatDontDependOnTheOrder) {
  struct {
    Moment moment;
    std::vector<std::string_view> texts;
  } const rows[] = {
      {{1989, 2, 3, 19, 5, 6},
       {"1989-02-03 19:05:06", "1989-02-03T19:05:06", "1989-02-03t19:05:06.999999999999",
        "1989-02-03 19:05:06,5", " \t1989/2/3   19:05:06\r\n", "1989.02.03 7:05:06 PM",
        "1989-02-03, 07:05:06pm", "1989-Feb-03 19:05:06"}},
      {{1989, 2, 3},
       {"1989-02-03", "1989-02-03 00:00", "3 Feb 1989", "3-FEB-89", "03/february/1989",
        "3. Feb 1989", "Feb 3, 1989", "February 3 1989", "feb. 3,1989", "1989 Feb 3"}},
      {{2068, 5, 1}, {"1 May 2068", "1 may 68"}},
      {{1969, 9, 1}, {"1 sep 69", "1 September 1969"}},
      {{1, 1, 1}, {"0001-01-01"}},
      {{9999, 12, 31, 23, 59, 59}, {"9999-12-31 23:59:59"}},
      {{2000, 2, 29}, {"2000-02-29"}},
      {{1970, 1, 1, 19, 5, 0}, {"19:05", "7:05 pm", "19:05:00"}},
      {{1970, 1, 1}, {"12:00 AM", "0:00"}},
      {{1970, 1, 1, 12}, {"12:00 PM"}}};
  for (auto const& row : rows) {
    for (std::string_view const text : row.texts) {
      for (ZtsDateFormat format : kFormats) EXPECT_EQ(row.moment, scanned(text, format)) << text;
      for (std::size_t i = 0; i < text.size(); ++i) scanned(text.substr(0, i), zts_date_dmy);
    }
  }
}

TEST(ZtsStringToDate, ReadsNumericTextsInTheOrderOfTheFormat) {
  struct {
    char const* text;
    Moment dmy, mdy, ymd;
  } const rows[] = {
      {"03/02/1989", {1989, 2, 3}, {1989, 3, 2}, kUntouched},
      {"3-2-89", {1989, 2, 3}, {1989, 3, 2}, kUntouched},
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

TEST(ZtsStringToDate, RefusesEverythingElse) {
  struct {
    char const* reason;
    std::vector<char const*> texts;
  } const rows[] = {
      {"no text", {"", "  "}},
      {"a number", {"1989", "19890203", "1989 02 03", "1989.02", "1.5e-3", "1e-02-03"}},
      {"a sign", {"+1989-02-03", "-1989-02-03", "3 Feb -1989"}},
      {"no day", {"1989-02", "Feb 1989", "Feb 1989 3"}},
      {"something behind it",
       {"1989-02-03-", "1989-02-03 x", "1989-02-03 19:05:06 x", "1989-02-03,", "7:05 PMs",
        "7:05 p"}},
      {"a zone", {"1989-02-03 19:05:06Z", "1989-02-03 19:05:06+01:00"}},
      {"half a time",
       {"1989-02-03 19", "1989-02-03 19:05.5", "1989-02-03 19:05:06.", "1989-02-03 19:5:06",
        "1989-02-03 19:05:6", "1989-02-03 19:05:060", "1989-02-03T"}},
      {"wrong join", {"1989-02-0319:05:06", "T19:05:06", "1989-02-03T 19:05"}},
      {"no such time", {"24:00:00", "23:59:60", "13:00 PM", "0:30 AM"}},
      {"no such day", {"1900-02-29", "2001-00-01", "2001-13-01", "2001-04-31", "0000-01-01"}},
      {"too few or many digits", {"10000-01-01", "189-01-01", "1989-02-003"}},
      {"separators", {"1989-02/03", "1989--02-03", "1989 - 02 - 03", "3Feb1989"}},
      {"month's name", {"3 Fe 1989", "3 Febr 1989", "3 F\xc3\xa9v 1989"}},
      {"other writing", {"1989年02月03日", "\xd9\xa1\xd9\xa9\xd9\xa8\xd9\xa9-02-03"}},
  };
  Moment m = kUntouched;
  EXPECT_NE(0, zts_string_to_date(nullptr, &m.year, &m.month, &m.day, &m.hour, &m.minute, &m.second,
                                  zts_date_locale));
  EXPECT_EQ(kUntouched, m);
  for (auto const& row : rows) {
    for (char const* text : row.texts) {
      for (ZtsDateFormat format : kFormats) {
        EXPECT_EQ(kUntouched, scanned(text, format)) << text << ": " << row.reason;
      }
    }
  }
}

TEST(ZtsGetDateFormat, FollowsTheProcessLocale) {
  struct {
    char const* locale;
    ZtsDateFormat format;
    char const* text;
  } const rows[] = {{"C", zts_date_mdy, "02/03/89"},
                    {"en_US.UTF-8", zts_date_mdy, "2/3/1989"},
                    {"en_GB.UTF-8", zts_date_dmy, "03/02/89"},
                    {"de_DE.UTF-8", zts_date_dmy, "3.2.1989"},
                    {"ja_JP.UTF-8", zts_date_ymd, "89-02-03"}};
  for (auto const& row : rows) {
    ztbtest::Locale const locale(row.locale);
    EXPECT_EQ(row.format, zts_get_date_format()) << row.locale;
    EXPECT_EQ((Moment{1989, 2, 3}), scanned(row.text, zts_date_locale)) << row.locale;
  }
}

TEST(ZtsTimetoday, FollowsTheZoneSetting) {
  std::pair<char const*, long> const rows[] = {
      {"UTC0", 0}, {"IST-5:30", 330}, {"<-01>1", -60}, {"STD0DST-1,0/0,365/25", 60}};
  for (auto const& [zone, minutesAhead] : rows) {
    ztbtest::Variable const variable("TZ", zone);
    EXPECT_EQ(minutesAhead, std::lround((zts_timetoday() - zts_gmtimetoday()) / 60)) << zone;
  }
  EXPECT_NEAR(static_cast<double>(std::time(nullptr)), zts_gmtimetoday(), 2);
}

std::string base64(std::string const& bytes) {
  int const length = zts_b64_encode(nullptr, static_cast<int>(bytes.size()), nullptr, 0);
  std::string text(static_cast<std::size_t>(length) + 1, '#');
  std::vector<char> const exact(bytes.begin(), bytes.end());  // a byte too far is seen by ASan
  int const size = static_cast<int>(bytes.size());
  EXPECT_EQ(-1, zts_b64_encode(exact.data(), size, text.data(), length));
  EXPECT_EQ('#', text[0]) << "left alone";
  EXPECT_EQ(length, zts_b64_encode(exact.data(), size, text.data(), length + 1));
  EXPECT_EQ('\0', text.back());
  text.pop_back();
  return text;
}

// All lengths around the steps of the loops, over all pairs of bytes.
TEST(ZtsBase64, WritesWhatAnotherImplementationDoes) {
  constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;
  std::string bytes;
  for (unsigned i = 0; i < 12288; ++i) bytes += static_cast<char>(i * 167 + (i >> 8));
  for (std::size_t const length : {0, 1, 2, 3, 5, 6, 7, 8, 9, 13, 14, 57, 58, 12286, 12288}) {
    std::string expected(sodium_base64_encoded_len(length, kVariant), '#');
    sodium_bin2base64(expected.data(), expected.size(),
                      reinterpret_cast<unsigned char const*>(bytes.data()), length, kVariant);
    EXPECT_EQ(expected.c_str(), base64(bytes.substr(0, length))) << length;
  }
}

TEST(ZtsBase64, RefusesWhatItCantHold) {
  char target[8] = "x";
  EXPECT_EQ(-1, zts_b64_encode("a", -1, target, 8));
  EXPECT_EQ(-1, zts_b64_encode(nullptr, 1, target, 8));
  EXPECT_EQ(-1, zts_b64_encode("a", 1, target, -5));
  EXPECT_EQ(2147483644, zts_b64_encode(nullptr, 1610612733, nullptr, 0));
  EXPECT_EQ(-1, zts_b64_encode(nullptr, 1610612734, nullptr, 0));
  EXPECT_EQ(-1, zts_b64_encode(nullptr, INT_MAX, nullptr, 0));
  EXPECT_STREQ("x", target);
  EXPECT_EQ(0, zts_b64_encode(nullptr, 0, target, 1));
  EXPECT_STREQ("", target);
}

}  // namespace
