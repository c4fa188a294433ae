// SPDX-License-Identifier: MIT
//
// Where records end up. The only part of logging that knows the sink library, whose headers are
// heavy. Nothing here locks: the caller holds the log's lock.

#ifndef ZTLOG11_SINKS_H
#define ZTLOG11_SINKS_H

#include <signal.h>

#include <chrono>
#include <memory>
#include <string>

#include "ztlog11_config.h"
#include "ztlog11_record.h"

namespace spdlog::sinks {
class sink;
}

namespace ztlog {

// Keeps writes to a pipe that nobody reads, or beyond the largest file that the user may have, from
// ending the process. Costs three calls of the system.
class WriteSignalHold {
 public:
  WriteSignalHold();
  WriteSignalHold(WriteSignalHold const&) = delete;
  WriteSignalHold& operator=(WriteSignalHold const&) = delete;
  ~WriteSignalHold();

 private:
  sigset_t mOwn;  // what can only have come of the writes
  sigset_t mFormer;
};

// One sink. A sink that fails is closed, opened again at the first record a second later, and then
// tells in a record how many it lost.
class Sink {
 public:
  // Opens nothing. The path of `config` is absolute, its placeholders are filled in.
  explicit Sink(SinkConfig config);
  Sink(Sink const&) = delete;
  Sink& operator=(Sink const&) = delete;
  ~Sink();

  // Opens what can be opened beside a former sink, so that what can't work is refused early; the
  // system's log isn't, as it has one user in a process. Otherwise the first record opens a sink.
  // False with the reason.
  [[nodiscard]] bool prepare(std::string* reason);

  // Writes a record that may still be in a buffer until flush() hands it to the system. The caller
  // has a WriteSignalHold.
  void write(Record const& record);
  void flush();

  bool takes(int level) const { return level >= mConfig.level; }
  bool isStderr() const { return mConfig.kind == kStderrSink; }

 private:
  template <typename Operation>
  bool guarded(Operation operation);
  bool open(std::string* reason);
  bool reopen();
  void fail(char const* reason);
  void tellLost();

  SinkConfig mConfig;
  std::unique_ptr<spdlog::sinks::sink> mBackend;  // null: not opened yet, or failed
  unsigned long mLost = 0;
  std::string mReason;  // of the last failure
  std::chrono::steady_clock::time_point mRetryAt;
};

// Puts the null device at standard error's number if nothing is there.
void reserveStderr();

}  // namespace ztlog

#endif
