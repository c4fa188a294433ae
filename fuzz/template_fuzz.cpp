// SPDX-License-Identifier: MIT
//
// Any text as a template: what it holds, what it expands to and what is wrong with it must come out
// as a plain search for brackets finds it.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ztbinit.h"
#include "ztbtemplate.h"
#include "ztschr12.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "template_fuzz: %s\n", what);
  std::abort();
}

struct Expected {
  std::string reason;  // the number of the message and where it has one the line; or empty
  std::string expansion;
  std::vector<std::string> names;
};

std::string valueOf(std::string const& name) {
  return name.size() % 3 == 0 ? "" : "<" + name + ">";
}

bool isSpace(char const* at) {
  int bytes = 0;
  return np_uchar_isspace(at, &bytes) != 0;
}

// Where the name that begins at `begin` ends, at the latest at the end of the text.
std::size_t endOfName(std::string const& text, std::size_t begin, char open, char closer) {
  int bytes = 1;
  std::size_t at = begin;
  for (; at < text.size(); at += static_cast<std::size_t>(bytes)) {
    if (text[at] == open || text[at] == closer || isSpace(&text[at])) break;
    np_uchar_toint(&text[at], &bytes);
  }
  return at;
}

// What reading `text` from `at` on adds; gives the place where to go on, or npos at the end.
std::size_t readPlainly(std::string const& text, std::size_t at, Expected* out) {
  auto const end = [out](char const* reason) {
    out->reason = reason;
    return std::string::npos;
  };
  auto const fail = [&](char const* number) {
    std::string const line = std::to_string(
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    *out = {number + line, "", {}};
    return std::string::npos;
  };
  std::size_t const bracket = std::min(text.find_first_of("{}[]", at), text.size());
  out->expansion += text.substr(at, bracket - at);
  at = bracket;
  if (at == text.size()) return end("");

  char const found = text[at];
  bool const isOpening = found == '{' || found == '[';
  bool const isDoubled = at + 1 < text.size() && text[at + 1] == found;
  if (isDoubled || !isOpening) out->expansion += found;
  if (isDoubled) return at + 2;
  if (at + 1 == text.size()) return end("1759");
  if (!isOpening) return fail("1758 line ");

  char const closer = found == '{' ? '}' : ']';
  std::size_t const nameEnd = endOfName(text, at + 1, found, closer);
  if (nameEnd == text.size()) return end("1759");
  if (text[nameEnd] != closer) return fail("1760 line ");
  std::string const name = text.substr(at + 1, nameEnd - at - 1);
  if (name.empty()) return fail("1763 line ");
  for (std::string const& other : out->names) {
    if (np_uchar_icomp(other.c_str(), name.c_str()) != 0) continue;
    *out = {"1666", "", {}};
    return std::string::npos;
  }
  out->names.push_back(name);
  out->expansion += valueOf(name);
  return nameEnd + 1;
}

class Values final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString*) override {
    asked.push_back(name.asCstr());
    std::string const text = valueOf(name.asCstr());
    if (!text.empty()) value->assign(text.c_str());
    return true;
  }
  std::vector<std::string> asked;
};

struct Release {
  void operator()(ZtbTemplate* each) const { each->release(); }
};

// The number of a message, with its line where it ends in a line and a column.
std::string reasonOf(ZtbString const& error) {
  std::string const text = error.asCstr();
  std::string const number = text.substr(std::min(text.find("Services ") + 9, text.size()), 4);
  if (text.size() < 3 || text.substr(text.size() - 3) != ", 1") {
    return number == "1763" ? number + " line " + text.substr(text.rfind(": ") + 2) : number;
  }
  std::string const front = text.substr(0, text.size() - 3);
  return number + " line " + front.substr(front.rfind(' ') + 1);
}

void checkNames(ZtbTemplate& made, std::vector<std::string> names) {
  std::sort(names.begin(), names.end(), [](std::string const& a, std::string const& b) {
    return np_uchar_icomp(a.c_str(), b.c_str()) < 0;
  });
  require(made.getVariableCount() == static_cast<int>(names.size()), "not as many variables");
  bool bracketed = false;
  ZtbString error;
  int index = 0;
  for (std::string const& name : names) {
    require(made.getVariable(index++, &bracketed, &error).asCstr() == name, "not that variable");
    require(error.isNull(), "a variable with an error");
  }
  require(made.getVariable(index, &bracketed, &error).isNull(), "a variable too many");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  char const* reason = nullptr;
  static bool const isUp = ztbInitialize("/nowhere/template_fuzz", &reason) == 0;
  require(isUp, "no library");
  std::string const text = std::string(reinterpret_cast<char const*>(data), size).c_str();
  Expected expected;
  for (std::size_t at = 0; at != std::string::npos;) at = readPlainly(text, at, &expected);

  Values values;
  ZtbString error;
  std::unique_ptr<ZtbTemplate, Release> const made(ztbCreateBasicTemplate(&values, &error));
  bool const isRead = made->parse(ZtbString(text.c_str(), false), &error);
  require(isRead == expected.reason.empty() && isRead == error.isNull(), "read or refused wrongly");
  if (!isRead) require(reasonOf(error) == expected.reason, "refused for another reason");

  for (int i = 0; i < 2; ++i) {
    require(made->expand(&error).asCstr() == expected.expansion, "expands differently");
    require(error.isNull(), "an expansion with an error");
    require(values.asked == expected.names, "not asked once for each variable");
    checkNames(*made, expected.names);
  }
  return 0;
}
