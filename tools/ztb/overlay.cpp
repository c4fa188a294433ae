// SPDX-License-Identifier: MIT
//
// ztb overlay: shows two configuration files as one, and edits the second.

#include "ztbconfigoverlay.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "replacement.h"
#include "tool.h"
#include "ztbconfigfile.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string base;
  std::string overlay;
  std::string key;
  std::string text;
  bool json = false;
};

void readBase(ZtbConfigOverlay& config, Arguments const& arguments) {
  std::error_code ignored;  // a file that isn't there is no other's double
  if (fs::equivalent(arguments.base, arguments.overlay, ignored)) {
    throw Refused("base and overlay are one file: give the overlay a file of its own");
  }
  if (!config.readBase(toZtb(arguments.base))) throw Refused(fromZtb(config.getErrorMessage()));
}

void readOverlay(ZtbConfigOverlay& config, std::string const& path) {
  if (!config.readOverlay(toZtb(path))) throw Refused(fromZtb(config.getErrorMessage()));
}

// What a row says about its values, with its mark in the list.
struct State {
  char const* name;
  char const* mark;
};
constexpr State kOfBase = {"base", " "};
constexpr State kOfOverlay = {"added", "+"};
constexpr State kChanged = {"changed", "*"};
constexpr State kSame = {"same", "="};

struct Row {
  ZtbString key;
  ZtbString base;
  ZtbString overlay;

  State const& state() const {
    if (overlay.isNull()) return kOfBase;
    if (base.isNull()) return kOfOverlay;
    return base.compare(overlay, true) == 0 ? kSame : kChanged;
  }
};

std::vector<Row> rowsOf(ZtbConfigOverlay& config) {
  std::vector<Row> rows(static_cast<std::size_t>(config.getEntryCount()));
  int index = 0;
  for (Row& row : rows) config.getEntry(index++, &row.key, &row.base, &row.overlay);
  return rows;
}

// The text as it is shown, and how many places it takes, a character each.
struct Cell {
  explicit Cell(ZtbString const& value)
      : text(value.isNull() ? std::string() : printable(fromZtb(value))),
        width(static_cast<std::size_t>(toZtb(text).length())) {}
  std::string text;
  std::size_t width;
};

// A wider cell pushes the rest of its line to the right.
constexpr std::size_t kWidest = 40;

std::string padded(Cell const& cell, std::size_t width) {
  return cell.text + std::string(width > cell.width ? width - cell.width : 0, ' ');
}

void printTable(std::vector<Row> const& rows) {
  Cell const head[] = {Cell(toZtb("key")), Cell(toZtb("base")), Cell(toZtb("overlay"))};
  std::size_t keyWidth = head[0].width;
  std::size_t baseWidth = head[1].width;
  for (Row const& row : rows) {
    keyWidth = std::max(keyWidth, std::min(Cell(row.key).width, kWidest));
    baseWidth = std::max(baseWidth, std::min(Cell(row.base).width, kWidest));
  }
  auto const printLine = [&](char const* mark, Cell const& key, Cell const& base,
                             Cell const& overlay) {
    std::string line = std::string(mark) + " " + padded(key, keyWidth) + "  " +
                       padded(base, baseWidth) + "  " + overlay.text;
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  };
  printLine(" ", head[0], head[1], head[2]);
  for (Row const& row : rows) {
    printLine(row.state().mark, Cell(row.key), Cell(row.base), Cell(row.overlay));
  }
}

int list(Arguments const& arguments) {
  ZtbConfigOverlay config;
  readBase(config, arguments);
  readOverlay(config, arguments.overlay);
  std::vector<Row> const rows = rowsOf(config);
  if (!arguments.json) {
    printTable(rows);
    return 0;
  }
  std::vector<JsonObject> objects;
  for (Row const& row : rows) {
    JsonObject object;
    object.add("key", row.key).add("base", row.base).add("overlay", row.overlay);
    object.add("state", row.state().name).add("comment", config.getEntryComment(row.key));
    objects.push_back(object);
  }
  printJsonArray(objects);
  return 0;
}

