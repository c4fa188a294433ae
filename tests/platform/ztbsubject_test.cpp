// SPDX-License-Identifier: MIT

#include "ztbsubject.h"

#include <sys/stat.h>

#include <atomic>
#include <string>
#include <utility>

#include "ztauth.h"
#include "ztauth_userfile.h"
#include "ztbconfigoptions.h"
#include "ztbencrypt.h"
#include "ztbtest.h"

namespace {

using ztbtest::contains;

// Four users with the password "hush", and a credential each.
class ZtbSubjectTest : public ztbtest::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    std::string text = std::string(ztauth::kUserFileHead) + "\n";
    for (char const* name : {"kim", "kit", "lee", "leo"}) {
      ztauth::UserRecord record;
      record.name = name;
      record.domain = "OFFICE";
      record.resolved = std::string(name) + ".x";
      ASSERT_EQ("", ztauth::setPassword(record, "hush", "", {1, 8}));
      ASSERT_EQ("", ztauth::sealCredential(record, "SALES", "seller", "s\u00e9cret"));
      text += ztauth::composeUserLine(record) + "\n";
    }
    mLocation = "file:" + mFolder.write("users", text);
    ASSERT_EQ(0, chmod(mFolder.path("users").c_str(), 0600));
    options()->setOption(ZtbString("BASE/AUTH_SERVER_LOC", true),
                         ZtbString((" \t" + mLocation + " \n").c_str(), false));
  }

  static ZtbConfigOptions* options() { return ztbGetConfigOptions(ZtbString()); }
  // The name that is published, or "none".
  static std::string published() {
    ZtbString value;
    bool const found = options()->getOption(ZtbString("ZTINTL_DIS_USER", true), &value);
    return found ? value.asCstr() : "none";
  }

  // Empty, or the reason.
  static std::string logIn(char const* user, char const* password, ASSubject** subject) {
    ZtbString error("old", true);
    bool const done =
        ztbSubjectAuthenticate(ZtbString(user, true), ZtbString(password, true), subject, &error);
    EXPECT_EQ(done, error.isNull());
    return error.asCstr();
  }
  static std::string set(ASSubject* subject) {
    ZtbString error("old", true);
    bool const done = ztbSubjectSet(subject, &error);
    EXPECT_EQ(done, error.isNull());
    return error.asCstr();
  }
  ASSubject* subjectOf(char const* user) {
    ASSubject* subject = nullptr;
    EXPECT_EQ(0, asAuthenticate(mLocation.c_str(), static_cast<int>(mLocation.size()), user, 3,
                                "hush", 4, 7, &subject));
    return subject;
  }

  ztbtest::TempFolder mFolder;
  std::string mLocation;
};

using ZtbSubjectThreads = ZtbSubjectTest;

constexpr char kAssigned[] = "A process wide subject is already assigned.";

TEST_F(ZtbSubjectTest, LivesAsLongAsItsReferences) {
  ASSubject* subject = nullptr;
  ASSERT_EQ("", logIn("kim", "hush", &subject));
  EXPECT_EQ("kim", published());
  EXPECT_EQ(subject, ztbSubjectAccess());
  ASSubject* refused = subject;
  EXPECT_EQ(kAssigned, logIn("lee", "hush", &refused));
  EXPECT_EQ(nullptr, refused);
  ASSubject* const lee = subjectOf("lee");
  EXPECT_EQ(kAssigned, set(lee));
  for (char const* const left : {"kim", "none", "none"}) {
    ztbSubjectRelease();
    EXPECT_EQ(left, published()) << "refused ones took no reference";
  }
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  EXPECT_EQ("Failed to initialize process wide subject.", set(nullptr));
  EXPECT_EQ("", set(lee)) << "nothing is left of an access without a subject";
  EXPECT_EQ("lee", published());
  ztbSubjectRelease();
}

TEST_F(ZtbSubjectTest, TellsWhyNobodyIsLoggedIn) {
  ASSubject* subject = nullptr;
  EXPECT_EQ("Failed to authenticate user 'kim' (The user name or the password is wrong).",
            logIn("kim", "Hush", &subject));
  EXPECT_EQ(nullptr, subject);
  ztbtest::Variable const home("ZTEXEC_HOME", mFolder.path().c_str());
  options()->removeOption(ZtbString("BASE/AUTH_SERVER_LOC", true));
  EXPECT_TRUE(contains(logIn("kim", "hush", nullptr), mFolder.path("etc/users")));
  ztbShutdown();
  EXPECT_NE("", logIn("kim", "hush", nullptr)) << "the library is down";
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  ztbSubjectRelease();
}

