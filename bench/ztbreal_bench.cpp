// SPDX-License-Identifier: MIT
//
// Decimal arithmetic and texts, beside Intel's decimal library and the compiler's own type, which
// hold 34 digits. Boost is measured in a source of its own, as its headers take long to compile.

#include "ztbreal_bench.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>

#include "decimal128.h"

#ifdef ZTB_HAVE_INTELDFP
// As the archive was made: rounding mode and flags are variables, half-even and clear at first.
#define DECIMAL_CALL_BY_REFERENCE 0
#define DECIMAL_GLOBAL_ROUNDING 1
#define DECIMAL_GLOBAL_EXCEPTION_FLAGS 1
#include <bid_conf.h>
#include <bid_functions.h>
#endif

namespace ztbreal_bench {

namespace {

// How many digits columns of amounts, prices, quantities and rates have behind the point.
constexpr int kScales[] = {0, 2, 2, 2, 3, 4, 4, 6};

std::string randomNumber(std::mt19937& random, bool cut) {
  int const digits = std::uniform_int_distribution<>(30, 52)(random);
  int const behindPoint = kScales[random() % std::size(kScales)];
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

  static Value parse(std::string const& text) {
    return bid128_from_string(const_cast<char*>(text.c_str()));
  }
  static std::array<char, 64> format(Value value) {
    std::array<char, 64> text;
    bid128_to_string(text.data(), value);
    return text;
  }
  static double toDouble(Value value) { return bid128_to_binary64(value); }
  static double toDouble(int value) { return value; }
  static Value add(Value a, Value b) { return bid128_add(a, b); }
  static Value subtract(Value a, Value b) { return bid128_sub(a, b); }
  static Value multiply(Value a, Value b) { return bid128_mul(a, b); }
  static Value divide(Value a, Value b) { return bid128_div(a, b); }
  static int compare(Value a, Value b) {
    if (bid128_quiet_less(a, b)) return -1;
    return bid128_quiet_equal(a, b) ? 0 : 1;
  }
  static Value sqrt(Value a, Value) { return bid128_sqrt(a); }
  static void accumulate(Value& total, Value price) { total = add(total, price); }
};
#endif

#ifdef __DECIMAL_BID_FORMAT__
// The compiler's type knows no text and no root.
struct Compiler {
  using Value = Decimal128;
  static constexpr int kDigits = 34;

  static Value parse(std::string const& text) { return decimal128Parse(text); }
  static double toDouble(Value value) { return decimal128ToDouble(value); }
  static double toDouble(int value) { return value; }
  static Value add(Value a, Value b) { return decimal128Add(a, b); }
  static Value subtract(Value a, Value b) { return decimal128Subtract(a, b); }
  static Value multiply(Value a, Value b) { return decimal128Multiply(a, b); }
  static Value divide(Value a, Value b) { return decimal128Divide(a, b); }
  static int compare(Value a, Value b) { return decimal128Compare(a, b); }
  static void accumulate(Value& total, Value price) { total = decimal128Add(total, price); }
};
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
