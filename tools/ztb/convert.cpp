// SPDX-License-Identifier: MIT
//
// ztb convert: values from one data type to another, as the cells of rows are converted.

#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbdatavar.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Types: Boolean, Integer, Real, String, Date, in any case.\n"
    "A value is a String unless --from says otherwise: then it is read as that type first, so "
    "that\n"
    "\"2.7 --to Integer\" is refused, and \"2.7 --from Real --to Integer\" is 2. Numeric dates "
    "are\n"
    "read in the order of your locale, and shown in the ISO form; a Date converted to String is\n"
    "written as your locale writes it. \"--\" lets values begin with hyphens.\n\n"
    "  ztb convert '3 Feb 1989' --to Date\n"
    "  ztb convert 12.50 --from Real --to Integer";

constexpr char kCutNote[] =
    "not exact: a Real has 52 digits, and goes from 1E-98354 to 9.99...E+98304";

struct Arguments {
  std::string from = "String";
  std::string to;
  bool json = false;
};

// What is wrong with the name of a type; empty if nothing is.
std::string faultOf(std::string const& name) {
  ztbType const type = ztbTypeFromString(name.c_str());
  bool const hasOrder = type == ztbTypeDate && name.size() > std::string_view("Date").size();
  if (hasOrder) return "dates are read in the order of your locale (LC_TIME); write Date";
  if (type != ztbTypeUnknown) return "";
  return "\"" + printable(name) +
         "\" is no type; the types are Boolean, Integer, Real, String, Date";
}

// The value as it is shown. Refuses a Real that has no text.
std::string textOf(ZtbDatavar const& value) {
  ZtbString const text =
      value.type() == ztbTypeDate ? value.asDate().asString(true) : value.asString();
  if (!text.isNull()) return fromZtb(text);
  throw Refused("a Real with so many digits in front of the point can't be written out");
}

// The value read as `from` and converted to `to`; null if it has no such form.
ZtbDatavar converted(std::string const& text, ztbType from, ztbType to) {
  ZtbDatavar value;
  value.assign(text.c_str());
  return value.setType(from) && value.setType(to) ? value : ZtbDatavar();
}

// What another --from would give, for a user who took the value for that.
std::string hintFor(std::string const& text, ztbType from, ztbType to) {
  for (ztbType const type : {ztbTypeReal, ztbTypeDate, ztbTypeString}) {
    bool const isAnother = type != from && type != to && to != ztbTypeBoolean;
    if (!isAnother || converted(text, type, to).isNull()) continue;
    return "; with --from " + std::string(ztbTypeToString(type)) + " it is " +
           printable(textOf(converted(text, type, to)));
  }
  return "";
}

ZtbDatavar convert(std::string const& text, ztbType from, ztbType to) {
  ZtbDatavar const value = converted(text, from, to);
  if (!value.isNull()) return value;
  bool const isRead = !converted(text, from, from).isNull();
  std::string const what = std::string(ztbTypeToString(from)) + " \"" + printable(text) + "\"";
  std::string const reason = isRead ? what + " doesn't convert to " + ztbTypeToString(to)
                                    : "\"" + printable(text) + "\" is no " + ztbTypeToString(from);
  throw Refused(reason + hintFor(text, from, to));
}

int run(std::vector<std::string> const& texts, Arguments const& arguments) {
  takeUserLocale();
  Library library;
  ztbType const from = ztbTypeFromString(arguments.from.c_str());
  ztbType const to = ztbTypeFromString(arguments.to.c_str());
  std::vector<JsonObject> objects;
  for (std::string const& text : texts) {
    ZtbDatavar const value = convert(text, from, to);
    std::string const result = textOf(value);
    bool const isCut = to == ztbTypeReal && value.asReal(nullptr).truncated();
    if (arguments.json) {
      objects.emplace_back().add("value", text).add("from", ztbTypeToString(from));
      objects.back().add("to", ztbTypeToString(to)).add("result", result).add("cut", isCut);
    } else {
      std::printf("%s\n", printable(result).c_str());
      std::fflush(stdout);
      if (isCut) std::fprintf(stderr, "ztb convert: %s\n", kCutNote);
    }
  }
  if (arguments.json) printJsonArray(objects);
  return 0;
}

}  // namespace

Run declareConvert(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  takeTexts(app, "VALUE...", "What to convert", 1);
  app.add_option("--to", arguments->to, "The type to convert to")
      ->required()
      ->type_name(kDataType)
      ->check(faultOf);
  app.add_option("--from", arguments->from, "The type to read the value as (default: String)")
      ->type_name(kDataType)
      ->check(faultOf);
  app.add_flag("--json", arguments->json, "Print an array of objects");
  app.footer(kHelp);
  return [arguments, &app] { return run(textsOf(app), *arguments); };
}

}  // namespace tool
