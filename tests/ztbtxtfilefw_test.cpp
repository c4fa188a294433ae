// SPDX-License-Identifier: MIT

#include "ztbtxtfilefw.h"

#include <climits>
#include <string>
#include <type_traits>

#include "ztbtest.h"

namespace {

static_assert(!std::is_copy_constructible_v<ZtbTxtFileFW>);
static_assert(!std::is_copy_assignable_v<ZtbTxtFileFW>);

constexpr auto kRead = ZtbTxtFileFW::ModeRead;
constexpr auto kWrite = ZtbTxtFileFW::ModeWrite;
constexpr auto kAppend = ZtbTxtFileFW::ModeAppend;

class ZtbTxtFileFWTest : public ztbtest::LibraryTest {
 protected:
  ztbtest::TempFolder mFolder;
  ZtbTxtFileFW mFile;

  bool open(std::string const& path, ZtbTxtFileFW::Mode mode, int options, int encoding = -1) {
    return mFile.open(path.c_str(), mode, encoding, options);
  }
  bool openBytes(std::string const& bytes, int options, int encoding = -1) {
    return open(mFolder.write("f", bytes), kRead, options, encoding);
  }
  // What a read of `size` bytes gives; "failed" for -1.
  std::string read(unsigned size) {
    std::string bytes(size, '#');
    int const n = mFile.read(bytes.data(), size);
    return n < 0 ? "failed" : bytes.substr(0, static_cast<std::size_t>(n));
  }
  bool unread(std::string const& bytes) {
    return mFile.unread(bytes.data(), static_cast<unsigned>(bytes.size()));
  }
  std::string reason() { return ztbtest::reasonOf(mFile.getErrorMessage()); }
};

TEST_F(ZtbTxtFileFWTest, ClosedFileRefusesEverythingButUnread) {
  for (int pass = 0; pass < 2; ++pass) {
    char byte = 0;
    EXPECT_TRUE(mFile.read(&byte, 1) == -1 && mFile.read(&byte, 0) == -1);
    EXPECT_FALSE(mFile.write("x", 1) || mFile.recseek(0, 1));
    EXPECT_TRUE(mFile.size() == 0 && mFile.tell() == 0 && mFile.getencoding() == -1);
    EXPECT_TRUE(unread("gone") && mFile.tell() == -4);
    ASSERT_TRUE(openBytes("record", 0) && mFile.tell() == 0);
    EXPECT_EQ(read(4), "reco") << "nothing of what was pushed back on the closed object";
    EXPECT_TRUE(unread("x") && mFile.close() && mFile.close());
  }
  EXPECT_TRUE(mFile.getErrorMessage().isNull());
}

// Which marks there are, and which encoding is found, the test of the text layer says.
TEST_F(ZtbTxtFileFWTest, MarksStayOutsideTheRecordsIfAskedFor) {
  struct {
    std::string bytes;
    int options, encoding;
    int expectedEncoding;
    int markBytes;
  } const rows[] = {
      {"\uFEFFabcdef", 1, -1, 0, 3},
      {"\uFEFFabcdef", 2, -1, 0, 3},
      {"\uFEFFabcdef", 3, 0, 0, 3},
      {"\uFEFFabcdef", 0, -1, 0, 0},
      {"\uFEFFabcdef", 4, -1, 0, 0},
      {std::string("\xFF\xFEz\0", 4), 1, -1, 8, 2},
      {"\xEF\xBBxa", 1, 24, 24, 0},
      {"\uFEFF", 1, -1, 0, 3},
      {"\xEF", 1, 0, 0, 0},
      {"\xFF", 1, 8, 8, 0},
      {"", 1, -1, 0, 0},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes) + " " + std::to_string(row.options));
    ASSERT_TRUE(openBytes(row.bytes, row.options, row.encoding));
    EXPECT_EQ(mFile.getencoding(), row.expectedEncoding);
    EXPECT_EQ(mFile.tell(), row.markBytes);
    EXPECT_EQ(read(100), row.bytes.substr(static_cast<std::size_t>(row.markBytes)));
    EXPECT_TRUE(mFile.recseek(2, 2));
    EXPECT_EQ(mFile.tell(), row.markBytes + 4);
    EXPECT_EQ(mFile.size(), static_cast<__int64>(row.bytes.size()));
  }
}

TEST_F(ZtbTxtFileFWTest, NewFilesGetTheirMarkAndAreReadBack) {
  struct {
    int encoding, options;
    std::string mark;
  } const rows[] = {{0, 1, "\uFEFF"}, {8, 1, "\xFF\xFE"}, {8, 2, ""}, {24, 1, ""}, {8, 3, ""}};
  std::string const path = mFolder.write("new", "old content that goes");
  for (auto const& row : rows) {
    ASSERT_TRUE(open(path, kWrite, row.options, row.encoding));
    EXPECT_EQ(mFile.tell(), static_cast<__int64>(row.mark.size()));
    EXPECT_TRUE(mFile.write("aabbcc", 6) && mFile.recseek(1, 2) && mFile.write("xx", 2));
    EXPECT_EQ(read(10), "cc");
    EXPECT_TRUE(mFile.recseek(0, 2));
    EXPECT_EQ(read(10), "aaxxcc");
    EXPECT_EQ(ztbtest::readFile(path), row.mark + "aaxxcc");
  }
  ASSERT_TRUE(open(path, kAppend, 1));
  EXPECT_TRUE(mFile.tell() == 6 && mFile.write("dd", 2) && mFile.recseek(0, 2));
  EXPECT_EQ(read(10), "aaxxccdd");
  ASSERT_TRUE(open(mFolder.path("other"), kAppend, 1, 0));
  EXPECT_EQ(mFile.tell(), 3) << "the mark of a file that append has made";
  EXPECT_TRUE(mFile.recseek(0, 2) && mFile.tell() == 0) << "appending, no mark is looked for";
  ASSERT_TRUE(open(path, kWrite, 0, 8));
  EXPECT_TRUE(mFile.tell() == 0 && mFile.size() == 2) << "unasked, the mark is data";
}

