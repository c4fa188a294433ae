// SPDX-License-Identifier: MIT

#include "ztbsubject.h"

#include <sys/stat.h>

#include <atomic>
#include <string>

#include "ztauth.h"
#include "ztauth_userfile.h"
#include "ztbconfigoptions.h"
#include "ztbencrypt.h"
#include "ztbtest.h"

namespace {

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
    setOption("BASE/AUTH_SERVER_LOC", " \t" + mLocation + " \n");
  }

  static ZtbConfigOptions* options() { return ztbGetConfigOptions(ZtbString()); }
  static void setOption(char const* name, std::string const& value) {
    options()->setOption(ZtbString(name, true), ZtbString(value.c_str(), false));
  }
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
  ztbSubjectRelease();
  EXPECT_EQ("kim", published()) << "refused ones took no reference";
  ztbSubjectRelease();
  EXPECT_EQ("none", published());
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  ztbSubjectRelease();
  EXPECT_EQ("Failed to initialize process wide subject.", set(nullptr));
  EXPECT_EQ("", set(lee)) << "nothing is left of an access without a subject";
  EXPECT_EQ("lee", published());
  ztbSubjectRelease();
  EXPECT_EQ("", logIn("kim", "hush", nullptr));
  ztbSubjectRelease();
}

TEST_F(ZtbSubjectTest, TellsWhyNobodyIsLoggedIn) {
  ASSubject* subject = nullptr;
  EXPECT_EQ("Failed to authenticate user 'kim' (The user name or the password is wrong).",
            logIn("kim", "Hush", &subject));
  EXPECT_EQ(nullptr, subject);
  ztbtest::Variable const home("ZTEXEC_HOME", mFolder.path().c_str());
  options()->removeOption(ZtbString("BASE/AUTH_SERVER_LOC", true));
  EXPECT_EQ("Failed to authenticate user 'kim' (There is no file of users '" +
                mFolder.path("etc/users") +
                "', and no other place of users: set the option BASE/AUTH_SERVER_LOC to "
                "file:PATH).",
            logIn("kim", "hush", &subject));
  EXPECT_EQ("none", published());
}

TEST(ZtbSubjectOutside, RefusesWhileTheLibraryIsDown) {
  ZtbString const user("kim", true);
  ZtbString error;
  EXPECT_FALSE(ztbSubjectAuthenticate(user, user, nullptr, &error));
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  ztbSubjectRelease();
}

TEST_F(ZtbSubjectTest, TellsWhoItIsAndWhatItMayUse) {
  ZtbString const sales("SALES", true);
  ZtbString user("old", true);
  ZtbString password("old", true);
  ZtbString error("old", true);
  ZtbSubjectInfoParm info;
  info.name.assign("old");
  EXPECT_FALSE(ztbSubjectInfo(true, &info, &error));
  EXPECT_TRUE(error.isNull());
  EXPECT_FALSE(info.connected);
  EXPECT_FALSE(ztbSubjectCredentials(sales, user, password, &error));
  EXPECT_STREQ("There is not a process wide subject", error.asCstr());
  EXPECT_TRUE(user.isNull() && password.isNull());

  ASSERT_EQ("", set(subjectOf("kim")));
  ASSERT_TRUE(ztbSubjectCredentials(sales, user, password, &error));
  EXPECT_STREQ("seller", user.asCstr());
  EXPECT_STREQ("s\u00e9cret", password.asCstr());
  EXPECT_TRUE(error.isNull());
  ASSERT_TRUE(ztbSubjectInfo(true, &info, &error));
  EXPECT_STREQ("kim", info.name.asCstr());
  EXPECT_STREQ("OFFICE", info.authDomain.asCstr());
  EXPECT_STREQ("kim.x", info.resolved.asCstr());
  EXPECT_EQ(7, info.authTime.asDouble());
  EXPECT_TRUE(info.connected);

  mFolder.write("users", "ztb-users 1\n");
  EXPECT_FALSE(ztbSubjectInfo(true, &info, &error));
  EXPECT_STREQ("User 'kim' is no longer in the file of users", error.asCstr());
  EXPECT_STREQ("kim", info.name.asCstr());
  EXPECT_TRUE(info.resolved.isNull());
  ASSERT_TRUE(ztbSubjectInfo(false, &info, &error));
  EXPECT_FALSE(info.connected);
  EXPECT_FALSE(ztbSubjectCredentials(ZtbString("sales", true), user, password, &error));
  EXPECT_STREQ("User 'kim' has no credentials for domain 'sales'", error.asCstr());
  EXPECT_TRUE(user.isNull() && password.isNull());
  ztbSubjectRelease();
  EXPECT_EQ(nullptr, ztbSubjectAccess()) << "each reference was given back";
}

TEST_F(ZtbSubjectTest, DecodesPasswordsOfAnyLength) {
  for (unsigned const length : {0u, 1u, 200u, 300u, 100000u}) {
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
    ZtbString const encoded(std::string(length, 'x').c_str(), false);
    ZtbString decoded("old", true);
    ZtbString error;
    EXPECT_FALSE(ztbSubjectDecodePW(encoded, decoded, &error));
    EXPECT_STREQ("Failed to decode password, rc=1.", error.asCstr());
    EXPECT_STREQ("old", decoded.asCstr());
  }
}

// One thread logs in, one sets subjects, one uses what it finds, and one ends it as soon as it sees
// it, be it that the login hasn't returned yet.
TEST_F(ZtbSubjectThreads, LogInSetUseAndEnd) {
  constexpr int kRounds = 400;
  // Without it the C library loads its zone anew for each date, under a lock that the thread
  // sanitizer doesn't see.
  ztbtest::Variable const zone("TZ", "UTC");
  std::atomic<int> busy = 2;
  std::atomic<int> installed = 0;
  std::atomic<int> wrong = 0;
  int ended = 0;
  // Never the same name twice in a row.
  auto const install = [&](int thread) {
    char const* const names[] = {"kim", "kit", "lee", "leo"};
    for (int i = 0, done = 0; i < kRounds; ++i) {
      char const* const name = names[2 * thread + done % 2];
      ASSubject* const own = thread == 1 ? subjectOf(name) : nullptr;
      std::string const reason = thread == 1 ? set(own) : logIn(name, "hush", nullptr);
      if (reason.empty()) ++done, ++installed;
      if (!reason.empty() && own != nullptr) asSubjectDestroy(own);
      if (!reason.empty() && reason != kAssigned) ++wrong;
    }
    --busy;
  };
  auto const use = [&] {
    while (busy > 0) {
      ZtbSubjectInfoParm info;
      ZtbString user;
      ZtbString password;
      ZtbString error;
      if (ztbSubjectInfo(true, &info, &error) &&
          info.authDomain.asCstr() != std::string("OFFICE")) {
        ++wrong;
      }
      bool const opened = ztbSubjectCredentials(ZtbString("SALES", true), user, password, &error);
      if (opened && user.asCstr() != std::string("seller")) ++wrong;
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
    if (thread < 2) install(thread);
    if (thread == 2) use();
    if (thread == 3) end();
  });
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(installed, ended);
  EXPECT_LT(0, ended);
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  EXPECT_EQ("none", published());
}

}  // namespace
