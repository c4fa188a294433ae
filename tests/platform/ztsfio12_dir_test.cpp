// SPDX-License-Identifier: MIT
//
// Paths, status, access and directories of the file layer.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ztbtest.h"
#include "ztsfio12.h"

namespace {

using ztbtest::TempFolder;

constexpr int kAccessForWriting = np_fio_flag_access | np_fio_flag_write;

int code(int systemError) {
  return np_fio_err_system + systemError;
}

// Gives up the super-user's rights while it lives, so that permissions count.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser() { EXPECT_EQ(0, geteuid() == 0 ? seteuid(65534) : 0); }
  AsOrdinaryUser(AsOrdinaryUser const&) = delete;
  AsOrdinaryUser& operator=(AsOrdinaryUser const&) = delete;
  ~AsOrdinaryUser() { EXPECT_EQ(0, seteuid(getuid())); }
};

// An open directory, or why it isn't.
struct Directory {
  Directory(std::string const& path, int flags)
      : failure(np_dir_open(path.c_str(), flags, &directory)),
        start(path.substr(0, path.find_last_not_of('/') + 1) + "/") {}
  Directory(Directory const&) = delete;
  Directory& operator=(Directory const&) = delete;
  ~Directory() { np_dir_close(directory); }
  // The names that are left, each with a blank behind it, if their paths have `size` bytes at most.
  std::string names(unsigned size = 4096) {
    std::string result;
    std::vector<char> path(size);
    NpStatus status{};
    while (np_dir_next_stat(directory, path.data(), size, &status) == 0) {
      EXPECT_EQ(start, std::string(path.data()).substr(0, start.size()));
      result += path.data() + start.size() + std::string(" ");
      statuses.push_back(status);
    }
    return result;
  }

  NpDirectory* directory = nullptr;
  int failure;
  std::string start;  // of all paths
  std::vector<NpStatus> statuses;
};

TEST(Path, JoinsWithExactlyOneSeparator) {
  char const* const rows[][3] = {
      {"a", "b", "a/b"},   {"a/", "b", "a/b"},    {"a//", "b", "a/b"}, {"/", "b", "/b"},
      {"a", "/b", "/b"},   {"a/", "//b", "//b"},  {"", "b", "b"},      {"a", "", "a"},
      {nullptr, "b", "b"}, {"a\\", "b", "a\\/b"}, {"a", "b/", "a/b/"},
  };
  for (auto const& [first, second, joined] : rows) {
    std::vector<char> exact(std::strlen(joined) + 1, 'x');
    auto const size = static_cast<unsigned>(exact.size());
    EXPECT_EQ(0, np_fio_pcat(first, second, exact.data(), size));
    EXPECT_STREQ(joined, exact.data());
    EXPECT_NE(0, np_fio_pcat(first, second, exact.data(), size - 1)) << joined;
    EXPECT_STREQ("", exact.data());
  }
  EXPECT_NE(0, np_fio_pcat("a", "b", nullptr, 0));
}

TEST(Path, SplitsAtTheLastSeparatorAndJoinsAgain) {
  char const* const rows[][4] = {
      {"/a/b", "/a", "b", "/a/b"}, {"b", "", "b", "b"},          {"/b", "/", "b", "/b"},
      {"a/", "a", "", "a"},        {"/", "/", "", "/"},          {"//b", "/", "b", "/b"},
      {"a//b", "a", "b", "a/b"},   {"//", "/", "", "/"},         {"", "", "", ""},
      {nullptr, "", "", ""},       {"a\\b", "", "a\\b", "a\\b"},
  };
  for (auto const& [path, directory, name, joined] : rows) {
    std::string first(std::strlen(directory) + 1, 'x'), second(std::strlen(name) + 1, 'x');
    char again[16];
    EXPECT_EQ(0, np_fio_pparse(path, first.data(), static_cast<unsigned>(first.size()),
                               second.data(), static_cast<unsigned>(second.size())));
    EXPECT_STREQ(directory, first.c_str()) << joined;
    EXPECT_STREQ(name, second.c_str()) << joined;
    EXPECT_EQ(0, np_fio_pcat(first.c_str(), second.c_str(), again, sizeof again));
    EXPECT_STREQ(joined, again);
  }
}

