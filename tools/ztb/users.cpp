// SPDX-License-Identifier: MIT
//
// ztb users: adds users to a file of users, removes and lists them, and gives them passwords and
// credentials. Each change reads the file line by line into a new one that takes its place, so that
// all other lines stay as they are.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <set>

#include "input.h"
#include "replacement.h"
#include "secret.h"
#include "tool.h"
#include "ztauth_userfile.h"

namespace tool {
namespace {

using ztauth::UserLine;
using ztauth::UserRecord;

constexpr char kHelp[] =
    "Passwords are asked for at the terminal and not shown; programs give them through a file\n"
    "descriptor. docs/users.md describes the file.\n\n"
    "  ztb users add users kim --domain HQ\n"
    "  ztb users credential users kim SALES --as kim_s\n"
    "  ztb users list users";

struct Arguments {
  std::string file;
  std::string user;
  std::string domain;    // of the user, or of the credential
  std::string resolved;  // empty for the user's name
  std::string as;        // the user's name in the credential's domain; empty for the same
  SecretPlace password;
  SecretPlace present;
  SecretPlace credential;
  SecretPlace secret;
  bool removes = false;
  bool resets = false;
  bool json = false;
};

std::string shown(std::string const& name) {
  return "\"" + printable(name) + "\"";
}

// The reasons of the file of users, which are empty after success.
void refuseFor(std::string const& reason) {
  if (!reason.empty()) throw Refused(reason);
}

Refused noSuchUser(std::string const& user) {
  return Refused("there is no user " + shown(user) + " in the file; ztb users list shows who is");
}

Refused alreadyThere(std::string const& user) {
  return Refused("user " + shown(user) +
                 " is in the file already; ztb users password gives a new password");
}

// ---- Changing -----------------------------------------------------------------------------------

// Gives what takes the place of the user's line; nothing removes it.
using Change = std::function<std::optional<std::string>(std::string_view line)>;

// The file that is written, a line at a time; refuses if there is no room.
class NewFile {
 public:
  explicit NewFile(std::string const& path) : mFile(std::fopen(path.c_str(), "we")) {
    if (mFile == nullptr) refuse();
  }
  NewFile(NewFile const&) = delete;
  NewFile& operator=(NewFile const&) = delete;
  ~NewFile() {
    if (mFile != nullptr) std::fclose(mFile);
  }
  void writeLine(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), mFile);
    if (std::fputc('\n', mFile) == EOF) refuse();
  }
  void close() {
    bool const isBad = std::ferror(mFile) != 0;
    if (std::fclose(std::exchange(mFile, nullptr)) != 0 || isBad) refuse();
  }

 private:
  [[noreturn]] void refuse() const {
    throw Refused("the file stays as it was; the new one can't be written: " +
                  std::string(std::strerror(errno)));
  }

  std::FILE* mFile;
};

// Copies the file with the change made to each line of the user's; false if there is none.
bool copyChanged(std::string const& path, std::string const& user, Change const& change,
                 NewFile& to) {
  bool isFound = false;
  refuseFor(ztauth::scanUserFile(path, [&](UserLine const& line) -> std::string {
    if (!line.isRecord || line.name != user) {
      to.writeLine(line.text);
      return "";
    }
    isFound = true;
    if (std::optional<std::string> const changed = change(line.text)) to.writeLine(*changed);
    return "";
  }));
  return isFound;
}

// Changes the lines of a user, or adds `added` if there are none and it isn't empty.
void edit(Arguments const& arguments, Change const& change, std::string const& added = "") {
  std::filesystem::path const target = targetOf(arguments.file);
  Original const original(target);
  if (!original.isThere() && added.empty()) {
    throw Refused("there is no file " + shown(target.string()));
  }
  Replacement replacement(original, 0600);
  NewFile to(replacement.path());
  bool isFound = false;
  if (original.isThere()) {
    isFound = copyChanged(target.string(), arguments.user, change, to);
  } else {
    to.writeLine(ztauth::kUserFileHead);
  }
  if (!isFound && added.empty()) throw noSuchUser(arguments.user);
  if (!isFound) to.writeLine(added);
  to.close();
  replacement.takePlace();
}

// The user's record before anything is asked for, so that nobody types a password for nothing.
// Without a file there is none.
std::optional<UserRecord> findRecord(Arguments const& arguments) {
  std::filesystem::path const target = targetOf(arguments.file);
  std::optional<UserRecord> record;
  if (Original(target).isThere()) {
    refuseFor(ztauth::findUser(target.string(), arguments.user, record));
  }
  return record;
}

UserRecord needRecord(Arguments const& arguments) {
  std::optional<UserRecord> record = findRecord(arguments);
  if (!record) throw noSuchUser(arguments.user);
  return std::move(*record);
}

std::string passwordName(std::string const& user) {
  return "password of user " + shown(user);
}

// ---- Actions ------------------------------------------------------------------------------------

