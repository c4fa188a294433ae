// SPDX-License-Identifier: MIT
//
// Variants: types and their names, assignment, conversions, raw forms, order, and sharing.

#include "ztbdatavar.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ztbmempool.h"
#include "ztbtest.h"

namespace {

static_assert(sizeof(ZtbDatavar) == 2 * sizeof(void*) && sizeof(ztbType) == 4);

class ZtbDatavarTest : public ztbtest::LibraryTest {};

std::string shown(ZtbString const& text) {
  return text.isNull() ? "null" : text.asCstr();
}
std::string shown(ZtbDatavar const& v) {
  return shown(v.asString());
}

template <class Value>
ZtbDatavar make(Value value) {
  return ZtbDatavar().assign(value);
}
ZtbDatavar raw(ztbType type, std::string const& bytes) {
  return ZtbDatavar().assign(type, bytes.data(), static_cast<unsigned>(bytes.size()));
}
ZtbDatavar rawDate(double moment) {
  return ZtbDatavar().assign(ztbTypeDate, &moment, sizeof moment);
}
ZtbDatavar nullReal() {
  return make(std::nan(""));
}
unsigned rawSize(ZtbDatavar const& v) {
  unsigned size = 7;
  v.getRaw(&size);
  return size;
}

TEST(ZtbDatavarTypes, NamesAndNumbersFindEachOther) {
  struct {
    char const* name;
    ztbType type;
    int dateOrder;
    int size;
  } const rows[] = {
      {"Unknown", ztbTypeUnknown, 0, 0},   {"BOOLEAN", ztbTypeBoolean, 0, 1},
      {"integer", ztbTypeInteger, 0, 8},   {"Real", ztbTypeReal, 0, 24},
      {"string", ztbTypeString, 0, 0},     {"Date", ztbTypeDate, 0, 8},
      {"Date (MDY)", ztbTypeDate, 0, 8},   {"Date (DMY)", ztbTypeDate, 1, 8},
      {"date (ymd)", ztbTypeDate, 2, 8},   {"Text", ztbTypeUnknown, 0, 0},
      {"Date(DMY)", ztbTypeUnknown, 0, 0}, {nullptr, ztbTypeUnknown, 0, 0},
  };
  for (auto const& row : rows) {
    int dateOrder = 7;
    EXPECT_EQ(row.type, ztbTypeFromString(row.name, &dateOrder)) << row.name;
    EXPECT_EQ(row.type, ztbTypeFromString(row.name, nullptr));
    EXPECT_EQ(row.type, ztbTypeFromString(row.name));
    EXPECT_EQ(row.dateOrder, dateOrder) << row.name;
    EXPECT_EQ(row.size, ZtbDatavar::getRawSizeReq(row.type)) << row.name;
  }
  char const* const names[] = {"", "Unknown", "Boolean", "Integer", "Real", "String", "Date", ""};
  for (int i = 0; i < 8; ++i) EXPECT_STREQ(names[i], ztbTypeToString(static_cast<ztbType>(i - 1)));
  for (int number : {-1, INT_MAX}) {
    EXPECT_EQ(0, ZtbDatavar::getRawSizeReq(static_cast<ztbType>(number)));
  }
}

// The result as text, with zero behind an error, and the same without the flag.
template <class Result>
std::string outcome(ZtbDatavar const& value, Result (ZtbDatavar::*convert)(bool*) const) {
  bool error = true;
  ZtbDatavar const result = make((value.*convert)(&error));
  EXPECT_EQ(shown(result), shown(make((value.*convert)(nullptr))));
  if (!error) return shown(result);
  bool const isZero = shown(result) == shown(make(Result()));
  return isZero ? "error" : "error and " + shown(result);
}

TEST_F(ZtbDatavarTest, ConversionsFollowTheTable) {
  ztbtest::Locale const locale("C");
  double const infinity = std::numeric_limits<double>::infinity();
  struct {
    char const* what;
    ZtbDatavar value;
    char const* expected;  // asInt | asInt64 | asDouble | asBool | asReal | asDate | asString
  } const rows[] = {
      {"null", {}, "0|0|0|false|null|null|null"},
      {"null real", nullReal(), "0|0|0|false|null|null|null"},
      {"true", make(true), "1|1|1|true|1|null|true"},
      {"false", make(false), "0|0|0|false|0|null|false"},
      {"raw truth", raw(ztbTypeBoolean, "\x80"), "1|1|1|true|1|null|true"},
      {"integer", make(0x1'8000'0001LL),
       "-2147483647|6442450945|6442450945|true|6442450945|null|6442450945"},
      {"least integer", make(LLONG_MIN),
       "0|-9223372036854775808|-9223372036854776000|true|-9223372036854775808|null|"
       "-9223372036854775808"},
      {"real", make(2.75), "2|2|2.75|true|2.75|1970-01-01 00:00:02|2.75"},
      {"half", make(0.5f), "0|0|0.5|false|0.5|1970-01-01 00:00:00|0.5"},
      {"minus a half", make(-0.5), "-1|-1|-0.5|true|-0.5|1969-12-31 23:59:59|-0.5"},
      {"beyond int", make(3e9),
       "error|3000000000|3000000000|true|3000000000|2065-01-24 05:20:00|3000000000"},
      {"beyond int64", make(1e19),
       "error|error|10000000000000000000|error|10000000000000000000|null|10000000000000000000"},
      {"infinite", make(-infinity), "error|error|-Infinity|error|-Infinity|null|-Infinity"},
      {"text", make("abc"), "error|error|error|error|error|null|abc"},
      {"empty text", make(""), "error|error|error|error|error|null|"},
      {"number", make("  7"), "7|7|7|error|7|null|  7"},
      {"decimal", make("7.25"), "error|error|7.25|true|7.25|null|7.25"},
      {"text beyond int", make("3000000000"),
       "error|3000000000|3000000000|true|3000000000|null|3000000000"},
      {"text beyond int64", make("9223372036854775808"),
       "error|error|9223372036854776000|true|9223372036854775808|null|9223372036854775808"},
      {"date text", make("1989-02-03 19:05:06"),
       "error|error|error|true|error|1989-02-03 19:05:06|1989-02-03 19:05:06"},
      {"date", make(ZtbDate("1989-02-03 19:05:06")),
       "602535906|602535906|602535906|error|602535906|1989-02-03 19:05:06|02/03/89 19:05:06"},
      {"early date", make(ZtbDate(-1.5)),
       "-1|-1|-1.5|error|-1.5|1969-12-31 23:59:58|12/31/69 23:59:58"},
      {"date beyond int", make(ZtbDate(3e9)),
       "error|3000000000|3000000000|error|3000000000|2065-01-24 05:20:00|01/24/65 05:20:00"},
      {"infinite date", rawDate(infinity), "error|error|Infinity|error|Infinity|null|null"},
      {"NaN date", rawDate(std::nan("")), "error|error|null|error|null|null|null"},
      {"unknown", raw(ztbTypeUnknown, "ab"), "error|error|error|error|error|null|null"},
      {"no type", raw(static_cast<ztbType>(9), "ab"), "error|error|error|error|error|null|null"},
  };
  for (auto const& row : rows) {
    ZtbDatavar const& v = row.value;
    std::string const got =
        outcome(v, &ZtbDatavar::asInt) + '|' + outcome(v, &ZtbDatavar::asInt64) + '|' +
        outcome(v, &ZtbDatavar::asDouble) + '|' + outcome(v, &ZtbDatavar::asBool) + '|' +
        outcome(v, &ZtbDatavar::asReal) + '|' + shown(v.asDate().asString(true)) + '|' + shown(v);
    EXPECT_EQ(row.expected, got) << row.what;
  }
  EXPECT_EQ(infinity, make(1e300).asFloat(nullptr));
  EXPECT_EQ(0.1f, make("0.1").asFloat(nullptr));
}

TEST_F(ZtbDatavarTest, TruthIsReadFromWordsAndFirstDigits) {
  std::pair<char const*, std::vector<char const*>> const rows[] = {
      {"true", {"true", "TRUE", "Yes", "7up"}},
      {"false", {"false", "no", "0x1"}},
      {"error", {"-1", " true", "truer", "\u0661", ""}}};
  for (auto const& [truth, texts] : rows) {
    for (char const* text : texts) {
      EXPECT_EQ(truth, outcome(make(text), &ZtbDatavar::asBool)) << text;
    }
  }
}

TEST_F(ZtbDatavarTest, SetTypeConvertsInPlace) {
  ztbtest::Locale const locale("C");
  ZtbReal wide;  // 72 digits in front of the point, of which 52 aren't zeros, have no short form
  wide.assign((std::string(52, '7') + "E+20").c_str());
  struct {
    ZtbDatavar value;
    int type;
    bool done;
    ztbType typeAfter;
    char const* textAfter;
  } const rows[] = {
      {{}, ztbTypeString, false, ztbTypeUnknown, "null"},
      {nullReal(), ztbTypeReal, false, ztbTypeReal, "null"},
      {nullReal(), ztbTypeString, false, ztbTypeReal, "null"},
      {make(5), ztbTypeInteger, true, ztbTypeInteger, "5"},
      {make(5), ztbTypeUnknown, false, ztbTypeInteger, "5"},
      {make(5), 6, false, ztbTypeInteger, "5"},
      {make(5), ztbTypeBoolean, true, ztbTypeBoolean, "true"},
      {make(5), ztbTypeReal, true, ztbTypeReal, "5"},
      {make(5), ztbTypeString, true, ztbTypeString, "5"},
      {make(5), ztbTypeDate, true, ztbTypeUnknown, "null"},
      {make("abc"), ztbTypeBoolean, false, ztbTypeBoolean, "false"},
      {make("abc"), ztbTypeInteger, false, ztbTypeInteger, "0"},
      {make("abc"), ztbTypeReal, false, ztbTypeUnknown, "null"},
      {make("abc"), ztbTypeDate, true, ztbTypeUnknown, "null"},
      {make("1970-01-02"), ztbTypeDate, true, ztbTypeDate, "01/02/70 00:00:00"},
      {make(wide), ztbTypeString, true, ztbTypeUnknown, "null"},
      {make(ZtbReal(1e300)), ztbTypeString, true, ztbTypeString, "1E+300"},
      {rawDate(std::nan("")), ztbTypeString, true, ztbTypeUnknown, "null"},
      {rawDate(std::nan("")), ztbTypeReal, true, ztbTypeUnknown, "null"},
      {raw(ztbTypeUnknown, "ab"), ztbTypeUnknown, true, ztbTypeUnknown, "null"},
      {raw(ztbTypeUnknown, "ab"), ztbTypeString, true, ztbTypeUnknown, "null"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(shown(row.value) + " to " + std::to_string(row.type));
    ZtbDatavar v(row.value);
    EXPECT_EQ(row.done, v.setType(static_cast<ztbType>(row.type)));
    EXPECT_EQ(row.typeAfter, v.type());
    EXPECT_EQ(row.textAfter, shown(v));
  }
}

TEST_F(ZtbDatavarTest, NullValuesMakeNullVariants) {
  ZtbDatavar null;
  for (ZtbDatavar v :
       {ZtbDatavar(), make(7).assign(ZtbReal()), make(7).assign(ZtbDate()),
        make(7).assign(ZtbString()), make("x").assign(static_cast<char const*>(nullptr)),
        make("x").assign(nullptr, 3), make("x").assignBytes(nullptr, 3),
        make(7).assign(ztbTypeInteger, nullptr, 8), make(7).assign(ztbTypeString, "x", 0)}) {
    EXPECT_TRUE(v.isNull() && v.type() == ztbTypeUnknown && v.length() == -1);
    EXPECT_TRUE(v.getRaw(nullptr) == nullptr && rawSize(v) == 0);
    EXPECT_EQ(0, v.compare(null));
  }
}

TEST_F(ZtbDatavarTest, TextsAreCutAtCharacters) {
  char const* const text = "h\u00e9llo";
  char const* const illFormed = "a\xff_";
  auto const truncated = [text](int nChars, int nBytes) {
    ZtbDatavar alone = make(text), shared = alone;
    shared.truncate(nChars, nBytes);
    EXPECT_EQ(text, shown(alone)) << "the other one keeps its text";
    alone.truncate(nChars, nBytes);
    EXPECT_EQ(shown(shared), shown(alone));
    EXPECT_EQ("grown again", shown(alone.assign("grown again")));
    return shared;
  };
  struct {
    ZtbDatavar value;
    char const* text;
    int length;
  } const rows[] = {
      {make(text), text, 5},
      {make(ZtbString(text, false)), text, 5},
      {make(illFormed), illFormed, 3},
      {ZtbDatavar().assign(text, 2), "h\u00e9", 2},
      {ZtbDatavar().assign(text, 99), text, 5},
      {ZtbDatavar().assign(text, UINT_MAX), text, 5},
      {ZtbDatavar().assign(text, 0), "", 0},
      {ZtbDatavar().assignBytes(text, 2), "h", 1},
      {ZtbDatavar().assignBytes(text, 3), "h\u00e9", 2},
      {ZtbDatavar().assignBytes(text, UINT_MAX), text, 5},
      {ZtbDatavar().assignBytes(illFormed, 9), "a", 1},
      {truncated(3, -1), "h\u00e9l", 3},
      {truncated(100, 2), "h", 1},
      {truncated(2, 5), "h\u00e9", 2},
      {truncated(0, -1), "", 0},
      {truncated(100, 0), "", 0},
      {truncated(-3, 4), "h\u00e9l", 3},
      {truncated(INT_MIN, -1), text, 5},
      {truncated(2, INT_MIN), "h\u00e9", 2},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE("row " + std::to_string(&row - rows));
    EXPECT_EQ(row.text, shown(row.value));
    EXPECT_EQ(std::strlen(row.text) + 1, rawSize(row.value));
    EXPECT_EQ(row.length, row.value.length());
  }
  ZtbDatavar number = make(123456), null;
  number.truncate(1, 1);
  null.truncate(0, 0);
  EXPECT_EQ("123456", shown(number));
}

TEST_F(ZtbDatavarTest, RawBytesComeBackAndSwappedOnesOfRealsAlone) {
  for (ZtbDatavar const& v : {make(true), make(-5), make(3.5), make("h\u00e9"),
                              make(ZtbDate("1989-02-03")), raw(ztbTypeUnknown, "abc")}) {
    for (bool const swap : {false, true}) {
      // Off every boundary, and at the end of its memory.
      unsigned const size = rawSize(v);
      auto const unaligned = std::make_unique<char[]>(size + 1);
      std::memcpy(unaligned.get() + 1, v.getRaw(nullptr), size);
      if (swap && v.type() == ztbTypeReal) {
        std::reverse(unaligned.get() + 1, unaligned.get() + 1 + size);
      }
      ZtbDatavar const back = make(7).assign(v.type(), unaligned.get() + 1, size, swap);
      EXPECT_EQ(0, v.compare(back)) << shown(v) << " and " << shown(back);
      EXPECT_EQ(v.length(), back.length());
    }
  }
  EXPECT_EQ(24u, rawSize(make(3.5)));
  EXPECT_TRUE(nullReal().getRaw(nullptr) == nullptr && rawSize(nullReal()) == 0);
}

TEST_F(ZtbDatavarTest, WrongRawSizesLeaveZeros) {
  for (unsigned size : {2u, 4u, 7u, 9u, 23u, 25u, 4000u}) {
    std::string const bytes(size, '\x55');
    for (ZtbDatavar const& zero : {make(false), make(0), make(ZtbDate(0.0))}) {
      EXPECT_EQ(0, zero.compare(raw(zero.type(), bytes))) << size;
    }
    // Over a value of the same type nothing of the old one stays either.
    EXPECT_EQ(0, make(0).compare(make(7).assign(ztbTypeInteger, bytes.data(), size))) << size;
    ZtbDatavar const real = make(3.5).assign(ztbTypeReal, bytes.data(), size);
    EXPECT_TRUE(real.isNull() && real.type() == ztbTypeReal) << size;
  }
}

TEST_F(ZtbDatavarTest, RawTextIsNeverReadPastItsSize) {
  struct {
    std::string bytes;
    char const* text;
    unsigned size;
  } const rows[] = {{"ab", "ab", 3},       {{"ab\0", 3}, "ab", 3},
                    {{"\0", 1}, "", 1},    {{"a\0b", 3}, "a", 3},
                    {"h\xc3", "h\xc3", 3}, {"\xf0\x9f\x98", "\xf0\x9f\x98", 4}};
  for (auto const& row : rows) {
    std::vector<char> const exact(row.bytes.begin(), row.bytes.end());
    ZtbDatavar const v =
        ZtbDatavar().assign(ztbTypeString, exact.data(), static_cast<unsigned>(exact.size()));
    EXPECT_EQ(row.text, shown(v));
    EXPECT_EQ(row.size, rawSize(v)) << row.text;
    EXPECT_EQ(0, std::memcmp(v.getRaw(nullptr), exact.data(), exact.size())) << row.text;
    EXPECT_EQ(static_cast<int>(v.asString().length()), v.length());
  }
}

TEST_F(ZtbDatavarTest, ValuesOfOneTypeAreOrdered) {
  double const infinity = std::numeric_limits<double>::infinity();
  std::vector<std::vector<ZtbDatavar>> const ascending = {
      {{}, make(false), make(true)},
      {{}, make(LLONG_MIN), make(-1), make(0), make(LLONG_MAX)},
      {{}, make(-infinity), make(-1.5), make(0.1), make(1e30), make(infinity)},
      {{}, make(""), make("A"), make("B"), make("a"), make("a\x01"), make("\u00e9"), make("\xff")},
      {{}, make(ZtbDate("0001-01-01")), make(ZtbDate(-0.001)), make(ZtbDate("9999-12-31"))},
  };
  for (auto const& row : ascending) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      for (std::size_t j = 0; j < row.size(); ++j) {
        ZtbDatavar copy(row[j]);
        EXPECT_EQ((i > j) - (i < j), row[i].compare(copy)) << shown(row[i]) << ", " << shown(copy);
        EXPECT_EQ(i < j, ZtbDatavarLess()(row[i], copy));
      }
    }
  }
}

