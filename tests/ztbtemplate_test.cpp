// SPDX-License-Identifier: MIT

#include "ztbtemplate.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ztbtest.h"

namespace {

struct Release {
  void operator()(ZtbTemplate* each) const { each->release(); }
};

// Gives each name in angle brackets, counts the calls, and fails for the name in `refused`.
class Values final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
    ++calls;
    error->assign("left by the callback");
    if (refused == name.asCstr()) return false;
    value->assign(("<" + std::string(name.asCstr()) + ">").c_str());
    return true;
  }
  int calls = 0;
  std::string refused;
};

class ZtbTemplateTest : public ztbtest::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    mTemplate.reset(ztbCreateBasicTemplate(&mValues, &mError));
    ASSERT_TRUE(mTemplate && mError.isNull());
  }
  void TearDown() override {
    mTemplate.reset();
    mError.setNull();
    LibraryTest::TearDown();
  }
  bool parse(char const* text) {
    mError.assign("before");
    return mTemplate->parse(ZtbString(text, true), &mError);
  }
  // The expansion; the reason in parentheses if there is none.
  std::string expand() {
    mError.assign("before");
    ZtbString const text = mTemplate->expand(&mError);
    EXPECT_TRUE(text.isNull() || mError.isNull());
    return mError.isNull() ? text.asCstr() : "(" + std::string(mError.asCstr()) + ")";
  }
  // The message's number and arguments.
  std::string reason() {
    std::string const start = "[Base Services ", end = "] no text in the message database";
    std::string text = mError.asCstr();
    EXPECT_TRUE(text.starts_with(start)) << text;
    std::size_t const at = text.find(end);
    if (at == std::string::npos) return text;
    return text.erase(at, end.size()).substr(start.size());
  }
  // The names in their order, those in square brackets with them.
  std::string variables() {
    std::string names;
    for (int i = 0; i < mTemplate->getVariableCount(); ++i) {
      bool bracketed = false;
      std::string const name = mTemplate->getVariable(i, &bracketed, &mError).asCstr();
      names += (i > 0 ? " " : "") + (bracketed ? "[" + name + "]" : name);
    }
    return names;
  }

  Values mValues;
  ZtbString mError;
  std::unique_ptr<ZtbTemplate, Release> mTemplate;
};

TEST_F(ZtbTemplateTest, TextsExpand) {
  struct {
    char const* text;
    char const* variables;
    char const* expansion;
  } const rows[] = {
      {"", "", ""},
      {"plain", "", "plain"},
      {"a{{b", "", "a{b"},
      {"a}}b", "", "a}b"},
      {"[[x]]", "", "[x]"},
      {"{{{a}}}", "a", "{<a>}"},
      {"{{[[]]}}", "", "{[]}"},
      {"{b}{a}", "a b", "<b><a>"},
      {"{a}[B]", "a [B]", "<a><B>"},
      {"x{b}\n[A]y{_}", "_ [A] b", "x<b>\n<A>y<_>"},
      {"{a[b}[c]]]", "a[b [c]", "<a[b><c>]"},
      {"{a]b}[a}b]", "a]b [a}b]", "<a]b><a}b>"},
      {"\u00E9{a}\u00FC", "a", "\u00E9<a>\u00FC"},
      {"{\u00E9\u00E8}", "\u00E9\u00E8", "<\u00E9\u00E8>"},
      // Ill-formed bytes stay as they are, also at the borders of runs and cut by a bracket.
      {"\xE3\x80{a\xE3\x80}\x80\xFF", "a\xE3\x80", "\xE3\x80<a\xE3\x80>\x80\xFF"},
      // U+200B has no width but isn't white space.
      {"{a\u200B}", "a\u200B", "<a\u200B>"},
  };
  for (auto const& row : rows) {
    EXPECT_TRUE(parse(row.text)) << row.text << ": " << mError.asCstr();
    EXPECT_TRUE(mError.isNull()) << row.text;
    EXPECT_EQ(row.variables, variables()) << row.text;
    EXPECT_EQ(row.expansion, expand()) << row.text;
  }
}

