// SPDX-License-Identifier: MIT
//
// Exact decimal numbers: a nullable value of up to 52 significant digits and an exponent, in the
// decimal192 interchange format of IEEE 754-2008, with the arithmetic of the General Decimal
// Arithmetic (version 1.70).
//
// A real is null, a number or an infinity. The magnitude of a number other than zero lies between
// 1E-98354 and 9.99...E+98304. What can't be given a number ends in null: a text that is none, 0/0,
// the square root of -1, and whatever is computed from null. An infinity is not null: it arises
// from text, from overflow and from division by zero, and later operations carry it along.
//
// Precision. Sums, products and quotients are exact where 52 digits hold them, else rounded to the
// nearest value of 52 digits, ties to the even digit. The truncated flag tells of digits lost; see
// truncated for which object carries it. Zeros that a calculation leaves at the end are digits too:
// 1.25 + 0.25 is held as 150 with the exponent -2. It compares equal to 1.5, and is shown so.
//
// Numbers in code. A literal needs its type: ZtbReal(5LL) and ZtbReal(5.0) are clear, ZtbReal(5)
// fits both and doesn't compile. A double is taken as the shortest decimal that reads back as the
// same double, so ZtbReal(0.1) is 0.1 exactly. Operators and = know no integer but by way of
// double, which is exact up to 2 to the power 53; beyond that write a.add(ZtbReal(n), nullptr).
//
// Nothing throws, and nothing is allocated but the body of the string that asString gives. A
// `bool*` argument is an error flag that may be null: true means that the operation failed. No
// other pointer may be null unless the operation says so.
//
// Threads. Different objects may be used in any threads at once, and const operations on one object
// are safe together. The arithmetic is not const: it sets the flag of its left operand.
//
//   ZtbReal price, rate(1.19);
//   price.assign("84.03");
//   ZtbReal gross = (price * rate).round(2);
//   gross.asString();                                           // "100"

#ifndef ZTBREAL_H
#define ZTBREAL_H

#include "ztbdefs.h"
#include "ztbstring.h"

// A decimal as database drivers pass it, the shape of an ODBC numeric structure: 19 bytes without
// gaps. The number is `val` times ten to the power of minus `scale`.
struct ZT_SQL_NUMERIC_STRUCT {
  unsigned char precision;  // digits in all
  signed char scale;        // of them, those to the right of the point
  unsigned char sign;       // 0 negative, 1 positive
  unsigned char val[16];    // the magnitude as an integer, the least significant byte first
};

// A decimal number, an infinity, or null. Each `assign` clears the truncated flag and gives this
// object back.
class ZTB_API ZtbReal {
 public:
  // Null.
  ZtbReal();

  // The value that the assign of the same argument gives. Both convert implicitly.
  ZtbReal(__int64 value);
  ZtbReal(double value);

  // Copies carry the truncated flag along.
  ZtbReal(ZtbReal const& other) = default;
  ZtbReal& operator=(ZtbReal const& other) = default;
  // Does nothing: there is nothing to free.
  virtual ~ZtbReal() = default;

  // As assign(double).
  ZtbReal& operator=(double value);

  // Every integer is exact.
  ZtbReal& assign(__int64 value);

  // The shortest decimal that reads back as the same double, at most 17 digits. A NaN gives null,
  // an infinity an infinity.
  ZtbReal& assign(double value);

  // From a text such as "12.50", "-.5", "+1E+6" or "Infinity" (or "Inf"), in upper or lower case,
  // always with a "." for the point. White space (Unicode White_Space) in front is skipped; space
  // behind the number, or anything else that doesn't belong to it, makes it no number and gives
  // null, and so do an empty text, "NaN" and a null pointer. docs/decimals.md has the grammar.
  // The number may have any length: beyond 52 significant digits it is rounded, and the truncated
  // flag set if one of the digits lost wasn't 0. An exponent may have any number of digits too; one
  // too large gives an infinity, one too small gives what is left of the number, zero in the end,
  // both with the truncated flag. Zeros at the end of the number are dropped. Linear in the text.
  ZtbReal& assign(char const* text);

