// SPDX-License-Identifier: MIT
//
// Any text as attributes. Their number, names and values must come out as a plain walk over the
// text gives them.
// Aimed at src/ztbparse.cpp

#include <algorithm>

#include "target.h"
#include "ztbparse.h"
#include "zturi.h"

namespace {

ZtbString attributeOf(std::string const& piece) {
  ZtbString attribute(piece.c_str(), false), unescaped;
  attribute.trim(true, true);
  return getUnEscapeStringFromURI(attribute, &unescaped) ? unescaped : attribute;
}

// Where the first "=" outside brackets stands, or npos.
std::size_t findSign(std::string const& text) {
  int round = 0, curly = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=' && round == 0 && curly == 0) return i;
    round += (text[i] == '(') - (text[i] == ')');
    curly += (text[i] == '{') - (text[i] == '}');
  }
  return std::string::npos;
}

void checkAttribute(ZtbParse& attributes, int index, ZtbString const& whole) {
  ZtbString name, value, expected;
  require(attributes.getAttribute(index, &name, &value));
  std::string const text = whole.asCstr();
  std::size_t const sign = findSign(text);
  if (sign == text.npos) return require(name.isNull() && value.compare(whole, true) == 0);
  expected.assign(text.substr(0, sign).c_str());
  expected.trim(true, true);
  require(name.isNull() ? sign == 0 : name.compare(expected, true) == 0);
  require(value.isNull() == (sign + 1 == text.size()) && value.asCstr() == text.substr(sign + 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  std::string const text = textOf(data, size);
  ZtbParse parsed;
  require(parsed.parse(ZtbString(text.c_str(), false)));
  ZtbParse attributes(parsed);
  int count = 0;
  for (std::size_t from = 0, end = 0; from <= text.size(); from = end + 1) {
    end = std::min(text.find(';', from), text.size());
    if (end > from) checkAttribute(attributes, count++, attributeOf(text.substr(from, end - from)));
  }
  ZtbString name, value;
  require(attributes.getAttributeCount() == count &&
          !attributes.getAttribute(count, &name, &value));
  return 0;
}
