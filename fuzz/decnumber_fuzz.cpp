// SPDX-License-Identifier: MIT
//
// Decimals of any bits. The first byte chooses the rounding mode, then come three decimals of 24
// bytes. Every operation on them gives a canonical decimal, whatever the result lies over, and the
// laws hold that rounding leaves intact.

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "decnumber.h"

namespace {

using Unary = decSext* (*)(decSext*, decSext const*, decContext*);
using Binary = decSext* (*)(decSext*, decSext const*, decSext const*, decContext*);

constexpr Unary kUnary[] = {decSextReduce, decSextMinus, decSextAbs};
constexpr Binary kBinary[] = {decSextAdd,     decSextSubtract,      decSextMultiply,
                              decSextDivide,  decSextDivideInteger, decSextRemainder,
                              decSextCompare, decSextRemainderNear, decSextQuantize};
constexpr unsigned kInvalid = kDecInvalidOperation | kDecDivisionUndefined | kDecDivisionImpossible;
constexpr unsigned long long kSign = 1ULL << 63;

int mode = 0;

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "decnumber_fuzz: %s\n", what);
  std::abort();
}

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
  require((context.status & ~unsigned{kDecSubnormal}) == 0, "a decimal changes put together again");
  return result;
}

decSext const& checked(decSext const& value) {
  require(sameBits(value, canonical(value)), "a result isn't canonical");
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
  value.words[2] ^= kSign;
  return value;
}

void checkAlone(decSext const& x) {
  decSext result;
  for (auto const operation : kUnary) {
    Context context;
    checked(*operation(&result, &x, &context));
    decSext over = x;
    require(sameBits(result, *operation(&over, &over, &context)), "unary result over its operand");
  }
  Context context;
  checked(*decSextToIntegralValue(&result, &x, &context, mode));
  decSext swapped = x;
  decSextByteSwap(decSextByteSwap(&swapped));
  require(sameBits(swapped, x), "bytes swapped twice");
  int const digits = decSextDigits(&x);
  require(digits >= 1 && digits <= kDecSextDigits, "digits");
}

void checkSquareRoot(decSext const& x) {
  Context context;
  decNumber number;
  decNumberSquareRoot(&number, decimal192ToNumber(&x, &number), &context);
  decSext root;
  checked(*decimal192FromNumber(&root, &number, &context));
  if (!isNumber(root) || (context.status & kDecInexact) != 0) return;
  require(equal(apply(decSextMultiply, root, root), x), "the square of an exact root");
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
  decSextFromString(&result, text.c_str(), &context);
  require(sameBits(result, canonical(x)), "digits as text");
}

void checkInteger(decSext const& x) {
  Context context;
  long long const value = decSextToInt64(&x, &context, mode);
  unsigned const small = decSextToUInt32(&x, &context, mode);
  decSext back;
  decSext rounded;
  decSextFromInt64(&back, value, &context);
  decSextToIntegralValue(&rounded, &x, &context, mode);
  if (value != 0 || context.status == 0) require(equal(back, rounded), "64-bit integer");
  if (small != 0) require(small == value, "32-bit integer");
}

void checkDouble(double value, decSext const& x) {
  Context context;
  decSext decimal;
  checked(*decSextFromDouble(&decimal, value, &context));
  double const back = decSextToDouble(&decimal, &context, 0);
  bool const isSame = std::bit_cast<std::uint64_t>(back) == std::bit_cast<std::uint64_t>(value);
  require(isSame || (std::isnan(value) && std::isnan(back)), "a double and back");
  decSextToDouble(&x, &context, 0);
  require(context.status == 0, "doubles set a status");
}

void checkPair(decSext const& x, decSext const& y) {
  for (auto const operation : kBinary) {
    decSext const result = apply(operation, x, y);
    Context context;
    decSext left = x;
    decSext right = y;
    require(sameBits(result, *operation(&left, &left, &y, &context)), "over the left operand");
    require(sameBits(result, *operation(&right, &x, &right, &context)), "over the right operand");
    decSext both = x;
    require(sameBits(apply(operation, x, x), *operation(&both, &both, &both, &context)),
            "over both operands");
  }
}

