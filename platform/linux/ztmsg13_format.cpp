// SPDX-License-Identifier: MIT
//
// Reads directives and fills them in.

#include "ztmsg13_format.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "ztmsg13.h"

namespace ztmsg13 {

namespace {

constexpr int kMaxWidth = 99;

struct Directive {
  int argument = -1;  // from 0; -1 stands for the next in turn
  int width = 0;
  bool zeros = false;
  char type = 0;
};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// The type of argument behind a conversion, 0 for a conversion that isn't supported.
char typeOf(char conversion) {
  if (conversion == 's') return 's';
  return conversion == 'd' || conversion == 'i' ? 'i' : '\0';
}

// Reads the directive behind a "%" and moves `cursor` behind it.
bool readDirective(char const*& cursor, Directive& directive) {
  if (cursor[0] >= '1' && cursor[0] <= '9' && cursor[1] == '$') {
    directive.argument = cursor[0] - '1';
    cursor += 2;
  }
  directive.zeros = *cursor == '0';
  for (; isDigit(*cursor); ++cursor) {
    directive.width = directive.width * 10 + (*cursor - '0');
    if (directive.width > kMaxWidth) return false;
  }
  directive.type = typeOf(*cursor);
  if (directive.type == 0) return false;
  ++cursor;
  return directive.type == 'i' || (directive.width == 0 && !directive.zeros);
}

// Calls `onText` for each literal piece and `onDirective` for each directive with its argument
// settled, until one of them gives false or the format is at its end. False if it was left early.
template <class OnText, class OnDirective>
bool walkFormat(char const* cursor, OnText onText, OnDirective onDirective) {
  int turns = 0;
  bool hasPositions = false;
  while (*cursor != '\0') {
    std::size_t const literal = std::strcspn(cursor, "%");
    if (literal > 0) onText(std::string_view(cursor, literal));
    cursor += literal;
    if (*cursor == '\0') return true;
    ++cursor;
    if (*cursor == '%') {
      onText(std::string_view(cursor++, 1));
      continue;
    }
    Directive directive;
    if (!readDirective(cursor, directive)) return false;
    if (directive.argument < 0) {
      directive.argument = turns++;
    } else {
      hasPositions = true;
    }
    if ((hasPositions && turns > 0) || directive.argument >= kMaxArguments) return false;
    if (!onDirective(directive)) return false;
  }
  return true;
}

void appendNumber(BoundedText& target, int number, Directive const& directive) {
  char digits[12];
  char const* const end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
  std::string_view text(digits, static_cast<std::size_t>(end - digits));
  std::size_t const width = static_cast<std::size_t>(directive.width);
  std::size_t const padding = width > text.size() ? width - text.size() : 0;
  if (directive.zeros && number < 0) {
    target.append("-");
    text.remove_prefix(1);
  }
  char pad[kMaxWidth];
  std::memset(pad, directive.zeros ? '0' : ' ', padding);
  target.append({pad, padding}).append(text);
}

// How many bytes of a text that is cut behind `bytes` make whole characters.
std::size_t wholeCharacters(std::string_view text, std::size_t bytes) {
  auto const isContinuation = [&](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  std::size_t border = bytes;
  while (border > 0 && bytes - border < 3 && isContinuation(border)) --border;
  return isContinuation(border) ? bytes : border;
}

}  // namespace

bool readSignature(char const* format, Signature& signature) {
  signature = {};
  return walkFormat(
      format, [](std::string_view) {},
      [&](Directive const& directive) {
        char& type = signature.types[directive.argument];
        if (type != 0 && type != directive.type) return false;
        type = directive.type;
        signature.count = std::max(signature.count, directive.argument + 1);
        return true;
      });
}

bool fits(char const* format, std::string_view declared) {
  Signature signature;
  if (!readSignature(format, signature)) return false;
  if (static_cast<std::size_t>(signature.count) > declared.size()) return false;
  for (int i = 0; i < signature.count; ++i) {
    char const type = signature.types[i];
    if (type != 0 && type != declared[static_cast<std::size_t>(i)]) return false;
  }
  return true;
}

void takeArguments(std::string_view declared, va_list list, Argument* arguments) {
  for (char const type : declared) {
    if (type == 's') {
      arguments->text = va_arg(list, char const*);
    } else {
      arguments->number = va_arg(list, int);
    }
    ++arguments;
  }
}

BoundedText::BoundedText(char* target, std::size_t size)
    : mTarget(target), mCapacity(size == 0 ? 0 : size - 1), mIsCut(size == 0) {
  if (size > 0) mTarget[0] = '\0';
}

BoundedText& BoundedText::append(std::string_view text) {
  if (mIsCut) return *this;
  std::size_t bytes = text.size();
  if (bytes > mCapacity - mSize) {
    bytes = wholeCharacters(text, mCapacity - mSize);
    mIsCut = true;
  }
  std::copy_n(text.data(), bytes, mTarget + mSize);
  mSize += bytes;
  mTarget[mSize] = '\0';
  return *this;
}

BoundedText& BoundedText::append(int number) {
  appendNumber(*this, number, Directive{});
  return *this;
}

BoundedText& BoundedText::appendFormat(char const* format, Argument const* arguments) {
  (void)walkFormat(
      format, [&](std::string_view text) { append(text); },
      [&](Directive const& directive) {
        Argument const& argument = arguments[directive.argument];
        if (directive.type == 'i') {
          appendNumber(*this, argument.number, directive);
        } else if (argument.text != nullptr) {
          append(argument.text);
        }
        return !mIsCut;
      });
  return *this;
}

void BoundedText::trimBlanksAtEnd() {
  while (mSize > 0 && mTarget[mSize - 1] == ' ') mTarget[--mSize] = '\0';
}

}  // namespace ztmsg13

int ztmsg13_util_printf(char* target, unsigned targetSize, char const* format, ...) {
  ztmsg13::BoundedText text(target, target == nullptr ? 0 : targetSize);
  ztmsg13::Signature signature;
  if (format == nullptr || !ztmsg13::readSignature(format, signature)) return -1;
  std::string_view const types(signature.types, static_cast<std::size_t>(signature.count));
  // The type, and so the place, of an argument that is skipped over isn't known.
  if (types.find('\0') != types.npos) return -1;

  ztmsg13::Argument arguments[ztmsg13::kMaxArguments];
  va_list list;
  va_start(list, format);
  ztmsg13::takeArguments(types, list, arguments);
  va_end(list);
  text.appendFormat(format, arguments);
  return static_cast<int>(text.size());
}
