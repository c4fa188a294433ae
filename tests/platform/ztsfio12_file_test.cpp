// SPDX-License-Identifier: MIT
//
// Raw files: temporary files, reading, lines, writing, positions.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "ztbtest.h"
#include "ztsfio12.h"

namespace {

using ztbtest::readFile;
using ztbtest::TempFolder;

constexpr unsigned kFailure = 0xFFFFFFFF;

int code(int systemError) {
  return np_fio_err_system + systemError;
}

struct CloseFile {
  void operator()(NpFile* file) const { np_fio_close(file); }
};
using File = std::unique_ptr<NpFile, CloseFile>;

File opened(std::string const& path, int flags) {
  NpFile* file = nullptr;
  EXPECT_EQ(0, np_fio_open(path.c_str(), flags, &file)) << path;
  return File(file);
}

File readable(TempFolder const& folder, std::string const& bytes) {
  return opened(folder.write("file", bytes), np_fio_flag_read);
}

std::string line(File const& file, int size) {
  std::vector<char> buffer(static_cast<std::size_t>(size));
  int const n = np_fio_gets(file.get(), buffer.data(), size);
  return n < 0 ? "failed" : std::string(buffer.data(), static_cast<std::size_t>(n));
}

TEST(NpFileTest, TemporaryFilesArePrivateAndLieWhereTheyWereAskedFor) {
  TempFolder const folder;
  std::string const here = folder.path();
  struct {
    std::string tmpdir;
    char const* directory;
    std::string expected;
  } const rows[] = {
      {"/", here.c_str(), here},
      {here, nullptr, here},
      {here, "", here},
      {here + "/missing", nullptr, "/tmp"},
      {".", nullptr, "/tmp"},
      {"", nullptr, "/tmp"},
      {"/etc/passwd", nullptr, "/tmp"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.tmpdir);
    ztbtest::Variable const tmpdir("TMPDIR", row.tmpdir.c_str());
    char path[1024];
    NpFile* made = nullptr;
    ASSERT_EQ(0, np_fio_tmpfile(row.directory, "pre", path, sizeof path, &made));
    File const file(made);
    EXPECT_EQ(row.expected + "/pre", std::string(path, std::strlen(path) - 6));
    NpStatus status;
    EXPECT_EQ(0, np_fio_stat(path, &status));
    EXPECT_EQ(0600u, status.mode);
    EXPECT_EQ(2, np_fio_putm(made, "a", "b", nullptr));
    EXPECT_EQ("ab", readFile(path));
    EXPECT_EQ(0, np_fio_unlink(path));
    EXPECT_EQ(code(ENOENT), np_fio_unlink(path));
  }
  auto const bytes = static_cast<unsigned>(here.size() + std::strlen("/preXXXXXX") + 1);
  struct {
    std::string directory;
    char const* prefix;
    unsigned size;
    int expected;
  } const refused[] = {
      {here, "pre", bytes - 1, code(ENAMETOOLONG)},
      {here, "pre", 1, code(ENAMETOOLONG)},
      {here, "a/b", bytes, code(EINVAL)},
      {here + "/no", "pre", 1024, code(ENOENT)},
      {here, "pre", 0, code(EINVAL)},
  };
  for (auto const& [directory, prefix, size, expected] : refused) {
    char path[1024] = "x";
    auto* file = reinterpret_cast<NpFile*>(path);
    EXPECT_EQ(expected, np_fio_tmpfile(directory.c_str(), prefix, path, size, &file));
    EXPECT_EQ(nullptr, file);
    EXPECT_STREQ(size == 0 ? "x" : "", path);
  }
  EXPECT_TRUE(std::filesystem::is_empty(here));
}

TEST(NpFileTest, LinesKeepTheirEndsAndTheirNuls) {
  TempFolder const folder;
  using namespace std::string_literals;
  File const file = readable(folder, "one\n\ntwo\r\n\0x\n\0\0last"s);
  for (std::string const& expected :
       {"one\n"s, "\n"s, "two\r"s, "\n"s, "\0x\n"s, "\0\0la"s, "st"s}) {
    EXPECT_EQ(expected, line(file, 5));
  }
  EXPECT_EQ("", line(file, 5));
  EXPECT_EQ("failed", line(file, 1));
  char buffer[2];
  EXPECT_EQ(-np_fio_err_small_buffer, np_fio_gets(file.get(), buffer, -1));
}

// The read-ahead must not show, wherever its border of 64 KiB falls.
TEST(NpFileTest, LinesBytesPositionsAndWritesMix) {
  TempFolder const folder;
  std::string content;
  std::minstd_rand random(7);
  while (content.size() < 300'000) {
    content += std::string(random() % 3000, static_cast<char>('a' + random() % 26)) + "\n";
  }
  File const file = opened(folder.write("file", content), np_fio_flag_write);
  std::size_t position = 0;
  for (int i = 0; i < 3000; ++i) {
    SCOPED_TRACE(i);
    std::size_t const count = random() % 5000;
    std::string bytes(count, '#');
    int const size = static_cast<int>(count);
    switch (random() % 4) {
      case 0:
        bytes = line(file, size + 2);
        ASSERT_EQ(
            content.substr(position, std::min(content.find('\n', position) - position, count) + 1),
            bytes);
        break;
      case 1:
        bytes.resize(static_cast<std::size_t>(
            np_fio_getb(file.get(), bytes.data(), static_cast<unsigned>(count))));
        ASSERT_EQ(content.substr(position, count), bytes);
        break;
      case 2:
        ASSERT_EQ(size, i % 2 == 0 ? np_fio_putm(file.get(), bytes.c_str(), nullptr)
                                   : np_fio_putb(file.get(), bytes.data(), size));
        content.resize(std::max(content.size(), position + count));
        content.replace(position, count, bytes);
        break;
      default:
        position = random() % content.size();
        ASSERT_EQ(position, np_fio_seek(file.get(), static_cast<int>(position), 0));
        bytes.clear();
    }
    position += bytes.size();
  }
  EXPECT_EQ(content, readFile(folder.path("file")));
}

TEST(NpFileTest, PositionsCountFromThreeOriginsAndFilesAreCutThere) {
  TempFolder const folder;
  File const file = opened(folder.write("file", "line\nmore"), np_fio_flag_write);
  EXPECT_EQ(4'294'967'294, np_fio_seek64(file.get(), 4'294'967'294, np_fio_from_start));
  EXPECT_EQ(4'294'967'294u, np_fio_seek(file.get(), 0, np_fio_from_here));
  EXPECT_EQ(kFailure, np_fio_seek(file.get(), 1, np_fio_from_here)) << "the result can't tell it";
  EXPECT_EQ(kFailure, np_fio_seek(file.get(), -1, np_fio_from_start));
  EXPECT_EQ(-code(EINVAL), np_fio_seek64(file.get(), 0, 3));
  EXPECT_EQ(-code(EOVERFLOW), np_fio_seek64(file.get(), LLONG_MAX, np_fio_from_here));
  EXPECT_EQ(4'294'967'294, np_fio_seek64(file.get(), 0, np_fio_from_here)) << "as it was";
  EXPECT_EQ(8, np_fio_seek64(file.get(), -1, np_fio_from_end));
  EXPECT_EQ(0u, np_fio_seek(file.get(), 0, np_fio_from_start));
  EXPECT_EQ("line\n", line(file, 64));
  EXPECT_EQ(0, np_fio_trunc(file.get())) << "behind the line, whatever has been read ahead";
  EXPECT_EQ("line\n", readFile(folder.path("file")));
  EXPECT_EQ(7u, np_fio_seek(file.get(), 2, np_fio_from_here));
  EXPECT_EQ(0, np_fio_trunc(file.get()));
  EXPECT_EQ(std::string("line\n\0\0", 7), readFile(folder.path("file")));
  EXPECT_EQ(code(EINVAL), np_fio_trunc(readable(folder, "x").get())) << "not open for writing";
  EXPECT_EQ(code(EISDIR), np_fio_unlink(folder.path().c_str()));
}

TEST(NpFileTest, WritesEndInAFailureWhereTheSystemTakesNoMore) {
  TempFolder const folder;
  EXPECT_EQ(-code(EINVAL), np_fio_putm(nullptr, "a", nullptr));
  EXPECT_EQ(-code(EBADF), np_fio_putm(readable(folder, "x").get(), "a", nullptr));
  EXPECT_EQ(-code(ENOSPC), np_fio_putm(opened("/dev/full", np_fio_flag_write).get(), "a", nullptr));
  File const file = opened(folder.path("new"), np_fio_flag_write | np_fio_flag_create);
  EXPECT_EQ(0, np_fio_putm(file.get(), "", "", nullptr));
  EXPECT_EQ(20, np_fio_putm(file.get(), "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l",
                            "m", "n", "o", "p", "q", "r", "", "st", nullptr));
  EXPECT_EQ(3, np_fio_putb(file.get(), "\0u\0", 3));
  EXPECT_EQ(0, np_fio_putb(file.get(), nullptr, 0));
  EXPECT_EQ(-code(EINVAL), np_fio_putb(file.get(), nullptr, 1));
  EXPECT_EQ(-code(EINVAL), np_fio_putb(file.get(), "a", -1));
  EXPECT_EQ(-code(EINVAL), np_fio_putb(nullptr, "a", 1));
  EXPECT_EQ(std::string("abcdefghijklmnopqrst\0u\0", 23), readFile(folder.path("new")));
  opened(folder.path("new"), np_fio_flag_write | np_fio_flag_truncate);
  EXPECT_EQ("", readFile(folder.path("new")));
}

TEST(NpFileTest, PipesAreReadAndWrittenWholeThoughTheyTakeLess) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  File reader = opened("/proc/self/fd/" + std::to_string(ends[0]), np_fio_flag_read);
  File const writer = opened("/proc/self/fd/" + std::to_string(ends[1]), np_fio_flag_write);
  std::string const text(1'000'000, 'x');
  std::string got(text.size() + 5, ' ');
  std::thread writing(
      [&] { EXPECT_EQ(1'000'005, np_fio_putm(writer.get(), "line\n", text.c_str(), nullptr)); });
  EXPECT_EQ("line\n", line(reader, 64));
  EXPECT_EQ(1'000'000, np_fio_getb(reader.get(), got.data(), 1'000'000));
  writing.join();
  EXPECT_EQ(text, got.substr(0, text.size()));
  EXPECT_GT(0, np_fio_seek64(reader.get(), 0, 0));
  close(ends[1]);
  close(ends[0]);
  reader.reset();
  EXPECT_EQ(-code(EPIPE), np_fio_putm(writer.get(), "a", nullptr)) << "no reader of its own";
}

TEST(NpFileTest, WhatHasNoPositionTakesWritesBesideLinesReadAhead) {
  TempFolder const folder;
  ASSERT_EQ(0, mkfifo(folder.path("pipe").c_str(), 0600));
  File const both = opened(folder.path("pipe"), np_fio_flag_read | np_fio_flag_write);
  EXPECT_EQ(8, np_fio_putm(both.get(), "one\ntwo\n", nullptr));
  EXPECT_EQ("one\n", line(both, 64));
  EXPECT_EQ(6, np_fio_putm(both.get(), "three\n", nullptr));
  EXPECT_EQ("two\n", line(both, 64));
  EXPECT_EQ("three\n", line(both, 64));
}

}  // namespace
