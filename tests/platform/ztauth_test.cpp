// SPDX-License-Identifier: MIT
//
// Authentication by a file of users, and encoded passwords.

#include "ztauth.h"

#include <sys/stat.h>

#include <memory>

#include "ztauth_userfile.h"
#include "ztbencrypt.h"
#include "ztbtest.h"

namespace {

using namespace std::string_literals;
using ztauth::UserRecord;
using ztbtest::contains;

constexpr ztauth::HashCost kCheap{1, 8};

struct End {
  void operator()(ASSubject* subject) const { asSubjectDestroy(subject); }
  void operator()(ASPrincipals* principals) const { asPrincipalsDestroy(principals); }
};

UserRecord makeUser(std::string const& name, std::string const& password,
                    std::string const& secret = "") {
  UserRecord record;
  record.name = name;
  record.domain = "OFFICE";
  EXPECT_EQ("", ztauth::setPassword(record, password, secret, kCheap));
  return record;
}

std::string fileOf(std::vector<UserRecord> const& users) {
  std::string text = "ztb-users 1\n# who may log in\n\n";
  for (UserRecord const& user : users) text += ztauth::composeUserLine(user) + "\n";
  return text;
}

class ZtauthTest : public testing::Test {
 protected:
  std::string write(std::string const& text) {
    std::string const path = mFolder.write("users", text);
    EXPECT_EQ(0, chmod(path.c_str(), 0600));
    return path;
  }

  // 0 or the reason, in which no password and no secret may stand.
  std::string logIn(std::string const& location, std::string const& user,
                    std::string const& password) {
    ASSubject* given = nullptr;
    int const failure = asAuthenticate(location.data(), static_cast<int>(location.size()),
                                       user.data(), static_cast<int>(user.size()), password.data(),
                                       static_cast<int>(password.size()), 12.5, &given);
    mSubject.reset(given);
    std::string const reason = asSubjectGetErrorMessage(given);
    EXPECT_EQ(failure != 0, !reason.empty());
    EXPECT_EQ(failure == 0, asSubjectConnected(given) != 0);
    EXPECT_EQ(reason.npos, reason.find("hush"));
    return reason;
  }
  std::string logIn(std::string const& user, std::string const& password) {
    return logIn("file:" + mFolder.path("users"), user, password);
  }

  // "user/password" for a domain, or the reason.
  std::string credentials(char const* domain) {
    ASPrincipals* given = nullptr;
    int const failure = asSubjectPrincipals(mSubject.get(), &given);
    std::unique_ptr<ASPrincipals, End> const principals(given);
    char const* user = "";
    char const* password = "";
    bool const found = asPrincipalsGetByDomain(given, domain, &user, &password) == 0;
    EXPECT_TRUE(failure == 0 || !found);
    return found ? user + "/"s + password : asPrincipalsGetErrorMessage(given);
  }

