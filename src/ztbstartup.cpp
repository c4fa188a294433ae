// SPDX-License-Identifier: MIT
//
// The start-up sequence: one straight run that fills the main option store from all its sources,
// derives the rest, and brings up messages, logging and the dependency library.

#include "ztbstartup.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>

#include "ztbconfigfile.h"
#include "ztbconfigfile_p.h"
#include "ztbconfigoptions_p.h"
#include "ztbdate_p.h"
#include "ztbdir.h"
#include "ztbinit_p.h"
#include "ztbstartup_p.h"
#include "ztbstring_p.h"
#include "ztbstringformat_p.h"
#include "ztlog11.h"
#include "ztmsg13.h"
#include "ztschr12.h"
#include "ztsfio12.h"
#include "ztssys11.h"

namespace {

constexpr char kSource[] = "ztbstartup";
constexpr char kFileQueue[] = ".@=Files=@.";
constexpr char kOptionQueue[] = ".@=CommandArgs=@.";
constexpr char kFileCount[] = "FileCount";
constexpr char kMessageLocation[] = "MARLOVEN_ERROR_LOCATION";
constexpr char kDerived[] = "derived by start-up";
constexpr int kProbeFragment = 444;
constexpr int kMessageBytes = 2048;
constexpr int kPathBytes = 4096;

// Levels of records, as everywhere in the suite.
enum Level : int { kStep = 2, kInformation = 3, kWarning = 4 };

// What a missing file is worth saying.
enum class IfMissing { kWarn, kPassSilently };

using DependencyStart = int (*)(void*);
using DependencyStop = void (*)(void*);

constinit char userPath[260] = {};
constinit char startupErrorText[kMessageBytes] = {};
constinit NpModule* dependencyHandle = nullptr;
constinit DependencyStop dependencyShutdown = nullptr;

ZtbString literal(char const* text) {
  return ZtbString(text, true);
}

// Copies what fits, cut at a character's border.
void copyText(char* target, unsigned targetBytes, char const* text) {
  np_uchar_bufncopy(target, text, targetBytes, ~0u);
}

bool fail(char const* text) {
  copyText(startupErrorText, sizeof startupErrorText, text);
  return false;
}

ZtbString joined(ZtbString const& folder, ZtbString const& name) {
  return ztbOrThrow(ztbConcatPath(folder, name));
}

void clearError(char const** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
}

char lowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The value as it may be logged: in the location of the authentication server the password, which
// stands behind "pass=" and ends at the next "/" or ",", is replaced by eight asterisks. The search
// runs on the stored bytes, since a lower-cased copy may differ from them in length.
ZtbString masked(ZtbString const& key, ZtbString const& value) {
  constexpr std::string_view kMark = "pass=";
  if (key.compare("BASE/AUTH_SERVER_LOC", false) != 0) return value;
  std::string_view const text = value.asCstr();
  auto const mark = std::search(text.begin(), text.end(), kMark.begin(), kMark.end(),
                                [](char c, char wanted) { return lowerAscii(c) == wanted; });
  if (mark == text.begin() || mark == text.end()) return value;
  std::size_t const start = static_cast<std::size_t>(mark - text.begin()) + kMark.size();
  std::size_t const end = std::min(text.find_first_of("/,", start), text.size());
  std::string shown(text.substr(0, start));
  shown.append("********").append(text.substr(end));
  return ztbOrThrow(ZtbString(shown.c_str(), false));
}

bool equalsIgnoringCase(ZtbString const& value, char const* text) {
  return value.compare(text, false) == 0;
}

bool isThere(ZtbString const& path) {
  NpStatus status;
  return np_fio_stat(path.asCstr(), &status) == 0;
}

bool isSeparator(ZtbString const& character) {
  return character.compare("/", true) == 0 || character.compare("\\", true) == 0;
}

ZtbString withoutLast(ZtbString const& text, unsigned characters) {
  return ztbOrThrow(text.mid(0, static_cast<int>(text.length() - characters)));
}

// The folder beside an executables' folder named bin, or else below it, that holds libraries.
ZtbString libraryPathFor(ZtbString const& exePath) {
  ZtbString folder = exePath;
  auto const lastOf = [&folder](int count) { return ztbOrThrow(folder.right(count)); };
  if (folder.length() > 0 && isSeparator(lastOf(1))) folder = withoutLast(folder, 1);
  if (folder.length() > 4 && equalsIgnoringCase(lastOf(3), "bin") &&
      isSeparator(ztbOrThrow(lastOf(4).mid(0, 1)))) {
    folder = ztbOrThrow(ztbParsePath(folder, nullptr));
  }
  return joined(folder, literal("lib"));
}

// One run of the sequence, with the global lock held.
class Sequence {
 public:
  explicit Sequence(ZtLogger* logger) : mLogger(logger) {}

