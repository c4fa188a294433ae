// SPDX-License-Identifier: MIT
//
// Exact decimal numbers of 52 digits.

#ifndef ZTBREAL_H
#define ZTBREAL_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The shape of an ODBC numeric structure, 19 bytes without gaps.
struct ZT_SQL_NUMERIC_STRUCT {
  unsigned char precision;
  signed char scale;
  unsigned char sign;
  unsigned char val[16];
};

class ZTB_API ZtbReal {
 public:
  ZtbReal();
  ZtbReal(ZtbReal const& other);
  ZtbReal(__int64 value);
  ZtbReal(double value);
  virtual ~ZtbReal();
  ZtbReal& operator=(ZtbReal const& other);
  ZtbReal& operator=(double value);

  ZtbReal& assign(__int64 value);
  ZtbReal& assign(double value);
  ZtbReal& assign(char const* text);
  ZtbReal& assign(ZT_SQL_NUMERIC_STRUCT const* record);
  ZtbReal& assign(unsigned __int64 const (*raw)[3], bool swap);

  bool truncated() const;
  bool isNull() const;
  void setNull();

  ZtbString asString(int width) const;
  ZtbString asString() const;
  void asFD(unsigned __int64 (*out)[3]);
  void asSQLNumeric(ZT_SQL_NUMERIC_STRUCT* out, bool* overflow, int precision, int scale) const;
  __int64 asInt64(bool* error) const;
  double asDouble(bool* error) const;

  ZtbReal add(ZtbReal const& rhs, bool* error);
  ZtbReal subtract(ZtbReal const& rhs, bool* error);
  ZtbReal multiply(ZtbReal const& rhs, bool* error);
  ZtbReal divide(ZtbReal const& rhs, bool* error);
  ZtbReal modulo(ZtbReal const& rhs) const;
  ZtbReal sqrt(bool* error) const;
  ZtbReal negative() const;
  ZtbReal absolute() const;
  ZtbReal floor() const;
  ZtbReal ceiling() const;
  ZtbReal round(int places) const;

  ZtbReal operator+(ZtbReal const& rhs);
  ZtbReal operator+(double rhs);
  ZtbReal operator-(ZtbReal const& rhs);
  ZtbReal operator-(double rhs);
  ZtbReal operator*(ZtbReal const& rhs);
  ZtbReal operator*(double rhs);
  ZtbReal operator/(ZtbReal const& rhs);
  ZtbReal operator/(double rhs);
  ZtbReal operator+=(ZtbReal const& rhs);
  ZtbReal operator+=(double rhs);
  ZtbReal operator-=(ZtbReal const& rhs);
  ZtbReal operator-=(double rhs);
  ZtbReal operator*=(ZtbReal const& rhs);
  ZtbReal operator*=(double rhs);
  ZtbReal operator/=(ZtbReal const& rhs);
  ZtbReal operator/=(double rhs);

  int compare(ZtbReal const& other) const;
  bool operator==(ZtbReal const& rhs) const;
  bool operator==(double rhs) const;
  bool operator!=(ZtbReal const& rhs) const;
  bool operator!=(double rhs) const;
  bool operator>(ZtbReal const& rhs) const;
  bool operator>(double rhs) const;
  bool operator<(double rhs) const;
  bool operator>=(ZtbReal const& rhs) const;
  bool operator>=(double rhs) const;
  bool operator<=(ZtbReal const& rhs) const;
  bool operator<=(double rhs) const;

 private:
  unsigned int mFlags;
  unsigned __int64 mValue[3];  // the decimal192 encoding
};

ZTB_API bool operator<(ZtbReal const& a, ZtbReal const& b);

#endif
