// SPDX-License-Identifier: MIT
//
// ztb: the library's capabilities at the command line, one subcommand each.

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <utility>

#include "tool.h"

namespace {

struct Command {
  char const* name;
  char const* summary;
  tool::Declare declare;
};

// A new subcommand is one line here and one source beside this one.
constexpr Command kCommands[] = {
    {"options", "Show the effective configuration of a home, and where each value came from",
     tool::declareOptions},
    {"config", "Read and edit a configuration file, keeping its lines and comments",
     tool::declareConfig},
    {"message", "Show the text of a message", tool::declareMessage},
    {"date", "Show a date in its forms", tool::declareDate},
    {"dir", "List a folder", tool::declareDir},
    {"calc", "Calculate with exact decimals", tool::declareCalc},
    {"convert", "Convert values from one data type to another", tool::declareConvert},
    {"type", "Tell which type texts have, or a column of lines", tool::declareType},
    {"text", "Show how a text file is encoded, and convert it", tool::declareText},
    {"uri", "Show what URIs hold, and make URIs from components", tool::declareUri},
    {"attributes", "Show the attributes of texts such as name=value;name=value",
     tool::declareAttributes},
};

constexpr int kRefused = 1;
constexpr int kWrongUsage = 2;

// A closed stream would give its number to the next file that is opened, and with it all that is
// printed. What is meant for a closed standard output fails as on a full disk.
void reserveStreams() {
  constexpr char const* kPlaces[] = {"/dev/null", "/dev/full", "/dev/null"};
  for (int number = 0; number < 3; ++number) {
    if (::fcntl(number, F_GETFD) == -1 && errno == EBADF) ::open(kPlaces[number], O_RDWR);
  }
}

int refuse(std::string const& command, char const* reason) {
  std::fprintf(stderr, "ztb %s: %s\n", command.c_str(), reason);
  return kRefused;
}

int runCommand(std::string const& name, tool::Run const& run) {
  try {
    int const result = run();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
      return refuse(name, "the output can't be written");
    return result;
  } catch (std::exception const& error) {
    std::fflush(stdout);
    return refuse(name, error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  reserveStreams();
  CLI::App app(
      "ztb shows and edits what applications of the suite see through ztbcpp31.\n"
      "Exit code: 0 done, 1 refused, 2 wrong usage.",
      "ztb");
  app.require_subcommand(1);
  app.set_version_flag("--version", "ztb " ZTB_VERSION);
  std::vector<std::pair<CLI::App*, tool::Run>> commands;
  for (Command const& command : kCommands) {
    CLI::App* const sub = app.add_subcommand(command.name, command.summary);
    commands.emplace_back(sub, command.declare(*sub));
  }
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (app.get_subcommands().empty() && app.remaining_size() > 0) {
      std::fprintf(stderr, "Unknown subcommand or option: %s\n", app.remaining()[0].c_str());
    }
    return app.exit(error) == 0 ? 0 : kWrongUsage;
  }
  for (auto const& [sub, run] : commands) {
    if (sub->parsed()) return runCommand(sub->get_name(), run);
  }
  return kWrongUsage;
}
