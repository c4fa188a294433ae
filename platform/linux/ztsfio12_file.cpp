// SPDX-License-Identifier: MIT
//
// Raw files and the status of a file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>

#include "ztsfio12.h"
#include "ztsfio12_handle.h"
#include "ztsfio12_status.h"

struct NpFile {
  NpDescriptor descriptor;
};

namespace {

std::uint32_t saturated(std::int64_t value) {
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(value, 0, std::numeric_limits<std::uint32_t>::max()));
}

int statusOf(char const* path, struct stat& status) {
  if (path == nullptr) return npFioCode(EINVAL);
  return ::stat(path, &status) == 0 ? 0 : npFioCode(errno);
}

int testAccess(char const* path, int flags) {
  struct stat status {};
  int const failure = statusOf(path, status);
  if (failure != 0) return failure;
  bool const writes = (flags & np_fio_flag_write) != 0;
  if (writes && S_ISDIR(status.st_mode)) return npFioCode(EISDIR);
  int const wanted = ((flags & np_fio_flag_read) != 0 ? R_OK : 0) | (writes ? W_OK : 0);
  return ::faccessat(AT_FDCWD, path, wanted, AT_EACCESS) == 0 ? 0 : npFioCode(errno);
}

int openBits(int flags) {
  int bits = (flags & np_fio_flag_write) != 0 ? O_RDWR : O_RDONLY;
  if ((flags & np_fio_flag_create) != 0) bits |= O_CREAT;
  if ((flags & np_fio_flag_truncate) != 0) bits |= O_TRUNC;
  return bits;
}

int openFile(char const* path, int flags, NpDescriptor& descriptor) {
  int const failure = npOpenDescriptor(path, openBits(flags), descriptor);
  if (failure != 0) return failure;
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) return npFioCode(errno);
  return S_ISDIR(status.st_mode) ? npFioCode(EISDIR) : 0;
}

}  // namespace

NpFileType npFileType(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return np_type_directory;
    case S_IFREG:
      return np_type_file;
    case S_IFLNK:
      return np_type_link;
    case S_IFIFO:
      return np_type_pipe;
    case S_IFSOCK:
      return np_type_socket;
    case S_IFCHR:
      return np_type_character_device;
    case S_IFBLK:
      return np_type_block_device;
    default:
      return np_type_unknown;
  }
}

NpStatus npStatus(struct stat const& status) {
  return {static_cast<std::uint32_t>(status.st_dev), status.st_mode & 07777u,
          saturated(status.st_mtime), saturated(status.st_size), npFileType(status.st_mode)};
}

int np_fio_stat(char const* path, NpStatus* result) {
  struct stat status {};
  int const failure = statusOf(path, status);
  if (failure == 0) *result = npStatus(status);
  return failure;
}

int np_fio_stat64(char const* path, NpStatus64* result) {
  struct stat status {};
  int const failure = statusOf(path, status);
  if (failure != 0) return failure;
  *result = {status.st_dev, status.st_mtime, status.st_size, status.st_mode & 07777u,
             npFileType(status.st_mode)};
  return 0;
}

int np_fio_open(char const* path, int flags, NpFile** result) {
  if (result != nullptr) *result = nullptr;
  if (result == nullptr || (flags & np_fio_flag_access) != 0) return testAccess(path, flags);
  NpDescriptor descriptor;
  int const failure = openFile(path, flags, descriptor);
  if (failure != 0) return failure;
  *result = new (std::nothrow) NpFile{std::move(descriptor)};
  return *result == nullptr ? npFioCode(ENOMEM) : 0;
}

void np_fio_close(NpFile* file) {
  delete file;
}
