// SPDX-License-Identifier: MIT
//
// ztb options: what start-up makes of a home, with the origin of each value.

#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbconfigoptions.h"
#include "ztbstartup.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "An option a line, as key = value [origin]; the origin is a file with the line, the\n"
    "environment, the command or start-up itself. Passwords behind \"pass=\" aren't shown.\n"
    "docs/startup.md has the order of the sources.\n\n"
    "  ztb options --home /opt/suite/home --filter 'BASE/*'\n"
    "  ztb options --set BASE/TEMP=/scratch --filter 'BASE/T*'";

struct Arguments {
  std::string home;
  std::string user;
  std::vector<std::string> files;
  std::vector<std::string> settings;
  std::string filter = "*";
  bool json = false;
};

struct Option {
  std::string key;
  std::string value;
  bool isNull;
  std::string origin;
};

char lowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// No password behind "pass=" reaches the screen, in whichever option and wherever in it it stands.
std::string masked(std::string_view value) {
  constexpr std::string_view kMark = "pass=";
  std::string shown;
  for (;;) {
    auto const mark = std::search(value.begin(), value.end(), kMark.begin(), kMark.end(),
                                  [](char c, char wanted) { return lowerAscii(c) == wanted; });
    if (mark == value.end()) return shown.append(value);
    std::size_t const start = static_cast<std::size_t>(mark - value.begin()) + kMark.size();
    shown.append(value.substr(0, start)).append("********");
    value.remove_prefix(std::min(value.find_first_of("/,", start), value.size()));
  }
}

void queueInput(Arguments const& arguments) {
  char const* ignored = nullptr;
  ztbStartupSetUserPath(arguments.user.c_str());
  for (std::string const& file : arguments.files) ztbStartupAddConfigFile(file.c_str(), &ignored);
  for (std::string const& setting : arguments.settings) {
    std::size_t const equals = setting.find('=');
    ztbStartupAddOption(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(),
                        &ignored);
  }
}

std::vector<Option> effectiveOptions(std::string const& filter) {
  std::vector<Option> result;
  ZtbConfigOptions* const store = ztbGetConfigOptions(ZtbString());
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; store->getOptionAt(i, &key, &value); ++i) {
    if (fnmatch(filter.c_str(), key.asCstr(), FNM_CASEFOLD) != 0) continue;
    result.push_back({fromZtb(key), masked(fromZtb(value)), value.isNull(),
                      fromZtb(ztbStartupGetOptionOrigin(key))});
  }
  return result;
}

void printTable(std::vector<Option> const& options) {
  constexpr std::size_t kWidestKey = 40;
  std::size_t width = 0;
  for (Option const& option : options) width = std::max(width, option.key.size());
  int const column = static_cast<int>(std::min(width, kWidestKey));
  for (Option const& option : options) {
    std::printf("%-*s = %s  [%s]\n", column, printable(option.key).c_str(),
                printable(option.value).c_str(), printable(option.origin).c_str());
  }
}

void printJson(std::vector<Option> const& options) {
  std::vector<JsonObject> objects;
  for (Option const& option : options) {
    JsonObject object;
    object.add("key", option.key);
    option.isNull ? object.addNull("value") : object.add("value", option.value);
    objects.push_back(object.add("origin", option.origin));
  }
  printJsonArray(objects);
}

int run(Arguments const& arguments) {
  chooseHome(arguments.home);
  Library library;
  queueInput(arguments);
  library.start();
  std::vector<Option> const options = effectiveOptions(arguments.filter);
  arguments.json ? printJson(options) : printTable(options);
  return 0;
}

// The library keeps this many bytes of a user folder; a cut path would name another folder.
std::string fitsUserPath(std::string const& path) {
  constexpr std::size_t kMaxBytes = 259;
  return path.size() <= kMaxBytes ? "" : "the path of the user folder is longer than 259 bytes";
}

}  // namespace

Run declareOptions(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("--home", arguments->home, kHomeHelp)->type_name(kFolder)->check(isFolder());
  app.add_option("--user", arguments->user, "User folder, read after the home's etc")
      ->type_name(kFolder)
      ->check(CLI::Validator(fitsUserPath, ""));
  app.add_option("--file", arguments->files, "Further configuration file; may be repeated")
      ->type_name(kFile)
      ->allow_extra_args(false);
  app.add_option("--set", arguments->settings, "Option that overrides all; may be repeated")
      ->type_name("KEY=VALUE")
      ->check(nameAndValue("KEY=VALUE"))
      ->allow_extra_args(false);
  app.add_option("--filter", arguments->filter,
                 "Show only keys that match, in any case, such as 'BASE/*'")
      ->type_name("PATTERN");
  app.add_flag("--json", arguments->json, "Print a JSON array");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
