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
#include <utility>

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

// With what it tells of itself, and an operation of it.
std::string told(ZtbReal const& value, bool error = false) {
  return shown(value) + (value.truncated() ? " truncated" : "") + (error ? " error" : "");
}

std::string const kNines52(52, '9');

TEST_F(ZtbRealTest, TextsMakeNumbers) {
  struct {
    std::string text;
    std::string value;
  } const rows[] = {
      {"  12.500", "12.5"},
      {"\t\n\u3000+.5", "0.5"},
      {"-0.000", "0"},
      {"-INFinity", "-Infinity"},
      // No numbers: space behind, nothing at all, other points, spelled nulls.
      {"12.5 ", "null"},
      {" ", "null"},
      {"1,5", "null"},
      {"-sNaN77", "null"},
      // At and beyond 52 digits and the range of exponents.
      {kNines52 + "0", "9." + std::string(51, '9') + "E+52"},
      {kNines52 + "9", "1E+53 truncated"},
      {"1E+98304", "1.0E+98304"},
      {"-1E+99999999999999999999", "-Infinity truncated"},
      {"1E-98354", "1E-98354"},
      {"-1E-99999999999999999999", "0 truncated"},
      {"0E-99999999999999999999", "0"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.value, told(real(row.text))) << row.text;
    EXPECT_EQ(row.value == "null", real(row.text).isNull()) << row.text;
  }
  EXPECT_TRUE(ZtbReal(1LL).assign(static_cast<char const*>(nullptr)).isNull());
}

