// SPDX-License-Identifier: MIT
//
// Any text as a decimal. What is a number is decided here once more, in the plainest way, and what
// fits exactly must come back digit by digit.
// Aimed at platform/linux/decnumber_convert.cpp

#include <algorithm>

#include "decnumber.h"
#include "target.h"

namespace {

using std::string_view;

bool isDigits(string_view text) {
  return text.find_first_not_of("0123456789") == text.npos;
}

string_view withoutSign(string_view text) {
  return text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
}

string_view withoutZeros(string_view text) {
  return text.substr(std::min(text.find_first_not_of('0'), text.size()));
}

// A number's parts; no digits where there is no number.
struct Parts {
  std::string digits;
  string_view exponent = "0";
  std::size_t behindPoint = 0;
};

Parts finite(string_view text) {
  Parts parts;
  std::size_t const mark = text.find('e');
  string_view const number = text.substr(0, mark);
  std::size_t const point = std::min(number.find('.'), number.size());
  if (point < number.size()) parts.behindPoint = number.size() - point - 1;
  parts.digits.append(number, 0, point).append(number.substr(number.size() - parts.behindPoint));
  if (mark != text.npos) parts.exponent = text.substr(mark + 1);
  string_view const exponent = withoutSign(parts.exponent);
  if (!isDigits(parts.digits) || !isDigits(exponent) || exponent.empty()) parts.digits.clear();
  return parts;
}

bool isSpecial(string_view text) {
  if (text == "inf" || text == "infinity") return true;
  if (text.starts_with('s')) text.remove_prefix(1);
  if (!text.starts_with("nan")) return false;
  string_view const payload = text.substr(3);
  return isDigits(payload) && withoutZeros(payload).size() < kDecSextDigits;
}

void checkDigits(Parts const& parts, decSext const& value, unsigned status) {
  string_view const significant = withoutZeros(parts.digits);
  if (parts.exponent.size() > 4 || parts.behindPoint > 9999) return;
  require(((status & kDecRounded) != 0) == (significant.size() > kDecSextDigits));
  if (significant.size() > kDecSextDigits) return;
  unsigned char bytes[kDecSextDigits];
  int exponent = 0;
  decSextToBCD(&value, &exponent, bytes);
  std::string written;
  for (unsigned const byte : bytes) written += static_cast<char>('0' + byte);
  require(withoutZeros(written) == significant);
  require(exponent == std::atoi(parts.exponent.data()) - static_cast<int>(parts.behindPoint));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string text = textOf(data, size);
  decContext context;
  decSext value;
  decSextFromString(&value, text.c_str(), decContextDefault(&context, 192));
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  string_view const unsignedText = withoutSign(text);
  Parts const parts = finite(unsignedText);
  bool const isFinite = !parts.digits.empty(), isNumber = isFinite || isSpecial(unsignedText);
  require(isNumber == ((context.status & kDecConversionSyntax) == 0));
  require(!isNumber || decSextIsSigned(&value) == (text[0] == '-'));
  require(isFinite || decSextIsNaN(&value) != 0 || decSextIsInfinite(&value) != 0);
  if (isFinite) checkDigits(parts, value, context.status);
  return 0;
}
