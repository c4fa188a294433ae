// SPDX-License-Identifier: MIT
//
// Loggers, the records that they make, and the configuration that sends them somewhere.

#include "ztlog11.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>

#include "ztbb10.h"
#include "ztlog11_config.h"
#include "ztlog11_sinks.h"
#include "ztmsg13.h"

namespace {

using namespace ztlog;

constexpr int kDefaultLevel = kWarning;
constexpr std::size_t kMaxKeptRecords = 1000;
constexpr std::size_t kMaxKeptBytes = 1 << 20;
constexpr std::size_t kMaxConfigBytes = 1 << 20;

int getLevel(ZtLogger* logger);
void logFormat(ZtLogger* logger, int level, char const* source, int line, char const* format, ...)
    __attribute__((format(printf, 5, 6)));
void logMessage(ZtLogger* logger, int level, char const* source, int line, int number, ...);
void setLevel(ZtLogger* logger, int level);

constexpr ZtLoggerOperations kOperations = {getLevel, logFormat, logMessage, setLevel};

// All but `effective` is guarded by the log's lock or never changes. Nothing in it needs a
// destructor, so that the root outlives every static object.
struct Logger : ZtLogger {
  constexpr Logger() : ZtLogger{&kOperations} {}
  char const* shownName() const { return *name == '\0' ? "*" : name; }

  std::atomic<int> effective{kDefaultLevel};
  int own = 0;  // what setLevel gave; 0 for none
  SinkSet sinks = kEverySink;
  char const* name = "";  // as loggerName() gives it
  Logger* parent = nullptr;
  Logger* next = nullptr;  // in the order of creation, so parents come before their children
};

constinit Logger gRoot;

// A configuration with its sinks open.
struct Setup {
  Config config;
  std::vector<std::unique_ptr<Sink>> sinks;
};

// Everything that the log's lock guards. One for the process, never destroyed.
class Log {
 public:
  Log();

  Logger* logger(std::string const& name);
  void setOwnLevel(Logger* logger, int level);

  // Sends a record of a logger to its sinks, and keeps it as long as nothing is configured.
  void take(Logger const& logger, Record record);

  // Puts a setup in the former one's place.
  void configure(Setup setup);

  // Whether a record of this logger and level reaches standard error.
  bool reachesStderr(Logger const& logger, int level) const;

  std::string configureError;

 private:
  struct Kept {
    std::size_t bytes() const { return record.text.size() + record.source.size(); }
    Logger const* logger;
    Record record;
  };

  void refresh();
  // Whether the sink at this place wants records of this logger and level.
  bool takes(std::size_t sink, Logger const& logger, int level) const;
  void keep(Logger const& logger, Record record);
  void deliverKept();
  // Writes a record to those of its logger's sinks that want its level and satisfy `wanted`.
  template <typename Wanted>
  void deliver(Logger const& logger, Record const& record, Wanted wanted);
  void flush();