TEST_F(ZtbRealTest, TextsFitTheirWidth) {
  struct {
    std::string value;
    int width;
    std::string text;
  } const rows[] = {
      {"-0.05", 61, "-0.05"},
      {"1", 0, "null"},
      {"0", 1, "0"},
      {"-1", 1, "null"},
      // Digits behind the point are cut; zeros left by the cut go, but for one.
      {"1.999", 3, "1.9"},
      {"123.456", 5, "123.4"},
      {"123.456", 4, "123"},
      {"123.456", 2, "null"},
      {"1.005", 4, "1.0"},
      {"-0.999", 4, "-0.9"},
      // Digits in front of it aren't; an exponent may do.
      {"12345", 3, "null"},
      {"1200000", 6, "1.2E+6"},
      {"1200000", 5, "null"},
      {"-1200000", 6, "-1.2E+6"},
      {"1E+52", 61, "1E+52"},
      {kNines52, 51, "null"},
      // Between 53 and 61 digits in front of the point there must be room for as many.
      {std::string(40, '7') + "E+13", 61, "7." + std::string(39, '7') + "E+52"},
      {std::string(40, '7') + "E+17", 61, "null"},
      {std::string(40, '7') + "E+40", 61, "7." + std::string(39, '7') + "E+79"},
      // Zeros behind the point need room for a digit; digits are cut before the exponent counts.
      {"1E-59", 61, "0." + std::string(58, '0') + "1"},
      {"-1E-59", 61, "-1E-59"},
      {"0.0012", 5, "0.001"},
      {"0.0012", 4, "1.2E-3"},
      {"0.001", 3, "null"},
      {"1.23456E-70", 5, "1.234E-70"},
      {"-1." + std::string(51, '7') + "E-98303", 61, "-1." + std::string(51, '7') + "E-98303"},
      // A power of ten near the largest number is held with zeros, and one of them is shown.
      {"1E+98254", 61, "1.0E+98254"},
      {"Infinity", 7, "null"},
      {"-Infinity", 9, "-Infinity"},
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

// The words of `val`, with precision and scale.
std::string shown(ZT_SQL_NUMERIC_STRUCT const& record) {
  unsigned __int64 words[2];
  std::memcpy(words, record.val, sizeof words);
  std::string const value = std::to_string(words[1]) + ":" + std::to_string(words[0]);
  return (record.sign == 1 ? "" : "-") + value + " of " + std::to_string(record.precision) + ", " +
         std::to_string(record.scale);
}

TEST_F(ZtbRealTest, RecordsHoldWhatTheirColumnCanTake) {
  struct {
    std::string value;
    int precision, scale;
    std::string record;
  } const rows[] = {
      {"123.456", 5, 2, "0:12346 of 5, 2"},
      {"-123.456", 5, 2, "-0:12346 of 5, 2"},
      {"0.125", 5, 2, "0:12 of 5, 2"},
      {"0.135", 5, 2, "0:14 of 5, 2"},
      {"0.5", -1, -1, "0:5000000000 of 38, 10"},
      {"340282366920938463463374607431768211455", 39, 0,
       "18446744073709551615:18446744073709551615 of 39, 0"},
      {"-0E-5", 200, 300, "0:0 of 0, 0"},
      {"1", 255, 4, "0:10000 of 255, 4"},
      // Too many digits, also by rounding; a scale too large; nothing left; too many bytes.
      {"1000", 5, 2, "overflow"},
      {"999.995", 5, 2, "overflow"},
      {"0.1", 1, 2, "overflow"},
      {"0.0001", 5, 2, "overflow"},
      {"340282366920938463463374607431768211456", 39, 0, "overflow"},
      {"1E-128", 255, 128, "overflow"},
      {"1", 256, 0, "overflow"},
      {"1", INT_MAX, INT_MAX, "overflow"},
      {"-Infinity", 38, 10, "overflow"},
      {"", 38, 10, "overflow"},
  };
  for (auto const& row : rows) {
    bool const isOverflow = row.record == "overflow";
    ZT_SQL_NUMERIC_STRUCT record;
    std::memset(&record, 0x55, sizeof record);
    bool overflow = !isOverflow;
    real(row.value).asSQLNumeric(&record, &overflow, row.precision, row.scale);
    EXPECT_EQ(isOverflow, overflow) << row.value;
    EXPECT_EQ(isOverflow ? "0:0 of 0, 0" : row.record, shown(record)) << row.value;
    real(row.value).asSQLNumeric(&record, nullptr, row.precision, row.scale);
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
  } const rows[] = {{"1E+3", "1000"},    {"-0", "0E+77"}, {"-1.5", "-15E-1"},
                    {"Inf", "1E+98305"}, {"", "-NaN5"},   {"1E+98304", "10E+98303"}};
  for (auto const& row : rows) {
    unsigned __int64 a[3], b[3];
    ZtbReal first = real(row.a), second = real(row.b);
    std::string const before = shown(first);
    first.asFD(&a);
    second.asFD(&b);
    EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << row.a;
    EXPECT_EQ(before, shown(first)) << row.a;
    EXPECT_EQ(before, shown(ZtbReal(1LL).assign(&a, false))) << row.a;
  }
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
  } const rows[] = {
      {"1.5", '+', "2.25", "3.75"},
      {"1.5", '-', "2.25", "-0.75"},
      {"1.5", '*', "2.5", "3.75"},
      {"7", '/', "8", "0.875"},
      {"1", '/', "3", "0." + std::string(52, '3') + " truncated"},
      {"1", '+', "1E-60", "1 truncated"},
      {"9E+98304", '*', "10", "Infinity truncated"},
      {"1E-98354", '/', "3", "0 truncated"},
      {"-1", '/', "0", "-Infinity error"},
      {"0", '/', "0", "null error"},
      {"Inf", '-', "Inf", "null error"},
      {"Inf", '+', "1", "Infinity"},
      // Exact, but out of the ordinary: fewer zeros, zeros added, below the normal numbers.
      {"5" + std::string(50, '0') + "4", '*', "5", "2.5" + std::string(49, '0') + "2E+52 error"},
      {"1E+98000", '*', "1E+300", "1.0E+98300 error"},
      {"1E-98300", '*', "1E-50", "1E-98350 error"},
      {"", '+', "1", "null"},
      {"1", '/', "", "null"},
      // The remainder to the nearest multiple, and nothing beside it.
      {"10", '%', "3", "1"},
      {"11", '%', "3", "-1"},
      {"-10", '%', "3", "-1"},
      {"1.5", '%', "1", "-0.5"},
      {"2.5", '%', "1", "0.5"},
      {"1", '%', "0", "null"},
      {"Inf", '%', "3", "null"},
      {"3", '%', "Inf", "3"},
      {"3", '%', "", "null"},
      {"1E+60", '%', "3", "null"},
      {"15E-98350", '%', "10E-98350", "null"},
  };
  for (auto const& row : rows) {
    for (bool error : {false, true}) {
      ZtbReal left = real(row.left);
      ZtbReal const right = real(row.right);
      if (row.operation == '%') error = false;
      ZtbReal const result = row.operation == '+'   ? left.add(right, &error)
                             : row.operation == '-' ? left.subtract(right, &error)
                             : row.operation == '*' ? left.multiply(right, &error)
                             : row.operation == '/' ? left.divide(right, &error)
                                                    : left.modulo(right);
      std::string const lost = left.truncated() ? " truncated" : "";
      EXPECT_EQ(row.result, told(result) + lost + (error ? " error" : ""))
          << row.left << row.operation << row.right;
    }
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
  ZtbReal a(0.1), b(0.2), total(1LL);
  EXPECT_TRUE(a + 0.2 == 0.3 && a - 0.2 == -0.1 && a * 0.2 == 0.02 && a / 0.2 == 0.5);
  EXPECT_TRUE(a + b == 0.3 && a - b == -0.1 && a * b == 0.02 && a / b == 0.5);
  EXPECT_TRUE((total += 0.5) == 1.5 && (total -= 0.25) == 1.25);
  EXPECT_TRUE((total *= 2.0) == 2.5 && (total /= 0.5) == 5.0);
  EXPECT_TRUE((total += total) == 10.0 && (total *= total) == 100.0 && (total -= total) == 0.0);
  EXPECT_TRUE((total /= total).isNull() && total.isNull());
}

TEST_F(ZtbRealTest, OrderPutsNullLastFromEitherSide) {
  char const* const rows[] = {"-Inf", "-1", "-1E-98354", "0", "1E-98354", "1.1", "Inf"};
  int const count = static_cast<int>(std::size(rows));
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) {
      ZtbReal const a = real(rows[i]), b = real(rows[j]);
      EXPECT_EQ((i > j) - (i < j), a.compare(b)) << rows[i] << " and " << rows[j];
      EXPECT_TRUE((a < b) == (i < j) && (a > b) == (i > j) && (a <= b) == (i <= j) &&
                  (a >= b) == (i >= j) && (a == b) == (i == j) && (a != b) == (i != j));
    }
  }
  ZtbReal const null, one(1LL);
  for (auto const& [a, b] : {std::pair(null, one), {one, null}, {null, null}}) {
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
      {"-2.7", -3, false, -2.7},
      {"-0", 0, false, -0.0},
      {"9223372036854775807.9", LLONG_MAX, false, 9223372036854775808.0},
      {"-9223372036854775808", LLONG_MIN, false, -9223372036854775808.0},
      {"-9223372036854775808.1", 0, true, -9223372036854775808.0},
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

TEST_F(ZtbRealTest, IntegersAndRootsOfANumber) {
  struct {
    char const* value;
    char const* results;  // floor | ceiling | negative | absolute | root
  } const rows[] = {
      {"2.25", "2|3|-2.25|2.25|1.5"},
      {"2", "2|2|-2|2|1.414213562373095048801688724209698078569671875376948 truncated"},
      {"-1.5", "-1|-1|1.5|1.5|null error"},
      {"-0", "0|0|0|0|0"},
      {"-1E-98354", "0|0|1E-98354|1E-98354|null error"},
      {"Inf", "Infinity|Infinity|-Infinity|Infinity|Infinity"},
      {"-Inf", "-Infinity|-Infinity|Infinity|Infinity|null error"},
      {"", "null|null|null|null|null error"},
  };
  for (auto const& row : rows) {
    ZtbReal const value = real(row.value);
    for (bool error : {false, true}) {
      ZtbReal const root = value.sqrt(&error);
      EXPECT_EQ(row.results, told(value.floor()) + '|' + told(value.ceiling()) + '|' +
                                 told(value.negative()) + '|' + told(value.absolute()) + '|' +
                                 told(root, error));
    }
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

}  // namespace
