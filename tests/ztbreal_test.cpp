// SPDX-License-Identifier: MIT
//
// Decimal numbers as applications see them: texts at every width, records, raw forms, what each
// operation tells about lost digits, and nulls.

#include "ztbreal.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "ztbtest.h"

namespace {

static_assert(sizeof(ZtbReal) == 40 && sizeof(ZT_SQL_NUMERIC_STRUCT) == 19);

class ZtbRealTest : public ztbtest::LibraryTest {};

ZtbReal real(std::string const& text) {
  return ZtbReal().assign(text.c_str());
}

std::string shown(ZtbReal const& value, int width = 61) {
  ZtbString const text = value.asString(width);
  return text.isNull() ? "null" : text.asCstr();
}

std::string const kNines52(52, '9');

TEST_F(ZtbRealTest, TextsMakeNumbers) {
  struct {
    std::string text;
    std::string value;
    bool truncated;
  } const rows[] = {
      {"  12.500", "12.5", false},
      {"\t\n\u3000+.5", "0.5", false},
      {"5.e+3", "5000", false},
      {"-0.000", "0", false},
      {"-INFinity", "-Infinity", false},
      {std::string("1\0002", 3), "1", false},
      // No numbers: space behind, nothing at all, other points and bases, spelled nulls.
      {"12.5 ", "null", false},
      {"", "null", false},
      {" ", "null", false},
      {"1,5", "null", false},
      {"0x1", "null", false},
      {"1e", "null", false},
      {"- 1", "null", false},
      {"NaN", "null", false},
      {"-sNaN77", "null", false},
      // At and beyond 52 digits and the range of exponents.
      {kNines52, kNines52, false},
      {kNines52 + "0", "9." + std::string(51, '9') + "E+52", false},
      {kNines52 + "9", "1E+53", true},
      {"1." + std::string(10'000'000, '0') + "1", "1", true},
      {"1E+98304", "1.0E+98304", false},
      {"1E+98305", "Infinity", true},
      {"-1E+99999999999999999999", "-Infinity", true},
      {"1E-98354", "1E-98354", false},
      {"-1E-99999999999999999999", "0", true},
      {"0E-99999999999999999999", "0", false},
  };
  for (auto const& row : rows) {
    ZtbReal const value = real(row.text);
    std::string const start = row.text.substr(0, 60);
    EXPECT_EQ(row.value, shown(value)) << start;
    EXPECT_EQ(row.value == "null", value.isNull()) << start;
    EXPECT_EQ(row.truncated, value.truncated()) << start;
  }
  EXPECT_TRUE(ZtbReal(1LL).assign(static_cast<char const*>(nullptr)).isNull());
}

TEST_F(ZtbRealTest, TextsFitTheirWidth) {
  struct {
    std::string value;
    int width;
    std::string text;
  } const rows[] = {
      {"1.50", 61, "1.5"},
      {"-0.05", 61, "-0.05"},
      {"1", 0, "null"},
      {"1", -1, "null"},
      {"0", 1, "0"},
      {"-1", 1, "null"},
      {"-1", 2, "-1"},
      // Digits behind the point are cut; zeros left by the cut go, but for one.
      {"1.999", 3, "1.9"},
      {"123.456", 5, "123.4"},
      {"123.456", 4, "123"},
      {"123.456", 2, "null"},
      {"1.005", 4, "1.0"},
      {"-0.999", 4, "-0.9"},
      // Digits in front of it aren't; an exponent may do.
      {"12345", 3, "null"},
      {"1200000", 7, "1200000"},
      {"1200000", 6, "1.2E+6"},
      {"1200000", 5, "null"},
      {"-1200000", 6, "-1.2E+6"},
      {"1E+51", 61, "1" + std::string(51, '0')},
      {"1E+52", 61, "1E+52"},
      {"1E+60", 61, "1E+60"},
      {kNines52, 52, kNines52},
      {kNines52, 51, "null"},
      // Between 53 and 61 digits in front of the point there must be room for as many.
      {std::string(40, '7') + "E+13", 61, "7." + std::string(39, '7') + "E+52"},
      {std::string(40, '7') + "E+17", 61, "null"},
      {std::string(40, '7') + "E+40", 61, "7." + std::string(39, '7') + "E+79"},
      // Zeros behind the point need room for a digit; digits are cut before the exponent counts.
      {"1E-59", 61, "0." + std::string(58, '0') + "1"},
      {"1E-60", 61, "1E-60"},
      {"-1E-59", 61, "-1E-59"},
      {"0.001", 5, "0.001"},
      {"0.0012", 5, "0.001"},
      {"0.001", 4, "1E-3"},
      {"0.0012", 4, "1.2E-3"},
      {"0.001", 3, "null"},
      {"1.23456E-70", 5, "1.234E-70"},
      {"1." + std::string(51, '7') + "E-98303", 61, "1." + std::string(51, '7') + "E-98303"},
      {"-1." + std::string(51, '7') + "E-98303", 61, "-1." + std::string(51, '7') + "E-98303"},
      // A power of ten near the largest number is held with zeros, and one of them is shown.
      {"1E+98253", 61, "1E+98253"},
      {"1E+98254", 61, "1.0E+98254"},
      {"Infinity", 8, "Infinity"},
      {"Infinity", 7, "null"},
      {"-Infinity", 9, "-Infinity"},
      {"-Infinity", 8, "null"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.text, shown(real(row.value), row.width)) << row.value << " at " << row.width;
  }
  // A zero that can't lose its exponent is a zero like others.
  EXPECT_EQ("0", shown(real("0") * real("-1E+98304")));
  EXPECT_EQ("null", shown(ZtbReal()));
  EXPECT_EQ("1E-60", shown(real("1E-60"), INT_MAX));
}

// The value of the last place that a text spells.
ZtbReal lastPlace(std::string text) {
  bool isLast = true;
  for (std::size_t i = std::min(text.find('E'), text.size()); i-- > 0;) {
    if (text[i] < '0') continue;
    text[i] = isLast ? '1' : '0';
    isLast = false;
  }
  return real(text).absolute();
}

TEST_F(ZtbRealTest, TextsOfAnyWidthReadBackToTheValueCut) {
  std::mt19937 random(31);
  auto const below = [&random](int bound) { return static_cast<int>(random() % unsigned(bound)); };
  for (int round = 0; round < 2000; ++round) {
    std::string text = below(2) ? "-" : "";
    for (int digits = 1 + below(52); digits > 0; --digits)
      text += static_cast<char>('0' + below(10));
    text += "E" + std::to_string(below(200) - 130);
    ZtbReal value = real(text);
    ASSERT_FALSE(value.truncated());
    std::string const whole = shown(value);
    for (int width = 1; width <= 61; ++width) {
      std::string const cut = shown(value, width);
      if (cut == "null") continue;
      ZtbReal const back = real(cut);
      ZtbReal const lost = value.absolute() - back.absolute();
      ASSERT_FALSE(back.truncated()) << text << " at " << width;
      ASSERT_TRUE(lost >= 0.0 && lost < lastPlace(cut)) << text << " at " << width << ": " << cut;
      ASSERT_TRUE(back == 0.0 || (back < 0.0) == (value < 0.0)) << text << " at " << width;
      ASSERT_TRUE(cut.find('E') != std::string::npos || cut.size() <= unsigned(width)) << text;
      // Nothing is cut without need.
      ASSERT_TRUE(whole.size() > unsigned(width) || whole == cut) << text << " at " << width;
    }
  }
}

TEST_F(ZtbRealTest, RecordsHoldWhatTheirColumnCanTake) {
  struct {
    std::string value;
    int precision, scale;
    unsigned __int64 high, low;  // of `val`
    int sign, heldPrecision, heldScale;
    bool overflow;
  } const rows[] = {
      {"123.456", 5, 2, 0, 12346, 1, 5, 2, false},
      {"-123.456", 5, 2, 0, 12346, 0, 5, 2, false},
      {"0.125", 5, 2, 0, 12, 1, 5, 2, false},
      {"0.135", 5, 2, 0, 14, 1, 5, 2, false},
      {"1E+3", 4, 0, 0, 1000, 1, 4, 0, false},
      {"0.5", -1, -1, 0, 5'000'000'000, 1, 38, 10, false},
      {"340282366920938463463374607431768211455", 39, 0, ~0ULL, ~0ULL, 1, 39, 0, false},
      {"0", 5, 2, 0, 0, 1, 0, 0, false},
      {"-0E-5", 200, 300, 0, 0, 1, 0, 0, false},
      {"1", 255, 4, 0, 10000, 1, 255, 4, false},
      // Overflows: too many digits, also by rounding; a scale too large; nothing left; bytes.
      {"1000", 5, 2, 0, 0, 1, 0, 0, true},
      {"999.995", 5, 2, 0, 0, 1, 0, 0, true},
      {"0.1", 1, 2, 0, 0, 1, 0, 0, true},
      {"0.0001", 5, 2, 0, 0, 1, 0, 0, true},
      {"340282366920938463463374607431768211456", 39, 0, 0, 0, 1, 0, 0, true},
      {"1", 100, 60, 0, 0, 1, 0, 0, true},
      {"1", 256, 0, 0, 0, 1, 0, 0, true},
      {"1", INT_MAX, INT_MAX, 0, 0, 1, 0, 0, true},
      {"-Infinity", 38, 10, 0, 0, 1, 0, 0, true},
      {"", 38, 10, 0, 0, 1, 0, 0, true},
  };
  for (auto const& row : rows) {
    ZtbReal const value = real(row.value);
    ZT_SQL_NUMERIC_STRUCT record;
    std::memset(&record, 0x55, sizeof record);
    bool overflow = !row.overflow;
    value.asSQLNumeric(&record, &overflow, row.precision, row.scale);
    value.asSQLNumeric(&record, nullptr, row.precision, row.scale);
    unsigned __int64 words[2];
    std::memcpy(words, record.val, sizeof words);
    EXPECT_EQ(row.overflow, overflow) << row.value;
    EXPECT_TRUE(row.high == words[1] && row.low == words[0]) << row.value << ": " << words[0];
    EXPECT_EQ(row.sign, record.sign) << row.value;
    EXPECT_EQ(row.heldPrecision, record.precision) << row.value;
    EXPECT_EQ(row.heldScale, record.scale) << row.value;
    ZtbReal const back = ZtbReal().assign(&record);
    EXPECT_TRUE(overflow || back == value || value.round(record.scale) != value) << row.value;
  }
}

TEST_F(ZtbRealTest, EveryRecordIsANumber) {
  ZT_SQL_NUMERIC_STRUCT record{};
  std::memset(record.val, 0xFF, sizeof record.val);
  record.scale = -128;
  EXPECT_EQ("-3.40282366920938463463374607431768211455E+166", shown(ZtbReal().assign(&record)));
  record.scale = 127;
  record.sign = 9;
  EXPECT_TRUE(ZtbReal().assign(&record) == real("340282366920938463463374607431768211455E-127"));
  record = {};
  record.scale = 2;
  EXPECT_EQ("0", shown(ZtbReal().assign(&record)));
}

TEST_F(ZtbRealTest, EqualNumbersHaveEqualRawForms) {
  struct {
    char const* a;
    char const* b;
  } const rows[] = {{"1E+3", "1000"},          {"-0", "0E+77"},         {"-1.5", "-15E-1"},
                    {"Inf", "1E+98305"},       {"1E+60", "10E+59"},     {"", "-NaN5"},
                    {"1E+98304", "10E+98303"}, {"1E-98354", "1E-98354"}};
  for (auto const& row : rows) {
    unsigned __int64 a[3], b[3];
    ZtbReal first = real(row.a), second = real(row.b);
    ZtbReal const kept = first;
    first.asFD(&a);
    second.asFD(&b);
    EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << row.a;
    EXPECT_EQ(shown(kept), shown(ZtbReal(1LL).assign(&a, false))) << row.a;
    EXPECT_EQ(shown(kept), shown(first)) << row.a;
  }
  ZtbReal sum = ZtbReal(1.25) + 1.75;
  unsigned __int64 ofSum[3], ofThree[3];
  sum.asFD(&ofSum);
  ZtbReal(3LL).asFD(&ofThree);
  EXPECT_EQ(0, std::memcmp(ofSum, ofThree, sizeof ofSum));
}

TEST_F(ZtbRealTest, RawFormsComeSwappedMisalignedAndAsAnyBytes) {
  unsigned __int64 raw[3], null[3];
  real("-12345678901234567890.5").asFD(&raw);
  char bytes[2 * sizeof raw + 1], *const odd = bytes + 1;
  std::reverse_copy(reinterpret_cast<char*>(raw), reinterpret_cast<char*>(raw + 3), odd);
  ZtbReal value;
  value.assign(reinterpret_cast<unsigned __int64(*)[3]>(odd), true);
  EXPECT_EQ("-12345678901234567890.5", shown(value));
  value.asFD(reinterpret_cast<unsigned __int64(*)[3]>(odd));
  EXPECT_EQ(0, std::memcmp(odd, raw, sizeof raw));

  ZtbReal().asFD(&null);
  for (unsigned __int64 top : {0x7C00ULL, 0x7E00ULL, 0xFC00ULL, 0xFFFFULL}) {
    unsigned __int64 nan[3] = {77, 0, top << 48};
    EXPECT_TRUE(value.assign(&nan, false).isNull());
    value.asFD(&nan);
    EXPECT_EQ(0, std::memcmp(nan, null, sizeof nan));
  }
  // A coefficient that no 52 digits make, at the exponent 0.
  unsigned __int64 const large[3] = {~0ULL, ~0ULL, 98354ULL << 45 | ((1ULL << 45) - 1)};
  EXPECT_EQ("0", shown(value.assign(&large, false)));
}

TEST_F(ZtbRealTest, ArithmeticTellsOfLostDigitsAndErrors) {
  struct {
    std::string left;
    char operation;
    std::string right;
    std::string result;
    bool truncated, error;
  } const rows[] = {
      {"1.5", '+', "2.25", "3.75", false, false},
      {"1.5", '-', "2.25", "-0.75", false, false},
      {"1.5", '*', "2.5", "3.75", false, false},
      {"7", '/', "8", "0.875", false, false},
      {"1", '/', "3", "0." + std::string(52, '3'), true, false},
      {"1", '+', "1E-60", "1", true, false},
      {"9E+98304", '*', "10", "Infinity", true, false},
      {"1E-98354", '/', "3", "0", true, false},
      {"1", '/', "0", "Infinity", false, true},
      {"-1", '/', "0", "-Infinity", false, true},
      {"0", '/', "0", "null", false, true},
      {"Inf", '-', "Inf", "null", false, true},
      {"0", '*', "Inf", "null", false, true},
      {"Inf", '+', "1", "Infinity", false, false},
      // Exact, but out of the ordinary: fewer zeros, zeros added, below the normal numbers.
      {"5" + std::string(50, '0') + "4", '*', "5", "2.5" + std::string(49, '0') + "2E+52", false,
       true},
      {"1E+98000", '*', "1E+300", "1.0E+98300", false, true},
      {"1E-98300", '*', "1E-50", "1E-98350", false, true},
      {"", '+', "1", "null", false, false},
      {"1", '/', "", "null", false, false},
  };
  for (auto const& row : rows) {
    ZtbReal left = real(row.left);
    ZtbReal const right = real(row.right);
    bool error = !row.error;
    ZtbReal const result = row.operation == '+'   ? left.add(right, &error)
                           : row.operation == '-' ? left.subtract(right, &error)
                           : row.operation == '*' ? left.multiply(right, &error)
                                                  : left.divide(right, &error);
    std::string const what = row.left + row.operation + row.right;
    EXPECT_EQ(row.result, shown(result)) << what;
    EXPECT_EQ(row.truncated, left.truncated()) << what;
    EXPECT_EQ(row.error, error) << what;
    EXPECT_FALSE(result.truncated()) << what;
  }
}

TEST_F(ZtbRealTest, FlagsLastUntilTheNextResult) {
  ZtbReal one(1LL), three(3LL);
  one / three;
  ZtbReal const copy = one;
  one.setNull();
  EXPECT_TRUE(one.truncated() && copy.truncated() && !three.truncated());
  EXPECT_FALSE(copy.round(0).truncated() || copy.negative().truncated());
  one = 1.0;
  EXPECT_FALSE(one.truncated());
  ZtbReal const quotient = one /= three;
  EXPECT_FALSE(one.truncated() || quotient.truncated());
  EXPECT_TRUE(one == quotient && one < 0.34);
  one + 1e-60;
  EXPECT_TRUE(one.truncated());
  one + one;
  EXPECT_FALSE(one.truncated());
}

TEST_F(ZtbRealTest, OperatorsTakeRealsAndDoubles) {
  ZtbReal a(0.1), b(0.2);
  EXPECT_EQ("0.3", shown(a + b));
  EXPECT_TRUE(a + 0.2 == 0.3 && a - 0.2 == -0.1 && a * 0.2 == 0.02 && a / 0.2 == 0.5);
  EXPECT_TRUE(a - b == ZtbReal(-0.1) && a * b == ZtbReal(0.02) && a / b == ZtbReal(0.5));
  ZtbReal total(1LL);
  EXPECT_EQ("1.5", shown(total += 0.5));
  EXPECT_EQ("1.25", shown(total -= 0.25));
  EXPECT_EQ("2.5", shown(total *= 2.0));
  EXPECT_EQ("5", shown(total /= 0.5));
  EXPECT_EQ("10", shown(total += total));
  EXPECT_EQ("100", shown(total *= total));
  EXPECT_EQ("0", shown(total -= total));
  EXPECT_TRUE((total /= total).isNull() && total.isNull());
}

TEST_F(ZtbRealTest, OrderPutsNullLastFromEitherSide) {
  char const* const rows[] = {"-Inf",     "-1E+50", "-1",  "-1E-98354", "0",
                              "1E-98354", "1",      "1.1", "Inf"};
  int const count = static_cast<int>(std::size(rows));
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) {
      ZtbReal const a = real(rows[i]), b = real(rows[j]);
      EXPECT_EQ((i > j) - (i < j), a.compare(b)) << rows[i] << " and " << rows[j];
      EXPECT_TRUE((a < b) == (i < j) && (a > b) == (i > j) && (a <= b) == (i <= j) &&
                  (a >= b) == (i >= j) && (a == b) == (i == j) && (a != b) == (i != j));
    }
  }
  EXPECT_EQ(0, real("-0.00").compare(real("0E+9")));
  EXPECT_EQ(0, real("1.10").compare(real("1.1")));
  ZtbReal const null, one(1LL);
  struct {
    ZtbReal const& a;
    ZtbReal const& b;
  } const pairs[] = {{null, one}, {one, null}, {null, null}};
  for (auto const& [a, b] : pairs) {
    EXPECT_EQ(1, a.compare(b));
    EXPECT_TRUE(a != b && a > b && a >= b);
    EXPECT_FALSE(a == b || a < b || a <= b);
  }
  EXPECT_TRUE(one == 1.0 && one != 2.0 && one > 0.5 && one < 1.5 && one >= 1.0 && one <= 1.0);
  EXPECT_TRUE(one > std::nan("") && one < HUGE_VAL && one > -HUGE_VAL);
}

