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
constexpr int kPowerCount = 173;
struct Powers {
  Wide<9> rows[kPowerCount];
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

// The highest word of 10^52: what is below it there, and has nothing above, is below 10^52.
constexpr Word kSafeHead = [] {
  Coefficient limit{1, 0, 0};
  for (int i = 0; i < kDigits; ++i) multiplyAdd(limit, 10, 0);
  return limit.w[2];
}();

// Whether a value whose highest word is at least that of 10^52 has at most 52 digits.
bool fitsDigitsBarely(Coefficient const& value);

// Whether the value has at most 52 digits.
template <int N>
[[gnu::always_inline]] inline bool fitsDigits(Wide<N> const& value) {
  Word above = 0;
  for (int i = 3; i < N; ++i) above |= value.w[i];
  if (above != 0) return false;
  return value.w[2] < kSafeHead || fitsDigitsBarely(resize<3>(value));
}

// Decimal digits of the value; 0 for zero.
template <int N>
inline int countDigits(Wide<N> const& value) {
  // 1233/4096 is log10(2), closely enough for up to 576 bits.
  int const digits = bitLength(value) * 1233 >> 12;
  return digits + (isLess(value, power<N>(digits)) ? 0 : 1);
}

struct Division {
  Coefficient quotient;
  Coefficient rest;
};

// Divides by 10 to the power `exponent`, 1 to kMaxDrop; the quotient must have at most 53 digits.
// The estimate from the upper words is too small by two at most (P. Barrett's reduction), and with
// the further bits that it is made of nearly always right.
template <int N>
inline Division divideByPower(Wide<N> const& value, int exponent) {
  constexpr int kFurtherBits = 14;
  Reciprocal const& reciprocal = kReciprocals.rows[exponent];
  Coefficient const divisor = power<3>(exponent);
  Wide<N + 4> padded{};
  for (int i = 0; i < N; ++i) padded.w[i + 1] = value.w[i];
  Coefficient const head = shiftRight<3>(padded, 64 - kFurtherBits + reciprocal.shift);
  Wide<6> const product = multiply(head, reciprocal.value);
  Coefficient const estimate{product.w[3], product.w[4], product.w[5]};
  Division result{shiftRight<3>(estimate, kFurtherBits), resize<3>(value)};
  subtract(result.rest, multiplyLow<3>(result.quotient, divisor));
  while (!isLess(result.rest, divisor)) {
    subtract(result.rest, divisor);
    increment(result.quotient);
  }
  return result;
}

// Takes the finite number apart; false for infinities and NaNs. What no canonical encoding spells
// is a zero.
[[gnu::always_inline]] inline bool takeApart(decSext const* value, Finite& number) {
  Word const head = value->words[2];
  number.isNegative = (head & kSignBit) != 0;
  number.coefficient = {value->words[0], value->words[1], head & kCoefficientMask};
  number.exponent = static_cast<int>(head >> kExponentShift & 0x3FFFF) - kBias;
  if ((head >> 61 & 3) == 3) {
    // The spelling of coefficients from 2^173 on, which are above 52 digits, or no number.
    number.coefficient = {};
    number.exponent = static_cast<int>(head >> (kExponentShift - 2) & 0x3FFFF) - kBias;
    return (~head & kInfinityBits) != 0;
  }
  if (!fitsDigits(number.coefficient)) number.coefficient = {};
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

// The NaN of a payload of at most 51 digits; `kind` is kQuietBits or kSignalingBits.
decSext* packNaN(decSext* result, bool isNegative, Coefficient const& payload, Word kind);

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

// What was cut off a coefficient, in units of the digit that is the last one now.
struct Cut {
  int half;    // -1, 0 or 1: below, at or above the half of a unit
  bool isAny;  // not all were zeros
};

inline Cut cutOf(Coefficient const& rest, Coefficient const& unit) {
  Coefficient twice = rest;
  add(twice, rest);
  return {order(twice, unit), !isZero(rest)};
}

struct Dropped {
  Coefficient quotient;
  Cut cut;
};

// Cuts off the last `count` digits, 1 or more; at most 53 may stay. More than kMaxDrop digits,
// and all of a value of 9 words, take the long way.
template <int N>
Dropped dropDigits(Wide<N> const& value, int count);

// Whether the mode takes a magnitude with this last digit, and this cut off, one up.
bool roundsUpDirected(decRounding mode, bool isNegative, Coefficient const& quotient, Cut cut);
inline bool roundsUp(decRounding mode, bool isNegative, Coefficient const& quotient, Cut cut) {
  // A half with an odd digit before it, or more than a half.
  if (mode == kDecRoundHalfEven) return cut.half + static_cast<int>(quotient.w[0] & 1) > 0;
  return roundsUpDirected(mode, isNegative, quotient, cut);
}

// The number of any coefficient and exponent: rounded, clamped and told in the context by the rules
// of the format. Defined for 3, 4, 6 and 9 words.
template <int N>
decSext* finish(decSext* result, bool isNegative, Wide<N> const& coefficient, int exponent,
                decContext* context);

// The number of 52 digits, and what was cut off behind them, in the same way.
decSext* finishCut(decSext* result, bool isNegative, Dropped const& dropped, int exponent,
                   decContext* context);

// Takes zeros off the end of the coefficient, until the exponent is `limit`.
void stripZeros(Coefficient& coefficient, int& exponent, int limit);

// Six words by three; the quotient must fit into three. The divisor isn't zero.
Division divide(Wide<6> const& dividend, Coefficient const& divisor);

}  // namespace decnumber

#endif