TEST_F(ZtbTemplateTest, TextsThatAreNoTemplatesSayWhereAndWhy) {
  struct {
    char const* text;
    char const* reason;
    char const* left;  // what expands afterwards
  } const rows[] = {
      // A single closing bracket: the whole character behind it, well-formed or not.
      {"x}y", "1758: \"'}'\", \"y\", 1, 1", ""},
      {"{a}x]\u20AC", "1758: \"']'\", \"\u20AC\", 1, 1", ""},
      {"]}", "1758: \"']'\", \"}\", 1, 1", ""},
      {"one\ntwo}z", "1758: \"'}'\", \"z\", 2, 1", ""},
      {"\n{a}\r\n}\n", "1758: \"'}'\", \"\n\", 3, 1", ""},
      // A name that is none.
      {"{a b}", "1760: \"{\", 1, 1", ""},
      {"\n[ a]", "1760: \"[\", 2, 1", ""},
      {"{a\n}", "1760: \"{\", 1, 1", ""},
      {"{a\u00A0}", "1760: \"{\", 1, 1", ""},
      {"[\u3000a]", "1760: \"[\", 1, 1", ""},
      {"{a{b}", "1760: \"{\", 1, 1", ""},
      {"\n\n{}", "1763: 3, 1", ""},
      {"x[]", "1763: 1, 1", ""},
      // A name twice, in any case.
      {"{a}{A}", "1666: \"A\"", ""},
      {"{STRASSE}[stra\u00DFe]", "1666: \"stra\u00DFe\"", ""},
      // A text that ends too soon, which keeps what came in front.
      {"b{a", "1759: \"'}'\"", "b"},
      {"{b}[a}", "1759: \"']'\"", "<b>"},
      {"{b}{", "1759: \"'{' or character\"", "<b>"},
      {"x[", "1759: \"'{' or character\"", "x"},
      {"{b}}", "1759: \"'}'\"", "<b>}"},
      {"x}", "1759: \"'}'\"", "x}"},
  };
  for (auto const& row : rows) {
    EXPECT_TRUE(parse("old {variable}"));
    EXPECT_FALSE(parse(row.text)) << row.text;
    EXPECT_EQ(row.reason, reason()) << row.text;
    bool const isLeft = std::string(row.left).find('<') != std::string::npos;
    EXPECT_EQ(isLeft ? "b" : "", variables()) << row.text;
    EXPECT_EQ(row.left, expand()) << row.text;
  }
  ASSERT_FALSE(parse("x}\xE2\x82{a}"));
  EXPECT_EQ("1758: \"'}'\", \"\xE2\", 1, 1", reason());
}

TEST_F(ZtbTemplateTest, TextsWithoutTokensExpandToNull) {
  EXPECT_TRUE(mTemplate->expand(&mError).isNull()) << "nothing is parsed";
  EXPECT_TRUE(parse("") && mTemplate->expand(&mError).isNull());
  EXPECT_TRUE(mTemplate->parse(ZtbString(), &mError) && mTemplate->expand(&mError).isNull());
  EXPECT_TRUE(mError.isNull());
}

TEST_F(ZtbTemplateTest, ValuesAreFetchedOnceUntilTheNextParse) {
  ASSERT_TRUE(parse("{a}-{B}"));
  mValues.refused = "B";
  EXPECT_EQ("(left by the callback)", expand());
  EXPECT_EQ(2, mValues.calls);
  mValues.refused = "";
  EXPECT_EQ("<a>-<B>", expand());
  EXPECT_EQ("<a>-<B>", expand());
  EXPECT_EQ(3, mValues.calls) << "a is known, only B is asked for again";
  ASSERT_TRUE(parse("{a}"));
  EXPECT_EQ("<a>", expand());
  EXPECT_EQ(4, mValues.calls);
}

TEST_F(ZtbTemplateTest, WithoutACallbackVariablesAreEmpty) {
  mTemplate.reset(ztbCreateBasicTemplate(nullptr, &mError));
  ASSERT_TRUE(parse("x{a}y"));
  EXPECT_EQ("xy", expand());
  ASSERT_TRUE(parse("{a}"));
  EXPECT_TRUE(mTemplate->expand(&mError).isNull() && mError.isNull());
}

TEST_F(ZtbTemplateTest, VariablesOutsideTheListAreRefused) {
  ASSERT_TRUE(parse("{a}[b]"));
  bool bracketed = false;
  for (int const index : {-1, 2}) {
    mError.setNull();
    EXPECT_TRUE(mTemplate->getVariable(index, &bracketed, &mError).isNull()) << index;
    EXPECT_EQ("1420", reason()) << index;
  }
  EXPECT_STREQ("b", mTemplate->getVariable(1, &bracketed, &mError).asCstr());
  EXPECT_TRUE(bracketed && mError.isNull());
}

TEST_F(ZtbTemplateTest, ATextInTheStaticFormMayChangeBehindTheParse) {
  char text[] = "a longer text";
  ASSERT_TRUE(parse(text));
  std::string("{b}").copy(text, sizeof text);
  text[3] = '\0';
  ASSERT_TRUE(parse(text));
  EXPECT_EQ("<b>", expand());
}

class Throwing final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const&, ZtbString* value, ZtbString*) override {
    if (calls++ == 0) throw calls;
    value->assign("value");
    return true;
  }
  int calls = 0;
};

TEST_F(ZtbTemplateTest, ExceptionsOfTheCallbackPassThrough) {
  Throwing values;
  mTemplate.reset(ztbCreateBasicTemplate(&values, &mError));
  ASSERT_TRUE(parse("a {b} c"));
  EXPECT_THROW(expand(), int);
  EXPECT_EQ("a value c", expand());
}

}  // namespace
