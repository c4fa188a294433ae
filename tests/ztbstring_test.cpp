// SPDX-License-Identifier: MIT

#include "ztbstring.h"

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
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
  struct Row {
    char const* what;
    ZtbString const& string;
    bool isNull;
  } const rows[] = {{"default", null, true},
                    {"copy of a null pointer", fromNull, true},
                    {"static empty", staticEmpty, false},
                    {"assigned null pointer", assigned, false}};
  for (Row const& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.isNull, row.string.isNull());
    EXPECT_STREQ("", row.string.asCstr());
    EXPECT_EQ(0u, row.string.length());
    EXPECT_EQ(1u, row.string.cStrSize());
  }
}

TEST_F(ZtbStringTest, CountsCharactersAndBytes) {
  ZtbString const string("h\u00e9llo \u20ac\U0001F600", true);
  EXPECT_EQ(8u, string.length());
  EXPECT_EQ(15u, string.cStrSize());
}

TEST_F(ZtbStringTest, ReadsNumbers) {
  struct Row {
    char const* text;
    int asInt;
    bool intFails;
    long long asInt64;
    bool int64Fails;
  } const rows[] = {
      {nullptr, 0, true, 0, true},
      {"", 0, true, 0, true},
      {"-17", -17, false, -17, false},
      {"2147483647", INT_MAX, false, INT_MAX, false},
      {"-2147483648", INT_MIN, false, INT_MIN, false},
      {"2147483648", 0, true, 2147483648LL, false},
      {"4294967296", 0, true, 4294967296LL, false},
      {"9223372036854775808", 0, true, 0, true},
      {"seven", 0, true, 0, true},
  };
  for (Row const& row : rows) {
    SCOPED_TRACE(row.text ? row.text : "(null)");
    ZtbString const string(row.text, true);
    bool failed = !row.intFails;
    EXPECT_EQ(row.asInt, string.asInt(&failed));
    EXPECT_EQ(row.intFails, failed);
    EXPECT_EQ(row.asInt64, string.asInt64(&failed));
    EXPECT_EQ(row.int64Fails, failed);
    EXPECT_EQ(row.asInt, string.asInt(nullptr));
  }
  bool failed = true;
  EXPECT_EQ(-1.5e3, lit("-1.5e3").asDouble(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0, lit("1,5").asDouble(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(ZtbStringTest, ComparesWithNullFirst) {
  struct Row {
    char const* left;
    char const* right;
    int exact;
    int folded;
  } const rows[] = {{nullptr, nullptr, 0, 0}, {nullptr, "", -1, -1}, {"", nullptr, 1, 1},
                    {"", "", 0, 0},           {"a", "b", -1, -1},    {"a", "A", 1, 0},
                    {"\u00e9", "z", 1, 1},    {"ab", "a", 1, 1},     {"\u00c4x", "\u00e4X", -1, 0}};
  auto const sign = [](int order) { return (order > 0) - (order < 0); };
  for (Row const& row : rows) {
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

TEST_F(ZtbStringTest, FindsByCharacters) {
  struct Row {
    char const* text;
    char const* needle;
    int start;
    int first;
    int last;
  } const rows[] = {
      {"banana", "an", 0, 1, 3},
      {"banana", "an", 2, 3, 3},
      {"banana", "an", INT_MIN, 1, 3},
      {"banana", "an", INT_MAX, -1, 3},
      {"banana", "an", 6, -1, 3},
      {"banana", "", 0, -1, -1},
      {"banana", nullptr, 0, -1, -1},
      {nullptr, "a", 0, -1, -1},
      {"", "a", 0, -1, -1},
      {"aaa", "aa", 0, 0, 1},
      {"\u00e9\u20ac\u00e9x", "\u00e9", 1, 2, 2},
      {"\u20ac\u20ac\u20ac", "\u20ac\u20ac", 0, 0, 1},
      {"x\u00e9y", "y", 2, 2, 2},
      {"x\u00e9y", "y", 3, -1, 2},
      {"x\u00e9y", "y", 4, -1, 2},
  };
  for (Row const& row : rows) {
    ZtbString const string(row.text, true), needle(row.needle, true);
    SCOPED_TRACE(shown(string) + " / " + shown(needle) + " / " + std::to_string(row.start));
    EXPECT_EQ(row.first, string.find(needle, row.start));
    EXPECT_EQ(row.last, string.rfind(needle));
  }
}

TEST_F(ZtbStringTest, TakesPartsByCharacters) {
  struct Row {
    char const* text;
    unsigned start;
    int count;
    char const* mid;
  } const rows[] = {
      {"a\u00e9\u20acz", 0, -1, "a\u00e9\u20acz"},
      {"a\u00e9\u20acz", 1, 2, "\u00e9\u20ac"},
      {"a\u00e9\u20acz", 2, INT_MAX, "\u20acz"},
      {"a\u00e9\u20acz", 1, INT_MIN, "\u00e9\u20acz"},
      {"a\u00e9\u20acz", 4, -1, ""},
      {"a\u00e9\u20acz", UINT_MAX, 3, ""},
      {"a\u00e9\u20acz", 1, 0, ""},
      {"abc", 3, 1, ""},
      {"abc", 1, 1, "b"},
      {"", 0, -1, ""},
      {nullptr, 0, -1, "(null)"},
      {nullptr, 5, 1, "(null)"},
  };
  for (Row const& row : rows) {
    ZtbString const string(row.text, true);
    SCOPED_TRACE(shown(string) + " / " + std::to_string(row.start));
    EXPECT_EQ(row.mid, shown(string.mid(row.start, row.count)));
  }
  ZtbString const text = lit("a\u00e9\u20ac");
  EXPECT_EQ("\u20ac", shown(text.right(1)));
  EXPECT_EQ("a\u00e9\u20ac", shown(text.right(INT_MAX)));
  EXPECT_EQ("", shown(text.right(0)));
  EXPECT_EQ("", shown(text.right(INT_MIN)));
  EXPECT_EQ("(null)", shown(ZtbString().right(1)));
}

TEST_F(ZtbStringTest, ReplacesIntoANewString) {
  struct Row {
    char const* text;
    char const* from;
    char const* to;
    unsigned start;
    int count;
    char const* result;
  } const rows[] = {
      {"a-b-c", "-", "+", 0, -1, "a+b+c"},
      {"a-b-c", "-", "+", 0, 1, "a+b-c"},
      {"a-b-c", "-", "+", 0, 0, "a-b-c"},
      {"a-b-c", "-", "+", 2, -1, "a-b+c"},
      {"--x", "--", "-", 0, -1, "-x"},
      {"xxxx", "x", "xx", 2, -1, "xxxxxx"},
      {"aaa", "aa", "b", 0, -1, "ba"},
      {"aaa", "aa", "b", 1, INT_MIN, "ab"},
      {"abc", "b", nullptr, 0, -1, "ac"},
      {"abc", "", "x", 0, -1, "abc"},
      {"abc", nullptr, "x", 0, -1, "abc"},
      {"abc", "c", "x", UINT_MAX, -1, "abc"},
      {"abc", "c", "x", 3, -1, "abc"},
      {"", "a", "b", 0, -1, ""},
      {nullptr, "a", "b", 0, -1, "(null)"},
      {"\u00e9x\u00e9", "\u00e9", "\u20ac", 1, -1, "\u00e9x\u20ac"},
      {"\u00e9x\u00e9", "x", "\u20ac\u20ac", 0, -1, "\u00e9\u20ac\u20ac\u00e9"},
      {"abc", "abc", "", 0, -1, ""},
  };
  for (Row const& row : rows) {
    ZtbString const string(row.text, true), from(row.from, true), to(row.to, true);
    SCOPED_TRACE(shown(string) + " / " + shown(from) + " / " + std::to_string(row.start));
    ZtbString const result = string.replace(from, to, row.start, row.count);
    EXPECT_EQ(row.result, shown(result));
    if (!result.isNull()) {
      EXPECT_EQ(ZtbString(row.result, true).length(), result.length());
    }
  }
}

TEST_F(ZtbStringTest, TrimsTheChosenEnds) {
  struct Row {
    char const* text;
    bool left, right;
    int removed;
    char const* result;
  } const rows[] = {
      {"  a b ", true, true, 3, "a b"},
      {"  a b ", true, false, 2, "a b "},
      {"  a b ", false, true, 1, "  a b"},
      {"  a b ", false, false, 0, "  a b "},
      {" \t\u2003\u00a0", true, true, 4, ""},
      {" \t\u2003", false, true, 3, ""},
      {"\u3000\u00e9 \u20ac\u3000", true, true, 2, "\u00e9 \u20ac"},
      {"", true, true, 0, ""},
      {nullptr, true, true, 0, "(null)"},
      {"a", true, true, 0, "a"},
  };
  for (Row const& row : rows) {
    ZtbString string(row.text, true);
    SCOPED_TRACE(shown(string));
    EXPECT_EQ(row.removed, string.trim(row.left, row.right));
    EXPECT_EQ(row.result, shown(string));
    EXPECT_EQ(lit(string.asCstr()).length(), string.length());
  }
  ZtbString quoted = lit("\u20ac\u20acx\u20ac");
  EXPECT_EQ(0, quoted.trimChar(0, true, true));
  EXPECT_EQ(0, quoted.trimChar('x', true, true));
  EXPECT_EQ(3, quoted.trimChar(0x20ac, true, true));
  EXPECT_EQ("x", shown(quoted));
}

TEST_F(ZtbStringTest, AssignBytesStopsAtWholeCharacters) {
  struct Row {
    char const* text;
    int nBytes;
    char const* result;
  } const rows[] = {{"a\u20acb", 5, "a\u20acb"},
                    {"a\u20acb", INT_MAX, "a\u20acb"},
                    {"a\u20acb", 4, "a\u20ac"},
                    {"a\u20acb", 3, "a"},
                    {"a\u20acb", 0, ""},
                    {"a\u20acb", -1, ""},
                    {"a\xe2\x82", 3, "a"},
                    {"a\xff"
                     "b",
                     3, "a"},
                    {nullptr, 3, ""}};
  for (Row const& row : rows) {
    ZtbString string;
    EXPECT_EQ(row.result, shown(string.assignBytes(row.text, row.nBytes))) << row.nBytes;
    EXPECT_EQ(lit(row.result).length(), string.length());
  }
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
  std::vector<double> values = {0.0,          -0.0,
                                1.5,          0.1,
                                1e15,         999999999999999.5,
                                1e-5,         0.0001,
                                1e300,        std::numeric_limits<double>::denorm_min(),
                                HUGE_VAL,     -HUGE_VAL,
                                std::nan(""), -std::nan("")};
  std::mt19937_64 random(31);
  for (int i = 0; i < 20000; ++i) {
    std::uint64_t const bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    values.push_back(value);
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

TEST_F(ZtbStringTest, WritingLeavesOtherHoldersAlone) {
  char const* const text = "  a-long-text-beyond-any-short-form  ";
  void (*const writers[])(ZtbString&) = {
      [](ZtbString& s) { s.append("x", nullptr); }, [](ZtbString& s) { s.append("x", 1, nullptr); },
      [](ZtbString& s) { s.append(s, nullptr); },   [](ZtbString& s) { s.truncate(3); },
      [](ZtbString& s) { s.trim(true, true); },     [](ZtbString& s) { s.uppercase(); },
      [](ZtbString& s) { s.assign("other"); },      [](ZtbString& s) { s.setNull(); },
  };
  for (bool const isStatic : {true, false}) {
    for (auto const write : writers) {
      ZtbString const original(text, isStatic);
      ZtbString copy(original);
      write(copy);
      EXPECT_STREQ(text, original.asCstr());
      EXPECT_EQ(isStatic, original.asCstr() == text);
      EXPECT_STRNE(text, copy.asCstr());
    }
  }
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
  copy = copy;
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
      switch (random() % 3) {
        case 0:
          string.append(part.c_str(), nullptr);
          break;
        case 1:
          string.append(part.c_str(), 2, nullptr);
          break;
        default:
          string.append(ZtbString(part.c_str(), true), nullptr);
      }
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

TEST_F(ZtbStringTest, OrdersMaps) {
  std::map<ZtbString, int, ZtbStringLessInsensitive> map;
  map[lit("BASE/temp")] = 1;
  map[lit("base/TEMP")] = 2;
  map[ZtbString()] = 3;
  map[lit("")] = 4;
  EXPECT_EQ(3u, map.size());
  EXPECT_EQ(2, map[lit("Base/Temp")]);
  EXPECT_TRUE(map.begin()->first.isNull());
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
  char const* error = nullptr;
  ASSERT_EQ(0, ztbInitialize(ZTB_TEST_BIN "/test", &error)) << error;
  auto string = std::make_unique<ZtbString>("text", false);
  auto copy = std::make_unique<ZtbString>(*string);
  ztbShutdown();
  string.reset();
  copy->setNull();
  EXPECT_TRUE(copy->isNull());
}

TEST(ZtbStringThreads, ABodyIsSharedSideBySide) {
  char const* error = nullptr;
  ASSERT_EQ(0, ztbInitialize(ZTB_TEST_BIN "/test", &error)) << error;
  {
    ZtbString const shared("a text that two threads hold", false);
    auto const work = [&shared] {
      for (int i = 0; i < 20000; ++i) {
        ZtbString copy(shared), assigned;
        assigned = copy;
        if (i % 16 == 0) assigned.append("!", nullptr);
        if (i % 32 == 0) copy.trimChar('a', true, false);
      }
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    EXPECT_STREQ("a text that two threads hold", shared.asCstr());
    ZtbString last(shared);
    last.append("!", nullptr);
    EXPECT_STREQ("a text that two threads hold", shared.asCstr());
  }
  ztbShutdown();
}

// A string beside what it should be: a null flag and its characters.
struct Model {
  bool isNull = true;
  std::u32string text;
};

std::string utf8(std::u32string const& text) {
  std::string bytes;
  for (char32_t const c : text) {
    auto const put = [&](unsigned value) { bytes += static_cast<char>(value); };
    auto const tail = [&](int shift) { put(0x80 | ((c >> shift) & 0x3f)); };
    if (c < 0x80) {
      put(c);
    } else if (c < 0x800) {
      put(0xc0 | (c >> 6)), tail(0);
    } else if (c < 0x10000) {
      put(0xe0 | (c >> 12)), tail(6), tail(0);
    } else {
      put(0xf0 | (c >> 18)), tail(12), tail(6), tail(0);
    }
  }
  return bytes;
}

// Random operations on a few strings and their models. Strings are copied into one another, so
// that bodies are shared while they change.
class RandomStrings {
 public:
  explicit RandomStrings(unsigned seed) : mRandom(seed) {}

  void step() {
    unsigned const at = below(kSlots);
    switch (below(14)) {
      case 0:
        set(at, below(8) == 0 ? Model{} : randomModel(10), below(2) == 0);
        break;
      case 1: {
        unsigned const from = below(kSlots);
        mStrings[at] = mStrings[from];
        mModels[at] = mModels[from];
        break;
      }
      case 2:
      case 3:
        appendString(at, below(kSlots));
        break;
      case 4:
        appendText(at);
        break;
      case 5:
        appendOwnTail(at);
        break;
      case 6:
        truncate(at);
        break;
      case 7:
        trim(at, U' ');
        break;
      case 8:
        trim(at, U'\u20ac');
        break;
      case 9:
        replace(at);
        break;
      case 10:
        part(at, below(kSlots));
        break;
      case 11:
        assignBytes(at);
        break;
      default:
        find(at);
    }
    check();
  }

 private:
  static constexpr unsigned kSlots = 5;
  static constexpr unsigned kLongest = 300;

  unsigned below(unsigned limit) { return static_cast<unsigned>(mRandom()) % limit; }

  Model randomModel(unsigned longest) {
    static char32_t const alphabet[] = U"aab  \u00e9\u20ac\u20ac\U0001F600";
    bool const asciiOnly = below(2) == 0;
    Model model{false, {}};
    for (unsigned n = below(longest + 1); n > 0; --n) {
      model.text += alphabet[below(asciiOnly ? 5 : 9)];
    }
    return model;
  }

  // A text that lives as long as this object, for static strings.
  char const* keep(std::u32string const& text) {
    mTexts.push_back(utf8(text));
    return mTexts.back().c_str();
  }

  void set(unsigned at, Model const& model, bool isStatic) {
    mStrings[at] = ZtbString(model.isNull ? nullptr : keep(model.text), isStatic);
    mModels[at] = model;
  }

  void appendString(unsigned at, unsigned other) {
    Model const added = mModels[other];
    if (mModels[at].text.size() + added.text.size() > kLongest)
      return set(at, randomModel(4), true);
    mStrings[at].append(mStrings[other], nullptr);
    if (mModels[at].isNull) {
      mModels[at] = added;
    } else {
      mModels[at].text += added.text;
    }
  }

  void appendText(unsigned at) {
    std::u32string const text = randomModel(6).text;
    int const count = static_cast<int>(below(10)) - 2;
    mStrings[at].append(utf8(text).c_str(), count, nullptr);
    mModels[at].isNull = false;
    mModels[at].text += count < 0 ? text : text.substr(0, static_cast<unsigned>(count));
  }

  void appendOwnTail(unsigned at) {
    std::u32string& text = mModels[at].text;
    if (text.empty() || text.size() > kLongest) return;
    std::size_t const from = below(static_cast<unsigned>(text.size()));
    mStrings[at].append(mStrings[at].asCstr() + utf8(text.substr(0, from)).size(), nullptr);
    text += text.substr(from);
  }

  void truncate(unsigned at) {
    unsigned const count = below(12);
    mStrings[at].truncate(count);
    if (mModels[at].text.size() > count) mModels[at].text.resize(count);
  }

  void trim(unsigned at, char32_t gone) {
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

  void part(unsigned at, unsigned target) {
    unsigned const start = below(12);
    int const count = static_cast<int>(below(8)) - 1;
    mStrings[target] = mStrings[at].mid(start, count);
    Model result{mModels[at].isNull, {}};
    if (start <= mModels[at].text.size()) {
      result.text = mModels[at].text.substr(
          start, count < 0 ? std::u32string::npos : static_cast<std::size_t>(count));
    }
    mModels[target] = result;
  }

  void assignBytes(unsigned at) {
    std::u32string text = randomModel(8).text;
    std::string const bytes = utf8(text);
    std::size_t const limit = below(12);
    mStrings[at].assignBytes(bytes.c_str(), static_cast<int>(limit));
    while (utf8(text).size() > limit) text.pop_back();
    mModels[at] = {false, text};
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
