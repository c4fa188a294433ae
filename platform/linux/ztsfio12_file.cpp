// SPDX-License-Identifier: MIT
//
// Raw files and the status of a file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>

#include "ztsfio12.h"
#include "ztsfio12_handle.h"
#include "ztsfio12_status.h"
#include "ztsfio12_write.h"
#include "ztssys11.h"

namespace {

// What a file has been read ahead for its lines.
constexpr std::size_t kAheadBytes = 64 * 1024;

}  // namespace

struct NpFile {
  explicit NpFile(NpDescriptor opened) : descriptor(std::move(opened)) {}

  NpDescriptor descriptor;
  // Whether positions mean something: not for pipes and the like. Such a file is read and written
  // at `position`, so that to move there costs nothing, and a record by its number one system call.
  bool isSeekable = false;
  long long position = 0;
  // The bytes between `begin` and `end` are read and not yet delivered; `position` is behind them.
  // The room is made for the first line.
  std::unique_ptr<char[]> ahead;
  std::size_t begin = 0;
  std::size_t end = 0;

  std::size_t aheadBytes() const { return end - begin; }
  void take(char* target, std::size_t bytes) {
    std::memcpy(target, ahead.get() + begin, bytes);
    begin += bytes;
  }
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

// Whether a file that is opened for writing only can be read back as well. A pipe can't: with its
// other end in the same hands, opening would wait for nobody, and nobody would be missed by writes.
bool canBeReadBack(char const* path) {
  struct stat status {};
  if (statusOf(path, status) != 0) return true;
  return !S_ISFIFO(status.st_mode) && ::faccessat(AT_FDCWD, path, R_OK, AT_EACCESS) == 0;
}

int openBits(char const* path, int flags) {
  bool const reads = (flags & np_fio_flag_read) != 0;
  int bits = O_RDONLY;
  if ((flags & np_fio_flag_write) != 0) bits = reads || canBeReadBack(path) ? O_RDWR : O_WRONLY;
  if ((flags & np_fio_flag_create) != 0) bits |= O_CREAT;
  if ((flags & np_fio_flag_truncate) != 0) bits |= O_TRUNC;
  return bits;
}

// Wraps what was opened: 0 and the file, or a code.
int wrap(NpDescriptor descriptor, NpFile** result) {
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) return npFioCode(errno);
  if (S_ISDIR(status.st_mode)) return npFioCode(EISDIR);
  auto* const file = new (std::nothrow) NpFile(std::move(descriptor));
  if (file == nullptr) return npFioCode(ENOMEM);
  file->isSeekable = ::lseek(file->descriptor.get(), 0, SEEK_CUR) >= 0;
  *result = file;
  return 0;
}

bool isWritableFolder(char const* path) {
  struct stat status {};
  return *path == '/' && statusOf(path, status) == 0 && S_ISDIR(status.st_mode) &&
         ::faccessat(AT_FDCWD, path, W_OK | X_OK, AT_EACCESS) == 0;
}

// Writes the path of a temporary file, up to its random characters. 0 or a code.
int temporaryPath(char const* directory, char const* prefix, char* path, unsigned size) {
  std::size_t const bytes = std::strlen(directory);
  char const* const separator = directory[bytes - 1] == '/' ? "" : "/";
  int const length = std::snprintf(path, size, "%s%s%sXXXXXX", directory, separator, prefix);
  bool const fits = length >= 0 && static_cast<unsigned>(length) < size;
  return fits ? 0 : npFioCode(ENAMETOOLONG);
}

int createTemporary(char const* directory, char const* prefix, char* path, unsigned size,
                    NpFile** result) {
  NpDescriptor descriptor;
  do {
    int const failure = temporaryPath(directory, prefix, path, size);
    if (failure != 0) return failure;
    descriptor = NpDescriptor(::mkostemp(path, O_CLOEXEC));
  } while (!descriptor && errno == EINTR);
  if (!descriptor) return npFioCode(errno);
  int const failure = wrap(std::move(descriptor), result);
  if (failure != 0) ::unlink(path);
  return failure;
}