TEST_F(ZtbRealTest, IntegersAndDoublesAreFloorsAndNearest) {
  struct {
    char const* value;
    __int64 integer;
    bool isNoInteger;
    double nearest;
  } const rows[] = {
      {"2.7", 2, false, 2.7},
      {"-2.7", -3, false, -2.7},
      {"-0", 0, false, -0.0},
      {"9223372036854775807.9", LLONG_MAX, false, 9223372036854775808.0},
      {"9223372036854775808", 0, true, 9223372036854775808.0},
      {"-9223372036854775808", LLONG_MIN, false, -9223372036854775808.0},
      {"-9223372036854775808.1", 0, true, -9223372036854775808.0},
      {"1E+400", 0, true, HUGE_VAL},
      {"-Inf", 0, true, -HUGE_VAL},
      {"1E-400", 0, false, 0.0},
  };
  for (auto const& row : rows) {
    bool error = !row.isNoInteger;
    EXPECT_EQ(row.integer, real(row.value).asInt64(&error)) << row.value;
    EXPECT_EQ(row.isNoInteger, error) << row.value;
    error = true;
    EXPECT_EQ(row.nearest, real(row.value).asDouble(&error)) << row.value;
    EXPECT_FALSE(error) << row.value;
  }
  bool noInteger = false, noDouble = false;
  EXPECT_EQ(0, ZtbReal().asInt64(&noInteger));
  EXPECT_EQ(0.0, ZtbReal().asDouble(&noDouble));
  EXPECT_TRUE(noInteger && noDouble);
  EXPECT_EQ(0, ZtbReal(HUGE_VAL).asInt64(nullptr));

  EXPECT_EQ("0.1", shown(0.1));
  EXPECT_EQ("-9223372036854775808", shown(LLONG_MIN));
  EXPECT_EQ("5E-324", shown(5e-324));
  EXPECT_TRUE(ZtbReal(std::nan("")).isNull());
  EXPECT_EQ("-Infinity", shown(ZtbReal(1LL) = -HUGE_VAL));
}

