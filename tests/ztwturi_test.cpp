// SPDX-License-Identifier: MIT
//
// Work-table URIs, beside what the tables of docs/uris.md show.

#include "ztwturi.h"

#include <climits>
#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::str;
using Uri = uritest::Owned<ZtWorkTableURI>;

Uri parse(std::string const& bytes) {
  return Uri(static_cast<ZtWorkTableURI*>(uritest::parsed(bytes).release()));
}

// "name:type=value" of each column; "name:type" where the value is null.
std::string columnsOf(ZtWorkTableURI& uri) {
  std::string columns;
  for (int i = 0; i < uri.getColumnCount(); ++i) {
    ZtbString name, value;
    ztbType type = ztbTypeUnknown;
    EXPECT_TRUE(uri.getColumn(i, &name, &value, &type));
    columns += (i > 0 ? " " : "") + std::string(name.asCstr()) + ":" + std::to_string(type);
    if (!value.isNull()) columns += std::string("=") + value.asCstr();
  }
  return columns;
}

std::string rangeOf(ZtWorkTableURI& uri) {
  __int64 start = 7, count = 7;
  bool const isGiven = uri.getRange(&start, &count);
  return (isGiven ? "+" : "-") + std::to_string(start) + "," + std::to_string(count);
}

using ZtWorkTableURITest = ztbtest::LibraryTest;

TEST_F(ZtWorkTableURITest, TextIsReadIntoColumnsAndMadeCanonical) {
  char const* const rows[][3] = {
      {"ztwt://", "", "ztwt://"},
      {"ztwt://t?#", "", "ztwt://t"},
      // Only a table with something behind it is trimmed on its left.
      {"ztwt:// t \t", "", "ztwt:// t"},
      {"ztwt:// t ? a , b \u00A0", "a:0 b:0", "ztwt://t?a,b"},
      {"ztwt://t?a= iNTEGER '5' ,b=DATE (YMD)'2024-05-06'", "a:2=5 b:5=2024-05-06",
       "ztwt://t?a=Integer'5',b=Date'2024-05-06'"},
      {"ztwt://t?a=Boolean'true',b=Real'1e3'", "a:1=true b:3=1e3",
       "ztwt://t?a=Boolean'true',b=Real'1e3'"},
      {"ztwt://t?a=Str'x',b=Unknown'y',c='z'", "a:0=x b:0=y c:0=z", "ztwt://t?a='x',b='y',c='z'"},
      {"ztwt://t?a=String'x%27%2C%41'", "a:4=x',%41", "ztwt://t?a=String'x%27%2C%41'"},
      {"ztwt://t?a=,b=Integer''", "a:0= b:2=", "ztwt://t?a,b"},
      {"ztwt://t?a,", "a:0", "ztwt://t?a"},
      // What stands where the quotes are expected is taken for them, a character each.
      {"ztwt://t?b=\u00E4bc", "b:0=bc", "ztwt://t?b='bc'"},
      {"ztwt://t?a='bc,b='c\u00E4,c=Integer'", "a:0=b b:0=c c:2=", "ztwt://t?a='b',b='c',c"},
      {"ztwt://t?a='b''c=d'", "a:0=b''c=d", "ztwt://t?a='b%27%27c=d'"},
      {"ztwt://t\xFF?\xC3=\xFF\xE4\xB8x\x80,\x80=''\xFF", "\xC3:0=\xE4\xB8x\x80 \x80:0='",
       "ztwt://t\xFF?\xC3='\xE4\xB8x\x80',\x80='%27'"},
      {"ztwt://t# COUNT = 5 , \u017Ftart=+2\u00A0", "", "ztwt://t#start=2,count=5"},
      {"ztwt://t#count=5=start=6", "", "ztwt://t#count=0"},
      {"ztwt://t#count=start=6", "", "ztwt://t#start=6,count=0"},
      {"ztwt://t#count=start=1,count=6", "", "ztwt://t#count=6"},
      {"ztwt://t#start=abc,count=9223372036854775808", "", "ztwt://t#start=0,count=0"},
      {"ztwt://t#start=-9223372036854775808,count=-1", "", "ztwt://t#start=-9223372036854775808"},
      {"ztwt://t#start", "", "ztwt://t"},
      {"ztwt://a?b='#'", "b:0=", "ztwt://a?b"},
      {"ztwt://a?b?c#start=1#,count=2", "b?c:0", "ztwt://a?b?c#start=0,count=2"},
  };
  for (auto const& [given, columns, canonical] : rows) {
    Uri const uri = parse(given);
    ASSERT_NE(nullptr, uri) << given;
    EXPECT_EQ(columns, columnsOf(*uri)) << given;
    EXPECT_STREQ(canonical, uri->getURIString().asCstr()) << given;
  }
  for (std::string const columns :
       {"a=Boolean'x'", "a=Integer'9223372036854775808'", "a=Real'1.5.'", "a=Date'today'",
        "=Integer'1'", "a,,b", " , a", "a, ,b", " = x", "stra\u00DFe,STRASSE"}) {
    EXPECT_EQ(nullptr, parse("ztwt://t?" + columns)) << columns;
  }
}

