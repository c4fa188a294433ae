// SPDX-License-Identifier: MIT
//
// Decimal arithmetic and texts, beside Intel's decimal library and the compiler's own type, which
// hold 34 digits. Boost is measured in a source of its own, as its headers take long to compile.

#include "ztbreal_bench.h"

#include <algorithm>
#include <array>
#include <random>

#ifdef ZTB_HAVE_INTELDFP
#include <bid_conf.h>
#include <bid_functions.h>
#endif

namespace ztbreal_bench {

namespace {

std::string randomNumber(std::mt19937& random, bool cut) {
  int const digits = std::uniform_int_distribution<>(30, 52)(random);
  int const behindPoint = std::uniform_int_distribution<>(0, 12)(random);
  std::uniform_int_distribution<> digit(0, 9), leading(1, 9);
  std::string text(1, static_cast<char>('0' + leading(random)));
  for (int i = 1; i < digits; ++i) text += static_cast<char>('0' + digit(random));
  if (!cut) return text.insert(text.size() - static_cast<std::size_t>(behindPoint), 1, '.');
  int const kept = std::min(digits, 34);
  text.resize(static_cast<std::size_t>(kept));
  return text + "E" + std::to_string(digits - kept - behindPoint);
}

std::vector<std::string> randomNumbers(bool cut) {
  std::mt19937 random(52);
  std::vector<std::string> texts(kPairs);
  for (std::string& text : texts) text = randomNumber(random, cut);
  return texts;
}

std::vector<std::string> randomPrices() {
  std::mt19937 random(2);
  std::uniform_int_distribution<> cents(1, 999'999);
  std::vector<std::string> texts(kPrices);
  for (std::string& text : texts) {
    std::string const whole = std::to_string(1'000'000 + cents(random));
    text = std::to_string(std::stoi(whole.substr(1, 4))) + "." + whole.substr(5);
  }
  return texts;
}

#ifdef ZTB_HAVE_INTELDFP
struct Intel {
  using Value = BID_UINT128;
  static constexpr int kDigits = 34;
  static constexpr unsigned kHalfEven = 0;

  static Value parse(std::string const& text) {
    unsigned flags = 0;
    return bid128_from_string(const_cast<char*>(text.c_str()), kHalfEven, &flags);
  }
  static std::array<char, 64> format(Value value) {
    std::array<char, 64> text;
    unsigned flags = 0;
    bid128_to_string(text.data(), value, &flags);
    return text;
  }
  static double toDouble(Value value) {
    unsigned flags = 0;
    return bid128_to_binary64(value, kHalfEven, &flags);
  }
  static double toDouble(int value) { return value; }
  static Value add(Value a, Value b) {
    unsigned flags = 0;
    return bid128_add(a, b, kHalfEven, &flags);
  }
  static Value subtract(Value a, Value b) {
    unsigned flags = 0;
    return bid128_sub(a, b, kHalfEven, &flags);
  }
  static Value multiply(Value a, Value b) {
    unsigned flags = 0;
    return bid128_mul(a, b, kHalfEven, &flags);
  }
  static Value divide(Value a, Value b) {
    unsigned flags = 0;
    return bid128_div(a, b, kHalfEven, &flags);
  }
  static int compare(Value a, Value b) {
    unsigned flags = 0;
    if (bid128_quiet_less(a, b, &flags)) return -1;
    return bid128_quiet_equal(a, b, &flags) ? 0 : 1;
  }
  static Value sqrt(Value a, Value) {
    unsigned flags = 0;
    return bid128_sqrt(a, kHalfEven, &flags);
  }
  static void accumulate(Value& total, Value price) { total = add(total, price); }
};
#endif

#ifdef __DECIMAL_BID_FORMAT__
typedef float Decimal128 __attribute__((mode(TD)));

// The compiler's type knows no text.
struct Compiler {
  using Value = Decimal128;
  static constexpr int kDigits = 34;

  static Value parse(std::string const& text);
  static double toDouble(Value value) { return static_cast<double>(value); }
  static double toDouble(int value) { return value; }
  static Value add(Value a, Value b) { return a + b; }
  static Value subtract(Value a, Value b) { return a - b; }
  static Value multiply(Value a, Value b) { return a * b; }
  static Value divide(Value a, Value b) { return a / b; }
  static int compare(Value a, Value b) { return a < b ? -1 : a == b ? 0 : 1; }
  static void accumulate(Value& total, Value price) { total += price; }
};

Decimal128 Compiler::parse(std::string const& text) {
  std::size_t const end = std::min(text.find('E'), text.size());
  int exponent = end == text.size() ? 0 : std::stoi(text.substr(end + 1));
  std::size_t const point = std::min(text.find('.'), end);
  if (point < end) exponent -= static_cast<int>(end - point - 1);
  Value const ten = static_cast<Value>(10);
  Value value = ten - ten;
  for (char const c : text.substr(0, end)) {
    if (c != '.') value = value * ten + static_cast<Value>(c - '0');
  }
  for (; exponent > 0; --exponent) value *= ten;
  for (; exponent < 0; ++exponent) value /= ten;
  return value;
}
#endif

[[maybe_unused]] bool const isRegistered = [] {
  addAll<Ztb>("ztbcpp31");
#ifdef ZTB_HAVE_INTELDFP
  addAll<Intel>("Intel_34_digits");
#endif
#ifdef __DECIMAL_BID_FORMAT__
  addArithmetic<Compiler>("_Decimal128");
#endif
  return true;
}();

}  // namespace

std::vector<std::string> const& operandTexts(bool cut) {
  static std::vector<std::string> const whole = randomNumbers(false), first34 = randomNumbers(true);
  return cut ? first34 : whole;
}

std::vector<std::string> const& priceTexts() {
  static std::vector<std::string> const texts = randomPrices();
  return texts;
}

}  // namespace ztbreal_bench
