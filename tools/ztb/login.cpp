// SPDX-License-Identifier: MIT
//
// ztb login: logs a user in as applications do, and shows who that is or why not.

#include <cstdio>
#include <memory>

#include "input.h"
#include "secret.h"
#include "tool.h"
#include "ztbconfigoptions.h"
#include "ztbsubject.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "The password is asked for at the terminal and not shown; programs give it through a file\n"
    "descriptor. Without --location users are where the option BASE/AUTH_SERVER_LOC says, or in\n"
    "etc/users below the home. docs/users.md has more.\n\n"
    "  ztb login kim --location file:users --domain SALES";

struct Arguments {
  std::string user;
  std::string home;
  std::string location;
  std::vector<std::string> domains;
  SecretPlace password;
  SecretPlace secret;
  bool json = false;
};

// Gives the reference of the login back.
struct LoggedIn {
  LoggedIn() = default;
  LoggedIn(LoggedIn const&) = delete;
  LoggedIn& operator=(LoggedIn const&) = delete;
  ~LoggedIn() { ztbSubjectRelease(); }
};

struct DomainUser {
  std::string domain;
  std::string user;
};

std::string holdsNoSecret(std::string const& location) {
  std::string lower = location;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  bool const isGood = lower.find("pass=") == std::string::npos;
  return isGood ? "" : "a secret on the command line is for all to read; use --secret-fd";
}

void setLocation(Arguments const& arguments, Secret const& secret) {
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  ZtbString const key("BASE/AUTH_SERVER_LOC", true);
  if (!arguments.location.empty()) options->setOption(key, toZtb(arguments.location));
  if (secret.text().empty()) return;
  ZtbString location;
  options->getOption(key, &location);
  if (location.isNull()) {
    throw Refused("--secret-fd needs a location: give --location or set BASE/AUTH_SERVER_LOC");
  }
  if (!holdsNoSecret(fromZtb(location)).empty()) {
    throw Refused("BASE/AUTH_SERVER_LOC has a secret already: leave --secret-fd out");
  }
  location.trim(true, true);
  location.append(",pass=", nullptr);
  location.append(secret.string(), nullptr);
  options->setOption(key, location);
}

// Tells of a domain without credentials, once all others are shown; the result is 1 then.
int findCredentials(Arguments const& arguments, std::vector<DomainUser>& found) {
  int result = 0;
  for (std::string const& domain : arguments.domains) {
    ZtbString user;
    ZtbString password;
    ZtbString error;
    if (ztbSubjectCredentials(toZtb(domain), user, password, &error)) {
      found.push_back({domain, fromZtb(user)});
    } else {
      std::fprintf(stderr, "ztb login: %s\n", printable(fromZtb(error)).c_str());
      result = 1;
    }
    wipe(password);
  }
  return result;
}

void printInfo(ZtbSubjectInfoParm const& info, std::vector<DomainUser> const& credentials) {
  auto const line = [](char const* name, ZtbString const& value) {
    std::string const text = printable(fromZtb(value));
    std::printf("%-14s %s\n", name, text.empty() ? "-" : text.c_str());
  };
  line("name", info.name);
  line("domain", info.authDomain);
  line("resolved", info.resolved);
  line("authenticated", info.authTime.asString(true));
  line("connected", ZtbString(info.connected ? "yes" : "no", true));
  for (auto const& [domain, user] : credentials) {
    std::printf("%-14s %s as %s\n", "credentials", printable(domain).c_str(),
                printable(user).c_str());
  }
}

void printJson(ZtbSubjectInfoParm const& info, std::vector<DomainUser> const& credentials) {
  std::vector<JsonObject> objects;
  for (auto const& [domain, user] : credentials) {
    objects.emplace_back().add("domain", domain).add("user", user);
  }
  JsonObject object;
  object.add("name", info.name).add("authDomain", info.authDomain).add("resolved", info.resolved);
  object.add("authTime", info.authTime.asString(true)).add("connected", info.connected);
  std::printf("%s\n", object.add("credentials", objects).str().c_str());
}

int run(Arguments arguments) {
  takeUserLocale();
  chooseHome(arguments.home);
  arguments.user = utf8Of(arguments.user, "the user's name");
  for (std::string& domain : arguments.domains) domain = utf8Of(domain, "a domain");
  Secret secret;
  if (arguments.secret.descriptor != SecretPlace::kTerminal) {
    secret = takeSecret("secret of the file's credentials", arguments.secret);
  }
  Secret const password =
      takeSecret("password of user \"" + printable(arguments.user) + "\"", arguments.password);
  Library library;
  library.start();
  setLocation(arguments, secret);
  ZtbString error;
  if (!ztbSubjectAuthenticate(toZtb(arguments.user), password.string(), nullptr, &error)) {
    throw Refused(printable(fromZtb(error)));
  }
  LoggedIn const loggedIn;
  ZtbSubjectInfoParm info;
  if (!ztbSubjectInfo(false, &info, &error)) throw Refused(printable(fromZtb(error)));
  std::vector<DomainUser> credentials;
  int const result = findCredentials(arguments, credentials);
  arguments.json ? printJson(info, credentials) : printInfo(info, credentials);
  return result;
}

}  // namespace

Run declareLogin(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("user", arguments->user, "The user's name")->required()->type_name("NAME");
  app.add_option("--location", arguments->location, "Where the users are, such as file:PATH")
      ->type_name("PLACE")
      ->check(CLI::Validator(holdsNoSecret, ""));
  app.add_option("--home", arguments->home, kHomeHelp)->type_name(kFolder)->check(isFolder());
  app.add_option("--domain", arguments->domains,
                 "Show the user's name in this domain too; may be repeated")
      ->type_name("DOMAIN")
      ->allow_extra_args(false);
  addSecretOption(app, "password-fd", arguments->password,
                  "Read the password from this file descriptor");
  addSecretOption(app, "secret-fd", arguments->secret,
                  "Read the secret of the file's credentials from this file descriptor");
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
