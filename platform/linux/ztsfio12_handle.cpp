// SPDX-License-Identifier: MIT
//
// Descriptors, opening, and the texts of error codes.

#include "ztsfio12_handle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

struct ErrorText {
  int code;
  char const* text;
};

constexpr ErrorText kErrorTexts[] = {
    {np_fio_err_encoding, "The encoding is unknown, or the system can't convert it"},
    {np_fio_err_direction, "The file isn't open for this direction"},
    {np_fio_err_small_buffer, "The buffer is too small for the next character"},
    {np_fio_err_unrepresentable, "The file's encoding doesn't have a character of the text"},
};

}  // namespace

void NpDescriptor::reset() {
  if (mFd < 0) return;
  int const saved = errno;
  ::close(mFd);
  errno = saved;
  mFd = -1;
}

int npOpenDescriptor(char const* path, int openBits, NpDescriptor& result) {
  if (path == nullptr) return npFioCode(EINVAL);
  int fd = -1;
  do {
    fd = ::open(path, openBits | O_CLOEXEC | O_NOCTTY, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return npFioCode(errno);
  result = NpDescriptor(fd);
  return 0;
}

ssize_t npReadFull(NpDescriptor const& file, char* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    ssize_t const got = ::read(file.get(), buffer + filled, size - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(filled);
}

char const* np_fio_errdesc(int code) {
  for (ErrorText const& row : kErrorTexts) {
    if (row.code == code) return row.text;
  }
  // The table of the C library: never translated, never freed, so safe beside other threads.
  return code > np_fio_err_system ? ::strerrordesc_np(code - np_fio_err_system) : nullptr;
}
