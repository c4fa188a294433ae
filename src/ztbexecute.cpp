// SPDX-License-Identifier: MIT

#include "ztbexecute.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ztbmessage.h"
#include "ztbstringformat_p.h"
#include "ztschr12.h"
#include "ztsfio12.h"
#include "ztssys11.h"

namespace {

constexpr char kSource[] = "ztbexecute";
constexpr char kGroup[] = "Event Plugin";
constexpr char kNoMemory[] = "Failed to allocate memory to read program output";

enum class Way { kDirect, kShell };
enum class Output { kInherited, kCaptured };

struct DestroyProcess {
  void operator()(NpProcess* process) const { np_proc_destroy(process); }
};
using Process = std::unique_ptr<NpProcess, DestroyProcess>;

// A temporary file that is gone with its object.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() {
    if (mFile == nullptr) return;
    np_fio_close(mFile);
    np_fio_unlink(mPath);
  }

  // 0, or a code of the file library.
  int create() { return np_fio_tmpfile(nullptr, "runprog", mPath, sizeof mPath, &mFile); }
  char const* path() const { return mPath; }
  // The bytes read from the position, 0 on failure.
  unsigned read(char* buffer, unsigned count) {
    return static_cast<unsigned>(std::max(0, np_fio_getb(mFile, buffer, count)));
  }

 private:
  char mPath[1024] = "";
  NpFile* mFile = nullptr;
};

// An environment as the system takes it: copies of the entries, and a null pointer last.
class EnvironmentArray {
 public:
  explicit EnvironmentArray(std::vector<ZtbString> const& entries) {
    for (ZtbString const& entry : entries) mTexts.emplace_back(entry.asCstr());
    for (std::string& text : mTexts) mPointers.push_back(text.data());
    mPointers.push_back(nullptr);
  }
  char** get() { return mPointers.data(); }

 private:
  std::vector<std::string> mTexts;
  std::vector<char*> mPointers;
};

void appendOrThrow(ZtbString& line, char const* text) {
  bool failed = false;
  line.append(text, &failed);
  if (failed) throw std::bad_alloc();
}

void appendPart(ZtbString& line, ZtbString const& part) {
  char const* const text = part.asCstr();
  bool const isQuoted = std::strchr(text, ' ') != nullptr && *text != '"';
  if (isQuoted) appendOrThrow(line, "\"");
  appendOrThrow(line, text);
  if (isQuoted) appendOrThrow(line, "\"");
}

void blankWhiteSpace(char* text) {
  for (int bytes = 0; *text != '\0';) {
    bool const isSpace = np_uchar_isspace(text, &bytes) != 0;
    if (!isSpace) bytes = 1;
    if (isSpace) std::memset(text, ' ', static_cast<std::size_t>(bytes));
    text += bytes;
  }
}

}  // namespace

struct ZtbExecute::Record {
  ZtbString errorMessage;
  ZtbString command;
  std::vector<ZtbString> options;
  std::vector<ZtbString> environment;
  ZtbString outputLog;
  bool isIncomplete = false;  // memory ran out for an option or an entry

  void add(std::vector<ZtbString>& list, ZtbString const& text);
  bool run(Way way, Output output, int waitLimit);
  ZtbString commandLine() const;
  int start(Way way, int flags, NpProcessStart const& startRecord, Process& process) const;
  bool await(NpProcess* process, int waitLimit);
  void collect(TemporaryFile& file);
  bool fail(ZtbString const& message);
};

bool ZtbExecute::Record::fail(ZtbString const& message) {
  errorMessage = message;
  return false;
}

void ZtbExecute::Record::add(std::vector<ZtbString>& list, ZtbString const& text) {
  try {
    list.push_back(text);
  } catch (std::bad_alloc const&) {
    isIncomplete = true;
  }
}

ZtbString ZtbExecute::Record::commandLine() const {
  ZtbString line;
  appendPart(line, command);
  for (ZtbString const& option : options) {
    appendOrThrow(line, " ");
    appendPart(line, option);
  }
  return line;
}

