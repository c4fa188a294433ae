// SPDX-License-Identifier: MIT
//
// What the vectors can't say of decimal numbers: bits, odd encodings, conversions to bytes, texts
// of any size.

#include "decnumber.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "decnumber_p.h"

namespace {

constexpr unsigned long long kSign = 1ULL << 63;
constexpr unsigned long long kInfinity = 30ULL << 58;
constexpr unsigned long long kNaN = 62ULL << 57;

constexpr unsigned long long exponentBits(int exponent) {
  return static_cast<unsigned long long>(exponent + 98354) << 45;
}

// The largest coefficient, 10 to the power 52 less 1.
constexpr unsigned long long kLargest[] = {0xDB0FFFFFFFFFFFFF, 0x300D0E549208B31A,
                                           0x00001ABA4714957D};

struct Parsed {
  decSext value{};
  unsigned status = 0;
};

Parsed parse(std::string const& text) {
  Parsed result;
  decContext context;
  decSextFromString(&result.value, text.c_str(), decContextDefault(&context, 192));
  result.status = decContextGetStatus(&context);
  return result;
}

std::string words(decSext const& value) {
  char text[64];
  std::snprintf(text, sizeof text, "%016llX %016llX %016llX", value.words[2], value.words[1],
                value.words[0]);
  return text;
}

TEST(Decnumber, ReadsAnyEncodingAndWritesCanonicalOnes) {
  decSext const largest{{kLargest[0], kLargest[1], kLargest[2] | exponentBits(3)}};
  decSext above = largest;
  ++above.words[0];
  constexpr unsigned long long kOnes = ~0ULL;
  struct {
    char const* why;
    decSext operand;
    decSext expected;
  } const rows[] = {
      {"the largest coefficient", largest, largest},
      {"one more than that", above, {{0, 0, exponentBits(3)}}},
      {"all coefficient bits",
       {{kOnes, kOnes, kSign | exponentBits(3) | ((1ULL << 45) - 1)}},
       {{0, 0, kSign | exponentBits(3)}}},
      {"a coefficient spelled with an implied first bit",
       {{kOnes, kOnes, kSign | 3ULL << 61 | exponentBits(3) >> 2}},
       {{0, 0, kSign | exponentBits(3)}}},
      {"an infinity with a tail", {{1, 2, kInfinity | 3}}, {{0, 0, kInfinity}}},
      {"a payload of 52 digits", {{kLargest[0], kLargest[1], kNaN | kLargest[2]}}, {{0, 0, kNaN}}},
      {"bits between a NaN and its payload",
       {{5, 0, kSign | kNaN | (0xFFULL << 45)}},
       {{5, 0, kSign | kNaN}}},
  };
  for (auto const& row : rows) {
    decContext context;
    decContextDefault(&context, 192);
    decNumber number;
    decSext result;
    decimal192FromNumber(&result, decimal192ToNumber(&row.operand, &number), &context);
    EXPECT_EQ(words(row.expected), words(result)) << row.why;
    decSextAdd(&result, &row.operand, &row.expected, &context);
    EXPECT_EQ(decSextIsZero(&row.expected), decSextIsZero(&result)) << row.why;
    EXPECT_EQ(0U, context.status & ~unsigned{kDecRounded | kDecInexact}) << row.why;
  }
}

TEST(Decnumber, TellsSignDigitsAndExponent) {
  struct {
    char const* text;
    char const* kind;
    int isSigned, digits, exponent;
  } const rows[] = {
      {"-0E7", "zero", 1, 1, 7}, {"1200E-98354", "", 0, 4, -98354}, {"-inf", "infinite", 1, 1, 0},
      {"nan", "NaN", 0, 1, 0},   {"-snan0123", "NaN", 1, 3, 0},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.text);
    decSext const value = parse(row.text).value;
    EXPECT_EQ(row.kind, std::string(decSextIsNaN(&value) ? "NaN" : "") +
                            (decSextIsZero(&value) ? "zero" : "") +
                            (decSextIsInfinite(&value) ? "infinite" : ""));
    EXPECT_EQ(row.isSigned, decSextIsSigned(&value));
    EXPECT_EQ(row.digits, decSextDigits(&value));
    EXPECT_EQ(row.exponent, decSextGetExponent(&value));
  }
}