TEST_F(ZtbDatavarTest, ComparisonHasItsCorners) {
  // Values of two types are less than each other.
  EXPECT_TRUE(ZtbDatavarLess()(make(true), make(1)) && ZtbDatavarLess()(make(1), make(true)));
  EXPECT_EQ(1, raw(ztbTypeBoolean, "\x01").compare(raw(ztbTypeBoolean, "\x02")));
  EXPECT_EQ(0, raw(ztbTypeUnknown, "a").compare(raw(ztbTypeUnknown, "b")));
  EXPECT_EQ(1, nullReal().compare(nullReal()));
  EXPECT_EQ(1, nullReal().compare(ZtbDatavar())) << "a null Real has a value all the same";
  EXPECT_EQ(1, rawDate(std::nan("")).compare(rawDate(0)));
  EXPECT_EQ(1, rawDate(0).compare(rawDate(std::nan(""))));
}

TEST_F(ZtbDatavarTest, CopiesKeepTheirValueWhenOneIsWritten) {
  void (*const writes[])(ZtbDatavar&) = {
      [](ZtbDatavar& v) { v.assign(true); },
      [](ZtbDatavar& v) { v.assign(8); },
      [](ZtbDatavar& v) { v.assign(8.5); },
      [](ZtbDatavar& v) { v.assign(ZtbDate("1989-02-03")); },
      [](ZtbDatavar& v) { v.assign("xyz"); },
      [](ZtbDatavar& v) { v.assign(ztbTypeReal, "x", 1); },
      [](ZtbDatavar& v) { v.assign(ztbTypeUnknown, "xyz", 3); },
      [](ZtbDatavar& v) { v.setType(ztbTypeString); },
      [](ZtbDatavar& v) { v.truncate(1, -1); },
      [](ZtbDatavar& v) { v = ZtbDatavar(); },
  };
  for (ZtbDatavar const& original : {make(true), make(7), make(7.5), nullReal(), make("abc"),
                                     raw(ztbTypeUnknown, "ab"), ZtbDatavar()}) {
    std::string const text = shown(original);
    for (auto const write : writes) {
      ZtbDatavar first(original), second(first), third;
      third = second;
      write(second);
      write(second);
      EXPECT_EQ(text + text, shown(first) + shown(third));
      EXPECT_EQ(original.type(), third.type());
    }
  }
}

