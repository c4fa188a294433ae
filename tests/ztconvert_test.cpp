// SPDX-License-Identifier: MIT

#include "ztconvert.h"

#include <algorithm>
#include <climits>
#include <string>
#include <type_traits>
#include <vector>

#include "ztbinit.h"
#include "ztbstring.h"
#include "ztbtest.h"

namespace {

static_assert(!std::is_copy_constructible_v<ZtUCToUtf8> && !std::is_copy_assignable_v<ZtUCToUtf8>);
static_assert(!std::is_copy_constructible_v<ZtUtf8ToUC> && !std::is_copy_assignable_v<ZtUtf8ToUC>);

using ZtConvert = ztbtest::LibraryTest;

unsigned short const* unitsOf(std::u16string const& text) {
  return reinterpret_cast<unsigned short const*>(text.c_str());
}

std::u16string textOf(ZtUtf8ToUC& converter) {
  unsigned short const* const text = converter.ucString();
  return {text, text + converter.bufLength()};
}

// The call on a null pointer is what is tested.
template <class Converter>
__attribute__((noinline, no_sanitize("null"))) void releaseAt(Converter* volatile& converter) {
  converter->release();
}

TEST_F(ZtConvert, SixteenBitTextComesAsUtf8) {
  ZtUCToUtf8 converter;
  EXPECT_STREQ("", converter.utf8String());
  for (int pass = 0; pass < 2; ++pass) {
    ASSERT_TRUE(converter.set(3));
    EXPECT_EQ(3, converter.bufLength());
    EXPECT_EQ(6, converter.bufLengthBytes());
    std::copy_n(unitsOf(u"\u20ACxy"), 3, converter.getUCBuffer());
    char* const text = converter.utf8String();
    EXPECT_STREQ("\u20ACxy", text);
    converter.getUCBuffer()[1] = 0;
    EXPECT_EQ(text, converter.utf8String());
    EXPECT_STREQ("\u20ACxy", text) << "kept until the next set";
  }
  ASSERT_TRUE(converter.set(3));
  std::copy_n(unitsOf(u"a\0y"), 3, converter.getUCBuffer());
  EXPECT_STREQ("a", converter.utf8String()) << "up to the first terminator";
  ASSERT_TRUE(converter.set(0));
  EXPECT_EQ(nullptr, converter.getUCBuffer());
  EXPECT_EQ(0, converter.bufLength());
  EXPECT_STREQ("", converter.utf8String());
}

TEST_F(ZtConvert, Utf8ComesAsSixteenBitText) {
  ZtUtf8ToUC converter;
  EXPECT_EQ(nullptr, converter.ucString());
  for (char const* const text : {"\U0001F600 \u00E9", "", "caf\xE9 \u00E9"}) {
    ASSERT_TRUE(converter.set(text));
    EXPECT_EQ(converter.bufLength() * 2, converter.bufLengthBytes());
    ZtbString back;
    EXPECT_EQ(&back, &back.fromUCS2(converter.ucString()));
    EXPECT_STREQ(*text == 'c' ? "caf\uFFFD \u00E9" : text, back.asCstr());
  }
  ASSERT_TRUE(converter.set(""));
  EXPECT_EQ(std::u16string(1, u'\0'), textOf(converter));
  EXPECT_TRUE(converter.set(nullptr));
  EXPECT_EQ(nullptr, converter.ucString());
  EXPECT_EQ(0, converter.bufLength());
}

TEST_F(ZtConvert, StringsGoAcross) {
  ZtbString text("gr\u00FC\u00DFe", false);
  ZtUtf8ToUC* converter = text.asUCS2();
  ASSERT_NE(nullptr, converter);
  EXPECT_EQ(std::u16string(u"gr\u00FC\u00DFe\0", 6), textOf(*converter));
  converter->release();
  converter = ZtbString().asUCS2();
  ASSERT_NE(nullptr, converter);
  EXPECT_EQ(1, converter->bufLength());
  EXPECT_TRUE(text.fromUCS2(converter->ucString()).length() == 0 && !text.isNull());
  converter->release();
  EXPECT_EQ(4u, text.fromUCS2(unitsOf(u"\U0001F600abc")).length());
  EXPECT_FALSE(text.fromUCS2(nullptr).isNull());
}

TEST_F(ZtConvert, FreeFunctionsTerminateWithinTheTarget) {
  std::u16string wide = u"ab\u20AC";
  auto* const units = reinterpret_cast<unsigned short*>(wide.data());
  std::string narrow = "ab\U0001F600";
  char const* const expectedUtf8[] = {"", "a", "ab", "ab", "ab", "ab\u20AC", "ab\u20AC"};
  char16_t const* const expectedUtf16[] = {
      u"", u"a", u"ab", u"ab", u"ab\U0001F600", u"ab\U0001F600"};
  for (int size = 1; size <= 7; ++size) {
    std::vector<char> target(static_cast<std::size_t>(size), '#');
    convertUCToUtf8(units, target.data(), size);
    EXPECT_STREQ(expectedUtf8[size - 1], target.data()) << size;
  }
  for (int size = 1; size <= 6; ++size) {
    std::vector<unsigned short> target(static_cast<std::size_t>(size), u'#');
    convertUtf8ToUC(narrow.data(), target.data(), size);
    EXPECT_EQ(expectedUtf16[size - 1],
              std::u16string(reinterpret_cast<char16_t const*>(target.data())))
        << size;
  }
  char untouched = '#';
  for (int const size : {0, -1, INT_MIN}) convertUCToUtf8(units, &untouched, size);
  convertUCToUtf8(units, nullptr, 5);
  EXPECT_EQ('#', untouched);
  convertUCToUtf8(nullptr, &untouched, 1);
  EXPECT_EQ('\0', untouched);
}

TEST_F(ZtConvert, ReleaseOfNullDoesNothing) {
  ZtUCToUtf8* volatile narrowing = nullptr;
  ZtUtf8ToUC* volatile widening = nullptr;
  releaseAt(narrowing);
  releaseAt(widening);
  narrowing = new ZtUCToUtf8;
  EXPECT_TRUE(narrowing->set(5000));
  releaseAt(narrowing);
}

TEST_F(ZtConvert, LengthsThatMemoryDoesntHaveAreRefused) {
  ZtUCToUtf8 converter;
  EXPECT_FALSE(converter.set(INT_MAX)) << "4 GB and 2 bytes are more than the pool counts";
  EXPECT_EQ(INT_MAX, converter.bufLength());
  EXPECT_EQ(INT_MAX, converter.bufLengthBytes());
  EXPECT_EQ(nullptr, converter.getUCBuffer());
  EXPECT_FALSE(converter.set(-1));
  EXPECT_EQ(0, converter.bufLength());
}

TEST(ZtConvertWithoutPool, NothingIsHad) {
  ZtUCToUtf8 narrowing;
  EXPECT_FALSE(narrowing.set(1));
  EXPECT_EQ(nullptr, narrowing.utf8String());
  ZtUtf8ToUC widening;
  EXPECT_FALSE(widening.set("a"));
  EXPECT_EQ(nullptr, widening.ucString());
  EXPECT_EQ(nullptr, ZtbString("a", true).asUCS2());
  EXPECT_STREQ("kept", ZtbString("kept", true).fromUCS2(unitsOf(u"a")).asCstr());
}

}  // namespace
