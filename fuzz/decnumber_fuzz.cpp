// SPDX-License-Identifier: MIT
//
// Decimals of any bits. The first byte chooses the rounding mode, then come three decimals of 24
// bytes. Every operation on them gives a canonical decimal, whatever the result lies over, and the
// laws hold that rounding leaves intact.
// Aimed at platform/linux/decnumber.cpp platform/linux/decnumber_divide.cpp
// Aimed at platform/linux/decnumber_round.cpp platform/linux/decnumber_convert.cpp

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "decnumber.h"
#include "target.h"

namespace {

using Unary = decSext* (*)(decSext*, decSext const*, decContext*);
using Binary = decSext* (*)(decSext*, decSext const*, decSext const*, decContext*);

constexpr Unary kUnary[] = {decSextReduce, decSextMinus, decSextAbs};
constexpr Binary kBinary[] = {decSextAdd,     decSextSubtract,      decSextMultiply,
                              decSextDivide,  decSextDivideInteger, decSextRemainder,
                              decSextCompare, decSextRemainderNear, decSextQuantize};
constexpr unsigned kInvalid =
    kDecInvalidOperation | kDecDivisionUndefined | kDecDivisionImpossible | kDecDivisionByZero;

int mode = 0;

struct Context : decContext {
  Context() {
    decContextDefault(this, 192);
    decContextSetRounding(this, mode);
  }
};

bool sameBits(decSext const& a, decSext const& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

decSext integer(int value) {
  decSext result;
  return *decSextFromInt32(&result, value);
}

decSext canonical(decSext const& value) {
  Context context;
  decNumber number;
  decSext result;
  decimal192FromNumber(&result, decimal192ToNumber(&value, &number), &context);
  require((context.status & ~unsigned{kDecSubnormal}) == 0);
  return result;
}

decSext const& checked(decSext const& value) {
  require(sameBits(value, canonical(value)));
  return value;
}

decSext apply(Binary operation, decSext const& left, decSext const& right,
              decContext* context = nullptr) {
  Context own;
  decSext result;
  operation(&result, &left, &right, context == nullptr ? &own : context);
  return checked(result);
}

bool isNumber(decSext const& value) {
  return decSextIsNaN(&value) == 0;
}

bool isFinite(decSext const& value) {
  return isNumber(value) && decSextIsInfinite(&value) == 0;
}

bool equal(decSext const& a, decSext const& b) {
  decSext const relation = apply(decSextCompare, a, b);
  return decSextIsZero(&relation) != 0;
}

decSext negated(decSext value) {
  value.words[2] ^= 1ULL << 63;
  return value;
}

void checkAlone(decSext const& x) {
  Context context;
  decSext result;
  for (auto const operation : kUnary) {
    checked(*operation(&result, &x, &context));
    decSext over = x;
    require(sameBits(result, *operation(&over, &over, &context)));
  }
  checked(*decSextToIntegralValue(&result, &x, &context, mode));
  decSext swapped = x;
  decSextByteSwap(decSextByteSwap(&swapped));
  require(sameBits(swapped, x));
  require(decSextDigits(&x) >= 1 && decSextDigits(&x) <= kDecSextDigits);
}

void checkSquareRoot(decSext const& x) {
  Context context;
  decNumber number;
  decNumberSquareRoot(&number, decimal192ToNumber(&x, &number), &context);
  decSext root;
  checked(*decimal192FromNumber(&root, &number, &context));
  if (!isNumber(root) || (context.status & kDecInexact) != 0) return;
  require(equal(apply(decSextMultiply, root, root), x));
}

void checkText(decSext const& x) {
  unsigned char bytes[kDecSextDigits];
  int exponent = 0;
  std::string text = decSextToBCD(&x, &exponent, bytes) != 0 ? "-" : "";
  if (!isFinite(x)) return;
  for (unsigned const byte : bytes) text += static_cast<char>('0' + byte);
  text += "E" + std::to_string(exponent);
  Context context;
  decSext result;
  require(sameBits(*decSextFromString(&result, text.c_str(), &context), canonical(x)));
}

void checkInteger(decSext const& x) {
  Context context;
  long long const value = decSextToInt64(&x, &context, mode);
  unsigned const small = decSextToUInt32(&x, &context, mode);
  decSext back, rounded;
  decSextFromInt64(&back, value, &context);
  decSextToIntegralValue(&rounded, &x, &context, mode);
  require((value == 0 && context.status != 0) || equal(back, rounded));
  require(small == 0 || small == value);
}

void checkDouble(double value, decSext const& x) {
  Context context;
  decSext decimal;
  checked(*decSextFromDouble(&decimal, value, &context));
  double const back = decSextToDouble(&decimal, &context, 0);
  require(std::isnan(value) ? std::isnan(back) : std::memcmp(&back, &value, sizeof back) == 0);
  decSextToDouble(&x, &context, 0);
  require(context.status == 0);
}

// Over the left operand, over the right one, and over both.
void checkOverOperands(decSext const& x, decSext const& y) {
  for (auto const operation : kBinary) {
    decSext const result = apply(operation, x, y);
    Context context;
    decSext left = x, right = y, both = x;
    require(sameBits(result, *operation(&left, &left, &y, &context)));
    require(sameBits(result, *operation(&right, &x, &right, &context)));
    require(sameBits(apply(operation, x, x), *operation(&both, &both, &both, &context)));
  }
}

void checkLaws(decSext const& x, decSext const& y) {
  if (!isNumber(x) || !isNumber(y)) return;
  require(sameBits(apply(decSextAdd, x, y), apply(decSextAdd, y, x)));
  require(sameBits(apply(decSextMultiply, x, y), apply(decSextMultiply, y, x)));
  require(sameBits(apply(decSextSubtract, x, y), apply(decSextAdd, x, negated(y))));
  decSext const relation = apply(decSextCompare, x, y);
  decSext const reverse = apply(decSextCompare, y, x);
  require(sameBits(relation, decSextIsZero(&relation) != 0 ? reverse : negated(reverse)));
  require(sameBits(apply(decSextMultiply, x, integer(1)), canonical(x)));
  Context context;
  decSext reduced;
  require(equal(*decSextReduce(&reduced, &x, &context), x));
}

void checkDivision(decSext const& x, decSext const& y) {
  Context context;
  decSext const quotient = apply(decSextDivideInteger, x, y, &context);
  decSext const rest = apply(decSextRemainder, x, y, &context);
  if ((context.status & kInvalid) != 0 || !isFinite(x) || !isFinite(y)) return;
  decSext whole;
  decSextFMA(&whole, &quotient, &y, &rest, &context);
  require((context.status & kDecInexact) == 0 && equal(whole, x));
}

void checkQuantum(decSext const& x, decSext const& y) {
  decSext const result = apply(decSextQuantize, x, y);
  if (!isFinite(result) || !isFinite(y)) return;
  require(decSextGetExponent(&result) == decSextGetExponent(&y));
}

void checkFused(decSext const& x, decSext const& y, decSext const& z) {
  Context context;
  decSext result;
  checked(*decSextFMA(&result, &x, &y, &z, &context));
  decSext operands[] = {x, y, z};
  for (auto& over : operands) {
    decSext const before = over;
    decSextFMA(&over, &operands[0], &operands[1], &operands[2], &context);
    require(sameBits(std::exchange(over, before), result));
  }
  decSext const product = apply(decSextMultiply, x, y), zero = integer(0), one = integer(1);
  checked(*decSextFMA(&result, &x, &y, &zero, &context));
  require(isNumber(product) ? equal(product, result) : !isNumber(result));
  if (!isNumber(x) || !isNumber(z)) return;
  require(sameBits(*decSextFMA(&result, &x, &one, &z, &context), apply(decSextAdd, x, z)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  decSext o[3] = {};
  if (size == 0) return 0;
  mode = data[0] % 8;
  std::memcpy(o, data + 1, std::min(size - 1, sizeof o));
  for (auto const& x : o) {
    checkAlone(x);
    checkSquareRoot(x);
    checkText(x);
    checkInteger(x);
    checkDouble(std::bit_cast<double>(x.words[0]), x);
  }
  checkOverOperands(o[0], o[1]);
  checkLaws(o[0], o[1]);
  checkDivision(o[0], o[1]);
  checkQuantum(o[0], o[1]);
  checkFused(o[0], o[1], o[2]);
  Context context;
  o[0] = canonical(o[0]);
  checked(*decSextSetExponent(&o[0], &context, static_cast<int>(o[2].words[0])));
  return 0;
}
