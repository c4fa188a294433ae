// SPDX-License-Identifier: MIT
//
// Attributes of a text. fuzz/attributes_fuzz.cpp cuts its seeds by a plain walk besides.

#include "ztbparse.h"

#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::Row;
using uritest::shown;
using uritest::str;

using ZtbParseTest = ztbtest::LibraryTest;

// "name>value" of each attribute, with a bar behind it.
std::string attributesOf(ZtbParse& attributes) {
  std::string all;
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    ZtbString name("x", true), value("x", true);
    EXPECT_TRUE(attributes.getAttribute(i, &name, &value));
    all += shown(name) + ">" + shown(value) + "|";
  }
  return all;
}

TEST_F(ZtbParseTest, TextIsCutAtSemicolonsAndEqualsOutsideBrackets) {
  Row const rows[] = {
      {";a=1;;b=2;", "a>1|b>2|"},
      {" a = 1 ; \xC2\xA0 b =2\t", "a> 1|b>2|"},
      {"=", "(null)>(null)|"},
      {" ; \t ", "(null)>|(null)>|"},
      {"f(a=1;b=2)", "(null)>f(a=1|b>2)|"},
      {"({a=1)=2}=3", "({a=1)=2}>3|"},
      {"a)(=1", "a)(>1|"},
      {"a%3Db;c%3Bd=%3B;%zz=%", "a>b|c;d>;|%zz>%|"},
      {"\xC3\xA9=\xE2\x82\xAC;\xFF=\xC3", "\xC3\xA9>\xE2\x82\xAC|\xFF>\xC3|"},
  };
  ZtbParse attributes;
  for (auto const& row : rows) {
    EXPECT_TRUE(attributes.parse(str(row.text)));
    EXPECT_EQ(row.expected, attributesOf(attributes)) << row.text;
  }
  EXPECT_TRUE(attributes.parse(ZtbString()));
  EXPECT_EQ(0, attributes.getAttributeCount());
}

TEST_F(ZtbParseTest, BadIndexIsRefusedWithAMessageUntilTheNextText) {
  ZtbParse attributes;
  attributes.parse(str("a=1"));
  EXPECT_TRUE(attributes.getErrorMessage().isNull());
  for (int const index : {-1, 1, 1 << 30}) {
    ZtbString name("x", true), value("x", true);
    EXPECT_FALSE(attributes.getAttribute(index, &name, &value));
    EXPECT_TRUE(name.isNull() && value.isNull());
  }
  EXPECT_EQ("a>1|", attributesOf(attributes));
  EXPECT_EQ("Invalid index in array", shown(attributes.getErrorMessage()));
  attributes.parse(str("b"));
  EXPECT_TRUE(attributes.getErrorMessage().isNull());
}

TEST_F(ZtbParseTest, CopiesAreDeep) {
  ZtbParse original;
  original.parse(str("a=1"));
  ZtbParse copy(original), assigned;
  assigned = original;
  assigned = *&assigned;
  original.parse(str("b=2;c"));
  EXPECT_EQ("a>1|", attributesOf(copy));
  EXPECT_EQ("a>1|", attributesOf(assigned));
  EXPECT_EQ("b>2|(null)>c|", attributesOf(original));
}

}  // namespace