Secret takeFileSecret(Arguments const& arguments) {
  bool const isGiven = arguments.secret.descriptor != SecretPlace::kTerminal;
  return isGiven ? takeSecret("secret of the file's credentials", arguments.secret) : Secret();
}

int add(Arguments const& arguments) {
  if (findRecord(arguments)) throw alreadyThere(arguments.user);
  UserRecord record;
  record.name = arguments.user;
  record.domain = arguments.domain;
  record.resolved = arguments.resolved;
  Secret const secret = takeFileSecret(arguments);
  Secret const password = takeNewSecret("new " + passwordName(arguments.user), arguments.password);
  refuseFor(ztauth::setPassword(record, password.text(), secret.text()));
  edit(
      arguments,
      [&](std::string_view) -> std::optional<std::string> { throw alreadyThere(arguments.user); },
      ztauth::composeUserLine(record));
  return 0;
}

int remove(Arguments const& arguments) {
  edit(arguments, [](std::string_view) { return std::nullopt; });
  return 0;
}

// A new password, with the credentials that the present one opens.
UserRecord renewed(UserRecord const& old, std::string_view present, std::string_view password,
                   std::string_view secret) {
  ztauth::UserKeys keys;
  if (!ztauth::checkPassword(old.password, present, old.needsSecret ? secret : "", keys)) {
    throw Refused("that isn't the present " + passwordName(old.name));
  }
  if (!old.credentials.empty() && keys.publicKey != old.publicKey) {
    throw Refused("the credentials of user " + shown(old.name) +
                  " are sealed with a secret, and this isn't it: give it by --secret-fd");
  }
  UserRecord record = old;
  refuseFor(ztauth::setPassword(record, password, secret));
  for (auto const& [domain, sealed] : old.credentials) {
    ztauth::Credential credential;
    refuseFor(ztauth::openCredential(old, keys, domain, credential));
    refuseFor(ztauth::sealCredential(record, domain, credential.user(), credential.password()));
  }
  return record;
}

int password(Arguments const& arguments) {
  UserRecord const old = needRecord(arguments);
  Secret const secret = takeFileSecret(arguments);
  std::string const name = passwordName(arguments.user);
  Secret const present =
      arguments.resets ? Secret() : takeSecret("present " + name, arguments.present);
  Secret const fresh = takeNewSecret("new " + name, arguments.password);
  edit(arguments, [&](std::string_view line) {
    UserRecord record;
    refuseFor(ztauth::parseUserLine(line, record));
    if (arguments.resets) {
      refuseFor(ztauth::setPassword(record, fresh.text(), secret.text()));
    } else {
      record = renewed(record, present.text(), fresh.text(), secret.text());
    }
    return ztauth::composeUserLine(record);
  });
  if (arguments.resets && !old.credentials.empty()) {
    std::fprintf(stderr, "ztb users: the old password's credentials are gone; add them anew\n");
  }
  return 0;
}

void dropCredential(UserRecord& record, std::string const& domain) {
  auto& all = record.credentials;
  auto const rest = std::remove_if(all.begin(), all.end(),
                                   [&](auto const& entry) { return entry.domain == domain; });
  if (rest == all.end()) {
    throw Refused("user " + shown(record.name) + " has no credentials for domain " + shown(domain));
  }
  all.erase(rest, all.end());
}

int credential(Arguments const& arguments) {
  needRecord(arguments);
  Secret secret;
  if (!arguments.removes) {
    secret = takeNewSecret(passwordName(arguments.as) + " for domain " + shown(arguments.domain),
                           arguments.credential);
  }
  edit(arguments, [&](std::string_view line) {
    UserRecord record;
    refuseFor(ztauth::parseUserLine(line, record));
    if (arguments.removes) {
      dropCredential(record, arguments.domain);
    } else {
      refuseFor(ztauth::sealCredential(record, arguments.domain, arguments.as, secret.text()));
    }
    return ztauth::composeUserLine(record);
  });
  return 0;
}

// ---- Listing ------------------------------------------------------------------------------------

using Row = std::vector<std::string>;

Row rowOf(UserRecord const& record) {
  std::string domains;
  for (auto const& [domain, sealed] : record.credentials) {
    domains += (domains.empty() ? "" : ", ") + printable(domain);
  }
  if (record.needsSecret) domains += domains.empty() ? "(secret)" : " (secret)";
  Row row = {printable(record.name), printable(record.domain), printable(record.resolved), domains};
  for (std::string& cell : row) {
    if (cell.empty()) cell = "-";
  }
  return row;
}

std::size_t charactersOf(std::string const& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void printRows(std::vector<Row> const& rows) {
  constexpr std::size_t kWidestColumn = 40;
  std::vector<std::size_t> widths(rows.front().size());
  for (Row const& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::min(std::max(widths[i], charactersOf(row[i])), kWidestColumn);
    }
  }
  for (Row const& row : rows) {
    std::string line;
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      std::size_t const length = charactersOf(row[i]);
      line += row[i] + std::string(length < widths[i] ? widths[i] - length : 0, ' ') + "  ";
    }
    std::printf("%s%s\n", line.c_str(), row.back().c_str());
  }
}