TEST(Path, APartThatDoesNotFitEmptiesBothUnlessItIsNotWanted) {
  char directory[8] = "xxx", name[4] = "xxx";
  EXPECT_EQ(0, np_fio_pparse("/long/folder/b", nullptr, 0, name, sizeof name));
  EXPECT_STREQ("b", name);
  EXPECT_EQ(0, np_fio_pparse("/folder/long.name", directory, sizeof directory, nullptr, 0));
  EXPECT_STREQ("/folder", directory);
  EXPECT_NE(0, np_fio_pparse("/folder/long", directory, sizeof directory, name, sizeof name));
  EXPECT_TRUE(*directory == '\0' && *name == '\0');
}

TEST(Status, ValuesBeyondTheirWordSaturate) {
  TempFolder const folder;
  std::string const path = folder.write("sparse", "");
  constexpr std::uint32_t kMost = 0xFFFFFFFF;
  struct {
    off_t size;
    time_t time;
    std::uint32_t size32, time32;
  } const rows[] = {
      {kMost, kMost, kMost, kMost}, {1LL << 32, 1LL << 32, kMost, kMost}, {5, -1, 5, 0}};
  NpStatus status{};
  EXPECT_EQ(code(ENOENT), np_fio_stat(folder.path("none").c_str(), &status));
  EXPECT_EQ(code(EINVAL), np_fio_stat64(nullptr, nullptr));
  for (auto const& [size, time, size32, time32] : rows) {
    timespec const times[2] = {{time, 0}, {time, 0}};
    ASSERT_EQ(0, truncate(path.c_str(), size) | utimensat(AT_FDCWD, path.c_str(), times, 0));
    NpStatus64 wide{};
    ASSERT_EQ(0, np_fio_stat(path.c_str(), &status) | np_fio_stat64(path.c_str(), &wide));
    EXPECT_TRUE(wide.size == size && wide.timestamp == time) << size;
    EXPECT_TRUE(status.size == size32 && status.timestamp == time32) << size;
  }
}

TEST(Access, TestingForWritingMakesAndChangesNothing) {
  TempFolder const folder;
  chmod(folder.path().c_str(), 0755);
  chmod(folder.write("open", "abc").c_str(), 0666);
  chmod(folder.write("closed", "abc").c_str(), 0444);
  ASSERT_EQ(0, mkfifo(folder.path("pipe").c_str(), 0666));
  chmod(folder.path("pipe").c_str(), 0666);
  AsOrdinaryUser const user;
  std::pair<char const*, int> const rows[] = {
      {"open", 0}, {"pipe", 0}, {"closed", EACCES}, {"", EISDIR}, {"none", ENOENT}};
  for (auto const& [name, failure] : rows) {
    int const expected = failure == 0 ? 0 : code(failure);
    EXPECT_EQ(expected, np_fio_open(folder.path(name).c_str(), kAccessForWriting, nullptr)) << name;
  }
  EXPECT_EQ(0, np_fio_open(folder.path("closed").c_str(), np_fio_flag_read, nullptr));
  EXPECT_EQ(code(EINVAL), np_fio_open(nullptr, kAccessForWriting, nullptr));
  EXPECT_FALSE(std::filesystem::exists(folder.path("none")));
  EXPECT_EQ("abc", ztbtest::readFile(folder.path("open")));
}

TEST(Directory, EntriesComeSortedBytewiseAndAsTheFlagsSay) {
  TempFolder const folder;
  for (char const* name : {"b", "B", "a.cfg", "a", "-", "\xC3\xA9", "\xFF", "ab"}) {
    folder.write(name, "");
  }
  std::filesystem::create_directory(folder.path("d"));
  std::filesystem::create_symlink("d", folder.path("to_d"));
  std::filesystem::create_symlink("a", folder.path("to_a"));
  EXPECT_EQ("- . .. B a a.cfg ab b d to_a to_d \xC3\xA9 \xFF ",
            Directory(folder.path(), 5).names());
  EXPECT_EQ("d to_d ", Directory(folder.path(), 23).names());
  EXPECT_EQ("", Directory(folder.path("d"), 7).names());
}

