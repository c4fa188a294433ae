// SPDX-License-Identifier: MIT
//
// Messages as strings, through the life of the library.

#include "ztbmessage.h"

#include <cstdlib>

#include "ztbstartup.h"
#include "ztbtest.h"

namespace {

TEST(ZtbMessage, WithoutTheLibraryIsANullString) {
  EXPECT_TRUE(ztb_get_message("reader", 1, "Base Services", 445, "/a").isNull());
  EXPECT_TRUE(ztb_get_fragment(444).isNull());
  ztbtest::initialize();
  ztbShutdown();
  EXPECT_TRUE(ztb_get_message("reader", 1, "Base Services", 445, "/a").isNull());
}

using ZtbMessageTest = ztbtest::LibraryTest;

TEST_F(ZtbMessageTest, BeforeStartupNamesGroupNumberAndArguments) {
  EXPECT_STREQ("[Base Services 445] no text in the message database: \"/a\"",
               ztb_get_message("reader", 1, "Base Services", 445, "/a").asCstr());
  EXPECT_STREQ("[Nobody's 7] no text in the message database",
               ztb_get_message(nullptr, 1, "Nobody's", 7).asCstr());
  EXPECT_STREQ("[Fragments 444] no text in the message database", ztb_get_fragment(444).asCstr());
}

TEST_F(ZtbMessageTest, AfterStartupSpeaksTheLanguageOfTheProcess) {
  setenv("ZTEXEC_HOME", ZTB_TEST_HOME, 1);
  setenv("MARLOVEN_ERROR_LOCALE", "de_DE.UTF-8", 1);
  char const* error = nullptr;
  EXPECT_EQ(0, ztbStartup(&error)) << error;
  EXPECT_STREQ("Den Ordner „/a“ gibt es nicht. Prüfen Sie den Pfad.",
               ztb_get_message("reader", 1, "Base Services", 445, "/a").asCstr());
  EXPECT_STREQ("zu wenig Speicher", ztb_get_fragment(444).asCstr());
  for (char const* name : {"ZTEXEC_HOME", "MARLOVEN_ERROR_LOCALE", "MARLOVEN_ERROR_LOCATION"}) {
    unsetenv(name);
  }
}

}  // namespace
