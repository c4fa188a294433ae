// SPDX-License-Identifier: MIT
//
// Sinks over spdlog, in its variants without locks, and without its loggers and their registry.

#include "ztlog11_sinks.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ztlog {

namespace {

constexpr char kDefaultPattern[] = "%Y-%m-%d %H:%M:%S.%e %l %n: %v (%s:%#)";
// The system's log adds the time and its own idea of the level.
constexpr char kSyslogPattern[] = "%n: %v (%s:%#)";
constexpr std::chrono::seconds kRetryAfter{1};

// A placeholder that means another thing to spdlog, or nothing.
class Placeholder : public spdlog::custom_flag_formatter {
 public:
  using Text = std::string (*)(spdlog::details::log_msg const& message);
  explicit Placeholder(Text text) : mText(text) {}
  void format(spdlog::details::log_msg const& message, std::tm const&,
              spdlog::memory_buf_t& target) override {
    std::string const text = mText(message);
    target.append(text.data(), text.data() + text.size());
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<Placeholder>(mText);
  }

 private:
  Text mText;
};

// spdlog counts its levels from 0, in the same order as ours.
spdlog::level::level_enum toSpdlog(int level) {
  return static_cast<spdlog::level::level_enum>(level - kTrace);
}
int fromSpdlog(spdlog::level::level_enum level) {
  return static_cast<int>(level) + kTrace;
}

using Message = spdlog::details::log_msg;

std::unique_ptr<spdlog::formatter> makeFormatter(SinkConfig const& config) {
  auto result = std::make_unique<spdlog::pattern_formatter>();
  result->add_flag<Placeholder>(
      'l',
      +[](Message const& message) { return std::string(levelName(fromSpdlog(message.level))); });
  result->add_flag<Placeholder>(
      'L', +[](Message const& message) { return std::to_string(fromSpdlog(message.level)); });
  result->add_flag<Placeholder>(
      's', +[](Message const& message) { return std::string(message.source.filename); });
  result->add_flag<Placeholder>(
      '#', +[](Message const& message) { return std::to_string(message.source.line); });
  char const* const byDefault = config.kind == kSyslogSink ? kSyslogPattern : kDefaultPattern;
  result->set_pattern(config.pattern.empty() ? byDefault : config.pattern);
  return result;
}

// Whether a file ends within a line: in a record that a full disk cut.
bool endsWithinALine(char const* path, std::FILE* file) {
  struct stat status;
  if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
    return false;
  }
  int const reader = open(path, O_RDONLY | O_CLOEXEC);
  if (reader < 0) return false;
  char last = '\n';
  bool const isRead = pread(reader, &last, 1, status.st_size - 1) == 1;
  close(reader);
  return isRead && last != '\n';
}

// Log files aren't handed on to the programs that the process starts, and a record begins a line.
spdlog::file_event_handlers atOpening() {
  spdlog::file_event_handlers handlers;
  handlers.after_open = [](spdlog::filename_t const& path, std::FILE* file) {
    fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
    if (!endsWithinALine(path.c_str(), file)) return;
    std::fputc('\n', file);
    std::fflush(file);  // a forked child would write it again
  };
  return handlers;
}

std::unique_ptr<spdlog::sinks::sink> makeBackend(SinkConfig const& config) {
  using namespace spdlog::sinks;
  switch (config.kind) {
    case kFileSink:
      return std::make_unique<basic_file_sink_st>(config.path, false, atOpening());
    case kRotatingSink:
      return std::make_unique<rotating_file_sink_st>(config.path, config.sizeBytes, config.keep,
                                                     false, atOpening());
    case kSyslogSink:
      return std::make_unique<syslog_sink_st>(config.ident, LOG_PID, config.facility, true);
    case kStderrSink:
      break;
  }
  return std::make_unique<stderr_sink_st>();
}

bool isUnreadPipe(char const* path) {
  int const file = open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return errno == ENXIO;
  close(file);
  return false;
}