  bool run() {
    if (!findHome()) return false;
    readFiles();
    applyEnvironmentAndCommand();
    deriveTemp();
    deriveMessageOptions();
    if (!openMessages()) return false;
    derivePaths();
    mLogger->operations->setLevel(mLogger, 0);
    if (!configureLogging()) return false;
    applyTimeBase();
    logOptions();
    deriveRepositories();
    applyDateFormat();
    deriveShown("ZTEXEC_HOME", mHome);
    if (mOptions->takeLoss()) throw std::bad_alloc();
    return startDependency();
  }

 private:
  bool findHome();
  void readFiles();
  void readFile(ZtbString const& path, IfMissing ifMissing);
  void readFromBoth(char const* name, IfMissing ifMissingFromHome);
  void readQueuedFiles();
  void readQueuedFile(ZtbString const& folder, ZtbString const& value, IfMissing ifMissing);
  void readMacros(ZtbString const& folder);
  void applyEnvironmentAndCommand();
  void deriveTemp();
  void deriveMessageOptions();
  void passOn(char const* variable, char const* option);
  bool openMessages();
  void derivePaths();
  bool configureLogging();
  void applyTimeBase();
  void logOptions();
  void deriveRepositories();
  void applyDateFormat();
  ZtbString dependencyPath();
  bool startDependency();
  bool loadDependency(ZtbString const& path);

  bool isDerived(char const* key) const {
    return mOptions->getOptionOrigin(literal(key)).compare(kDerived, true) == 0;
  }
  bool has(char const* key) const { return mOptions->getOption(literal(key), nullptr); }
  ZtbString valueOf(char const* key) const {
    ZtbString value;
    mOptions->getOption(literal(key), &value);
    return value;
  }
  // Stores a derived value; one that is there already keeps its origin.
  void derive(char const* key, ZtbString const& value) {
    ZtbString present;
    if (mOptions->getOption(literal(key), &present) && present.compare(value, true) == 0) return;
    mOptions->setOptionFrom(literal(key), value, ZtbOptionOrigin::named(kDerived));
  }
  void deriveIfMissing(char const* key, ZtbString const& value) {
    if (!has(key)) derive(key, value);
  }
  void deriveShown(char const* key, ZtbString const& value) {
    derive(key, value);
    log(kInformation, __LINE__, ztbWholeFormat("%s=%S", key, &value));
  }
  // A record that memory doesn't reach for is left out.
  void log(Level level, int line, ZtbString const& text) {
    if (text.isNull()) return;
    mLogger->operations->logFormat(mLogger, level, kSource, line, "%s", text.asCstr());
  }
  void logAbout(Level level, int line, char const* format, ZtbString const& text) {
    log(level, line, ztbWholeFormat(format, &text));
  }

