// SPDX-License-Identifier: MIT
//
// What the subcommands of ztb share: how they are declared, how they come up, how they refuse and
// how they print. Exit codes: 0 done, 1 refused, 2 wrong usage.

#ifndef ZTB_TOOL_H
#define ZTB_TOOL_H

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ztbstring.h"

namespace tool {

// Runs a subcommand whose options have been parsed; gives the exit code.
using Run = std::function<int()>;

// Declares a subcommand's options below `app` and gives what runs it.
using Declare = Run (*)(CLI::App& app);

struct Command {
  char const* name;
  char const* summary;
  Declare declare;
};

// What options and arguments take, as type names of CLI11: the help shows the word, and the shell's
// completion knows the values. Any other word stands for a text that only the user knows.
inline constexpr char kFile[] = "FILE";
inline constexpr char kFolder[] = "DIR";
inline constexpr char kEncoding[] = "ENCODING";
inline constexpr char kDataType[] = "TYPE";
inline constexpr char kLocale[] = "LOCALE";
inline constexpr char kGroup[] = "GROUP";
inline constexpr char kScheme[] = "SCHEME";
inline constexpr char kProgram[] = "CMD";
inline constexpr char kNumber[] = "N";

// The line of the help that all options for a home have.
inline constexpr char kHomeHelp[] =
    "Home of the installation (default: ZTEXEC_HOME, or the one beside the tool)";

Run declareAttributes(CLI::App& app);
Run declareBuffers(CLI::App& app);
Run declareCalc(CLI::App& app);
Run declareConfig(CLI::App& app);
Run declareConvert(CLI::App& app);
Run declareDate(CLI::App& app);
Run declareDir(CLI::App& app);
Run declareEncode(CLI::App& app);
Run declareLogin(CLI::App& app);
Run declareMail(CLI::App& app);
Run declareMessage(CLI::App& app);
Run declareOptions(CLI::App& app);
Run declareOverlay(CLI::App& app);
Run declareProtect(CLI::App& app);
Run declareRecords(CLI::App& app);
Run declareRun(CLI::App& app);
Run declareTemplate(CLI::App& app);
Run declareText(CLI::App& app);
Run declareType(CLI::App& app);
Run declareUnprotect(CLI::App& app);
Run declareUri(CLI::App& app);
Run declareUsers(CLI::App& app);

// The preferred names of all encodings, by their numbers.
std::vector<std::string> encodingNames();

// Writes a manual page for the tool and one for each command into `folder`, which it makes.
void writeManual(std::vector<Command> const& commands, std::string const& folder);

// Prints the completion of the tool's arguments as bash wants it.
void printCompletion(std::vector<Command> const& commands);

// Lets `app` take texts of any form, at least `least` of them: also such as "-.5", "-(2)" and
// "[a,b]", which declared arguments refuse or take apart. What looks like a long option is wrong
// usage unless "--" stands before it. `name` and `description` are for the help.
void takeTexts(CLI::App& app, std::string const& name, std::string const& description,
               std::size_t least);
std::vector<std::string> textsOf(CLI::App const& app);

// Declares the arguments that `app` takes as extras, for the help alone.
void describeTexts(CLI::App& app, std::string const& name, std::string const& description);

// Lets an option take a name that isn't empty, "=" and a value. `form` is how messages write it.
CLI::Validator nameAndValue(std::string const& form);

// Checks for options, without words for the help, which has those of the type names.
CLI::Validator isFolder();
CLI::Validator isEncoding();

// A whole number of this range in decimal digits. Zeros in front are refused: CLI11 takes what
// stands behind them for octal.
CLI::Validator isBetween(long long least, long long most);

// Ends the command with exit code 1 and this text on stderr: what went wrong, and what to do.
class Refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The library, up for the length of a block. Refuses if it doesn't come up.
class Library {
 public:
  Library();
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;
  ~Library();

  // Runs start-up on the home that `home`, or else ZTEXEC_HOME, or else the place of the tool
  // itself names. Call chooseHome before the library comes up.
  void start();

  // The same for a command that only wants message texts: a home that doesn't come up leaves it
  // with the default texts.
  void startForMessages();
};

// Takes the user's locale, which the library leaves to the application: here the tool. Numbers keep
// their point. Call it before the library comes up.
void takeUserLocale();

// Sets ZTEXEC_HOME to `home` if that isn't empty; else leaves it, or sets it to the home that lies
// beside the tool.
void chooseHome(std::string const& home);

// Objects of the library that are ended by their own `release`.
struct Release {
  template <class Object>
  void operator()(Object* object) const {
    object->release();
  }
};
template <class Object>
using Owned = std::unique_ptr<Object, Release>;

// Never null, which would mean something else: throws if memory ran out.
inline ZtbString toZtb(std::string const& text) {
  ZtbString const result(text.c_str(), false);
  if (result.isNull()) throw std::bad_alloc();
  return result;
}
inline std::string fromZtb(ZtbString const& text) {
  return text.asCstr();
}

// The text with control codes and ill-formed bytes as \xNN, so that a value can't steer the
// terminal.
std::string printable(std::string_view text);

// Whether the text is well-formed UTF-8.
bool isUtf8(std::string_view text);

// A JSON text of `text` with its quotes; ill-formed UTF-8 becomes U+FFFD.
std::string jsonText(std::string_view text);

// A JSON object with one member a line pair: {"name": "value", ...}. Values are texts.
class JsonObject {
 public:
  JsonObject& add(std::string_view name, std::string_view text);
  JsonObject& add(std::string_view name, char const* text) {
    return add(name, std::string_view(text));
  }
  JsonObject& add(std::string_view name, long long number);
  JsonObject& add(std::string_view name, bool flag);
  // A null text comes as null.
  JsonObject& add(std::string_view name, ZtbString const& text) {
    return text.isNull() ? addNull(name) : add(name, text.asCstr());
  }
  JsonObject& addNull(std::string_view name);
  JsonObject& add(std::string_view name, std::vector<JsonObject> const& objects);
  std::string str() const { return "{" + mMembers + "}"; }

 private:
  void addRaw(std::string_view name, std::string const& value);
  std::string mMembers;
};

// Prints JSON objects as one array, an object a line.
void printJsonArray(std::vector<JsonObject> const& objects);

}  // namespace tool

#endif