JsonObject objectOf(UserRecord const& record) {
  std::vector<JsonObject> credentials;
  for (auto const& [domain, sealed] : record.credentials) {
    credentials.emplace_back().add("domain", domain);
  }
  JsonObject object;
  object.add("name", record.name).add("domain", record.domain).add("resolved", record.resolved);
  return object.add("secret", record.needsSecret).add("credentials", credentials);
}

// What stands in front of a damaged line is shown all the same.
int list(Arguments const& arguments) {
  std::vector<Row> rows = {{"user", "domain", "resolved", "credentials"}};
  std::vector<JsonObject> objects;
  std::set<std::string> names;
  std::string twice;
  std::string const reason = ztauth::scanUserFile(arguments.file, [&](UserLine const& line) {
    UserRecord record;
    if (!line.isRecord) return std::string();
    std::string damage = ztauth::parseUserLine(line.text, record);
    if (!damage.empty()) return damage;
    arguments.json ? objects.push_back(objectOf(record)) : rows.push_back(rowOf(record));
    if (!names.insert(record.name).second) twice = record.name;
    return std::string();
  });
  if (arguments.json) {
    printJsonArray(objects);
  } else if (rows.size() > 1) {
    printRows(rows);
  }
  refuseFor(reason);
  if (!twice.empty()) {
    throw Refused("user " + shown(twice) +
                  " is in the file more than once, and can't log in: remove and add the user");
  }
  return 0;
}

// ---- Arguments ----------------------------------------------------------------------------------

struct Action {
  char const* name;
  char const* summary;
  int (*run)(Arguments const& arguments);
  void (*declare)(CLI::App& app, Arguments& arguments);  // the options of its own
};

void addPasswordOptions(CLI::App& app, Arguments& arguments) {
  addSecretOption(app, "password-fd", arguments.password,
                  "Read the new password from this file descriptor");
  addSecretOption(app, "secret-fd", arguments.secret,
                  "Seal the credentials with a secret too, read from this file descriptor");
}

void declareAdd(CLI::App& app, Arguments& arguments) {
  app.add_option("--domain", arguments.domain, "The domain that vouches for the user")
      ->type_name("DOMAIN");
  app.add_option("--resolved", arguments.resolved, "The name that the user's name stands for")
      ->type_name("NAME");
  addPasswordOptions(app, arguments);
}

void declareRemove(CLI::App&, Arguments&) {}

void declarePassword(CLI::App& app, Arguments& arguments) {
  app.add_flag("--reset", arguments.resets,
               "Ask for no present password, and give up the credentials that it opens");
  addSecretOption(app, "present-fd", arguments.present,
                  "Read the present password from this file descriptor");
  addPasswordOptions(app, arguments);
}

void declareCredential(CLI::App& app, Arguments& arguments) {
  app.add_option("domain", arguments.domain, "The domain of the credential")
      ->required()
      ->type_name("DOMAIN");
  app.add_option("--as", arguments.as, "The user's name in that domain (default: the same)")
      ->type_name("NAME");
  app.add_flag("--remove", arguments.removes, "Remove the credential for the domain");
  addSecretOption(app, "credential-fd", arguments.credential,
                  "Read the password for the domain from this file descriptor");
}

void declareList(CLI::App& app, Arguments& arguments) {
  app.add_flag("--json", arguments.json, "Print a JSON array");
}

constexpr Action kActions[] = {
    {"add", "Add a user; makes the file if it isn't there", add, declareAdd},
    {"remove", "Remove a user", remove, declareRemove},
    {"password", "Give a user a new password, and keep the credentials", password, declarePassword},
    {"credential", "Give a user a user name and password for a domain", credential,
     declareCredential},
    {"list", "Show the users and the domains of their credentials", list, declareList},
};

// Names in UTF-8, whatever the terminal writes.
void convertNames(Arguments& arguments) {
  takeUserLocale();
  for (std::string* name :
       {&arguments.user, &arguments.domain, &arguments.resolved, &arguments.as}) {
    *name = utf8Of(*name, "a name");
  }
  if (arguments.as.empty()) arguments.as = arguments.user;
}

}  // namespace

Run declareUsers(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.require_subcommand(1);
  app.footer(kHelp);
  for (Action const& action : kActions) {
    CLI::App* const sub = app.add_subcommand(action.name, action.summary);
    sub->add_option("file", arguments->file, "The file of users")->required()->type_name(kFile);
    if (action.run != list)
      sub->add_option("user", arguments->user, "The name")->required()->type_name("NAME");
    action.declare(*sub, *arguments);
  }
  return [arguments, &app] {
    convertNames(*arguments);
    auto const* const action =
        std::find_if(std::begin(kActions), std::end(kActions),
                     [&app](Action const& one) { return app.got_subcommand(one.name); });
    return action->run(*arguments);
  };
}

}  // namespace tool
