// SPDX-License-Identifier: MIT
//
// Strings to values: number parsing and date operations.

#ifndef ZTSSTR12_H
#define ZTSSTR12_H

// The order of the elements in a numeric date text. Opaque to callers but for being passed on.
using ZtsDateFormat = int;

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
