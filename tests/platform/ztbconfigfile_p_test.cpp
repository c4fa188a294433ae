// SPDX-License-Identifier: MIT
#include "ztbconfigfile_p.h"

#include "ztbtest.h"

namespace {

class ZtbConfigFileLinesTest : public ztbtest::LibraryTest {};

TEST_F(ZtbConfigFileLinesTest, NumberIsThatOfTheEntrysOwnLine) {
  ztbtest::TempFolder folder;
  ZtbString const path(folder.write("a.cfg", "#c\na=1\n\nb=2\nA=3").c_str(), false);
  ZtbConfigFile file;
  file.setEntry(ZtbString("set", true), ZtbString("x", true));
  ASSERT_TRUE(file.read(path));
  struct {
    char const* key;
    int first, afterClear;
  } const rows[] = {{"a", 5, 10}, {"B", 4, 9}, {"set", -1, -1}, {"absent", -1, -1}};
  for (auto const& row : rows) {
    EXPECT_EQ(row.first, ZtbConfigFileLines::ofEntry(file, ZtbString(row.key, true))) << row.key;
  }
  file.clear();
  ASSERT_TRUE(file.read(path));
  for (auto const& row : rows) {
    EXPECT_EQ(row.afterClear, ZtbConfigFileLines::ofEntry(file, ZtbString(row.key, true)))
        << row.key;
  }
  EXPECT_EQ(10, ZtbConfigFileLines::count(file));
}

TEST_F(ZtbConfigFileLinesTest, CommentDoesntShiftTheNumber) {
  ztbtest::TempFolder folder;
  ZtbConfigFile file;
  ASSERT_TRUE(file.read(ZtbString(folder.write("a.cfg", "#c\na=1\nb=2\n").c_str(), false)));
  file.setEntryComment(ZtbString("a", true), ZtbString());
  file.setEntryComment(ZtbString("b", true), ZtbString("late", true));
  EXPECT_EQ(2, ZtbConfigFileLines::ofEntry(file, ZtbString("a", true)));
  EXPECT_EQ(3, ZtbConfigFileLines::ofEntry(file, ZtbString("b", true)));
}

}  // namespace
