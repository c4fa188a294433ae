// SPDX-License-Identifier: MIT
//
// What text files add to the text layer, whose own test has encodings, line ends and pieces.

#include "ztbtxtfile.h"

#include <string>
#include <type_traits>
#include <utility>

#include "ztbtest.h"

namespace {

static_assert(!std::is_copy_constructible_v<ZtbTxtFile>);
static_assert(!std::is_copy_assignable_v<ZtbTxtFile>);

class ZtbTxtFileTest : public ztbtest::LibraryTest {
 protected:
  ztbtest::TempFolder mFolder;
  ZtbTxtFile mFile;
  char mBuffer[1024];
  bool mComplete = true;

  bool open(std::string const& path, ZtbTxtFile::Mode mode) {
    return mFile.open(path.c_str(), mode, -1, 1);
  }
  int readln(unsigned size = sizeof mBuffer) { return mFile.readln(mBuffer, size, &mComplete); }
  std::string reason() { return ztbtest::reasonOf(mFile.getErrorMessage()); }
};

TEST_F(ZtbTxtFileTest, ClosedFileRefusesEverything) {
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(mFile.read(mBuffer, sizeof mBuffer), -1);
    mComplete = true;
    EXPECT_EQ(readln(), -1);
    EXPECT_FALSE(mComplete);
    EXPECT_FALSE(mFile.write("x") || mFile.write("x", 1) || mFile.writeln("x"));
    for (int result : {mFile.skip(1), mFile.skipline(), mFile.rewind(), mFile.getencoding()}) {
      EXPECT_EQ(result, -1);
    }
    EXPECT_TRUE(mFile.size() == 0 && mFile.tell() == 0);
    EXPECT_TRUE(mFile.close() && mFile.getErrorMessage().isNull());
    ASSERT_TRUE(open(mFolder.path("f"), ZtbTxtFile::ModeWrite));
    ASSERT_TRUE(mFile.writeln("x") && mFile.close());
  }
}

TEST_F(ZtbTxtFileTest, LongLineComesInPieces) {
  ASSERT_TRUE(
      open(mFolder.write("f", std::string(1100, 'a') + "\r\n\nlast"), ZtbTxtFile::ModeRead));
  std::pair<int, bool> const rows[] = {{1023, false}, {77, true},  {0, true},
                                       {4, false},    {-2, false}, {-2, false}};
  for (auto const& [count, complete] : rows) {
    EXPECT_EQ(readln(), count);
    EXPECT_EQ(mComplete, complete);
  }
  EXPECT_EQ(mFile.tell(), 1104);
  EXPECT_EQ(mFile.rewind(), 0);
  EXPECT_EQ(mFile.readln(mBuffer, 4, nullptr), 3);
  EXPECT_EQ(mFile.skipline(), 1098);
  EXPECT_EQ(mFile.skip(2), 2);
  EXPECT_EQ(mFile.read(mBuffer, sizeof mBuffer), 3);
  EXPECT_STREQ(mBuffer, "ast");
  EXPECT_EQ(mFile.tell(), 3 + 1098 + 2 + 3);
}

TEST_F(ZtbTxtFileTest, WritingReplacesAndAppendingKeeps) {
  std::string const path = mFolder.write("f", "old content");
  ASSERT_TRUE(mFile.open(path.c_str(), ZtbTxtFile::ModeWrite, -1, 0));
  EXPECT_TRUE(mFile.write("ab") && mFile.write("cd", 1) && mFile.writeln("é"));
  EXPECT_EQ(mFile.tell(), 6);
  ASSERT_TRUE(open(path, ZtbTxtFile::ModeAppend) && mFile.tell() == 0 && mFile.writeln("end"));
  EXPECT_TRUE(mFile.size() == 10 && mFile.getencoding() == 0);
  EXPECT_EQ(ztbtest::readFile(path), "abcé\nend\n");
  std::filesystem::remove(path);
  EXPECT_EQ(mFile.size(), 0);
}

TEST_F(ZtbTxtFileTest, FailuresHaveTheirMessages) {
  std::string const missing = mFolder.path("missing"), kept = mFolder.write("kept", "kept");
  EXPECT_FALSE(open(missing, static_cast<ZtbTxtFile::Mode>(3)));
  EXPECT_TRUE(mFile.getErrorMessage().isNull());
  EXPECT_FALSE(open(missing, ZtbTxtFile::ModeRead));
  EXPECT_EQ(reason(), "1353: \"" + missing + "\", \"No such file or directory\"");
  EXPECT_FALSE(mFile.open(kept.c_str(), ZtbTxtFile::ModeWrite, 4711, 0));
  EXPECT_TRUE(ztbtest::contains(reason(), "335"));
  EXPECT_FALSE(mFile.open(nullptr, ZtbTxtFile::ModeWrite, -1, 0));
  EXPECT_TRUE(ztbtest::contains(reason(), "1353"));
  EXPECT_EQ(ztbtest::readFile(kept), "kept");

  ASSERT_TRUE(open(kept, ZtbTxtFile::ModeAppend));
  EXPECT_EQ(readln(), -1);
  EXPECT_TRUE(ztbtest::contains(reason(), "337"));
  ASSERT_TRUE(open(kept, ZtbTxtFile::ModeRead));
  EXPECT_EQ(readln(1), -1);
  EXPECT_TRUE(ztbtest::contains(reason(), "471"));
  EXPECT_EQ(readln(), 4) << "nothing was lost";
  EXPECT_FALSE(mFile.writeln("x"));
  EXPECT_TRUE(ztbtest::contains(reason(), "471")) << "success and writing leave the text alone";
  EXPECT_FALSE(open(mFolder.path(), ZtbTxtFile::ModeRead));
  EXPECT_EQ(mFile.read(mBuffer, 10), -1) << "a failed open leaves a closed file";
  ASSERT_TRUE(mFile.open("/dev/full", ZtbTxtFile::ModeWrite, -1, 0));
  EXPECT_FALSE(mFile.writeln("x"));
  EXPECT_TRUE(mFile.tell() == 0 && mFile.close()) << "a full disk is seen before";
}

}  // namespace
