// SPDX-License-Identifier: MIT
//
// Dates: the null state, order, texts under several locales, and the present moment.

#include "ztbdate.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <limits>
#include <set>
#include <string>
#include <type_traits>

#include "ztbtest.h"

namespace {

static_assert(std::is_trivially_copyable_v<ZtbDate> && sizeof(ZtbDate) == 16);
static_assert(std::is_convertible_v<char const*, ZtbDate>);
static_assert(std::is_convertible_v<int, ZtbDate>);

class ZtbDateTest : public ztbtest::LibraryTest {
 protected:
  void TearDown() override {
    std::setlocale(LC_ALL, mLocale.c_str());
    LibraryTest::TearDown();
  }
  // False, with a line in the log, for a locale that this machine doesn't have.
  static bool enterLocale(char const* name) {
    if (std::setlocale(LC_ALL, name) != nullptr) return true;
    std::cout << "skipped: no locale " << name << "\n";
    return false;
  }

 private:
  std::string const mLocale = std::setlocale(LC_ALL, nullptr);
};

std::string iso(ZtbDate const& date) {
  ZtbString const text = date.asString(true);
  return text.isNull() ? "null" : text.asCstr();
}

ZtbDate const kNoDates[] = {
    ZtbDate(),
    ZtbDate(nullptr),
    ZtbDate(""),
    ZtbDate("12"),
    ZtbDate("1 2 2003"),
    ZtbDate("-1.5e3"),
    ZtbDate(2001, 2, 30, 0, 0, 0),
    ZtbDate(0, 0, 0, 0, 0, 0),
    ZtbDate(10000, 1, 1, 0, 0, 0),
    ZtbDate(std::nan("")),
    ZtbDate(std::numeric_limits<double>::infinity()),
    ZtbDate(1e300),
};

TEST_F(ZtbDateTest, NullDateGivesZerosAndNullTexts) {
  for (ZtbDate date : kNoDates) {
    EXPECT_TRUE(date.isNull());
    EXPECT_EQ(0.0, date.asDouble());
    EXPECT_TRUE(date.asString(true).isNull());
    EXPECT_TRUE(date.asString(false).isNull());
    EXPECT_EQ(-1, date.getWeekDay());
    int elements[6] = {7, 7, 7, 7, 7, 7};
    date.getElements(&elements[0], nullptr, &elements[2], &elements[3], &elements[4], nullptr);
    for (int i : {0, 2, 3, 4}) EXPECT_EQ(0, elements[i]);
    EXPECT_EQ(7, elements[1]);
  }
}

TEST_F(ZtbDateTest, FailedAssignMakesNullAndKeepsTheNumber) {
  ZtbDate const held(1989, 2, 3, 19, 5, 6);
  ZtbDate byText = held, byElements = held, byNumber = held, bySetNull = held;
  byText.assign("2001-02-30");
  byElements.assign(2001, 2, 30, 0, 0, 0);
  byNumber.assign(std::nan(""));
  bySetNull.setNull();
  for (ZtbDate const& date : {byText, byElements, byNumber, bySetNull}) {
    EXPECT_TRUE(date.isNull());
    EXPECT_EQ(held.asDouble(), date.asDouble());
  }
}

TEST_F(ZtbDateTest, NullSortsFirstAndMillisecondsCount) {
  ZtbDate const rows[] = {ZtbDate(), "0001-01-01", "1969-12-31 23:59:59", 0.0,
                          0.001,     0.002,        "9999-12-31 23:59:59"};
  int const count = static_cast<int>(std::size(rows));
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) {
      EXPECT_EQ((i > j) - (i < j), rows[i].compare(rows[j])) << i << " and " << j;
      EXPECT_EQ(i < j, rows[i] < rows[j] && ZtbDateLess()(rows[i], rows[j]));
    }
  }
  ZtbDate wasMoment = rows[6];
  wasMoment.setNull();
  EXPECT_EQ(0, wasMoment.compare(ZtbDate()));
}

TEST_F(ZtbDateTest, NumbersAreSecondsRoundedToMilliseconds) {
  EXPECT_EQ(602535906.0, ZtbDate(1989, 2, 3, 19, 5, 6).asDouble());
  EXPECT_EQ(602535906.123, ZtbDate(602535906.1234).asDouble());
  EXPECT_EQ(602535906.124, ZtbDate(602535906.1236).asDouble());
  EXPECT_EQ("2000-01-01 00:00:00", iso(946684799.9996));
  EXPECT_EQ(-0.001, ZtbDate(-0.001).asDouble());
}

