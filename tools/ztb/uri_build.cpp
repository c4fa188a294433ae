// SPDX-License-Identifier: MIT

#include "uri_build.h"

#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>

#include "uri_view.h"
#include "ztdatauri.h"
#include "ztreposuri.h"
#include "ztwturi.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Components of a data or repository URI are read as in its text, with %2F for \"/\" and so "
    "on.\n"
    "A column is NAME, NAME=TYPE:VALUE or NAME=:VALUE, with the types Boolean, Integer, Real, "
    "String\n"
    "and Date. The text goes to standard output; if it doesn't read back into these components,\n"
    "standard error says where it differs.\n\n"
    "  ztb uri build ztd --source sales --source-type ODBC --part1 dbo --part4 orders\n"
    "  ztb uri build ztwt --table orders --column 'id=Integer:7' --column note --start 0";

struct Arguments {
  std::string scheme;
  std::map<std::string, std::string> components;  // those that are given, by option
  std::vector<std::string> columns;
  __int64 start = -1;
  __int64 count = -1;
  bool escaped = false;
  bool json = false;

  ZtbString component(char const* option) const {
    auto const found = components.find(option);
    return found == components.end() ? ZtbString() : toZtb(found->second);
  }
};

enum Family : unsigned { kGeneric = 1, kRepository = 2, kData = 4, kWorkTable = 8 };

struct Option {
  char const* name;
  unsigned families;
  char const* description;
};

// The last three aren't texts.
constexpr Option kOptions[] = {
    {"--host", kGeneric, "Host of any other scheme"},
    {"--path", kGeneric | kRepository, "Path; of a ztr URI the folders and the name"},
    {"--query", kGeneric, "Query, which no text shows"},
    {"--fragment", kGeneric, "Fragment, which no text shows"},
    {"--repository", kRepository, "Repository of a ztr URI"},
    {"--type", kRepository, "Type of the object that a ztr URI names"},
    {"--server", kData, "Server of a ztf URI"},
    {"--source", kData, "Source of a ztd or ztf URI"},
    {"--source-type", kData, "Type of the source"},
    {"--part1", kData, "First part of the place in the source"},
    {"--part2", kData, "Second part"},
    {"--part3", kData, "Third part"},
    {"--part4", kData, "Last part"},
    {"--table", kWorkTable, "Table of a ztwt URI"},
    {"--column", kWorkTable, "A column of a ztwt URI; may be repeated"},
    {"--start", kWorkTable, "First row"},
    {"--count", kWorkTable, "Number of rows"},
};

Owned<ZtURI> buildGeneric(Arguments const& given) {
  return Owned<ZtURI>(getFullURI(toZtb(given.scheme), given.component("--host"),
                                 given.component("--path"), given.component("--query"),
                                 given.component("--fragment")));
}

Owned<ZtURI> buildRepository(Arguments const& given) {
  return Owned<ZtURI>(getReposURIFromComponents(
      given.component("--repository"), given.component("--path"), given.component("--type")));
}

Owned<ZtURI> buildData(Arguments const& given) {
  return Owned<ZtURI>(getDataURIFromComponents(
      toZtb(given.scheme), given.component("--server"), given.component("--source"),
      given.component("--source-type"), given.component("--part1"), given.component("--part2"),
      given.component("--part3"), given.component("--part4")));
}

// A column as it is given.
struct Column {
  std::string name;
  std::string type;
  std::string value;
  bool hasValue = false;
  bool isTyped = false;
};

Column split(std::string const& text) {
  Column column;
  std::size_t const sign = text.find('=');
  column.name = text.substr(0, sign);
  column.hasValue = sign != std::string::npos;
  if (!column.hasValue) return column;
  std::size_t const colon = text.find(':', sign);
  column.isTyped = colon != std::string::npos;
  if (!column.isTyped) return column;
  column.type = text.substr(sign + 1, colon - sign - 1);
  column.value = text.substr(colon + 1);
  return column;
}

// What is wrong with a column as it is given; empty if nothing is.
std::string faultOf(std::string const& text) {
  Column const column = split(text);
  if (!column.hasValue) return "";
  if (!column.isTyped) return "write " + column.name + "=TYPE:VALUE, or " + column.name + "=:VALUE";
  bool const isKnown = ztbTypeFromString(column.type.c_str()) != ztbTypeUnknown;
  if (column.type.empty() || isKnown) return "";
  return "\"" + printable(column.type) +
         "\" is no type; the types are Boolean, Integer, Real, String, Date";
}

