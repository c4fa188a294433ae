// SPDX-License-Identifier: MIT
//
// ztb attributes: the names and values of texts of the form name=value;name=value.

#include <memory>

#include "lines.h"
#include "tool.h"
#include "ztbparse.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Shows the attributes of each text, or of each line of standard input, one a line as\n"
    "\"name\" = \"value\", with (null) for what isn't there. docs/attributes.md has the "
    "grammar.\n\n"
    "  ztb attributes 'server=db1; user=kim; note=one%3B two'";

std::string shown(ZtbString const& text) {
  return text.isNull() ? "(null)" : "\"" + printable(text.asCstr()) + "\"";
}

// Calls visit(name, value) for each attribute.
template <class Visit>
void walk(std::string const& text, Visit const& visit) {
  ZtbParse attributes;
  attributes.parse(toZtb(text));
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    ZtbString name, value;
    attributes.getAttribute(i, &name, &value);
    visit(name, value);
  }
}

std::string lines(std::string const& text) {
  std::string result = printable(text) + "\n";
  walk(text, [&result](ZtbString const& name, ZtbString const& value) {
    result += "  " + shown(name) + " = " + shown(value) + "\n";
  });
  return result;
}

void describe(std::string const& text, JsonObject& object) {
  std::vector<JsonObject> members;
  walk(text, [&members](ZtbString const& name, ZtbString const& value) {
    members.emplace_back().add("name", name).add("value", value);
  });
  object.add("attributes", members);
}

}  // namespace

Run declareAttributes(CLI::App& app) {
  auto const json = std::make_shared<bool>(false);
  takeTexts(app, "TEXT...", "The texts (default: the lines of standard input)", 0);
  app.add_flag("--json", *json, "Print a JSON array");
  app.footer(kHelp);
  return [json, &app] {
    Library library;
    return workOnTexts("attributes", textsOf(app), *json, {lines, describe});
  };
}

}  // namespace tool
