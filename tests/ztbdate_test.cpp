// SPDX-License-Identifier: MIT
//
// Dates: the null state, order, texts under several locales, and the present moment.

#include "ztbdate.h"

#include <cmath>
#include <ctime>
#include <limits>
#include <set>
#include <string>
#include <type_traits>

#include "ztbtest.h"

namespace {

static_assert(std::is_trivially_copyable_v<ZtbDate> && sizeof(ZtbDate) == 16);
static_assert(std::is_convertible_v<char const*, ZtbDate> && std::is_convertible_v<int, ZtbDate>);

class ZtbDateTest : public ztbtest::LibraryTest {};

std::string iso(ZtbDate const& date) {
  ZtbString const text = date.asString(true);
  return text.isNull() ? "null" : text.asCstr();
}

TEST_F(ZtbDateTest, NullDateGivesZerosAndNullTexts) {
  for (ZtbDate date : {ZtbDate(), ZtbDate(nullptr), ZtbDate("-1.5e3"), ZtbDate("2001-02-29"),
                       ZtbDate(2001, 2, 30, 0, 0, 0), ZtbDate(10000, 1, 1, 0, 0, 0),
                       ZtbDate(std::nan("")), ZtbDate(1e300)}) {
    EXPECT_TRUE(date.isNull());
    EXPECT_EQ(0.0, date.asDouble());
    EXPECT_TRUE(date.asString(true).isNull() && date.asString(false).isNull());
    EXPECT_EQ(-1, date.getWeekDay());
    int elements[6] = {7, 7, 7, 7, 7, 7};
    date.getElements(&elements[0], nullptr, &elements[2], &elements[3], &elements[4], nullptr);
    for (int i : {0, 2, 3, 4}) EXPECT_EQ(0, elements[i]);
  }
}

TEST_F(ZtbDateTest, FailedAssignMakesNullAndKeepsTheNumber) {
  ZtbDate const held(1989, 2, 3, 19, 5, 6);
  ZtbDate byText = held, byElements = held, byNumber = held, bySetNull = held;
  byText.assign("2001-02-30");
  byElements.assign(2001, 2, 30, 0, 0, 0);
  byNumber.assign(std::numeric_limits<double>::infinity());
  bySetNull.setNull();
  for (ZtbDate const& date : {byText, byElements, byNumber, bySetNull}) {
    EXPECT_TRUE(date.isNull());
    EXPECT_EQ(held.asDouble(), date.asDouble());
    EXPECT_EQ(0, date.compare(ZtbDate()));
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
}

TEST_F(ZtbDateTest, NumbersAreSecondsRoundedToMilliseconds) {
  EXPECT_EQ(602535906.0, ZtbDate(1989, 2, 3, 19, 5, 6).asDouble());
  EXPECT_EQ(602535906.123, ZtbDate(602535906.1234).asDouble());
  EXPECT_EQ(602535906.124, ZtbDate(602535906.1236).asDouble());
  EXPECT_EQ("2000-01-01 00:00:00", iso(946684799.9996));
}

TEST_F(ZtbDateTest, IsoTextsAreTheSameUnderEveryLocaleAndReadBack) {
  for (char const* name : {"C", "de_DE.UTF-8", "ja_JP.UTF-8"}) {
    ztbtest::Locale const locale(name);
    for (char const* text : {"0001-01-01 00:00:00", "0850-03-01 12:00:00", "1899-12-31 23:59:59",
                             "1989-02-03 19:05:06", "9999-12-31 23:59:59"}) {
      EXPECT_EQ(text, iso(text)) << name;
    }
  }
}

TEST_F(ZtbDateTest, OtherTextsFollowTheLocale) {
  struct {
    char const* locale;
    char const* now;       // 1989-02-03 19:05:06
    char const* early;     // 1850-02-03 12:00:00
    char const* readFrom;  // what "03/02/89" is
  } const rows[] = {
      {"C", "02/03/89 19:05:06", "02/03/1850 12:00:00", "1989-03-02 00:00:00"},
      {"en_US.UTF-8", "02/03/1989 07:05:06 PM", "1850-02-03 12:00:00", "1989-03-02 00:00:00"},
      {"en_GB.UTF-8", "03/02/89 19:05:06", "03/02/1850 12:00:00", "1989-02-03 00:00:00"},
      {"de_DE.UTF-8", "03.02.1989 19:05:06", "03.02.1850 12:00:00", "1989-02-03 00:00:00"},
      {"de_DE.ISO-8859-1", "03.02.1989 19:05:06", "03.02.1850 12:00:00", "1989-02-03 00:00:00"},
      {"ja_JP.UTF-8", "1989年02月03日 19時05分06秒", "1850-02-03 12:00:00", "null"},
  };
  for (auto const& row : rows) {
    ztbtest::Locale const locale(row.locale);
    EXPECT_STREQ(row.now, ZtbDate(1989, 2, 3, 19, 5, 6).asString(false).asCstr());
    EXPECT_STREQ(row.early, ZtbDate(1850, 2, 3, 12, 0, 0).asString(false).asCstr());
    EXPECT_EQ(row.readFrom, iso("03/02/89")) << row.locale;
  }
  ztbtest::Locale const british("en_GB.UTF-8");
  EXPECT_STREQ("31/12/1899 23:59:59", ZtbDate("1899-12-31 23:59:59").asString(false).asCstr());
  EXPECT_STREQ("01/01/00 00:00:00", ZtbDate("1900-01-01").asString(false).asCstr());
}

TEST_F(ZtbDateTest, WeekDaysAreThoseOfTheCalendar) {
  struct {
    char const* date;
    int weekDay;
  } const rows[] = {{"0001-01-01", 1}, {"1582-10-15", 5}, {"1900-02-28", 3}, {"1970-01-01", 4},
                    {"2000-02-29", 2}, {"2024-06-01", 6}, {"2024-06-02", 0}, {"9999-12-31", 5}};
  for (auto const& row : rows) EXPECT_EQ(row.weekDay, ZtbDate(row.date).getWeekDay()) << row.date;
}

TEST_F(ZtbDateTest, CurrentDateHasMilliseconds) {
  std::set<double> fractions;
  for (int i = 0; i < 20; ++i) {
    fractions.insert(std::fmod(ZtbDate::currentDate().asDouble(), 1.0));
    std::timespec const pause{0, 1'500'000};
    nanosleep(&pause, nullptr);
  }
  EXPECT_GT(fractions.size(), 10u);
}

}  // namespace
