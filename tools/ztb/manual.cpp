// SPDX-License-Identifier: MIT
//
// The manual pages, from what the subcommands declare: a page for the tool, and one for each
// subcommand with its own subcommands in it. Pages have no date, so that a build can be repeated.

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "tool.h"

namespace tool {
namespace {

// Text for the formatter, in which hyphens and quotes stay as the user has to type them, and no
// line is taken for a request.
std::string roff(std::string_view text) {
  std::string result;
  for (char const c : text) {
    switch (c) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += "\\-";
        break;
      case '\'':
        result += "\\(aq";
        break;
      case '"':
        result += "\\(dq";
        break;
      case '`':
        result += "\\(ga";
        break;
      case '^':
        result += "\\(ha";
        break;
      case '~':
        result += "\\(ti";
        break;
      default:
        result += c;
    }
  }
  return !result.empty() && result[0] == '.' ? "\\&" + result : result;
}

std::string bold(std::string_view text) {
  return "\\fB" + roff(text) + "\\fR";
}
std::string italic(std::string_view text) {
  return "\\fI" + roff(text) + "\\fR";
}

std::vector<std::string> linesOf(std::string const& text) {
  std::vector<std::string> lines(1);
  for (char const c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

// The footer of a help is prose, and examples that are indented.
struct Footer {
  std::vector<std::string> prose;
  std::vector<std::string> examples;
};

Footer footerOf(CLI::App const& app) {
  Footer footer;
  for (std::string const& line : linesOf(app.get_footer())) {
    bool const isExample = line.substr(0, 2) == "  ";
    (isExample ? footer.examples : footer.prose).push_back(isExample ? line.substr(2) : line);
  }
  while (!footer.prose.empty() && footer.prose.back().empty()) footer.prose.pop_back();
  return footer;
}

class Page {
 public:
  explicit Page(std::string const& name) : mName(name) {
    std::string title = name;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    line(".TH " + roff(title) + " 1 \"\" \"ztbcpp31 " ZTB_VERSION "\" \"ztbcpp31\"");
  }

  void line(std::string const& text) { mText += text + "\n"; }
  void text(std::string const& text) { line(roff(text)); }
  void section(char const* title) { line(std::string(".SH ") + title); }

  // A term with what it is, as a hanging paragraph.
  void item(std::string const& term, std::string const& meaning) {
    line(".TP");
    line(term);
    text(meaning);
  }

  void paragraphs(std::vector<std::string> const& lines) {
    for (std::string const& one : lines) one.empty() ? line(".PP") : text(one);
  }

  void examples(std::vector<std::string> const& lines) {
    if (lines.empty()) return;
    section("EXAMPLES");
    line(".nf");
    for (std::string const& one : lines) text(one);
    line(".fi");
  }

  void write(std::string const& folder) const {
    std::string const path = folder + "/" + mName + ".1";
    std::ofstream file(path, std::ios::binary);
    file << mText;
    if (!file.flush()) throw Refused("can't write \"" + printable(path) + "\"");
  }

 private:
  std::string mName;
  std::string mText;
};

bool isHelp(CLI::Option const& option) {
  return option.check_name("--help");
}

// "file", "TEXT...": arguments of any number say so in their name, or else get an ellipsis.
std::string argumentName(CLI::Option const& option) {
  std::string name = option.get_name(true);
  bool const isSeveral = option.get_expected_max() > 1 && name.find("...") == std::string::npos;
  return isSeveral ? name + "..." : name;
}

std::vector<CLI::Option const*> arguments(CLI::App const& app) {
  return app.get_options([](CLI::Option const* option) { return option->get_positional(); });
}
std::vector<CLI::Option const*> options(CLI::App const& app) {
  return app.get_options(
      [](CLI::Option const* option) { return !option->get_positional() && !isHelp(*option); });
}
std::vector<CLI::App const*> subcommands(CLI::App const& app) {
  return app.get_subcommands([](CLI::App const*) { return true; });
}

std::string optionTerm(CLI::Option const& option) {
  std::string const name = bold("--" + option.get_lnames().at(0));
  bool const isFlag = option.get_type_name().empty();
  return isFlag ? name : name + " " + italic(option.get_type_name());
}

// "file... [--json] ...", behind the command's name.
std::string synopsis(CLI::App const& app) {
  std::string result;
  for (CLI::Option const* const option : options(app)) {
    if (option->get_required()) result += " " + optionTerm(*option);
  }
  if (options(app).size() > 0) result += " [" + italic("options") + "]";
  for (CLI::Option const* const option : arguments(app)) {
    std::string const name = italic(argumentName(*option));
    result += option->get_required() || app.get_prefix_command() ? " " + name : " [" + name + "]";
  }
  return result;
}

std::string listed(std::set<CLI::Option*> const& options) {
  std::string result;
  for (CLI::Option const* const option : options) {
    result += (result.empty() ? "" : ", ") + option->get_name();
  }
  return result;
}

std::string meaningOf(CLI::Option const& option) {
  std::string meaning = option.get_description() + ".";
  if (option.get_required() && !option.get_positional()) meaning += " Required.";
  if (!option.get_excludes().empty()) meaning += " Not with " + listed(option.get_excludes()) + ".";
  if (!option.get_needs().empty()) meaning += " Only with " + listed(option.get_needs()) + ".";
  return meaning;
}

void addArguments(Page& page, CLI::App const& app) {
  for (CLI::Option const* const option : arguments(app)) {
    page.item(italic(argumentName(*option)), meaningOf(*option));
  }
}
void addOptions(Page& page, CLI::App const& app) {
  for (CLI::Option const* const option : options(app)) {
    page.item(optionTerm(*option), meaningOf(*option));
  }
}

// Names the encodings where an option takes one.
void addEncodings(Page& page, CLI::App const& app) {
  std::vector<CLI::Option const*> const all = options(app);
  if (std::none_of(all.begin(), all.end(), [](CLI::Option const* option) {
        return option->get_type_name() == kEncoding;
      })) {
    return;
  }
  page.section("ENCODINGS");
  std::string names;
  for (std::string const& name : encodingNames()) names += (names.empty() ? "" : ", ") + name;
  page.text(names + "; in any case, and by their usual other names.");
}

// A summary as the NAME section wants it.
std::string inSentence(std::string text) {
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

// How a subcommand of `app` is called; its arguments stand in front of it.
std::string callOf(CLI::App const& app, std::string const& name, CLI::App const& sub) {
  std::string front;
  for (CLI::Option const* const option : arguments(app)) {
    if (option->get_required()) front += " " + italic(argumentName(*option));
  }
  return bold(name) + front + " " + bold(sub.get_name()) + synopsis(sub);
}

void addSynopsis(Page& page, CLI::App const& app, std::string const& name) {
  page.section("SYNOPSIS");
  bool isFirst = true;
  auto const add = [&page, &isFirst](std::string const& call) {
    if (!isFirst) page.line(".br");
    page.line(call);
    isFirst = false;
  };
  if (app.get_require_subcommand_min() == 0) add(bold(name) + synopsis(app));
  for (CLI::App const* const sub : subcommands(app)) add(callOf(app, name, *sub));
}

void addSubcommands(Page& page, CLI::App const& app, std::string const& name) {
  if (subcommands(app).empty()) return;
  page.section("SUBCOMMANDS");
  for (CLI::App const* const sub : subcommands(app)) {
    page.line(".SS " + bold(sub->get_name()));
    page.line(callOf(app, name, *sub));
    page.line(".PP");
    page.text(sub->get_description() + ".");
    // What all subcommands of a command say, it says itself.
    if (sub->get_footer() != app.get_footer() && !sub->get_footer().empty()) {
      page.paragraphs(footerOf(*sub).prose);
    }
    addArguments(page, *sub);
    addOptions(page, *sub);
  }
}

struct Entry {
  char const* name;
  char const* meaning;
};

constexpr Entry kExits[] = {
    {"0", "Done."},
    {"1", "Refused: standard error has the reason and says what to do."},
    {"2", "Wrong usage: standard error has what is wrong with the arguments."},
};

void addExits(Page& page) {
  page.section("EXIT STATUS");
  for (Entry const& exit : kExits) page.item(bold(exit.name), exit.meaning);
}

void addSeeAlso(Page& page, std::vector<std::string> const& names) {
  page.section("SEE ALSO");
  std::size_t left = names.size();
  for (std::string const& name : names) {
    page.line(".BR " + roff(name) + " (1)" + (--left > 0 ? "," : ""));
  }
}

std::string pageName(Command const& command) {
  return std::string("ztb-") + command.name;
}

void writeCommand(Command const& command, std::string const& folder) {
  std::string const name = std::string("ztb ") + command.name;
  CLI::App app(command.summary, name);
  command.declare(app);
  Footer const footer = footerOf(app);

  Page page(pageName(command));
  page.section("NAME");
  page.line(roff(pageName(command)) + " \\- " + roff(inSentence(command.summary)));
  addSynopsis(page, app, name);
  page.section("DESCRIPTION");
  page.text(std::string(command.summary) + ".");
  if (!footer.prose.empty()) page.line(".PP");
  page.paragraphs(footer.prose);
  if (!arguments(app).empty()) {
    page.section("ARGUMENTS");
    addArguments(page, app);
  }
  addSubcommands(page, app, name);
  if (app.get_require_subcommand_min() == 0) {
    page.section("OPTIONS");
    addOptions(page, app);
    page.item(bold("-h") + ", " + bold("--help"), "Print the help and do nothing else.");
  }
  addEncodings(page, app);
  addExits(page);
  page.examples(footer.examples);
  addSeeAlso(page, {"ztb"});
  page.write(folder);
}

constexpr Entry kVariables[] = {
    {"ZTEXEC_HOME",
     "The home: the folder with configuration, message catalogs and users. Without it, it is the "
     "one that lies beside the tool."},
    {"MARLOVEN_ERROR_LOCALE",
     "The locale of messages, such as de; English if there is no catalog."},
    {"MARLOVEN_ERROR_LEVEL", "0 for the texts of messages, 1 for group and number too, 2 for all."},
    {"ZTB_KEY_FILE", "The file with the key of protected texts and encoded passwords."},
    {"TMPDIR", "The folder for temporary files; /tmp without it."},
    {"LC_ALL, LC_TIME, LANG", "The locale: order and form of dates, the character set of files."},
};

constexpr char const* kAbout[] = {
    "Shows and edits what applications of the suite see through ztbcpp31, each capability of the "
    "library by a subcommand.",
    "",
    "Subcommands that print something take --json for programs. In other output, control codes and "
    "ill-formed bytes of values come as \\xNN. Errors go to standard error.",
    "",
    "Each subcommand has a page of its own, and a short help by --help. Pages such as "
    "docs/users.md "
    "are those of the project's documentation, which comes with the development files.",
};

void writeTool(std::vector<Command> const& commands, std::string const& folder) {
  Page page("ztb");
  page.section("NAME");
  page.line("ztb \\- show and edit what applications see through ztbcpp31");
  page.section("SYNOPSIS");
  page.line(bold("ztb") + " " + italic("subcommand") + " [" + italic("options") + "] [" +
            italic("arguments") + "]");
  page.line(".br");
  page.line(bold("ztb") + " " + bold("--help") + " | " + bold("--version"));
  page.section("DESCRIPTION");
  page.paragraphs({std::begin(kAbout), std::end(kAbout)});
  page.section("SUBCOMMANDS");
  std::vector<std::string> names;
  for (Command const& command : commands) {
    page.item(bold(command.name), std::string(command.summary) + ".");
    names.push_back(pageName(command));
  }
  page.section("OPTIONS");
  page.item(bold("-h") + ", " + bold("--help"), "Print the help and do nothing else.");
  page.item(bold("--version"), "Print the version and do nothing else.");
  addExits(page);
  page.section("ENVIRONMENT");
  for (Entry const& variable : kVariables) page.item(bold(variable.name), variable.meaning);
  page.examples({"ztb options --filter 'BASE/*'", "ztb config set app.cfg BASE/TEMP /var/tmp",
                 "ztb text menu.txt --to UTF-8", "ztb calc '84.03 * 1.19'"});
  addSeeAlso(page, names);
  page.write(folder);
}

}  // namespace

void writeManual(std::vector<Command> const& commands, std::string const& folder) {
  std::filesystem::create_directories(folder);
  writeTool(commands, folder);
  for (Command const& command : commands) writeCommand(command, folder);
}

}  // namespace tool
