// SPDX-License-Identifier: MIT
//
// What texts count as, under the locales that matter to dates. fuzz/determinetype_fuzz.cpp decides
// the numbers and words among its seeds by a second writing of the rules.

#include "ztbdeterminetype.h"

#include <utility>
#include <vector>

#include "ztbtest.h"

namespace {

using DetermineTypeTest = ztbtest::LibraryTest;

determinedType typeOf(char const* text) {
  return determineType(ZtbString(text, false));
}

TEST_F(DetermineTypeTest, TextsCountAsTheRulesSay) {
  std::pair<determinedType, std::vector<char const*>> const rows[] = {
      {determinedBoolean, {"tRUE", "ye\u017F"}},
      {determinedInteger, {" 1 000 000 ", "20010203", "+1e+5"}},
      {determinedReal, {"1.", "-.5E-3"}},
      {determinedDate, {"1989-02-03 19:05:06", " 2/3/89 ", "00:00"}},
      {determinedString, {"", " ", "e5", "1 e5", "12\t", "24:00", "1989-02"}}};
  for (auto const& [type, texts] : rows) {
    for (char const* text : texts) EXPECT_EQ(type, typeOf(text)) << '"' << text << '"';
  }
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
