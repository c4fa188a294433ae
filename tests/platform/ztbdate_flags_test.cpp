// SPDX-License-Identifier: MIT
//
// The process-wide settings of dates, which only start-up sets.

#include <gtest/gtest.h>

#include <cstdlib>

#include "ztbdate.h"
#include "ztbdate_p.h"
#include "ztsstr12.h"

namespace {

TEST(DateFlags, GmtTimeBaseTakesCurrentDateFromGmt) {
  char const* const before = std::getenv("TZ");
  std::string const zone = before != nullptr ? before : "";
  setenv("TZ", "ABC-7", 1);
  setUseGmtTimeBase(true);
  double const gmt = ZtbDate::currentDate().asDouble();
  setUseGmtTimeBase(false);
  double const local = ZtbDate::currentDate().asDouble();
  before != nullptr ? setenv("TZ", zone.c_str(), 1) : unsetenv("TZ");
  EXPECT_NEAR(zts_gmtimetoday(), gmt, 2);
  EXPECT_NEAR(7 * 3600, local - gmt, 2);
}

}  // namespace