TEST_F(ZtbDatavarTest, AssignsItsOwnValue) {
  for (bool const isShared : {false, true}) {
    ZtbDatavar v = make("a text that is long enough"), holder;
    if (isShared) holder = v;
    auto const own = [&v] { return static_cast<char const*>(v.getRaw(nullptr)); };
    EXPECT_EQ("a text that is long enough", shown(v.assign(own())));
    EXPECT_EQ("text that is long enough", shown(v.assign(own() + 2)));
    EXPECT_EQ("text that", shown(v.assign(own(), 9)));
    EXPECT_EQ("ext", shown(v.assignBytes(own() + 1, 3)));
    EXPECT_EQ("xt", shown(v.assign(ztbTypeString, own() + 1, 3)));
    EXPECT_EQ("xt", shown(v.assign(v.asString())));
    ZtbDatavar const& itself = v;
    EXPECT_EQ("xt", shown(v = itself));
    v.assign(3.5);
    if (isShared) holder = v;
    EXPECT_EQ("3.5", shown(v.assign(ztbTypeReal, v.getRaw(nullptr), 24)));
    v.assign(ztbTypeUnknown, v.getRaw(nullptr), 24);
    EXPECT_EQ("3.5", shown(v.assign(ztbTypeReal, v.getRaw(nullptr), 24)));
  }
}

