// SPDX-License-Identifier: MIT
//
// Any text as a template: what it holds, what it expands to and what is wrong with it must come out
// as a plain search for brackets finds it.
// Aimed at src/ztbtemplate.cpp

#include <algorithm>
#include <memory>
#include <vector>

#include "target.h"
#include "ztbinit.h"
#include "ztbtemplate.h"
#include "ztschr12.h"

namespace {

struct Expected {
  std::string reason;  // the number of the message and where it has one the line; or empty
  std::string expansion;
  std::vector<std::string> names;
};

std::string valueOf(std::string const& name) {
  return name.size() % 3 == 0 ? "" : "<" + name + ">";
}

// Where the name that begins at `at` ends, at the latest at the end of the text.
std::size_t endOfName(std::string const& text, std::size_t at, char open, char closer) {
  for (int bytes = 1; at < text.size(); at += static_cast<std::size_t>(bytes)) {
    if (text[at] == open || text[at] == closer || np_uchar_isspace(&text[at], &bytes) != 0) break;
    np_uchar_toint(&text[at], &bytes);
  }
  return at;
}

// What reading `text` from `at` on adds; gives the place where to go on, or npos at the end.
std::size_t readPlainly(std::string const& text, std::size_t at, Expected* out) {
  std::size_t const bracket = std::min(text.find_first_of("{}[]", at), text.size());
  auto const end = [&](char const* reason) {
    out->reason = reason;
    return text.npos;
  };
  auto const fail = [&](char const* number) {
    auto const place = text.begin() + static_cast<std::ptrdiff_t>(bracket);
    *out = {number + std::to_string(1 + std::count(text.begin(), place, '\n')), "", {}};
    return text.npos;
  };
  out->expansion += text.substr(at, bracket - at);
  if (bracket == text.size()) return end("");

  char const found = text[bracket];
  bool const isOpening = found == '{' || found == '[';
  bool const isDoubled = text[bracket + 1] == found;
  if (isDoubled || !isOpening) out->expansion += found;
  if (isDoubled) return bracket + 2;
  if (bracket + 1 == text.size()) return end("1759");
  if (!isOpening) return fail("1758 line ");

  char const closer = found == '{' ? '}' : ']';
  std::size_t const nameEnd = endOfName(text, bracket + 1, found, closer);
  if (nameEnd == text.size()) return end("1759");
  if (text[nameEnd] != closer) return fail("1760 line ");
  std::string const name = text.substr(bracket + 1, nameEnd - bracket - 1);
  if (name.empty()) return fail("1763 line ");
  for (std::string const& other : out->names) {
    if (np_uchar_icomp(other.c_str(), name.c_str()) != 0) continue;
    *out = {"1666", "", {}};
    return text.npos;
  }
  out->names.push_back(name);
  out->expansion += valueOf(name);
  return nameEnd + 1;
}

struct Values final : ZtbTemplateValueCB {
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString*) override {
    asked.push_back(name.asCstr());
    std::string const text = valueOf(asked.back());
    if (!text.empty()) value->assign(text.c_str());
    return true;
  }
  std::vector<std::string> asked;
};

// The number of a message, with its line where it ends in a line and a column.
std::string reasonOf(ZtbString const& error) {
  std::string text = error.asCstr();
  std::string const number = text.substr(std::min(text.find("Services ") + 9, text.size()), 4);
  bool const hasColumn = text.ends_with(", 1");
  if (hasColumn) text.resize(text.size() - 3);
  bool const hasLine = hasColumn || number == "1763";
  return hasLine ? number + " line " + text.substr(text.rfind(' ') + 1) : number;
}

void checkNames(ZtbTemplate& made, std::vector<std::string> names) {
  std::sort(names.begin(), names.end(), [](std::string const& a, std::string const& b) {
    return np_uchar_icomp(a.c_str(), b.c_str()) < 0;
  });
  require(made.getVariableCount() == static_cast<int>(names.size()));
  bool bracketed = false;
  ZtbString error;
  int index = 0;
  for (std::string const& name : names) {
    require(made.getVariable(index++, &bracketed, &error).asCstr() == name && error.isNull());
  }
  require(made.getVariable(index, &bracketed, &error).isNull());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  char const* reason = nullptr;
  static bool const isUp = ztbInitialize("/nowhere/template_fuzz", &reason) == 0;
  require(isUp);
  std::string const text = textOf(data, size);
  Expected expected;
  for (std::size_t at = 0; at != text.npos;) at = readPlainly(text, at, &expected);

  Values values;
  ZtbString error;
  auto const release = [](ZtbTemplate* each) { each->release(); };
  std::unique_ptr<ZtbTemplate, decltype(release)> const made(
      ztbCreateBasicTemplate(&values, &error));
  bool const isRead = made->parse(ZtbString(text.c_str(), false), &error);
  require(isRead == expected.reason.empty() && isRead == error.isNull());
  require(isRead || reasonOf(error) == expected.reason);
  for (int i = 0; i < 2; ++i) {
    require(made->expand(&error).asCstr() == expected.expansion && error.isNull());
    require(values.asked == expected.names);
    checkNames(*made, expected.names);
  }
  return 0;
}
