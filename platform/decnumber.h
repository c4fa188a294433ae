// SPDX-License-Identifier: MIT
//
// Decimal numbers of 52 digits: the decimal192 interchange format of IEEE 754-2008, and the
// operations of the General Decimal Arithmetic (version 1.70) on it.
//
// A decSext is a sign, a coefficient of up to 52 digits and an exponent; or an infinity; or a NaN,
// quiet or signaling, with a payload of up to 51 digits. 1.50 is the coefficient 150 with the
// exponent -2: one number can have several such forms, and each operation says which of them it
// prefers. The adjusted exponent, that of the first digit, reaches from -98303 to 98304 for normal
// numbers; subnormal ones reach down to a last digit at 10 to the power -98354. An exponent lies
// within -98354 to 98253.
//
// Rules for all functions:
// 1. Nothing is allocated, nothing throws, there is no state beside the arguments. All may be
//    called from any threads at once on different arguments.
// 2. No pointer may be null. `result` may be any of the operands; it always receives a canonical
//    encoding, and is returned.
// 3. An operand may hold any 24 bytes. A coefficient above 52 digits counts as zero with the sign
//    and exponent told, a payload above 51 digits as zero; what an infinity holds beyond its sign
//    and its five leading bits isn't looked at, nor are a NaN's bits between its kind and payload.
// 4. Status bits are added to those in the context, never cleared. A rounded result adds
//    kDecRounded, and kDecInexact if a digit other than zero was lost.
// 5. A result that must be rounded is rounded once, by the context's mode, to 52 digits, or to
//    fewer if it is subnormal: then kDecSubnormal is added, kDecUnderflow too if it is inexact, and
//    kDecClamped if nothing but zero remains. A magnitude that rounds beyond the largest number
//    adds kDecOverflow, kDecInexact and kDecRounded and gives an infinity, or the largest number
//    where the mode rounds toward zero. An exponent beyond 98253 is brought there by zeros behind
//    the coefficient, and a zero's exponent into the range; both add kDecClamped.
// 6. A signaling NaN operand adds kDecInvalidOperation and gives a quiet NaN of its sign and
//    payload; otherwise the first quiet NaN operand is the result, without a status. Where a
//    function says nothing about NaNs and infinities beyond this, infinities act as in the limit.
//    kDecInvalidOperation comes with a positive NaN without payload.

#ifndef DECNUMBER_H
#define DECNUMBER_H

// The binary-integer encoding in three words, the least significant first:
//
//   words[2]  bit 63      sign
//             bits 62-45  exponent + 98354    11110x.. infinity, 111110.. quiet NaN,
//                                             111111.. signaling NaN
//             bits 44-0   coefficient, bits 172-128
//   words[1]              coefficient, bits 127-64
//   words[0]              coefficient, bits 63-0
//
// With bits 62-61 both set, but not 62-59 all, the exponent is in bits 60-43 instead, and the
// coefficient is 2 to the power 173 or more, which is above 52 digits. A NaN's payload takes the
// lower 170 bits.
//
// May be laid over any other 24 bytes with the alignment of 8.
struct [[gnu::may_alias]] decSext {
  unsigned long long words[3];
};

// A decSext taken apart, for the operations that are asked of a number rather than of its encoding.
struct decNumber {
  enum Kind : unsigned char { kFinite, kInfinite, kQuietNaN, kSignalingNaN };

  unsigned long long coefficient[3];  // or the payload; the least significant word first
  int exponent;                       // 0 unless finite
  bool isNegative;
  Kind kind;
};

// Numbers of the rounding modes; frozen. Any other number rounds toward zero.
enum decRounding : int {
  kDecRoundCeiling = 0,   // toward positive infinity
  kDecRoundUp = 1,        // away from zero
  kDecRoundHalfUp = 2,    // to nearest, ties away from zero
  kDecRoundHalfEven = 3,  // to nearest, ties to the even digit
  kDecRoundHalfDown = 4,  // to nearest, ties toward zero
  kDecRoundDown = 5,      // toward zero
  kDecRoundFloor = 6,     // toward negative infinity
  kDecRound05Up = 7       // toward zero, but away from it if the last digit would be 0 or 5
};

// Status bits; frozen.
enum decStatus : unsigned {
  kDecConversionSyntax = 0x0001,
  kDecDivisionByZero = 0x0002,
  kDecDivisionImpossible = 0x0004,
  kDecDivisionUndefined = 0x0008,
  kDecInexact = 0x0020,
  kDecInvalidContext = 0x0040,
  kDecInvalidOperation = 0x0080,
  kDecOverflow = 0x0200,
  kDecClamped = 0x0400,
  kDecRounded = 0x0800,
  kDecSubnormal = 0x1000,
  kDecUnderflow = 0x2000
};

