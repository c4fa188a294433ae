// SPDX-License-Identifier: MIT
//
// Decimal numbers from and to text, integers, doubles and digits.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "decnumber_p.h"

namespace decnumber {
namespace {

// Digits are read and written eight at a time in one word, its lowest byte the first digit.
static_assert(std::endian::native == std::endian::little);
constexpr Word kEightDigits = 100'000'000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Whether the text starts with `word`, which is of small letters, in any case.
bool startsWith(char const* text, char const* word) {
  for (; *word != '\0'; ++text, ++word) {
    if ((*text | 0x20) != *word) return false;
  }
  return true;
}

bool matches(char const* text, char const* word) {
  return startsWith(text, word) && text[std::strlen(word)] == '\0';
}

// The value of a word of eight digits: two lanes of one become one of two, then of four, then of
// eight.
Word valueOfEight(Word digits) {
  constexpr Word kLanesOf2 = 0x0000'00FF'0000'00FF;
  Word value = digits & 0x0F0F'0F0F'0F0F'0F0F;
  value = value * 10 + (value >> 8);
  Word const firstAndThird = (value & kLanesOf2) * (100 + (1'000'000ULL << 32));
  Word const others = (value >> 16 & kLanesOf2) * (1 + (10'000ULL << 32));
  return (firstAndThird + others) >> 32;
}

Word readEight(char const* text) {
  Word digits;
  std::memcpy(&digits, text, sizeof digits);
  return valueOfEight(digits);
}

// The last `count` of the eight digits in front of `end`, 1 to 7.
Word readLast(char const* end, int count) {
  Word digits;
  std::memcpy(&digits, end - sizeof digits, sizeof digits);
  return valueOfEight(digits & ~Word{0} << 8 * (8 - count));
}

// Collects digits: up to 54 significant ones, and of those behind them how many there are and
// whether one isn't zero. With a trace of those it rounds as the whole text does.
class DigitCollector {
 public:
  void take(char const* from, char const* to) {
    if (mCount == 0) from = std::find_if(from, to, [](char c) { return c != '0'; });
    char const* const kept = atMost(from, to, kKept - mCount);
    while (from < kept) from = takeChunk(from, atMost(from, kept, kChunk));
    mLost += to - from;
    mLostAny = mLostAny || std::any_of(from, to, [](char c) { return c != '0'; });
  }

  Coefficient coefficient() const {
    Coefficient result = mValue;
    if (mLostAny) multiplyAdd(result, 10, 1);
    return result;
  }
  // What the digits behind the kept ones add to the exponent.
  long long exponent() const { return mLost - (mLostAny ? 1 : 0); }

 private:
  static constexpr int kKept = 54;
  static constexpr int kChunk = 18;

  static char const* atMost(char const* from, char const* to, int count) {
    return to - from > count ? from + count : to;
  }

  char const* takeChunk(char const* from, char const* to) {
    Word chunk = 0;
    int const count = static_cast<int>(to - from);
    for (; to - from >= 8; from += 8) chunk = chunk * kEightDigits + readEight(from);
    int const rest = static_cast<int>(to - from);
    if (rest > 0 && rest < count) {
      chunk = chunk * kPowers.rows[rest].w[0] + readLast(to, rest);
      from = to;
    }
    for (; from < to; ++from) chunk = chunk * 10 + static_cast<Word>(*from - '0');
    multiplyAdd(mValue, kPowers.rows[count].w[0], chunk);
    mCount += count;
    return to;
  }

  Coefficient mValue{};
  int mCount = 0;
  long long mLost = 0;
  bool mLostAny = false;
};

char const* skipDigits(char const* text) {
  while (isDigit(*text)) ++text;
  return text;
}

// The exponent behind "E"; null if there is none. Beyond any length of a text it stands still.
char const* readExponent(char const* text, long long& exponent) {
  constexpr long long kLimit = std::numeric_limits<long long>::max() / 100;
  bool const isNegative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  if (!isDigit(*text)) return nullptr;
  for (; isDigit(*text); ++text) exponent = std::min(exponent * 10 + (*text - '0'), kLimit);
  if (isNegative) exponent = -exponent;
  return text;
}

// A number of digits, perhaps with a point and an exponent; false if the text isn't one.
bool readDecimal(char const* text, Coefficient& coefficient, int& exponent) {
  DigitCollector digits;
  char const* const point = skipDigits(text);
  digits.take(text, point);
  char const* end = point;
  long long behindPoint = 0;
  if (*point == '.') {
    end = skipDigits(point + 1);
    behindPoint = end - (point + 1);
    digits.take(point + 1, end);
  }
  if (end - text == (*point == '.' ? 1 : 0)) return false;
  long long spelled = 0;
  if (*end == 'e' || *end == 'E') {
    end = readExponent(end + 1, spelled);
    if (end == nullptr) return false;
  }
  if (*end != '\0') return false;
  coefficient = digits.coefficient();
  exponent = static_cast<int>(std::clamp<long long>(spelled - behindPoint + digits.exponent(),
                                                    -kExponentBound, kExponentBound));
  return true;
}

// A NaN with its payload, the digits behind its name; false if there is something else.
bool readNaN(decSext* result, char const* digits, bool isNegative, Word kind) {
  char const* const end = skipDigits(digits);
  if (*end != '\0') return false;
  digits = std::find_if(digits, end, [](char c) { return c != '0'; });
  if (end - digits >= kDigits) return false;
  Coefficient payload{};
  for (; digits < end; ++digits) multiplyAdd(payload, 10, static_cast<Word>(*digits - '0'));
  packNaN(result, isNegative, payload, kind);
  return true;
}

bool readSpecial(decSext* result, char const* text, bool isNegative) {
  if (matches(text, "inf") || matches(text, "infinity")) {
    packInfinity(result, isNegative);
    return true;
  }
  if (startsWith(text, "nan")) return readNaN(result, text + 3, isNegative, kQuietBits);
  if (startsWith(text, "snan")) return readNaN(result, text + 4, isNegative, kSignalingBits);
  return false;
}

// "d.ddde±x", as std::to_chars writes it.
void readShortest(char const* text, char const* end, Finite& number) {
  Word digits = 0;
  int behindPoint = 0;
  bool isBehindPoint = false;
  for (; *text != 'e'; ++text) {
    if (*text == '.') {
      isBehindPoint = true;
      continue;
    }
    digits = digits * 10 + static_cast<Word>(*text - '0');
    behindPoint += isBehindPoint ? 1 : 0;
  }
  ++text;
  if (*text == '+') ++text;
  int exponent = 0;
  std::from_chars(text, end, exponent);
  number.coefficient = {digits, 0, 0};
  number.exponent = exponent - behindPoint;
}

// 10^18 with its highest bit moved to the highest of a word, as the division wants it.
constexpr int kShiftOfTen18 = 4;
constexpr Word kTen18 = 1'000'000'000'000'000'000U << kShiftOfTen18;
constexpr Word kInverseOfTen18 = low(~DoubleWord{0} / kTen18);

struct WordDivision {
  Word quotient;
  Word rest;
};

// Two words by kTen18, the upper of which must be below it. By N. Möller and T. Granlund, "Improved
// division by invariant integers", algorithm 4.
WordDivision divideByTen18(Word upper, Word lower) {
  DoubleWord const estimate = times(kInverseOfTen18, upper) + join(upper, lower);
  WordDivision result{high(estimate) + 1, 0};
  result.rest = lower - result.quotient * kTen18;
  if (result.rest > low(estimate)) {
    --result.quotient;
    result.rest += kTen18;
  }
  if (result.rest >= kTen18) {
    ++result.quotient;
    result.rest -= kTen18;
  }
  return result;
}

// The three digits of each number up to 999, behind a byte of 0.
struct Triples {
  unsigned char rows[1000][4];
};
constexpr Triples kTriples = [] {
  Triples triples{};
  for (int i = 0; i < 1000; ++i) {
    triples.rows[i][1] = static_cast<unsigned char>(i / 100);
    triples.rows[i][2] = static_cast<unsigned char>(i / 10 % 10);
    triples.rows[i][3] = static_cast<unsigned char>(i % 10);
  }
  return triples;
}();

// These write so many digits in front of `end`, and all but the last a 0 in front of them.
void putSix(unsigned char* end, unsigned value) {
  std::memcpy(end - 4, kTriples.rows[value % 1000], 4);
  std::memcpy(end - 7, kTriples.rows[value / 1000], 4);
}

void putNine(unsigned char* end, unsigned value) {
  putSix(end, value % 1'000'000);
  std::memcpy(end - 10, kTriples.rows[value / 1'000'000], 4);
}

constexpr Word kTen9 = 1'000'000'000;

void putEighteen(unsigned char* end, Word value) {
  putNine(end, static_cast<unsigned>(value % kTen9));
  putNine(end - 9, static_cast<unsigned>(value / kTen9));
}

void putSixteen(unsigned char* end, Word value) {
  unsigned const upper = static_cast<unsigned>(value / kTen9);
  putNine(end, static_cast<unsigned>(value % kTen9));
  putSix(end - 9, upper % 1'000'000);
  end[-16] = static_cast<unsigned char>(upper / 1'000'000);
}

// The double of a coefficient and an exponent that it holds exactly, so that one division or
// multiplication rounds right; false for others.
bool toDoubleAtOnce(Finite const& number, double& value) {
  constexpr double kTens[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                              1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                              1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  if (bitLength(number.coefficient) > 53 || std::abs(number.exponent) > 22) return false;
  value = static_cast<double>(number.coefficient.w[0]);
  value = number.exponent < 0 ? value / kTens[-number.exponent] : value * kTens[number.exponent];
  if (number.isNegative) value = -value;
  return true;
}

// By way of the text, which the standard library rounds correctly.
double toDoubleByText(decSext const* value) {
  unsigned char digits[kDigits];
  int exponent = 0;
  bool const isNegative = decSextToBCD(value, &exponent, digits) != 0;
  char text[kDigits + 16];
  char* end = text;
  if (isNegative) *end++ = '-';
  for (unsigned char const digit : digits) *end++ = static_cast<char>('0' + digit);
  *end++ = 'e';
  end = std::to_chars(end, text + sizeof text, exponent).ptr;
  double result = 0;
  if (std::from_chars(text, end, result).ec == std::errc()) return result;
  // Out of range: the exponent tells on which side, as 52 digits don't reach from one to the other.
  double const limit = exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  return isNegative ? -limit : limit;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext* decSextFromString(decSext* result, char const* text, decContext* context) {
  bool const isNegative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  Coefficient coefficient;
  int exponent;
  if (readDecimal(text, coefficient, exponent)) {
    return finish(result, isNegative, coefficient, exponent, context);
  }
  if (readSpecial(result, text, isNegative)) return result;
  return refuse(result, context, kDecConversionSyntax);
}

decSext* decSextFromInt64(decSext* result, long long value, decContext*) {
  Word const bits = static_cast<Word>(value);
  return pack(result, value < 0, {value < 0 ? 0 - bits : bits, 0, 0}, 0);
}

decSext* decSextFromInt32(decSext* result, int value) {
  return decSextFromInt64(result, value, nullptr);
}

decSext* decSextFromUInt32(decSext* result, unsigned value) {
  return pack(result, false, {value, 0, 0}, 0);
}

decSext* decSextFromDouble(decSext* result, double value, decContext*) {
  if (std::isnan(value)) return decSextNaN(result);
  if (std::isinf(value)) return packInfinity(result, value < 0);
  char text[32];
  char const* const end =
      std::to_chars(text, text + sizeof text, std::fabs(value), std::chars_format::scientific).ptr;
  Finite number;
  readShortest(text, end, number);
  return pack(result, std::signbit(value), number.coefficient, number.exponent);
}

double decSextToDouble(decSext const* value, decContext*, int) {
  Finite number;
  double result;
  if (takeApart(value, number)) {
    return toDoubleAtOnce(number, result) ? result : toDoubleByText(value);
  }
  if (isNaN(value)) return std::numeric_limits<double>::quiet_NaN();
  result = std::numeric_limits<double>::infinity();
  return decSextIsSigned(value) != 0 ? -result : result;
}

int decSextToBCD(decSext const* value, int* exponent, unsigned char* digits) {
  Finite number;
  bool const isFinite = takeApart(value, number);
  if (!isFinite) number.coefficient = {};
  *exponent = isFinite ? number.exponent : 0;
  Coefficient const shifted = shiftLeft(number.coefficient, kShiftOfTen18);
  WordDivision const upper = divideByTen18(shifted.w[2], shifted.w[1]);
  WordDivision const last = divideByTen18(upper.rest, shifted.w[0]);
  Word const quotient = last.quotient << kShiftOfTen18;
  WordDivision const first =
      divideByTen18(low(join(upper.quotient, last.quotient) >> (64 - kShiftOfTen18)), quotient);
  // From the end, as each piece writes a 0 over what stands in front of it.
  putEighteen(digits + 52, last.rest >> kShiftOfTen18);
  putEighteen(digits + 34, first.rest >> kShiftOfTen18);
  putSixteen(digits + 16, first.quotient);
  return decSextIsSigned(value);
}
