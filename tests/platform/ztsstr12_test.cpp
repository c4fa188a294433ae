// SPDX-License-Identifier: MIT
//
// Numbers and dates from text, and dates from and to their elements.

#include "ztsstr12.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
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
    {"007", 1, 7},
    {"2147483647", 1, INT_MAX},
    {"-2147483648", 1, INT_MIN},
    {"4294967296", 1, 4294967296},
    {"9223372036854775807", 1, LLONG_MAX},
    {"-9223372036854775808", 1, LLONG_MIN},
    {"9223372036854775808", -1, 0},
    {"-9223372036854775809", -1, 0},
    {"99999999999999999999999999999999", -1, 0},
    {"99999999999999999999999999999999x", 0, 0},
    {"", 0, 0},
    {" ", 0, 0},
    {"-", 0, 0},
    {"+", 0, 0},
    {"+-1", 0, 0},
    {"--1", 0, 0},
    {"- 1", 0, 0},
    {"1 2", 0, 0},
    {"1.0", 0, 0},
    {"1e3", 0, 0},
    {"0x10", 0, 0},
    {"12abc", 0, 0},
    {"1,000", 0, 0},
    {"\xc2\xa0"
     "1",
     0, 0},
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
    {"+.5", 1, .5},
    {"5.", 1, 5},
    {"1e3", 1, 1000},
    {"1E+3", 1, 1000},
    {"12.5e-1", 1, 1.25},
    {"0.1", 1, 0.1},
    {"1.7976931348623157e308", 1, DBL_MAX},
    {"4.9406564584124654e-324", 1, DBL_TRUE_MIN},
    {"0.0e-999", 1, 0},
    {"1e309", -1, 0},
    {"-1e309", -1, 0},
    {"1e-400", -1, 0},
    {"1e99999999999999999999", -1, 0},
    {"", 0, 0},
    {".", 0, 0},
    {"-.", 0, 0},
    {"+-1", 0, 0},
    {"1e", 0, 0},
    {"1e+", 0, 0},
    {"e5", 0, 0},
    {"1.2.3", 0, 0},
    {"1,5", 0, 0},
    {"1 .5", 0, 0},
    {"inf", 0, 0},
    {"-infinity", 0, 0},
    {"nan", 0, 0},
    {"+nan(1)", 0, 0},
    {"0x1p3", 0, 0},
    {"1d5", 0, 0},
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

}  // namespace
