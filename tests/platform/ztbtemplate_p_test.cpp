// SPDX-License-Identifier: MIT
//
// Templates where nobody outside can look: the records of an expansion, a token whose name the
// template doesn't have, and memory that runs out.

#include "ztbtemplate_p.h"

#include <cstddef>
#include <string>

#include "ztbtest.h"
#include "ztlog11.h"

namespace {

struct Fixed final : ZtbTemplateValueCB {
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString*) override {
    value->assign("value");
    return name.compare("refused", true) != 0;
  }
};

class ZtbTemplatePrivate : public ztbtest::LibraryTest {
 protected:
  void TearDown() override {
    mTemplate.reset();
    mError.setNull();
    LibraryTest::TearDown();
  }
  bool parse(std::string const& text) {
    return mTemplate->parse(ZtbString(text.c_str(), true), &mError);
  }

  Fixed mValues;
  ZtbString mError;
  ztbtest::Owned<ZtbTemplateImpl> mTemplate{new ZtbTemplateImpl(&mValues)};
};

TEST_F(ZtbTemplatePrivate, ExpansionIsLoggedStepByStep) {
  ztbtest::TempFolder folder;
  std::string const config = folder.write("logging.cfg",
                                          "sink all file path=app.log\n"
                                          "pattern all %L %n %s %v\n"
                                          "level ZT.Base.Template step\n");
  ASSERT_EQ(0, ztlogConfigure(config.c_str())) << ztlogConfigureError();
  ASSERT_TRUE(parse("Dear {name}{refused}"));
  EXPECT_TRUE(mTemplate->expand(&mError).isNull());
  ASSERT_EQ(0, ztlogConfigure(nullptr));
  std::string const constant = "2 ZT.Base.Template.TokenConstant ztbtemplate ";
  std::string const variable = "2 ZT.Base.Template.TokenVariable ztbtemplate ";
  EXPECT_EQ(constant + "Appending: 'Dear '\n" +                  //
                variable + "Looking up variable: 'name'\n" +     //
                variable + "Appending: 'value'\n" +              //
                variable + "Looking up variable: 'refused'\n" +  //
                variable + "Failed to retrieve variable: 'refused'\n",
            ztbtest::readFile(folder.path("app.log")));
}

TEST_F(ZtbTemplatePrivate, TokensFindTheirVariablesByName) {
  ASSERT_TRUE(parse("{b}[Name]{a}"));
  char const* const rows[][2] = {{"NAME", "value"}, {"a", "value"}, {"Nam", ""}, {"z", ""}};
  for (auto const& [name, expansion] : rows) {
    TokenVariable token(ztlogGetLogger(nullptr), mTemplate.get());
    token.setText(ZtbString(name, true));
    ZtbString out;
    mError.setNull();
    EXPECT_EQ(*expansion != '\0', token.expand(&out, &mError));
    EXPECT_STREQ(expansion, out.asCstr());
    std::string const missing = "1762: \"" + std::string(name) + "\"";
    EXPECT_EQ(*expansion ? "" : missing, ztbtest::reasonOf(mError));
  }
}

TEST(ZtbTemplateWithoutThePool, FailuresHaveAFixedText) {
  ZtbString error;
  ztbtest::Owned<ZtbTemplate> const made(ztbCreateBasicTemplate(nullptr, &error));
  EXPECT_FALSE(made->parse(ZtbString("{a}", true), &error));
  EXPECT_STREQ("Out of memory", error.asCstr());
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ZtbTemplatePrivate, MemoryThatRunsOutIsAMessage) {
  // Larger than what the heap keeps to itself.
  std::string const large(std::size_t{40} << 20, 'x');
  std::string const atEnd = "{a}" + large, inside = atEnd + "{b}";
  ztbtest::Limit const limit(RLIMIT_AS, 1 << 20);
  EXPECT_FALSE(parse(inside));
  EXPECT_EQ("444", ztbtest::reasonOf(mError));
  EXPECT_EQ(0, mTemplate->getVariableCount());
  EXPECT_FALSE(parse(atEnd));
  EXPECT_EQ("444", ztbtest::reasonOf(mError));
  EXPECT_STREQ("value", mTemplate->expand(&mError).asCstr()) << "what is in front is kept";
}
#endif

}  // namespace
