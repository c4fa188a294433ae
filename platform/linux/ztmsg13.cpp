// SPDX-License-Identifier: MIT
//
// The message database over catalogs of gencat: which catalog serves the process, and how its texts
// become messages. Everything that a text could do wrong is settled when the catalog is opened.

#include "ztmsg13.h"

#include <array>
#include <atomic>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "ztbb10.h"
#include "ztmsg13_catalog.h"
#include "ztmsg13_format.h"
#include "ztmsg13_messages.h"
#include "ztssys11.h"

namespace {

using ztmsg13::Argument;
using ztmsg13::BoundedText;
using ztmsg13::Catalog;
using ztmsg13::CatalogFile;

constexpr char const* kLocation = "MARLOVEN_ERROR_LOCATION";
constexpr char const* kLocale = "MARLOVEN_ERROR_LOCALE";
constexpr char const* kLevel = "MARLOVEN_ERROR_LEVEL";
constexpr char const* kDefaultLocale = "en";
constexpr char const* kCatalogFile = "messages.cat";
constexpr char const* kNoMemory = "Not enough memory to open the message database.";
constexpr int kHighestLevel = 2;

struct Database {
  std::string path;
  Catalog catalog;
  int level = 0;
  // The texts of kZtMessages, row by row; null where there is none whose directives fit.
  std::array<char const*, kZtMessageCount> texts{};

  // The text of a message that can be filled in with the arguments of `row`, or with none if the
  // message isn't declared; null if there is none.
  char const* find(ZtMessage const* row, std::string_view group, int number) const {
    if (row != nullptr) return texts[static_cast<std::size_t>(row - kZtMessages)];
    char const* const text = catalog.find(group, number);
    return text != nullptr && ztmsg13::fits(text, "") ? text : nullptr;
  }
};

// Made before a database is first opened, and never destroyed.
constinit std::atomic<ZtLock> gLock{nullptr};
// Guarded by gLock. A plain pointer, since messages are asked for at any time.
constinit Database const* gDatabase = nullptr;

// Null when memory ran out.
ZtLock databaseLock() {
  return ztLockAtFirstUse(gLock, 1);
}

// Keeps the open database from being closed. Takes no memory: without a lock none was ever opened.
class DatabaseHold {
 public:
  DatabaseHold()
      : mLock(gLock.load(std::memory_order_acquire)), mHold(mLock, ZtLockHold::kShared) {}
  // Null if none is open.
  Database const* get() const { return mLock != nullptr ? gDatabase : nullptr; }

