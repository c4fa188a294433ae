// SPDX-License-Identifier: MIT
//
// ztb config: reads and edits a configuration file, and replaces it so that a crash or a full disk
// leaves the old bytes.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tool.h"
#include "ztbconfigfile.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string file;
  std::string key;
  std::string text;
  bool json = false;
};

[[noreturn]] void refuse(std::string const& what, fs::path const& path) {
  throw Refused(what + " \"" + printable(path.string()) + "\": " + std::strerror(errno));
}

// An open descriptor, closed when the block ends.
class Descriptor {
 public:
  Descriptor(fs::path const& path, int flags) : mNumber(::open(path.c_str(), flags | O_CLOEXEC)) {
    if (mNumber < 0) refuse("can't open", path);
  }
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() { ::close(mNumber); }
  int get() const { return mNumber; }

 private:
  int mNumber;
};

// The file to edit as it was before it was read, or that there was none. Refuses what a rename
// would destroy: a device, a pipe or a folder, and a file that the user has no right to write.
class Original {
 public:
  explicit Original(fs::path const& path) : mPath(path), mIsThere(look(mStatus)) {
    if (!mIsThere) return;
    if (!S_ISREG(mStatus.st_mode)) {
      throw Refused("can't edit \"" + printable(path.string()) + "\": it is no regular file");
    }
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) refuse("can't write", path);
  }
  fs::path const& path() const { return mPath; }
  bool isThere() const { return mIsThere; }
  struct stat const& status() const {
    return mStatus;
  }

  bool isUnchanged() const {
    struct stat now = {};
    if (look(now) != mIsThere) return false;
    return now.st_dev == mStatus.st_dev && now.st_ino == mStatus.st_ino &&
           now.st_size == mStatus.st_size && now.st_ctim.tv_sec == mStatus.st_ctim.tv_sec &&
           now.st_ctim.tv_nsec == mStatus.st_ctim.tv_nsec;
  }

 private:
  bool look(struct stat& status) const {
    if (::stat(mPath.c_str(), &status) == 0) return true;
    if (errno != ENOENT) refuse("can't open", mPath);
    return false;
  }

  fs::path mPath;
  struct stat mStatus = {};
  bool mIsThere;
};

// A new file beside the original, with its mode and owner, that is gone unless it takes its place.
class Replacement {
 public:
  explicit Replacement(Original const& original) : mOriginal(original) {
    fs::path const& target = original.path();
    std::string name = target.string() + ".XXXXXX";
    int const number = ::mkostemp(name.data(), O_CLOEXEC);
    if (number < 0) refuse("can't make a file beside", target);
    mPath = name;
    bool const alike = copyModeAndOwner(number);
    ::close(number);
    if (!alike) {
      ::unlink(mPath.c_str());
      refuse("can't keep mode and owner of", target);
    }
  }
  Replacement(Replacement const&) = delete;
  Replacement& operator=(Replacement const&) = delete;
  ~Replacement() {
    if (!mPath.empty()) ::unlink(mPath.c_str());
  }
  std::string const& path() const { return mPath; }

  // The bytes are on the disk before the name changes, and the name is before the command ends.
  void takePlace() {
    fs::path const& target = mOriginal.path();
    fs::path const folderPath = target.has_parent_path() ? target.parent_path() : ".";
    Descriptor const folder(folderPath, O_RDONLY | O_DIRECTORY);
    flush(Descriptor(mPath, O_WRONLY), mPath);
    if (!mOriginal.isUnchanged()) {
      throw Refused("\"" + printable(target.string()) + "\" has changed meanwhile: try again");
    }
    if (::rename(mPath.c_str(), target.c_str()) != 0) refuse("can't replace", target);
    mPath.clear();
    flush(folder, folderPath);
  }

 private:
  bool copyModeAndOwner(int number) const {
    if (!mOriginal.isThere()) {
      // A new file gets what the user's mask leaves.
      mode_t const mask = ::umask(0);
      ::umask(mask);
      return ::fchmod(number, 0666 & ~mask) == 0;
    }
    struct stat const& status = mOriginal.status();
    struct stat own;
    if (::fstat(number, &own) != 0) return false;
    bool const sameOwner = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
    if (!sameOwner && ::fchown(number, status.st_uid, status.st_gid) != 0) return false;
    return ::fchmod(number, status.st_mode & 07777) == 0;
  }
  static void flush(Descriptor const& descriptor, fs::path const& path) {
    if (::fsync(descriptor.get()) != 0) refuse("can't flush", path);
  }