TEST(Directory, StatusIsThatOfTheTargetAndLinksToNowhereHaveNoSize) {
  TempFolder const folder;
  folder.write("a", "abc");
  std::filesystem::create_symlink("none", folder.path("dangling"));
  std::filesystem::create_symlink("a", folder.path("good"));
  std::filesystem::create_symlink("loop", folder.path("loop"));
  ASSERT_EQ(0, mkfifo(folder.path("pipe").c_str(), 0600));
  std::filesystem::create_symlink("/dev/null", folder.path("terminal"));
  sockaddr_un address{AF_UNIX, ""};
  snprintf(address.sun_path, sizeof address.sun_path, "%s", folder.path("zsocket").c_str());
  int const bound = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(0, bind(bound, reinterpret_cast<sockaddr*>(&address), sizeof address));
  close(bound);
  Directory directory(folder.path() + "//", 7);
  EXPECT_EQ("a dangling good loop pipe terminal zsocket ", directory.names());
  std::pair<std::uint32_t, std::uint32_t> const expected[] = {
      {np_type_file, 3},  {np_type_link, 0}, {np_type_file, 3},
      {np_type_link, 0},  {np_type_pipe, 0}, {np_type_character_device, 0},
      {np_type_socket, 0}};
  for (std::size_t i = 0; i < directory.statuses.size(); ++i) {
    NpStatus const& status = directory.statuses[i];
    EXPECT_EQ(expected[i], std::pair(status.type, status.size)) << i;
  }
}

TEST(Directory, WhatHasGoneIsLeftOutAndWhatDoesNotFitIsSkipped) {
  TempFolder const folder;
  for (char const* name : {"a", "gone", "longer", "z"}) folder.write(name, "");
  Directory directory(folder.path(), 7);
  std::filesystem::remove(folder.path("gone"));
  EXPECT_EQ("a longer z ", directory.names());
  EXPECT_NE(0, np_dir_next_stat(directory.directory, nullptr, 0, nullptr));
  auto const roomForOne = static_cast<unsigned>(folder.path("a").size() + 1);
  EXPECT_EQ("a z ", Directory(folder.path(), 7).names(roomForOne));
  EXPECT_EQ("", Directory(folder.path(), 7).names(roomForOne - 1));
}

TEST(Directory, FailuresHaveTheirCodes) {
  TempFolder const folder;
  chmod(folder.path().c_str(), 0755);
  folder.write("locked/a", "abc");
  std::filesystem::create_directory(folder.path("locked/d"));
  std::filesystem::create_directory(folder.path("closed"));
  chmod(folder.path("closed").c_str(), 0);
  chmod(folder.path("locked").c_str(), 0444);
  {
    AsOrdinaryUser const user;
    Directory locked(folder.path("locked"), 7);
    EXPECT_EQ("a d ", locked.names()) << "with their types, though without status";
    EXPECT_TRUE(locked.statuses[0].type == np_type_file && locked.statuses[0].size == 0);
    EXPECT_EQ(np_type_directory, locked.statuses[1].type);
    EXPECT_EQ(np_dir_err_access, Directory(folder.path("closed"), 7).failure);
  }
  chmod(folder.path("locked").c_str(), 0755);
  struct {
    std::string path;
    int flags, failure;
  } const rows[] = {
      {folder.path("none"), 7, np_dir_err_missing},
      {folder.path("locked/a"), 7, np_dir_err_not_directory},
      {folder.path("locked/a/below"), 7, np_dir_err_not_directory},
      {std::string(5000, 'p'), 7, code(ENAMETOOLONG)},
      {"", 7, code(EINVAL)},
      {folder.path(), 6, code(EINVAL)},
      {folder.path(), 7 | 8, code(EINVAL)},
  };
  for (auto const& [path, flags, failure] : rows) {
    Directory const directory(path, flags);
    EXPECT_EQ(failure, directory.failure) << path.substr(0, 60);
    EXPECT_EQ(nullptr, directory.directory);
  }
  ztbtest::Limit const none(RLIMIT_NOFILE, 0);
  EXPECT_EQ(code(EMFILE), Directory("/", 7).failure);
}

}  // namespace