 private:
  ZtLock const mLock;
  ZtLockHold const mHold;
};

// ---- Opening ------------------------------------------------------------------------------------

// What the variables say.
struct Settings {
  std::string location;
  std::vector<std::string> locales;  // in the order in which they are tried
  int level = 0;
};

bool readVariable(char const* name, std::string& value, std::string& reason) {
  char buffer[4096];
  if (np_env_get(name, buffer, sizeof(buffer)) == np_env_too_long) {
    reason = std::string("The value of ") + name + " is too long.";
    return false;
  }
  value = buffer;
  return true;
}

// The locale's name without what stands behind "." or "@"; empty if it isn't the name of a locale.
std::string localeName(std::string const& value) {
  constexpr char const* kNameCharacters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  std::string const name = value.substr(0, value.find_first_of(".@"));
  std::string const rest = value.substr(name.size());
  bool const isName = name.find_first_not_of(kNameCharacters) == name.npos &&
                      rest.find('/') == rest.npos && rest.find("..") == rest.npos;
  return isName ? name : std::string();
}

std::string systemLocaleName() {
  for (char const* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    std::string value;
    std::string ignored;
    if (!readVariable(variable, value, ignored)) return {};
    if (!value.empty()) return localeName(value);
  }
  return {};
}

bool readLocales(Settings& settings, std::string& reason) {
  std::string value;
  if (!readVariable(kLocale, value, reason)) return false;
  std::string const name = value.empty() ? systemLocaleName() : localeName(value);
  if (name.empty() && !value.empty()) {
    reason = std::string(kLocale) + " is \"" + value +
             "\", which isn't the name of a locale. Set it to a name such as \"de_DE\" or \"en\".";
    return false;
  }
  std::string const language = name.substr(0, name.find_first_of("_-"));
  for (std::string const& locale : {name, language, std::string(kDefaultLocale)}) {
    if (!locale.empty()) settings.locales.push_back(locale);
  }
  return true;
}

bool readLevel(Settings& settings, std::string& reason) {
  std::string value;
  if (!readVariable(kLevel, value, reason)) return false;
  if (value.find_first_not_of("0123456789") != value.npos) {
    reason = std::string(kLevel) + " is \"" + value + "\"; it must be 0, 1 or 2.";
    return false;
  }
  value.erase(0, value.find_first_not_of('0'));
  settings.level = value.empty() ? 0 : value == "1" ? 1 : kHighestLevel;
  return true;
}

bool readSettings(Settings& settings, std::string& reason) {
  if (!readVariable(kLocation, settings.location, reason)) return false;
  if (settings.location.empty()) {
    reason = std::string(kLocation) +
             " isn't set. It names the folder of the message catalogs, share/msg below the home.";
    return false;
  }
  return readLocales(settings, reason) && readLevel(settings, reason);
}

// Looks up every declared message, and leaves out the texts that their arguments don't fit.
void settleTexts(Database& database) {
  for (std::size_t i = 0; i < kZtMessageCount; ++i) {
    ZtMessage const& row = kZtMessages[i];
    char const* const text = database.catalog.find(row.group, row.number);
    if (text != nullptr && ztmsg13::fits(text, row.arguments)) database.texts[i] = text;
  }
}

// Null, with the reason, if there is no catalog that can be used.
std::unique_ptr<Database> openDatabase(std::string& reason) {
  Settings settings;
  if (!readSettings(settings, reason)) return nullptr;
  auto database = std::make_unique<Database>();
  database->level = settings.level;
  for (std::string const& locale : settings.locales) {
    database->path = settings.location + "/" + locale + "/" + kCatalogFile;
    CatalogFile const found = ztmsg13::readCatalog(database->path, database->catalog, reason);
    if (found == CatalogFile::kAbsent) continue;
    if (found == CatalogFile::kRefused) return nullptr;
    settleTexts(*database);
    return database;
  }
  reason = "There is no message catalog \"" + database->path + "\". Catalogs lie where " +
           kLocation + " or BASE/MESSAGE_PATH says, or else in share/msg below ZTEXEC_HOME.";
  return nullptr;
}

// Puts a database in the place of the open one, which it gives back to be freed.
std::unique_ptr<Database const> exchangeDatabase(std::unique_ptr<Database const> next) {
  ZtLockHold const hold(databaseLock());
  std::unique_ptr<Database const> previous(gDatabase);
  gDatabase = next.release();
  return previous;
}

int refuse(char const* reason, char const** errorText) {
  static char text[ztmsg13_buffer_size];
  ZtLockHold const hold(databaseLock());
  BoundedText(text, sizeof(text)).append(reason);
  if (errorText != nullptr) *errorText = text;
  return 1;
}

// ---- Messages -----------------------------------------------------------------------------------

struct Origin {
  char const* source;
  int line;
};

void appendHead(BoundedText& target, std::string_view group, int number, Origin const* origin) {
  target.append("[").append(group).append(" ").append(number);
  if (origin != nullptr)
    target.append(", ").append(origin->source).append(":").append(origin->line);
  target.append("] ");
}

// Adds what can be said without a text: "no text in the message database: "a", 5".
void appendDefault(BoundedText& target, std::string_view declared, Argument const* arguments) {
  target.append("no text in the message database");
  char const* separator = ": ";
  for (std::size_t i = 0; i < declared.size(); ++i) {
    target.append(separator);
    separator = ", ";
    if (declared[i] == 'i') {
      target.append(arguments[i].number);
    } else {
      char const* const text = arguments[i].text;
      target.append("\"").append(text != nullptr ? text : "").append("\"");
    }
  }
}

// Writes a message, or a fragment if `origin` is null. Non-zero if it is the default text.
int compose(BoundedText& target, std::string_view group, int number, Origin const* origin,
            va_list list) {
  ZtMessage const* const row = ztFindMessage(group, number);
  std::string_view const declared = row != nullptr ? row->arguments : std::string_view();
  Argument arguments[ztmsg13::kMaxArguments];
  ztmsg13::takeArguments(declared, list, arguments);

  DatabaseHold const hold;
  Database const* const database = hold.get();
  char const* const text = database != nullptr ? database->find(row, group, number) : nullptr;
  int const level = database != nullptr ? database->level : 0;
  bool const needsHead = text == nullptr || (origin != nullptr && level > 0);
  if (needsHead) appendHead(target, group, number, level > 1 ? origin : nullptr);
  if (text == nullptr) {
    appendDefault(target, declared, arguments);
    return 1;
  }
  target.appendFormat(text, arguments);
  return 0;
}

void appendMissingFragment(BoundedText& target, int number, Database const* database) {
  target.append("Fragment ").append(number);
  if (database == nullptr) {
    target.append(" was asked for while the message database isn't open.");
  } else {
    target.append(" isn't in the message catalog \"").append(database->path);
    target.append("\", or it needs arguments.");
  }
}

}  // namespace

int ztmsg13_initialize(char const** errorText) {
  if (databaseLock() == nullptr) {
    if (errorText != nullptr) *errorText = kNoMemory;
    return 1;
  }
  try {
    std::string reason;
    std::unique_ptr<Database> database = openDatabase(reason);
    if (database == nullptr) return refuse(reason.c_str(), errorText);
    exchangeDatabase(std::move(database));
    return 0;
  } catch (std::exception const&) {
    return refuse(kNoMemory, errorText);
  }
}

void ztmsg13_terminate() {
  exchangeDatabase(nullptr);
}

int ztmsg13_get_fragment(int number, char* buffer) {
  if (buffer == nullptr) return 1;
  BoundedText target(buffer, ztmsg13_buffer_size);
  ZtMessage const* const row = ztFindMessage(kZtFragments, number);
  bool const isWhole = row == nullptr || row->arguments.empty();

  DatabaseHold const hold;
  Database const* const database = hold.get();
  char const* const text =
      database != nullptr && isWhole ? database->find(row, kZtFragments, number) : nullptr;
  if (text == nullptr) {
    appendMissingFragment(target, number, database);
    return 1;
  }
  target.appendFormat(text, nullptr);
  return 0;
}

int ztmsg13_get_vmessage(char const* source, int line, char const* group, int number, char* buffer,
                         va_list arguments) {
  if (buffer == nullptr) return 1;
  BoundedText target(buffer, ztmsg13_buffer_size);
  Origin const origin{source != nullptr ? source : "", line};
  int const result = compose(target, group != nullptr ? group : "", number, &origin, arguments);
  target.trimBlanksAtEnd();
  return result;
}

int ztmsg13_get_vfragment(int number, char* buffer, va_list arguments) {
  if (buffer == nullptr) return 1;
  BoundedText target(buffer, ztmsg13_buffer_size);
  return compose(target, kZtFragments, number, nullptr, arguments);
}