TEST_F(ZtWorkTableURITest, ColumnIsWrittenByItsTypeOrRefusedWithAReason) {
  Uri const uri = parse("ztwt://t");
  struct {
    char const* name;
    char const* value;
    int type;
    char const* added;  // to the query, or why not
  } const rows[] = {
      {"n", nullptr, ztbTypeInteger, "n"},
      {"\u00C9", "", ztbTypeDate, ",\u00C9"},
      {"b", "yes", ztbTypeBoolean, ",b=Boolean'yes'"},
      {"i", " 5 ", ztbTypeInteger, ",i=Integer' 5 '"},
      {"s", "a'b,c%27", ztbTypeString, ",s=String'a%27b%2Cc%27'"},
      {"u", "',", ztbTypeUnknown, ",u='%27%2C'"},
      {nullptr, "1", ztbTypeInteger, "1795"},
      {"", "1", ztbTypeInteger, "1795"},
      {"\u00E9", "x", ztbTypeInteger, "1776: \"column\", \"\u00E9\""},
      {"c", "x", ztbTypeBoolean, "1778: \"x\", \"boolean\""},
      {"c", "1.5", ztbTypeInteger, "1778: \"1.5\", \"integer\""},
      {"c", "1e", ztbTypeReal, "1778: \"1e\", \"real\""},
      {"c", "31.31", ztbTypeDate, "1778: \"31.31\", \"date\""},
      {"x", "5", 6, ",x='5'"},
      {"y", "5", -1, ",y='5'"},
  };
  std::string query;
  for (auto const& [name, value, type, added] : rows) {
    ZtbString error("before", true);
    bool const isAdded = uri->addColumn(ZtbString(name, false), ZtbString(value, false),
                                        static_cast<ztbType>(type), &error);
    if (isAdded) query += added;
    EXPECT_EQ(isAdded ? "" : added, ztbtest::reasonOf(error));
    EXPECT_EQ(query, uri->getQuery().asCstr()) << added;
  }
  EXPECT_EQ("n:2 \u00C9:5= b:1=yes i:2= 5  s:4=a'b,c%27 u:0=', x:6=5 y:-1=5", columnsOf(*uri));
  // The values come back; but one that has an escape itself has been written without a protection.
  Uri const again = parse(uri->getURIString().asCstr());
  EXPECT_EQ("n:0 \u00C9:0 b:1=yes i:2= 5  s:4=a'b,c' u:0=', x:0=5 y:0=5", columnsOf(*again));
}

TEST_F(ZtWorkTableURITest, ColumnsAreReadInAnyOrder) {
  Uri const uri = parse("ztwt://t?a,b='x',c");
  ZtbString name, value;
  for (int const index : {2, 0, 1, 1, 2}) {
    ASSERT_TRUE(uri->getColumn(index, &name, nullptr, nullptr));
    EXPECT_EQ('a' + index, *name.asCstr());
  }
  for (int const index : {-1, 3, INT_MIN, INT_MAX}) {
    name = value = str("old");
    ztbType type = ztbTypeDate;
    EXPECT_FALSE(uri->getColumn(index, &name, &value, &type));
    EXPECT_TRUE(name.isNull() && value.isNull() && type == ztbTypeUnknown) << index;
  }
}

