// SPDX-License-Identifier: MIT

#include "ztbsubject.h"

#include <memory>
#include <new>

#include "ztauth.h"
#include "ztbconfigoptions.h"
#include "ztbinit_p.h"
#include "ztbmessage.h"
#include "ztbsingleton.h"
#include "ztbstring_p.h"
#include "ztbstringformat_p.h"

namespace {

constexpr char kSource[] = "ztbsubject";
constexpr char kGroup[] = "Base Services";
constexpr int kOutOfMemory = 29;
constexpr char kUserOption[] = "ZTINTL_DIS_USER";
constexpr char kLocationOption[] = "BASE/AUTH_SERVER_LOC";

struct SubjectEnd {
  void operator()(ASSubject* subject) const { asSubjectDestroy(subject); }
};
using OwnedSubject = std::unique_ptr<ASSubject, SubjectEnd>;

struct PrincipalsEnd {
  void operator()(ASPrincipals* principals) const { asPrincipalsDestroy(principals); }
};
using OwnedPrincipals = std::unique_ptr<ASPrincipals, PrincipalsEnd>;

// Gives a reference of the process subject back at the end of a block.
struct ReferenceEnd {
  void operator()(ASSubject*) const { ztbSubjectRelease(); }
};
using SubjectReference = std::unique_ptr<ASSubject, ReferenceEnd>;

// Null without memory, and while the library is down.
ZtbConfigOptions* mainOptions() {
  return ztbGetConfigOptions(ZtbString());
}

// The subject whose name the option has, guarded by the singleton lock. A new one may come while
// its predecessor is being destroyed, and must not lose its option then.
constinit ASSubject* published = nullptr;

// With the singleton lock held, so that nobody can release the subject before it has its option.
// False, with nothing done, without memory.
bool publish(ASSubject* subject) {
  ZtbConfigOptions* const options = mainOptions();
  ZtbString const name(asSubjectGetName(subject), false);
  if (options == nullptr || name.isNull()) return false;
  if (!options->setOption(ZtbString(kUserOption, true), name)) return false;
  published = subject;
  return true;
}

void endSubject(ASSubject* subject) {
  {
    ZtLockHold const hold(ztbSingletonLock());
    if (published == subject) published = nullptr;
  }
  asSubjectDestroy(subject);
  ZtLockHold const hold(ztbSingletonLock());
  ZtbConfigOptions* const options = mainOptions();
  if (published == nullptr && options != nullptr) {
    options->removeOption(ZtbString(kUserOption, true));
  }
}

// Made for a moment, to take or give up a reference; what it took stays when it is gone.
class ZTB_SubjectSingleton : public ZtbAutoSingleton {
 public:
  explicit ZTB_SubjectSingleton(ASSubject* subject) : mSubject(subject) {}

  ASSubject* subject() const { return static_cast<ASSubject*>(mInstance); }

  char const* getSingletonName() override { return "ZTB_Subject"; }
  // A subject that can't be published makes a record of nothing.
  void* createInstance() override {
    return mSubject != nullptr && publish(mSubject) ? mSubject : nullptr;
  }
  void destroyInstance(void* instance) override {
    if (instance != nullptr) endSubject(static_cast<ASSubject*>(instance));
  }

 private:
  ASSubject* mSubject;
};

bool fail(ZtbString* error, ZtbString const& text) {
  *error = ztbOrNoMemoryText(text);
  return false;
}

ZtbString outOfMemory(char const* what) {
  return ztb_get_message(kSource, __LINE__, kGroup, kOutOfMemory, what);
}

int bytesOf(ZtbString const& text) {
  return static_cast<int>(text.cStrSize() - 1);
}

// False if it can't be told. It isn't empty then, since that is a place of its own.
bool findLocation(ZtbString& location) {
  ZtbConfigOptions* const options = mainOptions();
  if (options == nullptr) return false;
  options->getOption(ZtbString(kLocationOption, true), &location);
  location.trim(true, true);
  return true;
}

ZtbString outOfResources(ZtbString const& user) {
  return ztbWholeFormat("Failed to authenticate user '%s' due to limited resources.",
                        user.asCstr());
}

// False, with nothing filled in, when memory ran out.
bool fillInfo(ASSubject* subject, ZtbSubjectInfoParm* info) {
  ZtbString const name(asSubjectGetName(subject), false);
  ZtbString const authDomain(asSubjectGetAuthDomain(subject), false);
  ZtbString const resolved(asSubjectGetResolved(subject), false);
  if (name.isNull() || authDomain.isNull() || resolved.isNull()) return false;
  info->name = name;
  info->authDomain = authDomain;
  info->resolved = resolved;
  info->authTime.assign(asSubjectGetAuthTime(subject));
  info->connected = asSubjectConnected(subject) != 0;
  return true;
}

// A buffer for a password, overwritten when it is given back.
class SecretBuffer {
 public:
  // For a password of at most `bytes` bytes.
  explicit SecretBuffer(int bytes) {
    if (bytes < kSmall) return;
    mSize = bytes + 1;
    mLarge.reset(new (std::nothrow) char[static_cast<std::size_t>(mSize)]);
    mText = mLarge.get();
  }
  SecretBuffer(SecretBuffer const&) = delete;
  SecretBuffer& operator=(SecretBuffer const&) = delete;
  ~SecretBuffer() {
    if (mText != nullptr) asWipe(mText, static_cast<std::size_t>(mSize));
  }