// Reads once, as much as there is. The bytes, or a negative code.
int readSome(NpFile& file, char* buffer, std::size_t size) {
  int const fd = file.descriptor.get();
  std::size_t const most = std::min<std::size_t>(size, INT_MAX);
  ssize_t n = -1;
  do {
    n = file.isSeekable ? ::pread(fd, buffer, most, file.position) : ::read(fd, buffer, most);
  } while (n < 0 && errno == EINTR);
  if (n < 0) return -npFioCode(errno);
  file.position += n;
  return static_cast<int>(n);
}

// Refills what is read ahead once it is used up. The bytes, 0 at the end, or a negative code.
int readAhead(NpFile& file) {
  if (file.ahead == nullptr) file.ahead.reset(new (std::nothrow) char[kAheadBytes]);
  if (file.ahead == nullptr) return -npFioCode(ENOMEM);
  int const n = readSome(file, file.ahead.get(), kAheadBytes);
  file.begin = 0;
  file.end = n > 0 ? static_cast<std::size_t>(n) : 0;
  return n;
}

// Forgets what is read ahead, so that `position` is the caller's. What has no position, such as a
// terminal, keeps it, for later reads.
void settle(NpFile& file) {
  if (!file.isSeekable) return;
  file.position -= static_cast<long long>(file.aheadBytes());
  file.begin = file.end = 0;
}

// 0 or a code; the position is behind what was written in either case.
int write(NpFile& file, std::span<iovec> parts) {
  int const fd = file.descriptor.get();
  return npFioCode(file.isSeekable ? npWriteAllAt(fd, parts, file.position)
                                   : npWriteAllWithoutSignal(fd, parts));
}

// Where the file ends. 0 or a code.
int endOf(NpFile const& file, long long& end) {
  off_t const result = ::lseek(file.descriptor.get(), 0, SEEK_END);
  if (result < 0) return npFioCode(errno);
  end = result;
  return 0;
}

// Writes the texts up to the null pointer, a handful at a time. The bytes, or a negative code.
int writeTexts(NpFile& file, char const* text, va_list more) {
  std::array<iovec, 16> parts;
  std::size_t total = 0;
  while (text != nullptr) {
    std::size_t count = 0;
    for (; text != nullptr && count < parts.size(); text = va_arg(more, char const*)) {
      parts[count] = {const_cast<char*>(text), std::strlen(text)};
      total += parts[count++].iov_len;
    }
    int const code = write(file, {parts.data(), count});
    if (code != 0) return -code;
  }
  return static_cast<int>(std::min<std::size_t>(total, INT_MAX));
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
  int const failure = npOpenDescriptor(path, openBits(path, flags), descriptor);
  return failure != 0 ? failure : wrap(std::move(descriptor), result);
}

void np_fio_close(NpFile* file) {
  delete file;
}

int np_fio_issame(NpFile const* first, NpFile const* second) {
  struct stat a {};
  struct stat b {};
  if (first == nullptr || second == nullptr) return 0;
  bool const isKnown =
      ::fstat(first->descriptor.get(), &a) == 0 && ::fstat(second->descriptor.get(), &b) == 0;
  return isKnown && a.st_dev == b.st_dev && a.st_ino == b.st_ino ? 1 : 0;
}

int np_fio_tmpfile(char const* directory, char const* prefix, char* pathResult, unsigned pathSize,
                   NpFile** result) {
  if (result != nullptr) *result = nullptr;
  if (pathResult == nullptr || pathSize == 0) return npFioCode(EINVAL);
  *pathResult = '\0';
  if (prefix == nullptr) prefix = "";
  if (result == nullptr || std::strchr(prefix, '/') != nullptr) return npFioCode(EINVAL);
  char systemFolder[PATH_MAX];
  if (directory == nullptr || *directory == '\0') {
    np_env_get("TMPDIR", systemFolder, sizeof systemFolder);
    directory = isWritableFolder(systemFolder) ? systemFolder : "/tmp";
  }
  int const failure = createTemporary(directory, prefix, pathResult, pathSize, result);
  if (failure != 0) *pathResult = '\0';
  return failure;
}

