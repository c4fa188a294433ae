// SPDX-License-Identifier: MIT
//
// A recursive-descent parser that calculates as it goes, one function a rule of the grammar.

#include "calc_expression.h"

#include <climits>

namespace tool {
namespace {

constexpr int kDeepest = 250;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isInfinite(ZtbReal const& value) {
  static ZtbReal const* const kLargest = [] {
    std::string const text = std::string(52, '9') + "E+98253";
    return new ZtbReal(ZtbReal().assign(text.c_str()));
  }();
  return value.absolute() > *kLargest;
}

struct Function {
  std::string_view name;
  bool takesPlaces;
  ZtbReal (*apply)(ZtbReal const& value, int places);
};

constexpr Function kFunctions[] = {
    {"sqrt", false, [](ZtbReal const& value, int) { return value.sqrt(nullptr); }},
    {"round", true, [](ZtbReal const& value, int places) { return value.round(places); }},
    {"floor", false, [](ZtbReal const& value, int) { return value.floor(); }},
    {"ceiling", false, [](ZtbReal const& value, int) { return value.ceiling(); }},
};

class Parser {
 public:
  explicit Parser(std::string_view text) : mText(text) {}

  Calculation calculate() {
    ZtbReal const value = sum();
    if (mAt != mText.size()) fail(mAt, "expected an operator or the end");
    return {value, mLossAt};
  }

 private:
  [[noreturn]] static void fail(std::size_t at, std::string const& reason) {
    throw ExpressionError(at, reason);
  }

  char current() const { return mAt < mText.size() ? mText[mAt] : '\0'; }

  void skipSpace() {
    while (current() == ' ' || (current() >= '\t' && current() <= '\r')) ++mAt;
  }

  // Takes what is wanted, with the space behind it.
  bool take(std::string_view wanted) {
    if (mText.substr(mAt, wanted.size()) != wanted) return false;
    mAt += wanted.size();
    skipSpace();
    return true;
  }
  void demand(std::string_view wanted) {
    if (!take(wanted)) fail(mAt, "expected \"" + std::string(wanted) + "\"");
  }

  // Takes characters while they are of a class.
  void skipWhile(bool (*isOfClass)(char)) {
    while (isOfClass(current())) ++mAt;
  }

  // A result that came about at a place, if it is a number in range.
  ZtbReal const& checked(ZtbReal const& result, std::size_t at) {
    if (result.isNull()) fail(at, "52 digits are too few for this");
    if (isInfinite(result)) fail(at, "the result is out of range: at most 9.99...E+98304");
    return result;
  }
  void noteLoss(bool isLossy, std::size_t at) {
    if (isLossy && mLossAt == Calculation::kNoLoss) mLossAt = at;
  }

  using Operation = ZtbReal (ZtbReal::*)(ZtbReal const&, bool*);
  void apply(ZtbReal& left, Operation operation, ZtbReal const& right, std::size_t at) {
    ZtbReal const result = (left.*operation)(right, nullptr);
    noteLoss(left.truncated(), at);
    left = checked(result, at);
  }

  ZtbReal divisor(std::size_t at) {
    ZtbReal const value = factor();
    if (value == 0.0) fail(at, "division by zero");
    return value;
  }

  ZtbReal sum() {
    ZtbReal left = product();
    for (;;) {
      std::size_t const at = mAt;
      if (take("+")) {
        apply(left, &ZtbReal::add, product(), at);
      } else if (take("-")) {
        apply(left, &ZtbReal::subtract, product(), at);
      } else {
        return left;
      }
    }
  }

  ZtbReal product() {
    ZtbReal left = factor();
    for (;;) {
      std::size_t const at = mAt;
      if (take("*")) {
        apply(left, &ZtbReal::multiply, factor(), at);
      } else if (take("/")) {
        apply(left, &ZtbReal::divide, divisor(at), at);
      } else if (take("mod")) {
        left = checked(left.modulo(divisor(at)), at);
      } else {
        return left;
      }
    }
  }

  ZtbReal factor() {
    skipSpace();
    bool isNegative = false;
    while (current() == '-' || current() == '+') {
      if (!take("+")) isNegative ^= take("-");
    }
    ZtbReal const value = operand();
    skipSpace();
    return isNegative ? value.negative() : value;
  }

  ZtbReal operand() {
    if (isDigit(current()) || current() == '.') return number();
    if (isLetter(current())) return call();
    std::size_t const at = mAt;
    if (!take("(")) fail(at, "expected a number, a function or \"(\"");
    return inParentheses(at, [this] { return sum(); });
  }

  template <class Content>
  ZtbReal inParentheses(std::size_t at, Content content) {
    if (++mDepth > kDeepest) fail(at, "nested deeper than " + std::to_string(kDeepest));
    ZtbReal const value = content();
    demand(")");
    --mDepth;
    return value;
  }

  // Takes what could be meant as a number, so that a wrong one is shown as a whole.
  ZtbReal number() {
    std::size_t const at = mAt;
    skipWhile([](char c) { return isDigit(c) || c == '.'; });
    if (current() == 'e' || current() == 'E') {
      ++mAt;
      if (current() == '+' || current() == '-') ++mAt;
      skipWhile(isDigit);
    }
    ZtbReal value;
    value.assign(std::string(mText.substr(at, mAt - at)).c_str());
    if (value.isNull()) fail(at, "this is no number");
    noteLoss(value.truncated(), at);
    return checked(value, at);
  }

  ZtbReal call() {
    std::size_t const at = mAt;
    skipWhile(isLetter);
    Function const& function = functionNamed(mText.substr(at, mAt - at), at);
    skipSpace();
    demand("(");
    return inParentheses(at, [&] {
      ZtbReal const value = sum();
      if (function.name == "sqrt" && value < 0.0) fail(at, "square root of a negative number");
      ZtbReal const result = function.apply(value, function.takesPlaces ? places() : 0);
      noteLoss(result.truncated(), at);
      return checked(result, at);
    });
  }

  static Function const& functionNamed(std::string_view name, std::size_t at) {
    std::string known;
    for (Function const& function : kFunctions) {
      if (function.name == name) return function;
      known += (known.empty() ? "" : ", ") + std::string(function.name);
    }
    fail(at, "unknown name; the functions are " + known);
  }

  int places() {
    demand(",");
    std::size_t const at = mAt;
    ZtbReal const value = sum();
    __int64 const number = value.asInt64(nullptr);
    bool const isWhole = value == ZtbReal(number) && number >= -INT_MAX && number <= INT_MAX;
    if (!isWhole) fail(at, "expected a whole number of places");
    return static_cast<int>(number);
  }

  std::string_view mText;
  std::size_t mAt = 0;
  int mDepth = 0;
  std::size_t mLossAt = Calculation::kNoLoss;
};

}  // namespace

Calculation calculate(std::string_view expression) {
  return Parser(expression).calculate();
}

}  // namespace tool