  char* text() { return mText; }  // null without memory
  int capacity() const { return mSize - 1; }

 private:
  static constexpr int kSmall = 512;

  char mSmall[kSmall];
  std::unique_ptr<char[]> mLarge;
  char* mText = mSmall;
  int mSize = kSmall;
};

}  // namespace

bool ztbSubjectAuthenticate(ZtbString const& user, ZtbString const& password, ASSubject** subject,
                            ZtbString* error) {
  if (subject != nullptr) *subject = nullptr;
  ZtbString location;
  if (!findLocation(location)) return fail(error, outOfResources(user));
  ASSubject* given = nullptr;
  int const failure = asAuthenticate(location.asCstr(), bytesOf(location), user.asCstr(),
                                     bytesOf(user), password.asCstr(), bytesOf(password),
                                     ZtbDate::currentDate().asDouble(), &given);
  OwnedSubject owned(given);
  if (failure != 0 && given == nullptr) return fail(error, outOfResources(user));
  if (failure != 0) {
    return fail(error, ztbWholeFormat("Failed to authenticate user '%s' (%s).", user.asCstr(),
                                      asSubjectGetErrorMessage(given)));
  }
  if (!ztbSubjectSet(given, error)) return false;
  owned.release();
  if (subject != nullptr) *subject = given;
  return true;
}

bool ztbSubjectSet(ASSubject* subject, ZtbString* error) {
  ZTB_SubjectSingleton singleton(subject);
  bool created = false;
  ZtbString const notInitialized("Failed to initialize process wide subject.", true);
  if (subject == nullptr || !singleton.initialize(&created)) return fail(error, notInitialized);
  if (created && singleton.subject() != nullptr) {
    error->setNull();
    return true;
  }
  singleton.terminate();
  if (created) return fail(error, notInitialized);
  return fail(error, ZtbString("A process wide subject is already assigned.", true));
}

ASSubject* ztbSubjectAccess() {
  ZTB_SubjectSingleton singleton(nullptr);
  if (!singleton.initialize(nullptr)) return nullptr;
  // Without a subject this has made a record of nothing, which goes again.
  if (singleton.subject() == nullptr) ZTB_SubjectSingleton(nullptr).cleanupOnly();
  return singleton.subject();
}

void ztbSubjectRelease() {
  ZTB_SubjectSingleton(nullptr).cleanupOnly();
}

bool ztbSubjectCredentials(ZtbString const& domain, ZtbString& user, ZtbString& password,
                           ZtbString* error) {
  user.setNull();
  password.setNull();
  SubjectReference const subject(ztbSubjectAccess());
  if (subject == nullptr) {
    return fail(error, ZtbString("There is not a process wide subject", true));
  }
  ASPrincipals* given = nullptr;
  int const failure = asSubjectPrincipals(subject.get(), &given);
  OwnedPrincipals const principals(given);
  if (failure != 0 && given == nullptr) return fail(error, outOfMemory("(subject principals)"));
  char const* userText = nullptr;
  char const* passwordText = nullptr;
  if (failure != 0 ||
      asPrincipalsGetByDomain(given, domain.asCstr(), &userText, &passwordText) != 0) {
    return fail(error, ZtbString(asPrincipalsGetErrorMessage(given), false));
  }
  ZtbString const userCopy(userText, false);
  ZtbString const passwordCopy(passwordText, false);
  if (userCopy.isNull() || passwordCopy.isNull()) {
    return fail(error, outOfMemory("(subject principals)"));
  }
  user = userCopy;
  password = passwordCopy;
  error->setNull();
  return true;
}

bool ztbSubjectInfo(bool refresh, ZtbSubjectInfoParm* info, ZtbString* error) {
  info->authDomain.setNull();
  info->resolved.setNull();
  info->authTime.setNull();
  info->connected = false;
  info->reserved = false;
  error->setNull();
  SubjectReference const subject(ztbSubjectAccess());
  if (subject == nullptr) return false;
  if (refresh && asSubjectRefresh(subject.get(), ZtbDate::currentDate().asDouble()) != 0) {
    return fail(error, ZtbString(asSubjectGetErrorMessage(subject.get()), false));
  }
  return fillInfo(subject.get(), info) || fail(error, outOfMemory("(subject info)"));
}

bool ztbSubjectDecodePW(ZtbString const& encoded, ZtbString& decoded, ZtbString* error) {
  SecretBuffer buffer(bytesOf(encoded));
  if (buffer.text() == nullptr) return fail(error, outOfMemory("(decode buffer)"));
  int const failure = asDecodePW(encoded.asCstr(), buffer.text(), buffer.capacity());
  if (failure != 0) {
    return fail(error, ztbWholeFormat("Failed to decode password, rc=%d.", failure));
  }
  ZtbString const plain(buffer.text(), false);
  if (plain.isNull()) return fail(error, outOfMemory("(decoded password)"));
  decoded = plain;
  return true;
}