TEST(Decnumber, CountsAndWritesDigitsAtEveryPowerOfTen) {
  std::string const mixed = "1234567890123456789012345678901234567890123456789012";
  for (unsigned digits = 1; digits <= 52; ++digits) {
    for (std::string const& text :
         {"1" + std::string(digits - 1, '0'), std::string(digits, '9'), mixed.substr(0, digits)}) {
      decSext const value = parse("-" + text + "E-5").value;
      EXPECT_EQ(static_cast<int>(digits), decSextDigits(&value));
      unsigned char bytes[kDecSextDigits];
      int exponent = 0;
      EXPECT_NE(0, decSextToBCD(&value, &exponent, bytes));
      EXPECT_EQ(-5, exponent);
      std::string written;
      for (unsigned const byte : bytes) written += static_cast<char>('0' + byte);
      EXPECT_EQ(std::string(52 - digits, '0') + text, written);
    }
  }
  decSext const nothing = parse("-nan5").value;
  unsigned char bytes[kDecSextDigits] = {1};
  int exponent = 1;
  decSextToBCD(&nothing, &exponent, bytes);
  EXPECT_EQ(0, exponent);
  EXPECT_TRUE(std::all_of(bytes, bytes + 52, [](unsigned char byte) { return byte == 0; }));
}

TEST(Decnumber, SwapsAllBytesAndCopiesAllBits) {
  decSext const odd{{0x0102030405060708, 0x1112131415161718, kSign | 0x7E22232425262728}};
  decSext value;
  decSextCopy(&value, &odd);
  EXPECT_EQ(words({{0x28272625242322FE, 0x1817161514131211, 0x0807060504030201}}),
            words(*decSextByteSwap(&value)));
  EXPECT_EQ(words(odd), words(*decSextByteSwap(&value)));
  EXPECT_EQ(words({{odd.words[0], odd.words[1], odd.words[2] & ~kSign}}),
            words(*decSextCopyAbs(&value, &odd)));
}

TEST(Decnumber, TakesIntegersExactly) {
  decContext context;
  decContextDefault(&context, 192);
  decSext values[3];
  decSextFromInt64(&values[0], -9223372036854775807 - 1, &context);
  decSextFromInt32(&values[1], -2147483647 - 1);
  decSextFromUInt32(&values[2], 4294967295U);
  EXPECT_EQ(words({{1ULL << 63, 0, kSign | exponentBits(0)}}), words(values[0]));
  EXPECT_EQ(words({{1ULL << 31, 0, kSign | exponentBits(0)}}), words(values[1]));
  EXPECT_EQ(words({{4294967295U, 0, exponentBits(0)}}), words(values[2]));
}