TEST_F(ZtbSubjectTest, TellsWhoItIsAndWhatItMayUse) {
  ZtbSubjectInfoParm info;
  info.name.assign("old");
  auto const told = [&info](bool refresh) {
    ZtbString error("old", true);
    bool const isTold = ztbSubjectInfo(refresh, &info, &error);
    EXPECT_NE(isTold, info.resolved.isNull());
    return std::string(info.name.asCstr()) + "," + info.authDomain.asCstr() + "," +
           info.resolved.asCstr() + (info.connected ? ",connected," : ",") + error.asCstr();
  };
  auto const opened = [](char const* domain) {
    ZtbString user("old", true), password("old", true), error("old", true);
    bool const isOpened = ztbSubjectCredentials(ZtbString(domain, true), user, password, &error);
    EXPECT_TRUE(error.isNull() == isOpened && user.isNull() != isOpened);
    return std::string(user.asCstr()) + "/" + password.asCstr() + error.asCstr();
  };
  EXPECT_EQ("old,,,", told(true));
  EXPECT_EQ("/There is not a process wide subject", opened("SALES"));
  ASSERT_EQ("", set(subjectOf("kim")));
  EXPECT_EQ("seller/s\u00e9cret", opened("SALES"));
  EXPECT_EQ("kim,OFFICE,kim.x,connected,", told(true));
  EXPECT_EQ(7, info.authTime.asDouble());
  mFolder.write("users", "ztb-users 1\n");
  EXPECT_EQ("kim,,,User 'kim' is no longer in the file of users", told(true));
  EXPECT_EQ("kim,OFFICE,kim.x,", told(false));
  EXPECT_EQ("/User 'kim' has no credentials for domain 'sales'", opened("sales"));
  ztbSubjectRelease();
  EXPECT_EQ(nullptr, ztbSubjectAccess()) << "each reference was given back";
}

TEST_F(ZtbSubjectTest, DecodesPasswordsOfAnyLength) {
  for (unsigned const length : {0u, 200u, 300u, 100000u}) {
    ZtbString const password(std::string(length, 'p').c_str(), false);
    ZtbString encoded(as_encoded_prefix, false);
    encoded.append(ztbEncryptString(password), nullptr);
    ZtbString decoded;
    ZtbString error("old", true);
    ASSERT_TRUE(ztbSubjectDecodePW(encoded, decoded, &error)) << length;
    EXPECT_STREQ(password.asCstr(), decoded.asCstr());
    EXPECT_STREQ("old", error.asCstr());
  }
  // Around the size from which the buffer is allocated.
  for (unsigned const length : {0u, 511u, 512u, 513u}) {
    ZtbString decoded("old", true);
    ZtbString error;
    EXPECT_FALSE(
        ztbSubjectDecodePW(ZtbString(std::string(length, 'x').c_str(), false), decoded, &error));
    EXPECT_STREQ("Failed to decode password, rc=1.", error.asCstr());
    EXPECT_STREQ("old", decoded.asCstr());
  }
}

// Two threads log in, one uses whom it finds, and one ends the subject as soon as it sees it, be it
// that the login hasn't returned yet.
TEST_F(ZtbSubjectThreads, LogInUseAndEnd) {
  // Without it the C library loads its zone anew for each date, under a lock that the thread
  // sanitizer doesn't see.
  ztbtest::Variable const zone("TZ", "UTC");
  std::atomic<int> busy = 2;
  std::atomic<int> installed = 0;
  int ended = 0;
  // Never the same name twice in a row.
  auto const install = [&](char const* name, char const* nextName) {
    for (int i = 0; i < 400; ++i) {
      std::string const reason = logIn(name, "hush", nullptr);
      EXPECT_TRUE(reason.empty() || reason == kAssigned) << reason;
      if (!reason.empty()) continue;
      ++installed;
      std::swap(name, nextName);
    }
    --busy;
  };
  auto const use = [&] {
    while (busy > 0) {
      ZtbSubjectInfoParm info;
      ZtbString user, password, error;
      bool const isTold = ztbSubjectInfo(true, &info, &error);
      EXPECT_STREQ(isTold ? "OFFICE" : "", info.authDomain.asCstr());
      bool const isOpened = ztbSubjectCredentials(ZtbString("SALES", true), user, password, &error);
      EXPECT_STREQ(isOpened ? "seller" : "", user.asCstr());
    }
  };
  auto const end = [&] {
    std::string lastEnded;
    for (bool isOver = false; !isOver;) {
      isOver = busy == 0;
      ASSubject* const subject = ztbSubjectAccess();
      if (subject == nullptr) continue;
      isOver = false;
      std::string const name = asSubjectGetName(subject);
      ztbSubjectRelease();
      if (name == lastEnded) continue;  // another thread still has a reference
      ztbSubjectRelease();
      lastEnded = name;
      ++ended;
    }
  };
  ztbtest::inThreads(4, [&](int thread) {
    if (thread == 0) install("kim", "kit");
    if (thread == 1) install("lee", "leo");
    if (thread == 2) use();
    if (thread == 3) end();
  });
  EXPECT_EQ(installed, ended);
  EXPECT_LT(0, ended);
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  EXPECT_EQ("none", published());
}

}  // namespace