TEST_F(ZtWorkTableURITest, RangeAndItsTextFollowEachOther) {
  struct {
    __int64 start, count;
    char const* range;
    char const* fragment;  // null for none
  } const rows[] = {
      {2, 5, "+2,5", "start=2,count=5"},
      {0, -1, "+0,-1", "start=0"},
      {-1, 5, "-0,0", "count=5"},
      {-2, 5, "-0,0", "start=-2,count=5"},
      {LLONG_MAX, -2, "+9223372036854775807,-2", "start=9223372036854775807,count=-2"},
      {-1, -1, "-0,0", nullptr},
  };
  Uri const changed = parse("ztwt://t");
  for (auto const& row : rows) {
    Uri const made(getWorkTableURIFromComponents(str("t"), row.start, row.count));
    ZtbString error("untouched", true);
    EXPECT_TRUE(changed->setRange(row.start, row.count, &error));
    EXPECT_STREQ("untouched", error.asCstr());
    for (auto* const uri : {changed.get(), made.get()}) {
      EXPECT_EQ(row.range, rangeOf(*uri));
      EXPECT_EQ(0, uri->getFragment().compare(row.fragment, true)) << row.range;
    }
  }
}

TEST_F(ZtWorkTableURITest, TextFollowsTheTable) {
  Uri const uri(static_cast<ZtWorkTableURI*>(
      getFullURI(str("ZTWT"), str("h"), str("t"), str("q"), str("f"))));
  EXPECT_STREQ("ztwt://t", uri->getURIString().asCstr());
  ASSERT_TRUE(uri->addColumn(str("\u00E4"), ZtbString(), ztbTypeString, nullptr));
  uri->setTableName(str("a b\u00E4"));
  EXPECT_STREQ("ztwt://a b\u00E4?\u00E4", uri->getURIString().asCstr());
  EXPECT_STREQ("ztwt://a b%C3%A4?\u00E4", uri->getEscapedURIString().asCstr());
  EXPECT_STREQ("a b%C3%A4", parse("ztwt://a b%C3%A4?x")->getPath().asCstr());
  uri->setTableName(ZtbString());
  EXPECT_STREQ("ztwt://?\u00E4", uri->getEscapedURIString().asCstr());
  EXPECT_STREQ("ztwt", uri->getScheme().asCstr());
  EXPECT_TRUE(uri->getHost().isNull() && uri->getPath().isNull());
  EXPECT_TRUE(uri->asDataURI() == nullptr && uri->asReposURI() == nullptr);
}

// Each would take minutes if the rest of the text, or of the columns, were gone through each time.
TEST_F(ZtWorkTableURITest, LongTextsTakeTheirLengthInTime) {
  std::string columns = "ztwt://t?a";
  for (int i = 1; i < 50000; ++i) columns += ",Column" + std::to_string(i) + "='x'";
  Uri const uri = parse(columns);
  EXPECT_EQ(columns, uri->getURIString().asCstr());
  EXPECT_FALSE(uri->addColumn(str("cOLUMN7"), ZtbString(), ztbTypeString, nullptr));
  ZtbString text;
  for (int i = 1; i < 50000; ++i) ASSERT_TRUE(uri->getColumn(i, &text, nullptr, nullptr));
  EXPECT_STREQ("Column49999", text.asCstr());

  std::string pairs = "ztwt://t#";
  for (int i = 0; i < 100000; ++i) pairs += "count=";
  EXPECT_STREQ("ztwt://t#count=0", parse(pairs)->getURIString().asCstr());
  text = parse("ztwt://t#start=" + std::string(1000000, '0') + "5,count=5")->getURIString();
  EXPECT_STREQ("ztwt://t#start=5,count=5", text.asCstr());
  std::string const quotes(1000000, '\'');
  parse("ztwt://t?a='" + quotes + "'")->getColumn(0, nullptr, &text, nullptr);
  EXPECT_EQ(quotes, text.asCstr());
}

TEST(ZtWorkTableURI, WithoutMemoryNothingIsHalfDone) {
  // Before the library is up, strings get no memory.
  EXPECT_EQ(nullptr, getURIFromURIString(ZtbString("ztwt://t?a", true)));
  Uri const uri(getWorkTableURIFromComponents(ZtbString("t", true), 1, 2));
  ZtbString const name("a", true);
  ZtbString error;
  EXPECT_FALSE(uri->addColumn(name, ZtbString("1", true), ztbTypeInteger, &error));
  EXPECT_FALSE(uri->addColumn(name, ZtbString(), ztbTypeInteger, &error));
  EXPECT_FALSE(uri->setRange(3, 4, &error));
  EXPECT_TRUE(uri->getColumnCount() == 0 && uri->getQuery().isNull());
  EXPECT_TRUE(uri->getFragment().isNull() && uri->getURIString().isNull());
  EXPECT_EQ("+3,2", rangeOf(*uri));
}

}  // namespace
