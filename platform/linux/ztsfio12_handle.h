// SPDX-License-Identifier: MIT
//
// What the sources of ztsfio12 share: a descriptor that closes itself, how a file is opened, and
// how a system error becomes a code of ours. Nothing here is locked; a descriptor belongs to one
// thread at a time.

#ifndef ZTSFIO12_HANDLE_H
#define ZTSFIO12_HANDLE_H

#include <sys/types.h>

#include <cstddef>
#include <utility>

#include "ztsfio12.h"

// A file descriptor with an owner: movable, closed once, empty after a move.
class NpDescriptor {
 public:
  NpDescriptor() = default;
  explicit NpDescriptor(int fd) : mFd(fd) {}
  NpDescriptor(NpDescriptor&& other) noexcept : mFd(other.release()) {}
  NpDescriptor& operator=(NpDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      mFd = other.release();
    }
    return *this;
  }
  ~NpDescriptor() { reset(); }

  explicit operator bool() const { return mFd >= 0; }
  int get() const { return mFd; }
  int release() { return std::exchange(mFd, -1); }
  // Closes what is held. Keeps errno, and is never retried: the system has given up the number
  // even when close was interrupted.
  void reset();

 private:
  int mFd = -1;
};

// The code of ours for a value of errno; 0 stays 0.
constexpr int npFioCode(int systemError) {
  return systemError == 0 ? 0 : np_fio_err_system + systemError;
}

// Opens `path` with the bits of open(2), close-on-exec added, and tries again if interrupted.
// A new file gets mode 0666 less the process's mask. 0 and the descriptor in `result`, or a code
// and `result` left alone. A null path is refused as an invalid argument.
[[nodiscard]] int npOpenDescriptor(char const* path, int openBits, NpDescriptor& result);

// Reads until the buffer is full or the file ends, over interruptions. The bytes read, or -1 with
// errno.
[[nodiscard]] ssize_t npReadFull(NpDescriptor const& file, char* buffer, std::size_t size);

#endif
