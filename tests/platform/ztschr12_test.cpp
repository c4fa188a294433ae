// SPDX-License-Identifier: MIT
//
// Characters: the one walk that every operation agrees on, classes, case, comparison.

#include "ztschr12.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ztschr12_utf8.h"

namespace {

// A text in a block of exactly its size, so that the address sanitizer sees a byte too far.
class ExactText {
 public:
  // Out of line: a compiler that sees the size warns of bytes that the walk tests for, but doesn't
  // read.
  [[gnu::noinline]] explicit ExactText(std::string_view bytes)
      : mBytes(new char[bytes.size() + 1]) {
    std::memcpy(mBytes.get(), bytes.data(), bytes.size());
    mBytes[bytes.size()] = '\0';
  }
  operator char const*() const { return mBytes.get(); }

 private:
  std::unique_ptr<char[]> mBytes;
};

std::string utf8(unsigned c) {
  char bytes[4];
  return {bytes, np_utf8_put(c, bytes)};
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
  for (unsigned i = 0; i <= widths.size(); ++i) {
    ASSERT_EQ(p, np_uchar_seek(text, static_cast<int>(i))) << i;
    ASSERT_EQ(i, np_uchar_tell(text, p)) << i;
    std::string target(bytes.size() + 1, '\xEE');
    auto const room = static_cast<unsigned>(target.size());
    ASSERT_EQ(static_cast<unsigned>(p - text), np_uchar_bufncopy(target.data(), text, room, i));
    if (i == widths.size()) break;
    int width = -1;
    np_uchar_isspace(p, &width);
    ASSERT_EQ(width, std::max(widths[i], 1));
    p += width;
  }
  EXPECT_EQ(bytes.size(), static_cast<std::size_t>(p - text));
  EXPECT_EQ(nullptr, np_uchar_seek(text, static_cast<int>(widths.size()) + 1));
}

}  // namespace

