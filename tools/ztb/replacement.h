// SPDX-License-Identifier: MIT
//
// Files that are replaced as a whole, so that a crash or a full disk leaves the old bytes: what is
// there, a new file beside it, and the moment when the new one takes its place. All of it refuses
// with the path and the system's reason.

#ifndef ZTB_REPLACEMENT_H
#define ZTB_REPLACEMENT_H

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "held_signals.h"

namespace tool {

// The file that a path stands for: a link is followed, also one whose target isn't there yet.
std::filesystem::path targetOf(std::filesystem::path path);

// An open descriptor, closed when the block ends.
class Descriptor {
 public:
  Descriptor(std::filesystem::path const& path, int flags);
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor();
  int get() const { return mNumber; }

 private:
  int mNumber;
};

// Keeps other commands from changing the files of a folder. Waits ten seconds for them at most.
class FolderLock {
 public:
  explicit FolderLock(std::filesystem::path const& fileInIt);

 private:
  Descriptor mFolder;
};

// The file to edit as it was before it was read, or that there was none. Two commands that edit it
// at once do so one after the other, and other programs are noticed. Refuses what a rename would
// destroy: a device, a pipe or a folder, and a file that the user has no right to write.
class Original {
 public:
  explicit Original(std::filesystem::path const& path);
  std::filesystem::path const& path() const { return mPath; }
  bool isThere() const { return mIsThere; }
  struct stat const& status() const {
    return mStatus;
  }
  bool isUnchanged() const;

 private:
  bool look(struct stat& status) const;

  FolderLock mLock;
  std::filesystem::path mPath;
  struct stat mStatus = {};
  bool mIsThere;
};

// A new file beside the original, with its mode and owner, that is gone unless it takes its place,
// also if somebody interrupts the command.
// Where there was none, it has `newMode` less what the user's mask takes off.
class Replacement {
 public:
  Replacement(Original const& original, mode_t newMode);
  Replacement(Replacement const&) = delete;
  Replacement& operator=(Replacement const&) = delete;
  ~Replacement();
  std::string const& path() const { return mPath; }

  // The bytes are on the disk before the name changes, and the name is before the command ends.
  void takePlace();

 private:
  bool setModeAndOwner(int number, mode_t newMode) const;

  HeldSignals const mSignals;
  Original const& mOriginal;
  std::string mPath;
};

}  // namespace tool

#endif
