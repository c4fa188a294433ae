// SPDX-License-Identifier: MIT
//
// Any text as attributes. Their number, names and values must come out as a plain walk over the
// text gives them.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ztbmempool_p.h"
#include "ztbparse.h"
#include "zturi.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "attributes_fuzz: %s\n", what);
  std::abort();
}

bool isSame(ZtbString const& a, ZtbString const& b) {
  return a.compare(b, true) == 0;
}

ZtbString attributeOf(std::string const& piece) {
  ZtbString attribute(piece.c_str(), false), unescaped;
  attribute.trim(true, true);
  return getUnEscapeStringFromURI(attribute, &unescaped) ? unescaped : attribute;
}

// Where the first "=" outside brackets stands, or npos.
std::size_t findSign(std::string const& attribute) {
  int depths[2] = {0, 0};
  for (std::size_t i = 0; i < attribute.size(); ++i) {
    if (attribute[i] == '=' && depths[0] == 0 && depths[1] == 0) return i;
    if (attribute[i] == '(') ++depths[0];
    if (attribute[i] == ')') --depths[0];
    if (attribute[i] == '{') ++depths[1];
    if (attribute[i] == '}') --depths[1];
  }
  return std::string::npos;
}

void checkAttribute(ZtbParse& attributes, int index, ZtbString const& whole) {
  ZtbString name, value, expectedName;
  require(attributes.getAttribute(index, &name, &value), "an attribute is refused");
  std::string const text = whole.asCstr();
  std::size_t const sign = findSign(text);
  if (sign == std::string::npos) {
    require(name.isNull() && isSame(value, whole), "an attribute without a sign is split");
    return;
  }
  expectedName.assign(text.substr(0, sign).c_str());
  expectedName.trim(true, true);
  require(name.isNull() ? sign == 0 : isSame(name, expectedName), "another name");
  bool const isEnd = sign + 1 == text.size();
  require(value.isNull() == isEnd && value.asCstr() == text.substr(sign + 1), "another value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  require(isUp, "no pool");
  std::string const text = std::string(reinterpret_cast<char const*>(data), size).c_str();
  ZtbParse parsed;
  require(parsed.parse(ZtbString(text.c_str(), false)), "a parse fails");
  ZtbParse attributes(parsed);
  int count = 0;
  for (std::size_t from = 0; from <= text.size();) {
    std::size_t const end = std::min(text.find(';', from), text.size());
    if (end > from) checkAttribute(attributes, count++, attributeOf(text.substr(from, end - from)));
    from = end + 1;
  }
  require(attributes.getAttributeCount() == count, "another number of attributes");
  ZtbString name, value;
  require(!attributes.getAttribute(count, &name, &value), "an attribute too many");
  return 0;
}
