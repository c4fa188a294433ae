// SPDX-License-Identifier: MIT
//
// What cut texts end with, and what is refused. fuzz/convert_fuzz.cpp compares the conversions with
// a second implementation, and has the borders and the ill-formed texts among its seeds.

#include "winnls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What doesn't fit is cut in front of a character and terminated, for each size of the target.
TEST(WinnlsTest, CutTextsEndWithAWholeCharacterAndATerminator) {
  std::string const text = "0123456789abcdef!a\u00E9\u20AC\U0001F600z";
  std::u16string const units = u"0123456789abcdef!a\u00E9\u20AC\U0001F600z";
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
