// SPDX-License-Identifier: MIT
//
// What work-table URIs tell the log.

#include "ztwturi_p.h"

#include "ztbtest.h"
#include "ztlog11.h"

namespace {

using ZtWorkTableURILog = ztbtest::LibraryTest;

TEST_F(ZtWorkTableURILog, HasTheReasonThatNobodyElseIsTold) {
  ztbtest::TempFolder folder;
  std::string const config = folder.write("logging.cfg",
                                          "sink all file path=app.log\n"
                                          "pattern all %L %n %s %v\n"
                                          "level ZT.Base.URI.WorkTable info\n");
  ASSERT_EQ(0, ztlogConfigure(config.c_str())) << ztlogConfigureError();
  EXPECT_EQ(nullptr, parseWorkTableURI(ZtbString("ztwt://t?a=Integer'x'", true)));
  EXPECT_EQ(nullptr, parseWorkTableURI(ZtbString("ztwt://t?b,B", true)));
  ZtWorkTableURI* const uri = getWorkTableURIFromComponents(ZtbString("t", true));
  ZtbString error;
  EXPECT_FALSE(uri->addColumn(ZtbString(), ZtbString(), ztbTypeString, nullptr));
  EXPECT_FALSE(uri->addColumn(ZtbString(), ZtbString(), ztbTypeString, &error));
  uri->release();
  ASSERT_EQ(0, ztlogConfigure(nullptr));
  std::string const start =
      "3 ZT.Base.URI.WorkTable ztwturi [Base Services 17$] no text in the message database";
  std::string expected;
  for (char const* const end : {"78: \"x\", \"integer\"", "76: \"column\", \"B\"", "95"}) {
    std::string line = start + (end + 2) + "\n";
    expected += line.replace(line.find('$'), 1, end, 2);
  }
  EXPECT_EQ(expected, ztbtest::readFile(folder.path("app.log")));
}

}  // namespace
