// SPDX-License-Identifier: MIT
//
// ZtbReal over the decimal arithmetic of the platform: the null state, the telling of lost digits,
// and the text, record and raw forms.

#include "ztbreal.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "decnumber.h"
#include "ztschr12.h"

namespace {

using Words = unsigned __int64[3];

constexpr unsigned kTruncated = 1;
constexpr unsigned kLostDigits = kDecInexact | kDecOverflow | kDecUnderflow;
constexpr int kMaxWidth = 61;
constexpr int kDefaultPrecision = 38;
constexpr int kDefaultScale = 10;
constexpr int kMaxPrecision = 255;
constexpr int kMaxScale = 127;
// The exponent of a coefficient as an integer; trailing zeros don't go beyond it.
constexpr int kLargestExponent = kDecSextMaxExponent - kDecSextDigits + 1;

static_assert(sizeof(decSext) == sizeof(Words) && alignof(decSext) == alignof(Words));
static_assert(sizeof(ZT_SQL_NUMERIC_STRUCT) == 19);

// The words that a ZtbReal holds, as what they are.
decSext* sext(Words& words) {
  return reinterpret_cast<decSext*>(&words);
}

decSext const* sext(Words const& words) {
  return reinterpret_cast<decSext const*>(&words);
}

// 52 digits, half-even, clear status: one for each operation.
struct Context : decContext {
  Context() { decContextDefault(this, 192); }
};

void report(bool* flag, bool value) {
  if (flag) *flag = value;
}

using Arithmetic = decSext* (*)(decSext*, decSext const*, decSext const*, decContext*);

// The status of an operation, with its result in `result`.
unsigned calculate(Arithmetic operation, Words& result, Words const& left, Words const& right) {
  Context context;
  operation(sext(result), sext(left), sext(right), &context);
  return decContextGetStatus(&context);
}

// What the status of an operation comes to: the flags of its left operand, and the error.
unsigned flagsOf(unsigned status, bool* error) {
  bool const isInexact = (status & kDecInexact) != 0;
  report(error, !isInexact && status != 0);
  return isInexact ? kTruncated : 0;
}

// 1 with the given exponent, which may lie out of range.
decSext powerOfTen(int exponent) {
  Context context;
  decSext power;
  decSextFromInt32(&power, 1);
  return *decSextSetExponent(&power, &context, exponent);
}

char const* skipSpace(char const* text) {
  int bytes = 0;
  while (np_uchar_isspace(text, &bytes)) text += bytes;
  return text;
}

// The digits of a number, without leading and trailing zeros.
struct Digits {
  explicit Digits(decSext const* value);

  bool isZero() const { return *first == '0'; }
  int integers() const { return std::max(exponent + count, 0); }
  // Of the first digit.
  int scientificExponent() const { return exponent + count - 1; }

  char text[64];
  char const* first;
  int count;
  int exponent;  // of the last digit
  int sign;      // characters that the sign takes
};

Digits::Digits(decSext const* value) {
  sign = decSextToBCD(value, &exponent, reinterpret_cast<unsigned char*>(text)) != 0 ? 1 : 0;
  count = decSextDigits(value);
  first = text + kDecSextDigits - count;
  while (count > 1 && first[count - 1] == 0 && exponent < kLargestExponent) {
    --count;
    ++exponent;
  }
  for (int i = 0; i < kDecSextDigits; ++i) text[i] = static_cast<char>(text[i] + '0');
}

enum class Form { kDoesNotFit, kFixed, kScientific };

Form scientificIfItFits(Digits const& digits, int width) {
  int const integers = digits.integers();
  int const leading = digits.exponent >= digits.count ? digits.count : std::max(integers, 1);
  char exponent[8];
  char const* const end =
      std::to_chars(exponent, exponent + sizeof exponent, std::abs(digits.scientificExponent()))
          .ptr;
  int const exponentLength = 2 + static_cast<int>(end - exponent);
  int const point = leading > 1 ? 1 : 0;
  return exponentLength + point + leading > width ? Form::kDoesNotFit : Form::kScientific;
}

Form formFor(Digits const& digits, int width) {
  int const integers = digits.integers();
  if (integers + digits.sign > width || integers > kDecSextDigits) {
    if (digits.exponent <= 0 || digits.sign + digits.count > width) return Form::kDoesNotFit;
    return scientificIfItFits(digits, width);
  }
  // The sign, "0.", the zeros behind the point, and one digit.
  int const shortestFraction = digits.sign + 2 - digits.exponent - digits.count + 1;
  if (integers == 0 && shortestFraction > width) return scientificIfItFits(digits, width);
  return Form::kFixed;
}

// Builds a number's text within a budget of characters.
class TextWriter {
 public:
  explicit TextWriter(int width) : mEnd(mText), mBudget(width) {}

