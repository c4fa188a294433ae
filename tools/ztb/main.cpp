// SPDX-License-Identifier: MIT
//
// ztb: the library's capabilities at the command line, one subcommand each.

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string_view>

#include "tool.h"

namespace {

using tool::Command;

// A new subcommand is one line here and one source beside this one.
constexpr Command kCommands[] = {
    {"options", "Show the effective configuration of a home, and where each value came from",
     tool::declareOptions},
    {"config", "Read and edit a configuration file, keeping its lines and comments",
     tool::declareConfig},
    {"overlay", "Show two configuration files as one, and edit the second", tool::declareOverlay},
    {"message", "Show the text of a message", tool::declareMessage},
    {"date", "Show a date in its forms", tool::declareDate},
    {"dir", "List a folder", tool::declareDir},
    {"calc", "Calculate with exact decimals", tool::declareCalc},
    {"convert", "Convert values from one data type to another", tool::declareConvert},
    {"type", "Tell which type texts have, or a column of lines", tool::declareType},
    {"text", "Show how a text file is encoded, and convert it", tool::declareText},
    {"records", "Print the records of a fixed-width file as CSV or JSON", tool::declareRecords},
    {"uri", "Show what URIs hold, and make URIs from components", tool::declareUri},
    {"attributes", "Show the attributes of texts such as name=value;name=value",
     tool::declareAttributes},
    {"template", "Fill in the variables of a text", tool::declareTemplate},
    {"run", "Run a program as applications do", tool::declareRun},
    {"mail", "Compose a mail and hand it to a mail program", tool::declareMail},
    {"users", "Add and remove the users of a file, their passwords and credentials",
     tool::declareUsers},
    {"login", "Log a user in, and show who that is", tool::declareLogin},
    {"protect", "Protect a text against being read or changed", tool::declareProtect},
    {"unprotect", "Give back a protected text", tool::declareUnprotect},
    {"encode", "Encode a password for a configuration file", tool::declareEncode},
    {"buffers", "Pass rows between two threads, and tell how fast that was", tool::declareBuffers},
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

int finish(std::string const& name, tool::Run const& run) {
  try {
    int const result = run();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
      return refuse(name, "the output can't be written");
    return result;
  } catch (std::bad_alloc const&) {
    std::fflush(stdout);
    return refuse(name, "there isn't enough memory; end other programs, or allow this one more");
  } catch (std::exception const& error) {
    std::fflush(stdout);
    return refuse(name, error.what());
  }
}

// The arguments in the order in which CLI11 wants them, the last one first. It takes the argument
// behind "--text=" for the option's value; as two arguments, the value is the empty text. What
// stands behind a program that is run is the program's.
std::vector<std::string> argumentsFor(CLI::App const& app, int argc, char** argv) {
  std::vector<std::string> arguments;
  bool areOptionsOver = app.get_prefix_command();
  for (int i = 1; i < argc; ++i) {
    std::string const argument = argv[i];
    areOptionsOver = areOptionsOver || argument == "--";
    bool const isEmptyOption = !areOptionsOver && argument.size() > 3 &&
                               argument.substr(0, 2) == "--" &&
                               argument.find('=') == argument.size() - 1;
    arguments.push_back(isEmptyOption ? argument.substr(0, argument.size() - 1) : argument);
    if (isEmptyOption) arguments.emplace_back();
  }
  return {arguments.rbegin(), arguments.rend()};
}

// After help or the version, or a complaint about the usage.
int finishParsing(CLI::App const& app, CLI::ParseError const& error, std::string const& name) {
  return app.exit(error) == 0 ? finish(name, [] { return 0; }) : kWrongUsage;
}

// Each command has a parser of its own: one below another's would take "++" for the end of its
// arguments. `argv` begins with the command's name.
int runCommand(Command const& command, int argc, char** argv) {
  CLI::App app(command.summary, std::string("ztb ") + command.name);
  tool::Run const run = command.declare(app);
  try {
    app.parse(argumentsFor(app, argc, argv));
  } catch (CLI::ParseError const& error) {
    return finishParsing(app, error, command.name);
  }
  return finish(command.name, run);
}

// What to do without a command: give help or the version, or say what is wrong.
int runAlone(int argc, char** argv) {
  CLI::App app(
      "ztb shows and edits what applications of the suite see through ztbcpp31.\n"
      "Exit code: 0 done, 1 refused, 2 wrong usage.",
      "ztb");
  app.require_subcommand(1);
  app.set_version_flag("--version", "ztb " ZTB_VERSION);
  app.footer("\"ztb SUBCOMMAND --help\" tells about one of them, with examples.");
  for (Command const& command : kCommands) app.add_subcommand(command.name, command.summary);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (app.get_subcommands().empty() && app.remaining_size() > 0) {
      std::fprintf(stderr, "Unknown subcommand or option: %s\n", app.remaining()[0].c_str());
    }
    return finishParsing(app, error, argc > 1 ? argv[1] : "");
  }
  return kWrongUsage;
}

// What the build makes of the subcommands' declarations. Not for users, and so not in the help.
std::optional<tool::Run> makerOf(int argc, char** argv) {
  std::vector<Command> const commands(std::begin(kCommands), std::end(kCommands));
  std::string_view const name = argc > 1 ? argv[1] : "";
  if (argc == 3 && name == "--write-manual") {
    return [commands, folder = std::string(argv[2])] {
      tool::writeManual(commands, folder);
      return 0;
    };
  }
  if (argc == 2 && name == "--print-completion") {
    return [commands] {
      tool::printCompletion(commands);
      return 0;
    };
  }
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  reserveStreams();
  if (auto const make = makerOf(argc, argv)) return finish(argv[1], *make);
  for (Command const& command : kCommands) {
    if (argc > 1 && std::string_view(argv[1]) == command.name) {
      return runCommand(command, argc - 1, argv + 1);
    }
  }
  return runAlone(argc, argv);
}
