// SPDX-License-Identifier: MIT
//
// Powers of ten and their reciprocals, worked out by the compiler.

#include "decnumber_p.h"

namespace decnumber {
namespace {

constexpr Powers makePowers() {
  Powers table{};
  table.rows[0].w[0] = 1;
  for (int i = 1; i < kPowerCount; ++i) {
    table.rows[i] = table.rows[i - 1];
    multiplyAdd(table.rows[i], 10, 0);
  }
  return table;
}

// 2 to the power 192 + s, by 10 again and again: what each division cuts off doesn't change the
// integer below the quotient of them all. Bit by bit it is too much for some compilers.
constexpr Reciprocal makeReciprocal(int exponent, Coefficient const& power) {
  int const shift = bitLength(power) - 1;
  Wide<6> quotient{};
  quotient.w[3 + shift / 64] = Word{1} << (shift % 64);
  for (int i = 0; i < exponent; ++i) divideBy(quotient, 10);
  return {resize<3>(quotient), shift};
}

constexpr Reciprocals makeReciprocals() {
  Reciprocals table{};
  Coefficient power{1, 0, 0};
  for (int i = 1; i <= kMaxDrop; ++i) {
    multiplyAdd(power, 10, 0);
    table.rows[i] = makeReciprocal(i, power);
  }
  return table;
}

}  // namespace

constinit Powers const kPowers = makePowers();
constinit Reciprocals const kReciprocals = makeReciprocals();

}  // namespace decnumber
