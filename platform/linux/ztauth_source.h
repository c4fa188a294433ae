// SPDX-License-Identifier: MIT
//
// Where users come from. A place of users has a row in the table of ztauth.cpp and, behind it, a
// function that logs a user in; all the rest of ztauth works on the session that this gives.

#ifndef ZTAUTH_SOURCE_H
#define ZTAUTH_SOURCE_H

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "ztauth_userfile.h"

namespace ztauth {

// What somebody logs in with. Texts may hold any bytes.
struct Attempt {
  std::string_view place;  // the location behind its scheme
  std::string_view user;
  std::string_view password;
};

// A user who was let in. It doesn't change, so that any threads may use one at once. Reasons are as
// in ztauth_userfile.h, and std::bad_alloc is the only exception.
class Session {
 public:
  virtual ~Session() = default;

  // Texts that stay as long as the session.
  virtual std::string const& name() const = 0;
  virtual std::string const& domain() const = 0;
  virtual std::string const& resolved() const = 0;

  // Asks the place of users whether it still vouches for the user.
  [[nodiscard]] virtual std::string refresh() const = 0;

  // Why no credentials of the user can be opened at all.
  [[nodiscard]] virtual std::string lockedCredentials() const = 0;

  // Opens the credentials for a domain.
  [[nodiscard]] virtual std::string open(std::string_view domain, Credential& credential) const = 0;
};

// Null after a refusal, with the reason, which is the same for an unknown user and for a wrong
// password (refusal), as is the time.
using SessionPtr = std::shared_ptr<Session const>;
using LogIn = SessionPtr(Attempt const& attempt, std::string& reason);

struct Source {
  std::string_view scheme;  // what its locations begin with, in lower case; counts in any case
  std::string_view form;    // its locations, for people to read
  LogIn* logIn;
};

// The reason for an unknown user and for a wrong password.
std::string refusal();

// Whether a byte of a location is the one of a word in lower case, in any case of ASCII's letters.
inline bool isLetter(char byte, char lower) {
  return byte == lower || (byte >= 'A' && byte <= 'Z' && byte - 'A' + 'a' == lower);
}

// Whether a location begins with such a word.
inline bool beginsWith(std::string_view text, std::string_view word) {
  return text.size() >= word.size() &&
         std::equal(word.begin(), word.end(), text.begin(),
                    [](char lower, char byte) { return isLetter(byte, lower); });
}

inline constexpr char kFileForm[] = "file:PATH or file:PATH,pass=SECRET";

// The file that `place` names, as in kFileForm.
LogIn logInByFile;

// The file etc/users of the home; `place` is empty.
LogIn logInByHome;

}  // namespace ztauth

#endif