// What an operation reads and tells beside its operands; made on the stack for one calculation.
struct decContext {
  int digits;
  decRounding round;
  unsigned status;
};

constexpr int kDecSextDigits = 52;
constexpr int kDecSextMaxExponent = 98304;   // of the first digit
constexpr int kDecSextMinExponent = -98303;  // of the first digit of a normal number

// 52 digits, half-even, no status. `kind` is 192; any other leaves kDecInvalidContext in the
// status.
decContext* decContextDefault(decContext* context, int kind);
decContext* decContextSetRounding(decContext* context, int mode);
// The bits of the status that are in `mask`, and all of them.
inline unsigned decContextTestStatus(decContext const* context, unsigned mask) {
  return context->status & mask;
}
inline unsigned decContextGetStatus(decContext const* context) {
  return context->status;
}

// Constants and copies. The copies keep every bit but those that they name, of a NaN too.
decSext* decSextNaN(decSext* result);   // the positive quiet NaN without payload
decSext* decSextZero(decSext* result);  // +0, exponent 0
decSext* decSextCopy(decSext* result, decSext const* value);
decSext* decSextCopyAbs(decSext* result, decSext const* value);  // without the sign

// Questions to one value: 1 or 0. A zero has a sign, and so have infinities and NaNs.
int decSextIsNaN(decSext const* value);
int decSextIsZero(decSext const* value);
int decSextIsInfinite(decSext const* value);
int decSextIsSigned(decSext const* value);

// Digits of the coefficient, 1 to 52: without leading zeros, and 1 for a zero. 1 for infinities,
// the payload's digits for NaNs, 1 for one without.
int decSextDigits(decSext const* value);

// The exponent, of the coefficient as an integer. 0 for infinities and NaNs.
int decSextGetExponent(decSext const* value);

// Replaces the exponent and keeps the coefficient; an infinity or a NaN stays as it is. What the
// exponent takes out of range overflows, is rounded as subnormal, or is clamped, as in rule 5.
decSext* decSextSetExponent(decSext* value, decContext* context, int exponent);

// Text to number, by the numeric-string syntax of the General Decimal Arithmetic, whatever the
// case:
//
//   text     = [sign] (decimal | "Inf" | "Infinity" | ("NaN" | "sNaN") [digits])
//   decimal  = (digits ["." [digits]] | "." digits) [("E") [sign] digits]
//
// Only ASCII digits count; nothing may stand before or behind. There may be any number of digits,
// also in the exponent: more than 52 significant ones are rounded, an exponent out of range
// overflows or underflows. The exponent of the result is the one spelled, less the digits behind
// the point. Anything else, also a payload of more than 51 digits, is a quiet NaN with
// kDecConversionSyntax. Cost: linear in the text, which is read once and up to its terminator.
decSext* decSextFromString(decSext* result, char const* text, decContext* context);

// Integers, exactly, with the exponent 0.
decSext* decSextFromInt64(decSext* result, long long value, decContext* context);
decSext* decSextFromInt32(decSext* result, int value);
decSext* decSextFromUInt32(decSext* result, unsigned value);

// The shortest decimal that reads back as the same double: 0.1 is 1E-1, 100.0 is 1E+2, so that no
// digit stands there that the double doesn't need. -0.0 keeps its sign, infinities stay infinite,
// every NaN becomes the one of decSextNaN. Sets no status.
decSext* decSextFromDouble(decSext* result, double value, decContext* context);

// The integer that `mode` rounds to. For a NaN, an infinity and what doesn't fit: 0 and
// kDecInvalidOperation. No other status is set.
long long decSextToInt64(decSext const* value, decContext* context, int mode);
unsigned decSextToUInt32(decSext const* value, decContext* context, int mode);

// The nearest double, ties to even, whatever the context says: infinite beyond the range, a
// subnormal double or a signed zero below it. A NaN gives a quiet NaN. `reserved` is 0 and not
// looked at; the status stays as it is.
double decSextToDouble(decSext const* value, decContext* context, int reserved);

// Writes the coefficient as 52 bytes of value 0 to 9 to `digits`, the most significant first and
// zeros before it, and the exponent. Non-zero if the value is negative. An infinity or a NaN writes
// zeros and the exponent 0.
int decSextToBCD(decSext const* value, int* exponent, unsigned char* digits);