  std::map<std::string, Logger> mLoggers;  // all but the root
  Logger* mLast = &gRoot;
  Setup mSetup;
  bool mKeeping = true;
  std::deque<Kept> mKept;
  std::size_t mKeptBytes = 0;
  unsigned long mDropped = 0;  // of what should have been kept
};

std::unique_ptr<Sink> makeStderrSink() {
  SinkConfig config;
  config.name = "stderr";
  config.level = kWarning;
  return std::make_unique<Sink>(config);
}

Setup defaultSetup() {
  Setup setup;
  setup.sinks.push_back(makeStderrSink());
  return setup;
}

Record makeRecord(Logger const& logger, int level, char const* source, int line, std::string text) {
  return {std::chrono::system_clock::now(),
          static_cast<unsigned long>(gettid()),
          level,
          logger.shownName(),
          escape(source == nullptr ? "" : source),
          line,
          escape(std::move(text))};
}

Log::Log() : mSetup(defaultSetup()) {}

Logger* Log::logger(std::string const& name) {
  if (name.empty()) return &gRoot;
  if (auto const found = mLoggers.find(name); found != mLoggers.end()) return &found->second;
  std::size_t const dot = name.rfind('.');
  Logger* const parent = dot == std::string::npos ? &gRoot : logger(name.substr(0, dot));
  auto const row = mLoggers.try_emplace(name).first;
  Logger* const result = &row->second;
  result->name = row->first.c_str();
  result->parent = parent;
  mLast = mLast->next = result;
  refresh();
  return result;
}

void Log::setOwnLevel(Logger* logger, int level) {
  logger->own = std::clamp(level, 0, static_cast<int>(kOff));
  refresh();
}

// Works out what each logger has from itself, the configuration or its parent.
void Log::refresh() {
  auto const& [sinks, levels, routes] = mSetup.config;
  for (Logger* logger = &gRoot; logger != nullptr; logger = logger->next) {
    Logger const* const parent = logger->parent;
    auto const level = levels.find(logger->name);
    auto const route = routes.find(logger->name);
    int const inherited = parent == nullptr ? kDefaultLevel : parent->effective.load();
    int const configured = level == levels.end() ? inherited : level->second;
    logger->effective = logger->own != 0 ? logger->own : configured;
    SinkSet const inheritedSinks = parent == nullptr ? kEverySink : parent->sinks;
    logger->sinks = route == routes.end() ? inheritedSinks : route->second;
  }
}

void Log::take(Logger const& logger, Record record) {
  WriteSignalHold const hold;
  deliver(logger, record, [](Sink const&) { return true; });
  flush();
  if (mKeeping) keep(logger, std::move(record));
}

bool Log::takes(std::size_t sink, Logger const& logger, int level) const {
  bool const routed = (logger.sinks >> sink & 1) != 0;
  return routed && mSetup.sinks[sink]->takes(level);
}

template <typename Wanted>
void Log::deliver(Logger const& logger, Record const& record, Wanted wanted) {
  for (std::size_t i = 0; i < mSetup.sinks.size(); ++i) {
    Sink& sink = *mSetup.sinks[i];
    if (takes(i, logger, record.level) && wanted(sink)) sink.write(record);
  }
}

void Log::flush() {
  for (auto const& sink : mSetup.sinks) sink->flush();
}

void Log::keep(Logger const& logger, Record record) {
  mKept.push_back({&logger, std::move(record)});
  mKeptBytes += mKept.back().bytes();
  while (mKept.size() > kMaxKeptRecords || mKeptBytes > kMaxKeptBytes) {
    mKeptBytes -= mKept.front().bytes();
    mKept.pop_front();
    ++mDropped;
  }
}

void Log::configure(Setup setup) {
  WriteSignalHold const hold;
  // The former sinks go first: the system's log has one user in the process, the new sink that
  // opens it with its first record.
  mSetup.sinks.clear();
  mSetup = std::move(setup);
  refresh();
  if (mKeeping) deliverKept();
}

// To the sinks of a first configuration; standard error has had the warnings and errors.
void Log::deliverKept() {
  mKeeping = false;
  if (mDropped > 0) {
    Record const first = makeRecord(gRoot, kWarning, kOwnSource, __LINE__,
                                    std::to_string(mDropped) + " earlier records were not kept");
    deliver(gRoot, first, [](Sink const& sink) { return !sink.isStderr(); });
  }
  for (auto const& [logger, record] : mKept) {
    bool const wasShown = record.level >= kWarning;
    deliver(*logger, record, [&](Sink const& sink) { return !wasShown || !sink.isStderr(); });
  }
  flush();
  mKept = {};
  mKeptBytes = 0;
  mDropped = 0;
}

bool Log::reachesStderr(Logger const& logger, int level) const {
  for (std::size_t i = 0; i < mSetup.sinks.size(); ++i) {
    if (mSetup.sinks[i]->isStderr() && takes(i, logger, level)) return true;
  }
  return false;
}

// The log's lock, made by whoever needs it first.
std::atomic<ZtLock> gLock{nullptr};
Log* gLog = nullptr;  // guarded by gLock, made under it

ZtLock logLock() {
  return ztLockAtFirstUse(gLock, 0);
}

// The log, locked for the length of a block. False when there is no memory for it.
class LockedLog {
 public:
  LockedLog() : mLock(logLock()), mHold(mLock) {
    if (mLock != nullptr && gLog == nullptr) gLog = makeLog();
  }
  explicit operator bool() const { return mLock != nullptr && gLog != nullptr; }
  Log* operator->() const { return gLog; }

