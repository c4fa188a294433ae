// SPDX-License-Identifier: MIT

#include "ztbstring.h"

#include <bit>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <codecvt>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iterator>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ztbmempool.h"
#include "ztbtest.h"

namespace {

constexpr char const* kNull = nullptr;

ZtbString lit(char const* text) {
  return ZtbString(text, true);
}

// Prints null and empty apart.
std::string shown(ZtbString const& string) {
  return string.isNull() ? "(null)" : string.asCstr();
}

unsigned long requests() {
  std::string const stats = ZtbMemPool::getStats();
  return std::stoul(stats.substr(stats.find("Total: ") + 7));
}

class ZtbStringTest : public ztbtest::LibraryTest {};

TEST_F(ZtbStringTest, NullAndEmptyDiffer) {
  ZtbString const null;
  ZtbString const fromNull(nullptr, false);
  ZtbString const staticEmpty("", true);
  ZtbString assigned;
  assigned.assign(kNull);
  EXPECT_TRUE(null.isNull() && fromNull.isNull());
  EXPECT_FALSE(staticEmpty.isNull() || assigned.isNull());
  for (ZtbString const* string : {&null, &fromNull, &staticEmpty, &std::as_const(assigned)}) {
    EXPECT_STREQ("", string->asCstr());
    EXPECT_TRUE(string->length() == 0 && string->cStrSize() == 1);
  }
}

TEST_F(ZtbStringTest, ReadsNumbers) {
  struct {
    char const* text;
    int asInt;
    bool intFails;
    long long asInt64;
    bool int64Fails;
  } const rows[] = {{nullptr, 0, true, 0, true},
                    {"seven", 0, true, 0, true},
                    {"-2147483648", INT_MIN, false, INT_MIN, false},
                    {"4294967296", 0, true, 4294967296LL, false},
                    {"9223372036854775808", 0, true, 0, true}};
  for (auto const& row : rows) {
    ZtbString const string(row.text, true);
    bool intFailed = !row.intFails, int64Failed = !row.int64Fails;
    EXPECT_EQ(row.asInt, string.asInt(&intFailed)) << shown(string);
    EXPECT_EQ(row.asInt64, string.asInt64(&int64Failed)) << shown(string);
    EXPECT_TRUE(row.intFails == intFailed && row.int64Fails == int64Failed) << shown(string);
  }
  bool failed = true;
  EXPECT_EQ(-1.5e3, lit("-1.5e3").asDouble(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0, lit("1,5").asDouble(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(ZtbStringTest, ComparesWithNullFirst) {
  struct {
    char const *left, *right;
    int exact, folded;
  } const rows[] = {{nullptr, nullptr, 0, 0}, {nullptr, "", -1, -1}, {"", nullptr, 1, 1},
                    {"", "", 0, 0},           {"a", "b", -1, -1},    {"a", "A", 1, 0},
                    {"\u00e9", "z", 1, 1},    {"ab", "a", 1, 1},     {"\u00c4x", "\u00e4X", -1, 0}};
  auto const sign = [](int order) { return (order > 0) - (order < 0); };
  for (auto const& row : rows) {
    ZtbString const left(row.left, true), right(row.right, true);
    SCOPED_TRACE(shown(left) + " / " + shown(right));
    EXPECT_EQ(row.exact, left.compare(right, true));
    EXPECT_EQ(row.exact, left.compare(row.right, true));
    EXPECT_EQ(row.folded, sign(left.compare(right, false)));
    EXPECT_EQ(row.exact < 0, left < right);
    EXPECT_EQ(row.exact < 0, ZtbStringLess()(left, right));
    EXPECT_EQ(row.folded < 0, ZtbStringLessInsensitive()(left, right));
  }
}

TEST_F(ZtbStringTest, FindsAtTheEndsOfItsRanges) {
  ZtbString const text = lit("banana"), an = lit("an"), null;
  EXPECT_EQ(1, text.find(an, INT_MIN));
  int const absent[] = {text.find(an, INT_MAX), text.find(an, 6), text.find(null, 0),
                        null.find(an, 0),       null.rfind(an),   text.rfind(null)};
  for (int const& place : absent) EXPECT_EQ(-1, place) << &place - absent;
  EXPECT_EQ(1, lit("aaa").rfind(lit("aa")));
}

TEST_F(ZtbStringTest, TakesPartsAndReplacesAtTheEndsOfItsRanges) {
  ZtbString const text = lit("a\u00e9\u20acz"), dashes = lit("a-b-c"), dash = lit("-"),
                  plus = lit("+");
  ZtbString const null, empty = lit("");
  std::pair<char const*, ZtbString> const rows[] = {
      {"\u20acz", text.mid(2, INT_MAX)},
      {"\u00e9\u20acz", text.mid(1, INT_MIN)},
      {"", text.mid(4, -1)},
      {"", text.mid(UINT_MAX, 3)},
      {"", text.mid(1, 0)},
      {"(null)", null.mid(0, -1)},
      {"a\u00e9\u20acz", text.right(INT_MAX)},
      {"", text.right(0)},
      {"", text.right(INT_MIN)},
      {"(null)", null.right(1)},
      {"a-b+c", dashes.replace(dash, plus, 2, INT_MIN)},
      {"a-b-c", dashes.replace(dash, plus, UINT_MAX, -1)},
      {"a-b-c", dashes.replace(dash, plus, 5, -1)},
      {"a-b-c", dashes.replace(empty, plus, 0, -1)},
      {"a-b-c", dashes.replace(null, plus, 0, -1)},
      {"abc", dashes.replace(dash, null, 0, -1)},
      {"", empty.replace(dash, plus, 0, -1)},
      {"(null)", null.replace(dash, plus, 0, -1)},
  };
  for (auto const& row : rows) EXPECT_EQ(row.first, shown(row.second)) << "row " << &row - rows;
}

TEST_F(ZtbStringTest, TrimsUnicodeWhiteSpaceAndGivenCharacters) {
  ZtbString blank = lit(" \t\u2003\u00a0"), text = lit("\u3000\u00e9 \u20ac\u3000"), null;
  EXPECT_EQ(4, blank.trim(false, true));
  EXPECT_EQ("", shown(blank));
  EXPECT_EQ(0, text.trim(false, false));
  EXPECT_EQ(1, text.trim(true, false));
  EXPECT_EQ(0, text.trimChar(0, true, true));
  EXPECT_EQ(2, text.trim(true, true) + text.trimChar(0x20ac, true, true));
  EXPECT_EQ("\u00e9 ", shown(text));
  EXPECT_EQ(0, null.trim(true, true));
  EXPECT_EQ("(null)", shown(null));
}

TEST_F(ZtbStringTest, AssignBytesStopsAtWholeCharacters) {
  EXPECT_EQ("a\u20acb", shown(ZtbString().assignBytes("a\u20acb", INT_MAX)));
  EXPECT_EQ("a", shown(ZtbString().assignBytes("a\u20acb", 3)));
  EXPECT_EQ("", shown(ZtbString().assignBytes("a\u20acb", -1)));
  EXPECT_EQ("a", shown(ZtbString().assignBytes("a\xe2\x82", 3)));
  EXPECT_EQ("", shown(ZtbString().assignBytes(nullptr, 3)));
}

TEST_F(ZtbStringTest, WritesIntegers) {
  ZtbString string;
  EXPECT_EQ("-2147483648", shown(string.assign(INT_MIN)));
  EXPECT_EQ("-9223372036854775808", shown(string.assign(LLONG_MIN)));
  EXPECT_EQ("18446744073709551615", shown(string.assign(ULLONG_MAX)));
  EXPECT_EQ(20u, string.length());
}

// The reference is what the C library writes in its own locale.
TEST_F(ZtbStringTest, WritesDoublesWithAPointInEveryLocale) {
  std::vector<double> values = {
      0.0,    -0.0,         0.1,      1e15,      999999999999999.5, 1e-5,
      0.0001, DBL_TRUE_MIN, HUGE_VAL, -HUGE_VAL, std::nan(""),      -std::nan("")};
  std::mt19937_64 random(31);
  for (int i = 0; i < 20000; ++i) {
    std::uint64_t const bits = random();
    values.push_back(std::bit_cast<double>(bits));
    values.push_back(static_cast<double>(static_cast<std::int64_t>(bits >> 20)) / 1000);
  }
  std::string const before = std::setlocale(LC_NUMERIC, nullptr);
  for (double const value : values) {
    char expected[32];
    std::setlocale(LC_NUMERIC, "C");
    std::snprintf(expected, sizeof expected, "%.15g", value);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    ZtbString string;
    ASSERT_STREQ(expected, string.assign(value).asCstr());
  }
  std::setlocale(LC_NUMERIC, before.c_str());
}

TEST_F(ZtbStringTest, NullTakesOverTheFormThatIsAppended) {
  ZtbString const fixed = lit("fixed");
  ZtbString const shared("shared", false);
  unsigned long const before = requests();
  ZtbString a, b, c;
  bool failed = true;
  a.append(fixed, &failed);
  EXPECT_FALSE(failed);
  b.append(shared, nullptr);
  c.append(ZtbString(), nullptr);
  EXPECT_EQ(fixed.asCstr(), a.asCstr());
  EXPECT_EQ(shared.asCstr(), b.asCstr());
  EXPECT_TRUE(c.isNull());
  EXPECT_EQ(before, requests());
  c.append("text", 0, &failed);
  EXPECT_EQ("", shown(c));
  EXPECT_EQ("te", shown(ZtbString().append("text", 2, nullptr)));
  EXPECT_EQ("", shown(ZtbString().append(kNull, nullptr)));
}

TEST_F(ZtbStringTest, ReadingAndCopyingAllocateNothing) {
  ZtbString const original("text \u20ac", false);
  ZtbString fixed = lit("nothing to trim");
  char const* const text = fixed.asCstr();
  unsigned long const before = requests();
  ZtbString copy(original), assigned;
  assigned = copy;
  EXPECT_EQ(6u, assigned.length());
  EXPECT_EQ(5, assigned.find(lit("\u20ac"), 0));
  EXPECT_EQ(0, fixed.trim(true, true));
  fixed.truncate(100);
  EXPECT_EQ(text, fixed.asCstr());
  EXPECT_EQ(before, requests());
}

TEST_F(ZtbStringTest, SourcesMayLieInTheStringItself) {
  for (bool const held : {false, true}) {
    ZtbString string("ab\u20ac", false);
    ZtbString const other = held ? string : ZtbString();
    string.append(string, nullptr);
    EXPECT_EQ("ab\u20acab\u20ac", shown(string));
    string.append(string.asCstr() + 1, nullptr);
    EXPECT_EQ("ab\u20acab\u20acb\u20acab\u20ac", shown(string));
    EXPECT_EQ(11u, string.length());
    string.append(string.asCstr(), 1, nullptr).assign(string.asCstr() + 1, 3);
    EXPECT_EQ("b\u20aca", shown(string));
    string.assignBytes(string.asCstr() + 1, 3);
    EXPECT_EQ("\u20ac", shown(string));
  }
}

// Bytes that complete a character across two appends turn several characters into one.
TEST_F(ZtbStringTest, LengthIsThatOfTheWholeTextHoweverItWasBuilt) {
  std::mt19937 random(31);
  char const pieces[] = "a\x80\xbf\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xed\xa0\xff\xe0";
  for (int round = 0; round < 2000; ++round) {
    ZtbString string("", false);
    for (int step = 0; step < 12; ++step) {
      std::string part;
      for (unsigned n = random() % 4; n > 0; --n) part += pieces[random() % (sizeof pieces - 1)];
      auto const way = random() % 3;
      if (way == 0) string.append(part.c_str(), nullptr);
      if (way == 1) string.append(part.c_str(), 2, nullptr);
      if (way == 2) string.append(ZtbString(part.c_str(), true), nullptr);
      ASSERT_EQ(lit(string.asCstr()).length(), string.length());
      ASSERT_EQ(std::strlen(string.asCstr()) + 1, string.cStrSize());
    }
  }
}

TEST_F(ZtbStringTest, CaseMappingRebuildsTheText) {
  ZtbString string("\u00c4pfel \u00df \u0130", false);
  ZtbString const copy(string);
  EXPECT_TRUE(string.lowercase());
  EXPECT_EQ(lit(string.asCstr()).length(), string.length());
  EXPECT_EQ(0, std::strncmp("\u00e4pfel \u00df", string.asCstr(), 9));
  EXPECT_STREQ("\u00c4pfel \u00df \u0130", copy.asCstr());
  ZtbString empty("", true), null;
  EXPECT_TRUE(empty.uppercase() && null.uppercase());
  EXPECT_EQ("", shown(empty));
  EXPECT_TRUE(null.isNull());
}

// Without the pool every copy fails, which shows what each failure leaves.
TEST(ZtbStringWithoutPool, FailuresLeaveWhatIsDocumented) {
  EXPECT_TRUE(ZtbString("text", false).isNull());
  ZtbString string(" text ", true);
  bool failed = false;
  string.append("x", &failed);
  EXPECT_TRUE(failed);
  string.append(lit("x"), &failed);
  EXPECT_TRUE(failed);
  EXPECT_EQ(0, string.trim(true, true));
  EXPECT_FALSE(string.uppercase());
  EXPECT_STREQ(" text ", string.asCstr());
  EXPECT_EQ(6u, string.length());
  EXPECT_TRUE(string.mid(0, 2).isNull());
  EXPECT_TRUE(string.replace(lit("t"), lit("x"), 0, -1).isNull());
  ZtbString other(string);
  other.truncate(1);
  EXPECT_TRUE(other.isNull());
  string.assign(17);
  EXPECT_TRUE(string.isNull());
}

TEST(ZtbStringWithoutPool, StringsThatOutliveItLetGo) {
  ztbtest::initialize();
  auto string = std::make_unique<ZtbString>("text", false);
  auto copy = std::make_unique<ZtbString>(*string);
  ztbShutdown();
  string.reset();
  copy->setNull();
  EXPECT_TRUE(copy->isNull());
}

// A string beside what it should be: a null flag and its characters.
struct Model {
  bool isNull = true;
  std::u32string text;
};

std::string utf8(std::u32string const& text) {
  return std::wstring_convert<std::codecvt_utf8<char32_t>, char32_t>().to_bytes(text);
}

// Random operations on a few strings and their models. Strings are copied into one another, so
// that bodies are shared while they change.
class RandomStrings {
 public:
  explicit RandomStrings(unsigned seed) : mRandom(seed) {}

  void step() {
    using S = RandomStrings;
    static constexpr void (S::*kSteps[])(unsigned) = {
        &S::set,  &S::copy,    &S::appendString, &S::appendText, &S::truncate,
        &S::trim, &S::replace, &S::part,         &S::find};
    (this->*kSteps[below(std::size(kSteps))])(below(kSlots));
    check();
  }

 private:
  static constexpr unsigned kSlots = 5;
  static constexpr unsigned kLongest = 300;

  unsigned below(unsigned limit) { return static_cast<unsigned>(mRandom()) % limit; }

  Model randomModel(unsigned longest) {
    unsigned const kinds = below(2) == 0 ? 5 : 9;  // ASCII only, or all
    Model model{false, {}};
    for (unsigned n = below(longest + 1); n > 0; --n) {
      model.text += U"aab  \u00e9\u20ac\u20ac\U0001F600"[below(kinds)];
    }
    return model;
  }

  // A text that lives as long as this object, for static strings.
  char const* keep(std::u32string const& text) {
    mTexts.push_back(utf8(text));
    return mTexts.back().c_str();
  }

  void set(unsigned at) {
    mModels[at] = below(8) == 0 ? Model{} : randomModel(10);
    char const* const text = mModels[at].isNull ? nullptr : keep(mModels[at].text);
    mStrings[at] = ZtbString(text, below(2) == 0);
  }

  void copy(unsigned at) {
    unsigned const from = below(kSlots);
    mStrings[at] = mStrings[from];
    mModels[at] = mModels[from];
  }

  void appendString(unsigned at) {
    unsigned const other = below(kSlots);
    if (mModels[at].text.size() > kLongest) return set(at);
    mStrings[at].append(mStrings[other], nullptr);
    mModels[at].isNull = mModels[at].isNull && mModels[other].isNull;
    mModels[at].text += std::u32string(mModels[other].text);
  }

  void appendText(unsigned at) {
    std::u32string const text = randomModel(6).text;
    int const count = static_cast<int>(below(10)) - 2;
    mStrings[at].append(utf8(text).c_str(), count, nullptr);
    mModels[at].isNull = false;
    mModels[at].text += count < 0 ? text : text.substr(0, static_cast<unsigned>(count));
  }

  void truncate(unsigned at) {
    unsigned const count = below(12);
    mStrings[at].truncate(count);
    if (mModels[at].text.size() > count) mModels[at].text.resize(count);
  }

  void trim(unsigned at) {
    char32_t const gone = below(2) == 0 ? U' ' : U'\u20ac';
    bool const left = below(2) == 0, right = below(2) == 0;
    std::u32string& text = mModels[at].text;
    std::size_t const before = text.size();
    while (left && !text.empty() && text.front() == gone) text.erase(0, 1);
    while (right && !text.empty() && text.back() == gone) text.pop_back();
    int const removed = gone == U' ' ? mStrings[at].trim(left, right)
                                     : mStrings[at].trimChar(static_cast<int>(gone), left, right);
    ASSERT_EQ(static_cast<int>(before - text.size()), removed);
  }

  void replace(unsigned at) {
    Model& model = mModels[at];
    std::u32string const from = randomModel(2).text, to = randomModel(3).text;
    unsigned const start = below(6);
    int left = static_cast<int>(below(5)) - 1;
    mStrings[at] = mStrings[at].replace(lit(keep(from)), lit(keep(to)), start, left);
    std::size_t cursor = start;
    while (!from.empty() && left != 0 && cursor <= model.text.size()) {
      std::size_t const hit = model.text.find(from, cursor);
      if (hit == std::u32string::npos) break;
      model.text.replace(hit, from.size(), to);
      cursor = hit + to.size();
      left -= left > 0;
    }
  }

  void part(unsigned at) {
    unsigned const target = below(kSlots), start = below(12);
    int const count = static_cast<int>(below(8)) - 1;  // -1 takes all
    mStrings[target] = mStrings[at].mid(start, count);
    std::u32string const text = mModels[at].text;
    mModels[target] = {mModels[at].isNull, {}};
    if (start <= text.size())
      mModels[target].text = text.substr(start, static_cast<std::size_t>(count));
  }

  void find(unsigned at) {
    std::u32string const& text = mModels[at].text;
    std::u32string const needle = randomModel(2).text;
    unsigned const start = below(8);
    auto const index = [&](std::size_t hit) {
      return needle.empty() || hit == std::u32string::npos ? -1 : static_cast<int>(hit);
    };
    ZtbString const sought = lit(keep(needle));
    ASSERT_EQ(index(text.find(needle, start)), mStrings[at].find(sought, static_cast<int>(start)));
    ASSERT_EQ(index(text.rfind(needle)), mStrings[at].rfind(sought));
  }

  void check() const {
    for (unsigned i = 0; i < kSlots; ++i) {
      ASSERT_EQ(mModels[i].isNull, mStrings[i].isNull());
      ASSERT_EQ(utf8(mModels[i].text), mStrings[i].asCstr());
      ASSERT_EQ(mModels[i].text.size(), mStrings[i].length());
      ASSERT_EQ(std::strlen(mStrings[i].asCstr()) + 1, mStrings[i].cStrSize());
    }
  }

  std::mt19937 mRandom;
  std::deque<std::string> mTexts;
  ZtbString mStrings[kSlots];
  Model mModels[kSlots];
};

TEST_F(ZtbStringTest, BehavesAsATextOfCharacters) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    RandomStrings strings(seed);
    for (int i = 0; i < 2000; ++i) {
      strings.step();
      if (HasFatalFailure()) FAIL() << "seed " << seed << ", step " << i;
    }
  }
}

}  // namespace
