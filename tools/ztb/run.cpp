// SPDX-License-Identifier: MIT
//
// ztb run: a program, started and waited for as applications do it.

#include <signal.h>

#include <climits>
#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbexecute.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Put \"--\" in front of the command; all behind it is the program's. Its standard input is "
    "empty.\n"
    "Exit code 0 says that the program was started and has ended by itself, or still runs when\n"
    "--wait is over: neither that nor the program's own exit code is told. It is 1 if the program\n"
    "can't be started or a signal ends it.\n"
    "With --shell, a part with a blank is put in double quotes, and the shell reads all parts:\n"
    "give | and > as parts of their own. docs/programs.md has the rules.\n\n"
    "  ztb run --wait 10 -- rsync -a /data /backup\n"
    "  ztb run --shell --capture -- ls /tmp '|' wc -l";

struct Arguments {
  bool shell = false;
  std::vector<std::string> environment;
  bool capture = false;
  int wait = -1;
  bool json = false;
};

volatile sig_atomic_t interruption = 0;

// As system() does it: the keyboard's signals are for the program. When it has ended, and its
// output file is gone, ztb ends by the same signal, so that a script that runs it ends too.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int number) { interruption = number; };
    for (Signal& signal : mSignals) {
      sigaction(signal.number, nullptr, &signal.old);
      if (signal.old.sa_handler != SIG_IGN) sigaction(signal.number, &action, nullptr);
    }
  }
  Interruptions(Interruptions const&) = delete;
  Interruptions& operator=(Interruptions const&) = delete;
  ~Interruptions() {
    for (Signal const& signal : mSignals) sigaction(signal.number, &signal.old, nullptr);
    if (interruption != 0) raise(interruption);
  }

 private:
  struct Signal {
    int number;
    struct sigaction old;
  };
  Signal mSignals[2] = {{SIGINT, {}}, {SIGQUIT, {}}};
};

// What stands behind the options, without the mark in front of it.
std::vector<std::string> commandOf(CLI::App const& app) {
  std::vector<std::string> command = app.remaining();
  if (!command.empty() && command[0] == "--") command.erase(command.begin());
  return command;
}

void checkCommand(CLI::App const& app) {
  std::vector<std::string> const remaining = app.remaining();
  bool const isMarked = !remaining.empty() && remaining[0] == "--";
  if (!isMarked && !remaining.empty() && remaining[0][0] == '-') {
    throw CLI::ExtrasError({remaining[0]});
  }
  if (commandOf(app).empty()) throw CLI::RequiredError("CMD");
}

bool execute(ZtbExecute& program, Arguments const& arguments,
             std::vector<std::string> const& command) {
  program.setCommand(toZtb(command[0]));
  for (std::size_t i = 1; i < command.size(); ++i) program.addOption(toZtb(command[i]));
  for (std::string const& entry : arguments.environment) program.addEnvironment(toZtb(entry));
  Interruptions const interruptions;
  return program.run(arguments.shell, arguments.capture || arguments.json, arguments.wait);
}

void printJson(bool isDone, ZtbString const& output, ZtbString const& error) {
  JsonObject object;
  object.add("done", isDone).add("output", output).add("error", error);
  std::printf("%s\n", object.str().c_str());
}

int run(Arguments const& arguments, std::vector<std::string> const& command) {
  chooseHome("");
  Library library;
  library.startForMessages();
  ZtbExecute program;
  bool const isDone = execute(program, arguments, command);
  ZtbString const output = program.getOutputLog();
  ZtbString const message = program.getErrorMessage();
  // Without memory for itself the program has no message.
  bool const lacksReason = !isDone && message.isNull();
  ZtbString const error = lacksReason ? ZtbString("there isn't enough memory", true) : message;
  if (arguments.json) printJson(isDone, output, error);
  bool const isShown = arguments.capture && !arguments.json && !output.isNull();
  std::string const shown = isShown ? printable(fromZtb(output)) : "";
  if (!isDone) throw Refused(printable(fromZtb(error)) + (isShown ? "\n  output: " + shown : ""));
  if (isShown) std::printf("%s\n", shown.c_str());
  return 0;
}

}  // namespace

Run declareRun(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_flag("--shell", arguments->shell, "Run the command line through /bin/sh");
  app.add_option("--env", arguments->environment,
                 "Entry of the program's environment, which then holds these entries alone, "
                 "without PATH; may be repeated")
      ->type_name("K=V")
      ->check(nameAndValue("K=V"))
      ->allow_extra_args(false);
  app.add_flag("--capture", arguments->capture,
               "Collect output and error output, and print the first 8 KB as one line");
  app.add_option("--wait", arguments->wait, "Seconds to wait at most (default: without limit)")
      ->check(isBetween(0, INT_MAX))
      ->type_name("SECONDS");
  app.add_flag("--json", arguments->json, "Print a JSON object, with what --capture collects");
  describeTexts(app, "CMD...", "The program and its arguments");
  app.prefix_command();
  app.footer(kHelp);
  app.callback([&app] { checkCommand(app); });
  return [arguments, &app] { return run(*arguments, commandOf(app)); };
}

}  // namespace tool
