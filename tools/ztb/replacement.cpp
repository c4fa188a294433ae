// SPDX-License-Identifier: MIT

#include "replacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "tool.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

[[noreturn]] void refuse(std::string const& what, fs::path const& path) {
  throw Refused(what + " \"" + printable(path.string()) + "\": " + std::strerror(errno));
}

fs::path folderOf(fs::path const& path) {
  return path.has_parent_path() ? path.parent_path() : ".";
}

void flush(Descriptor const& descriptor, fs::path const& path) {
  if (::fsync(descriptor.get()) != 0) refuse("can't flush", path);
}

}  // namespace

fs::path targetOf(fs::path path) {
  constexpr int kMostLinks = 40;
  std::error_code ignored;  // whoever opens the path finds the same
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, ignored); ++i) {
    fs::path const target = fs::read_symlink(path, ignored);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

Descriptor::Descriptor(fs::path const& path, int flags)
    : mNumber(::open(path.c_str(), flags | O_CLOEXEC)) {
  if (mNumber < 0) refuse("can't open", path);
}

Descriptor::~Descriptor() {
  ::close(mNumber);
}

FolderLock::FolderLock(fs::path const& fileInIt)
    : mFolder(folderOf(fileInIt), O_RDONLY | O_DIRECTORY) {
  constexpr auto kPause = std::chrono::milliseconds(20);
  constexpr int kMostPauses = 500;
  for (int i = 0; ::flock(mFolder.get(), LOCK_EX | LOCK_NB) != 0; ++i) {
    bool const isHeld = errno == EWOULDBLOCK;
    if ((!isHeld && errno != EINTR) || i == kMostPauses) {
      refuse("can't lock the folder", folderOf(fileInIt));
    }
    std::this_thread::sleep_for(kPause);
  }
}

Original::Original(fs::path const& path) : mLock(path), mPath(path), mIsThere(look(mStatus)) {
  if (!mIsThere) return;
  if (!S_ISREG(mStatus.st_mode)) {
    throw Refused("can't edit \"" + printable(path.string()) + "\": it is no regular file");
  }
  if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) refuse("can't write", path);
}

bool Original::isUnchanged() const {
  struct stat now = {};
  if (look(now) != mIsThere) return false;
  return now.st_dev == mStatus.st_dev && now.st_ino == mStatus.st_ino &&
         now.st_size == mStatus.st_size && now.st_ctim.tv_sec == mStatus.st_ctim.tv_sec &&
         now.st_ctim.tv_nsec == mStatus.st_ctim.tv_nsec;
}

bool Original::look(struct stat& status) const {
  if (::stat(mPath.c_str(), &status) == 0) return true;
  if (errno != ENOENT) refuse("can't open", mPath);
  return false;
}

Replacement::Replacement(Original const& original, mode_t newMode) : mOriginal(original) {
  fs::path const& target = original.path();
  std::string name = target.string() + ".XXXXXX";
  int const number = ::mkostemp(name.data(), O_CLOEXEC);
  if (number < 0) refuse("can't make a file beside", target);
  mPath = name;
  bool const alike = setModeAndOwner(number, newMode);
  ::close(number);
  if (!alike) {
    ::unlink(mPath.c_str());
    refuse("can't keep mode and owner of", target);
  }
}

Replacement::~Replacement() {
  if (!mPath.empty()) ::unlink(mPath.c_str());
}

void Replacement::takePlace() {
  fs::path const& target = mOriginal.path();
  fs::path const folderPath = folderOf(target);
  Descriptor const folder(folderPath, O_RDONLY | O_DIRECTORY);
  flush(Descriptor(mPath, O_WRONLY), mPath);
  if (!mOriginal.isUnchanged()) {
    throw Refused("\"" + printable(target.string()) + "\" has changed meanwhile: try again");
  }
  if (::rename(mPath.c_str(), target.c_str()) != 0) refuse("can't replace", target);
  mPath.clear();
  flush(folder, folderPath);
}

bool Replacement::setModeAndOwner(int number, mode_t newMode) const {
  if (!mOriginal.isThere()) {
    mode_t const mask = ::umask(0);
    ::umask(mask);
    return ::fchmod(number, newMode & ~mask) == 0;
  }
  struct stat const& status = mOriginal.status();
  struct stat own;
  if (::fstat(number, &own) != 0) return false;
  bool const sameOwner = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  if (!sameOwner && ::fchown(number, status.st_uid, status.st_gid) != 0) return false;
  return ::fchmod(number, status.st_mode & 07777) == 0;
}

}  // namespace tool
