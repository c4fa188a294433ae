// SPDX-License-Identifier: MIT
//
// ztb mail: a mail composed and handed to a mail program, or its text shown.

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "input.h"
#include "tool.h"
#include "ztbemail.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "The template is a command for /bin/sh. %T in it becomes the recipients and %B the path of the "
    "mail's\n"
    "text, both as they are, without quotes: with recipients from outside, let the mail program "
    "read them\n"
    "from the text, as below. Whatever the mail program writes counts as its report of a failure.\n"
    "It is waited for 10 seconds; the mail of one that still runs then stays in its file.\n"
    "docs/mail.md shows the text of a mail.\n\n"
    "  ztb mail --to ada@example.com --subject 'Night run' --text 'All well.' --attach run.log \\\n"
    "      --command 'msmtp --read-recipients <\"%B\"'";

struct Arguments {
  std::string to;
  std::optional<std::string> from;
  std::string subject;
  std::vector<std::string> texts;
  std::vector<std::string> attachments;
  std::string command;
  bool dryRun = false;
  bool json = false;
};

// A folder of the mail's own, so that all of its files can be found.
class MailFolder {
 public:
  // In two steps, so that the folder goes if the second one fails.
  MailFolder() : MailFolder(makeFolder()) { endWithUser(); }
  MailFolder(MailFolder const&) = delete;
  MailFolder& operator=(MailFolder const&) = delete;
  ~MailFolder() { isRemoved(); }

  std::string const& path() const { return mPath; }

  // Removes the folder if nothing is in it.
  bool isRemoved() const {
    std::error_code error;
    std::filesystem::remove(mPath, error);
    return !error;
  }

 private:
  // When the user ends ztb before its time, the files go too. In a thread, as a handler may not
  // look into folders.
  void endWithUser() const {
    sigset_t signals;
    sigemptyset(&signals);
    for (int const number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
      struct sigaction action = {};
      sigaction(number, nullptr, &action);
      if (action.sa_handler != SIG_IGN) sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals, path = mPath] {
      int number = 0;
      sigwait(&signals, &number);
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
      pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
      raise(number);
    }).detach();
  }

  explicit MailFolder(std::string path) : mPath(std::move(path)) {}

  // Where the library has its temporary files.
  static std::string makeFolder() {
    char const* const place = getenv("TMPDIR");
    for (std::string const parent : {place != nullptr ? place : "", "/tmp"}) {
      std::string path = parent + "/ztbmail-XXXXXX";
      if (parent[0] == '/' && mkdtemp(path.data()) != nullptr) return path;
    }
    throw Refused(std::string("no folder for temporary files can be made in /tmp: ") +
                  std::strerror(errno) + "; set TMPDIR to a folder that has room");
  }

  std::string mPath;
};

// The mail that the arguments describe.
class Mail : public ZtbEmail {
 public:
  Mail(Arguments const& arguments, std::string const& folder) {
    if (!initialize(toZtb(folder), toZtb(arguments.command))) refuse();
    setTo(toZtb(utf8Of(arguments.to, "--to")));
    if (arguments.from) setFrom(toZtb(utf8Of(*arguments.from, "--from")));
    setSubject(toZtb(utf8Of(arguments.subject, "--subject")));
    for (std::string const& text : arguments.texts) {
      addMessage(toZtb(text == "-" ? utf8Of(readText(text), "the text of standard input")
                                   : utf8Of(text, "a text behind --text")));
    }
    for (std::string const& path : arguments.attachments) attach(path);
  }

  // Writes the text of the mail, and gives it open.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> compose() {
    if (!writeEmailTextFile()) refuse();
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> text(std::fopen(getEmailFile().asCstr(), "rbe"),
                                                         std::fclose);
    if (text == nullptr)
      throw Refused(std::string("the mail can't be read: ") + std::strerror(errno));
    return text;
  }

 private:
  // The library's message doesn't name the file.
  void attach(std::string const& path) {
    std::error_code ignored;
    bool const isFolder = std::filesystem::is_directory(path, ignored);
    if (isFolder || access(path.c_str(), R_OK) != 0) {
      throw Refused("the attachment \"" + printable(path) +
                    "\" can't be read: " + std::strerror(isFolder ? EISDIR : errno));
    }
    addAttachment(toZtb(path));
  }
  [[noreturn]] void refuse() { throw Refused(printable(fromZtb(getErrorMessage()))); }
};

