// SPDX-License-Identifier: MIT

#include "ztauth.h"

#include <sodium.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "ztauth_source.h"
#include "ztbb10.h"
#include "ztsstr12.h"

using ztauth::Attempt;
using ztauth::Session;
using ztauth::SessionPtr;
using ztauth::Source;

namespace {

enum Result : int { kDone = 0, kRefused = 1, kNoMemory = 2 };

constexpr Source kSources[] = {
    {"file:", ztauth::kFileForm, ztauth::logInByFile},
};

// The failures of an object. A text stays where it is while other threads fail with other ones, so
// each is kept once; there are few, but for a file that is damaged in ever new places.
class Failures {
 public:
  Failures() : mLock(ztLockCreate(0, 0)) {
    if (mLock == nullptr) throw std::bad_alloc();
  }
  Failures(Failures const&) = delete;
  Failures& operator=(Failures const&) = delete;
  ~Failures() { ztLockDestroy(mLock); }

  void note(std::string const& text) {
    ZtLockHold const hold(mLock);
    auto const known = mTexts.find(text);
    bool const keep = known != mTexts.end() || mTexts.size() < kMostTexts;
    mLast = keep ? mTexts.insert(text).first->c_str() : "It failed in too many ways to tell";
  }
  void noteNoMemory() {
    ZtLockHold const hold(mLock);
    mLast = "Memory ran out";
  }
  char const* last() const {
    ZtLockHold const hold(mLock);
    return mLast;
  }

 private:
  static constexpr std::size_t kMostTexts = 64;

  ZtLock mLock;
  std::set<std::string> mTexts;  // guarded by mLock, as is mLast
  char const* mLast = "";
};

std::string_view textOf(char const* text, int bytes) {
  return bytes > 0 ? std::string_view(text, static_cast<std::size_t>(bytes)) : std::string_view();
}

std::string_view trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\f\v";
  std::size_t const begin = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(begin);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// The text doesn't repeat the location, which may hold a secret.
std::string unknownPlace() {
  std::string text = "The location of users must have the form";
  char const* between = " ";
  for (Source const& source : kSources) {
    text += between + std::string(source.form);
    between = ", ";
  }
  return text;
}

SessionPtr logIn(Attempt attempt, std::string& reason) {
  attempt.place = trim(attempt.place);
  if (attempt.place.empty()) return logInByHome(attempt, reason);
  auto const* const source =
      std::find_if(std::begin(kSources), std::end(kSources),
                   [&](Source const& s) { return ztauth::beginsWith(attempt.place, s.scheme); });
  if (source == std::end(kSources)) {
    reason = unknownPlace();
    return nullptr;
  }
  attempt.place.remove_prefix(source->scheme.size());
  return source->logIn(attempt, reason);
}

}  // namespace

std::string ztauth::refusal() {
  return "The user name or the password is wrong";
}

// ---- Subjects -----------------------------------------------------------------------------------

struct ASSubject {
  SessionPtr session;  // null after a failed login
  double authTime = 0;
  std::atomic<bool> connected = false;
  Failures failures;
};

int asAuthenticate(char const* location, int locationBytes, char const* user, int userBytes,
                   char const* password, int passwordBytes, double now, ASSubject** subject) {
  *subject = nullptr;
  try {
    auto fresh = std::make_unique<ASSubject>();
    std::string reason;
    fresh->session = logIn(
        {textOf(location, locationBytes), textOf(user, userBytes), textOf(password, passwordBytes)},
        reason);
    bool const isIn = fresh->session != nullptr;
    fresh->authTime = isIn ? now : 0;
    fresh->connected = isIn;
    if (!isIn) fresh->failures.note(reason);
    *subject = fresh.release();
    return isIn ? kDone : kRefused;
  } catch (std::exception const&) {
    return kNoMemory;
  }
}

void asSubjectDestroy(ASSubject* subject) {
  delete subject;
}

char const* asSubjectGetName(ASSubject* subject) {
  return subject->session != nullptr ? subject->session->name().c_str() : "";
}

char const* asSubjectGetAuthDomain(ASSubject* subject) {
  return subject->session != nullptr ? subject->session->domain().c_str() : "";
}

char const* asSubjectGetResolved(ASSubject* subject) {
  return subject->session != nullptr ? subject->session->resolved().c_str() : "";
}

double asSubjectGetAuthTime(ASSubject* subject) {
  return subject->authTime;
}

int asSubjectConnected(ASSubject* subject) {
  return subject->connected ? 1 : 0;
}

int asSubjectRefresh(ASSubject* subject, double) {
  if (subject->session == nullptr) return kRefused;
  try {
    std::string const reason = subject->session->refresh();
    subject->connected = reason.empty();
    if (reason.empty()) return kDone;
    subject->failures.note(reason);
    return kRefused;
  } catch (std::exception const&) {
    subject->connected = false;
    subject->failures.noteNoMemory();
    return kNoMemory;
  }
}