  Original const& mOriginal;
  std::string mPath;
};

// The file that a path stands for: a link is followed, also one whose target isn't there yet.
fs::path targetOf(fs::path path) {
  constexpr int kMostLinks = 40;
  std::error_code ignored;  // whoever opens the path finds the same
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, ignored); ++i) {
    fs::path const target = fs::read_symlink(path, ignored);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

void read(ZtbConfigFile& file, std::string const& path) {
  if (!file.read(toZtb(path))) throw Refused(fromZtb(file.getErrorMessage()));
}

void save(ZtbConfigFile& file, Original const& original) {
  Replacement replacement(original);
  if (!file.write(toZtb(replacement.path()))) {
    throw Refused("\"" + printable(original.path().string()) +
                  "\" stays as it was: " + fromZtb(file.getErrorMessage()));
  }
  replacement.takePlace();
}

int get(Arguments const& arguments) {
  ZtbConfigFile file;
  read(file, arguments.file);
  ZtbString const value = file.getEntry(toZtb(arguments.key));
  if (value.isNull()) throw Refused("no entry \"" + printable(arguments.key) + "\"");
  if (arguments.json) {
    JsonObject object;
    object.add("key", arguments.key).add("value", fromZtb(value));
    std::printf("%s\n", object.str().c_str());
  } else {
    std::printf("%s\n", value.asCstr());
  }
  return 0;
}

int set(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  if (original.isThere()) read(file, original.path());
  file.setEntry(toZtb(arguments.key), toZtb(arguments.text));
  save(file, original);
  return 0;
}

void needEntry(ZtbConfigFile& file, std::string const& key) {
  if (file.getEntry(toZtb(key)).isNull()) throw Refused("no entry \"" + printable(key) + "\"");
}

int unset(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  read(file, original.path());
  needEntry(file, arguments.key);
  file.deleteEntry(toZtb(arguments.key));
  save(file, original);
  return 0;
}

int comment(Arguments const& arguments) {
  Original const original(targetOf(arguments.file));
  ZtbConfigFile file;
  read(file, original.path());
  needEntry(file, arguments.key);
  file.setEntryComment(toZtb(arguments.key), toZtb(arguments.text));
  save(file, original);
  return 0;
}

int list(Arguments const& arguments) {
  ZtbConfigFile file;
  read(file, arguments.file);
  std::vector<JsonObject> objects;
  ZtbString key;
  ZtbString value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    if (!arguments.json) {
      std::printf("%s=%s\n", printable(fromZtb(key)).c_str(), printable(fromZtb(value)).c_str());
      continue;
    }
    JsonObject object;
    object.add("key", fromZtb(key)).add("value", fromZtb(value));
    ZtbString const note = file.getEntryComment(key);
    objects.push_back(note.isNull() ? object.addNull("comment")
                                    : object.add("comment", fromZtb(note)));
  }
  if (arguments.json) printJsonArray(objects);
  return 0;
}

struct Action {
  char const* name;
  char const* summary;
  bool takesKey;
  char const* textHelp;  // null if the action takes no text
  bool givesOutput;
  int (*run)(Arguments const& arguments);
};

constexpr Action kActions[] = {
    {"get", "Print the value of an entry", true, nullptr, true, get},
    {"set", "Change an entry, or add one at the end", true, "The value", false, set},
    {"unset", "Remove an entry, leaving a marker", true, nullptr, false, unset},
    {"list", "Print all entries", false, nullptr, true, list},
    {"comment", "Set the comment above an entry", true, "The comment, without its #", false,
     comment},
};

void declareAction(CLI::App& app, Action const& action, std::shared_ptr<Arguments> const& values) {
  CLI::App* const sub = app.add_subcommand(action.name, action.summary);
  sub->add_option("file", values->file, "The configuration file")->required();
  if (action.takesKey) sub->add_option("key", values->key, "The key, in any case")->required();
  if (action.textHelp != nullptr) {
    sub->add_option("text", values->text, action.textHelp)->required();
  }
  if (action.givesOutput) sub->add_flag("--json", values->json, "Print JSON");
}

}  // namespace

Run declareConfig(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.require_subcommand(1);
  for (Action const& action : kActions) declareAction(app, action, arguments);
  return [arguments, &app] {
    chooseHome("");
    Library library;
    library.startForMessages();
    for (Action const& action : kActions) {
      if (app.got_subcommand(action.name)) return action.run(*arguments);
    }
    return 1;
  };
}

}  // namespace tool
