// SPDX-License-Identifier: MIT
//
// Templates, beside the seeds of the fuzz target, which compares what any text expands to, or why
// it is refused, with a plain search for brackets.

#include "ztbtemplate.h"

#include <string>

#include "ztbtest.h"

namespace {

// Gives each name in angle brackets, counts the calls, and fails for the name in `refused`.
struct Values final : ZtbTemplateValueCB {
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
    ++calls;
    if (throws) throw calls;
    error->assign("left by the callback");
    if (refused == name.asCstr()) return false;
    value->assign(("<" + std::string(name.asCstr()) + ">").c_str());
    return true;
  }
  int calls = 0;
  bool throws = false;
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
  ztbtest::Owned<ZtbTemplate> mTemplate;
};

TEST_F(ZtbTemplateTest, TextsExpand) {
  char const* const rows[][3] = {
      {"[[x]]{{{a}}}", "a", "[x]{<a>}"},
      {"x{b}\n[A]y{_}", "_ [A] b", "x<b>\n<A>y<_>"},
      {"{a]b}[a}b]", "a]b [a}b]", "<a]b><a}b>"},
      // Ill-formed bytes stay as they are, also at the borders of runs and cut by a bracket.
      {"\xE3\x80{a\xE3\x80}\x80\xFF", "a\xE3\x80", "\xE3\x80<a\xE3\x80>\x80\xFF"},
  };
  for (auto const& [text, names, expansion] : rows) {
    EXPECT_TRUE(parse(text) && mError.isNull()) << text << ": " << mError.asCstr();
    EXPECT_EQ(names, variables());
    EXPECT_EQ(expansion, expand());
  }
}

TEST_F(ZtbTemplateTest, TextsThatAreNoTemplatesSayWhereAndWhy) {
  // The text, the reason, and what expands afterwards.
  char const* const rows[][3] = {
      // A single closing bracket: the whole character behind it, well-formed or not.
      {"one\ntwo}z", "1758: \"'}'\", \"z\", 2, 1", ""},
      {"{a}x]\u20AC", "1758: \"']'\", \"\u20AC\", 1, 1", ""},
      {"x}\xE2\x82{a}", "1758: \"'}'\", \"\xE2\", 1, 1", ""},
      {"\n{a}\r\n}\n", "1758: \"'}'\", \"\n\", 3, 1", ""},
      {"{a b}", "1760: \"{\", 1, 1", ""},
      {"\n[ a]", "1760: \"[\", 2, 1", ""},
      {"\n\n{}", "1763: 3, 1", ""},
      {"{STRASSE}[stra\u00DFe]", "1666: \"stra\u00DFe\"", ""},
      // A text that ends too soon, which keeps what came in front.
      {"b{a", "1759: \"'}'\"", "b"},
      {"{b}[a}", "1759: \"']'\"", "<b>"},
      {"x[", "1759: \"'{' or character\"", "x"},
      {"{b}}", "1759: \"'}'\"", "<b>}"},
  };
  for (auto const& [text, reason, left] : rows) {
    EXPECT_TRUE(parse("old {variable}"));
    EXPECT_FALSE(parse(text)) << text;
    EXPECT_EQ(reason, ztbtest::reasonOf(mError));
    EXPECT_EQ(*left == '<' ? "b" : "", variables()) << text;
    EXPECT_EQ(left, expand()) << text;
  }
}

TEST_F(ZtbTemplateTest, WithoutTokensOrValuesTheExpansionIsNull) {
  EXPECT_TRUE(mTemplate->expand(&mError).isNull()) << "nothing is parsed";
  EXPECT_TRUE(parse("") && mTemplate->expand(&mError).isNull());
  EXPECT_TRUE(mTemplate->parse(ZtbString(), &mError) && mTemplate->expand(&mError).isNull());
  mTemplate.reset(ztbCreateBasicTemplate(nullptr, &mError));
  EXPECT_TRUE(parse("{a}") && mTemplate->expand(&mError).isNull() && mError.isNull());
  EXPECT_TRUE(parse("x{a}y"));
  EXPECT_EQ("xy", expand());
}

TEST_F(ZtbTemplateTest, ValuesAreFetchedOnceUntilTheNextParse) {
  ASSERT_TRUE(parse("{a}-{B}"));
  mValues.throws = true;
  EXPECT_THROW(expand(), int);
  mValues.throws = false;
  mValues.refused = "B";
  EXPECT_EQ("(left by the callback)", expand());
  mValues.refused = "";
  EXPECT_EQ("<a>-<B>", expand());
  EXPECT_EQ("<a>-<B>", expand());
  EXPECT_EQ(4, mValues.calls) << "a is known, only B is asked for again";
  ASSERT_TRUE(parse("{a}"));
  EXPECT_EQ("<a>", expand());
  EXPECT_EQ(5, mValues.calls);
}

TEST_F(ZtbTemplateTest, VariablesOutsideTheListAreRefused) {
  ASSERT_TRUE(parse("{a}[b]"));
  bool bracketed = false;
  for (int const index : {-1, 2}) {
    mError.setNull();
    EXPECT_TRUE(mTemplate->getVariable(index, &bracketed, &mError).isNull()) << index;
    EXPECT_EQ("1420", ztbtest::reasonOf(mError)) << index;
  }
  EXPECT_STREQ("b", mTemplate->getVariable(1, &bracketed, &mError).asCstr());
  EXPECT_TRUE(bracketed && mError.isNull());
}

TEST_F(ZtbTemplateTest, ATextInTheStaticFormMayChangeBehindTheParse) {
  char text[] = "a longer text";
  ASSERT_TRUE(parse(text));
  std::snprintf(text, sizeof text, "{b}");
  ASSERT_TRUE(parse(text));
  EXPECT_EQ("<b>", expand());
}

}  // namespace
