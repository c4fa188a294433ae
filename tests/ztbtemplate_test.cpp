// SPDX-License-Identifier: MIT

#include "ztbtemplate.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ztbstartup.h"
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
  // The expansion; a reason in parentheses if there is none.
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

}  // namespace