TEST_F(ZtbDatavarTest, WritesTextsOfAnyLengthOverOthers) {
  constexpr std::string_view kDigits = "0123456789012345678901234567890123456789";
  for (std::size_t n = 0; n <= kDigits.size(); ++n) {
    std::string const text(kDigits.substr(0, n));
    ZtbDatavar v = make(std::string(n, 'x').c_str());
    EXPECT_EQ(text, shown(v.assign(text.c_str())));
  }
}

TEST_F(ZtbDatavarTest, SmallRepeatedAssignmentsTakeNothingFromThePool) {
  ZtbDatavar number = make(1), real = make(0.5), text = make("abc"), date = make(ZtbDate(1.0));
  ZtbString const same("xyz", true);
  std::string const before = ZtbMemPool::getStats();
  void const* const place = real.getRaw(nullptr);
  for (int i = 0; i < 10; ++i) {
    number.assign(i);
    real.assign(i + 0.25);
    text.assign(same).assign("rst").assign("r\u00e9");
    date.assign(ZtbDate(2.0 * i));
  }
  EXPECT_EQ(before, ZtbMemPool::getStats());
  EXPECT_EQ(place, real.getRaw(nullptr)) << "a Real keeps its object";
}

TEST(ZtbDatavarWithoutPool, StaysNullAndLetsGo) {
  EXPECT_TRUE(make(7).isNull() && make("x").isNull() && make(3.5).isNull());
  ztbtest::initialize();
  std::vector<ZtbDatavar> values = {make(7), make(true), make("a"), make("b"), make("text")};
  std::vector<ZtbDatavar> const copies = values;
  for (int number : {1, 2}) values.push_back(make(number));
  ztbShutdown();
  EXPECT_TRUE(values[0].assign(4.5).isNull() && values[1].assign("other").isNull());
  values[2].setNull();
  values[3] = ZtbDatavar();
  EXPECT_TRUE(values[2].isNull() && values[3].isNull());
}

}  // namespace
