// SPDX-License-Identifier: MIT
//
// Joining and splitting paths, and directory listings.

#include "ztbdir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "ztbtest.h"

namespace {

using ztbtest::TempFolder;

class ZtbDirTest : public ztbtest::LibraryTest {};

ZtbString str(std::string const& text) {
  return {text.c_str(), false};
}
std::string text(ZtbString const& string) {
  return string.asCstr();
}
std::string concat(std::string const& a, std::string const& b) {
  return text(ztbConcatPath(str(a), str(b)));
}

TEST_F(ZtbDirTest, ConcatAndParseAreTheSameOnBothSidesOfTheShortPaths) {
  // The working size of a join is both lengths plus 4, that of a split the length plus 1.
  for (std::size_t length = 240; length <= 270; ++length) {
    SCOPED_TRACE(length);
    std::string const first = "/" + std::string(length / 2, 'a');
    std::string const second(length - length / 2 - 1, 'b');
    std::string const joined = first + "/" + second;
    EXPECT_EQ(joined, concat(first, second));
    ZtbString name;
    EXPECT_EQ(first, text(ztbParsePath(str(joined), &name)));
    EXPECT_EQ(second, text(name));
    EXPECT_EQ(first, text(ztbParsePath(str(joined), nullptr)));
  }
  std::string const huge(1'000'000, 'x');
  EXPECT_EQ(huge + "/" + huge, concat(huge + "//", huge));
}

TEST_F(ZtbDirTest, NullCountsAsEmptyAndWhatIsNotThereIsEmpty) {
  EXPECT_EQ("b", text(ztbConcatPath(ZtbString(), str("b"))));
  EXPECT_EQ("a", text(ztbConcatPath(str("a"), ZtbString())));
  ZtbString const none = ztbConcatPath(ZtbString(), ZtbString());
  EXPECT_FALSE(none.isNull());
  EXPECT_EQ("", text(none));
  ZtbString name("x", true);
  EXPECT_FALSE(ztbParsePath(ZtbString(), &name).isNull());
  EXPECT_FALSE(name.isNull());
  EXPECT_EQ("", text(name));
}

TEST_F(ZtbDirTest, NameMayBeThePathItself) {
  ZtbString path = str("/a/b");
  EXPECT_EQ("/a", text(ztbParsePath(path, &path)));
  EXPECT_EQ("b", text(path));
}

TEST_F(ZtbDirTest, AccessorsBeforeInitAreNullZeroAndFalse) {
  ZtbDirectoryListing listing;
  EXPECT_FALSE(listing.next());
  EXPECT_TRUE(listing.getName().isNull());
  EXPECT_TRUE(listing.getFullPathName().isNull());
  EXPECT_FALSE(listing.isDir());
  EXPECT_TRUE(listing.getTimestamp().isNull());
  EXPECT_EQ(0u, listing.getTimestampLong());
  EXPECT_EQ(0u, listing.getSize());
  EXPECT_FALSE(listing.isReadOnly());
  EXPECT_TRUE(listing.getErrorMessage().isNull());
}

TEST_F(ZtbDirTest, FlagsChooseTheEntries) {
  TempFolder const folder;
  folder.write("b.cfg", "");
  folder.write("B.cfg", "");
  folder.write("d/below", "");
  char const* const rows[] = {". .. B.cfg b.cfg d ", "B.cfg b.cfg d ", ". .. d ", "d "};
  for (int flags = 0; flags < 4; ++flags) {
    SCOPED_TRACE(flags);
    ZtbDirectoryListing listing;
    ASSERT_TRUE(listing.init(str(folder.path()), flags));
    std::string names;
    while (listing.next()) {
      names += text(listing.getName()) + " ";
      EXPECT_EQ(folder.path(text(listing.getName())), text(listing.getFullPathName()));
    }
    EXPECT_EQ(rows[flags], names);
  }
}

TEST_F(ZtbDirTest, TheLastEntryStaysAfterTheEnd) {
  TempFolder const folder;
  folder.write("file", "abc");
  std::filesystem::create_symlink("none", folder.path("dangling"));
  ZtbDirectoryListing listing;
  ASSERT_TRUE(listing.init(str(folder.path()), 1));
  ASSERT_TRUE(listing.next());
  EXPECT_EQ("dangling", text(listing.getName()));
  EXPECT_EQ(0u, listing.getSize());
  EXPECT_TRUE(listing.isReadOnly());
  ASSERT_TRUE(listing.next());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ("file", text(listing.getName()));
    EXPECT_EQ(folder.path("file"), text(listing.getFullPathName()));
    EXPECT_EQ(3u, listing.getSize());
    EXPECT_FALSE(listing.isDir());
    EXPECT_FALSE(listing.isReadOnly());
    EXPECT_FALSE(listing.next());
  }
}