  void put(char character) {
    *mEnd = character;
    advance(1);
  }
  void putZeros(int count) {
    for (; count > 0; --count) put('0');
  }
  void putDigits(char const* digits, int count) {
    std::memcpy(mEnd, digits, static_cast<std::size_t>(count));
    advance(count);
  }
  // A point, `zeros` zeros and `count` digits, cut where the budget ends.
  void putFraction(int zeros, char const* digits, int count);
  // "E" with its exponent, which isn't charged.
  void putExponent(int exponent);
  ZtbString text();

 private:
  void advance(int count) {
    mEnd += count;
    mBudget -= count;
  }

  char mText[64];
  char* mEnd;
  int mBudget;
};

void TextWriter::putFraction(int zeros, char const* digits, int count) {
  if (zeros + count == 0 || mBudget <= 1) return;
  put('.');
  char const* const shortest = mEnd + 1;
  putZeros(std::min(zeros, mBudget));
  putDigits(digits, std::min(count, mBudget));
  while (mEnd > shortest && mEnd[-1] == '0') --mEnd;
}

void TextWriter::putExponent(int exponent) {
  *mEnd++ = 'E';
  *mEnd++ = exponent < 0 ? '-' : '+';
  mEnd = std::to_chars(mEnd, mText + sizeof mText, std::abs(exponent)).ptr;
}

ZtbString TextWriter::text() {
  *mEnd = '\0';
  return ZtbString(mText, false);
}

ZtbString fixedText(Digits const& digits, int width) {
  TextWriter writer(width);
  if (digits.sign) writer.put('-');
  int const integers = digits.integers();
  int const leading = std::min(integers, digits.count);
  if (integers == 0) writer.put('0');
  writer.putDigits(digits.first, leading);
  writer.putZeros(integers - leading);
  int const zeros = std::max(-digits.exponent - digits.count, 0);
  writer.putFraction(zeros, digits.first + leading, digits.count - leading);
  return writer.text();
}

ZtbString scientificText(Digits const& digits, int width) {
  TextWriter writer(width);
  if (digits.sign) writer.put('-');
  writer.put(*digits.first);
  writer.putFraction(0, digits.first + 1, digits.count - 1);
  writer.putExponent(digits.scientificExponent());
  return writer.text();
}

ZtbString infinityText(bool isNegative, int width) {
  char const* const text = isNegative ? "-Infinity" : "Infinity";
  return static_cast<int>(std::strlen(text)) > width ? ZtbString() : ZtbString(text, true);
}

// The number with `scale` digits behind the point, if it has that many and a record can hold it.
bool numberForRecord(decSext const* value, int precision, int scale, decNumber* number) {
  if (decSextIsNaN(value) || decSextIsInfinite(value)) return false;
  if (scale > precision || precision > kMaxPrecision || scale > kMaxScale) return false;
  int const exponent = decSextGetExponent(value);
  if (decSextDigits(value) + exponent + scale > precision) return false;

  decSext scaled = *value;
  if (exponent != -scale) {
    Context context;
    decSext const unit = powerOfTen(-scale);
    decSextQuantize(&scaled, value, &unit, &context);
  }
  if (decSextIsNaN(&scaled) || decSextIsZero(&scaled)) return false;
  if (decSextDigits(&scaled) > precision) return false;
  decimal192ToNumber(&scaled, number);
  return number->coefficient[2] == 0;
}

}  // namespace