TEST(Chars, IllFormedBytesAreOneCharacterEach) {
  struct {
    char const* what;
    std::string bytes;
    std::vector<int> widths;
  } const rows[] = {
      {"stray continuation", "\x80\x61", {0, 1}},
      {"never a lead", "\xC0\xC1\xF5\xFF", {0, 0, 0, 0}},
      {"overlong", "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"surrogates", "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"above the top", "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", {0, 0, 0, 0, 0, 1, 0, 0, 1}},
      {"cut", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", {0, 0, 0, 0, 0, 0, 0, 0, 1}},
      {"edges",
       "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       {2, 2, 3, 3, 3, 4, 4}},
      {"a sequence behind a cut one", "\xE4\xB8\xE4\xB8\xAD", {0, 0, 3}},
  };
  for (auto const& [what, bytes, widths] : rows) EXPECT_EQ(widths, walk(ExactText(bytes))) << what;
}

TEST(Chars, LengthSeekTellAndClassesAgreeOnEveryTruncation) {
  std::string const whole = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";
  for (std::size_t pad : {0u, 59u, 64u, 130u}) {
    std::string const text = std::string(pad, 'x') + whole;
    for (std::size_t n = 0; n <= text.size(); ++n) expectOneWalk(text.substr(0, n));
  }
  std::mt19937 random(31);
  for (int i = 0; i < 300; ++i) expectOneWalk(randomText(random, random() % 300));
}

// Every four bytes from the edges of the ranges, across the border of two blocks, against the walk.
TEST(Chars, BlocksAgreeWithSingleSteps) {
  static std::string const kEdges =
      "\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF4\xF5"
      "\xFF";
  std::size_t const kinds = kEdges.size();
  std::string text(192, 'a');
  for (std::size_t i = 0; i < kinds * kinds * kinds * kinds; ++i) {
    std::size_t const place = 61 + i % 4;
    std::size_t rest = i;
    for (std::size_t k = 0; k < 4; ++k, rest /= kinds) text[place + k] = kEdges[rest % kinds];
    std::size_t chars = 0, wellFormed = 0;
    for (std::size_t at = 0; at < text.size(); ++chars) {
      auto const bytes = static_cast<std::size_t>(std::max(0, np_uchar_sequence(&text[at])));
      if (wellFormed == at) wellFormed += bytes;
      at += std::max(bytes, std::size_t{1});
    }
    ASSERT_EQ(chars, np_uchar_length(text.c_str())) << testing::PrintToString(text);
    ASSERT_EQ(wellFormed, np_uchar_wellformed(text.data(), text.size()));
    for (NpUtf8Run const run :
         {np_utf8_run(text.data(), text.size()), np_utf8_run_portable(text.data(), text.size())}) {
      ASSERT_TRUE(run.bytes <= wellFormed && run.bytes + 67 >= wellFormed)
          << run.bytes << ' ' << testing::PrintToString(text);
      ASSERT_EQ(run.chars, np_uchar_tell(text.c_str(), text.c_str() + run.bytes));
    }
    std::fill_n(text.begin() + 61, 7, 'a');
  }
}

TEST(Chars, CountsAtTheEndsOfTheirRanges) {
  ExactText const text("a\xC3\xA9z");
  for (int n : {-1, INT_MIN, 4, 64, INT_MAX}) EXPECT_EQ(nullptr, np_uchar_seek(text, n)) << n;
  EXPECT_EQ(0u, np_uchar_tell(text + 3, text));
  EXPECT_EQ(2u, np_uchar_tell(text, text + 2)) << "inside a character counts it";
  for (std::size_t n : {1u, 3u, 70u}) {
    std::vector<char> cut(n, 'a');
    cut[n - 1] = '\xC3';
    unsigned chars = 9;
    EXPECT_EQ(n - 1, np_uchar_wellformed(cut.data(), n, &chars));
    EXPECT_EQ(n - 1, chars);
  }
  int width = -1;
  EXPECT_EQ(0u, np_uchar_toint(text + 4, &width));
  EXPECT_EQ(0, width);
}

TEST(Chars, BufncopyKeepsWholeCharactersWithinTheCapacity) {
  std::string const text = "aé中😀\x80\x62";
  struct {
    unsigned capacity, nChars;
    std::string copied;
  } const rows[] = {{1, UINT_MAX, ""},
                    {6, UINT_MAX, "aé"},
                    {7, UINT_MAX, "aé中"},
                    {10, UINT_MAX, "aé中"},
                    {12, UINT_MAX, "aé中😀\x80"},
                    {13, UINT_MAX, text},
                    {UINT_MAX, UINT_MAX, text},
                    {13, 3, "aé中"},
                    {4, 3, "aé"},
                    {UINT_MAX, 5, "aé中😀\x80"}};
  for (auto const& [capacity, nChars, copied] : rows) {
    char target[64];
    EXPECT_EQ(copied.size(), np_uchar_bufncopy(target, ExactText(text), capacity, nChars));
    EXPECT_EQ(copied, target) << capacity << ' ' << nChars;
    std::strcpy(target, text.c_str());
    np_uchar_bufncopy(target, target, capacity, nChars);
    EXPECT_EQ(copied, target) << "in place, " << capacity << ' ' << nChars;
  }
  char untouched = 'x';
  EXPECT_EQ(0u, np_uchar_bufncopy(&untouched, "abc", 0, 3));
  EXPECT_EQ('x', untouched);
}

TEST(Chars, EveryCodePointHasItsWidthAndClass) {
  std::string spaces, digits;
  for (unsigned c = 1; c <= 0x10FFFF; ++c) {
    if (!isScalar(c)) continue;
    std::string const text = utf8(c);
    int width = 0;
    ASSERT_EQ(c, np_uchar_toint(text.c_str(), &width));
    ASSERT_EQ(text.size(), static_cast<std::size_t>(width));
    if (np_uchar_isspace(text.c_str(), &width) != 0) spaces += text;
    if (np_uchar_isdigit(text.c_str(), &width) != 0) digits += text;
    ASSERT_EQ(c < 0x80, np_uchar_isascii(text.c_str(), &width) != 0);
  }
  EXPECT_EQ("0123456789", digits);
  EXPECT_EQ(
      "\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008"
      "\u2009\u200A\u2028\u2029\u202F\u205F\u3000",
      spaces);
}

TEST(Chars, CaseMapsCharacterByCharacter) {
  struct {
    std::string text, lower, upper;
  } const rows[] = {
      {"", "", ""},
      {"aZ@[`{09", "az@[`{09", "AZ@[`{09"},
      {"Größe", "größe", "GRÖẞE"},
      {"Σας", "σας", "ΣΑΣ"},
      {"ⱥȺ", "ⱥⱥ", "ȺȺ"},
      {"ﬃ𐐀", "ﬃ𐐨", "ﬃ𐐀"},
      {"\x80\x41\xE4\xB8\x62\xFF", "\x80\x61\xE4\xB8\x62\xFF", "\x80\x41\xE4\xB8\x42\xFF"}};
  for (auto const& row : rows) {
    for (auto [map, mapped] :
         {std::pair{&np_uchar_lower, &row.lower}, {&np_uchar_upper, &row.upper}}) {
      ExactText const source(row.text);
      ASSERT_EQ(mapped->size(), map(source, nullptr, UINT_MAX)) << row.text;
      for (unsigned size = 0; size <= mapped->size() + 1; ++size) {
        std::string target(size, 'x');
        unsigned const bytes = map(source, target.data(), size);
        if (size == 0) continue;
        ASSERT_EQ('\0', target[bytes]);
        std::string expected(mapped->size() + 1, '\0');
        np_uchar_bufncopy(expected.data(), mapped->c_str(), size, UINT_MAX);
        EXPECT_STREQ(expected.c_str(), target.c_str()) << row.text << ' ' << size;
      }
    }
  }
}

TEST(Chars, ComparisonFoldsCase) {
  // Each text comes before the next one; those in one row are equal.
  std::vector<std::vector<char const*>> const rows = {
      {""},
      {"_"},
      {"a", "A"},
      {"BASE/Some_Option_Key", "base/SOME_option_kEY"},
      {"base/some_option_key\x7F"},
      {"base/some_option_key\u00E9", "BASE/SOME_OPTION_KEY\u00C9"},
      {"base/some_option_key\x80", "BASE/SOME_OPTION_KEY\x80"},
      {"ffi", "\uFB03", "F\uFB01", "\uFB00I"},
      {"strasse", "STRASSE", "stra\u00DFe", "STRA\u1E9EE"},
      {"zz"},
      {"\u03C3", "\u03A3", "\u03C2"},
      {"\U00010428", "\U00010400"},
      {"\x80"},
      {"\xE4\xB8"},
      {"\xE4\xB9"}};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t k = 0; k < rows.size(); ++k) {
      for (std::string const a : rows[i]) {
        for (std::string const b : rows[k]) {
          int const order = np_uchar_icomp(ExactText(a), ExactText(b));
          EXPECT_EQ((i > k) - (i < k), (order > 0) - (order < 0)) << testing::PrintToString(a + b);
        }
      }
    }
  }
}

