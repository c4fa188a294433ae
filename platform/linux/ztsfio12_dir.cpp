// SPDX-License-Identifier: MIT
//
// Directory listings: names are read and sorted when a listing opens, status when an entry's turn
// comes.

#include <dirent.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "ztsfio12.h"
#include "ztsfio12_handle.h"
#include "ztsfio12_status.h"

namespace {

struct CloseStream {
  void operator()(DIR* stream) const { closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, CloseStream>;

// An entry's name lies in the listing's one block of names.
struct Entry {
  std::size_t offset;
  unsigned length;
  unsigned char kind;  // DT_… of the system
};

bool isDots(std::string_view name) {
  return name == "." || name == "..";
}

// Whether the directory itself says that the entry leads to no directory.
bool cannotBeDirectory(unsigned char kind) {
  return kind != DT_DIR && kind != DT_LNK && kind != DT_UNKNOWN;
}

int openCode(int code) {
  switch (code) {
    case npFioCode(ENOENT):
      return np_dir_err_missing;
    case npFioCode(ENOTDIR):
      return np_dir_err_not_directory;
    case npFioCode(EACCES):
    case npFioCode(EPERM):
      return np_dir_err_access;
    default:
      return code;
  }
}

int openStream(char const* path, DirectoryStream& result) {
  NpDescriptor descriptor;
  int const failure = npOpenDescriptor(path, O_RDONLY | O_DIRECTORY, descriptor);
  if (failure != 0) return openCode(failure);
  result.reset(fdopendir(descriptor.get()));
  if (result == nullptr) return npFioCode(errno);
  descriptor.release();  // the stream closes it from here on
  return 0;
}

}  // namespace

struct NpDirectory {
  DirectoryStream stream;
  std::string prefix;  // what stands before each name in its path
  std::string names;   // each with its terminator
  std::vector<Entry> entries;
  std::size_t next = 0;
  int flags = 0;

  char const* nameOf(Entry const& entry) const { return names.data() + entry.offset; }
  std::string_view viewOf(Entry const& entry) const { return {nameOf(entry), entry.length}; }

  void add(std::string_view name, unsigned char kind) {
    if ((flags & np_dir_no_dots) != 0 && isDots(name)) return;
    if ((flags & np_dir_directories) != 0 && cannotBeDirectory(kind)) return;
    entries.push_back({names.size(), static_cast<unsigned>(name.size()), kind});
    names.append(name).push_back('\0');
  }

  int readNames() {
    for (;;) {
      errno = 0;
      dirent const* const found = readdir(stream.get());
      if (found == nullptr) break;
      add(found->d_name, found->d_type);
    }
    if (errno != 0) return npFioCode(errno);
    std::sort(entries.begin(), entries.end(),
              [this](Entry const& a, Entry const& b) { return viewOf(a) < viewOf(b); });
    return 0;
  }

  // False for an entry that has gone since the names were read.
  bool statusOf(Entry const& entry, NpStatus& result) const {
    int const folder = dirfd(stream.get());
    char const* const name = nameOf(entry);
    struct stat status {};
    bool known = fstatat(folder, name, &status, 0) == 0;
    if (!known) known = fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (!known && errno == ENOENT) return false;
    result =
        known ? npStatus(status) : NpStatus{0, 0, 0, 0, npFileType(DTTOIF(mode_t{entry.kind}))};
    if (result.type == np_type_link) result.size = 0;
    return true;
  }

  bool isWanted(NpStatus const& status) const {
    return (flags & np_dir_directories) == 0 || status.type == np_type_directory;
  }
};

namespace {

int fill(NpDirectory& directory, char const* path, int flags) {
  directory.flags = flags;
  directory.prefix = path;
  directory.prefix.erase(directory.prefix.find_last_not_of('/') + 1);
  directory.prefix.push_back('/');
  int const failure = openStream(path, directory.stream);
  return failure != 0 ? failure : directory.readNames();
}

}  // namespace

int const np_dir_pathlen = PATH_MAX + 1;

int np_dir_open(char const* path, int openFlags, NpDirectory** result) {
  *result = nullptr;
  int const optional = np_dir_no_dots | np_dir_directories;
  bool const named = path != nullptr && *path != '\0';
  if (!named || (openFlags & ~optional) != np_dir_entries) return npFioCode(EINVAL);
  try {
    auto directory = std::make_unique<NpDirectory>();
    int const failure = fill(*directory, path, openFlags);
    if (failure == 0) *result = directory.release();
    return failure;
  } catch (std::bad_alloc const&) {
    return npFioCode(ENOMEM);
  }
}

int np_dir_next_stat(NpDirectory* directory, char* pathBuffer, unsigned pathBufferSize,
                     NpStatus* result) {
  if (directory == nullptr || pathBuffer == nullptr || result == nullptr) return npFioCode(EINVAL);
  std::string const& prefix = directory->prefix;
  while (directory->next < directory->entries.size()) {
    Entry const& entry = directory->entries[directory->next++];
    NpStatus status{};
    if (prefix.size() + entry.length >= pathBufferSize) continue;
    if (!directory->statusOf(entry, status) || !directory->isWanted(status)) continue;
    std::memcpy(pathBuffer, prefix.data(), prefix.size());
    std::memcpy(pathBuffer + prefix.size(), directory->nameOf(entry), entry.length + 1);
    *result = status;
    return 0;
  }
  return npFioCode(ENOENT);
}

void np_dir_close(NpDirectory* directory) {
  delete directory;
}
