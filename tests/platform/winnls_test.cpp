// SPDX-License-Identifier: MIT
//
// Sizing, cutting and ill-formed text of the two conversions. fuzz/convert_fuzz.cpp compares them
// with a second implementation.

#include "winnls.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

// Converted through buffers of just their size, so that a byte too far is seen.
std::u16string wide(std::string const& text) {
  int const bytes = static_cast<int>(text.size());
  std::unique_ptr<char[]> const source(new char[text.size()]);
  text.copy(source.get(), text.size());
  int const units = MultiByteToWideChar(kCodePageUtf8, 0, source.get(), bytes, nullptr, 0);
  std::vector<unsigned short> target(static_cast<std::size_t>(units));
  EXPECT_EQ(units,
            MultiByteToWideChar(kCodePageUtf8, 0, source.get(), bytes, target.data(), units));
  return {target.begin(), target.end()};
}

std::string narrow(std::u16string const& text) {
  std::vector<unsigned short> const source(text.begin(), text.end());
  int const units = static_cast<int>(source.size());
  int const bytes =
      WideCharToMultiByte(kCodePageUtf8, 0, source.data(), units, nullptr, 0, nullptr, nullptr);
  std::vector<char> target(static_cast<std::size_t>(bytes));
  EXPECT_EQ(bytes, WideCharToMultiByte(kCodePageUtf8, 0, source.data(), units, target.data(), bytes,
                                       nullptr, nullptr));
  return {target.begin(), target.end()};
}

TEST(WinnlsTest, ConvertsBothWays) {
  struct {
    char const* utf8;
    char16_t const* utf16;
  } const rows[] = {
      {"a", u"a"},
      {"\u00DF\u07FF\u0800\uD7FF\uE000\uFFFF", u"\u00DF\u07FF\u0800\uD7FF\uE000\uFFFF"},
      {"\U00010000\U0010FFFF", u"\U00010000\U0010FFFF"},
      {"0123456789abcdef0123456789abcdef \u00E9 0123456789abcdef",
       u"0123456789abcdef0123456789abcdef \u00E9 0123456789abcdef"},
  };
  std::string allUtf8("\0"s);
  std::u16string allUtf16(u"\0"s);
  for (auto const& row : rows) {
    for (int repeat = 0; repeat < 9; ++repeat) {
      allUtf8 += row.utf8;
      allUtf16 += row.utf16;
    }
    EXPECT_EQ(row.utf16, wide(row.utf8));
    EXPECT_EQ(row.utf8, narrow(row.utf16));
  }
  EXPECT_EQ(allUtf16, wide(allUtf8));
  EXPECT_EQ(allUtf8, narrow(allUtf16));
}

TEST(WinnlsTest, EachMaximalIllFormedPartIsReplacedOnce) {
  // The first rows are those of the Unicode Standard's tables 3-8 to 3-11.
  struct {
    std::string utf8;
    char16_t const* utf16;
  } const rows[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41",
       u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41",
       u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"a\xE2\x82", u"a\uFFFD"},
      {"a\xF0\x9F\x98", u"a\uFFFD"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.utf16, wide(row.utf8));
    std::u16string const front(100, u'x');
    EXPECT_EQ(front + row.utf16, wide(std::string(100, 'x') + row.utf8));
  }
  EXPECT_EQ("\uFFFDa\uFFFD\uFFFD\U00010000\uFFFD",
            narrow({0xDC00, u'a', 0xD800, 0xD800, 0xD800, 0xDC00, 0xDBFF}));
}

// What doesn't fit is cut in front of a character and terminated, for each size of the target.
TEST(WinnlsTest, CutTextsEndWithAWholeCharacterAndATerminator) {
  std::string const text = "0123456789abcdef!a\u00E9\u20AC\U0001F600z";
  std::u16string const units = wide(text);
  for (std::size_t size = 1; size <= text.size(); ++size) {
    std::vector<char> target(size, '#');
    auto const* const source = reinterpret_cast<unsigned short const*>(units.c_str());
    EXPECT_EQ(0, WideCharToMultiByte(kCodePageUtf8, 0, source, -1, target.data(),
                                     static_cast<int>(size), nullptr, nullptr));
    std::size_t whole = size - 1;
    while ((text[whole] & 0xC0) == 0x80) --whole;
    EXPECT_EQ(text.substr(0, whole) + '\0', std::string(target.data(), whole + 1)) << size;
  }
  for (std::size_t size = 1; size <= units.size(); ++size) {
    std::vector<unsigned short> target(size, u'#');
    EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 0, text.c_str(), -1, target.data(),
                                     static_cast<int>(size)));
    std::size_t const whole = size - 1 - (units[size - 1] >= 0xDC00 && units[size - 1] < 0xE000);
    EXPECT_EQ(units.substr(0, whole) + u'\0',
              std::u16string(target.begin(), target.begin() + static_cast<long>(whole) + 1))
        << size;
  }
}

TEST(WinnlsTest, RefusesWhatItCantDo) {
  unsigned short units[4] = {7, 7, 7, 7};
  EXPECT_EQ(0, MultiByteToWideChar(1252, 0, "a", -1, units, 4));
  EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 8, "a", -1, units, 4));
  EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 0, nullptr, -1, units, 4));
  EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 0, "a", 0, units, 4));
  EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 0, "a", -1, units, -4));
  EXPECT_EQ(0, MultiByteToWideChar(kCodePageUtf8, 0, "a", -1, nullptr, 4));
  EXPECT_EQ(7, units[0]);
  int usedDefault = 7;
  EXPECT_EQ(0, WideCharToMultiByte(kCodePageUtf8, 0, nullptr, 1, nullptr, 0, "?", &usedDefault));
  EXPECT_EQ(0, usedDefault);
  EXPECT_EQ(2, MultiByteToWideChar(kCodePageUtf8, 0, "a", -2, units, 4)) << "up to the terminator";
  EXPECT_EQ(0, units[1]);
  EXPECT_EQ(1, MultiByteToWideChar(kCodePageUtf8, 0, "b", 1, units, 4)) << "and nothing added";
  EXPECT_EQ(7, units[2]);
}

}  // namespace
