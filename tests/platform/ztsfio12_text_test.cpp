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
  // Everything that is left, in one reading, and whether the count was that of the text.
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
  // What a file holds after `text` was written to it.
  std::string written(std::string const& before, int flags, int encoding, int options,
                      char const* text) {
    std::string const path = mFolder.write("out", before);
    TextFile const file = open(path, flags, encoding, options);
    EXPECT_EQ(mCode, 0);
    if (text != nullptr) {
      EXPECT_GE(np_fio_text_writeline(file.get(), text), 0);
    }
    return ztbtest::readFile(path);
  }

  ztbtest::TempFolder mFolder;
  int mCode = 0;
};

TEST_F(TextFileTest, EveryLineEndIsReadAsOneAlsoAcrossBuffers) {
  std::string const head(64 * 1024 - 2, 'a');  // the reader's buffer ends within what follows
  struct Row {
    char const *bytes, *text;
  };
  for (auto const& [bytes, text] : {
           Row{"\r\nb", "\nb"},
           Row{"x\r\nb", "x\nb"},
           Row{"\r\r\n\n\r", "\n\n\n\n"},
           Row{"xy\r\n\r\n", "xy\n\n"},
           Row{"\n\n\r\rz", "\n\n\n\nz"},
       }) {
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
  struct Row {
    unsigned size;
    char const *bytes, *pieces;
  };
  for (auto const& [size, bytes, pieces] : {
           Row{4, "abc\r\nd", "abc|\nd|"},     // a line that just fits is complete at once
           Row{4, "abcd\n", "abc|d|\n"},       //
           Row{4, "abé\n", "ab|é|\n"},         // 2 + 2 bytes
           Row{5, "€😀é", "€|😀|é|"},            // 3, 4 and 2 bytes
           Row{1, "\n\r", "|\n|\n"},           // room for empty lines only
           Row{1, "a", "error 103"},           //
           Row{3, "a€", "a|error 103"},        // a piece and then no way on
           Row{0, "\n", "error 103"},          // not even a terminator
           Row{UINT_MAX % 100000, "a", "a|"},  //
       }) {
    EXPECT_EQ(lines(openBytes(bytes), size), pieces) << size << bytes;
  }
  char small[8];
  TextFile const file = openBytes("ab\n");
  EXPECT_EQ(np_fio_text_readline(file.get(), small, UINT_MAX, nullptr), 2);
}

TEST_F(TextFileTest, IllFormedBytesAndNulBecomeReplacements) {
  std::string const r = "\uFFFD", half = std::string(64 * 1024 - 1, 'a') + "é";
  std::pair<std::string, std::string> const rows[] = {
      {"a\0\0b"s, "a" + r + r + "b"},
      {"\xE2\x82y\xF0\x9F\x98z", r + "y" + r + "z"},  // cut sequences: one each
      {"\xFF\xC3\xA9\xF0\x9F\x98", r + "é" + r},      // cut by the end
      {half, half}};                                  // a character across two buffers
  for (auto const& [bytes, text] : rows) EXPECT_EQ(readAll(openBytes(bytes, np_enc_utf8)), text);
}

TEST_F(TextFileTest, EncodingIsFoundFromMarkThenTextThenLocale) {
  std::string const ascii(70000, 'a');
  std::string const half(64 * 1024 - 1, 'a');
  struct Row {
    char const *why, *locale;
    std::string bytes;
    int encoding, options, found;
    std::string text;
  };
  for (Row const& row : {
           Row{"empty", "C", "", -1, 1, np_enc_utf8, ""},
           Row{"mark", "C", "\xEF\xBB\xBFx", -1, 1, np_enc_utf8, "x"},
           Row{"mark not looked for", "C", "\xEF\xBB\xBFx", -1, 0, np_enc_utf8, "\uFEFFx"},
           Row{"half a mark is text", "C", "\xFE", -1, 1, np_enc_windows1252, "þ"},
           Row{"mark against encoding", "C", "\xFF\xFEx\0"s, np_enc_utf8, 1, np_enc_utf16le, "x"},
           Row{"longest mark", "C", "\xFF\xFE\0\0x\0\0\0"s, -1, 1, np_enc_utf32le, "x"},
           Row{"cut UTF-16", "C", "\xFE\xFF\0x\xD8"s, -1, 1, np_enc_utf16be, "x\uFFFD"},
           Row{"valid", "de_DE.ISO-8859-15", "é", -1, 1, np_enc_utf8, "é"},
           Row{"locale", "de_DE.ISO-8859-15", "\xA4", -1, 1, np_enc_iso8859_15, "€"},
           Row{"locale is UTF-8", "C.UTF-8", "\x80", -1, 1, np_enc_windows1252, "€"},
           Row{"locale unknown", "xx.nonsense", "\x80", -1, 1, np_enc_windows1252, "€"},
           Row{"cut at the end", "C", "caf\xE9", -1, 1, np_enc_windows1252, "café"},
           Row{"cut by the window", "C", half + "é", -1, 1, np_enc_utf8, half + "é"},
           Row{"cut by the window, then not UTF-8", "C", half + "\xE9z", -1, 1, np_enc_windows1252,
               half + "éz"},
           Row{"cut by window and end", "C", half + "\xE9", -1, 1, np_enc_windows1252, half + "é"},
           Row{"late", "C", ascii + "\xE9", -1, 1, np_enc_windows1252, ascii + "é"},
           Row{"explicit", "C", "\x80", np_enc_windows1252, 0, np_enc_windows1252, "€"},
           Row{"NUL in UTF-16", "C", "x\0\0\0"s, np_enc_utf16le, 0, np_enc_utf16le, "x\uFFFD"},
       }) {
    ::setenv("LC_ALL", row.locale, 1);
    TextFile const file = openBytes(row.bytes, row.encoding, row.options);
    for (int pass = 0; pass < 2; ++pass) {
      EXPECT_EQ(readAll(file), row.text) << row.why;
      EXPECT_EQ(np_fio_text_getenc(file.get()), row.found) << row.why;
      EXPECT_EQ(np_fio_text_rewind(file.get()), 0);
    }
  }
  ::unsetenv("LC_ALL");
}

TEST_F(TextFileTest, WritingEncodesAndSetsTheMarkOnEmptyFilesOnly) {
  struct Row {
    char const* before;
    int flags, encoding, options;
    char const* text;
    std::string after;
  };
  std::string const mark = "\xEF\xBB\xBF";
  for (Row const& row : {
           Row{"old", kWrite, -1, 0, "é\xFF", "é\uFFFD\n"},
           Row{"old", kWrite, 0, 1, "x", mark + "x\n"},
           Row{"old", kWrite, 0, 1, nullptr, mark},
           Row{"old", kWrite, 0, 3, "x", "x\n"},
           Row{"", kWrite, 8, 0, "x", "\xFF\xFEx\0\n\0"s},
           Row{"", kWrite, 7, 2, "€", "\x20\xAC\0\n"s},
           Row{"", kWrite, np_enc_utf32be, 1, "", "\0\0\xFE\xFF\0\0\0\n"s},
           Row{"", kWrite, 24, 1, "€", "\x80\n"},
           Row{"", kAppend, -1, 1, "x", mark + "x\n"},
           Row{"a\n", kAppend, -1, 1, "é", "a\né\n"},
           Row{"\xFE\xFF", kAppend, -1, 0, "x", "\xFE\xFF\0x\0\n"s},
           Row{"a", kAppend, 24, 0, "\xC3", "a?\n"},
       }) {
    EXPECT_EQ(written(row.before, row.flags, row.encoding, row.options, row.text), row.after);
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
}

TEST_F(TextFileTest, CharacterThatTheEncodingLacksWritesNothing) {
  std::string const path = mFolder.path("out");
  TextFile const file = open(path, kWrite, np_enc_windows1252);
  EXPECT_EQ(np_fio_text_writeline(file.get(), "a€猫"), -np_fio_err_unrepresentable);
  EXPECT_EQ(np_fio_text_geterr(file.get()), np_fio_err_unrepresentable);
  EXPECT_EQ(np_fio_text_writeline(file.get(), "b"), 2);
  EXPECT_EQ(ztbtest::readFile(path), "b\n");
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
  EXPECT_EQ(np_fio_text_write(out.get(), nullptr, -1), -invalid);
  EXPECT_EQ(np_fio_text_read(in.get(), -1, nullptr, 10), -np_fio_err_small_buffer);
  EXPECT_EQ(np_fio_text_skip(nullptr, 1), -invalid);
  for (int code : {101, 102, 103, 104, 1000 + ENOSPC}) EXPECT_NE(np_fio_errdesc(code), nullptr);
  for (int code : {0, -1, 1000, 1000000}) EXPECT_EQ(np_fio_errdesc(code), nullptr) << code;
}

TEST_F(TextFileTest, FullDiskFailsTheCallThatMeetsIt) {
  TextFile const full = open("/dev/full", kWrite);
  EXPECT_EQ(np_fio_text_writeline(full.get(), "x"), -(np_fio_err_system + ENOSPC));
  open("/dev/full", kWrite, 0, 1);  // no room for the mark
  EXPECT_EQ(mCode, np_fio_err_system + ENOSPC);
  TextFile const file = open(mFolder.path("f"), kWrite);
  ztbtest::Limit const small(RLIMIT_FSIZE, 2500);
  signal(SIGXFSZ, SIG_IGN);
  std::string const line(999, 'x');
  for (int result : {1000, 1000, -(np_fio_err_system + EFBIG), -(np_fio_err_system + EFBIG)}) {
    EXPECT_EQ(np_fio_text_writeline(file.get(), line.c_str()), result);
  }
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