// Texts that differ in one character once had the same low bits, whatever the seed was.
TEST(Chars, HashesSpreadInTheirLowestBitsWhereverTheTextsDiffer) {
  constexpr unsigned kTexts = 4096;
  for (char const* const around : {"|", "|x", "x|", "xy|", "xy|z", "|xyz"}) {
    std::string const frame = around;
    std::size_t const gap = frame.find('|');
    std::vector<int> slots(kTexts);
    for (unsigned i = 0; i < kTexts; ++i) {
      std::string const text = frame.substr(0, gap) + utf8(0x4E00 + i) + frame.substr(gap + 1);
      ++slots[np_uchar_ihash(text.c_str(), 0x9E3779B97F4A7C15u) % kTexts];
    }
    EXPECT_GT(16, *std::max_element(slots.begin(), slots.end())) << frame;
  }
}

TEST(Chars, ComparisonIsAStrictWeakOrdering) {
  static char const* const kPieces[] = {"a",  "A",   "s", "ss",     "ß",    "ẞ",    "ﬃ",
                                        "f",  "Ffi", "Σ", "ς",      "\x80", "\xE4", "\xE4\xB8",
                                        "中", "İ",   "i", "\u0307", "_"};
  std::mt19937 random(7);
  std::vector<std::string> texts(200);
  for (std::string& text : texts) {
    for (unsigned long n = random() % 5; n > 0; --n) text += kPieces[random() % std::size(kPieces)];
  }
  auto const order = [](std::string const& a, std::string const& b) {
    return np_uchar_icomp(a.c_str(), b.c_str());
  };
  // With a seed that isn't special, texts of a few characters don't meet by chance.
  auto const hash = [](std::string const& text) {
    return np_uchar_ihash(text.c_str(), 0x9E3779B97F4A7C15u);
  };
  std::sort(texts.begin(), texts.end(), [&](auto& a, auto& b) { return order(a, b) < 0; });
  for (std::size_t i = 0, equals = 0; i < texts.size(); ++i) {
    if (order(texts[equals], texts[i]) != 0) equals = i;  // where those equal to this one begin
    for (std::size_t k = 0; k < texts.size(); ++k) {
      int const there = order(texts[k], texts[i]), back = order(texts[i], texts[k]);
      ASSERT_TRUE(k < equals ? there < 0 && back > 0 : k > i || (there == 0 && back == 0))
          << testing::PrintToString(texts[k] + '|' + texts[i]);
      ASSERT_EQ(there == 0, hash(texts[k]) == hash(texts[i]))
          << testing::PrintToString(texts[k] + '|' + texts[i]);
    }
  }
}