ZtbReal::ZtbReal() : mFlags(0) {
  decSextNaN(sext(mValue));
}

ZtbReal::ZtbReal(__int64 value) {
  assign(value);
}

ZtbReal::ZtbReal(double value) {
  assign(value);
}

ZtbReal& ZtbReal::operator=(double value) {
  return assign(value);
}

ZtbReal& ZtbReal::assign(__int64 value) {
  Context context;
  mFlags = 0;
  decSextFromInt64(sext(mValue), value, &context);
  return *this;
}

ZtbReal& ZtbReal::assign(double value) {
  Context context;
  mFlags = 0;
  decSextFromDouble(sext(mValue), value, &context);
  return *this;
}

ZtbReal& ZtbReal::assign(char const* text) {
  Context context;
  mFlags = 0;
  if (!text) {
    setNull();
    return *this;
  }
  decSext parsed;
  decSextFromString(&parsed, skipSpace(text), &context);
  if (decContextTestStatus(&context, kDecInexact)) mFlags = kTruncated;
  decSextReduce(sext(mValue), &parsed, &context);
  if (isNull()) setNull();  // a NaN that was spelled may have a sign and a payload
  return *this;
}

ZtbReal& ZtbReal::assign(ZT_SQL_NUMERIC_STRUCT const* record) {
  decNumber number{};
  number.kind = decNumber::kFinite;
  for (int i = 15; i >= 0; --i) {
    unsigned __int64& word = number.coefficient[i / 8];
    word = word << 8 | record->val[i];
  }
  bool const isZero = (number.coefficient[0] | number.coefficient[1]) == 0;
  number.isNegative = record->sign == 0 && !isZero;
  number.exponent = -record->scale;
  Context context;
  mFlags = 0;
  decimal192FromNumber(sext(mValue), &number, &context);
  return *this;
}

ZtbReal& ZtbReal::assign(unsigned __int64 const (*raw)[3], bool swap) {
  mFlags = 0;
  std::memcpy(mValue, static_cast<void const*>(raw), sizeof mValue);
  if (swap) decSextByteSwap(sext(mValue));
  if (isNull()) setNull();  // one NaN stands for all
  return *this;
}

bool ZtbReal::truncated() const {
  return (mFlags & kTruncated) != 0;
}

bool ZtbReal::isNull() const {
  return decSextIsNaN(sext(mValue)) != 0;
}

void ZtbReal::setNull() {
  decSextNaN(sext(mValue));
}

ZtbString ZtbReal::asString(int width) const {
  decSext const* const value = sext(mValue);
  if (width <= 0 || decSextIsNaN(value)) return ZtbString();
  if (decSextIsInfinite(value)) return infinityText(decSextIsSigned(value) != 0, width);

  int const shown = std::min(width, kMaxWidth);
  Digits const digits(value);
  if (digits.isZero()) return ZtbString("0", true);
  switch (formFor(digits, shown)) {
    case Form::kFixed:
      return fixedText(digits, shown);
    case Form::kScientific:
      return scientificText(digits, shown);
    case Form::kDoesNotFit:
      break;
  }
  return ZtbString();
}

ZtbString ZtbReal::asString() const {
  return asString(kMaxWidth);
}

bool ZtbReal::hasText() const {
  return formFor(Digits(sext(mValue)), kMaxWidth) != Form::kDoesNotFit;
}

void ZtbReal::asFD(unsigned __int64 (*out)[3]) {
  Context context;
  decSext zero;
  decSextZero(&zero);
  decSext* const value = sext(mValue);
  decSextReduce(value, value, &context);
  decSextAdd(value, value, &zero, &context);
  std::memcpy(static_cast<void*>(out), mValue, sizeof mValue);
}

