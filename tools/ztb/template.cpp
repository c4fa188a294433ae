// SPDX-License-Identifier: MIT
//
// ztb template: the variables of a text, and the text with values in their places.

#include "ztbtemplate.h"

#include <cstdio>
#include <map>
#include <memory>

#include "input.h"
#include "tool.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "A variable is {name} or [name], with each name once; {{ [[ ]] }} stand for single brackets.\n"
    "Names are the same in any case. docs/templates.md has the grammar.\n"
    "A value for a name that the template doesn't have is told on standard error and left out.\n\n"
    "  ztb template letter.txt --set customer='Ada Lovelace' --set date=2026-01-31\n"
    "  echo 'Dear {customer},' | ztb template - --list";

struct Arguments {
  std::string file;
  std::vector<std::string> settings;
  std::string missing = "fail";
  bool list = false;
  bool json = false;
};

struct Value {
  ZtbString text;
  bool isUsed = false;
};

// As the template does it.
struct LessInAnyCase {
  bool operator()(ZtbString const& a, ZtbString const& b) const { return a.compare(b, false) < 0; }
};

// The values that are given; of several for one name the last. A name without a value gets the
// empty text.
class Values final : public ZtbTemplateValueCB {
 public:
  explicit Values(std::vector<std::string> const& settings) {
    for (std::string const& setting : settings) {
      std::size_t const equals = setting.find('=');
      std::string const name = utf8Of(setting.substr(0, equals), "a name behind --set");
      mValues[toZtb(name)].text =
          toZtb(utf8Of(setting.substr(equals + 1), "the value of \"" + printable(name) + "\""));
    }
  }

  bool has(ZtbString const& name) const { return mValues.count(name) != 0; }

  bool getValue(ZtbString const& name, ZtbString* value, ZtbString*) override {
    auto const found = mValues.find(name);
    if (found == mValues.end()) return true;
    found->second.isUsed = true;
    *value = found->second.text;
    return true;
  }

  // The names that nobody asked for.
  std::vector<std::string> unused() const {
    std::vector<std::string> names;
    for (auto const& [name, value] : mValues) {
      if (!value.isUsed) names.push_back(fromZtb(name));
    }
    return names;
  }

 private:
  std::map<ZtbString, Value, LessInAnyCase> mValues;
};

struct Variable {
  ZtbString name;
  bool isBracketed;
};

std::vector<Variable> variablesOf(ZtbTemplate& text) {
  std::vector<Variable> variables;
  for (int i = 0; i < text.getVariableCount(); ++i) {
    bool isBracketed = false;
    ZtbString error;
    ZtbString const name = text.getVariable(i, &isBracketed, &error);
    if (!error.isNull()) throw Refused(fromZtb(error));
    variables.push_back({name, isBracketed});
  }
  return variables;
}

Owned<ZtbTemplate> parse(std::string const& file, Values& values) {
  std::string const content = readText(file);
  std::string const name = inputName(file);
  if (!isUtf8(content)) {
    throw Refused(name + " isn't UTF-8; convert it with ztb text FILE --to UTF-8");
  }
  ZtbString error;
  Owned<ZtbTemplate> text(ztbCreateBasicTemplate(&values, &error));
  if (text == nullptr) throw Refused(fromZtb(error));
  if (!text->parse(toZtb(content), &error)) {
    throw Refused(name + ": " + printable(fromZtb(error)));
  }
  return text;
}

// All at once, or the first ones of many: a user wouldn't like to hear of them one by one.
void refuseMissing(ZtbTemplate& text, Values const& values) {
  constexpr int kMostShown = 20;
  int count = 0;
  std::string names;
  for (Variable const& variable : variablesOf(text)) {
    if (values.has(variable.name) || ++count > kMostShown) continue;
    names += (names.empty() ? "" : ", ") + printable(fromZtb(variable.name));
  }
  if (count == 0) return;
  if (count > kMostShown) names += " and " + std::to_string(count - kMostShown) + " more";
  throw Refused("no value for: " + names + "; give each with --set NAME=VALUE, or all of them " +
                "the empty text with --missing=empty");
}

void printVariables(std::vector<Variable> const& variables, bool json) {
  std::vector<JsonObject> objects;
  for (auto const& [name, isBracketed] : variables) {
    if (json) {
      objects.emplace_back().add("name", name).add("bracketed", isBracketed);
    } else {
      std::printf(isBracketed ? "[%s]\n" : "{%s}\n", printable(fromZtb(name)).c_str());
    }
  }
  if (json) printJsonArray(objects);
}

void printExpansion(ZtbString const& expansion, Values const& values, bool json) {
  if (json) {
    std::vector<JsonObject> unused;
    for (std::string const& name : values.unused()) unused.emplace_back().add("name", name);
    JsonObject object;
    object.add("text", fromZtb(expansion)).add("unused", unused);
    std::printf("%s\n", object.str().c_str());
    return;
  }
  std::fwrite(expansion.asCstr(), 1, expansion.cStrSize() - 1, stdout);
  std::fflush(stdout);
  for (std::string const& name : values.unused()) {
    std::fprintf(stderr, "ztb template: the template has no variable \"%s\"; its value is unused\n",
                 printable(name).c_str());
  }
}

int run(Arguments const& arguments) {
  takeUserLocale();
  chooseHome("");
  Library library;
  library.startForMessages();
  Values values(arguments.settings);
  Owned<ZtbTemplate> const text = parse(arguments.file, values);
  if (arguments.list) return printVariables(variablesOf(*text), arguments.json), 0;
  if (arguments.missing == "fail") refuseMissing(*text, values);
  ZtbString error;
  ZtbString const expansion = text->expand(&error);
  if (!error.isNull()) throw Refused(fromZtb(error));
  printExpansion(expansion, values, arguments.json);
  return 0;
}

}  // namespace

Run declareTemplate(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("file", arguments->file, "The template, in UTF-8; - is standard input")
      ->required()
      ->type_name(kFile);
  auto* const set = app.add_option("--set", arguments->settings,
                                   "Value of a variable; may be repeated, the last one counts")
                        ->type_name("NAME=VALUE")
                        ->check(nameAndValue("NAME=VALUE"))
                        ->allow_extra_args(false);
  auto* const missing =
      app.add_option("--missing", arguments->missing,
                     "What a variable without a value does: fail (the default), or empty")
          ->type_name("fail|empty")
          ->check(CLI::IsMember({"fail", "empty"}).description(""));
  app.add_flag("--list", arguments->list, "Print the variables instead, sorted by name")
      ->excludes(set)
      ->excludes(missing);
  app.add_flag("--json", arguments->json, "Print JSON");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
