// SPDX-License-Identifier: MIT
//
// Rounding, clamping and packing of results.

#include <algorithm>

#include "decnumber_p.h"

namespace decnumber {
namespace {

template <int N>
inline Dropped dropByReciprocal(Wide<N> const& value, int count) {
  Division const division = divideByPower(value, count);
  return {division.quotient, cutOf(division.rest, power<3>(count))};
}

// Digits that even the half of a unit is above go first, in pieces that fit a word.
template <int N>
Dropped dropInPieces(Wide<N> value, int count) {
  if (count > countDigits(value)) {
    return {{}, {-1, !isZero(value)}};
  }
  Word lost = 0;
  while (count > kMaxDrop) {
    int const piece = std::min(count - kMaxDrop, 19);
    lost |= divideBy(value, kPowers.rows[piece].w[0]);
    count -= piece;
  }
  Dropped dropped = dropByReciprocal(resize<6>(value), count);
  if (lost != 0) dropped.cut = {dropped.cut.half < 0 ? -1 : 1, true};
  return dropped;
}

bool overflowsToInfinity(decRounding mode, bool isNegative) {
  switch (mode) {
    case kDecRoundUp:
    case kDecRoundHalfUp:
    case kDecRoundHalfEven:
    case kDecRoundHalfDown:
      return true;
    case kDecRoundCeiling:
      return !isNegative;
    case kDecRoundFloor:
      return isNegative;
    default:
      return false;
  }
}

decSext* overflow(decSext* result, bool isNegative, decContext* context) {
  context->status |= kDecOverflow | kDecInexact | kDecRounded;
  if (overflowsToInfinity(context->round, isNegative)) return packInfinity(result, isNegative);
  Coefficient largest = power<3>(kDigits);
  subtract(largest, {1, 0, 0});
  return pack(result, isNegative, largest, kTop);
}

// Rounds the cut coefficient; one more digit moves into the exponent.
inline Coefficient round(Dropped const& dropped, bool isNegative, int& exponent,
                         decContext* context) {
  context->status |= kDecRounded | (dropped.cut.isAny ? kDecInexact : 0U);
  Coefficient rounded = dropped.quotient;
  add(rounded, {}, roundsUp(context->round, isNegative, rounded, dropped.cut) ? 1 : 0);
  if (fitsDigits(rounded)) return rounded;
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
inline Dropped dropDigits(Wide<N> const& value, int count) {
  if constexpr (N <= 6) {
    if (count <= kMaxDrop) return dropByReciprocal(value, count);
  }
  return dropInPieces(value, count);
}

template Dropped dropDigits(Wide<3> const&, int);

bool roundsUpDirected(decRounding mode, bool isNegative, Coefficient const& quotient, Cut cut) {
  switch (mode) {
    case kDecRoundHalfUp:
      return cut.half >= 0;
    case kDecRoundHalfDown:
      return cut.half > 0;
    case kDecRoundUp:
      return cut.isAny;
    case kDecRoundCeiling:
      return cut.isAny && !isNegative;
    case kDecRoundFloor:
      return cut.isAny && isNegative;
    case kDecRound05Up:
      // 2^64 leaves 1 by 5, so the words' remainders add up.
      return cut.isAny && (quotient.w[0] % 5 + quotient.w[1] % 5 + quotient.w[2] % 5) % 5 == 0;
    default:
      return false;
  }
}

template <int N>
decSext* finish(decSext* result, bool isNegative, Wide<N> const& coefficient, int exponent,
                decContext* context) {
  constexpr int kMostDropped = 64 * N * 1233 / 4096 + 1 - kDigits;
  if (exponent < kDecSextMinExponent || exponent + kMostDropped >= kTop) {
    return finishAtTheEnds(result, isNegative, coefficient, exponent, context);
  }
  if (fitsDigits(coefficient)) {
    return pack(result, isNegative, resize<3>(coefficient), exponent);
  }
  int const drop = countDigits(coefficient) - kDigits;
  exponent += drop;
  Coefficient const rounded = round(dropDigits(coefficient, drop), isNegative, exponent, context);
  return pack(result, isNegative, rounded, exponent);
}

template decSext* finish(decSext*, bool, Wide<3> const&, int, decContext*);
template decSext* finish(decSext*, bool, Wide<4> const&, int, decContext*);
template decSext* finish(decSext*, bool, Wide<6> const&, int, decContext*);
template decSext* finish(decSext*, bool, Wide<9> const&, int, decContext*);

decSext* finishCut(decSext* result, bool isNegative, Dropped const& dropped, int exponent,
                   decContext* context) {
  if (exponent >= kDecSextMinExponent && exponent < kTop) {
    Coefficient const rounded = round(dropped, isNegative, exponent, context);
    return pack(result, isNegative, rounded, exponent);
  }
  // Two digits on the same side of the half stand for what was cut off, wherever it is rounded.
  Coefficient coefficient = dropped.quotient;
  multiplyAdd(coefficient, 100, static_cast<Word>(50 + 49 * dropped.cut.half));
  return finish(result, isNegative, coefficient, exponent - 2, context);
}

}  // namespace decnumber
