// SPDX-License-Identifier: MIT
//
// Any text as an expression. It is either calculated or refused at a place inside it, and comes to
// the same in parentheses, with a sign before it that is taken back, and with wide spaces.
// Aimed at tools/ztb/calc_expression.cpp

#include <optional>

#include "calc_expression.h"
#include "target.h"

namespace {

using tool::Calculation;

std::optional<Calculation> calculated(std::string const& expression) {
  try {
    return tool::calculate(expression);
  } catch (tool::ExpressionError const& error) {
    require(error.at() <= expression.size() && *error.what() != '\0');
    return std::nullopt;
  }
}

std::string withWideSpaces(std::string const& expression) {
  std::string result = " \n";
  for (char const c : expression) {
    bool const isOperator = std::string_view("*/(),").find(c) != std::string_view::npos;
    result += isOperator ? std::string{'\t', c, ' '} : std::string{c};
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const expression = bytesOf(data, size);
  auto const plain = calculated(expression);
  auto const spaced = calculated(withWideSpaces(expression));
  require(plain.has_value() == spaced.has_value());
  if (!plain) return 0;
  require(!plain->value.isNull() && plain->value == spaced->value);
  auto const enclosed = calculated("-(-(" + expression + "))");
  if (!enclosed) return 0;  // it was as deep as it may be
  require(enclosed->value == plain->value);
  require((plain->lossAt == Calculation::kNoLoss) == (enclosed->lossAt == Calculation::kNoLoss));
  return 0;
}