// Reverses the 24 bytes of the value, for exchange with machines of the other byte order. Not a
// number until it is reversed again.
decSext* decSextByteSwap(decSext* value);

// Arithmetic. Preferred exponents hold for exact results; an inexact one has 52 digits.

// Sum and difference. Exponent: the smaller of the two. An exact zero is +0, but -0 if both terms
// are -0, or the mode is floor and the terms aren't both +0. Infinities of unlike signs: invalid.
decSext* decSextAdd(decSext* result, decSext const* left, decSext const* right,
                    decContext* context);
decSext* decSextSubtract(decSext* result, decSext const* left, decSext const* right,
                         decContext* context);

// Product. Exponent: the sum of the two. Zero times infinity: invalid.
decSext* decSextMultiply(decSext* result, decSext const* left, decSext const* right,
                         decContext* context);

// `a` times `b` plus `c`, rounded once. Exponent as of a sum of the exact product and `c`. Zero
// times infinity is invalid, also when `c` is a quiet NaN.
decSext* decSextFMA(decSext* result, decSext const* a, decSext const* b, decSext const* c,
                    decContext* context);

// Quotient. Exponent: the left one less the right one, or as little below it as the exact quotient
// needs. A number by zero is infinite with kDecDivisionByZero; 0/0 is a NaN with
// kDecDivisionUndefined; infinity by infinity is invalid.
decSext* decSextDivide(decSext* result, decSext const* left, decSext const* right,
                       decContext* context);

// The integer part of the quotient, with the exponent 0. A NaN with kDecDivisionImpossible if it
// has more than 52 digits; zero divisors and infinities as for decSextDivide.
decSext* decSextDivideInteger(decSext* result, decSext const* left, decSext const* right,
                              decContext* context);

// What is left of `left` without `right` times the integer part of the quotient, or times the
// integer nearest to the quotient (ties to even). Exponent: the smaller of the two. The sign is the
// left one's, opposite to it if the nearest integer lies beyond the quotient. A NaN with
// kDecDivisionImpossible if that integer has more than 52 digits. By zero: invalid, and
// kDecDivisionUndefined for 0 by 0. An infinity on the left is invalid; one on the right leaves the
// left operand.
decSext* decSextRemainder(decSext* result, decSext const* left, decSext const* right,
                          decContext* context);
decSext* decSextRemainderNear(decSext* result, decSext const* left, decSext const* right,
                              decContext* context);

// The left number with the right one's exponent, rounded by the context's mode or filled with
// zeros. Invalid if the coefficient would need more than 52 digits, and if one operand alone is
// infinite; two infinities give the left one.
decSext* decSextQuantize(decSext* result, decSext const* left, decSext const* right,
                         decContext* context);

// -1, 0 or 1 as the left number is less than, equal to or greater than the right one. Zeros of all
// signs and exponents are equal. A NaN operand gives a NaN, as in rule 6.
decSext* decSextCompare(decSext* result, decSext const* left, decSext const* right,
                        decContext* context);

// The number without trailing zeros in its coefficient; a zero with the exponent 0. The exponent
// doesn't grow beyond 98253, so the largest powers of ten keep some zeros.
decSext* decSextReduce(decSext* result, decSext const* operand, decContext* context);

// Zero less the operand, and its magnitude. A zero becomes +0, or -0 by decSextMinus of +0 in the
// mode floor.
decSext* decSextMinus(decSext* result, decSext const* operand, decContext* context);
decSext* decSextAbs(decSext* result, decSext const* operand, decContext* context);

// The integer that `mode` rounds to, with the exponent 0; a number with an exponent of 0 or more,
// or an infinity, as it is. No status is set but that of a signaling NaN.
decSext* decSextToIntegralValue(decSext* result, decSext const* operand, decContext* context,
                                int mode);

// Between the encoding and a number taken apart. The way back rounds and clamps as in rule 5; its
// coefficient may have up to 57 digits.
decNumber* decimal192ToNumber(decSext const* value, decNumber* number);
decSext* decimal192FromNumber(decSext* value, decNumber const* number, decContext* context);

// The square root, rounded half-even whatever the mode. Exponent: half of the operand's, toward
// negative infinity. A zero keeps its sign, positive infinity stays; a negative number is invalid.
decNumber* decNumberSquareRoot(decNumber* result, decNumber const* operand, decContext* context);

#endif
