// SPDX-License-Identifier: MIT
//
// ztb message: the text of a message as an application sees it.

#include <stdlib.h>

#include <charconv>
#include <climits>
#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbmessage.h"
#include "ztmsg13_messages.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Shows the text that applications show, with the arguments filled in. docs/messages.md tells\n"
    "where the texts are, and how to translate them.\n\n"
    "  ztb message 'Base Services' 1353 app.cfg 'Permission denied'\n"
    "  ztb message --locale de --level 1 'Base Services' 446 /tmp/x";

struct Arguments {
  std::string home;
  std::string locale;
  int level = -1;
  std::string group;
  int number = 0;
  std::vector<std::string> values;
  bool json = false;
};

constexpr std::size_t kMostArguments = 4;

int toNumber(std::string const& text) {
  int number = 0;
  char const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) throw Refused("give a number instead of: " + text);
  return number;
}

// Asks for the message with its arguments in the types that it declares, one more a call.
template <typename... Given>
ZtbString ask(Arguments const& wanted, std::string_view types, Given... given) {
  constexpr std::size_t kGiven = sizeof...(Given);
  if constexpr (kGiven < kMostArguments) {
    if (kGiven < types.size()) {
      std::string const& value = wanted.values[kGiven];
      if (types[kGiven] == 'i') return ask(wanted, types, given..., toNumber(value));
      return ask(wanted, types, given..., value.c_str());
    }
  }
  return ztb_get_message("ztb", __LINE__, wanted.group.c_str(), wanted.number, given...);
}

int run(Arguments const& arguments) {
  ZtMessage const* const message = ztFindMessage(arguments.group, arguments.number);
  std::string_view const types = message != nullptr ? message->arguments : std::string_view();
  if (message == nullptr && !arguments.values.empty()) {
    throw Refused("no message " + std::to_string(arguments.number) + " with arguments in \"" +
                  arguments.group + "\"; groups are written as in 'Base Services'");
  }
  if (types.size() != arguments.values.size()) {
    throw Refused("arguments given: " + std::to_string(arguments.values.size()) +
                  "; arguments that the message takes: " + std::to_string(types.size()));
  }
  if (!arguments.locale.empty()) setenv("MARLOVEN_ERROR_LOCALE", arguments.locale.c_str(), 1);
  if (arguments.level >= 0) {
    setenv("MARLOVEN_ERROR_LEVEL", std::to_string(arguments.level).c_str(), 1);
  }
  chooseHome(arguments.home);
  Library library;
  library.start();
  std::string const text = fromZtb(ask(arguments, types));
  if (arguments.json) {
    JsonObject object;
    object.add("group", arguments.group).add("number", static_cast<long long>(arguments.number));
    std::printf("%s\n", object.add("text", text).str().c_str());
  } else {
    std::printf("%s\n", printable(text).c_str());
  }
  return 0;
}

}  // namespace

Run declareMessage(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("group", arguments->group, "Group of the message, such as 'Base Services'")
      ->required()
      ->type_name(kGroup);
  app.add_option("number", arguments->number, "Number of the message in its group")
      ->required()
      ->type_name(kNumber)
      ->check(isBetween(0, INT_MAX));
  app.add_option("argument", arguments->values, "What is filled in, in the message's order");
  app.add_option("--home", arguments->home, kHomeHelp)->type_name(kFolder)->check(isFolder());
  app.add_option("--locale", arguments->locale, "Locale of the text, such as de")
      ->type_name(kLocale);
  app.add_option("--level", arguments->level,
                 "0 the text, 1 with group and number, 2 with source and line")
      ->type_name(kNumber)
      ->check(isBetween(0, 2));
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
