// SPDX-License-Identifier: MIT
//
// The formatter: runs of ordinary text go over in one piece, directives through a table.

#include "ztbstringformat.h"

#include <climits>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "ztbstringformat_p.h"
#include "ztschr12.h"
#include "ztssys11.h"

namespace {

enum class Argument { kText, kString, kInt, kUnsigned, kInt64, kUnsigned64, kDouble };

struct Directive {
  std::string_view spelling;  // what stands behind the percent sign
  Argument argument;
};

// Runs of three and more l's are read as two.
constexpr Directive kDirectives[] = {
    {"s", Argument::kText},         {"S", Argument::kString},   {"d", Argument::kInt},
    {"g", Argument::kDouble},       {"ld", Argument::kInt},     {"li", Argument::kInt},
    {"lu", Argument::kUnsigned},    {"lld", Argument::kInt64},  {"lli", Argument::kInt64},
    {"llu", Argument::kUnsigned64}, {"I64i", Argument::kInt64}, {"I64u", Argument::kUnsigned64},
};

// Behind the last but two of the l's at `text`, so that at most two are left.
char const* skipNeedlessLs(char const* text) {
  std::size_t const count = std::strspn(text, "l");
  return count > 2 ? text + (count - 2) : text;
}

Directive const* findDirective(char const* text) {
  for (Directive const& directive : kDirectives) {
    if (std::strncmp(text, directive.spelling.data(), directive.spelling.size()) == 0) {
      return &directive;
    }
  }
  return nullptr;
}

// What a percent sign gives that begins no directive with an argument.
struct Literal {
  char const* runEnd;  // the text up to here is copied
  char const* next;    // the format goes on here
  char const* scan;    // the next percent sign is looked for from here
};

Literal readLiteral(char const* percent) {
  char const* const behind = percent + 1;
  if (*behind == '%' || *behind == 'I') return {behind, behind + 1, behind + 1};
  if (*behind != 'l') return {behind, behind, behind};
  // One l is copied, and the byte behind them all, whatever it is.
  char const* const next = behind + std::strspn(behind, "l");
  return {behind + 1, next, *next != '\0' ? next + 1 : next};
}

// What appends gives false when memory ran out, or the text is longer than a string can be.

// A run ends at a percent sign or the terminator, so that it never ends inside a character.
bool appendRun(ZtbString& result, char const* begin, char const* end) {
  if (begin == end) return true;
  if (end - begin > INT_MAX) return false;
  bool failed = false;
  result.append(begin, static_cast<int>(np_uchar_tell(begin, end)), &failed);
  return !failed;
}

bool appendString(ZtbString& result, ZtbString const& string) {
  bool failed = false;
  result.append(string, &failed);
  return !failed;
}

bool appendText(ZtbString& result, char const* text) {
  bool failed = false;
  result.append(text, &failed);
  return !failed;
}

template <class Number>
bool appendNumber(ZtbString& result, Number number) {
  ZtbString text;
  text.assign(number);
  return !text.isNull() && appendString(result, text);
}

// Takes an argument from the list, where it has one, and appends it.
bool appendArgument(ZtbString& result, Argument argument, va_list* arguments) {
  switch (argument) {
    case Argument::kText:
      return appendText(result, va_arg(*arguments, char const*));
    case Argument::kString: {
      auto const* const string = va_arg(*arguments, ZtbString const*);
      return string == nullptr || appendString(result, *string);
    }
    case Argument::kInt:
      return appendNumber(result, static_cast<__int64>(va_arg(*arguments, int)));
    case Argument::kUnsigned:
      return appendNumber(result, static_cast<unsigned __int64>(va_arg(*arguments, unsigned)));
    case Argument::kInt64:
      return appendNumber(result, va_arg(*arguments, __int64));
    case Argument::kUnsigned64:
      return appendNumber(result, va_arg(*arguments, unsigned __int64));
    case Argument::kDouble:
      return appendNumber(result, va_arg(*arguments, double));
  }
  return true;
}

// A part that can't be appended is left out.
bool appendFormat(ZtbString& result, char const* format, va_list* arguments) {
  bool isWhole = true;
  char const* run = format;
  char const* scan = format;
  while (char const* const percent = std::strchr(scan, '%')) {
    char const* const spelling = skipNeedlessLs(percent + 1);
    if (Directive const* const directive = findDirective(spelling)) {
      isWhole &= appendRun(result, run, percent);
      isWhole &= appendArgument(result, directive->argument, arguments);
      run = scan = spelling + directive->spelling.size();
    } else {
      Literal const literal = readLiteral(percent);
      isWhole &= appendRun(result, run, literal.runEnd);
      run = literal.next;
      scan = literal.scan;
    }
  }
  return appendRun(result, run, run + std::strlen(run)) && isWhole;
}

}  // namespace

ZtbString ztbStringFormat(char const* format, ...) {
  ZtbString result;
  if (!format) return result;
  va_list arguments;
  va_start(arguments, format);
  appendFormat(result, format, &arguments);
  va_end(arguments);
  return result;
}

ZtbString ztbWholeFormat(char const* format, ...) {
  ZtbString result;
  va_list arguments;
  va_start(arguments, format);
  if (!appendFormat(result, format, &arguments)) result.setNull();
  va_end(arguments);
  return result;
}

ZtbString ztbGetUUID() {
  constexpr std::size_t kUniqueTextSize = 20;
  char text[kUniqueTextSize];
  np_uniq_s64(text);
  return ZtbString(text, false);
}
