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

TEST_F(ZtbStringTest, ReadsNumbers) {
  struct {
    char const* text;
    int asInt;
    long long asInt64;
    double asDouble;
    char const* failures;  // of the three
  } const rows[] = {{nullptr, 0, 0, 0, "111"},
                    {"-2147483648", INT_MIN, INT_MIN, INT_MIN, "000"},
                    {"4294967296", 0, 4294967296, 4294967296, "100"},
                    {"-1.5e3", 0, 0, -1500, "110"},
                    {"1,5", 0, 0, 0, "111"}};
  for (auto const& row : rows) {
    ZtbString const string(row.text, true);
    for (bool const before : {false, true}) {
      bool failed[] = {before, before, before};
      EXPECT_EQ(row.asInt, string.asInt(&failed[0])) << shown(string);
      EXPECT_EQ(row.asInt64, string.asInt64(&failed[1])) << shown(string);
      EXPECT_EQ(row.asDouble, string.asDouble(&failed[2])) << shown(string);
      for (int i = 0; i < 3; ++i) EXPECT_EQ(row.failures[i] == '1', failed[i]) << shown(string);
    }
  }
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

TEST_F(ZtbStringTest, FindsNothingBeyondTheEndsOfItsRanges) {
  ZtbString const text = lit("banana"), an = lit("an"), null;
  EXPECT_EQ(1, text.find(an, INT_MIN));
  for (int const place : {text.find(an, INT_MAX), text.find(an, 6), text.find(null, 0),
                          null.find(an, 0), null.rfind(an), text.rfind(null)}) {
    EXPECT_EQ(-1, place);
  }
  EXPECT_EQ(1, lit("aaa").rfind(lit("aa")));
}

TEST_F(ZtbStringTest, MakesTextsAtTheEndsOfItsRangesWithNullAndEmptyApart) {
  ZtbString const text = lit("a\u00e9\u20acz"), dashes = lit("a-b-c"), dash = lit("-"),
                  plus = lit("+");
  ZtbString const null, empty = lit("");
  char const unterminated[] = {'a', '\xe2', '\x82'};
  std::pair<char const*, ZtbString> const rows[] = {
      {"(null)", null},
      {"(null)", ZtbString(nullptr, false)},
      {"", empty},
      {"", ZtbString().assign(kNull)},
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
      {"a-b-c", dashes.replace(empty, plus, 0, -1)},
      {"a-b-c", dashes.replace(null, plus, 0, -1)},
      {"abc", dashes.replace(dash, null, 0, -1)},
      {"(null)", null.replace(dash, plus, 0, -1)},
      {"te", ZtbString().append("text", 2, nullptr)},
      {"", ZtbString().append("text", 0, nullptr)},
      {"", ZtbString().append(kNull, nullptr)},
      // Bytes stop at whole characters.
      {"a\u20acb", ZtbString().assignBytes("a\u20acb", INT_MAX)},
      {"a", ZtbString().assignBytes("a\u20acb", 3)},
      {"", ZtbString().assignBytes("a\u20acb", -1)},
      {"a", ZtbString().assignBytes(unterminated, 3)},
      {"", ZtbString().assignBytes(nullptr, 3)},
      {"-2147483648", ZtbString().assign(INT_MIN)},
      {"-9223372036854775808", ZtbString().assign(LLONG_MIN)},
      {"18446744073709551615", ZtbString().assign(ULLONG_MAX)},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.first, shown(row.second)) << "row " << &row - rows;
    EXPECT_EQ(lit(row.second.asCstr()).length(), row.second.length()) << row.first;
    EXPECT_EQ(std::strlen(row.second.asCstr()) + 1, row.second.cStrSize()) << row.first;
  }
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

TEST_F(ZtbStringTest, ReadingCopyingAndAppendingToNullAllocateNothing) {
  ZtbString const shared("text \u20ac", false);
  ZtbString fixed = lit("nothing to trim");
  char const* const text = fixed.asCstr();
  unsigned long const before = requests();
  ZtbString copy(shared), assigned, a, b, c;
  assigned = copy;
  EXPECT_EQ(6u, assigned.length());
  EXPECT_EQ(5, assigned.find(lit("\u20ac"), 0));
  EXPECT_EQ(0, fixed.trim(true, true));
  fixed.truncate(100);
  EXPECT_EQ(text, fixed.asCstr());
  bool failed = true;
  EXPECT_EQ(text, a.append(fixed, &failed).asCstr());
  EXPECT_FALSE(failed);
  EXPECT_EQ(shared.asCstr(), b.append(shared, nullptr).asCstr());
  EXPECT_TRUE(c.append(ZtbString(), nullptr).isNull());
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
  ZtbString string(" text ", true);
  bool failed[2] = {};
  string.append("x", &failed[0]).append(lit("x"), &failed[1]);
  EXPECT_TRUE(failed[0] && failed[1]);
  EXPECT_EQ(0, string.trim(true, true));
  EXPECT_FALSE(string.uppercase());
  EXPECT_EQ(" text ", shown(string));
  EXPECT_EQ(6u, string.length());
  ZtbString other(string);
  other.truncate(1);
  for (ZtbString const& null :
       {ZtbString("text", false), string.mid(0, 2), string.replace(lit("t"), lit("x"), 0, -1),
        other, string.assign(17)}) {
    EXPECT_TRUE(null.isNull());
  }
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
    static constexpr void (S::*kSteps[])(ZtbString&, Model&) = {
        &S::set,  &S::copy,    &S::appendString, &S::appendText, &S::truncate,
        &S::trim, &S::replace, &S::part,         &S::find};
    unsigned const at = below(kSlots);
    (this->*kSteps[below(std::size(kSteps))])(mStrings[at], mModels[at]);
    for (unsigned i = 0; i < kSlots; ++i) {
      std::string const text = mModels[i].isNull ? "(null)" : utf8(mModels[i].text);
      ASSERT_EQ(text, shown(mStrings[i]));
      ASSERT_EQ(mModels[i].text.size(), mStrings[i].length());
      ASSERT_EQ(std::strlen(mStrings[i].asCstr()) + 1, mStrings[i].cStrSize());
    }
  }

 private:
  static constexpr unsigned kSlots = 5;
  static constexpr unsigned kLongest = 300;

  unsigned below(unsigned limit) { return static_cast<unsigned>(mRandom()) % limit; }

  std::u32string randomText(unsigned longest) {
    unsigned const kinds = below(2) == 0 ? 5 : 9;  // ASCII only, or all
    std::u32string text(below(longest + 1), U' ');
    for (char32_t& c : text) c = U"aab  \u00e9\u20ac\u20ac\U0001F600"[below(kinds)];
    return text;
  }

  // A static string, whose text lives as long as this object.
  ZtbString keep(std::u32string const& text) {
    return lit(mTexts.emplace_back(utf8(text)).c_str());
  }

  void set(ZtbString& string, Model& model) {
    model = below(8) == 0 ? Model{} : Model{false, randomText(10)};
    ZtbString const text = keep(model.text);
    string = model.isNull ? ZtbString() : below(2) == 0 ? text : ZtbString(text.asCstr(), false);
  }

  void copy(ZtbString& string, Model& model) {
    unsigned const from = below(kSlots);
    string = mStrings[from];
    model = mModels[from];
  }

  void appendString(ZtbString& string, Model& model) {
    unsigned const other = below(kSlots);
    if (model.text.size() > kLongest) return set(string, model);
    string.append(mStrings[other], nullptr);
    model.isNull = model.isNull && mModels[other].isNull;
    model.text += std::u32string(mModels[other].text);
  }

  void appendText(ZtbString& string, Model& model) {
    std::u32string const text = randomText(6);
    int const count = static_cast<int>(below(10)) - 2;
    string.append(utf8(text).c_str(), count, nullptr);
    model = {false, model.text + text.substr(0, static_cast<std::size_t>(count))};
  }

  void truncate(ZtbString& string, Model& model) {
    unsigned const count = below(12);
    string.truncate(count);
    model.text = model.text.substr(0, count);
  }

  void trim(ZtbString& string, Model& model) {
    char32_t const gone = below(2) == 0 ? U' ' : U'\u20ac';
    bool const left = below(2) == 0, right = below(2) == 0;
    std::size_t const before = model.text.size();
    while (left && model.text.starts_with(gone)) model.text.erase(0, 1);
    while (right && model.text.ends_with(gone)) model.text.pop_back();
    int const removed = gone == U' ' ? string.trim(left, right)
                                     : string.trimChar(static_cast<int>(gone), left, right);
    ASSERT_EQ(static_cast<int>(before - model.text.size()), removed);
  }

  void replace(ZtbString& string, Model& model) {
    std::u32string const from = randomText(2), to = randomText(3);
    unsigned const start = below(6);
    int left = static_cast<int>(below(5)) - 1;
    string = string.replace(keep(from), keep(to), start, left);
    std::size_t hit = from.empty() ? std::u32string::npos : model.text.find(from, start);
    for (; left != 0 && hit != std::u32string::npos; --left) {
      model.text.replace(hit, from.size(), to);
      hit = model.text.find(from, hit + to.size());
    }
  }

  void part(ZtbString& string, Model& model) {
    unsigned const target = below(kSlots), start = below(12);
    int const count = static_cast<int>(below(8)) - 1;  // -1 takes all
    mStrings[target] = string.mid(start, count);
    std::u32string const rest = start < model.text.size() ? model.text.substr(start) : U"";
    mModels[target] = {model.isNull, rest.substr(0, static_cast<std::size_t>(count))};
  }

  void find(ZtbString& string, Model& model) {
    std::u32string const needle = randomText(2);
    unsigned const start = below(8);
    auto const index = [&](std::size_t hit) { return needle.empty() ? -1 : static_cast<int>(hit); };
    ZtbString const sought = keep(needle);
    ASSERT_EQ(index(model.text.find(needle, start)), string.find(sought, static_cast<int>(start)));
    ASSERT_EQ(index(model.text.rfind(needle)), string.rfind(sought));
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
