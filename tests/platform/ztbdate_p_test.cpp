// SPDX-License-Identifier: MIT
//
// Dates under conditions that the process can't choose: how a locale prints them, and the time base
// that only start-up sets.

#include <dlfcn.h>

#include <cwchar>
#include <string>
#include <string_view>

#include "ztbdate.h"
#include "ztbdate_p.h"
#include "ztbtest.h"
#include "ztsstr12.h"
#include "ztssys11_env.h"

namespace {

// How a locale prints 1989-02-03 19:05:06; null while the real one prints.
std::wstring const* localeSample = nullptr;

std::size_t deliver(wchar_t* target, std::size_t size, std::wstring const& text) {
  if (text.size() >= size) return 0;
  wcscpy(target, text.c_str());
  return text.size();
}

}  // namespace

// Stands before the C library's in this program.
extern "C" std::size_t wcsftime(wchar_t* target, std::size_t size, wchar_t const* format,
                                tm const* time) noexcept {
  if (localeSample != nullptr) {
    if (ztLockGet(npEnvironmentLock(), ZtLockHold::kExclusive, 0) == 0) {
      ztLockRelease(npEnvironmentLock());
      ADD_FAILURE() << "the environment may change while the C library looks at TZ";
    }
    bool const whole = std::wstring_view(format) == L"%x %X";
    return deliver(target, size, whole ? *localeSample : L"TIME");
  }
  static auto const real = reinterpret_cast<decltype(&wcsftime)>(dlsym(RTLD_NEXT, "wcsftime"));
  return real(target, size, format, time);
}

namespace {

class ZtbDatePrivateTest : public ztbtest::LibraryTest {};

TEST_F(ZtbDatePrivateTest, EarlyDatesKeepTheFormOfEachKnownLocale) {
  struct {
    std::wstring sample;
    char const* early;  // 1850-02-03
    char const* old;    // 0850-12-31
  } const rows[] = {
      {L" 3-02-1989 07.05.06 অপ", " 3-02-1850 TIME", " 31-12-0850 TIME"},
      {L" 3-02-89 07:05:06 অপরাহ্ণ", " 3-02-1850 TIME", " 31-12-0850 TIME"},
      {L" 3-02-89 07:05:06 ಅಪರಾಹ್ನ", " 3-02-1850 TIME", " 31-12-0850 TIME"},
      {L" 3.02.1989 19.05.06", " 3.02.1850 TIME", " 31.12.0850 TIME"},
      {L"02.03.89 19:05:06", "02.03.1850 TIME", "12.31.0850 TIME"},
      {L"02/03/89 19:05:06", "02/03/1850 TIME", "12/31/0850 TIME"},
      {L"03-02-1989 19:05:06", "03-02-1850 TIME", "31-12-0850 TIME"},
      {L"03-02-89 19:05:06", "03-02-1850 TIME", "31-12-0850 TIME"},
      {L"03.02.1989 19:05:06", "03.02.1850 TIME", "31.12.0850 TIME"},
      {L"03.02.89 19.05.06", "03.02.1850 TIME", "31.12.0850 TIME"},
      {L"03.02.89 19:05:06", "03.02.1850 TIME", "31.12.0850 TIME"},
      {L"03/02/1989 19:05:06", "03/02/1850 TIME", "31/12/0850 TIME"},
      {L"03/02/89 19.05.06", "03/02/1850 TIME", "31/12/0850 TIME"},
      {L"03/02/89 19:05:06", "03/02/1850 TIME", "31/12/0850 TIME"},
      {L"030289 19:05:06", "03021850 TIME", "31120850 TIME"},
      {L"1989-02-03 19:05:06", "1850-02-03 TIME", "0850-12-31 TIME"},
      {L"1989.02.03 19:05:06", "1850.02.03 TIME", "0850.12.31 TIME"},
      {L"1989年\t\t02月\t\t03日 19时\t\t05分\t\t06秒", "1850年\t\t02月\t\t03日 TIME",
       "0850年\t\t12月\t\t31日 TIME"},
      {L"1989年02月03日 19时05分06秒 EST", "1850年02月03日 TIME", "0850年12月31日 TIME"},
      {L"2/3/1989 7:05:06 PM", "2/3/1850 TIME", "12/31/0850 TIME"},
      {L"89-02-03 19.05.06", "1850-02-03 TIME", "0850-12-31 TIME"},
      {L"89-02-03 19:05:06", "1850-02-03 TIME", "0850-12-31 TIME"},
      {L"89/02/03 19:05:06", "1850/02/03 TIME", "0850/12/31 TIME"},
      {L"89年\t\t02月\t\t03日 19时\t\t05分\t\t06秒", "1850年\t\t02月\t\t03日TIME",
       "0850年\t\t12月\t\t31日TIME"},
      {L" 3-02-1989 07.05.06", "1850-02-03 12:00:00", "0850-12-31 00:00:00"},
      {L"03.02.1989 19:05", "1850-02-03 12:00:00", "0850-12-31 00:00:00"},
      {L"秒", "1850-02-03 12:00:00", "0850-12-31 00:00:00"},
  };
  for (auto const& row : rows) {
    localeSample = &row.sample;
    EXPECT_STREQ(row.early, ZtbDate(1850, 2, 3, 12, 0, 0).asString(false).asCstr());
    EXPECT_STREQ(row.old, ZtbDate(850, 12, 31, 0, 0, 0).asString(false).asCstr());
  }
  std::wstring const longest(127, L'秒'), tooLong(128, L'x');
  localeSample = &longest;
  EXPECT_EQ(127u, ZtbDate(1989, 2, 3, 0, 0, 0).asString(false).length());
  localeSample = &tooLong;
  EXPECT_TRUE(ZtbDate(1989, 2, 3, 0, 0, 0).asString(false).isNull());
  EXPECT_STREQ("1850-02-03 00:00:00", ZtbDate(1850, 2, 3, 0, 0, 0).asString(false).asCstr());
  localeSample = nullptr;
}

TEST_F(ZtbDatePrivateTest, TimeBaseChoosesBetweenGmtAndLocalTime) {
  ztbtest::Variable const zone("TZ", "ABC-7");
  setUseGmtTimeBase(true);
  double const gmt = ZtbDate::currentDate().asDouble();
  setUseGmtTimeBase(false);
  EXPECT_NEAR(zts_gmtimetoday(), gmt, 2);
  EXPECT_NEAR(7 * 3600, ZtbDate::currentDate().asDouble() - gmt, 2);
}

}  // namespace
