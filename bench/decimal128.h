// SPDX-License-Identifier: MIT
//
// The compiler's decimal type of 34 digits, where it has one. Its functions go into a shared
// library of their own: the compiler's support for it and Intel's library define the same names.

#ifndef DECIMAL128_H
#define DECIMAL128_H

#ifdef __DECIMAL_BID_FORMAT__

#include <string>

typedef float Decimal128 __attribute__((mode(TD)));

#define DECIMAL128_API __attribute__((visibility("default")))

DECIMAL128_API Decimal128 decimal128Parse(std::string const& text);
DECIMAL128_API double decimal128ToDouble(Decimal128 value);
DECIMAL128_API Decimal128 decimal128Add(Decimal128 a, Decimal128 b);
DECIMAL128_API Decimal128 decimal128Subtract(Decimal128 a, Decimal128 b);
DECIMAL128_API Decimal128 decimal128Multiply(Decimal128 a, Decimal128 b);
DECIMAL128_API Decimal128 decimal128Divide(Decimal128 a, Decimal128 b);
DECIMAL128_API int decimal128Compare(Decimal128 a, Decimal128 b);

#endif

#endif