  ZtLogger* mLogger;
  ZtbConfigOptionsImpl* mOptions = nullptr;
  ZtbString mHome;
  ZtbString mEtc;
  ZtbString mUser;
  ZtbConfigFile mFile;
  ZtbOptionSources mSources;
};

bool Sequence::findHome() {
  char home[260];
  np_env_get("ZTEXEC_HOME", home, sizeof home);
  if (home[0] == '\0') return fail("The 'ZTEXEC_HOME' environment variable is not set");
  mHome = ztbOrThrow(ZtbString(home, false));
  mEtc = joined(mHome, literal("etc"));
  if (userPath[0] != '\0') {
    mUser = ztbOrThrow(ZtbString(userPath, false));
    logAbout(kStep, __LINE__, "UserPath '%S'", mUser);
  }
  mOptions = ztbGetConfigOptionsImpl(ZtbString());
  if (mOptions == nullptr) return fail(kNoMemoryText);
  mOptions->takeLoss();
  return true;
}

// The file object is cleared after each good read only, so what a failing read got from a file
// comes to the store with the next good one.
void Sequence::readFile(ZtbString const& path, IfMissing ifMissing) {
  bool const good = mFile.read(path);
  if (!good && ZtbConfigFileLines::lacksMemory(mFile)) throw std::bad_alloc();
  mSources.add(mFile, path);
  if (good) {
    logAbout(kStep, __LINE__, "Reading configuration file '%S'", path);
    mOptions->applyConfigFileFrom(mFile, mSources);
    mFile.clear();
  } else if (ifMissing == IfMissing::kWarn) {
    logAbout(kWarning, __LINE__, "Expected file '%S' does not exist", path);
  }
}

void Sequence::readFromBoth(char const* name, IfMissing ifMissingFromHome) {
  readFile(joined(mEtc, literal(name)), ifMissingFromHome);
  if (!mUser.isNull()) readFile(joined(mUser, literal(name)), IfMissing::kPassSilently);
}

void Sequence::readQueuedFile(ZtbString const& folder, ZtbString const& value,
                              IfMissing ifMissing) {
  ZtbString const path = joined(folder, value);
  readFile(path.length() > 0 ? path : value, ifMissing);
}

void Sequence::readQueuedFiles() {
  ZtbConfigOptions* const queue = ztbGetConfigOptions(literal(kFileQueue));
  if (queue == nullptr) throw std::bad_alloc();
  ZtbString value;
  for (unsigned i = 1; queue->getOptionAt(i, nullptr, &value); ++i) {
    readQueuedFile(mEtc, value, IfMissing::kWarn);
    if (!mUser.isNull()) readQueuedFile(mUser, value, IfMissing::kPassSilently);
  }
}

void Sequence::readMacros(ZtbString const& folder) {
  logAbout(kStep, __LINE__, "Reading configuration file directory '%S'", folder);
  mOptions->readConfigDirectory(folder, literal("CFG"));
}

void Sequence::readFiles() {
  readFromBoth("app.cfg", IfMissing::kWarn);
  readQueuedFiles();
  deriveIfMissing("BASE/MACROS_PATH", joined(mEtc, literal("macros")));
  readMacros(valueOf("BASE/MACROS_PATH"));
  if (!mUser.isNull()) readMacros(joined(mUser, literal("macros")));
  readFromBoth("macros.cfg", IfMissing::kPassSilently);
}

void Sequence::applyEnvironmentAndCommand() {
  log(kStep, __LINE__, literal("Applying environment variables"));
  mOptions->applyEnvironment();
  ZtbConfigOptions* const queue = ztbGetConfigOptions(literal(kOptionQueue));
  if (queue == nullptr) throw std::bad_alloc();
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; queue->getOptionAt(i, &key, &value); ++i) {
    mOptions->setOptionFrom(key, value, ZtbOptionOrigin::named("the command"));
  }
}

void Sequence::deriveTemp() {
  deriveIfMissing("BASE/TEMP", valueOf("TEMP"));
  derive("TEMP", valueOf("BASE/TEMP"));
}

// The names are good, so it is memory that a failure lacks.
void setVariable(char const* name, ZtbString const& value) {
  if (np_env_set(name, value.asCstr()) != 0) throw std::bad_alloc();
}

void Sequence::passOn(char const* variable, char const* option) {
  if (has(variable) || !has(option)) return;
  setVariable(variable, valueOf(option));
}

