// SPDX-License-Identifier: MIT
//
// The decimal arithmetic against vectors that an independent implementation made. The format of
// the file, one case a line, stands in tests/vectors/decimal_vectors.py. ZTB_DECIMAL_VECTORS names
// another file, such as a longer one.

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "decnumber.h"

namespace {

// --- fields of a line ---------------------------------------------------------------------------

struct Value {
  decSext decimal{};
  long long integer = 0;
  double real = 0;
  char const* text = "";
};

template <typename Number>
Number toNumber(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

void timesTenPlus(decSext* value, unsigned digit) {
  __extension__ unsigned __int128 carry = digit;
  for (auto& word : value->words) {
    carry += static_cast<decltype(carry)>(word) * 10;
    word = static_cast<unsigned long long>(carry);
    carry >>= 64;
  }
}

// Builds the encoding bit by bit, so that no result depends on how our own parser works.
decSext toDecimal(std::string_view text) {
  struct {
    std::string_view prefix;
    unsigned long long bits;
  } const specials[] = {{"Inf", 30ULL << 58}, {"NaN", 62ULL << 57}, {"sNaN", 63ULL << 57}};
  unsigned long long high = 0;
  if (text.starts_with('-')) {
    high = 1ULL << 63;
    text.remove_prefix(1);
  }
  unsigned long long bits = 0;
  for (auto const& special : specials) {
    if (!text.starts_with(special.prefix)) continue;
    bits = special.bits;
    text.remove_prefix(special.prefix.size());
  }
  std::string_view const digits = text.substr(0, text.find('E'));
  if (bits == 0) {
    int const exponent = digits == text ? 0 : toNumber<int>(text.substr(digits.size() + 1));
    bits = static_cast<unsigned long long>(exponent + 98354) << 45;
  }
  decSext value{};
  for (char const digit : digits) timesTenPlus(&value, static_cast<unsigned>(digit - '0'));
  value.words[2] |= high | bits;
  return value;
}

// Kinds of fields: d decimal, i integer, f double, t text.
Value read(char kind, std::string const& text) {
  if (kind == 'd') return {.decimal = toDecimal(text)};
  if (kind == 'i') return {.integer = toNumber<long long>(text)};
  if (kind == 'f') return {.real = toNumber<double>(text)};
  return {.text = text.c_str()};
}

bool same(char kind, Value const& a, Value const& b) {
  if (kind == 'i') return a.integer == b.integer;
  if (kind == 'd') return std::memcmp(&a.decimal, &b.decimal, sizeof(decSext)) == 0;
  return std::bit_cast<long long>(a.real) == std::bit_cast<long long>(b.real) ||
         (std::isnan(a.real) && std::isnan(b.real));
}

std::string show(char kind, Value const& value) {
  if (kind == 'i') return std::to_string(value.integer);
  char text[128];
  if (kind == 'f') return std::string(text, std::to_chars(text, text + 128, value.real).ptr);
  unsigned char bcd[kDecSextDigits];
  int exponent = 0;
  std::string result = decSextToBCD(&value.decimal, &exponent, bcd) != 0 ? "-" : "";
  for (unsigned const digit : bcd) result += static_cast<char>('0' + digit);
  snprintf(text, sizeof text, "E%d (words 2 to 0: %016llX %016llX %016llX)", exponent,
           value.decimal.words[2], value.decimal.words[1], value.decimal.words[0]);
  return result + text;
}

// --- operations ---------------------------------------------------------------------------------

using Operands = Value const* const*;

template <auto Function>
void unary(Value* result, Operands o, decContext* context) {
  Function(&result->decimal, &o[0]->decimal, context);
}

template <auto Function>
void binary(Value* result, Operands o, decContext* context) {
  Function(&result->decimal, &o[0]->decimal, &o[1]->decimal, context);
}

void squareRoot(Value* result, Operands o, decContext* context) {
  decNumber number;
  decimal192ToNumber(&o[0]->decimal, &number);
  decNumberSquareRoot(&number, &number, context);
  decimal192FromNumber(&result->decimal, &number, context);
}

void setExponent(Value* result, Operands o, decContext* context) {
  int const exponent = static_cast<int>(o[1]->integer);
  decSextSetExponent(decSextCopy(&result->decimal, &o[0]->decimal), context, exponent);
}

struct Operation {
  std::string_view name;
  std::string_view operands;
  char result;
  void (*apply)(Value* result, Operands operands, decContext* context);
};

constexpr Operation kOperations[] = {
    {"add", "dd", 'd', binary<decSextAdd>},
    {"sub", "dd", 'd', binary<decSextSubtract>},
    {"mul", "dd", 'd', binary<decSextMultiply>},
    {"div", "dd", 'd', binary<decSextDivide>},
    {"divint", "dd", 'd', binary<decSextDivideInteger>},
    {"rem", "dd", 'd', binary<decSextRemainder>},
    {"remnear", "dd", 'd', binary<decSextRemainderNear>},
    {"quantize", "dd", 'd', binary<decSextQuantize>},
    {"compare", "dd", 'd', binary<decSextCompare>},
    {"reduce", "d", 'd', unary<decSextReduce>},
    {"minus", "d", 'd', unary<decSextMinus>},
    {"abs", "d", 'd', unary<decSextAbs>},
    {"sqrt", "d", 'd', squareRoot},
    {"setexp", "di", 'd', setExponent},
    {"fma", "ddd", 'd',
     [](Value* r, Operands o, decContext* c) {
       decSextFMA(&r->decimal, &o[0]->decimal, &o[1]->decimal, &o[2]->decimal, c);
     }},
    {"toint", "d", 'd',
     [](Value* r, Operands o, decContext* c) {
       decSextToIntegralValue(&r->decimal, &o[0]->decimal, c, c->round);
     }},
    {"text", "t", 'd',
     [](Value* r, Operands o, decContext* c) { decSextFromString(&r->decimal, o[0]->text, c); }},
    {"fromdouble", "f", 'd',
     [](Value* r, Operands o, decContext* c) { decSextFromDouble(&r->decimal, o[0]->real, c); }},
    {"int64", "d", 'i',
     [](Value* r, Operands o, decContext* c) {
       r->integer = decSextToInt64(&o[0]->decimal, c, c->round);
     }},
    {"uint32", "d", 'i',
     [](Value* r, Operands o, decContext* c) {
       r->integer = decSextToUInt32(&o[0]->decimal, c, c->round);
     }},
    {"double", "d", 'f',
     [](Value* r, Operands o, decContext* c) { r->real = decSextToDouble(&o[0]->decimal, c, 0); }},
};

// --- cases --------------------------------------------------------------------------------------

void split(std::string const& line, std::vector<std::string>* fields) {
  std::size_t at = 0;
  std::size_t count = 0;
  for (std::size_t end = 0; end != std::string::npos; at = end + 1, ++count) {
    end = line.find(' ', at);
    if (count == fields->size()) fields->emplace_back();
    if (line.compare(at, end - at, "\"") != 0) (*fields)[count] = line.substr(at, end - at);
  }
  fields->resize(count);
}

// Runs one case, with the result in `alias` of the operands if it isn't negative. Empty, or what
// was wrong.
std::string run(Operation const& operation, std::vector<std::string> const& fields, int alias) {
  std::size_t const count = operation.operands.size();
  Value values[4];
  Value const* operands[3] = {};
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = read(operation.operands[i], fields[i + 2]);
    operands[i] = &values[i];
  }
  Value* const result = &values[alias < 0 ? 3 : alias];
  decContext context;
  decContextDefault(&context, 192);
  decContextSetRounding(&context, toNumber<int>(fields[1]));
  operation.apply(result, operands, &context);
  Value const expected = read(operation.result, fields[count + 2]);
  bool const isStatus = context.status == std::strtoul(fields[count + 3].c_str(), nullptr, 16);
  if (isStatus && same(operation.result, *result, expected)) return "";
  char status[16];
  snprintf(status, sizeof status, "%x", context.status);
  return (alias < 0 ? "" : "over operand " + std::to_string(alias) + ": ") +
         show(operation.result, *result) + ", status " + status;
}

std::string runAll(std::vector<std::string> const& fields) {
  for (auto const& operation : kOperations) {
    if (operation.name != fields[0]) continue;
    if (fields.size() != operation.operands.size() + 4) return "not a case";
    std::string wrong = run(operation, fields, -1);
    for (std::size_t i = 0; wrong.empty() && i < operation.operands.size(); ++i) {
      bool const canAlias = operation.operands[i] == 'd' && operation.result == 'd';
      if (canAlias) wrong = run(operation, fields, static_cast<int>(i));
    }
    return wrong;
  }
  return "no such operation";
}

TEST(DecnumberVectors, AgreeWithAnIndependentImplementation) {
  char const* const other = std::getenv("ZTB_DECIMAL_VECTORS");
  std::ifstream file(other != nullptr ? other : ZTB_TEST_VECTORS);
  long cases = 0;
  long wrong = 0;
  std::vector<std::string> fields;
  for (std::string line; std::getline(file, line); ++cases) {
    split(line, &fields);
    std::string const got = runAll(fields);
    if (got.empty() || ++wrong > 20) continue;
    ADD_FAILURE() << "line " << cases + 1 << ": " << testing::PrintToString(fields) << "\n  gives "
                  << got;
  }
  EXPECT_EQ(0, wrong);
  EXPECT_GE(cases, 1);
  if (other != nullptr) std::printf("%ld cases, %ld disagree\n", cases, wrong);
}

}  // namespace