 private:
  static Log* makeLog() {
    try {
      return new Log;
    } catch (std::exception const&) {
      return nullptr;
    }
  }

  ZtLock mLock;
  ZtLockHold mHold;
};

class ErrnoHold {
 public:
  ErrnoHold() = default;
  ErrnoHold(ErrnoHold const&) = delete;
  ErrnoHold& operator=(ErrnoHold const&) = delete;
  ~ErrnoHold() { errno = mFormer; }

 private:
  int mFormer = errno;
};

// Carries out an operation; what it may throw is the want of memory.
template <typename Operation, typename Result>
Result unlessNoMemory(Result otherwise, Operation operation) noexcept {
  ErrnoHold const hold;
  try {
    return operation();
  } catch (std::exception const&) {
    return otherwise;
  }
}

Logger* loggerOf(ZtLogger* logger) {
  return static_cast<Logger*>(logger);
}

int recordLevel(int level) {
  return std::clamp(level, static_cast<int>(kTrace), static_cast<int>(kError));
}

bool lets(Logger const* logger, int level) {
  return recordLevel(level) >= logger->effective.load(std::memory_order_relaxed);
}

std::string formatText(char const* format, va_list arguments) {
  char buffer[512];
  va_list again;
  va_copy(again, arguments);
  int const length = vsnprintf(buffer, sizeof buffer, format, arguments);
  std::string text = format;
  if (length >= 0) text.resize(static_cast<std::size_t>(length));
  if (length >= 0 && text.size() < sizeof buffer) {
    text.assign(buffer, text.size());
  } else if (length >= 0) {
    vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

bool emit(Logger const* logger, int level, char const* source, int line, std::string text) {
  Record record = makeRecord(*logger, recordLevel(level), source, line, std::move(text));
  LockedLog log;
  if (log) log->take(*logger, std::move(record));
  return true;
}

int getLevel(ZtLogger* logger) {
  return loggerOf(logger)->effective.load(std::memory_order_relaxed);
}

void logFormat(ZtLogger* logger, int level, char const* source, int line, char const* format, ...) {
  if (!lets(loggerOf(logger), level)) return;
  va_list arguments;
  va_start(arguments, format);
  unlessNoMemory(false, [&] {
    return emit(loggerOf(logger), level, source, line,
                format == nullptr ? std::string() : formatText(format, arguments));
  });
  va_end(arguments);
}

void logMessage(ZtLogger* logger, int level, char const* source, int line, int number, ...) {
  if (!lets(loggerOf(logger), level)) return;
  constexpr std::size_t kMessageBytes = 2048;
  char text[kMessageBytes] = "";
  va_list arguments;
  va_start(arguments, number);
  unlessNoMemory(false, [&] {
    ztmsg13_get_vmessage(source == nullptr ? "" : source, line, "Base Services", number, text,
                         arguments);
    return emit(loggerOf(logger), level, source, line, text);
  });
  va_end(arguments);
}

void setLevel(ZtLogger* logger, int level) {
  ErrnoHold const hold;
  LockedLog log;
  if (log) log->setOwnLevel(loggerOf(logger), level);
}

class Descriptor {
 public:
  explicit Descriptor(int number) : mNumber(number) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() {
    if (mNumber >= 0) close(mNumber);
  }
  int number() const { return mNumber; }

 private:
  int mNumber;
};

// Reads to the end of the file, or a little beyond `maxBytes`. False leaves errno.
bool readAll(int file, std::size_t maxBytes, std::string* text) {
  char chunk[16384];
  ssize_t got = 1;
  while (got != 0 && text->size() <= maxBytes) {
    got = read(file, chunk, sizeof chunk);
    if (got < 0 && errno != EINTR) return false;
    if (got > 0) text->append(chunk, static_cast<std::size_t>(got));
  }
  return true;
}

// The text of the configuration at `path`. An empty reason tells that it could be read.
std::string readConfigText(char const* path, std::string* text) {
  // Without O_NONBLOCK a pipe would make this wait for a writer.
  int opened = -1;
  do {
    opened = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  } while (opened < 0 && errno == EINTR);
  Descriptor const file(opened);
  if (file.number() < 0) return std::strerror(errno);
  struct stat status {};
  if (fstat(file.number(), &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  if (!readAll(file.number(), kMaxConfigBytes, text)) return std::strerror(errno);
  return text->size() > kMaxConfigBytes ? "larger than 1 MiB" : "";
}

std::string placeText(Place place) {
  return ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
}

// Opens the sinks of a configuration. Relative paths start at `folder`.
bool openSinks(std::filesystem::path const& folder, Setup* setup, ParseError* error) {
  for (SinkConfig sink : setup->config.sinks) {
    Place const place = sink.place;
    std::string const path = expandPath(sink.path, static_cast<unsigned long>(getpid()));
    if (!path.empty()) sink.path = (folder / path).lexically_normal().string();
    setup->sinks.push_back(std::make_unique<Sink>(std::move(sink)));
    if (!setup->sinks.back()->prepare(&error->reason)) return error->place = place, false;
  }
  return true;
}

// What the file at `path` configures. An empty reason tells that it could be done.
std::string setupFromFile(char const* path, Setup* setup) {
  std::string text;
  if (std::string const reason = readConfigText(path, &text); !reason.empty()) {
    return escape(std::string(path) + ": " + reason);
  }
  std::error_code failure;
  auto const folder = std::filesystem::absolute(path, failure).parent_path();
  if (failure) return escape(std::string(path) + ": " + failure.message());
  ParseError error;
  if (parseConfig(text, &setup->config, &error) && openSinks(folder, setup, &error)) return "";
  return escape(path + placeText(error.place) + ": " + error.reason);
}

// Says on the sinks that there are why the configuration was refused, and on standard error.
int refuse(std::string const& reason) {
  auto const* const own = static_cast<Logger const*>(ztlogGetLogger(kOwnLogger));
  Record record = makeRecord(*own, kError, kOwnSource, __LINE__, reason);
  LockedLog log;
  if (!log) return 1;
  log->configureError = reason;
  WriteSignalHold const hold;
  if (!log->reachesStderr(*own, record.level)) makeStderrSink()->write(record);
  log->take(*own, std::move(record));
  return 1;
}

// As above, without memory for a record or for the reason: this one fits into the string itself.
int refuseWithoutMemory() {
  constexpr std::string_view kReason = "out of memory";
  constexpr std::string_view kNote = "The log can't be configured: out of memory\n";
  [[maybe_unused]] ssize_t const written = ::write(STDERR_FILENO, kNote.data(), kNote.size());
  LockedLog log;
  if (log) log->configureError = kReason;
  return 1;
}

int configureFrom(char const* path) {
  Setup setup = defaultSetup();
  if (path != nullptr) {
    setup.sinks.clear();
    std::string const reason = setupFromFile(path, &setup);
    if (!reason.empty()) return refuse(reason);
  }
  LockedLog log;
  if (!log) return 1;
  log->configureError.clear();
  log->configure(std::move(setup));
  return 0;
}

}  // namespace

int ztlogInitialize() {
  ErrnoHold const hold;
  reserveStderr();
  LockedLog const log;
  return log ? 0 : 1;
}

int ztlogConfigure(char const* path) {
  constexpr int kNoMemory = -1;
  int const result = unlessNoMemory(kNoMemory, [&] { return configureFrom(path); });
  return result == kNoMemory ? refuseWithoutMemory() : result;
}

ZtLogger* ztlogGetLogger(char const* name) {
  return unlessNoMemory(static_cast<ZtLogger*>(&gRoot), [&]() -> ZtLogger* {
    std::string const full = loggerName(name);
    LockedLog log;
    return log ? log->logger(full) : &gRoot;
  });
}

char const* ztlogConfigureError() {
  LockedLog log;
  return log ? log->configureError.c_str() : "";
}
