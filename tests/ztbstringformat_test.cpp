// SPDX-License-Identifier: MIT

#include "ztbstringformat.h"

#include <climits>
#include <set>
#include <string>

#include "ztbtest.h"

namespace {

constexpr char const* kNoText = nullptr;

class ZtbStringFormatTest : public ztbtest::LibraryTest {};

void expectText(char const* expected, ZtbString const& actual) {
  EXPECT_STREQ(expected, actual.asCstr());
  EXPECT_EQ(ZtbString(expected, true).length(), actual.length()) << expected;
  EXPECT_FALSE(actual.isNull()) << expected;
}

TEST_F(ZtbStringFormatTest, WritesArguments) {
  ZtbString const string("\u20ac", true);
  expectText("-1", ztbStringFormat("%d", -1));
  expectText("-1 -2 4294967295", ztbStringFormat("%ld %li %lu", -1, -2, -1));
  expectText("-1 -2 18446744073709551615", ztbStringFormat("%lld %lli %llu", -1LL, -2LL, ~0ULL));
  expectText("-1 18446744073709551615", ztbStringFormat("%llld %llllu", -1LL, ~0ULL));
  expectText("-9223372036854775808 7", ztbStringFormat("%I64i %I64u", LLONG_MIN, 7ULL));
  expectText("text|\u20ac|", ztbStringFormat("%s|%S|", "text", &string));
  expectText("100% of \u00e9", ztbStringFormat("%d%% of \u00e9", 100));
  expectText("12", ztbStringFormat("%s%s", "1", "2"));
}

TEST_F(ZtbStringFormatTest, CopiesWhatIsNoDirective) {
  // Each with what it gives for the arguments 17 and 4.
  char const* const rows[][2] = {{"plain \u20ac text", "plain \u20ac text"},
                                 {"%x %d", "%x 17"},
                                 {"%u%i", "%u%i"},
                                 {"%5d %1$s", "%5d %1$s"},
                                 {"%lx %llx %lllx", "%lx %lx %lx"},
                                 {"%l%d", "%l%d"},
                                 {"%l\u00e9%d", "%l\u00e917"},
                                 {"%\u00e9%d", "%\u00e917"},
                                 {"%Iz", "%z"},
                                 {"%I%d", "%17"},
                                 {"%I64x %I6 %I", "%64x %6 %"},
                                 {"%I%I%d", "%%17"},
                                 {"%%%d%%d", "%17%d"},
                                 {"end %", "end %"},
                                 {"end %l", "end %l"},
                                 {"end %lll", "end %l"},
                                 {"% d", "% d"},
                                 {"%-s %d", "%-s 17"}};
  for (auto const& [format, result] : rows) {
    SCOPED_TRACE(format);
    expectText(result, ztbStringFormat(format, 17, 4));
  }
}

TEST_F(ZtbStringFormatTest, TellsNullFromEmpty) {
  ZtbString const null, empty("", true);
  EXPECT_TRUE(ztbStringFormat("").isNull() && ztbStringFormat(nullptr).isNull());
  EXPECT_TRUE(ztbStringFormat("%S%S", &null, &null).isNull());
  expectText("", ztbStringFormat("%s", ""));
  expectText("", ztbStringFormat("%s", kNoText));
  expectText("", ztbStringFormat("%S", &empty));
  expectText("[]", ztbStringFormat("[%s%S%S]", kNoText, &null, static_cast<ZtbString*>(nullptr)));
}

TEST_F(ZtbStringFormatTest, WritesAPointInEveryLocale) {
  for (char const* const name : {"C", "de_DE.UTF-8"}) {
    ztbtest::Locale const locale(name);
    expectText("1.5 -0.25 1e+20", ztbStringFormat("%g %g %g", 1.5, -0.25, 1e20));
  }
}

TEST_F(ZtbStringFormatTest, PiecesMayMeetInsideACharacterAndHaveNoLimit) {
  expectText("\u20ac!", ztbStringFormat("\xe2%s!", "\x82\xac"));
  std::string const text(300000, 'x');
  expectText((text + "-" + text).c_str(), ztbStringFormat("%s-%s", text.c_str(), text.c_str()));
}

TEST_F(ZtbStringFormatTest, IdentifiersAreUnique) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    ZtbString const id = ztbGetUUID();
    EXPECT_TRUE(id.length() <= 19 && seen.insert(id.asCstr()).second);
  }
}

}  // namespace