TEST_F(ZtbDateTest, IsoTextsHaveFourDigitYearsAndReadBack) {
  char const* const rows[] = {"0001-01-01 00:00:00", "0099-12-31 23:59:59", "0850-03-01 12:00:00",
                              "1899-12-31 23:59:59", "1989-02-03 19:05:06", "9999-12-31 23:59:59"};
  for (char const* locale : {"C", "de_DE.UTF-8", "ja_JP.UTF-8"}) {
    if (!enterLocale(locale)) continue;
    for (char const* row : rows) EXPECT_EQ(row, iso(row)) << locale;
  }
}

TEST_F(ZtbDateTest, NumericTextsFollowTheLocale) {
  char const* const rows[][2] = {{"C", "1989-03-02 00:00:00"},
                                 {"en_GB.UTF-8", "1989-02-03 00:00:00"}};
  for (auto const& [locale, text] : rows) {
    if (!enterLocale(locale)) continue;
    EXPECT_EQ(text, iso("03/02/89")) << locale;
  }
}

TEST_F(ZtbDateTest, LocaleTextsKeepTheLocalesFormBefore1900) {
  struct {
    char const* locale;
    char const* date;
    char const* text;
  } const rows[] = {
      {"C", "1989-02-03 19:05:06", "02/03/89 19:05:06"},
      {"C", "1850-02-03 12:00:00", "02/03/1850 12:00:00"},
      {"en_GB.UTF-8", "1989-02-03 19:05:06", "03/02/89 19:05:06"},
      {"en_GB.UTF-8", "1900-01-01 00:00:00", "01/01/00 00:00:00"},
      {"en_GB.UTF-8", "1899-12-31 23:59:59", "31/12/1899 23:59:59"},
      {"en_GB.UTF-8", "1850-02-03 12:00:00", "03/02/1850 12:00:00"},
      {"en_GB.UTF-8", "0099-02-03 12:00:00", "03/02/0099 12:00:00"},
      {"de_DE.UTF-8", "1989-02-03 19:05:06", "03.02.1989 19:05:06"},
      {"de_DE.UTF-8", "0850-02-03 12:00:00", "03.02.0850 12:00:00"},
      {"de_DE.ISO-8859-1", "1850-02-03 12:00:00", "03.02.1850 12:00:00"},
      {"en_US.UTF-8", "1989-02-03 19:05:06", "02/03/1989 07:05:06 PM"},
      {"en_US.UTF-8", "1850-02-03 12:00:00", "1850-02-03 12:00:00"},
      {"ja_JP.UTF-8", "1989-02-03 19:05:06", "1989年02月03日 19時05分06秒"},
      {"ja_JP.UTF-8", "0850-02-03 12:00:00", "0850-02-03 12:00:00"},
  };
  for (auto const& row : rows) {
    if (!enterLocale(row.locale)) continue;
    EXPECT_STREQ(row.text, ZtbDate(row.date).asString(false).asCstr()) << row.locale;
  }
}

TEST_F(ZtbDateTest, WeekDaysAreThoseOfTheCalendar) {
  struct {
    char const* date;
    int weekDay;
  } const rows[] = {{"0001-01-01", 1}, {"1582-10-15", 5}, {"1752-09-03", 0},
                    {"1900-02-28", 3}, {"1970-01-01", 4}, {"1989-02-03", 5},
                    {"2000-02-29", 2}, {"2024-06-01", 6}, {"9999-12-31 23:59:59", 5}};
  for (auto const& row : rows) EXPECT_EQ(row.weekDay, ZtbDate(row.date).getWeekDay()) << row.date;
}

TEST_F(ZtbDateTest, CurrentDateIsLocalTimeToTheMillisecond) {
  char const* const before = std::getenv("TZ");
  std::string const zone = before != nullptr ? before : "";
  setenv("TZ", "ABC-7", 1);
  double const ahead = ZtbDate::currentDate().asDouble() - static_cast<double>(std::time(nullptr));
  before != nullptr ? setenv("TZ", zone.c_str(), 1) : unsetenv("TZ");
  EXPECT_NEAR(7 * 3600, ahead, 2);
  std::set<double> fractions;
  for (int i = 0; i < 20; ++i) {
    fractions.insert(std::fmod(ZtbDate::currentDate().asDouble(), 1.0));
    std::timespec const pause{0, 1'500'000};
    nanosleep(&pause, nullptr);
  }
  EXPECT_GT(fractions.size(), 10u);
}

}  // namespace
