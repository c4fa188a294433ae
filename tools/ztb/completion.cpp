// SPDX-License-Identifier: MIT
//
// The tables of bash's completion, from what the subcommands declare: subcommands, options and
// arguments with what each takes. completion.bash has the functions that look into them, and the
// build puts both into one file.

#include <algorithm>
#include <cstdio>

#include "tool.h"
#include "ztbdatavar.h"
#include "ztmsg13_messages.h"

namespace tool {
namespace {

// One line of a bash array of words, each in quotes.
std::string words(std::vector<std::string> const& all) {
  std::string result;
  for (std::string const& word : all) result += (result.empty() ? "'" : " '") + word + "'";
  return "(" + result + ")";
}

// What an argument takes: its type name, or, for texts that are taken as they come, its own name.
std::string kindOf(CLI::Option const& option) {
  std::string kind = option.get_type_name();
  if (kind.empty()) kind = option.get_name(true);
  std::size_t const dots = kind.find("...");
  bool const isSeveral = dots != std::string::npos || option.get_expected_max() > 1;
  if (dots != std::string::npos) kind.erase(dots);
  return isSeveral ? kind + "..." : kind;
}

// The lines that set the words of a command, by its path such as "config get".
void printCommand(std::string const& path, CLI::App const& app) {
  std::vector<std::string> names, takes, arguments, subs;
  for (CLI::Option const* const option : app.get_options()) {
    if (option->get_positional()) {
      arguments.push_back(kindOf(*option));
      continue;
    }
    names.push_back("--" + option->get_lnames().at(0));
    bool const isFlag = option->get_type_name().empty();
    if (!isFlag) takes.push_back(names.back() + "=" + option->get_type_name());
  }
  auto const all = app.get_subcommands([](CLI::App const*) { return true; });
  for (CLI::App const* const sub : all) subs.push_back(sub->get_name());
  std::printf("    '%s')\n      subs=%s arguments=%s\n      options=%s\n      takes=%s ;;\n",
              path.c_str(), words(subs).c_str(), words(arguments).c_str(), words(names).c_str(),
              words(takes).c_str());
  for (CLI::App const* const sub : all) printCommand(path + " " + sub->get_name(), *sub);
}

void printKind(char const* kind, std::vector<std::string> const& values) {
  std::printf("    %s) words=%s ;;\n", kind, words(values).c_str());
}

std::vector<std::string> typeNames() {
  std::vector<std::string> names;
  for (int type = ztbTypeBoolean; type <= ztbTypeDate; ++type) {
    names.emplace_back(ztbTypeToString(static_cast<ztbType>(type)));
  }
  return names;
}

std::vector<std::string> groupNames() {
  std::vector<std::string> names;
  for (ZtMessage const& message : kZtMessages) {
    if (names.empty() || names.back() != message.group) names.emplace_back(message.group);
  }
  return names;
}

}  // namespace

void printCompletion(std::vector<Command> const& commands) {
  std::vector<std::string> names;
  for (Command const& command : commands) names.emplace_back(command.name);
  std::puts("# bash completion for ztb.\n\n_ztb_command() {\n  case $1 in");
  std::printf("    '') subs=%s options=('--help' '--version') ;;\n", words(names).c_str());
  for (Command const& command : commands) {
    CLI::App app(command.summary, command.name);
    command.declare(app);
    printCommand(command.name, app);
  }
  std::puts("  esac\n}\n\n_ztb_words() {\n  case $1 in");
  printKind(kEncoding, encodingNames());
  printKind(kDataType, typeNames());
  printKind(kGroup, groupNames());
  printKind(kScheme, {"ztr", "ztd", "ztf", "ztwt"});
  std::puts("  esac\n}");
}

}  // namespace tool
