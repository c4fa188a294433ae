// SPDX-License-Identifier: MIT
//
// Any text as an expression. It is either calculated or refused at a place inside it, and comes to
// the same in parentheses, with a sign before it that is taken back, and with wide spaces.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "calc_expression.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::optional<tool::Calculation> calculated(std::string const& expression) {
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
    result += isOperator ? std::string("\t") + c + " " : std::string(1, c);
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const expression(reinterpret_cast<char const*>(data), size);
  auto const plain = calculated(expression);
  auto const spaced = calculated(withWideSpaces(expression));
  require(plain.has_value() == spaced.has_value());
  if (!plain.has_value()) return 0;
  require(!plain->value.isNull() && plain->value == spaced->value);
  auto const enclosed = calculated("-(-(" + expression + "))");
  if (!enclosed.has_value()) return 0;  // it was as deep as it may be
  require(enclosed->value == plain->value);
  bool const isLossy = plain->lossAt != tool::Calculation::kNoLoss;
  require(isLossy == (enclosed->lossAt != tool::Calculation::kNoLoss));
  return 0;
}