TEST_F(ZtbRealTest, RootsCarryTheirOwnFlag) {
  struct {
    std::string value, root;
    bool truncated, error;
  } const rows[] = {
      {"2.25", "1.5", false, false},
      {"2", "1.414213562373095048801688724209698078569671875376948", true, false},
      {"-0", "0", false, false},
      {"Inf", "Infinity", false, false},
      {"-1E-98354", "null", false, true},
      {"-Inf", "null", false, true},
      {"", "null", false, true},
  };
  for (auto const& row : rows) {
    ZtbReal const value = real(row.value);
    bool error = !row.error;
    ZtbReal const root = value.sqrt(&error);
    EXPECT_EQ(row.root, shown(root).substr(0, 53)) << row.value;
    EXPECT_EQ(row.truncated, root.truncated()) << row.value;
    EXPECT_FALSE(value.truncated()) << row.value;
    EXPECT_EQ(row.error, error) << row.value;
  }
}

TEST_F(ZtbRealTest, IntegersNearANumber) {
  struct {
    char const *value, *floor, *ceiling, *negative, *absolute;
  } const rows[] = {
      {"1.5", "1", "2", "-1.5", "1.5"},
      {"-1.5", "-1", "-1", "1.5", "1.5"},
      {"-0.5", "0", "0", "0.5", "0.5"},
      {"7E+3", "7000", "7000", "-7000", "7000"},
      {"-Inf", "-Infinity", "-Infinity", "Infinity", "Infinity"},
      {"", "null", "null", "null", "null"},
  };
  for (auto const& row : rows) {
    ZtbReal const value = real(row.value);
    EXPECT_EQ(row.floor, shown(value.floor())) << row.value;
    EXPECT_EQ(row.ceiling, shown(value.ceiling())) << row.value;
    EXPECT_EQ(row.negative, shown(value.negative())) << row.value;
    EXPECT_EQ(row.absolute, shown(value.absolute())) << row.value;
  }
}

