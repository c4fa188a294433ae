// SPDX-License-Identifier: MIT
//
// ztb config: reads and edits a configuration file.

#include <cstdio>
#include <memory>

#include "replacement.h"
#include "tool.h"
#include "ztbconfigfile.h"

namespace tool {
namespace {

struct Arguments {
  std::string file;
  std::string key;
  std::string text;
  bool json = false;
};

void read(ZtbConfigFile& file, std::string const& path) {
  if (!file.read(toZtb(path))) throw Refused(fromZtb(file.getErrorMessage()));
}

void save(ZtbConfigFile& file, Original const& original) {
  Replacement replacement(original, 0666);
  if (!file.write(toZtb(replacement.path()))) {
    throw Refused("\"" + printable(original.path().string()) +
                  "\" stays as it was: " + fromZtb(file.getErrorMessage()));
  }
  replacement.takePlace();
}

// The value of the entry, which has to be there.
ZtbString valueOf(ZtbConfigFile& file, Arguments const& arguments) {
  ZtbString const value = file.getEntry(toZtb(arguments.key));
  if (!value.isNull()) return value;
  throw Refused("no entry \"" + printable(arguments.key) + "\" in \"" + printable(arguments.file) +
                "\"");
}

int get(Arguments const& arguments) {
  ZtbConfigFile file;
  read(file, arguments.file);
  ZtbString const value = valueOf(file, arguments);
  if (arguments.json) {
    JsonObject object;
    object.add("key", arguments.key).add("value", fromZtb(value));
    std::printf("%s\n", object.str().c_str());
  } else {
    std::printf("%s\n", value.asCstr());
  }
  return 0;
}

int set(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  if (original.isThere()) read(file, original.path().string());
  file.setEntry(toZtb(arguments.key), toZtb(arguments.text));
  save(file, original);
  return 0;
}

int unset(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  read(file, original.path().string());
  valueOf(file, arguments);
  file.deleteEntry(toZtb(arguments.key));
  save(file, original);
  return 0;
}

int comment(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  read(file, original.path().string());
  valueOf(file, arguments);
  file.setEntryComment(toZtb(arguments.key), toZtb(arguments.text));
  save(file, original);
  return 0;
}

int list(Arguments const& arguments) {
  ZtbConfigFile file;
  read(file, arguments.file);
  std::vector<JsonObject> objects;
  ZtbString key;
  ZtbString value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    if (!arguments.json) {
      std::printf("%s=%s\n", printable(fromZtb(key)).c_str(), printable(fromZtb(value)).c_str());
      continue;
    }
    JsonObject object;
    object.add("key", fromZtb(key)).add("value", fromZtb(value));
    ZtbString const note = file.getEntryComment(key);
    objects.push_back(note.isNull() ? object.addNull("comment")
                                    : object.add("comment", fromZtb(note)));
  }
  if (arguments.json) printJsonArray(objects);
  return 0;
}

struct Action {
  char const* name;
  char const* summary;
  bool takesKey;
  char const* textHelp;  // null if the action takes no text
  bool givesOutput;
  int (*run)(Arguments const& arguments);
};

constexpr char kHelp[] =
    "An edit leaves all other lines as they were, and the old file is intact until the new one is\n"
    "safe on the disk. \"set\" makes a file that isn't there. docs/configuration-file.md has the\n"
    "grammar.\n\n"
    "  ztb config set app.cfg BASE/TEMP /var/tmp\n"
    "  ztb config get app.cfg base/temp\n"
    "  ztb config list app.cfg --json";

constexpr Action kActions[] = {
    {"get", "Print the value of an entry", true, nullptr, true, get},
    {"set", "Change an entry, or add one at the end", true, "The value", false, set},
    {"unset", "Remove an entry, leaving a marker", true, nullptr, false, unset},
    {"list", "Print all entries", false, nullptr, true, list},
    {"comment", "Set the comment above an entry", true, "The comment, without its #", false,
     comment},
};

void declareAction(CLI::App& app, Action const& action, std::shared_ptr<Arguments> const& values) {
  CLI::App* const sub = app.add_subcommand(action.name, action.summary);
  sub->add_option("file", values->file, "The configuration file")->required()->type_name(kFile);
  if (action.takesKey) {
    sub->add_option("key", values->key, "The key, in any case")->required()->type_name("KEY");
  }
  if (action.textHelp != nullptr) {
    sub->add_option("text", values->text, action.textHelp)->required();
  }
  if (action.givesOutput) sub->add_flag("--json", values->json, "Print JSON");
}

}  // namespace

Run declareConfig(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.require_subcommand(1);
  app.footer(kHelp);
  for (Action const& action : kActions) declareAction(app, action, arguments);
  return [arguments, &app] {
    chooseHome("");
    Library library;
    library.startForMessages();
    for (Action const& action : kActions) {
      if (app.got_subcommand(action.name)) return action.run(*arguments);
    }
    return 1;
  };
}

}  // namespace tool
