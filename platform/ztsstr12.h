// SPDX-License-Identifier: MIT
//
// Strings to values: number parsing and date operations.

#ifndef ZTSSTR12_H
#define ZTSSTR12_H

// The order of the elements in a numeric date text. Opaque to callers but for being passed on.
using ZtsDateFormat = int;

// Numbers
//
// Read a whole text as one number:
//
//   integer = [space] [sign] digit+ [space]
//   real    = [space] [sign] (digit+ ["." digit*] | "." digit+) [("e" | "E") [sign] digit+] [space]
//   sign    = "+" | "-"
//   space   = (blank | tab | line feed | vertical tab | form feed | carriage return)+
//
// Only the ASCII digits count, and the decimal point is "." under every locale. Hexadecimal
// numbers, digit grouping, infinities, NaNs and anything behind the number are refused; so is an
// integer with a point or an exponent. Reals are rounded to the nearest double; one whose
// magnitude overflows, or underflows to zero, is out of range.
// Result: 1 a number was read; 0 the text, or a null pointer, is no number; -1 it is a number that
// the type can't hold. `*result` changes only with 1. The reserved arguments are 0 and not looked
// at.
int zts_numparse(char const* text, int* result, int reserved1, int reserved2);
int zts_numparse64(char const* text, long long* result, int reserved1, int reserved2);
int zts_numparsedbl(char const* text, double* result);

int zts_compose_date(int year, int month, int day, int hour, int minute, int second, double* value);
int zts_compose_date_milli(int year, int month, int day, int hour, int minute, int second,
                           int milli, double* value);
int zts_decompose_date(double value, int* year, int* month, int* day, int* hour, int* minute,
                       int* second);
int zts_decompose_date_milli(double value, int* year, int* month, int* day, int* hour, int* minute,
                             int* second, int* milli);
int zts_string_to_date(char const* text, int* year, int* month, int* day, int* hour, int* minute,
                       int* second, ZtsDateFormat format);
ZtsDateFormat zts_get_date_format();
double zts_timetoday();
double zts_gmtimetoday();

#endif
