// SPDX-License-Identifier: MIT
//
// Powers of ten and their reciprocals, worked out by the compiler.

#include "decnumber_p.h"

namespace decnumber {
namespace {

constexpr Powers makePowers() {
  Powers table{};
  table.rows[0].w[0] = 1;
  for (int i = 1; i < 173; ++i) {
    table.rows[i] = table.rows[i - 1];
    multiplyAdd(table.rows[i], 10, 0);
  }
  return table;
}

// Long division, bit by bit. The quotient is below 2^192, since no divisor is a power of two.
constexpr Reciprocal makeReciprocal(Coefficient const& divisor) {
  Reciprocal result{{}, bitLength(divisor) - 1};
  Coefficient rest = shiftLeft(Coefficient{1, 0, 0}, result.shift);
  for (int bit = 191; bit >= 0; --bit) {
    rest = shiftLeft(rest, 1);
    if (isLess(rest, divisor)) continue;
    subtract(rest, divisor);
    result.value.w[bit / 64] |= Word{1} << (bit % 64);
  }
  return result;
}

constexpr Reciprocals makeReciprocals() {
  Reciprocals table{};
  Coefficient power{1, 0, 0};
  for (int i = 1; i <= kMaxDrop; ++i) {
    multiplyAdd(power, 10, 0);
    table.rows[i] = makeReciprocal(power);
  }
  return table;
}

}  // namespace

constinit Powers const kPowers = makePowers();
constinit Reciprocals const kReciprocals = makeReciprocals();

}  // namespace decnumber
