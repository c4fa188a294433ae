// SPDX-License-Identifier: MIT
//
// The process subject: the one authenticated user on whose behalf the process works.
//
//   ZtbString error;
//   if (!ztbSubjectAuthenticate(ZtbString("kim", true), password, nullptr, &error)) fail(error);
//   ZtbString user, secret;
//   ZtbString const domain("SALES", true);
//   if (ztbSubjectCredentials(domain, user, secret, &error)) connect(user, secret);
//   ztbSubjectRelease();  // at the end of the work
//
// The subject lives as long as somebody has a reference to it: one comes with the login, one with
// each access. When the last is released the subject is destroyed, and another user can log in.
// While there is a subject, the option "ZTINTL_DIS_USER" of the main store holds its name.
//
// Users are found where the option BASE/AUTH_SERVER_LOC says, in a file of users: docs/users.md.
//
// Passwords that these functions give are ordinary strings, whose memory nobody overwrites.
//
// In all functions `error` must not be null. It is null after success, unless a function says
// otherwise, and has the reason, in English, after a failure. They work between ztbInitialize and
// ztbShutdown, from any thread. Two threads that log in at once: one succeeds, the other is told
// that a subject is already assigned.

#ifndef ZTBSUBJECT_H
#define ZTBSUBJECT_H

#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbstring.h"

// An authenticated user, known only by its address.
struct ASSubject;

// Who the process subject is.
struct ZTB_API ZtbSubjectInfoParm {
  ZtbString name;        // the name that it logged in with
  ZtbString authDomain;  // the domain that vouches for it
  ZtbString resolved;    // the name that the place of users knows it by
  ZtbDate authTime;      // when it logged in
  bool connected;        // whether the place of users answered when it was last asked
  bool reserved;         // false
};

// Logs a user in and makes it the process subject, with one reference. `*subject`, unless `subject`
// is null, gets it, or null on failure; it isn't a reference of its own. The place of users is
// BASE/AUTH_SERVER_LOC of the main option store, without white space around it; without the option
// it is etc/users below the home. Costs some 100 ms and 64 MiB, also for a login that fails.
[[nodiscard]] ZTB_API bool ztbSubjectAuthenticate(ZtbString const& user, ZtbString const& password,
                                                  ASSubject** subject, ZtbString* error);

// Makes a subject that the caller already has the process subject, with one reference: on success
// it belongs to the library. On failure, as if there is a process subject already, or no memory for
// the option with its name, it stays with the caller. A null subject is refused.
[[nodiscard]] ZTB_API bool ztbSubjectSet(ASSubject* subject, ZtbString* error);

// The process subject with one more reference, which is given back by ztbSubjectRelease; null
// without one. It is good until then, in any thread.
[[nodiscard]] ZTB_API ASSubject* ztbSubjectAccess();

// Gives back a reference, the one of the login included. With the last one the process has no
// subject any more. Does nothing without one.
ZTB_API void ztbSubjectRelease();

// The user name and password that the process subject has for `domain`, as of its login; both are
// null on failure, also if the place of users has sealed them with a secret that isn't in
// BASE/AUTH_SERVER_LOC.
[[nodiscard]] ZTB_API bool ztbSubjectCredentials(ZtbString const& domain, ZtbString& user,
                                                 ZtbString& password, ZtbString* error);

// Tells who the process subject is. With `refresh` the place of users is asked again first, and a
// user who is gone from there, or whose password has changed, is a failure. False with a null
// `error` if there is no subject. After a failure `info`, which must not be null, has an old name,
// and nothing else.
[[nodiscard]] ZTB_API bool ztbSubjectInfo(bool refresh, ZtbSubjectInfoParm* info, ZtbString* error);

// Turns an encoded password, as `ztb encode` prints it, into the plain one. On success `error` is
// left alone. On failure `decoded` is, and `error` tells the code: 1 for what is no encoded
// password or was encoded under another key, 2 for one that is too long, 3 for a key file that
// can't be used.
[[nodiscard]] ZTB_API bool ztbSubjectDecodePW(ZtbString const& encoded, ZtbString& decoded,
                                              ZtbString* error);

#endif