// What spdlog would wait for, or destroy.
char const* reasonAgainst(SinkConfig const& config) {
  struct stat status;
  if (stat(config.path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return nullptr;
  if (S_ISDIR(status.st_mode)) return "is a folder";
  if (config.kind == kRotatingSink) return "isn't a regular file, so it can't be rotated";
  if (S_ISFIFO(status.st_mode) && isUnreadPipe(config.path.c_str())) {
    return "is a pipe that nobody reads";
  }
  return nullptr;
}

// What a user reads of an exception.
char const* reasonOf(std::exception const& problem) {
  bool const isMemory = dynamic_cast<std::bad_alloc const*>(&problem) != nullptr;
  return isMemory ? "out of memory" : problem.what();
}

void noteOnStderr(std::string const& text) {
  [[maybe_unused]] ssize_t const written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Sink::Sink(SinkConfig config) : mConfig(std::move(config)) {}

Sink::~Sink() = default;

bool Sink::prepare(std::string* reason) {
  return mConfig.kind == kSyslogSink || open(reason);
}

bool Sink::open(std::string* reason) {
  bool const isFile = (mConfig.kind & (kFileSink | kRotatingSink)) != 0;
  if (char const* const against = isFile ? reasonAgainst(mConfig) : nullptr) {
    *reason = mConfig.path + " " + against;
    return false;
  }
  try {
    auto backend = makeBackend(mConfig);
    backend->set_formatter(makeFormatter(mConfig));
    mBackend = std::move(backend);
    return true;
  } catch (std::exception const& problem) {
    *reason = reasonOf(problem);
    return false;
  }
}

WriteSignalHold::WriteSignalHold() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &signals, &mFormer);
  mOwn = signals;
  if (sigismember(&mFormer, SIGPIPE) == 0 && sigismember(&mFormer, SIGXFSZ) == 0) return;
  // Only a signal that the thread had blocked before can be waiting for somebody else.
  sigset_t pending;
  sigpending(&pending);
  for (int const signal : {SIGPIPE, SIGXFSZ}) {
    if (sigismember(&pending, signal) == 1) sigdelset(&mOwn, signal);
  }
}

WriteSignalHold::~WriteSignalHold() {
  timespec const now{};
  while (sigtimedwait(&mOwn, nullptr, &now) > 0) continue;
  pthread_sigmask(SIG_SETMASK, &mFormer, nullptr);
}

// Carries out an operation on the backend; false if it failed, and the backend is then closed.
template <typename Operation>
bool Sink::guarded(Operation operation) {
  try {
    operation();
    return true;
  } catch (std::exception const& problem) {
    fail(reasonOf(problem));
    return false;
  }
}

void Sink::write(Record const& record) {
  bool const written = (mBackend != nullptr || reopen()) && guarded([&] {
                         Message message(record.time, {record.source.c_str(), record.line, ""},
                                         record.logger, toSpdlog(record.level), record.text);
                         message.thread_id = record.thread;
                         mBackend->log(message);
                       });
  if (!written) ++mLost;
}

void Sink::flush() {
  if (mBackend != nullptr && !guarded([&] { mBackend->flush(); })) ++mLost;
}

bool Sink::reopen() {
  if (mLost > 0 && std::chrono::steady_clock::now() < mRetryAt) return false;
  std::string reason;
  if (!open(&reason)) return fail(reason.c_str()), false;
  if (mLost > 0) tellLost();
  return mBackend != nullptr;
}

void Sink::fail(char const* reason) {
  mBackend.reset();
  mRetryAt = std::chrono::steady_clock::now() + kRetryAfter;
  if (mReason.empty()) {
    noteOnStderr("Logging sink '" + mConfig.name + "': " + escape(reason) +
                 "; records are lost until it works again\n");
  }
  mReason = escape(reason);
}

void Sink::tellLost() {
  unsigned long const lost = mLost;
  write({std::chrono::system_clock::now(), static_cast<unsigned long>(gettid()), kWarning,
         kOwnLogger, kOwnSource, __LINE__,
         std::to_string(lost) + " records were lost here, the last time for: " + mReason});
  flush();
  mLost = mBackend == nullptr ? lost : 0;
}

void reserveStderr() {
  if (fcntl(STDERR_FILENO, F_GETFD) != -1 || errno != EBADF) return;
  // Handed on to programs that the process starts, as any standard error is.
  int const null = open("/dev/null", O_WRONLY);
  if (null < 0 || null == STDERR_FILENO) return;
  dup2(null, STDERR_FILENO);
  close(null);
}

}  // namespace ztlog
