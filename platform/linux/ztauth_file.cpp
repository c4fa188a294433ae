// SPDX-License-Identifier: MIT
//
// Users in a file.

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "ztauth_source.h"
#include "ztssys11.h"

namespace ztauth {

namespace {

constexpr char kConfigure[] = "set the option BASE/AUTH_SERVER_LOC to file:PATH";

class FileSession : public Session {
 public:
  FileSession(std::string path, UserRecord record, UserKeys keys, bool hasSecret)
      : mPath(std::move(path)),
        mRecord(std::move(record)),
        mKeys(std::move(keys)),
        mHasSecret(hasSecret) {}

  std::string const& name() const override { return mRecord.name; }
  std::string const& domain() const override { return mRecord.domain; }
  std::string const& resolved() const override {
    return mRecord.resolved.empty() ? mRecord.name : mRecord.resolved;
  }

  std::string refresh() const override {
    std::optional<UserRecord> now;
    std::string reason = findUser(mPath, mRecord.name, now);
    if (!reason.empty()) return reason;
    if (!now) return "User " + inQuotes(name()) + " is no longer in the file of users";
    if (now->password == mRecord.password) return "";
    return "The password of user " + inQuotes(name()) + " has changed since the login";
  }

  std::string lockedCredentials() const override {
    if (mKeys.publicKey == mRecord.publicKey) return "";
    if (!mRecord.needsSecret) {
      return "The key of user " + inQuotes(name()) + " in the file of users isn't the user's own";
    }
    std::string const sealed = "The credentials of user " + inQuotes(name()) + " are sealed with ";
    if (mHasSecret) return sealed + "another secret than the one in BASE/AUTH_SERVER_LOC";
    return sealed + "a secret: add ,pass=SECRET to BASE/AUTH_SERVER_LOC";
  }

  std::string open(std::string_view domain, Credential& credential) const override {
    return openCredential(mRecord, mKeys, domain, credential);
  }

 private:
  std::string mPath;
  UserRecord mRecord;
  UserKeys mKeys;
  bool mHasSecret;
};

SessionPtr logIn(std::string_view file, std::string_view secret, Attempt const& attempt,
                 std::string& reason) {
  // The same file, wherever the process goes later.
  std::error_code failure;
  std::string path = std::filesystem::absolute(file, failure).string();
  if (failure) {
    reason = "The current folder can't be found";
    return nullptr;
  }
  std::optional<UserRecord> record;
  reason = findUser(path, attempt.user, record);
  if (!reason.empty()) return nullptr;
  UserKeys keys;
  if (!record) {
    checkNoPassword(attempt.password);
  } else if (checkPassword(record->password, attempt.password,
                           record->needsSecret ? secret : std::string_view(), keys)) {
    return std::make_shared<FileSession>(std::move(path), std::move(*record), std::move(keys),
                                         !secret.empty());
  }
  reason = refusal();
  return nullptr;
}

constexpr std::string_view kSecretWord = "pass=";

bool hasSecretWord(std::string_view text) {
  return std::search(text.begin(), text.end(), kSecretWord.begin(), kSecretWord.end(), isLetter) !=
         text.end();
}

// Leaves the secret of what stands behind the path, which is nothing or a comma and the word.
bool takeSecretWord(std::string_view& text) {
  if (text.empty()) return true;
  text.remove_prefix(std::min(text.find_first_not_of(" \t", 1), text.size()));
  bool const isWord = beginsWith(text, kSecretWord);
  if (isWord) text.remove_prefix(kSecretWord.size());
  return isWord;
}

}  // namespace

SessionPtr logInByFile(Attempt const& attempt, std::string& reason) {
  std::string_view const path = attempt.place.substr(0, attempt.place.find(','));
  std::string_view secret = attempt.place.substr(path.size());
  // A secret that was given in another way must not show in a text as a part of the path.
  if (path.empty() || hasSecretWord(path) || !takeSecretWord(secret)) {
    reason = std::string("The location of users must have the form ") + kFileForm;
    return nullptr;
  }
  reason = checkSecret(secret);
  return reason.empty() ? logIn(path, secret, attempt, reason) : nullptr;
}

SessionPtr logInByHome(Attempt const& attempt, std::string& reason) {
  char home[PATH_MAX];
  if (np_env_get("ZTEXEC_HOME", home, sizeof home) != np_env_found || home[0] == '\0') {
    reason = std::string("There is no home, and no place of users: ") + kConfigure;
    return nullptr;
  }
  std::string const path = std::string(home) + "/etc/users";
  if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
    reason = "There is no file of users " + inQuotes(path) +
             ", and no other place of users: " + kConfigure;
    return nullptr;
  }
  return logIn(path, "", attempt, reason);
}

}  // namespace ztauth