TEST_F(ZtbTxtFileFWTest, PushedBackBytesComeFirstAndNewestFirst) {
  ASSERT_TRUE(openBytes("0123456789abcdef", 0));
  EXPECT_EQ(read(10), "0123456789");
  EXPECT_TRUE(unread("0123456789") && mFile.tell() == 0);
  EXPECT_EQ(read(10), "0123456789");
  EXPECT_TRUE(unread("xyz"));
  EXPECT_EQ(read(5), "xyzab");
  EXPECT_EQ(mFile.tell(), 12);
  EXPECT_TRUE(unread("old") && unread("new") && unread(""));
  EXPECT_EQ(read(0), "");
  EXPECT_EQ(read(2), "ne");
  EXPECT_TRUE(mFile.recseek(1, 2));
  EXPECT_EQ(read(6), "wold23") << "what is pushed back stays over a seek";
  EXPECT_TRUE(unread("end") && mFile.recseek(8, 2));
  EXPECT_EQ(read(10), "end");
  EXPECT_EQ(read(10), "");
  EXPECT_FALSE(mFile.unread(nullptr, 1));
  for (int i = 0; i < 200'000; ++i) ASSERT_TRUE(unread("x"));  // freed without recursion
}

TEST_F(ZtbTxtFileFWTest, OffsetsAreThirtyTwoBitsAndWrap) {
  ASSERT_TRUE(openBytes("\uFEFFabcdef", 1));
  struct {
    int record, length;
    __int64 expected;  // 5: refused, the position stays
  } const rows[] = {
      {INT_MAX, 1, 2147483650},
      {65536, 65536, 3},
      {65536, 65537, 65539},
      {65536, 32768, 5},
      {INT_MIN, -1, 5},
      {-1, 4, 5},
      {-1, 3, 0},
      {-2, -3, 9},
  };
  for (auto const& row : rows) {
    ASSERT_TRUE(mFile.recseek(1, 2));
    EXPECT_EQ(mFile.recseek(row.record, row.length), row.expected != 5) << row.record;
    EXPECT_EQ(mFile.tell(), row.expected) << row.record;
  }
}

TEST_F(ZtbTxtFileFWTest, FieldsAreConverted) {
  struct {
    int encoding;
    std::string bytes;
    char const* text;
  } const rows[] = {{0, "gr\u00FC\xFF", "gr\u00FC\uFFFD"},
                    {24, "gr\xFC", "gr\u00FC"},
                    {8, std::string("g\0\xFC\0\0\xD8\0", 7), "g\u00FC\uFFFD"}};
  char target[32];
  EXPECT_EQ(mFile.encode(target, sizeof target, "x"), -1) << "no file was opened yet";
  for (auto const& [encoding, bytes, text] : rows) {
    ASSERT_TRUE(openBytes("", 0, encoding) && mFile.close());
    int const size = mFile.encode(nullptr, 0, bytes.c_str());
    EXPECT_EQ(size, mFile.encode(target, sizeof target, bytes.c_str()));
    EXPECT_STREQ(target, text);
  }
  ASSERT_TRUE(openBytes("", 0, 24));
  EXPECT_EQ(mFile.decode(target, sizeof target, "gr\u00FC"), 3);
  EXPECT_STREQ(target, "gr\xFC");
  EXPECT_EQ(mFile.decode(target, 3, "gr\u00FC"), 2);
  EXPECT_EQ(mFile.decode(target, sizeof target, "\u4E00"), -2);
  EXPECT_EQ(mFile.decode(target, sizeof target, nullptr), -1);
  EXPECT_EQ(mFile.encode(target, sizeof target, nullptr), -1);
}

TEST_F(ZtbTxtFileFWTest, FailuresHaveTheirMessages) {
  std::string const kept = mFolder.write("kept", "kept");
  EXPECT_FALSE(open(kept, static_cast<ZtbTxtFileFW::Mode>(3), 0));
  EXPECT_TRUE(mFile.getErrorMessage().isNull());
  EXPECT_FALSE(open(mFolder.path("missing"), kRead, 0));
  EXPECT_EQ(reason(), "471: \"No such file or directory\"");
  EXPECT_FALSE(mFile.open(nullptr, kRead, 0, 0) || open(mFolder.path(), kRead, 0));
  EXPECT_FALSE(open(kept, kWrite, 0, 4711));
  EXPECT_TRUE(ztbtest::contains(reason(), "encoding"));
  EXPECT_EQ(ztbtest::readFile(kept), "kept");

  ASSERT_TRUE(open(kept, kRead, 0));
  EXPECT_FALSE(mFile.write("x", 1));
  EXPECT_TRUE(ztbtest::contains(reason(), "471")) << "writing sets no text";
  EXPECT_TRUE(unread("p"));
  EXPECT_EQ(mFile.read(nullptr, 1), -1);
  EXPECT_EQ(reason(), "97: \"\"");
  EXPECT_EQ(read(9), "pkept") << "nothing was lost";
  ASSERT_TRUE(open("/dev/full", kWrite, 0));
  EXPECT_FALSE(mFile.write("x", 1) || mFile.write("x", -1) || mFile.write(nullptr, 1));
  EXPECT_EQ(mFile.tell(), 0);
  ASSERT_TRUE(open(kept, kAppend, 0));
  std::filesystem::remove(kept);
  EXPECT_EQ(mFile.size(), 0);
}

}  // namespace