  // From a numeric record; always exact. `precision` isn't read. Every sign but 0 is positive; a
  // zero is positive whatever its sign.
  ZtbReal& assign(ZT_SQL_NUMERIC_STRUCT const* record);

  // From 24 raw bytes as asFD wrote them, on this machine, or with `swap` true on one of the other
  // byte order. They need no alignment. Any bytes will do: those of a NaN give null, and a
  // coefficient of more than 52 digits counts as zero.
  ZtbReal& assign(unsigned __int64 const (*raw)[3], bool swap);

  // Whether digits were lost: by the last assign from text to this object; by the last add,
  // subtract, multiply or divide with this object on the left; or, on the result of sqrt, by that
  // sqrt. All other results and assigned values start with the flag clear.
  //   ZtbReal one(1LL), third = one / ZtbReal(3LL);    // one.truncated(), not third.truncated()
  bool truncated() const;

  // True for null alone. False for infinities.
  bool isNull() const;

  // Makes the value null; the truncated flag stays as it was.
  void setNull();

  // The number as text that depends on no locale, in at most `width` characters; 62 and more count
  // as 61. Null if it doesn't fit, for a null value, for a `width` below 1 and when memory runs
  // out. The number is written out in full where the digits in front of the point fit and are at
  // most 52, and the zeros behind the point leave room for a digit; else with an exponent, where
  // that fits. Digits behind the point are cut at the width, not rounded, and zeros at the end
  // dropped, down to one digit. An exponent isn't counted when digits are cut: a text with one can
  // be longer than `width`, by up to 7 characters, but never longer than 61. Every zero is "0". An
  // infinity is "Infinity" or "-Infinity". docs/decimals.md tells the form for each width.
  //   ZtbReal(123.456).asString(5)      // "123.4"
  //   ZtbReal(123.456).asString(2)      // null
  //   ZtbReal(1.23456e-70).asString(5)  // "1.234E-70"
  ZtbString asString(int width) const;

  // As asString(61): every value of up to 52 digits with all its digits, unless it has more than 52
  // digits before the point or so many zeros behind it that something must be cut.
  ZtbString asString() const;

  // Writes the canonical raw form, in the byte order of this machine, and brings this value itself
  // into it: no zeros behind the last digit, but an exponent above 0 brought down to 0 as far as 52
  // digits allow, and no sign at zero. Values that compare equal have equal forms. `out` needs no
  // alignment. The form is stable: it may be stored.
  void asFD(unsigned __int64 (*out)[3]);

  // Writes the number with `scale` digits behind the point, ties rounded to the even digit, for a
  // column of `precision` digits. A negative `precision` is 38, a negative `scale` 10. Zero writes
  // 0 for both. It is an overflow if the value is null or infinite; if its digits in front of the
  // point and `scale` together, or `scale` alone, exceed `precision`; if a number other than zero
  // rounds to nothing; and if the record can't hold the digits in its 128 bits, `precision` in 0 to
  // 255 or `scale` in 0 to 127. Then `*overflow` is true and `out` all 0 but for `sign`, which is
  // 1; otherwise it is false.
  //   ZtbReal(123.456).asSQLNumeric(&record, &overflow, 5, 2)  // val 12346
  void asSQLNumeric(ZT_SQL_NUMERIC_STRUCT* out, bool* overflow, int precision, int scale) const;

  // The greatest integer not above the number: -3 for -2.7. 0 and an error for null, an infinity
  // and what 64 bits don't hold.
  __int64 asInt64(bool* error) const;

  // The nearest double, ties to even: infinite beyond the range of doubles, subnormal or zero below
  // it, both without an error. 0.0 and an error for null.
  double asDouble(bool* error) const;

