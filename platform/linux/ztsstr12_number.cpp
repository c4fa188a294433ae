// SPDX-License-Identifier: MIT
//
// Numbers from text by std::from_chars, which knows no locale, allocates nothing and rounds
// correctly. The C library's parsers are no choice here: they take the decimal point from the
// process locale, and accept hexadecimal digits, infinities and trailing garbage.

#include <charconv>
#include <cstring>
#include <system_error>

#include "ztsstr12.h"
#include "ztsstr12_ascii.h"

namespace {

using ztsstr12::isDigit;
using ztsstr12::isSpace;

enum NumberResult : int { kOutOfRange = -1, kNoNumber = 0, kNumberRead = 1 };

struct Span {
  char const* first;
  char const* last;
};

// The text without surrounding white space and without a plus sign, which from_chars doesn't know.
// A plus sign in front of another sign is kept, so that from_chars refuses it.
Span trimmed(char const* text) {
  while (isSpace(*text)) ++text;
  Span span{text, text + std::strlen(text)};
  while (span.last != span.first && isSpace(span.last[-1])) --span.last;
  if (*span.first == '+' && (isDigit(span.first[1]) || span.first[1] == '.')) ++span.first;
  return span;
}

// Where digits may begin: from_chars alone would take "inf" and "nan" too.
bool beginsNumber(Span span) {
  char const* const unsignedFirst = span.first + (*span.first == '-' ? 1 : 0);
  return isDigit(*unsignedFirst) || *unsignedFirst == '.';
}

template <class Number>
int parse(char const* text, Number* result) {
  if (text == nullptr) return kNoNumber;
  Span const span = trimmed(text);
  if (!beginsNumber(span)) return kNoNumber;
  Number value{};
  auto const [end, error] = std::from_chars(span.first, span.last, value);
  if (end != span.last || error == std::errc::invalid_argument) return kNoNumber;
  if (error != std::errc()) return kOutOfRange;
  *result = value;
  return kNumberRead;
}

}  // namespace

int zts_numparse(char const* text, int* result, int /*reserved1*/, int /*reserved2*/) {
  return parse(text, result);
}

int zts_numparse64(char const* text, long long* result, int /*reserved1*/, int /*reserved2*/) {
  return parse(text, result);
}

int zts_numparsedbl(char const* text, double* result) {
  return parse(text, result);
}