void Sequence::deriveMessageOptions() {
  if (!ztbMessageLocationDerived() && has(kMessageLocation)) {
    derive("BASE/MESSAGE_PATH", valueOf(kMessageLocation));
  } else {
    deriveIfMissing("BASE/MESSAGE_PATH", joined(joined(mHome, literal("share")), literal("msg")));
    setVariable(kMessageLocation, valueOf("BASE/MESSAGE_PATH"));
  }
  passOn("MARLOVEN_ERROR_LOCALE", "BASE/MESSAGE_LOCALE");
  passOn("MARLOVEN_ERROR_LEVEL", "BASE/MESSAGE_LEVEL");
}

bool Sequence::openMessages() {
  char const* reason = nullptr;
  if (ztmsg13_initialize(&reason) != 0) return fail(reason != nullptr ? reason : "");
  char buffer[kMessageBytes];
  if (ztmsg13_get_fragment(kProbeFragment, buffer) == 0) return true;
  constexpr char kText[] = "Error message database or one of its components is not found: %s";
  return fail(ztbOrThrow(ztbWholeFormat(kText, buffer)).asCstr());
}

void Sequence::derivePaths() {
  ZtbString const executableDir = ztbOrThrow(ZtbString(ztbExecutableDir(), false));
  deriveIfMissing("BASE/PLUGIN_PATH", executableDir);
  deriveIfMissing("BASE/EXE_PATH", executableDir);
  if (!has("BASE/LIBRARY_PATH")) {
    derive("BASE/LIBRARY_PATH", libraryPathFor(valueOf("BASE/EXE_PATH")));
  }
}

bool Sequence::configureLogging() {
  if (!has("BASE/LOGCONFIG_PATH")) {
    ztlogConfigure(nullptr);
    return true;
  }
  ZtbString const path = valueOf("BASE/LOGCONFIG_PATH");
  NpStatus status;
  if (np_fio_stat(path.asCstr(), &status) != 0 || status.size == 0) {
    return fail("Specified logging configuration file does not exist.");
  }
  return ztlogConfigure(path.asCstr()) == 0 || fail("Failed to configure logging.");
}

void Sequence::applyTimeBase() {
  setUseGmtTimeBase(equalsIgnoringCase(valueOf("BASE/TIME_BASE"), "GMT"));
}

void Sequence::logOptions() {
  log(kInformation, __LINE__, literal("Effective options:"));
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; mOptions->getOptionAt(i, &key, &value); ++i) {
    ZtbString const shown = masked(key, value);
    log(kInformation, __LINE__, ztbWholeFormat("%S=%S", &key, &shown));
  }
}

void Sequence::deriveRepositories() {
  if (!mUser.isNull() && !has("BASE/REPOS_USER_PATH")) {
    deriveShown("BASE/REPOS_USER_PATH", joined(mUser, literal("repositories")));
  }
  if (!has("BASE/REPOS_SYS_PATH")) {
    deriveShown("BASE/REPOS_SYS_PATH", joined(mEtc, literal("repositories")));
  }
}

void Sequence::applyDateFormat() {
  if (!equalsIgnoringCase(valueOf("BASE/DATE_FORMAT"), "ISO8601")) return;
  log(kInformation, __LINE__, literal("ISO8601 date format will be used"));
  setDatavarIsoDates(true);
}

void unloadDependency() {
  np_dso_unload(dependencyHandle);
  dependencyHandle = nullptr;
}

bool Sequence::loadDependency(ZtbString const& path) {
  constexpr int kLoadFlags = 4;
  constexpr int kHasReason = 3;
  int const result = np_dso_load(path.asCstr(), kLoadFlags, &dependencyHandle);
  if (result == 0) return true;
  char const* const reason = result == kHasReason ? np_dso_loaderr(dependencyHandle) : nullptr;
  fail(reason != nullptr ? reason : "Error loading dependency library");
  unloadDependency();
  return false;
}

// The module of the plug-in path. Where nobody set that, and no module lies beside the program, it
// is the one that is installed with the library.
ZtbString Sequence::dependencyPath() {
  char fileName[255];
  np_dso_mkfname("ztbdeps31", fileName, sizeof fileName);
  ZtbString const path = joined(valueOf("BASE/PLUGIN_PATH"), literal(fileName));
  if (isThere(path) || !isDerived("BASE/PLUGIN_PATH")) return path;
  char buffer[kPathBytes];
  np_dso_installed(fileName, buffer, sizeof buffer);
  ZtbString const installed = ztbOrThrow(ZtbString(buffer, false));
  return isThere(installed) ? installed : path;
}

