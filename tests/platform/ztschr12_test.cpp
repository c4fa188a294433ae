// SPDX-License-Identifier: MIT
//
// Characters: the one walk that every operation agrees on, classes, case, comparison, encodings.

#include "ztschr12.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ztschr12_codec.h"

using namespace std::string_literals;

namespace {

// A text in a block of exactly its size, so that the address sanitizer sees a byte too far.
class ExactText {
 public:
  explicit ExactText(std::string_view bytes) : mBytes(new char[bytes.size() + 1]) {
    std::memcpy(mBytes.get(), bytes.data(), bytes.size());
    mBytes[bytes.size()] = '\0';
  }
  operator char const*() const { return mBytes.get(); }

 private:
  std::unique_ptr<char[]> mBytes;
};

std::string utf8(unsigned c) {
  auto const byte = [](unsigned value) { return static_cast<char>(value); };
  if (c < 0x80) return {byte(c)};
  if (c < 0x800) return {byte(0xC0 | c >> 6), byte(0x80 | (c & 0x3F))};
  std::string const tail{byte(0x80 | (c >> 6 & 0x3F)), byte(0x80 | (c & 0x3F))};
  if (c < 0x10000) return byte(0xE0 | c >> 12) + tail;
  return byte(0xF0 | c >> 18) + (byte(0x80 | (c >> 12 & 0x3F)) + tail);
}

bool isScalar(unsigned c) {
  return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF);
}

// The widths of a text's characters, an ill-formed byte as 0, by np_uchar_toint.
std::vector<int> walk(char const* text) {
  std::vector<int> widths;
  int width;
  for (char const* p = text; unsigned const c = np_uchar_toint(p, &width); p += width) {
    widths.push_back(c == np_uchar_illformed ? 0 : width);
    EXPECT_TRUE(width == 1 || c != np_uchar_illformed);
  }
  return widths;
}

// Random text: mostly well-formed characters of all widths, some rubbish, and long ASCII stretches.
std::string randomText(std::mt19937& random, std::size_t pieces) {
  static unsigned const kTops[] = {0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
  std::string text;
  for (std::size_t i = 0; i < pieces; ++i) {
    auto const kind = static_cast<unsigned>(random() % 40);
    if (kind == 0) text += static_cast<char>(random() % 255 + 1);
    if (kind == 1) text += std::string(random() % 150, 'a');
    auto const c = static_cast<unsigned>(random() % kTops[random() % 4] + 1);
    if (kind > 1 && isScalar(c)) text += utf8(c);
  }
  return text;
}

// Length, seek, tell, isspace and bufncopy against the widths of the walk.
void expectOneWalk(std::string const& bytes) {
  SCOPED_TRACE(testing::PrintToString(bytes));
  ExactText const text(bytes);
  std::vector<int> const widths = walk(text);
  ASSERT_EQ(widths.size(), np_uchar_length(text));
  char const* p = text;
  for (std::size_t i = 0; i <= widths.size(); ++i) {
    auto const n = static_cast<int>(i);
    ASSERT_EQ(p, np_uchar_seek(text, n)) << i;
    ASSERT_EQ(i, np_uchar_tell(text, p)) << i;
    std::string target(bytes.size() + 1, '\xEE');
    auto const room = static_cast<unsigned>(target.size());
    ASSERT_EQ(static_cast<unsigned>(p - text),
              np_uchar_bufncopy(target.data(), text, room, static_cast<unsigned>(i)));
    if (i == widths.size()) break;
    int width = -1;
    np_uchar_isspace(p, &width);
    ASSERT_EQ(width, widths[i] == 0 ? 1 : widths[i]);
    p += width;
  }
  EXPECT_EQ(bytes.size(), static_cast<std::size_t>(p - text));
  EXPECT_EQ(nullptr, np_uchar_seek(text, static_cast<int>(widths.size()) + 1));
}

}  // namespace

TEST(Chars, IllFormedBytesAreOneCharacterEach) {
  struct Row {
    char const* what;
    std::string bytes;
    std::vector<int> widths;
  };
  static Row const kRows[] = {
      {"stray continuation",
       "\x80"
       "a",
       {0, 1}},
      {"never a lead", "\xC0\xC1\xF5\xFF", {0, 0, 0, 0}},
      {"overlong",
       "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82"
       "A",
       {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"surrogates",
       "\xED\xA0\x80\xED\xBF\xBF\xED\xAF"
       "A",
       {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"above the top",
       "\xF4\x91\x92\x93\xFF"
       "A\x80\xBF"
       "B",
       {0, 0, 0, 0, 0, 1, 0, 0, 1}},
      {"cut",
       "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
       "A",
       {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"edges",
       "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       {2, 2, 3, 3, 3, 4, 4}},
      {"a sequence behind a cut one", "\xE4\xB8\xE4\xB8\xAD", {0, 0, 3}},
  };
  for (Row const& row : kRows) EXPECT_EQ(row.widths, walk(ExactText(row.bytes))) << row.what;
}

TEST(Chars, WalkStopsAtTheTerminatorOfEveryTruncation) {
  std::string const whole = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";
  for (std::size_t pad : {0u, 59u, 64u, 130u}) {
    std::string const text = std::string(pad, 'x') + whole;
    for (std::size_t n = 0; n <= text.size(); ++n) expectOneWalk(text.substr(0, n));
  }
}

TEST(Chars, LengthSeekTellAndClassesAgree) {
  std::mt19937 random(31);
  for (int i = 0; i < 300; ++i) expectOneWalk(randomText(random, random() % 300));
}
TEST(Chars, Smoke) {
  char out[64];
  EXPECT_EQ(6, np_uchar_encode(np_enc_windows1252, "gr\xFC\xDF", out, 64));
  EXPECT_STREQ("grüß", out);
  EXPECT_EQ(4, np_uchar_decode(np_enc_windows1252, "grüß", out, 64));
  EXPECT_EQ(-2, np_uchar_decode(np_enc_windows1252, "日", out, 64));
}
