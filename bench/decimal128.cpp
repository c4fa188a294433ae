// SPDX-License-Identifier: MIT
//
// The compiler's decimal type of 34 digits.

#include "decimal128.h"

#ifdef __DECIMAL_BID_FORMAT__

#include <algorithm>

Decimal128 decimal128Parse(std::string const& text) {
  std::size_t const end = std::min(text.find('E'), text.size());
  int exponent = end == text.size() ? 0 : std::stoi(text.substr(end + 1));
  std::size_t const point = std::min(text.find('.'), end);
  if (point < end) exponent -= static_cast<int>(end - point - 1);
  Decimal128 const ten = static_cast<Decimal128>(10);
  Decimal128 value = ten - ten;
  for (char const c : text.substr(0, end)) {
    if (c != '.') value = value * ten + static_cast<Decimal128>(c - '0');
  }
  for (; exponent > 0; --exponent) value *= ten;
  for (; exponent < 0; ++exponent) value /= ten;
  return value;
}

double decimal128ToDouble(Decimal128 value) {
  return static_cast<double>(value);
}

Decimal128 decimal128Add(Decimal128 a, Decimal128 b) {
  return a + b;
}

Decimal128 decimal128Subtract(Decimal128 a, Decimal128 b) {
  return a - b;
}

Decimal128 decimal128Multiply(Decimal128 a, Decimal128 b) {
  return a * b;
}

Decimal128 decimal128Divide(Decimal128 a, Decimal128 b) {
  return a / b;
}

int decimal128Compare(Decimal128 a, Decimal128 b) {
  if (a < b) return -1;
  return a == b ? 0 : 1;
}

#endif