struct Outcome {
  bool isSent = false;
  int exitCode = 0;
  std::string error;
  std::string folder;  // where files stay for the mail program that still runs; else empty
};

Outcome sendFrom(MailFolder const& folder, Arguments const& arguments) {
  Outcome outcome;
  {
    Mail mail(arguments, folder.path());
    outcome.isSent = mail.sendMail();
    outcome.exitCode = mail.getExitCode();
    outcome.error = fromZtb(mail.getErrorMessage());
  }
  if (!folder.isRemoved()) outcome.folder = folder.path();
  if (outcome.isSent && outcome.folder.empty() && outcome.exitCode != 0) {
    outcome.isSent = false;
    outcome.error = "the mail program ended with exit code " + std::to_string(outcome.exitCode) +
                    " and said nothing; its log may tell whether the mail was sent";
  }
  return outcome;
}

void printJson(Outcome const& outcome) {
  JsonObject object;
  object.add("sent", outcome.isSent).add("exitCode", static_cast<long long>(outcome.exitCode));
  object.add("running", !outcome.folder.empty());
  outcome.folder.empty() ? object.addNull("folder") : object.add("folder", outcome.folder);
  outcome.isSent ? object.addNull("error") : object.add("error", outcome.error);
  std::printf("%s\n", object.str().c_str());
}

int send(Arguments const& arguments) {
  Outcome const outcome = sendFrom(MailFolder(), arguments);
  std::string const note =
      outcome.folder.empty()
          ? ""
          : "the mail program still runs; when it has ended, remove its files: " +
                printable(outcome.folder);
  if (arguments.json) printJson(outcome);
  if (!outcome.isSent) {
    throw Refused(printable(outcome.error) + (note.empty() ? "" : "\n  " + note));
  }
  if (!arguments.json) std::printf("handed to the mail program\n");
  if (!arguments.json && !note.empty()) std::printf("%s\n", note.c_str());
  return 0;
}

// The files are gone before anything is printed, since printing may end the process.
std::unique_ptr<std::FILE, int (*)(std::FILE*)> composed(Arguments const& arguments) {
  MailFolder const folder;
  return Mail(arguments, folder.path()).compose();
}

int show(Arguments const& arguments) {
  auto const text = composed(arguments);
  std::string all;
  char piece[65536];
  for (std::size_t bytes; (bytes = std::fread(piece, 1, sizeof piece, text.get())) > 0;) {
    if (!arguments.json && std::fwrite(piece, 1, bytes, stdout) < bytes) break;
    if (arguments.json) checkText(all.append(piece, bytes));
  }
  if (arguments.json) std::printf("%s\n", JsonObject().add("mail", all).str().c_str());
  return 0;
}

void checkCommand(Arguments const& arguments) {
  if (arguments.command.empty() && !arguments.dryRun) throw CLI::RequiredError("--command");
  auto const& texts = arguments.texts;
  if (std::count(texts.begin(), texts.end(), "-") > 1) {
    throw CLI::ValidationError("--text", "standard input can be given once");
  }
}

}  // namespace

Run declareMail(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("--to", arguments->to, "Recipients, separated by commas")
      ->required()
      ->type_name("RECIPIENTS");
  app.add_option("--from", arguments->from, "Sender (default: what the mail program puts in)")
      ->type_name("SENDER");
  app.add_option("--subject", arguments->subject, "Subject, which may be empty")->required();
  app.add_option("--text", arguments->texts,
                 "A text; - is standard input; may be repeated, each is a part of the mail")
      ->allow_extra_args(false);
  app.add_option("--attach", arguments->attachments, "A file to attach; may be repeated")
      ->type_name(kFile)
      ->allow_extra_args(false);
  app.add_option("--command", arguments->command, "The mail program's command, a template")
      ->type_name("TEMPLATE");
  app.add_flag("--dry-run", arguments->dryRun, "Print the text of the mail, and send nothing");
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  app.callback([arguments] { checkCommand(*arguments); });
  return [arguments] {
    takeUserLocale();
    chooseHome("");
    Library library;
    library.startForMessages();
    return arguments->dryRun ? show(*arguments) : send(*arguments);
  };
}

}  // namespace tool
