// SPDX-License-Identifier: MIT
//
// ztb date: a moment in the forms that the library knows.

#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbdate.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Reads a date in any usual form, and shows it in the ISO form, as your locale writes it, with\n"
    "its weekday and as the number that programs keep. A text that names no day is refused.\n"
    "Numeric dates such as 3/2/89 are read in the order of your locale. docs/dates.md has the\n"
    "grammar.\n\n"
    "  ztb date '3 Feb 1989 7:05:06 PM'\n"
    "  ztb date now --json";

struct Arguments {
  std::string text;
  bool json = false;
};

constexpr char const* kWeekDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

ZtbDate read(std::string const& text) {
  ZtbDate const date = text == "now" ? ZtbDate::currentDate() : ZtbDate(text.c_str());
  if (!date.isNull()) return date;
  throw Refused("\"" + printable(text) +
                "\" is no date of the calendar in a form known here; write it as "
                "\"2001-12-31 23:59:59\", or see docs/dates.md");
}

int run(Arguments const& arguments) {
  takeUserLocale();
  Library library;
  ZtbDate const date = read(arguments.text);
  std::string const iso = fromZtb(date.asString(true));
  std::string const local = fromZtb(date.asString(false));
  char const* const weekDay = kWeekDays[date.getWeekDay()];
  char number[64];
  std::snprintf(number, sizeof number, "%.3f", date.asDouble());
  if (arguments.json) {
    JsonObject object;
    object.add("iso", iso).add("locale", local).add("weekday", weekDay).add("seconds", number);
    std::printf("%s\n", object.str().c_str());
  } else {
    std::printf("ISO      %s\nlocale   %s\nweekday  %s\nseconds  %s since 1970-01-01 00:00:00\n",
                iso.c_str(), printable(local).c_str(), weekDay, number);
  }
  return 0;
}

}  // namespace

Run declareDate(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("text", arguments->text, "A date text, or now")->required()->type_name("DATE");
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