void ZtbReal::asSQLNumeric(ZT_SQL_NUMERIC_STRUCT* out, bool* overflow, int precision,
                           int scale) const {
  *out = {0, 0, 1, {}};
  report(overflow, false);
  if (decSextIsZero(sext(mValue))) return;
  if (precision < 0) precision = kDefaultPrecision;
  if (scale < 0) scale = kDefaultScale;
  decNumber number;
  if (!numberForRecord(sext(mValue), precision, scale, &number)) return report(overflow, true);

  out->precision = static_cast<unsigned char>(precision);
  out->scale = static_cast<signed char>(scale);
  out->sign = number.isNegative ? 0 : 1;
  for (int i = 0; i < 16; ++i) {
    out->val[i] = static_cast<unsigned char>(number.coefficient[i / 8] >> i % 8 * 8);
  }
}

__int64 ZtbReal::asInt64(bool* error) const {
  Context context;
  __int64 const value = decSextToInt64(sext(mValue), &context, kDecRoundFloor);
  bool const failed = decContextTestStatus(&context, kDecInvalidOperation) != 0;
  report(error, failed);
  return failed ? 0 : value;
}

double ZtbReal::asDouble(bool* error) const {
  Context context;
  report(error, isNull());
  return isNull() ? 0.0 : decSextToDouble(sext(mValue), &context, 0);
}

ZtbReal ZtbReal::add(ZtbReal const& rhs, bool* error) {
  ZtbReal sum;
  mFlags = flagsOf(calculate(decSextAdd, sum.mValue, mValue, rhs.mValue), error);
  return sum;
}

ZtbReal ZtbReal::subtract(ZtbReal const& rhs, bool* error) {
  ZtbReal difference;
  mFlags = flagsOf(calculate(decSextSubtract, difference.mValue, mValue, rhs.mValue), error);
  return difference;
}

ZtbReal ZtbReal::multiply(ZtbReal const& rhs, bool* error) {
  ZtbReal product;
  mFlags = flagsOf(calculate(decSextMultiply, product.mValue, mValue, rhs.mValue), error);
  return product;
}

ZtbReal ZtbReal::divide(ZtbReal const& rhs, bool* error) {
  ZtbReal quotient;
  mFlags = flagsOf(calculate(decSextDivide, quotient.mValue, mValue, rhs.mValue), error);
  return quotient;
}

ZtbReal ZtbReal::modulo(ZtbReal const& rhs) const {
  ZtbReal remainder;
  unsigned const status = calculate(decSextRemainderNear, remainder.mValue, mValue, rhs.mValue);
  if (status != 0) remainder.setNull();
  return remainder;
}

ZtbReal ZtbReal::sqrt(bool* error) const {
  report(error, isNull());
  if (isNull()) return ZtbReal();
  Context context;
  decNumber number;
  decNumber result;
  ZtbReal root;
  decimal192ToNumber(sext(mValue), &number);
  decNumberSquareRoot(&result, &number, &context);
  decimal192FromNumber(sext(root.mValue), &result, &context);
  if (decContextTestStatus(&context, kDecInvalidOperation)) {
    report(error, true);
    return ZtbReal();
  }
  if (decContextTestStatus(&context, kLostDigits)) root.mFlags = kTruncated;
  return root;
}

ZtbReal ZtbReal::negative() const {
  Context context;
  ZtbReal result;
  decSextMinus(sext(result.mValue), sext(mValue), &context);
  return result;
}

ZtbReal ZtbReal::absolute() const {
  Context context;
  ZtbReal result;
  decSextAbs(sext(result.mValue), sext(mValue), &context);
  return result;
}

ZtbReal ZtbReal::floor() const {
  Context context;
  ZtbReal result;
  decSext* const value = sext(result.mValue);
  bool const isNegative = decSextIsSigned(sext(mValue)) != 0;
  decSextCopyAbs(value, sext(mValue));
  decSextToIntegralValue(value, value, &context, kDecRoundFloor);
  if (isNegative) decSextMinus(value, value, &context);
  return result;
}