// Laws for numbers.
void checkLaws(decSext const& x, decSext const& y) {
  if (!isNumber(x) || !isNumber(y)) return;
  require(sameBits(apply(decSextAdd, x, y), apply(decSextAdd, y, x)), "x + y is y + x");
  require(sameBits(apply(decSextMultiply, x, y), apply(decSextMultiply, y, x)), "x y is y x");
  require(sameBits(apply(decSextSubtract, x, y), apply(decSextAdd, x, negated(y))),
          "x - y is x + -y");
  decSext const relation = apply(decSextCompare, x, y);
  decSext const reverse = apply(decSextCompare, y, x);
  require(decSextIsZero(&relation) != 0 ? sameBits(relation, reverse)
                                        : sameBits(relation, negated(reverse)),
          "x < y is y > x");
  require(sameBits(apply(decSextMultiply, x, integer(1)), canonical(x)), "x 1 is x");
  Context context;
  decSext reduced;
  require(equal(*decSextReduce(&reduced, &x, &context), x), "x reduced is x");
}

void checkDivision(decSext const& x, decSext const& y) {
  Context context;
  decSext const quotient = apply(decSextDivideInteger, x, y, &context);
  decSext const rest = apply(decSextRemainder, x, y, &context);
  if (context.status & (kInvalid | kDecDivisionByZero) || !isFinite(x) || !isFinite(y)) return;
  decSext whole;
  decSextFMA(&whole, &quotient, &y, &rest, &context);
  require((context.status & kDecInexact) == 0 && equal(whole, x), "x is quotient y + rest");
}

void checkQuantum(decSext const& x, decSext const& y) {
  decSext const result = apply(decSextQuantize, x, y);
  if (!isFinite(result) || !isFinite(y)) return;
  require(decSextGetExponent(&result) == decSextGetExponent(&y), "the exponent quantized to");
}

void checkFused(decSext const& x, decSext const& y, decSext const& z) {
  Context context;
  decSext result;
  checked(*decSextFMA(&result, &x, &y, &z, &context));
  decSext operands[] = {x, y, z};
  for (auto& over : operands) {
    decSext const before = over;
    decSextFMA(&over, &operands[0], &operands[1], &operands[2], &context);
    require(sameBits(over, result), "fma over an operand");
    over = before;
  }
  decSext const product = apply(decSextMultiply, x, y);
  decSext const zero = integer(0);
  decSext const one = integer(1);
  checked(*decSextFMA(&result, &x, &y, &zero, &context));
  require(isNumber(product) ? equal(product, result) : !isNumber(result), "x y + 0 is x y");
  if (!isNumber(x) || !isNumber(z)) return;
  decSextFMA(&result, &x, &one, &z, &context);
  require(sameBits(result, apply(decSextAdd, x, z)), "x 1 + z is x + z");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  decSext o[3] = {};
  if (size == 0) return 0;
  mode = data[0] % 8;
  std::memcpy(o, data + 1, size - 1 < sizeof o ? size - 1 : sizeof o);
  for (auto const& x : o) {
    checkAlone(x);
    checkSquareRoot(x);
    checkText(x);
    checkInteger(x);
    checkDouble(std::bit_cast<double>(x.words[0]), x);
  }
  checkPair(o[0], o[1]);
  checkLaws(o[0], o[1]);
  checkDivision(o[0], o[1]);
  checkQuantum(o[0], o[1]);
  checkFused(o[0], o[1], o[2]);
  Context context;
  int exponent = 0;
  std::memcpy(&exponent, &o[2], sizeof exponent);
  checked(*decSextSetExponent(&(o[0] = canonical(o[0])), &context, exponent));
  return 0;
}