TEST_F(ZtbRealTest, RoundingGoesAwayFromZeroAtTies) {
  struct {
    char const* value;
    int places;
    char const* rounded;
  } const rows[] = {
      {"2.25", 1, "2.3"},     {"-2.25", 1, "-2.3"}, {"2.5", 1, "2.5"}, {"2.5", 3, "2.5"},
      {"1.5", 0, "1.5"},      {"250", -2, "300"},   {"49", -2, "0"},   {"Inf", 0, "Infinity"},
      {"Inf", 1, "null"},     {"12", 51, "null"},   {"12", 50, "12"},  {"1", INT_MAX, "null"},
      {"1", INT_MIN, "null"}, {"", 1, "null"},      {"", 0, "null"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.rounded, shown(real(row.value).round(row.places)))
        << row.value << " to " << row.places;
  }
}

TEST_F(ZtbRealTest, ModuloIsTheRemainderToTheNearestMultiple) {
  struct {
    char const *left, *right, *remainder;
  } const rows[] = {
      {"10", "3", "1"},       {"11", "3", "-1"}, {"-10", "3", "-1"}, {"1.5", "1", "-0.5"},
      {"2.5", "1", "0.5"},    {"6", "3", "0"},   {"1", "0", "null"}, {"0", "0", "null"},
      {"Inf", "3", "null"},   {"3", "Inf", "3"}, {"", "3", "null"},  {"3", "", "null"},
      {"1E+60", "3", "null"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.remainder, shown(real(row.left).modulo(real(row.right))))
        << row.left << " by " << row.right;
  }
}

}  // namespace