int ZtbExecute::Record::start(Way way, int flags, NpProcessStart const& startRecord,
                              Process& process) const {
  NpProcess* handle = nullptr;
  int result = 0;
  if (way == Way::kShell) {
    result = np_proc_shellexec(commandLine().asCstr(), flags, &startRecord, &handle);
  } else {
    std::vector<char const*> arguments{command.asCstr()};
    arguments.reserve(options.size() + 2);
    for (ZtbString const& option : options) arguments.push_back(option.asCstr());
    arguments.push_back(nullptr);
    result = np_proc_execute(arguments.data(), flags, &startRecord, &handle);
  }
  process.reset(handle);
  return result;
}

bool ZtbExecute::Record::await(NpProcess* process, int waitLimit) {
  int status = 0;
  int code = 0;
  if (np_proc_wait(process, waitLimit, &status, &code) != 0) {
    char const* const reason = np_proc_geterr(process);
    outputLog =
        ztbWholeFormat("Failed to get status of command %s. Error: %s", command.asCstr(), reason);
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 377, reason));
  }
  if (status != np_proc_aborted) return true;
  outputLog = ztbWholeFormat("Command aborted with error: %d", code);
  return fail(ztb_get_message(kSource, __LINE__, kGroup, 378, code));
}

void ZtbExecute::Record::collect(TemporaryFile& file) {
  constexpr std::uint64_t kLargest = 8192;
  constexpr unsigned kAhead = 3;  // bytes that tell whether a character ends at the cut
  NpStatus status{};
  if (np_fio_stat(file.path(), &status) != 0 || status.size == 0) return;
  auto const size = static_cast<unsigned>(std::min(std::uint64_t{status.size} + 1, kLargest));
  std::unique_ptr<char[]> const text(new (std::nothrow) char[size + kAhead]);
  ZtbString log;
  if (text != nullptr) {
    text[file.read(text.get(), size - 1 + kAhead)] = '\0';
    np_uchar_bufncopy(text.get(), text.get(), size, ~0u);
    if (text[0] == '\0') return;
    blankWhiteSpace(text.get());
    log.assign(text.get());
  }
  outputLog = log.isNull() ? ZtbString(kNoMemory, true) : log;
}

bool ZtbExecute::Record::run(Way way, Output output, int waitLimit) {
  if (isIncomplete) throw std::bad_alloc();
  int flags = np_proc_base;
  NpProcessStart startRecord{};
  EnvironmentArray entries(environment);
  if (!environment.empty()) {
    flags |= np_proc_environment;
    startRecord.environment = entries.get();
  }
  TemporaryFile file;
  if (output == Output::kCaptured) {
    flags |= np_proc_output;
    if (int const code = file.create(); code != 0) {
      return fail(ztb_get_message(kSource, __LINE__, kGroup, 332, code, "", np_fio_errdesc(code)));
    }
    startRecord.outputFile = file.path();
  }
  Process process;
  if (start(way, flags, startRecord, process) != 0) {
    char const* const reason = np_proc_geterr(process.get());
    outputLog = ztbWholeFormat("Failed to execute command %s. Error: %s", command.asCstr(), reason);
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 380, reason));
  }
  bool const isDone = await(process.get(), waitLimit);
  if (output == Output::kCaptured) collect(file);
  return isDone;
}

ZtbExecute::ZtbExecute() : mRecord(new (std::nothrow) Record) {}

ZtbExecute::~ZtbExecute() {
  delete mRecord;
}

void ZtbExecute::setCommand(ZtbString const& command) {
  if (mRecord != nullptr) mRecord->command = command;
}

void ZtbExecute::addOption(ZtbString const& option) {
  if (mRecord != nullptr) mRecord->add(mRecord->options, option);
}

void ZtbExecute::addEnvironment(ZtbString const& entry) {
  if (mRecord != nullptr) mRecord->add(mRecord->environment, entry);
}

bool ZtbExecute::run(bool useShell, bool captureOutput, int waitLimit) {
  if (mRecord == nullptr) return false;
  try {
    return mRecord->run(useShell ? Way::kShell : Way::kDirect,
                        captureOutput ? Output::kCaptured : Output::kInherited, waitLimit);
  } catch (std::bad_alloc const&) {
    return mRecord->fail(ztb_get_message(kSource, __LINE__, kGroup, 29, ""));
  }
}

ZtbString ZtbExecute::getErrorMessage() {
  return mRecord != nullptr ? mRecord->errorMessage : ZtbString();
}

ZtbString ZtbExecute::getOutputLog() {
  return mRecord != nullptr ? mRecord->outputLog : ZtbString();
}
