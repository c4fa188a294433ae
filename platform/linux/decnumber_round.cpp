// SPDX-License-Identifier: MIT
//
// Rounding, clamping and packing of results.

#include <algorithm>

#include "decnumber_p.h"

namespace decnumber {
namespace {

Cut compareToHalf(Coefficient const& rest, Coefficient const& divisor) {
  if (isZero(rest)) return Cut::kNothing;
  Coefficient twice = rest;
  add(twice, rest);
  switch (order(twice, divisor)) {
    case -1:
      return Cut::kBelowHalf;
    case 0:
      return Cut::kHalf;
    default:
      return Cut::kAboveHalf;
  }
}

// What a cut becomes when further digits, not all of them zeros, follow it.
Cut withMoreBehind(Cut cut) {
  if (cut == Cut::kNothing) return Cut::kBelowHalf;
  return cut == Cut::kHalf ? Cut::kAboveHalf : cut;
}

template <int N>
Dropped dropByReciprocal(Wide<N> const& value, int count) {
  Division const division = divideByPower(value, count);
  return {division.quotient, compareToHalf(division.rest, power<3>(count))};
}

// Digits that even the half of a unit is above go first, in pieces that fit a word.
template <int N>
Dropped dropInPieces(Wide<N> value, int count) {
  if (count > countDigits(value)) {
    return {{}, isZero(value) ? Cut::kNothing : Cut::kBelowHalf};
  }
  Word lost = 0;
  while (count > kMaxDrop) {
    int const piece = std::min(count - kMaxDrop, 19);
    lost |= divideBy(value, kPowers.rows[piece].w[0]);
    count -= piece;
  }
  Dropped dropped = dropByReciprocal(resize<6>(value), count);
  if (lost != 0) dropped.cut = withMoreBehind(dropped.cut);
  return dropped;
}

bool overflowsToInfinity(decRounding mode, bool isNegative) {
  switch (mode) {
    case kDecRoundDown:
    case kDecRound05Up:
      return false;
    case kDecRoundCeiling:
      return !isNegative;
    case kDecRoundFloor:
      return isNegative;
    default:
      return true;
  }
}

decSext* overflow(decSext* result, bool isNegative, decContext* context) {
  context->status |= kDecOverflow | kDecInexact | kDecRounded;
  if (overflowsToInfinity(context->round, isNegative)) return packInfinity(result, isNegative);
  Coefficient largest = power<3>(kDigits);
  subtract(largest, {{1, 0, 0}});
  return pack(result, isNegative, largest, kTop);
}

// Rounds the cut coefficient; one more digit moves into the exponent.
Coefficient round(Dropped const& dropped, bool isNegative, int& exponent, decContext* context) {
  context->status |= kDecRounded;
  if (dropped.cut == Cut::kNothing) return dropped.quotient;
  context->status |= kDecInexact;
  Coefficient rounded = dropped.quotient;
  if (!roundsUp(context->round, isNegative, rounded, dropped.cut)) return rounded;
  increment(rounded);
  if (isLess(rounded, power<3>(kDigits))) return rounded;
  ++exponent;
  return power<3>(kDigits - 1);
}

decSext* packClamped(decSext* result, bool isNegative, Coefficient const& coefficient, int exponent,
                     decContext* context) {
  if (exponent <= kTop) return pack(result, isNegative, coefficient, exponent);
  context->status |= kDecClamped;
  return pack(result, isNegative, multiplyLow<3>(coefficient, power<3>(exponent - kTop)), kTop);
}

decSext* packZero(decSext* result, bool isNegative, int exponent, decContext* context) {
  int const clamped = std::clamp(exponent, kTiny, kTop);
  if (clamped != exponent) context->status |= kDecClamped;
  return pack(result, isNegative, {}, clamped);
}

// The ends of the exponent's range: zeros, subnormal numbers, overflow and clamping.
template <int N>
[[gnu::noinline]] decSext* finishAtTheEnds(decSext* result, bool isNegative,
                                           Wide<N> const& coefficient, int exponent,
                                           decContext* context) {
  if (isZero(coefficient)) return packZero(result, isNegative, exponent, context);
  int const digits = countDigits(coefficient);
  bool const isSubnormal = exponent + digits - 1 < kDecSextMinExponent;
  int const drop = std::max(digits - kDigits, kTiny - exponent);
  Coefficient rounded = resize<3>(coefficient);
  unsigned const before = context->status;
  context->status = 0;
  if (drop > 0) {
    exponent += drop;
    rounded = round(dropDigits(coefficient, drop), isNegative, exponent, context);
  }
  bool const isInexact = (context->status & kDecInexact) != 0;
  context->status |= before;
  if (isSubnormal) context->status |= kDecSubnormal | (isInexact ? kDecUnderflow : 0U);
  if (isZero(rounded)) {
    context->status |= kDecClamped;
    return pack(result, isNegative, rounded, exponent);
  }
  if (exponent + countDigits(rounded) - 1 > kDecSextMaxExponent) {
    return overflow(result, isNegative, context);
  }
  return packClamped(result, isNegative, rounded, exponent, context);
}

}  // namespace

template <int N>
Dropped dropDigits(Wide<N> const& value, int count) {
  if constexpr (N <= 6) {
    if (count <= kMaxDrop) return dropByReciprocal(value, count);
  }
  return dropInPieces(value, count);
}

template Dropped dropDigits(Wide<3> const&, int);

bool roundsUp(decRounding mode, bool isNegative, Coefficient const& quotient, Cut cut) {
  if (cut == Cut::kNothing) return false;
  switch (mode) {
    case kDecRoundHalfEven:
      return cut == Cut::kAboveHalf || (cut == Cut::kHalf && (quotient.w[0] & 1) != 0);
    case kDecRoundHalfUp:
      return cut >= Cut::kHalf;
    case kDecRoundHalfDown:
      return cut == Cut::kAboveHalf;
    case kDecRoundUp:
      return true;
    case kDecRoundDown:
      return false;
    case kDecRoundCeiling:
      return !isNegative;
    case kDecRoundFloor:
      return isNegative;
    case kDecRound05Up: {
      // 2^64 leaves 1 by 5, so the words' remainders add up.
      Word const byFive = (quotient.w[0] % 5 + quotient.w[1] % 5 + quotient.w[2] % 5) % 5;
      return byFive == 0;
    }
  }
  return false;
}

template <int N>
decSext* finish(decSext* result, bool isNegative, Wide<N> const& coefficient, int exponent,
                decContext* context) {
  int const drop = std::max(countDigits(coefficient) - kDigits, 0);
  if (exponent < kDecSextMinExponent || exponent + drop >= kTop || isZero(coefficient)) {
    return finishAtTheEnds(result, isNegative, coefficient, exponent, context);
  }
  if (drop == 0) return pack(result, isNegative, resize<3>(coefficient), exponent);
  exponent += drop;
  Coefficient const rounded = round(dropDigits(coefficient, drop), isNegative, exponent, context);
  return pack(result, isNegative, rounded, exponent);
}

template decSext* finish(decSext*, bool, Wide<3> const&, int, decContext*);
template decSext* finish(decSext*, bool, Wide<6> const&, int, decContext*);
template decSext* finish(decSext*, bool, Wide<9> const&, int, decContext*);

}  // namespace decnumber