// Reads both files, changes what `change` does, and replaces the overlay. An overlay that isn't
// there yet is made.
template <class Change>
int edit(Arguments const& arguments, Change const& change) {
  Original const original(targetOf(arguments.overlay));
  ZtbConfigOverlay config;
  readBase(config, arguments);
  if (original.isThere()) readOverlay(config, original.path().string());
  change(config);
  Replacement replacement(original, 0666);
  if (!config.writeOverlay(toZtb(replacement.path()))) {
    throw Refused("\"" + printable(arguments.overlay) +
                  "\" stays as it was: " + fromZtb(config.getErrorMessage()));
  }
  replacement.takePlace();
  return 0;
}

int set(Arguments const& arguments) {
  if (arguments.text.empty()) {
    throw Refused("an empty value takes an override away: use unset for that");
  }
  return edit(arguments, [&arguments](ZtbConfigOverlay& config) {
    config.setOverlayEntry(toZtb(arguments.key), toZtb(arguments.text));
  });
}

int unset(Arguments const& arguments) {
  return edit(arguments, [&arguments](ZtbConfigOverlay& config) {
    ZtbConfigFile overlay;
    overlay.read(toZtb(arguments.overlay));
    if (overlay.getEntry(toZtb(arguments.key)).isNull()) {
      throw Refused("the overlay has no entry \"" + printable(arguments.key) + "\"");
    }
    config.setOverlayEntry(toZtb(arguments.key), ZtbString());
  });
}

int comment(Arguments const& arguments) {
  return edit(arguments, [&arguments](ZtbConfigOverlay& config) {
    std::vector<Row> const rows = rowsOf(config);
    ZtbString const key = toZtb(arguments.key);
    bool const isThere = std::any_of(rows.begin(), rows.end(), [&key](Row const& row) {
      return row.key.compare(key, false) == 0;
    });
    if (!isThere) throw Refused("no entry \"" + printable(arguments.key) + "\" in either file");
    config.setEntryComment(key, toZtb(arguments.text));
  });
}

struct Action {
  char const* name;
  char const* summary;
  char const* textHelp;  // null if the action takes no text
  int (*run)(Arguments const& arguments);
};

// Without a name it is the list.
constexpr Action kActions[] = {
    {"set", "Change an entry in the overlay, or add one", "The value", set},
    {"unset", "Take an entry out of the overlay, leaving a marker", nullptr, unset},
    {"comment", "Set the comment above an entry of the overlay", "The comment, without its #",
     comment},
};

constexpr char kHelp[] =
    "The list has a line for each key of either file, with both values. Marks: * the overlay has\n"
    "another value, = it has the same one, + only the overlay has the key. Edits change the "
    "overlay\n"
    "alone; one that isn't there yet is made.\n\n"
    "  ztb overlay shipped.cfg mine.cfg\n"
    "  ztb overlay shipped.cfg mine.cfg set BASE/TEMP /scratch";

}  // namespace

Run declareOverlay(CLI::App& app) {
  auto const values = std::make_shared<Arguments>();
  app.footer(kHelp);
  app.add_option("base", values->base, "The configuration file below, which is only read")
      ->required()
      ->type_name(kFile);
  app.add_option("overlay", values->overlay, "The configuration file with the changes")
      ->required()
      ->type_name(kFile);
  app.require_subcommand(0, 1);
  CLI::Option const* const json = app.add_flag("--json", values->json, "Print JSON");
  app.add_subcommand("list", "Print all entries with both values")->fallthrough();
  for (Action const& action : kActions) {
    CLI::App* const sub = app.add_subcommand(action.name, action.summary);
    sub->add_option("key", values->key, "The key, in any case")->required()->type_name("KEY");
    if (action.textHelp != nullptr) {
      sub->add_option("text", values->text, action.textHelp)->required();
    }
    sub->callback([json] {
      if (json->count() > 0) throw CLI::ExtrasError({"--json"});
    });
  }
  return [values, &app] {
    chooseHome("");
    Library library;
    library.startForMessages();
    for (Action const& action : kActions) {
      if (app.got_subcommand(action.name)) return action.run(*values);
    }
    return list(*values);
  };
}

}  // namespace tool
