// SPDX-License-Identifier: MIT
//
// ztb calc: a decimal expression, exact to 52 digits, with word of every digit that was lost.

#include <cstdio>
#include <memory>

#include "calc_expression.h"
#include "tool.h"

namespace tool {
namespace {

struct Arguments {
  int width = 0;  // 0 for as many characters as it takes
  bool json = false;
};

constexpr char kHelp[] =
    "An expression has numbers (12, .5, 1.5E-3), + - * / mod, signs, parentheses, sqrt(x),\n"
    "round(x, places), floor(x) and ceiling(x). Quote it: \"*\" and \"(\" mean something to "
    "shells.\n"
    "The result goes to standard output; whether digits were lost on the way to standard error.\n"
    "mod is the remainder to the nearest multiple: 11 mod 3 is -1. floor rounds toward zero.\n"
    "round(x, 0) leaves x as it is; negative places round to tens, hundreds and so on.\n\n"
    "  ztb calc '84.03 * 1.19'\n"
    "  ztb calc 'round(sqrt(2), 10)'";

// Unquoted expressions come in pieces.
std::string joined(std::vector<std::string> const& pieces) {
  std::string result;
  for (std::string const& piece : pieces) result += (result.empty() ? "" : " ") + piece;
  return result;
}

// Counted in characters from 1.
long long columnOf(std::string const& expression, std::size_t at) {
  return 1LL + toZtb(expression.substr(0, at)).length();
}

// The part of the expression around a place, with a caret below that place.
std::string showPlace(std::string const& expression, std::size_t at) {
  constexpr int kAround = 30;
  ZtbString const before = toZtb(expression.substr(0, at));
  ZtbString const behind = toZtb(expression.substr(at));
  std::string const front =
      (before.length() > kAround ? "..." : "") + printable(fromZtb(before.right(kAround)));
  std::string const back =
      printable(fromZtb(behind.mid(0, kAround))) + (behind.length() > kAround ? "..." : "");
  return "  " + front + back + "\n  " + std::string(toZtb(front).length(), ' ') + "^";
}

Calculation calculateOrRefuse(std::string const& expression) {
  try {
    return calculate(expression);
  } catch (ExpressionError const& error) {
    throw Refused("column " + std::to_string(columnOf(expression, error.at())) + ": " +
                  error.what() + "\n" + showPlace(expression, error.at()));
  }
}

bool readsBack(std::string const& text, ZtbReal const& value) {
  return ZtbReal().assign(text.c_str()) == value;
}

ZtbReal powerOfTen(int exponent) {
  ZtbReal power;
  power.assign(("1E" + std::to_string(exponent)).c_str());
  return power;
}

// The exponent of the first digit of a number whose text in the library's form is cut, as a small
// number, or missing, as an integer of more digits than the form has room for.
int firstExponent(ZtbReal const& value, std::string const& text) {
  if (!text.empty()) {
    std::size_t const point = text.find('.');
    return static_cast<int>(point) - static_cast<int>(text.find_first_not_of('0', point + 1));
  }
  int exponent = 0;
  while (value.absolute() >= powerOfTen(exponent + 1)) ++exponent;
  return exponent;
}

// All digits of a number: with the point moved behind the first one they always have room.
std::string exactText(ZtbReal const& value) {
  std::string const text = fromZtb(value.asString());
  if (readsBack(text, value)) return text;
  int const exponent = firstExponent(value, text);
  ZtbReal moved = powerOfTen(-exponent);
  return fromZtb(moved.multiply(value, nullptr).asString()) + (exponent < 0 ? "E" : "E+") +
         std::to_string(exponent);
}

std::string textOf(ZtbReal const& value, int width) {
  if (width == 0) return exactText(value);
  ZtbString const text = value.asString(width);
  if (!text.isNull()) return fromZtb(text);
  throw Refused("the result doesn't fit into a width of " + std::to_string(width) +
                "; leave --width out to see it");
}

int run(std::string const& expression, Arguments const& arguments) {
  Library library;
  Calculation const calculation = calculateOrRefuse(expression);
  std::string const text = textOf(calculation.value, arguments.width);
  bool const isExact = calculation.lossAt == Calculation::kNoLoss;
  bool const isCut = !readsBack(text, calculation.value);
  long long const lossColumn = isExact ? 0 : columnOf(expression, calculation.lossAt);
  if (arguments.json) {
    JsonObject object;
    object.add("result", text).add("exact", isExact).add("cut", isCut);
    isExact ? object.addNull("lossColumn") : object.add("lossColumn", lossColumn);
    std::printf("%s\n", object.str().c_str());
    return 0;
  }
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
  if (!isExact) {
    std::fprintf(stderr, "not exact: digits were lost, first at column %lld\n%s\n", lossColumn,
                 showPlace(expression, calculation.lossAt).c_str());
  }
  if (isCut) std::fprintf(stderr, "cut to a width of %d\n", arguments.width);
  return 0;
}

}  // namespace

Run declareCalc(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  takeTexts(app, "EXPRESSION", "What to calculate", 1);
  app.add_option("--width", arguments->width, "Cut the result to this many characters, 1 to 61")
      ->type_name(kNumber)
      ->check(isBetween(1, 61));
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  return [arguments, &app] { return run(joined(textsOf(app)), *arguments); };
}

}  // namespace tool