  ztbtest::TempFolder mFolder;
  std::unique_ptr<ASSubject, End> mSubject;
};

TEST_F(ZtauthTest, LetsUsersInByTheirPassword) {
  std::string const large(1 << 20, 'p');
  UserRecord strange = makeUser("#a:b%,=\n\u00e9", "x");
  strange.resolved = "a.b";
  write(fileOf({makeUser("kim", "hush"), makeUser("lee", ""), makeUser("max", large),
                makeUser("nul", "a\0b"s), strange}));
  using Logins = std::vector<std::pair<std::string, std::string>>;
  for (auto const& [user, password] : Logins{
           {"lee", ""}, {"max", large}, {"nul", "a\0b"s}, {strange.name, "x"}, {"kim", "hush"}}) {
    EXPECT_EQ("", logIn(user, password));
    EXPECT_EQ(user, asSubjectGetName(mSubject.get()));
    EXPECT_EQ(user == strange.name ? "a.b" : user, asSubjectGetResolved(mSubject.get()));
  }
  EXPECT_STREQ("OFFICE", asSubjectGetAuthDomain(mSubject.get()));
  EXPECT_EQ(12.5, asSubjectGetAuthTime(mSubject.get()));
  for (auto const& [user, password] : Logins{{"kim", "hush "},
                                             {"kim", ""},
                                             {"max", large + "p"},
                                             {"nul", "a"},
                                             {"Kim", "hush"},
                                             {"", ""},
                                             {"kim\0"s, "hush"},
                                             {"\xff", "hush"},
                                             {"ki", "hush"}}) {
    EXPECT_EQ("The user name or the password is wrong", logIn(user, password)) << user;
  }
  EXPECT_STREQ("", asSubjectGetName(mSubject.get()));
  EXPECT_NE(0, asSubjectRefresh(mSubject.get(), 13));
  EXPECT_EQ("Nobody is logged in", credentials("SALES"));
}

TEST_F(ZtauthTest, RefusesFilesThatAreNotInOrder) {
  std::string const kim = ztauth::composeUserLine(makeUser("kim", "hush")) + "\n";
  std::string const lee = ztauth::composeUserLine(makeUser("lee", "hush")) + "\n";
  std::string const head = "ztb-users 1\n";
  std::string const hashed = kim.substr(0, kim.find("argon2id,")) + "argon2id,";
  std::string const record = kim.substr(0, kim.size() - 1);
  struct {
    std::string text;
    char const* reason;
  } const rows[] = {
      {"ztb-users 2\n" + kim, "', line 1: it doesn't say 'ztb-users 1'"},
      {head + kim + "# cut", "', line 3: the last line has no end"},
      {head + kim + lee + kim, "', line 4: the user 'kim' stands there a second time"},
      {head + kim + "lee:\n", "', line 3: the record has too few fields"},
      {head + kim + "#\xed\xa0\x80\n", "', line 3: the text isn't UTF-8"},
      {head + kim + "%FF::::\n", "', line 3: the user's name isn't one"},
      {head + kim + "a%00::::\n", "', line 3: the user's name isn't one"},
      {head + kim + "a%4::::\n", "', line 3: the user's name isn't one"},
      {head + kim + "::::x\n", "', line 3: the user's name isn't one"},
      {head + record + "\r\n", "', line 2: it holds a control character"},
      {head + kim + std::string((1 << 20) + 1, '#') + "\n", "', line 3: the line is too long"},
      {head + kim + std::string(3 << 20, 'x'), "', line 3: the line is too long"},
      {head + hashed + "11,8,AAAAAAAAAAAAAAAAAAAAAA,x:x\n", "the password isn't a record"},
      {head + hashed + "1,1048577,AAAAAAAAAAAAAAAAAAAAAA,x:x\n", "the password isn't a record"},
      {head + kim.substr(0, kim.size() - 2) + "\n", "', line 2: the key isn't one"},
      {head + kim.substr(0, kim.size() - 3) + "\u00e9\n", "', line 2: the key isn't one"},
      {head + record + ":SALES=AAAA\n", "', line 2: a credential is damaged"},
      {head + record + ":\n", "', line 2: a credential is damaged"},
  };
  for (auto const& [text, reason] : rows) {
    write(text);
    EXPECT_TRUE(contains(logIn("kim", "hush"), reason)) << text.substr(0, 200);
  }
  for (std::size_t size = 0; size < head.size() + kim.size(); ++size) {
    if (size == head.size()) continue;
    write((head + kim).substr(0, size));
    char const* const reason =
        size < head.size() ? "', line 1: " : "line 2: the last line has no end";
    EXPECT_TRUE(contains(logIn("kim", "hush"), reason)) << size;
  }
  std::string comments = head;
  for (int i = 0; i < 40; ++i) comments += std::string(100000, '#') + "\n";
  write(comments + kim + "# " + std::string((1 << 20) - 2, 'c') + "\n");
  EXPECT_EQ("", logIn("kim", "hush"));
}

TEST_F(ZtauthTest, RefusesFilesThatOthersMayWrite) {
  std::string const path = write(fileOf({makeUser("kim", "hush")}));
  for (mode_t const mode : {0620U, 0602U}) {
    ASSERT_EQ(0, chmod(path.c_str(), mode));
    EXPECT_TRUE(contains(logIn("kim", "hush"), "': others may write it: chmod go-w"));
  }
  ASSERT_EQ(0, chmod(path.c_str(), 0644));
  EXPECT_EQ("", logIn("kim", "hush"));
  if (geteuid() == 0) {
    ASSERT_EQ(0, chown(path.c_str(), 12345, 0));
    EXPECT_TRUE(contains(logIn("kim", "hush"), "': it belongs neither to this user nor to root"));
  }
  std::filesystem::remove(path);
  EXPECT_TRUE(contains(logIn("kim", "hush"), "': it can't be read: No such file or directory"));
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  EXPECT_TRUE(contains(logIn("kim", "hush"), "': it isn't a regular file"));
  EXPECT_TRUE(contains(logIn("file:" + mFolder.path(), "kim", "hush"), "isn't a regular file"));
}

TEST_F(ZtauthTest, FindsThePlaceOfUsers) {
  std::string const text = fileOf({makeUser("kim", "hush")});
  std::string const path = write(text);
  struct {
    std::string location;
    std::string reason;
  } const rows[] = {
      {" FILE:" + path + "\n", ""},
      {"file:" + path + ",PASS=hush", ""},
      {"file:" + path + ", pass=", ""},
      {"file:" + path + ",pass=a/hush", "A secret can hold neither '/' nor ',', nor white space"},
      {"file:" + path + ",pass=a,hush", "A secret can hold neither"},
      {"file:,pass=hush", "The location of users must have the form file:PATH or file:PATH,pass="},
      {"file:" + path + ";pass=hush", "must have the form"},
      {"file:" + path + ",password=hush", "must have the form"},
      {"file:" + path + "\0x"s, "users%00x': no path holds a NUL"},
      {"ldap://host,pass=hush", "must have the form"},
      {"fil", "must have the form"},
  };
  for (auto const& [location, reason] : rows) {
    std::string const told = logIn(location, "kim", "hush");
    EXPECT_EQ(reason.empty(), told.empty()) << location;
    EXPECT_TRUE(contains(told, reason)) << location;
  }
  ztbtest::Variable const home("ZTEXEC_HOME", mFolder.path().c_str());
  EXPECT_TRUE(contains(logIn(" ", "kim", "hush"), "/etc/users', and no other place of users: set"));
  ASSERT_EQ(0, chmod(mFolder.write("etc/users", text).c_str(), 0600));
  EXPECT_EQ("", logIn("", "kim", "hush"));
  setenv("ZTEXEC_HOME", "", 1);
  EXPECT_TRUE(contains(logIn("", "kim", "hush"), "There is no home, and no place of users: set"));
}

TEST_F(ZtauthTest, OpensCredentialsAfterALogin) {
  UserRecord kim = makeUser("kim", "hush");
  UserRecord lee = makeUser("lee", "hush", "hush2");
  for (UserRecord* user : {&kim, &lee}) {
    ASSERT_EQ("", ztauth::sealCredential(*user, "SALES", "old", "old"));
    ASSERT_EQ("", ztauth::sealCredential(*user, "A:=%", "", ""));
    ASSERT_EQ("", ztauth::sealCredential(*user, "SALES", user->name, "\u00e9:=%"));
  }
  // What was sealed for one domain is no credential of another.
  UserRecord max = makeUser("max", "hush");
  ASSERT_EQ("", ztauth::sealCredential(max, "SALES", "max", "m"));
  max.credentials[0].domain = "OTHER";
  UserRecord swapped = makeUser("swapped", "hush");
  swapped.publicKey = kim.publicKey;
  std::string const location = "file:" + write(fileOf({kim, lee, max, swapped}));

  std::string const sealed = "The credentials of user 'lee' are sealed with a";
  struct {
    std::string location, user;
    char const* domain;
    std::string expected;
  } const rows[] = {
      {location, "kim", "SALES", "kim/\u00e9:=%"},
      {location, "kim", "A:=%", "/"},
      {location, "kim", "sales\n", "User 'kim' has no credentials for domain 'sales%0A'"},
      {location + ",pass=any", "kim", "SALES", "kim/\u00e9:=%"},
      {location + ",pass=hush2", "lee", "SALES", "lee/\u00e9:=%"},
      {location, "lee", "SALES", sealed + " secret: add ,pass=SECRET to BASE/AUTH_SERVER_LOC"},
      {location + ",pass=Hush2", "lee", "SALES",
       sealed + "nother secret than the one in BASE/AUTH_SERVER_LOC"},
      {location, "max", "OTHER", "The credentials of user 'max' for domain 'OTHER' are damaged"},
      {location, "swapped", "SALES",
       "The key of user 'swapped' in the file of users isn't the user's own"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ("", logIn(row.location, row.user, "hush"));
    EXPECT_EQ(row.expected, credentials(row.domain));
  }
}

TEST_F(ZtauthTest, AsksTheFileAgain) {
  UserRecord const kim = makeUser("kim", "hush");
  write(fileOf({kim}));
  ASSERT_EQ("", logIn("kim", "hush"));
  EXPECT_EQ(0, asSubjectRefresh(mSubject.get(), 13));
  struct {
    std::string text;
    char const* reason;
  } const rows[] = {
      {fileOf({}), "User 'kim' is no longer in the file of users"},
      {fileOf({makeUser("kim", "hush")}), "The password of user 'kim' has changed since the login"},
      {"", "line 1: the file is empty"},
  };
  char const* first = nullptr;
  for (auto const& [text, reason] : rows) {
    write(text);
    EXPECT_NE(0, asSubjectRefresh(mSubject.get(), 13));
    EXPECT_TRUE(contains(asSubjectGetErrorMessage(mSubject.get()), reason));
    EXPECT_EQ(0, asSubjectConnected(mSubject.get()));
    if (first == nullptr) first = asSubjectGetErrorMessage(mSubject.get());
  }
  EXPECT_STREQ(rows[0].reason, first) << "texts stay";
  write(fileOf({kim}));
  EXPECT_EQ(0, asSubjectRefresh(mSubject.get(), 13));
  EXPECT_NE(0, asSubjectConnected(mSubject.get()));
}

TEST_F(ZtauthTest, RefusesWhatNoRecordCanHold) {
  UserRecord record = makeUser("kim", "hush");
  EXPECT_EQ("A credential needs a domain", ztauth::sealCredential(record, "", "u", "p"));
  for (std::string const& bad : {"\0"s, "\xff"s, std::string(70000, 'x')}) {
    EXPECT_NE("", ztauth::sealCredential(record, bad, "u", "p"));
    EXPECT_NE("", ztauth::sealCredential(record, "D", bad, "p"));
    EXPECT_NE("", ztauth::sealCredential(record, "D", "u", bad));
    UserRecord other;
    other.name = bad;
    EXPECT_NE("", ztauth::setPassword(other, "p", "", kCheap));
  }
  for (char const* secret : {"a/b", "a,b", " a", "a\n"}) {
    EXPECT_NE("", ztauth::setPassword(record, "p", secret, kCheap)) << secret;
  }
  UserRecord nameless;
  EXPECT_EQ("A user needs a name", ztauth::setPassword(nameless, "p", "", kCheap));
  std::string reason;
  for (int i = 0; reason.empty() && i < 100; ++i) {
    reason = ztauth::sealCredential(record, std::to_string(i), "u", std::string(65536, 'x'));
  }
  EXPECT_EQ("There are too many credentials", reason);
  write(fileOf({record}));
  EXPECT_EQ("", logIn("kim", "hush")) << "the longest line";
}

TEST_F(ZtauthTest, WorksWhereMemoryCannotBeLocked) {
  UserRecord kim = makeUser("kim", "hush");
  ASSERT_EQ("", ztauth::sealCredential(kim, "SALES", "u", "p"));
  write(fileOf({kim}));
  EXPECT_EQ(0, ztbtest::inChild([this] {
              ztbtest::Limit const limit(RLIMIT_MEMLOCK, 0);
              return logIn("kim", "hush").empty() && credentials("SALES") == "u/p" ? 0 : 1;
            }));
}

// ---- Encoded passwords --------------------------------------------------------------------------

std::string encode(std::string const& password) {
  ZtbString const text(password.c_str(), true);
  return std::string(as_encoded_prefix) + ztbEncryptString(text).asCstr();
}

using ZtauthDecode = ztbtest::LibraryTest;

TEST_F(ZtauthDecode, UndoesEncodedPasswords) {
  std::string const kept(600, '~');
  for (std::size_t const length : {0U, 1U, 12U, 13U, 49U, 50U, 51U, 511U}) {
    std::string const password(length, 'p');
    std::string const encoded = encode(password);
    std::string buffer = kept;
    int const fitting = static_cast<int>(length) + 1;
    ASSERT_EQ(as_decode_done, asDecodePW(encoded.c_str(), buffer.data(), fitting)) << length;
    EXPECT_EQ(password + '\0' + kept.substr(length + 1), buffer);
    buffer = kept;
    EXPECT_EQ(as_decode_too_long, asDecodePW(encoded.c_str(), buffer.data(), fitting - 1));
    EXPECT_EQ(buffer.npos, buffer.find('p')) << "wiped";
    for (std::string const& bad :
         {encoded.substr(1), encoded + "\n", encoded + "A", encoded.substr(0, encoded.size() - 1),
          encoded.substr(0, 77), std::string(as_encoded_prefix)}) {
      if (bad == encoded) continue;
      EXPECT_EQ(as_decode_form, asDecodePW(bad.c_str(), buffer.data(), 600)) << length;
      EXPECT_EQ('\0', buffer[0]);
    }
  }
  char buffer[99];
  // A NUL between two letters, which no text can hold, was encoded by hand.
  std::string const nul = "{ztb}5s3ngtF0jhtNkStu0AQ11IEt99+2oMVhT8q7gLG1VGE7fFDtvds+FF8TMXY=";
  for (std::string const& bad : {""s, nul, encode("\xc3"), encode(std::string(40, 'a') + "\xc3")}) {
    EXPECT_EQ(as_decode_form, asDecodePW(bad.c_str(), buffer, sizeof buffer)) << bad;
  }
  EXPECT_EQ(as_decode_done, asDecodePW(encode(std::string(12, 'a') + "\u00e9").c_str(), buffer, 99))
      << "a character cut between two lines";
  ztbtest::Variable const key("ZTB_KEY_FILE", "/nowhere");
  EXPECT_EQ(as_decode_key, asDecodePW("{ztb}AAAA", buffer, 99));
}

}  // namespace
