// SPDX-License-Identifier: MIT
//
// Runs the tests under the process locale that ZTB_TEST_LOCALE names, if it is set: the whole suite
// must hold where a comma separates decimals.

#include <gtest/gtest.h>
#include <locale.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  char const* const locale = std::getenv("ZTB_TEST_LOCALE");
  if (locale != nullptr && setlocale(LC_ALL, locale) == nullptr) {
    std::fprintf(stderr, "The locale %s isn't installed; scripts/setup makes it.\n", locale);
    return 1;
  }
  // The system's own error texts, which tests look for, stay in English.
  setlocale(LC_MESSAGES, "C");
  return RUN_ALL_TESTS();
}
