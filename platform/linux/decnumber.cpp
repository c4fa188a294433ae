// SPDX-License-Identifier: MIT
//
// Decimal numbers: contexts, questions, sums, products, comparison and rounding to an exponent.

#include "decnumber.h"

#include <algorithm>
#include <utility>

#include "decnumber_p.h"

using decnumber::Coefficient;
using decnumber::Finite;
using decnumber::Wide;
using decnumber::Word;

namespace decnumber {

bool fitsDigitsBarely(Coefficient const& value) {
  return isLess(value, power<3>(kDigits));
}

decSext* packInfinity(decSext* result, bool isNegative) {
  *result = {{0, 0, kInfinityBits | (isNegative ? kSignBit : 0)}};
  return result;
}

decSext* packNaN(decSext* result, bool isNegative, Coefficient const& payload, Word kind) {
  *result = {{payload.w[0], payload.w[1], payload.w[2] | kind | (isNegative ? kSignBit : 0)}};
  return result;
}

decSext* refuse(decSext* result, decContext* context, unsigned status) {
  context->status |= status;
  return decSextNaN(result);
}

namespace {

bool isInfinite(decSext const* value) {
  return (value->words[2] & kQuietBits) == kInfinityBits;
}

// The payload, or 0 for one of more than 51 digits.
Coefficient legalPayload(Coefficient const& payload) {
  return isLess(payload, power<3>(kDigits - 1)) ? payload : Coefficient{};
}

Coefficient payloadOf(decSext const* value) {
  return legalPayload({value->words[0], value->words[1], value->words[2] & kPayloadMask});
}

// The canonical encoding of a value that no operation changes.
decSext* packCanonical(decSext* result, decSext const* value) {
  Finite number;
  if (takeApart(value, number)) {
    return pack(result, number.isNegative, number.coefficient, number.exponent);
  }
  return packInfinity(result, (value->words[2] & kSignBit) != 0);
}

}  // namespace

decSext* propagate(decSext* result, decSext const* left, decSext const* right,
                   decContext* context) {
  bool const isSignal = isSignaling(left) || isSignaling(right);
  if (isSignal) context->status |= kDecInvalidOperation;
  bool const isLeft = isSignal ? isSignaling(left) : isNaN(left);
  decSext const* const source = isLeft ? left : right;
  return packNaN(result, decSextIsSigned(source) != 0, payloadOf(source), kQuietBits);
}

void stripZeros(Coefficient& coefficient, int& exponent, int limit) {
  // A number that ends in n zeros is divisible by 2^n, which is seen at once.
  for (int count = 32; count > 0; count /= 2) {
    while (limit - exponent >= count && (coefficient.w[0] & ((Word{1} << count) - 1)) == 0) {
      Division const division = divideByPower(coefficient, count);
      if (!isZero(division.rest)) break;
      coefficient = division.quotient;
      exponent += count;
    }
  }
}

namespace {

// Sums

// An exact zero sum of two numbers is negative if both are, or if one is and the mode is floor.
bool isZeroSumNegative(bool isNegativeA, bool isNegativeB, decContext const* context) {
  if (isNegativeA == isNegativeB) return isNegativeA;
  return context->round == kDecRoundFloor;
}

// Adds the signed magnitude `b` to `a`; gives the sign of the sum. Signs of random numbers can't be
// foretold, so there is no branch on them.
template <int N>
inline bool addSigned(Wide<N>& a, bool isNegativeA, Wide<N> const& b, bool isNegativeB) {
  Word const isDifference = isNegativeA != isNegativeB ? 1 : 0;
  Word const carry = add(a, turned(b, 0 - isDifference), isDifference);
  Word const isTurned = isDifference & (carry ^ 1);
  a = turned(a, 0 - isTurned);
  add(a, {}, isTurned);
  return isNegativeA != (isTurned != 0);
}

// `aligned`, which has the sign of `upper`, plus `lower`, with the exponent given.
template <int N>
inline decSext* finishSum(decSext* result, Finite const& upper, Wide<N> aligned,
                          Finite const& lower, int exponent, decContext* context) {
  bool isNegative =
      addSigned(aligned, upper.isNegative, resize<N>(lower.coefficient), lower.isNegative);
  if (isZero(aligned)) {
    isNegative = isZeroSumNegative(upper.isNegative, lower.isNegative, context);
  }
  return finish(result, isNegative, aligned, exponent, context);
}

// With the exponents so far apart that the lower number reaches no digit of the result, anything
// but zero in its place rounds the same way.
decSext* sumFarApart(decSext* result, Finite const& upper, int digits, Finite const& lower,
                     decContext* context) {
  constexpr int kAlignedDigits = kDigits + 3;
  int const shift = kAlignedDigits - digits;
  Finite trace = lower;
  trace.coefficient = {isZero(lower.coefficient) ? 0 : 1, 0, 0};
  return finishSum(result, upper, multiplyLow<3>(upper.coefficient, power<3>(shift)), trace,
                   upper.exponent - shift, context);
}

inline decSext* sum(decSext* result, Finite const& a, Finite const& b, decContext* context) {
  bool const isSwapped = a.exponent < b.exponent;
  Finite const& upper = isSwapped ? b : a;
  Finite const& lower = isSwapped ? a : b;
  int const gap = upper.exponent - lower.exponent;
  if (gap == 0 || isZero(upper.coefficient)) {
    return finishSum(result, upper, upper.coefficient, lower, lower.exponent, context);
  }
  if (gap < 20) {
    return finishSum(result, upper, multiply(upper.coefficient, power<1>(gap)), lower,
                     lower.exponent, context);
  }
  // 10^gap is below 2 to the power 10/3 gap, so that the product has 255 bits at most, and the sum
  // with the other 173 bits fits four words.
  if (gap <= 57 && bitLength(upper.coefficient) + gap * 10 / 3 < 255) {
    return finishSum(result, upper, multiplyLow<4>(upper.coefficient, power<3>(gap)), lower,
                     lower.exponent, context);
  }
  // 106 digits fit six words. With more, the other number is less than one in the 55th digit.
  int const digits = countDigits(upper.coefficient);
  if (gap + digits <= 106) {
    return finishSum(result, upper, multiplyLow<6>(upper.coefficient, power<6>(gap)), lower,
                     lower.exponent, context);
  }
  return sumFarApart(result, upper, digits, lower, context);
}

[[gnu::noinline]] decSext* sumOfSpecials(decSext* result, decSext const* left, decSext const* right,
                                         bool isSubtraction, decContext* context) {
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  bool const leftSign = decSextIsSigned(left) != 0;
  bool const rightSign = (decSextIsSigned(right) != 0) != isSubtraction;
  if (isInfinite(left) && isInfinite(right) && leftSign != rightSign) {
    return refuse(result, context, kDecInvalidOperation);
  }
  return packInfinity(result, isInfinite(left) ? leftSign : rightSign);
}

// The sum of two numbers of one exponent where nothing is near an end of its range, and isn't zero;
// false for all others. Measured by the benchmark real/sum_1e6_prices.
inline bool sumAtOnce(decSext* result, decSext const* left, decSext const* right,
                      bool isSubtraction) {
  constexpr Word kSubnormalExponents = kDigits - 1;
  constexpr Word kSpecialExponents = Word{3} << 16;
  Word const leftHead = left->words[2];
  Word const rightHead = right->words[2];
  Word const exponent = leftHead << 1 >> (kExponentShift + 1);
  if (exponent != rightHead << 1 >> (kExponentShift + 1)) return false;
  if (exponent - kSubnormalExponents >= kSpecialExponents - kSubnormalExponents) return false;
  Coefficient a{left->words[0], left->words[1], leftHead & kCoefficientMask};
  Coefficient const b{right->words[0], right->words[1], rightHead & kCoefficientMask};
  if (a.w[2] >= kSafeHead || b.w[2] >= kSafeHead) return false;
  bool const isNegative =
      addSigned(a, leftHead >> 63 != 0, b, (rightHead >> 63 != 0) != isSubtraction);
  if (a.w[2] >= kSafeHead || isZero(a)) return false;
  pack(result, isNegative, a, static_cast<int>(exponent) - kBias);
  return true;
}

inline decSext* addOrSubtract(decSext* result, decSext const* left, decSext const* right,
                              bool isSubtraction, decContext* context) {
  if (sumAtOnce(result, left, right, isSubtraction)) return result;
  Finite a;
  Finite b;
  if (!takeApart(left, a) || !takeApart(right, b)) {
    return sumOfSpecials(result, left, right, isSubtraction, context);
  }
  b.isNegative = b.isNegative != isSubtraction;
  return sum(result, a, b, context);
}

// Products

// The product where one factor at least isn't finite.
decSext* productOfSpecials(decSext* result, decSext const* left, decSext const* right,
                           decContext* context) {
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  if (decSextIsZero(left) != 0 || decSextIsZero(right) != 0) {
    return refuse(result, context, kDecInvalidOperation);
  }
  return packInfinity(result, decSextIsSigned(left) != decSextIsSigned(right));
}

struct Product {
  Wide<6> coefficient;
  int exponent;
  bool isNegative;
};

Product multiplyExactly(Finite const& a, Finite const& b) {
  return {multiply(a.coefficient, b.coefficient), a.exponent + b.exponent,
          a.isNegative != b.isNegative};
}

// A term of an exact sum of up to 160 digits.
struct Term {
  Wide<9> coefficient;
  int exponent;
  bool isNegative;
};

// Lowers the term's exponent to `exponent`, or as far as it can matter: behind 55 digits, and
// behind the digits that the other term has, nothing of the other one is more than a trace.
void lowerExponent(Term& upper, Term& other) {
  int const digits = countDigits(upper.coefficient);
  int const otherDigits = countDigits(other.coefficient);
  int gap = upper.exponent - other.exponent;
  int const enough = std::max(kDigits + 3 - digits, 0) + otherDigits + 1;
  if (gap > enough) {
    gap = std::max(kDigits + 3 - digits, 0) + 1;
    other.coefficient = resize<9>(Wide<1>{isZero(other.coefficient) ? 0 : 1});
    other.exponent = upper.exponent - gap;
  }
  upper.coefficient = multiplyLow<9>(upper.coefficient, power<9>(gap));
  upper.exponent -= gap;
}

decSext* sumOfTerms(decSext* result, Term a, Term b, decContext* context) {
  if (a.exponent < b.exponent) std::swap(a, b);
  if (isZero(a.coefficient)) {
    a.exponent = b.exponent;
  } else {
    lowerExponent(a, b);
  }
  bool isNegative = addSigned(a.coefficient, a.isNegative, b.coefficient, b.isNegative);
  if (isZero(a.coefficient)) isNegative = isZeroSumNegative(a.isNegative, b.isNegative, context);
  return finish(result, isNegative, a.coefficient, b.exponent, context);
}

decSext* fmaOfSpecials(decSext* result, decSext const* a, decSext const* b, decSext const* c,
                       decContext* context) {
  if (isSignaling(c) && !isSignaling(a) && !isSignaling(b)) {
    return propagate(result, c, c, context);
  }
  decSext product;
  if (isNaN(a) || isNaN(b)) return propagate(result, a, b, context);
  if (isInfinite(a) || isInfinite(b)) {
    productOfSpecials(&product, a, b, context);
    if (isNaN(&product)) return decSextCopy(result, &product);
  } else {
    decSextZero(&product);
  }
  return decSextAdd(result, &product, c, context);
}

// Comparison

// -1, 0 or 1 for magnitudes that aren't zero.
int orderOfMagnitudes(Finite const& a, Finite const& b) {
  int const gap = a.exponent - b.exponent;
  if (gap == 0) return order(a.coefficient, b.coefficient);
  if (gap < 0) return -orderOfMagnitudes(b, a);
  // A power of ten has at least 3 bits a digit: whatever is that much longer is greater.
  if (bitLength(a.coefficient) + 3 * gap > bitLength(b.coefficient)) return 1;
  return order(multiplyLow<3>(a.coefficient, power<3>(gap)), b.coefficient);
}

int orderOfFinite(Finite const& a, Finite const& b) {
  bool const aIsZero = isZero(a.coefficient);
  bool const bIsZero = isZero(b.coefficient);
  if (aIsZero && bIsZero) return 0;
  if (aIsZero) return b.isNegative ? 1 : -1;
  if (bIsZero || a.isNegative != b.isNegative) return a.isNegative ? -1 : 1;
  return a.isNegative ? orderOfMagnitudes(b, a) : orderOfMagnitudes(a, b);
}

int signOfInfinity(decSext const* value) {
  if (!isInfinite(value)) return 0;
  return decSextIsSigned(value) != 0 ? -1 : 1;
}

// Rounding to an exponent

// The number with a greater exponent, by the mode, and what was cut off.
Cut raiseExponent(Finite& number, int exponent, decRounding mode) {
  Dropped const dropped = dropDigits(number.coefficient, exponent - number.exponent);
  number.coefficient = dropped.quotient;
  number.exponent = exponent;
  if (roundsUp(mode, number.isNegative, dropped.quotient, dropped.cut)) {
    increment(number.coefficient);
  }
  return dropped.cut;
}

decSext* quantizeFinite(decSext* result, Finite number, int exponent, decContext* context) {
  int const fill = number.exponent - exponent;
  if (isZero(number.coefficient)) return pack(result, number.isNegative, {}, exponent);
  if (fill >= 0) {
    if (fill + countDigits(number.coefficient) > kDigits) {
      return refuse(result, context, kDecInvalidOperation);
    }
    number.coefficient = multiplyLow<3>(number.coefficient, power<3>(fill));
  } else {
    context->status |= kDecRounded;
    if (raiseExponent(number, exponent, context->round).isAny) context->status |= kDecInexact;
  }
  // Nothing is left to be rounded: only a subnormal result is told.
  return isZero(number.coefficient)
             ? pack(result, number.isNegative, {}, exponent)
             : finish(result, number.isNegative, number.coefficient, exponent, context);
}

// The integer nearest to the number by the mode; false if its magnitude is 10^52 or more.
bool toInteger(Finite& number, decRounding mode) {
  if (number.exponent < 0) {
    raiseExponent(number, 0, mode);
    return true;
  }
  if (isZero(number.coefficient)) return true;
  if (number.exponent + countDigits(number.coefficient) > kDigits) return false;
  number.coefficient = multiplyLow<3>(number.coefficient, power<3>(number.exponent));
  return true;
}

// The magnitude if the number rounds to an integer of at most `positive` or, below zero, of the
// magnitude `negative`; otherwise 0 with an invalid operation.
Word toMagnitude(decSext const* value, decContext* context, int mode, Word positive, Word negative,
                 bool& isNegative) {
  Finite number;
  isNegative = false;
  if (takeApart(value, number) && toInteger(number, static_cast<decRounding>(mode))) {
    Coefficient const limit{number.isNegative ? negative : positive, 0, 0};
    if (!isLess(limit, number.coefficient)) {
      isNegative = number.isNegative;
      return number.coefficient.w[0];
    }
  }
  context->status |= kDecInvalidOperation;
  return 0;
}

// The operand with the sign given, as arithmetic leaves it.
decSext* withSign(decSext* result, decSext const* operand, bool isNegative, decContext* context) {
  Finite number;
  if (takeApart(operand, number)) {
    return finish(result, isNegative, number.coefficient, number.exponent, context);
  }
  if (isNaN(operand)) return propagate(result, operand, operand, context);
  return packInfinity(result, isNegative);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decContext* decContextDefault(decContext* context, int kind) {
  *context = {kDigits, kDecRoundHalfEven, kind == 192 ? 0U : unsigned{kDecInvalidContext}};
  return context;
}

decContext* decContextSetRounding(decContext* context, int mode) {
  context->round = static_cast<decRounding>(mode);
  return context;
}

decSext* decSextNaN(decSext* result) {
  *result = {{0, 0, kQuietBits}};
  return result;
}

decSext* decSextZero(decSext* result) {
  return pack(result, false, {}, 0);
}

decSext* decSextCopy(decSext* result, decSext const* value) {
  *result = *value;
  return result;
}

decSext* decSextCopyAbs(decSext* result, decSext const* value) {
  *result = *value;
  result->words[2] &= ~kSignBit;
  return result;
}

int decSextIsNaN(decSext const* value) {
  return isNaN(value) ? 1 : 0;
}

int decSextIsZero(decSext const* value) {
  Finite number{};
  return takeApart(value, number) && isZero(number.coefficient) ? 1 : 0;
}

int decSextIsInfinite(decSext const* value) {
  return isInfinite(value) ? 1 : 0;
}

int decSextIsSigned(decSext const* value) {
  return (value->words[2] & kSignBit) != 0 ? 1 : 0;
}

int decSextDigits(decSext const* value) {
  Finite number;
  if (takeApart(value, number)) return std::max(countDigits(number.coefficient), 1);
  return isNaN(value) ? std::max(countDigits(payloadOf(value)), 1) : 1;
}

int decSextGetExponent(decSext const* value) {
  Finite number;
  return takeApart(value, number) ? number.exponent : 0;
}

decSext* decSextSetExponent(decSext* value, decContext* context, int exponent) {
  Finite number;
  if (!takeApart(value, number)) return value;
  return finish(value, number.isNegative, number.coefficient,
                std::clamp(exponent, -kExponentBound, kExponentBound), context);
}

long long decSextToInt64(decSext const* value, decContext* context, int mode) {
  constexpr Word kSmallest = Word{1} << 63;
  bool isNegative;
  Word const magnitude = toMagnitude(value, context, mode, kSmallest - 1, kSmallest, isNegative);
  return static_cast<long long>(isNegative ? Word{0} - magnitude : magnitude);
}

unsigned decSextToUInt32(decSext const* value, decContext* context, int mode) {
  bool isNegative;
  return static_cast<unsigned>(toMagnitude(value, context, mode, 0xFFFFFFFF, 0, isNegative));
}

decSext* decSextByteSwap(decSext* value) {
  *value = {{__builtin_bswap64(value->words[2]), __builtin_bswap64(value->words[1]),
             __builtin_bswap64(value->words[0])}};
  return value;
}

decSext* decSextAdd(decSext* result, decSext const* left, decSext const* right,
                    decContext* context) {
  return addOrSubtract(result, left, right, false, context);
}

decSext* decSextSubtract(decSext* result, decSext const* left, decSext const* right,
                         decContext* context) {
  return addOrSubtract(result, left, right, true, context);
}

decSext* decSextMultiply(decSext* result, decSext const* left, decSext const* right,
                         decContext* context) {
  Finite a;
  Finite b;
  if (!takeApart(left, a) || !takeApart(right, b)) {
    return productOfSpecials(result, left, right, context);
  }
  Product const product = multiplyExactly(a, b);
  return finish(result, product.isNegative, product.coefficient, product.exponent, context);
}

decSext* decSextFMA(decSext* result, decSext const* a, decSext const* b, decSext const* c,
                    decContext* context) {
  Finite x;
  Finite y;
  Finite z;
  if (!takeApart(a, x) || !takeApart(b, y) || !takeApart(c, z)) {
    return fmaOfSpecials(result, a, b, c, context);
  }
  Product const product = multiplyExactly(x, y);
  return sumOfTerms(result, {resize<9>(product.coefficient), product.exponent, product.isNegative},
                    {resize<9>(z.coefficient), z.exponent, z.isNegative}, context);
}

decSext* decSextQuantize(decSext* result, decSext const* left, decSext const* right,
                         decContext* context) {
  Finite number;
  Finite pattern;
  if (takeApart(left, number) && takeApart(right, pattern)) {
    return quantizeFinite(result, number, pattern.exponent, context);
  }
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  if (isInfinite(left) && isInfinite(right)) {
    return packInfinity(result, decSextIsSigned(left) != 0);
  }
  return refuse(result, context, kDecInvalidOperation);
}

decSext* decSextCompare(decSext* result, decSext const* left, decSext const* right,
                        decContext* context) {
  if (isNaN(left) || isNaN(right)) return propagate(result, left, right, context);
  Finite a;
  Finite b;
  int const comparison = takeApart(left, a) && takeApart(right, b)
                             ? orderOfFinite(a, b)
                             : signOfInfinity(left) - signOfInfinity(right);
  return decSextFromInt32(result, std::clamp(comparison, -1, 1));
}

decSext* decSextReduce(decSext* result, decSext const* operand, decContext* context) {
  Finite number;
  if (!takeApart(operand, number)) {
    return withSign(result, operand, decSextIsSigned(operand) != 0, context);
  }
  if (isZero(number.coefficient)) return pack(result, number.isNegative, {}, 0);
  stripZeros(number.coefficient, number.exponent, kTop);
  return finish(result, number.isNegative, number.coefficient, number.exponent, context);
}

decSext* decSextMinus(decSext* result, decSext const* operand, decContext* context) {
  bool isNegative = decSextIsSigned(operand) == 0;
  if (decSextIsZero(operand) != 0 && context->round != kDecRoundFloor) isNegative = false;
  return withSign(result, operand, isNegative, context);
}

decSext* decSextAbs(decSext* result, decSext const* operand, decContext* context) {
  return withSign(result, operand, false, context);
}

decSext* decSextToIntegralValue(decSext* result, decSext const* operand, decContext* context,
                                int mode) {
  Finite number;
  if (isNaN(operand)) return propagate(result, operand, operand, context);
  if (!takeApart(operand, number) || number.exponent >= 0) return packCanonical(result, operand);
  raiseExponent(number, 0, static_cast<decRounding>(mode));
  return pack(result, number.isNegative, number.coefficient, number.exponent);
}

decNumber* decimal192ToNumber(decSext const* value, decNumber* number) {
  Finite finite;
  if (takeApart(value, finite)) {
    Coefficient const& coefficient = finite.coefficient;
    *number = {{coefficient.w[0], coefficient.w[1], coefficient.w[2]},
               finite.exponent,
               finite.isNegative,
               decNumber::kFinite};
    return number;
  }
  bool const isNegative = decSextIsSigned(value) != 0;
  if (isInfinite(value)) {
    *number = {{0, 0, 0}, 0, isNegative, decNumber::kInfinite};
    return number;
  }
  Coefficient const payload = payloadOf(value);
  *number = {{payload.w[0], payload.w[1], payload.w[2]},
             0,
             isNegative,
             isSignaling(value) ? decNumber::kSignalingNaN : decNumber::kQuietNaN};
  return number;
}

decSext* decimal192FromNumber(decSext* value, decNumber const* number, decContext* context) {
  Coefficient const coefficient{number->coefficient[0], number->coefficient[1],
                                number->coefficient[2]};
  switch (number->kind) {
    case decNumber::kFinite:
      return finish(value, number->isNegative, coefficient,
                    std::clamp(number->exponent, -kExponentBound, kExponentBound), context);
    case decNumber::kInfinite:
      return packInfinity(value, number->isNegative);
    case decNumber::kSignalingNaN:
      return packNaN(value, number->isNegative, legalPayload(coefficient), kSignalingBits);
    default:
      return packNaN(value, number->isNegative, legalPayload(coefficient), kQuietBits);
  }
}
