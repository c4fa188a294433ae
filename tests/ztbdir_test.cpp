// SPDX-License-Identifier: MIT
//
// Paths and listings, beside what the test of the file layer says of both.

#include "ztbdir.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>

#include "ztbtest.h"

namespace {

using ztbtest::TempFolder;

using ZtbDirTest = ztbtest::LibraryTest;

ZtbString str(std::string const& text) {
  return {text.c_str(), false};
}
std::string text(ZtbString const& string) {
  return string.asCstr();
}

TEST_F(ZtbDirTest, ConcatAndParseAreTheSameOnBothSidesOfTheShortPaths) {
  // The working size of a join is both lengths plus 4, that of a split the length plus 1.
  for (std::size_t const length : {250u, 251u, 252u, 253u, 254u, 255u, 256u, 1'000'000u}) {
    SCOPED_TRACE(length);
    std::string const first = "/" + std::string(length / 2, 'a');
    std::string const second(length - length / 2 - 2, 'b');
    std::string const joined = first + "/" + second;
    EXPECT_EQ(joined, text(ztbConcatPath(str(first), str(second))));
    ZtbString name = str(joined);
    EXPECT_EQ(first, text(ztbParsePath(name, &name))) << "into the path's own string";
    EXPECT_EQ(second, text(name));
    EXPECT_EQ(first, text(ztbParsePath(str(joined), nullptr)));
  }
}

TEST_F(ZtbDirTest, NullCountsAsEmptyAndWhatIsNotThereIsEmpty) {
  EXPECT_EQ("b", text(ztbConcatPath(ZtbString(), str("b"))));
  EXPECT_EQ("a", text(ztbConcatPath(str("a"), ZtbString())));
  EXPECT_FALSE(ztbConcatPath(ZtbString(), ZtbString()).isNull());
  ZtbString name("x", true);
  EXPECT_FALSE(ztbParsePath(ZtbString(), &name).isNull());
  EXPECT_TRUE(!name.isNull() && text(name).empty());
}

TEST_F(ZtbDirTest, FlagsChooseTheEntriesAndNamesKeepTheirBytes) {
  TempFolder const folder;
  folder.write("b.cfg", "");
  folder.write("\xE9\\\xFF", "content");
  folder.write("d/below", "");
  char const* const rows[] = {". .. b.cfg d \xE9\\\xFF ", "b.cfg d \xE9\\\xFF ", ". .. d ", "d "};
  for (int flags = 0; flags < 4; ++flags) {
    ZtbDirectoryListing listing;
    ASSERT_TRUE(listing.init(str(folder.path()), flags));
    EXPECT_TRUE(listing.getTimestamp().isNull());
    std::string names;
    for (; listing.next(); names += text(listing.getName()) + " ") {
      EXPECT_EQ(folder.path(text(listing.getName())), text(listing.getFullPathName()));
    }
    EXPECT_EQ(rows[flags], names);
    bool const lastIsFolder = flags >= 2;
    EXPECT_TRUE(!listing.next() && lastIsFolder == listing.isDir()) << "the last entry stays";
    EXPECT_EQ(lastIsFolder, listing.isReadOnly());
    EXPECT_TRUE(lastIsFolder || listing.getSize() == 7);
  }
}

TEST_F(ZtbDirTest, TimestampIsLocalTime) {
  TempFolder const folder;
  timespec const times[2] = {{86'399, 0}, {86'399, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, folder.write("file", "").c_str(), times, 0));
  char const* const rows[][2] = {{"XYZ-2", "1970-01-02 01:59:59"}, {"UTC0", "1970-01-01 23:59:59"}};
  for (auto const& [zone, local] : rows) {
    ztbtest::Variable const variable("TZ", zone);
    ZtbDirectoryListing listing;
    ASSERT_TRUE(listing.init(str(folder.path()), 1));
    ASSERT_TRUE(listing.next());
    EXPECT_EQ(86'399u, listing.getTimestampLong());
    EXPECT_FALSE(listing.next());
    EXPECT_EQ(local, text(listing.getTimestamp().asString(true))) << "as the last `next` stored it";
  }
}

TEST_F(ZtbDirTest, AFailedInitSaysWhyAndMayBeTriedAgainAndAGoodOneStays) {
  TempFolder const folder;
  folder.write("file", "");
  ZtbDirectoryListing listing;
  EXPECT_FALSE(listing.next() || listing.isDir() || listing.isReadOnly());
  EXPECT_TRUE(listing.getName().isNull() && listing.getFullPathName().isNull());
  EXPECT_TRUE(listing.getTimestamp().isNull() && listing.getErrorMessage().isNull());
  EXPECT_EQ(0u, listing.getTimestampLong() + listing.getSize());
  for (auto const& [number, bad] : {std::pair("445: \"", folder.path("none")),
                                    {"446: \"", folder.path("file")},
                                    {"467: \"", std::string(5000, 'p')}}) {
    EXPECT_FALSE(listing.init(str(bad), 1));
    std::string const reason = ztbtest::reasonOf(listing.getErrorMessage());
    EXPECT_EQ(number + bad.substr(0, 60),
              reason.substr(0, 6 + std::min<std::size_t>(bad.size(), 60)));
  }
  EXPECT_FALSE(listing.init(ZtbString(), 1));
  ASSERT_TRUE(listing.init(str(folder.path()), 1));
  std::string const message = text(listing.getErrorMessage());
  EXPECT_FALSE(listing.init(str("/none"), 0));
  EXPECT_EQ(message, text(listing.getErrorMessage()));
  EXPECT_TRUE(listing.next() && text(listing.getName()) == "file");
}

}  // namespace