ZtbReal ZtbReal::ceiling() const {
  Context context;
  ZtbReal result;
  decSextToIntegralValue(sext(result.mValue), sext(mValue), &context, kDecRoundCeiling);
  return result;
}

ZtbReal ZtbReal::round(int places) const {
  ZtbReal result(*this);
  result.mFlags = 0;
  if (places == 0) return result;
  // Far beyond every exponent, and safe to negate.
  constexpr int kFar = 1'000'000;
  decSext const unit = powerOfTen(-std::clamp(places, -kFar, kFar));
  Context context;
  decContextSetRounding(&context, kDecRoundHalfUp);
  decSextQuantize(sext(result.mValue), sext(mValue), &unit, &context);
  return result;
}

ZtbReal ZtbReal::operator+(ZtbReal const& rhs) {
  return add(rhs, nullptr);
}

ZtbReal ZtbReal::operator+(double rhs) {
  return add(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator-(ZtbReal const& rhs) {
  return subtract(rhs, nullptr);
}

ZtbReal ZtbReal::operator-(double rhs) {
  return subtract(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator*(ZtbReal const& rhs) {
  return multiply(rhs, nullptr);
}

ZtbReal ZtbReal::operator*(double rhs) {
  return multiply(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator/(ZtbReal const& rhs) {
  return divide(rhs, nullptr);
}

ZtbReal ZtbReal::operator/(double rhs) {
  return divide(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator+=(ZtbReal const& rhs) {
  return *this = add(rhs, nullptr);
}

ZtbReal ZtbReal::operator+=(double rhs) {
  return *this = add(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator-=(ZtbReal const& rhs) {
  return *this = subtract(rhs, nullptr);
}

ZtbReal ZtbReal::operator-=(double rhs) {
  return *this = subtract(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator*=(ZtbReal const& rhs) {
  return *this = multiply(rhs, nullptr);
}

ZtbReal ZtbReal::operator*=(double rhs) {
  return *this = multiply(ZtbReal(rhs), nullptr);
}

ZtbReal ZtbReal::operator/=(ZtbReal const& rhs) {
  return *this = divide(rhs, nullptr);
}

ZtbReal ZtbReal::operator/=(double rhs) {
  return *this = divide(ZtbReal(rhs), nullptr);
}

int ZtbReal::compare(ZtbReal const& other) const {
  Context context;
  decSext order;
  decSextCompare(&order, sext(mValue), sext(other.mValue), &context);
  if (decSextIsZero(&order)) return 0;
  return 1 - 2 * decSextIsSigned(&order);  // nobody could foresee a branch here
}

bool ZtbReal::operator==(ZtbReal const& rhs) const {
  return compare(rhs) == 0;
}

bool ZtbReal::operator==(double rhs) const {
  return compare(ZtbReal(rhs)) == 0;
}

bool ZtbReal::operator!=(ZtbReal const& rhs) const {
  return compare(rhs) != 0;
}

bool ZtbReal::operator!=(double rhs) const {
  return compare(ZtbReal(rhs)) != 0;
}

bool ZtbReal::operator>(ZtbReal const& rhs) const {
  return compare(rhs) > 0;
}

bool ZtbReal::operator>(double rhs) const {
  return compare(ZtbReal(rhs)) > 0;
}

bool ZtbReal::operator<(double rhs) const {
  return compare(ZtbReal(rhs)) < 0;
}

bool ZtbReal::operator>=(ZtbReal const& rhs) const {
  return compare(rhs) >= 0;
}

bool ZtbReal::operator>=(double rhs) const {
  return compare(ZtbReal(rhs)) >= 0;
}

bool ZtbReal::operator<=(ZtbReal const& rhs) const {
  return compare(rhs) <= 0;
}

bool ZtbReal::operator<=(double rhs) const {
  return compare(ZtbReal(rhs)) <= 0;
}

bool operator<(ZtbReal const& a, ZtbReal const& b) {
  return a.compare(b) < 0;
}