int np_fio_getb(NpFile* file, char* buffer, unsigned count) {
  if (file == nullptr || (buffer == nullptr && count > 0)) return -npFioCode(EINVAL);
  std::size_t const wanted = std::min<std::size_t>(count, INT_MAX);
  std::size_t got = std::min(wanted, file->aheadBytes());
  if (got > 0) file->take(buffer, got);
  while (got < wanted) {
    int const n = readSome(*file, buffer + got, wanted - got);
    if (n < 0 && got == 0) return n;
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  return static_cast<int>(got);
}

int np_fio_gets(NpFile* file, char* buffer, int size) {
  if (buffer != nullptr && size > 0) *buffer = '\0';
  if (file == nullptr || buffer == nullptr) return -npFioCode(EINVAL);
  if (size < 2) return -np_fio_err_small_buffer;
  auto const room = static_cast<std::size_t>(size - 1);
  std::size_t got = 0;
  while (got < room && (got == 0 || buffer[got - 1] != '\n')) {
    int const n = file->aheadBytes() > 0 ? 1 : readAhead(*file);
    if (n < 0 && got == 0) return n;
    if (n <= 0) break;
    std::size_t const most = std::min(room - got, file->aheadBytes());
    char const* const start = file->ahead.get() + file->begin;
    auto const* const lineEnd = static_cast<char const*>(std::memchr(start, '\n', most));
    std::size_t const piece =
        lineEnd == nullptr ? most : static_cast<std::size_t>(lineEnd - start) + 1;
    file->take(buffer + got, piece);
    got += piece;
  }
  buffer[got] = '\0';
  return static_cast<int>(got);
}

int np_fio_putm(NpFile* file, char const* text, ...) {
  if (file == nullptr) return -npFioCode(EINVAL);
  settle(*file);
  va_list more;
  va_start(more, text);
  int const result = writeTexts(*file, text, more);
  va_end(more);
  return result;
}

int np_fio_putb(NpFile* file, char const* bytes, int count) {
  if (file == nullptr || count < 0 || (bytes == nullptr && count > 0)) return -npFioCode(EINVAL);
  settle(*file);
  iovec part = {const_cast<char*>(bytes), static_cast<std::size_t>(count)};
  int const code = write(*file, {&part, 1});
  return code == 0 ? count : -code;
}

long long np_fio_seek64(NpFile* file, long long offset, int origin) {
  if (file == nullptr) return -npFioCode(EINVAL);
  if (!file->isSeekable) return -npFioCode(ESPIPE);
  long long base = 0;
  switch (origin) {
    case np_fio_from_start:
      break;
    case np_fio_from_here:
      base = file->position - static_cast<long long>(file->aheadBytes());
      break;
    case np_fio_from_end:
      if (int const code = endOf(*file, base)) return -code;
      break;
    default:
      return -npFioCode(EINVAL);
  }
  long long position = 0;
  if (__builtin_add_overflow(base, offset, &position)) return -npFioCode(EOVERFLOW);
  if (position < 0) return -npFioCode(EINVAL);
  file->begin = file->end = 0;
  return file->position = position;
}

unsigned np_fio_seek(NpFile* file, int offset, int origin) {
  constexpr unsigned kFailure = 0xFFFFFFFF;
  long long const before = np_fio_seek64(file, 0, np_fio_from_here);
  if (before < 0) return kFailure;
  long long const position = np_fio_seek64(file, offset, origin);
  if (position >= 0 && position < kFailure) return static_cast<unsigned>(position);
  np_fio_seek64(file, before, np_fio_from_start);
  return kFailure;
}

int np_fio_trunc(NpFile* file) {
  long long const position = np_fio_seek64(file, 0, np_fio_from_here);
  if (position < 0) return static_cast<int>(-position);
  int result = -1;
  do {
    result = ::ftruncate(file->descriptor.get(), position);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : npFioCode(errno);
}

int np_fio_unlink(char const* path) {
  if (path == nullptr) return npFioCode(EINVAL);
  return ::unlink(path) == 0 ? 0 : npFioCode(errno);
}