Owned<ZtURI> buildWorkTable(Arguments const& given) {
  ZtWorkTableURI* const table =
      getWorkTableURIFromComponents(given.component("--table"), given.start, given.count);
  Owned<ZtURI> uri(table);
  for (std::string const& text : given.columns) {
    Column const column = split(text);
    ZtbString const value = column.hasValue ? toZtb(column.value) : ZtbString();
    ZtbString reason;
    if (!table->addColumn(toZtb(column.name), value, ztbTypeFromString(column.type.c_str()),
                          &reason)) {
      throw Refused(printable(reason.asCstr()));
    }
  }
  return uri;
}

struct Scheme {
  char const* name;
  Family family;
  Owned<ZtURI> (*build)(Arguments const& given);
};
constexpr Scheme kSchemes[] = {
    {"ztr", kRepository, buildRepository},
    {"ztd", kData, buildData},
    {"ztf", kData, buildData},
    {"ztwt", kWorkTable, buildWorkTable},
};
constexpr Scheme kAnyOther = {"", kGeneric, buildGeneric};

Scheme const& schemeOf(std::string const& name) {
  for (Scheme const& scheme : kSchemes) {
    if (name == scheme.name) return scheme;
  }
  return kAnyOther;
}

// Options that a URI of the scheme doesn't have are wrong usage.
void checkOptions(CLI::App const& app, Arguments const& given) {
  for (Option const& option : kOptions) {
    bool const fits = (option.families & schemeOf(given.scheme).family) != 0;
    if (fits || app.count(option.name) == 0) continue;
    throw CLI::ValidationError(option.name, "a " + given.scheme + " URI has no such component");
  }
}

// How the text reads back if not into the same components.
std::string faultOfReading(ZtURI& uri, UriView const& view) {
  Owned<ZtURI> const again(getURIFromURIString(uri.getURIString()));
  return again ? view.differenceTo(UriView(*again)) : "the text is no URI";
}

int run(Arguments const& given) {
  chooseHome("");
  Library library;
  library.startForMessages();
  Owned<ZtURI> const uri = schemeOf(given.scheme).build(given);
  if (!uri) throw Refused("there is no memory for it");
  UriView const view(*uri);
  std::string const fault = faultOfReading(*uri, view);
  if (given.json) {
    JsonObject object;
    view.addTo(object);
    object.add("readsBack", fault.empty());
    object.add("difference", fault.empty() ? ZtbString() : toZtb(fault));
    std::printf("%s\n", object.str().c_str());
    return 0;
  }
  ZtbString const text = given.escaped ? uri->getEscapedURIString() : uri->getURIString();
  std::printf("%s\n", printable(text.asCstr()).c_str());
  std::fflush(stdout);
  if (!fault.empty()) std::fprintf(stderr, "ztb uri: doesn't read back: %s\n", fault.c_str());
  return 0;
}

void declareOption(CLI::App& app, Option const& option, std::shared_ptr<Arguments> const& given) {
  std::string const name = option.name;
  CLI::Option* declared;
  if (name == "--column") {
    declared = app.add_option(name, given->columns)
                   ->type_name("COLUMN")
                   ->check(faultOf)
                   ->allow_extra_args(false);
  } else if (name == "--start" || name == "--count") {
    declared = app.add_option(name, name == "--start" ? given->start : given->count)
                   ->type_name(kNumber)
                   ->check(isBetween(0, std::numeric_limits<__int64>::max()));
  } else {
    declared = app.add_option_function<std::string>(
        name, [given, name](std::string const& text) { given->components[name] = text; });
  }
  declared->description(option.description);
}

}  // namespace

Run declareUriBuild(CLI::App& app) {
  auto const given = std::make_shared<Arguments>();
  app.add_option("SCHEME", given->scheme, "ztr, ztd, ztf, ztwt or any other")
      ->required()
      ->type_name(kScheme);
  for (Option const& option : kOptions) declareOption(app, option, given);
  app.add_flag("--escaped", given->escaped, "Print the escaped text");
  app.add_flag("--json", given->json, "Print all of it as a JSON object");
  app.footer(kHelp);
  app.callback([&app, given] { checkOptions(app, *given); });
  return [given] { return run(*given); };
}

}  // namespace tool