char const* asSubjectGetErrorMessage(ASSubject* subject) {
  return subject->failures.last();
}

// ---- Principals ---------------------------------------------------------------------------------

struct ASPrincipals {
  SessionPtr session;  // null if its credentials can't be opened
  std::map<std::string, ztauth::Credential, std::less<>> opened;
  Failures failures;
};

namespace {

ztauth::Credential const* findOrOpen(ASPrincipals& principals, std::string_view domain) {
  auto const known = principals.opened.find(domain);
  if (known != principals.opened.end()) return &known->second;
  if (principals.session == nullptr) return nullptr;
  ztauth::Credential credential;
  std::string const reason = principals.session->open(domain, credential);
  if (!reason.empty()) {
    principals.failures.note(reason);
    return nullptr;
  }
  return &principals.opened.emplace(domain, std::move(credential)).first->second;
}

}  // namespace

int asSubjectPrincipals(ASSubject* subject, ASPrincipals** principals) {
  *principals = nullptr;
  try {
    auto fresh = std::make_unique<ASPrincipals>();
    std::string const reason =
        subject->session != nullptr ? subject->session->lockedCredentials() : "Nobody is logged in";
    if (reason.empty()) fresh->session = subject->session;
    if (!reason.empty()) fresh->failures.note(reason);
    *principals = fresh.release();
    return reason.empty() ? kDone : kRefused;
  } catch (std::exception const&) {
    return kNoMemory;
  }
}

int asPrincipalsGetByDomain(ASPrincipals* principals, char const* domain, char const** user,
                            char const** password) {
  *user = nullptr;
  *password = nullptr;
  try {
    ztauth::Credential const* const credential = findOrOpen(*principals, domain);
    if (credential == nullptr) return kRefused;
    *user = credential->user();
    *password = credential->password();
    return kDone;
  } catch (std::exception const&) {
    principals->failures.noteNoMemory();
    return kNoMemory;
  }
}

char const* asPrincipalsGetErrorMessage(ASPrincipals* principals) {
  return principals->failures.last();
}

void asPrincipalsDestroy(ASPrincipals* principals) {
  delete principals;
}

// ---- Encoded passwords --------------------------------------------------------------------------

namespace {

// A run of the line coder, overwritten at its end.
class Decoder {
 public:
  Decoder() : mKey(zts_xc_reset(mState, &mInfo)) {}
  Decoder(Decoder const&) = delete;
  Decoder& operator=(Decoder const&) = delete;
  ~Decoder() {
    zts_xc_end(mState);
    asWipe(mLine, sizeof mLine);
  }

  bool hasKey() const { return mKey == zts_xc_key_ready; }

  // Decodes all lines of a text into `room` bytes; `length` is what they hold.
  AsDecodeResult decode(char const* text, char* buffer, std::size_t room, std::size_t& length) {
    do {
      std::string_view const line(text, ::strnlen(text, zts_xc_line_bytes));
      auto const bytes = static_cast<std::size_t>(zts_xc_read(mState, text, mLine));
      bool const isLast = zts_xc_complete(mState) != 0;
      if (bytes == 0 && !isLast) return as_decode_form;
      if (bytes > room - length) return as_decode_too_long;
      std::memcpy(buffer + length, mLine, bytes);
      length += bytes;
      // The coder stops at a line end, which has no place in an encoded password.
      text += std::min(line.find_first_of("\r\n"), line.size());
      if (isLast) return *text == '\0' ? as_decode_done : as_decode_form;
    } while (true);
  }

 private:
  char mState[zts_xc_state_bytes];
  char mLine[zts_xc_input_bytes + 1];
  int mInfo = 0;
  int mKey;
};

// As asDecodePW, with `length` for what the buffer holds after a failure, too.
AsDecodeResult decodePassword(char const* encoded, char* buffer, int capacity,
                              std::size_t& length) {
  constexpr std::size_t kPrefix = sizeof as_encoded_prefix - 1;
  if (std::strncmp(encoded, as_encoded_prefix, kPrefix) != 0) return as_decode_form;
  if (capacity < 1) return as_decode_too_long;
  Decoder decoder;
  if (!decoder.hasKey()) return as_decode_key;
  AsDecodeResult const result =
      decoder.decode(encoded + kPrefix, buffer, static_cast<std::size_t>(capacity) - 1, length);
  if (result != as_decode_done) return result;
  std::string_view const password(buffer, length);
  bool const isText = password.find('\0') == password.npos && ztauth::isUtf8(password);
  return isText ? as_decode_done : as_decode_form;
}

}  // namespace

int asDecodePW(char const* encoded, char* buffer, int capacity) {
  std::size_t length = 0;
  AsDecodeResult const result = decodePassword(encoded, buffer, capacity, length);
  if (result != as_decode_done) asWipe(buffer, std::exchange(length, 0));
  if (capacity >= 1) buffer[length] = '\0';
  return result;
}

void asWipe(void* memory, std::size_t bytes) {
  sodium_memzero(memory, bytes);
}
