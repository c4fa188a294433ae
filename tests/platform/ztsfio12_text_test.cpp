// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ztbtest.h"
#include "ztschr12.h"
#include "ztsfio12.h"

namespace {

using namespace std::string_literals;

constexpr int kRead = 9;
constexpr int kWrite = 78;
constexpr int kAppend = 14;

struct CloseTextFile {
  void operator()(NpTextFile* file) const { np_fio_text_close(file); }
};
using TextFile = std::unique_ptr<NpTextFile, CloseTextFile>;

class TextFileTest : public ::testing::Test {
 protected:
  TextFile open(std::string const& path, int flags, int encoding = -1, int options = 0) {
    NpTextFile* file = nullptr;
    mCode = np_fio_text_open(path.c_str(), flags, encoding, options, &file);
    EXPECT_EQ(mCode == 0, file != nullptr);
    return TextFile(file);
  }
  TextFile openBytes(std::string const& bytes, int encoding = -1, int options = 1) {
    return open(mFolder.write("in", bytes), kRead, encoding, options);
  }
  // Everything that is left, in one reading.
  static std::string readAll(TextFile const& file) {
    std::string text(1 << 20, 'x');
    int const count = np_fio_text_read(file.get(), -1, text.data(), unsigned(text.size()));
    EXPECT_EQ(count, int(std::strlen(text.c_str())));
    return text.c_str();
  }
  // Every line with "|" behind each piece and LF behind each line end.
  static std::string lines(TextFile const& file, unsigned size, std::string const& pieceEnd = "|") {
    std::string result;
    for (;;) {
      std::vector<char> buffer(size, 'x');
      int complete = -1;
      int const count = np_fio_text_readline(file.get(), buffer.data(), size, &complete);
      if (count < 0) return result + "error " + std::to_string(-count);
      if (count == 0 && complete == 0) return result;
      EXPECT_EQ(buffer[unsigned(count)], '\0');
      result += buffer.data() + pieceEnd + (complete != 0 ? "\n" : "");
    }
  }