TEST_F(ZtbDirTest, NamesThatAreNotUtf8OpenTheSameFileAgain) {
  TempFolder const folder;
  std::string const name = "caf\xE9\xFF\\x";
  folder.write(name, "content");
  ZtbDirectoryListing listing;
  ASSERT_TRUE(listing.init(str(folder.path()), 1));
  ASSERT_TRUE(listing.next());
  EXPECT_EQ(name, text(listing.getName()));
  EXPECT_EQ("content", ztbtest::readFile(text(listing.getFullPathName())));
}

TEST_F(ZtbDirTest, TimestampIsLocalTimeAndSaturates) {
  TempFolder const folder;
  std::string const path = folder.write("file", "");
  struct {
    char const* zone;
    time_t time;
    unsigned long seconds;
    char const* local;
  } const rows[] = {
      {"UTC0", 86'399, 86'399, "1970-01-01 23:59:59"},
      {"XYZ-2", 86'399, 86'399, "1970-01-02 01:59:59"},
      {"UTC0", -5, 0, "1970-01-01 00:00:00"},
      {"UTC0", 0x1'0000'0005, 0xFFFFFFFFu, "2106-02-07 06:28:15"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.local);
    timespec const times[2] = {{row.time, 0}, {row.time, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    setenv("TZ", row.zone, 1);
    ZtbDirectoryListing listing;
    ASSERT_TRUE(listing.init(str(folder.path()), 1));
    ASSERT_TRUE(listing.next());
    EXPECT_EQ(row.seconds, listing.getTimestampLong());
    EXPECT_EQ(row.local, text(listing.getTimestamp().asString(true)));
  }
  unsetenv("TZ");
}

TEST_F(ZtbDirTest, AFailedInitSaysWhyAndMayBeTriedAgainAndAGoodOneStays) {
  TempFolder const folder;
  folder.write("file", "");
  ZtbDirectoryListing listing;
  for (std::string const& bad :
       {folder.path("none"), folder.path("file"), std::string(5000, 'p')}) {
    SCOPED_TRACE(bad.substr(0, 60));
    EXPECT_FALSE(listing.init(str(bad), 1));
    EXPECT_NE(std::string::npos, text(listing.getErrorMessage()).find(bad.substr(0, 60)));
    EXPECT_TRUE(listing.getName().isNull());
  }
  EXPECT_FALSE(listing.init(ZtbString(), 1));
  ASSERT_TRUE(listing.init(str(folder.path()), 1));
  std::string const message = text(listing.getErrorMessage());
  EXPECT_FALSE(listing.init(str("/none"), 0));
  EXPECT_EQ(message, text(listing.getErrorMessage()));
  EXPECT_TRUE(listing.next());
  EXPECT_EQ("file", text(listing.getName()));
}

TEST_F(ZtbDirTest, EveryEntryOfALargeDirectoryComesOnceAndInOrder) {
  constexpr int kEntries = 20'000;
  TempFolder const folder;
  int const parent = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < kEntries; ++i) {
    close(openat(parent, std::to_string(i * 7919 % kEntries).c_str(), O_CREAT | O_WRONLY, 0600));
  }
  close(parent);
  ZtbDirectoryListing listing;
  ASSERT_TRUE(listing.init(str(folder.path()), 1));
  std::string last;
  int count = 0;
  for (; listing.next(); ++count) {
    std::string name = text(listing.getName());
    ASSERT_LT(last, name);
    last = std::move(name);
  }
  EXPECT_EQ(kEntries, count);
}

}  // namespace
