// SPDX-License-Identifier: MIT
//
// What the sources of the decimal numbers share: numbers taken apart, powers of ten, division by
// them, rounding and packing.

#ifndef DECNUMBER_P_H
#define DECNUMBER_P_H

#include "decnumber.h"
#include "decnumber_wide.h"

namespace decnumber {

constexpr int kDigits = kDecSextDigits;
constexpr int kBias = 98354;
constexpr int kTiny = kDecSextMinExponent - kDigits + 1;  // the smallest exponent there is
constexpr int kTop = kDecSextMaxExponent - kDigits + 1;   // the largest

// Exponents beyond this in either direction all act alike.
constexpr int kExponentBound = 1'000'000'000;

constexpr int kExponentShift = 45;
constexpr Word kCoefficientMask = (Word{1} << kExponentShift) - 1;
constexpr Word kSignBit = Word{1} << 63;
constexpr Word kInfinityBits = Word{0x78} << 56;
constexpr Word kQuietBits = Word{0x7C} << 56;
constexpr Word kSignalingBits = Word{0x7E} << 56;
constexpr Word kPayloadMask = (Word{1} << 42) - 1;

using Coefficient = Wide<3>;

// A finite number.
struct Finite {
  Coefficient coefficient;
  int exponent;
  bool isNegative;
};

// 10 to the powers 0 to 172; the first 58 have three words, the first 116 six.
struct Powers {
  Wide<9> rows[173];
};
extern Powers const kPowers;

template <int N>
inline Wide<N> power(int exponent) {
  return resize<N>(kPowers.rows[exponent]);
}

// What divides by 10 to the power k without a division: with 2 to the power s the largest power of
// two that isn't above it, floor(2^(192 + s) / 10^k).
struct Reciprocal {
  Coefficient value;
  int shift;
};
constexpr int kMaxDrop = 54;
struct Reciprocals {
  Reciprocal rows[kMaxDrop + 1];
};
extern Reciprocals const kReciprocals;

// Decimal digits of the value; 0 for zero.
template <int N>
inline int countDigits(Wide<N> const& value) {
  // 1233/4096 is log10(2), closely enough for up to 576 bits.
  int const digits = bitLength(value) * 1233 >> 12;
  for (int i = N - 1; i >= 0; --i) {
    Word const bound = kPowers.rows[digits].w[i];
    if (value.w[i] != bound) return value.w[i] > bound ? digits + 1 : digits;
  }
  return digits + 1;
}

struct Division {
  Coefficient quotient;
  Coefficient rest;
};

// Divides by 10 to the power `exponent`, 1 to kMaxDrop; the quotient must have at most 53 digits.
// The estimate from the upper words is at most two too small (P. Barrett's reduction).
template <int N>
inline Division divideByPower(Wide<N> const& value, int exponent) {
  Reciprocal const& reciprocal = kReciprocals.rows[exponent];
  Coefficient const divisor = power<3>(exponent);
  Wide<6> const product = multiply(shiftRight<3>(value, reciprocal.shift), reciprocal.value);
  Division result{{{product.w[3], product.w[4], product.w[5]}}, resize<3>(value)};
  subtract(result.rest, multiplyLow<3>(result.quotient, divisor));
  while (!isLess(result.rest, divisor)) {
    subtract(result.rest, divisor);
    increment(result.quotient);
  }
  return result;
}

// Takes the finite number apart; false for infinities and NaNs. What no canonical encoding spells
// is a zero.
inline bool takeApart(decSext const* value, Finite& number) {
  Word const head = value->words[2];
  number.isNegative = (head & kSignBit) != 0;
  if ((~head & kInfinityBits) == 0) return false;
  number.coefficient = {{value->words[0], value->words[1], head & kCoefficientMask}};
  number.exponent = static_cast<int>(head >> kExponentShift & 0x3FFFF) - kBias;
  if ((head >> 61 & 3) == 3) {
    // The spelling of coefficients from 2^173 on, which are above 52 digits.
    number.coefficient = {};
    number.exponent = static_cast<int>(head >> (kExponentShift - 2) & 0x3FFFF) - kBias;
  } else if (!isLess(number.coefficient, power<3>(kDigits))) {
    number.coefficient = {};
  }
  return true;
}

// The number as it is: a coefficient of at most 52 digits, an exponent within the range.
inline decSext* pack(decSext* result, bool isNegative, Coefficient const& coefficient,
                     int exponent) {
  result->words[0] = coefficient.w[0];
  result->words[1] = coefficient.w[1];
  result->words[2] = coefficient.w[2] | static_cast<Word>(exponent + kBias) << kExponentShift |
                     (isNegative ? kSignBit : 0);
  return result;
}

decSext* packInfinity(decSext* result, bool isNegative);

inline bool isNaN(decSext const* value) {
  return (~value->words[2] & kQuietBits) == 0;
}
inline bool isSignaling(decSext const* value) {
  return (~value->words[2] & kSignalingBits) == 0;
}

// Adds `status` and gives the NaN of decSextNaN.
decSext* refuse(decSext* result, decContext* context, unsigned status);

// The quiet form of the first NaN that decides: a signaling one before a quiet one, the left one
// before the right one. One of them must be a NaN.
decSext* propagate(decSext* result, decSext const* left, decSext const* right, decContext* context);

// What of a coefficient was cut off, measured in units of the digit that stays last.
enum class Cut { kNothing, kBelowHalf, kHalf, kAboveHalf };

struct Dropped {
  Coefficient quotient;
  Cut cut;
};

// Cuts off the last `count` digits, 1 or more; at most 53 may stay. All widths but 3 and 6 words,
// and more than kMaxDrop digits, take the long way.
template <int N>
Dropped dropDigits(Wide<N> const& value, int count);

// Whether the mode takes a magnitude with this last digit, and this cut off, one up.
bool roundsUp(decRounding mode, bool isNegative, Coefficient const& quotient, Cut cut);

// The number of any coefficient and exponent: rounded, clamped and told in the context by the rules
// of the format. Defined for 3, 6 and 9 words.
template <int N>
decSext* finish(decSext* result, bool isNegative, Wide<N> const& coefficient, int exponent,
                decContext* context);

// Takes zeros off the end of the coefficient, until the exponent is `limit`.
void stripZeros(Coefficient& coefficient, int& exponent, int limit);

// Six words by three; the quotient must fit into three. The divisor isn't zero.
Division divide(Wide<6> const& dividend, Coefficient const& divisor);

}  // namespace decnumber

#endif