  ztbtest::TempFolder mFolder;
  int mCode = 0;
};

TEST_F(TextFileTest, EveryLineEndIsReadAsOneAlsoAcrossBuffers) {
  std::string const head(64 * 1024 - 2, 'a');  // the reader's buffer ends within what follows
  char const* const rows[][2] = {{"x\r\nb", "x\nb"},
                                 {"\r\r\n\n\r", "\n\n\n\n"},
                                 {"xy\r\n\r\n", "xy\n\n"},
                                 {"\n\n\r\rz", "\n\n\n\nz"}};
  for (auto const& [bytes, text] : rows) {
    for (std::string const& before : {""s, head}) {
      TextFile const file = openBytes(before + bytes);
      EXPECT_EQ(readAll(file), before + text);
      for (unsigned size : {2u, 3u, 64u, 65536u, 70000u}) {
        ASSERT_EQ(np_fio_text_rewind(file.get()), 0);
        EXPECT_EQ(lines(file, size, ""), before + text) << size;
      }
    }
  }
}

TEST_F(TextFileTest, PiecesFillTheBufferAndNeverSplitACharacter) {
  struct {
    unsigned size;
    char const *bytes, *pieces;
  } const rows[] = {
      {4, "abc\r\nd", "abc|\nd|"},  // a line that just fits is complete at once
      {4, "abcd\n", "abc|d|\n"},   {4, "abé\n", "ab|é|\n"},  // 2 + 2 bytes
      {5, "€😀é", "€|😀|é|"},                                  // 3, 4 and 2 bytes
      {1, "\n\r", "|\n|\n"},                                 // room for empty lines only
      {1, "a", "error 103"},                                 //
      {3, "a€", "a|error 103"},                              // a piece and then no way on
      {0, "\n", "error 103"},                                // not even a terminator
  };
  for (auto const& [size, bytes, pieces] : rows) {
    EXPECT_EQ(lines(openBytes(bytes), size), pieces) << size << bytes;
  }
  char small[8];
  TextFile const file = openBytes("ab\n");
  EXPECT_EQ(np_fio_text_readline(file.get(), small, UINT_MAX, nullptr), 2);
}

TEST_F(TextFileTest, EncodingIsFoundFromMarkThenTextThenLocale) {
  std::string const half(64 * 1024 - 1, 'a'), r = "\uFFFD";  // the window ends a byte later
  struct {
    char const *why, *locale;
    std::string bytes;
    int encoding, options, found;
    std::string text;
  } const rows[] = {
      {"mark", "C", "\xEF\xBB\xBFx", -1, 1, np_enc_utf8, "x"},
      {"mark not looked for", "C", "\xEF\xBB\xBFx", -1, 0, np_enc_utf8, "\uFEFFx"},
      {"half a mark is text", "C", "\xFE", -1, 1, np_enc_windows1252, "þ"},
      {"mark against encoding", "C", "\xFF\xFEx\0"s, np_enc_utf8, 1, np_enc_utf16le, "x"},
      {"longest mark", "C", "\xFF\xFE\0\0x\0\0\0"s, -1, 1, np_enc_utf32le, "x"},
      {"cut UTF-16", "C", "\xFE\xFF\0x\xD8"s, -1, 1, np_enc_utf16be, "x" + r},
      {"valid", "de_DE.ISO-8859-15", "é", -1, 1, np_enc_utf8, "é"},
      {"locale", "de_DE.ISO-8859-15", "\xA4", -1, 1, np_enc_iso8859_15, "€"},
      {"locale is UTF-8", "C.UTF-8", "\x80", -1, 1, np_enc_windows1252, "€"},
      {"locale unknown", "xx.nonsense", "\x80", -1, 1, np_enc_windows1252, "€"},
      {"cut at the end", "C", "caf\xE9", -1, 1, np_enc_windows1252, "café"},
      {"cut by the window", "C", half + "é", -1, 1, np_enc_utf8, half + "é"},
      {"cut, then not UTF-8", "C", half + "\xE9z", -1, 1, np_enc_windows1252, half + "éz"},
      {"cut by window and end", "C", half + "\xE9", -1, 1, np_enc_windows1252, half + "é"},
      {"late", "C", half + "aaa\xE9", -1, 1, np_enc_windows1252, half + "aaaé"},
      {"explicit", "C", "\x80", np_enc_windows1252, 0, np_enc_windows1252, "€"},
      {"NUL in UTF-16", "C", "x\0\0\0"s, np_enc_utf16le, 0, np_enc_utf16le, "x" + r},
      {"NUL in UTF-8", "C", "a\0\0b"s, np_enc_utf8, 0, np_enc_utf8, "a" + r + r + "b"},
      {"cut sequences: one each", "C", "\xE2\x82y\xF0\x9F\x98z", 0, 0, 0, r + "y" + r + "z"},
      {"a byte, and cut by the end", "C", "\xFF\xC3\xA9\xF0\x9F\x98", 0, 0, 0, r + "é" + r},
      {"across two buffers", "C", half + "é", np_enc_utf8, 0, np_enc_utf8, half + "é"},
  };
  for (auto const& row : rows) {
    ztbtest::Variable const locale("LC_ALL", row.locale);
    TextFile const file = openBytes(row.bytes, row.encoding, row.options);
    for (int pass = 0; pass < 2; ++pass) {
      EXPECT_EQ(readAll(file), row.text) << row.why;
      EXPECT_EQ(np_fio_text_getenc(file.get()), row.found) << row.why;
      EXPECT_EQ(np_fio_text_rewind(file.get()), 0);
    }
  }
}

TEST_F(TextFileTest, WritingEncodesAndSetsTheMarkOnEmptyFilesOnly) {
  std::string const mark = "\xEF\xBB\xBF";
  struct {
    char const* before;
    int flags, encoding, options;
    char const* text;
    std::string after;
  } const rows[] = {
      {"old", kWrite, -1, 0, "é\xFF", "é\uFFFD\n"},
      {"old", kWrite, 0, 1, "x", mark + "x\n"},
      {"old", kWrite, 0, 1, nullptr, mark},
      {"old", kWrite, 0, 3, "x", "x\n"},
      {"", kWrite, 8, 0, "x", "\xFF\xFEx\0\n\0"s},
      {"", kWrite, 7, 2, "€", "\x20\xAC\0\n"s},
      {"", kWrite, np_enc_utf32be, 1, "", "\0\0\xFE\xFF\0\0\0\n"s},
      {"", kWrite, 24, 1, "€", "\x80\n"},
      {"", kAppend, -1, 1, "x", mark + "x\n"},
      {"a\n", kAppend, -1, 1, "é", "a\né\n"},
      {"\xFE\xFF", kAppend, -1, 0, "x", "\xFE\xFF\0x\0\n"s},
      {"a", kAppend, 24, 0, "\xC3", "a?\n"},
  };
  for (auto const& row : rows) {
    std::string const path = mFolder.write("out", row.before);
    TextFile const file = open(path, row.flags, row.encoding, row.options);
    bool const isWritten = row.text == nullptr || np_fio_text_writeline(file.get(), row.text) > 0;
    EXPECT_TRUE(isWritten && ztbtest::readFile(path) == row.after) << row.after;
  }
}

TEST_F(TextFileTest, CountsBoundWhatIsWrittenAndReported) {
  std::string const path = mFolder.path("out");
  TextFile const file = open(path, kWrite);
  std::vector<char> const unterminated = {'a', 'b'};
  EXPECT_EQ(np_fio_text_write(file.get(), unterminated.data(), 2), 2);
  EXPECT_EQ(np_fio_text_write(file.get(), "cd", 100), 2);  // the text ends before the count
  EXPECT_EQ(np_fio_text_write(file.get(), "é", 1), 1);     // half a character
  EXPECT_EQ(np_fio_text_write(file.get(), "x", 0), 0);
  EXPECT_EQ(np_fio_text_write(file.get(), "é", -1), 2);
  EXPECT_EQ(np_fio_text_writeline(file.get(), "é"), 3);
  EXPECT_EQ(ztbtest::readFile(path), "abcd\uFFFDéé\n");
  ASSERT_EQ(np_fio_text_rewind(file.get()), 0);
  EXPECT_EQ(np_fio_text_write(file.get(), "AB", -1), 2);
  EXPECT_EQ(ztbtest::readFile(path), "ABcd\uFFFDéé\n");
  TextFile const latin = open(path, kWrite, np_enc_windows1252);
  EXPECT_EQ(np_fio_text_writeline(latin.get(), "a€猫"), -np_fio_err_unrepresentable);
  EXPECT_EQ(np_fio_text_geterr(latin.get()), np_fio_err_unrepresentable);
  EXPECT_EQ(np_fio_text_writeline(latin.get(), "b"), 2);
  EXPECT_EQ(ztbtest::readFile(path), "b\n") << "nothing of what the encoding lacks";
}

TEST_F(TextFileTest, SkipsAndLimitsCountCharactersWithLineEndsAsOne) {
  TextFile const file = openBytes("é€\r\nab\r\n\rlast");
  EXPECT_EQ(np_fio_text_skip(file.get(), 3), 3);
  char buffer[32];
  EXPECT_EQ(np_fio_text_read(file.get(), 3, buffer, sizeof buffer), 3);
  EXPECT_STREQ(buffer, "ab\n");
  EXPECT_EQ(np_fio_text_read(file.get(), 0, buffer, sizeof buffer), 0);
  EXPECT_EQ(np_fio_text_skip(file.get(), -1), 0);
  for (int count : {1, 4, 0}) EXPECT_EQ(np_fio_text_skipline(file.get()), count);
  EXPECT_EQ(np_fio_text_skip(file.get(), INT_MAX), 0);
  ASSERT_EQ(np_fio_text_rewind(file.get()), 0);
  EXPECT_EQ(np_fio_text_skip(file.get(), INT_MAX), 11);
}

TEST_F(TextFileTest, BadCallsAreRefusedWithACode) {
  int const invalid = np_fio_err_system + EINVAL;
  EXPECT_EQ(np_fio_text_open(nullptr, kRead, 0, 0, nullptr), invalid);
  NpTextFile* file = nullptr;
  for (int flags : {kRead, kWrite, kAppend}) {
    EXPECT_EQ(np_fio_text_open(nullptr, flags, -1, 1, &file), invalid);
    open(mFolder.path(), flags);
    EXPECT_STREQ(np_fio_errdesc(mCode), "Is a directory") << flags;
    std::string const path = mFolder.write("kept", "kept");
    open(path, flags, 9999);
    EXPECT_EQ(mCode, np_fio_err_encoding);
    EXPECT_EQ(ztbtest::readFile(path), "kept");
  }
  for (int flags : {0, 3, 4, 130}) {
    open(mFolder.path("in"), flags);
    EXPECT_EQ(mCode, invalid) << flags;
  }
  char buffer[] = "untouched";
  TextFile const out = open(mFolder.path("out"), kWrite);
  EXPECT_EQ(np_fio_text_read(out.get(), -1, buffer, 10), -np_fio_err_direction);
  EXPECT_STREQ(buffer, "");
  TextFile const in = openBytes("x");
  EXPECT_EQ(np_fio_text_writeline(in.get(), "y"), -np_fio_err_direction);
  TextFile const full = open("/dev/full", kWrite);
  EXPECT_EQ(np_fio_text_writeline(full.get(), "x"), -(np_fio_err_system + ENOSPC));
  open("/dev/full", kWrite, 0, 1);  // no room for the mark
  EXPECT_EQ(mCode, np_fio_err_system + ENOSPC);
  EXPECT_EQ(np_fio_text_write(out.get(), nullptr, -1), -invalid);
  EXPECT_EQ(np_fio_text_read(in.get(), -1, nullptr, 10), -np_fio_err_small_buffer);
  EXPECT_EQ(np_fio_text_skip(nullptr, 1), -invalid);
  for (int code : {101, 102, 103, 104, 1000 + ENOSPC}) EXPECT_NE(np_fio_errdesc(code), nullptr);
  for (int code : {0, -1, 1000, 1000000}) EXPECT_EQ(np_fio_errdesc(code), nullptr) << code;
}

TEST_F(TextFileTest, ClosedPipeIsAFailureAndNoSignal) {
  std::string const path = mFolder.path("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  int const reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  TextFile const file = open(path, kAppend);
  EXPECT_EQ(np_fio_text_unwind(file.get()), 0);
  EXPECT_EQ(np_fio_text_writeline(file.get(), "x"), 2);
  ::close(reader);
  EXPECT_EQ(np_fio_text_writeline(file.get(), "x"), -(np_fio_err_system + EPIPE));
}

TEST_F(TextFileTest, FileThatShrinksOrGrowsWhileReadIsFollowed) {
  std::string const path = mFolder.write("in", std::string(200000, 'a'));
  TextFile const file = open(path, kRead);
  EXPECT_EQ(np_fio_text_skip(file.get(), 10), 10);
  ASSERT_EQ(::truncate(path.c_str(), 20), 0);
  EXPECT_LT(np_fio_text_skip(file.get(), INT_MAX), 200000);
  EXPECT_EQ(np_fio_text_skip(file.get(), 1), 0);
  ASSERT_EQ(np_fio_text_unwind(file.get()), 0);
  TextFile const appender = open(path, kAppend);
  np_fio_text_writeline(appender.get(), "new");
  EXPECT_EQ(lines(file, 10), "new|\n");
}

}  // namespace
