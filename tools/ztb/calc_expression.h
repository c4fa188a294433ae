// SPDX-License-Identifier: MIT
//
// Decimal expressions in 52 digits, as ztb calc takes them:
//
//   expression = product (("+" | "-") product)*
//   product    = factor (("*" | "/" | "mod") factor)*
//   factor     = ("+" | "-")* (number | "(" expression ")" | call)
//   call       = ("sqrt" | "floor" | "ceiling") "(" expression ")"
//              | "round" "(" expression "," expression ")"
//   number     = (digit+ ["." digit*] | "." digit+) [("e" | "E") ["+" | "-"] digit+]
//
// with blanks, tabs and line ends between any two of these. Operations are those of ZtbReal: mod is
// the remainder to the nearest multiple (11 mod 3 is -1), floor rounds toward zero, and rounding to
// 0 places leaves a number as it is.

#ifndef ZTB_CALC_EXPRESSION_H
#define ZTB_CALC_EXPRESSION_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ztbreal.h"

namespace tool {

struct Calculation {
  static constexpr std::size_t kNoLoss = static_cast<std::size_t>(-1);

  ZtbReal value;                 // a number: neither null nor infinite
  std::size_t lossAt = kNoLoss;  // the first number or operation that lost digits, as a byte offset
};

// What is wrong with an expression, and where: at a byte offset up to its size.
class ExpressionError : public std::runtime_error {
 public:
  ExpressionError(std::size_t at, std::string const& reason)
      : std::runtime_error(reason), mAt(at) {}
  std::size_t at() const { return mAt; }

 private:
  std::size_t mAt;
};

// Calculates `expression`, or throws an ExpressionError: for what doesn't fit the grammar, nests
// deeper than 250, divides by zero or leaves the range of ZtbReal. Any bytes may be given.
Calculation calculate(std::string_view expression);

}  // namespace tool

#endif