  // Sum, difference, product, quotient. The truncated flag of this object, the left operand, tells
  // whether digits were lost, also by an overflow to infinity; that of the result is clear. The
  // error flag tells of anything else out of the ordinary:
  //   - division by zero, which gives an infinity, and 0/0, which gives null;
  //   - infinity less infinity, infinity by infinity, zero times infinity, which give null;
  //   - an exact result that dropped zeros to fit 52 digits, gained some because of its large
  //     exponent, or is below the normal numbers (under 1E-98303); the result is right.
  // A null operand gives null without an error.
  ZtbReal add(ZtbReal const& rhs, bool* error);
  ZtbReal subtract(ZtbReal const& rhs, bool* error);
  ZtbReal multiply(ZtbReal const& rhs, bool* error);
  ZtbReal divide(ZtbReal const& rhs, bool* error);

  // What is left of this number without the nearest multiple of `rhs` (for a tie the even
  // multiple), as IEEE 754 defines the remainder, so that its magnitude is at most half of rhs and
  // its sign may differ: 10 modulo 3 is 1, and 11 modulo 3 is -1. Null for a `rhs` of zero, an
  // infinite number on the left, a quotient of more than 52 digits, and if the remainder isn't an
  // ordinary number (it dropped zeros, or lies below the normal numbers).
  ZtbReal modulo(ZtbReal const& rhs) const;

  // The square root, rounded to 52 digits, with a truncated flag of its own. Null with an error for
  // null and for a negative number. The root of -0 is -0, that of infinity infinite.
  ZtbReal sqrt(bool* error) const;

  // Zero less the number; its magnitude. Never the zero with a sign. Null for null. This result and
  // those of floor, ceiling and round have a clear truncated flag.
  ZtbReal negative() const;
  ZtbReal absolute() const;

  // The integer next to the number on the side of zero: floor(-1.5) is -1, and floor(1.5) is 1.
  // Null for null.
  ZtbReal floor() const;

  // The least integer not below the number: ceiling(1.5) is 2, and ceiling(-1.5) is -1. Null
  // for null.
  ZtbReal ceiling() const;

  // Rounded to `places` digits behind the point, ties away from zero; a negative count rounds to
  // tens, hundreds and so on. But 0 places give the value unchanged, not an integer. Null for
  // null, where the result would need more than 52 digits, as round(52) of 12 would, and for
  // infinities unless `places` is 0. The unit is 1E+98253 at most: -98254 to -98304 places round to
  // it as well, and fewer give null.
  //   ZtbReal(2.25).round(1)     // 2.3
  //   ZtbReal(-250.0).round(-2)  // -300
  //   ZtbReal(1.5).round(0)      // 1.5
  ZtbReal round(int places) const;

  // add, subtract, multiply and divide without an error flag. A double becomes a real as by assign.
  // The forms with = store the result, with its clear flag, in this object, so that truncated is
  // false behind them, and give a copy.
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

  // -1, 0 or 1 as this number is less than, equal to or greater than the other. Zeros of either
  // sign are equal. A null on either side gives 1, from whichever side it is looked at; so two
  // nulls are not equal, and a sorted container must not hold nulls.
  int compare(ZtbReal const& other) const;

  // What compare gives, compared with 0: with a null on either side !=, > and >= are true and ==, <
  // and <= false. A double becomes a real as by assign, so ZtbReal(0.1) == 0.1. The operator < of
  // two reals is the function below.
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
  // Hands out the encoding in place, and asks whether there is a text.
  friend class ZtbDatavar;

  // Whether asString() gives this number, which isn't null, a text if memory doesn't run out.
  ZTB_LOCAL bool hasText() const;

  unsigned int mFlags;         // bit 0: truncated
  unsigned __int64 mValue[3];  // the decimal192 encoding; of the NaNs only the one that means null
};

// Whether a.compare(b) is negative: false with a null on either side.
ZTB_API bool operator<(ZtbReal const& a, ZtbReal const& b);

#endif
