// SPDX-License-Identifier: MIT
//
// The attribute parser: cut at the semicolons first, unescaped next, and split at "=" on demand.

#include "ztbparse.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "ztbstring_p.h"
#include "zturi_p.h"

namespace {

using Attributes = std::vector<ZtbString>;

// Null if memory ran out.
Attributes* copyOf(Attributes const* attributes) {
  try {
    return attributes ? new Attributes(*attributes) : new Attributes;
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

void addAttribute(std::string_view piece, Attributes* attributes) {
  if (piece.empty() || ztURIUnescape(ztbTrimmed(piece), &attributes->emplace_back())) return;
  attributes->pop_back();
  throw std::bad_alloc();
}

void addAttributes(std::string_view text, Attributes* attributes) {
  for (;;) {
    std::size_t const end = text.find(';');
    addAttribute(text.substr(0, end), attributes);
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

// The first "=" that no bracket encloses, or npos. A bracket that was never opened counts too.
std::size_t findEquals(std::string_view text) {
  int parentheses = 0;
  int braces = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char const c = text[i];
    if (c == '=' && parentheses == 0 && braces == 0) return i;
    parentheses += (c == '(') - (c == ')');
    braces += (c == '{') - (c == '}');
  }
  return std::string_view::npos;
}

}  // namespace

ZtbParse::ZtbParse() : attributes(copyOf(nullptr)) {}

ZtbParse::ZtbParse(ZtbParse const& other)
    : errorMessage(other.errorMessage),
      parseText(other.parseText),
      attributes(copyOf(other.attributes)) {}

ZtbParse::~ZtbParse() {
  delete attributes;
}

ZtbParse& ZtbParse::operator=(ZtbParse const& other) {
  if (this == &other) return *this;
  delete attributes;
  errorMessage = other.errorMessage;
  parseText = other.parseText;
  attributes = copyOf(other.attributes);
  return *this;
}

bool ZtbParse::parse(ZtbString const& text) {
  parseText = text;
  errorMessage.setNull();
  if (!attributes) attributes = copyOf(nullptr);
  if (!attributes) return true;
  attributes->clear();
  try {
    addAttributes(ztURIView(parseText), attributes);
  } catch (std::bad_alloc const&) {
    // The attributes end where memory did.
  }
  return true;
}

int ZtbParse::getAttributeCount() const {
  return attributes ? static_cast<int>(attributes->size()) : 0;
}

bool ZtbParse::getAttribute(int index, ZtbString* name, ZtbString* value) {
  name->setNull();
  value->setNull();
  if (index < 0 || index >= getAttributeCount()) {
    errorMessage = ZtbString("Invalid index in array", true);
    return false;
  }
  ZtbString const& attribute = (*attributes)[static_cast<std::size_t>(index)];
  std::string_view const text = ztURIView(attribute);
  std::size_t const equals = findEquals(text);
  if (equals == std::string_view::npos) {
    *value = attribute;
    return true;
  }
  if (equals > 0) ztURIAssign(ztbTrimmed(text.substr(0, equals)), name);
  if (equals + 1 < text.size()) ztURIAssign(text.substr(equals + 1), value);
  return true;
}

ZtbString ZtbParse::getErrorMessage() const {
  return errorMessage;
}