bool Sequence::startDependency() {
  log(kStep, __LINE__, literal("Extension specific startup"));
  ztbDependencyShutdown();
  ZtbString const path = dependencyPath();
  logAbout(kStep, __LINE__, "Load %S", path);
  if (!loadDependency(path)) return false;
  auto const start =
      reinterpret_cast<DependencyStart>(np_dso_getsym(dependencyHandle, "ZtbDepsStartup"));
  dependencyShutdown =
      reinterpret_cast<DependencyStop>(np_dso_getsym(dependencyHandle, "ZtbDepsShutdown"));
  if (start == nullptr || dependencyShutdown == nullptr) {
    unloadDependency();
    return fail("Failed to find dependency startup/shutdown functions");
  }
  log(kStep, __LINE__, literal("Run dep startup"));
  return start(nullptr) == 0 || fail("Dependency startup failed");
}

// Whether memory reached for the copy of a text, which may be null itself.
bool isCopyOf(ZtbString const& copy, char const* text) {
  return !copy.isNull() || text == nullptr;
}

bool runSequence(ZtLogger* logger) {
  try {
    return Sequence(logger).run();
  } catch (std::bad_alloc const&) {
    return fail(kNoMemoryText);
  }
}

}  // namespace

int ztbStartup(char const** errorMessage) {
  bool started = false;
  if (ztbIsInitialized()) {
    ZtLogger* const logger = ztlogGetLogger("ZT.Base");
    logger->operations->setLevel(logger, kStep);
    ZtbGlobalHold const hold;
    started = runSequence(logger);
  }
  if (!started && errorMessage != nullptr) *errorMessage = startupErrorText;
  return started ? 0 : 1;
}

int ztbStartupAddConfigFile(char const* path, char const** errorMessage) {
  clearError(errorMessage);
  ZtbGlobalHold const hold;
  ZtbConfigOptions* const queue = ztbGetConfigOptions(literal(kFileQueue));
  if (queue == nullptr) return 0;
  ZtbString count;
  queue->getOption(literal(kFileCount), &count);
  __int64 const number = static_cast<__int64>(count.asInt(nullptr)) + 1;
  count.assign(number);
  char digits[24];
  std::snprintf(digits, sizeof digits, "%4.4lld", number);
  digits[4] = '\0';
  ZtbString const key = ztbWholeFormat("FilePrefix_%s", digits);
  ZtbString const queued(path, false);
  bool const isWhole = !count.isNull() && !key.isNull() && isCopyOf(queued, path);
  // A number without a file does no harm; a file without its number would give way to the next.
  if (isWhole && queue->setOption(literal(kFileCount), count)) queue->setOption(key, queued);
  return 0;
}

int ztbStartupAddOption(char const* name, char const* value, char const** errorMessage) {
  clearError(errorMessage);
  ZtbGlobalHold const hold;
  ZtbConfigOptions* const queue = ztbGetConfigOptions(literal(kOptionQueue));
  ZtbString const key(name, false);
  ZtbString const queued(value, false);
  if (queue != nullptr && isCopyOf(key, name) && isCopyOf(queued, value)) {
    queue->setOption(key, queued);
  }
  return 0;
}

void ztbStartupSetUserPath(char const* path) {
  ZtbGlobalHold const hold;
  copyText(userPath, sizeof userPath, path != nullptr ? path : "");
}

char const* ztbStartupGetUserPath() {
  return userPath;
}

ZtbString ztbStartupGetOptionOrigin(ZtbString const& key) {
  ZtbConfigOptionsImpl* const options = ztbGetConfigOptionsImpl(ZtbString());
  return options != nullptr ? options->getOptionOrigin(key) : ZtbString();
}

void ztbDependencyShutdown() {
  if (dependencyHandle == nullptr) return;
  dependencyShutdown(nullptr);
  unloadDependency();
}
