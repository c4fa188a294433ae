// SPDX-License-Identifier: MIT
//
// Writing text: one call, one write to the system, so that a failure is seen by the call that met
// it, and a line stays whole beside other appenders.

#include <signal.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include "ztschr12.h"
#include "ztsfio12_text_p.h"

namespace {

// What the buffer of the encoded text may keep between calls.
constexpr std::size_t kKeptBytes = 256 * 1024;

// Keeps a write to a closed pipe from ending the process: the signal is held back for this thread
// and taken away before it is let through again.
class SigpipeGuard {
 public:
  SigpipeGuard() {
    sigemptyset(&mSigpipe);
    sigaddset(&mSigpipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    mWasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &mSigpipe, &mMaskBefore);
  }
  SigpipeGuard(SigpipeGuard const&) = delete;
  SigpipeGuard& operator=(SigpipeGuard const&) = delete;
  ~SigpipeGuard() {
    timespec const noWait = {0, 0};
    if (!mWasPending) {
      while (sigtimedwait(&mSigpipe, nullptr, &noWait) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &mMaskBefore, nullptr);
  }

 private:
  sigset_t mSigpipe;
  sigset_t mMaskBefore;
  bool mWasPending;
};

iovec part(std::string_view bytes) {
  return {const_cast<char*>(bytes.data()), bytes.size()};
}

// Takes `bytes` off the front of two pieces.
void advance(std::string_view& first, std::string_view& second, std::size_t bytes) {
  std::size_t const ofFirst = std::min(bytes, first.size());
  first.remove_prefix(ofFirst);
  second.remove_prefix(bytes - ofFirst);
}

// Writes both pieces whole, in one system call unless the system takes less. 0 or an errno value.
int writeAll(int fd, std::string_view first, std::string_view second) {
  while (!first.empty() || !second.empty()) {
    iovec const parts[] = {part(first), part(second)};
    ssize_t const n = ::writev(fd, parts, 2);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) return EIO;
    advance(first, second, static_cast<std::size_t>(n));
  }
  return 0;
}

}  // namespace

NpTextWriter::NpTextWriter(int encoding, std::unique_ptr<NpEncoder> encoder)
    : mEncoding(encoding), mEncoder(std::move(encoder)) {}

int NpTextWriter::start(NpDescriptor descriptor, bool isRegular, std::string_view mark) {
  mDescriptor = std::move(descriptor);
  mIsRegular = isRegular;
  mMarkBytes = mark.size();
  return put(mark, {});
}

int NpTextWriter::rewind() {
  bool const failed = ::lseek(mDescriptor.get(), static_cast<off_t>(mMarkBytes), SEEK_SET) < 0;
  return failed ? -npFioCode(errno) : 0;
}

// What can't be positioned, such as a pipe, is always at its end.
int NpTextWriter::unwind() {
  bool const failed = ::lseek(mDescriptor.get(), 0, SEEK_END) < 0 && errno != ESPIPE;
  return failed ? -npFioCode(errno) : 0;
}

int NpTextWriter::write(std::string_view text, LineEnd lineEnd) {
  std::string_view const end = lineEnd == LineEnd::yes ? "\n" : "";
  std::size_t const count = std::min<std::size_t>(text.size() + end.size(), INT_MAX);
  if (mEncoding == np_enc_utf8 && npWellFormedPrefix(text) == text.size()) {
    int const code = put(text, end);
    return code != 0 ? code : static_cast<int>(count);
  }
  mOut.clear();
  int code = encode(text);
  if (code == 0) code = encode(end);
  if (code == 0) code = put(mOut, {});
  if (mOut.capacity() > kKeptBytes) std::string().swap(mOut);
  return code != 0 ? code : static_cast<int>(count);
}

// Appends the encoded text to mOut.
int NpTextWriter::encode(std::string_view text) {
  constexpr std::size_t kSlack = 64;
  mEncoder->reset();
  for (bool isDone = text.empty(); !isDone;) {
    std::size_t const used = mOut.size();
    std::size_t const room = text.size() + text.size() / 2 + kSlack;
    mOut.resize(used + room);
    bool isUnrepresentable = false;
    NpCodecStep const step = mEncoder->convert(text.data(), text.size(), mOut.data() + used, room,
                                               true, &isUnrepresentable);
    mOut.resize(used + step.produced);
    if (isUnrepresentable) return -np_fio_err_unrepresentable;
    text.remove_prefix(step.consumed);
    // With room to spare nothing can have been held back.
    isDone = text.empty() && room - step.produced >= kSlack / 2;
  }
  return 0;
}

int NpTextWriter::put(std::string_view first, std::string_view second) {
  if (mIsRegular) return -npFioCode(writeAll(mDescriptor.get(), first, second));
  SigpipeGuard const guard;
  return -npFioCode(writeAll(mDescriptor.get(), first, second));
}
