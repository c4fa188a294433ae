// SPDX-License-Identifier: MIT
//
// Type detection: what each text counts as, under the locales that matter to dates.

#include "ztbdeterminetype.h"

#include <string>

#include "ztbtest.h"

namespace {

class DetermineTypeTest : public ztbtest::LibraryTest {};

determinedType typeOf(std::string const& text) {
  return determineType(ZtbString(text.c_str(), false));
}

TEST_F(DetermineTypeTest, TextsCountAsTheRulesSay) {
  struct {
    determinedType type;
    std::string texts[20];  // up to the first empty one
  } const rows[] = {
      {determinedBoolean, {"yes", "No", "tRUE", "FALSE", "y", "N", "ye\u017F"}},
      {determinedInteger,
       {"0", "007", "-12", "+12", " 12 ", "1 000 000", "- 5", "20010203", "1e5", "1E-5", "+1e+5",
        "12e", "5e 3", "1e+", std::string(100, '9')}},
      {determinedReal, {"1.5", ".5", "1.", "-.5", "1 . 5", "1.5E3", "-1.5e-3", "1e.5"}},
      {determinedDate,
       {"1989-02-03 19:05:06", "1989-02-03", "1989.2.3", "3.2.1989", "3 Feb 1989", "Feb 3, 1989",
        " 2/3/89 ", "1989-02-03T19:05", "19:05:06", "19:05", "12:00:00", "00:00", "0001-01-01"}},
      {determinedString, {" ",    ".",        "-",      "e5",   "-e5",   "1 e5",     " -5",
                          "5-",   "1-5",      "1e5e3",  "1e5-", "--1",   "-1e+5e-3", "1.2.3",
                          "12\t", "\u00A012", "\u0661", "yes ", "5\xC3", "5\xFF"}},
      {determinedString,
       {"trues", "1.e5", "abc", "E", "\u00C4rger", "0x10", "1,5", "$5", "1_000", "Infinity", "NaN",
        "2001-02-29", "1989-02-03x", "24:00", "1989-02", "Feb 1989", "13/13/1989", "5\u0301"}},
  };
  for (auto const& row : rows) {
    for (std::string const& text : row.texts) {
      if (text.empty()) break;
      EXPECT_EQ(row.type, typeOf(text)) << '"' << text << '"';
    }
  }
  EXPECT_EQ(determinedString, typeOf(""));
  EXPECT_EQ(determinedString, determineType(ZtbString()));
}

TEST_F(DetermineTypeTest, NumericDatesAreReadInTheOrderOfTheLocale) {
  {
    ztbtest::Locale const american("en_US.UTF-8");
    EXPECT_EQ(determinedString, typeOf("31/12/1989"));
  }
  ztbtest::Locale const german("de_DE.UTF-8");
  EXPECT_EQ(determinedDate, typeOf("31/12/1989"));
  EXPECT_EQ(determinedString, typeOf("1,5")) << "the point is a point everywhere";
}

}  // namespace
