// SPDX-License-Identifier: MIT

#include "ztsfio12_write.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

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

// Takes `bytes` off the front, and the pieces that have nothing left.
void drop(std::span<iovec>& parts, std::size_t bytes) {
  while (!parts.empty()) {
    iovec& front = parts.front();
    std::size_t const piece = std::min(bytes, front.iov_len);
    front.iov_base = static_cast<char*>(front.iov_base) + piece;
    front.iov_len -= piece;
    bytes -= piece;
    if (front.iov_len > 0) return;
    parts = parts.subspan(1);
  }
}

// `writeSome(pieces, count)` writes as much as the system takes, as writev(2) does.
template <class WriteSome>
int writeAll(std::span<iovec> parts, WriteSome writeSome) {
  for (drop(parts, 0); !parts.empty();) {
    ssize_t const n = writeSome(parts.data(), static_cast<int>(parts.size()));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) return EIO;
    drop(parts, static_cast<std::size_t>(n));
  }
  return 0;
}

}  // namespace

int npWriteAll(int fd, std::span<iovec> parts) {
  return writeAll(parts,
                  [fd](iovec const* pieces, int count) { return ::writev(fd, pieces, count); });
}

int npWriteAllAt(int fd, std::span<iovec> parts, long long& position) {
  return writeAll(parts, [fd, &position](iovec const* pieces, int count) {
    ssize_t const n = ::pwritev(fd, pieces, count, position);
    if (n > 0) position += n;
    return n;
  });
}

int npWriteAllWithoutSignal(int fd, std::span<iovec> parts) {
  SigpipeGuard const guard;
  return npWriteAll(fd, parts);
}
