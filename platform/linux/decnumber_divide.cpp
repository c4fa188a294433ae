// SPDX-License-Identifier: MIT
//
// Decimal numbers: quotients, remainders and square roots.

#include <cmath>

#include "decnumber_p.h"

namespace decnumber {
namespace {

// Divides three words by two that are normalised, by their reciprocal (N. Möller, T. Granlund:
// Improved division by invariant integers, IEEE Transactions on Computers 60, 2011).
struct Divisor {
  Word upper;
  Word lower;
  Word reciprocal;
};

Divisor makeDivisor(Word upper, Word lower) {
  Word value = low(join(~upper, ~Word{0}) / upper);
  Word product = upper * value + lower;
  if (product < lower) {
    --value;
    if (product >= upper) {
      --value;
      product -= upper;
    }
    product -= upper;
  }
  DoubleWord const cross = times(value, lower);
  product += high(cross);
  if (product < high(cross)) {
    --value;
    if (join(product, low(cross)) >= join(upper, lower)) --value;
  }
  return {upper, lower, value};
}

// The quotient of a2:a1:a0 by the divisor; a2:a1 must be below the divisor. `rest` gets the rest.
inline Word divideStep(Divisor const& divisor, Word a2, Word a1, Word a0, DoubleWord& rest) {
  DoubleWord const estimate = times(divisor.reciprocal, a2) + join(a2, a1);
  Word quotient = high(estimate) + 1;
  DoubleWord const wanted = join(divisor.upper, divisor.lower);
  rest =
      join(a1 - high(estimate) * divisor.upper, a0) - times(divisor.lower, high(estimate)) - wanted;
  if (high(rest) >= low(estimate)) {
    --quotient;
    rest += wanted;
  }
  if (rest >= wanted) {
    ++quotient;
    rest -= wanted;
  }
  return quotient;
}

// One digit, in base 2^64, of the quotient of `window`, four words from its address, by the
// divisor: schoolbook division (D. Knuth's algorithm D). Leaves the rest in the window.
Word divideWindow(Word* window, Divisor const& divisor, Coefficient const& normalised) {
  Word quotient = ~Word{0};
  if (window[3] != divisor.upper || window[2] != divisor.lower) {
    DoubleWord rest;
    quotient = divideStep(divisor, window[3], window[2], window[1], rest);
  }
  Wide<4> const part = multiply(normalised, Wide<1>{quotient});
  Wide<4> dividend{window[0], window[1], window[2], window[3]};
  if (subtract(dividend, part) != 0) {
    Wide<4> const once = resize<4>(normalised);
    do {
      --quotient;
    } while (add(dividend, once) == 0);
  }
  for (int i = 0; i < 4; ++i) window[i] = dividend.w[i];
  return quotient;
}

}  // namespace

Division divide(Wide<6> const& dividend, Coefficient const& divisor) {
  int const shift = 192 - bitLength(divisor);
  Coefficient const normalised = shiftLeft(divisor, shift);
  Wide<6> rest = shiftLeft(dividend, shift);
  Divisor const head = makeDivisor(normalised.w[2], normalised.w[1]);
  Division result;
  for (int i = 2; i >= 0; --i) {
    result.quotient.w[i] = divideWindow(rest.w + i, head, normalised);
  }
  result.rest = shiftRight<3>(resize<3>(rest), shift);
  return result;
}

namespace {

// Quotients

[[gnu::noinline]] decSext* quotientOfSpecials(decSext* result, decSext const* left,
                                              decSext const* right, int zeroExponent,
                                              decContext* context) {
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  bool const isNegative = decSextIsSigned(left) != decSextIsSigned(right);
  bool const isLeftInfinite = decSextIsInfinite(left) != 0;
  bool const isRightInfinite = decSextIsInfinite(right) != 0;
  if (isLeftInfinite && isRightInfinite) return refuse(result, context, kDecInvalidOperation);
  if (isLeftInfinite) return packInfinity(result, isNegative);
  if (isRightInfinite) {
    if (zeroExponent != 0) context->status |= kDecClamped;
    return pack(result, isNegative, {}, zeroExponent);
  }
  if (decSextIsZero(left) != 0) return refuse(result, context, kDecDivisionUndefined);
  context->status |= kDecDivisionByZero;
  return packInfinity(result, isNegative);
}

// Whether the first digits of `a`, set side by side with those of `b`, are the smaller number.
bool isLessInDigits(Coefficient const& a, Coefficient const& b, int digitsLess) {
  if (digitsLess > 0) return isLess(multiplyLow<3>(a, power<3>(digitsLess)), b);
  return isLess(a, multiplyLow<3>(b, power<3>(-digitsLess)));
}

// The quotient of two numbers that aren't zero: by its digits, 52 of them before the rest.
decSext* quotientOfFinite(decSext* result, Finite const& a, Finite const& b, decContext* context) {
  bool const isNegative = a.isNegative != b.isNegative;
  int const digitsLess = countDigits(b.coefficient) - countDigits(a.coefficient);
  int const shift =
      kDigits - 1 + digitsLess + (isLessInDigits(a.coefficient, b.coefficient, digitsLess) ? 1 : 0);
  int exponent = a.exponent - b.exponent - shift;
  Division division = divide(multiplyLow<6>(a.coefficient, power<6>(shift)), b.coefficient);
  if (isZero(division.rest)) {
    stripZeros(division.quotient, exponent, a.exponent - b.exponent);
    return finish(result, isNegative, division.quotient, exponent, context);
  }
  return finishCut(result, isNegative, {division.quotient, cutOf(division.rest, b.coefficient)},
                   exponent, context);
}

// Integer quotients and remainders

struct IntegerDivision {
  Coefficient quotient;
  Coefficient rest;
  Coefficient divisor;  // at the exponent of the rest
  int exponent;
};

// False if the quotient has more than 52 digits. A quotient of 0 whose double is below 1 too may
// leave the divisor as a number that is above twice the rest, and nothing more.
bool divideToInteger(Finite const& a, Finite const& b, IntegerDivision& result) {
  int const gap = a.exponent - b.exponent;
  int const aDigits = countDigits(a.coefficient);
  int const bDigits = countDigits(b.coefficient);
  if (gap + aDigits - bDigits > kDigits) return false;
  if (gap >= 0) {
    Division const division = divide(multiplyLow<6>(a.coefficient, power<6>(gap)), b.coefficient);
    result = {division.quotient, division.rest, b.coefficient, b.exponent};
    return isLess(result.quotient, power<3>(kDigits));
  }
  if (bDigits - gap >= aDigits + 2) {
    result = {{}, a.coefficient, power<3>(kDigits + 2), a.exponent};
    return true;
  }
  Coefficient const divisor = multiplyLow<3>(b.coefficient, power<3>(-gap));
  Division const division = divide(resize<6>(a.coefficient), divisor);
  result = {division.quotient, division.rest, divisor, a.exponent};
  return true;
}

// Makes the rest that of the nearest integer; true if that lies beyond the quotient.
bool toNearest(IntegerDivision& division) {
  Coefficient twice = division.rest;
  add(twice, division.rest);
  int const comparison = order(twice, division.divisor);
  bool const isOdd = (division.quotient.w[0] & 1) != 0;
  if (comparison < 0 || (comparison == 0 && !isOdd)) return false;
  Coefficient rest = division.divisor;
  subtract(rest, division.rest);
  division.rest = rest;
  return true;
}

enum class Quotient { kTruncated, kNearest };

decSext* remainderOfFinite(decSext* result, Finite const& a, Finite const& b, Quotient kind,
                           decContext* context) {
  IntegerDivision division;
  if (isZero(a.coefficient)) {
    division = {{}, {}, {}, a.exponent < b.exponent ? a.exponent : b.exponent};
  } else if (!divideToInteger(a, b, division)) {
    return refuse(result, context, kDecDivisionImpossible);
  }
  bool isNegative = a.isNegative;
  // The nearest integer never needs a digit more than the one below: behind a quotient of 52 nines
  // the rest is less than half of the divisor.
  if (kind == Quotient::kNearest && !isZero(a.coefficient) && toNearest(division)) {
    isNegative = !isNegative;
  }
  return finish(result, isNegative, division.rest, division.exponent, context);
}

decSext* remainderOfSpecials(decSext* result, decSext const* left, decSext const* right,
                             decContext* context) {
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  if (decSextIsInfinite(left) != 0) return refuse(result, context, kDecInvalidOperation);
  if (decSextIsZero(right) != 0) {
    bool const isUndefined = decSextIsZero(left) != 0;
    return refuse(result, context, isUndefined ? kDecDivisionUndefined : kDecInvalidOperation);
  }
  Finite number;
  takeApart(left, number);
  return finish(result, number.isNegative, number.coefficient, number.exponent, context);
}

decSext* remainder(decSext* result, decSext const* left, decSext const* right, Quotient kind,
                   decContext* context) {
  Finite a;
  Finite b;
  if (takeApart(left, a) && takeApart(right, b) && !isZero(b.coefficient)) {
    return remainderOfFinite(result, a, b, kind, context);
  }
  return remainderOfSpecials(result, left, right, context);
}

// Square roots

// The highest two words of the value, in units of 2 to the power 256.
long double headOf(Wide<6> const& value) {
  constexpr long double kWord = 18446744073709551616.0L;
  return static_cast<long double>(value.w[5]) * kWord + static_cast<long double>(value.w[4]);
}

// (a + b) / 2
Coefficient mean(Coefficient a, Coefficient const& b) {
  Word const carry = add(a, b);
  Coefficient half = shiftRight<3>(a, 1);
  half.w[2] |= carry << 63;
  return half;
}

// The root of a value of 381 or 382 bits, or a few units more: Newton's iteration doubles the 60
// bits of the first guess twice, and in integers it never goes below the root.
Coefficient approximateRoot(Wide<6> const& value) {
  Coefficient root{0, 0, static_cast<Word>(std::sqrt(headOf(value)))};
  for (int i = 0; i < 2; ++i) root = mean(root, divide(value, root).quotient);
  return root;
}

// The integer below or at the root, and what is left of the value without its square.
Division rootOf(Wide<6> const& value) {
  int const shift = (382 - bitLength(value)) / 2;
  Coefficient root = shiftRight<3>(approximateRoot(shiftLeft(value, 2 * shift)), shift);
  Wide<6> rest = value;
  while (subtract(rest, multiply(root, root)) != 0) {
    subtract(root, {1, 0, 0});
    rest = value;
  }
  return {root, resize<3>(rest)};
}

void store(decNumber* result, Coefficient const& coefficient, int exponent) {
  *result = {{coefficient.w[0], coefficient.w[1], coefficient.w[2]},
             exponent,
             result->isNegative,
             decNumber::kFinite};
}

int halfOf(int exponent) {
  return exponent >> 1;
}

void rootOfFinite(decNumber* result, Coefficient const& coefficient, int exponent,
                  decContext* context) {
  // 103 or 104 digits with an even exponent have a root of 52 digits.
  int shift = 2 * kDigits - countDigits(coefficient);
  if (((exponent - shift) & 1) != 0) --shift;
  Division const root = rootOf(multiplyLow<6>(coefficient, power<6>(shift)));
  Coefficient digits = root.quotient;
  int rootExponent = (exponent - shift) / 2;
  if (isZero(root.rest)) {
    stripZeros(digits, rootExponent, halfOf(exponent));
  } else {
    // A half can't be: its square has a digit that the operand has not.
    context->status |= kDecInexact | kDecRounded;
    if (isLess(digits, root.rest)) increment(digits);
  }
  store(result, digits, rootExponent);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext* decSextDivide(decSext* result, decSext const* left, decSext const* right,
                       decContext* context) {
  Finite a;
  Finite b;
  if (!takeApart(left, a) || !takeApart(right, b) || isZero(b.coefficient)) {
    return quotientOfSpecials(result, left, right, kTiny, context);
  }
  if (isZero(a.coefficient)) {
    return finish(result, a.isNegative != b.isNegative, a.coefficient, a.exponent - b.exponent,
                  context);
  }
  return quotientOfFinite(result, a, b, context);
}

decSext* decSextDivideInteger(decSext* result, decSext const* left, decSext const* right,
                              decContext* context) {
  Finite a;
  Finite b;
  if (!takeApart(left, a) || !takeApart(right, b) || isZero(b.coefficient)) {
    return quotientOfSpecials(result, left, right, 0, context);
  }
  IntegerDivision division{};
  if (!isZero(a.coefficient) && !divideToInteger(a, b, division)) {
    return refuse(result, context, kDecDivisionImpossible);
  }
  return pack(result, a.isNegative != b.isNegative, division.quotient, 0);
}

decSext* decSextRemainder(decSext* result, decSext const* left, decSext const* right,
                          decContext* context) {
  return remainder(result, left, right, Quotient::kTruncated, context);
}

decSext* decSextRemainderNear(decSext* result, decSext const* left, decSext const* right,
                              decContext* context) {
  return remainder(result, left, right, Quotient::kNearest, context);
}

decNumber* decNumberSquareRoot(decNumber* result, decNumber const* operand, decContext* context) {
  *result = *operand;
  Coefficient const coefficient{operand->coefficient[0], operand->coefficient[1],
                                operand->coefficient[2]};
  switch (operand->kind) {
    case decNumber::kSignalingNaN:
      context->status |= kDecInvalidOperation;
      result->kind = decNumber::kQuietNaN;
      return result;
    case decNumber::kQuietNaN:
      return result;
    case decNumber::kInfinite:
      if (!operand->isNegative) return result;
      break;
    case decNumber::kFinite:
      if (isZero(coefficient)) {
        result->exponent = halfOf(operand->exponent);
        return result;
      }
      if (operand->isNegative) break;
      rootOfFinite(result, coefficient, operand->exponent, context);
      return result;
  }
  context->status |= kDecInvalidOperation;
  *result = {{0, 0, 0}, 0, false, decNumber::kQuietNaN};
  return result;
}