TEST(Decnumber, ReadsTextsOfAnySize) {
  std::string const zeros(10'000'000, '0');
  std::string const nines(10'000'000, '9');
  std::string const big(5'000, '9');
  std::string const one = "1." + std::string(51, '0');
  constexpr unsigned kCut = kDecRounded | kDecInexact;
  struct {
    std::string text;
    std::string same;
    unsigned status;
  } const rows[] = {
      {zeros + "1", "1", 0},
      {"0." + zeros + "1E+10000001", "1", 0},
      {"1" + zeros + "E-10000000", one, kDecRounded},
      {"1" + zeros + "1E-10000001", one, kCut},
      {"1" + std::string(51, '0') + "5" + zeros + "1E-10000002", "1" + std::string(50, '0') + "1",
       kCut},
      {nines + "E-10000000", one, kCut},
      {"0." + zeros + "1", "0E-98354", kCut | kDecUnderflow | kDecSubnormal | kDecClamped},
      {nines, "Infinity", kCut | kDecOverflow},
      {"-1E" + big, "-Infinity", kCut | kDecOverflow},
      {"-0E" + big, "-0E98253", kDecClamped},
      {"1E-" + zeros + "5", "1E-5", 0},
      {"0e-" + big, "0E-98354", kDecClamped},
      {"nan" + zeros + "12", "nan12", 0},
      {"nan" + nines, "nan", kDecConversionSyntax},
      {nines + "x", "nan", kDecConversionSyntax},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 20) + " of " + std::to_string(row.text.size()));
    Parsed const result = parse(row.text);
    EXPECT_EQ(words(parse(row.same).value), words(result.value));
    EXPECT_EQ(row.status, result.status);
  }
}

using decnumber::Coefficient;
using decnumber::Division;
using decnumber::Wide;

// The quotient and the rest of a division are known where the dividend was made of them.
void expectDivision(Division const& got, Coefficient const& quotient, Coefficient const& rest) {
  EXPECT_EQ(0, order(quotient, got.quotient))
      << words({{quotient.w[0], quotient.w[1], quotient.w[2]}});
  EXPECT_EQ(0, order(rest, got.rest)) << words({{rest.w[0], rest.w[1], rest.w[2]}});
}

TEST(DecnumberDivision, IsExactForTheWordsThatMisleadItsEstimates) {
  constexpr unsigned long long kOnes = ~0ULL;
  std::vector<Coefficient> corners;
  for (unsigned long long const high : {0ULL, 1ULL, kSign, kOnes}) {
    for (unsigned long long const middle : {0ULL, 1ULL, kSign - 1, kSign, kOnes - 1, kOnes}) {
      for (unsigned long long const low : {0ULL, 1ULL, kOnes}) {
        corners.push_back({low, middle, high});
      }
    }
  }
  for (auto const& divisor : corners) {
    if (isZero(divisor)) continue;
    Coefficient most = divisor;
    subtract(most, {1, 0, 0});
    for (auto const& quotient : corners) {
      for (auto const& rest : {Coefficient{}, most}) {
        Wide<6> dividend = multiply(quotient, divisor);
        add(dividend, decnumber::resize<6>(rest));
        expectDivision(divide(dividend, divisor), quotient, rest);
      }
    }
  }
}

TEST(DecnumberDivision, ByPowersOfTenIsExactBesideTheirMultiples) {
  Coefficient most = decnumber::power<3>(53);
  subtract(most, {1, 0, 0});
  for (int exponent = 1; exponent <= decnumber::kMaxDrop; ++exponent) {
    Coefficient below = decnumber::power<3>(exponent);
    subtract(below, {1, 0, 0});
    for (auto const& quotient : {Coefficient{}, Coefficient{1, 0, 0}, most}) {
      for (auto const& rest : {Coefficient{}, Coefficient{1, 0, 0}, below}) {
        Wide<6> value = multiply(quotient, decnumber::power<3>(exponent));
        add(value, decnumber::resize<6>(rest));
        expectDivision(decnumber::divideByPower(value, exponent), quotient, rest);
      }
    }
  }
}

TEST(DecContext, KeepsStatusUntilItIsMadeAgain) {
  decContext context;
  EXPECT_EQ(0U, decContextDefault(&context, 192)->status);
  EXPECT_EQ(kDecRoundHalfEven, context.round);
  EXPECT_EQ(kDecSextDigits, context.digits);
  decSext value;
  decSextFromString(&value, "x", &context);
  decSextFromString(&value, "1", &context);
  EXPECT_EQ(0x1U, decContextTestStatus(&context, 0xFF));
  EXPECT_EQ(kDecInvalidContext, decContextDefault(&context, 128)->status);
}

}  // namespace
