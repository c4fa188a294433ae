// SPDX-License-Identifier: MIT
//
// Authentication: logs users in, and keeps who they are and what they may use elsewhere.
//
// Behind these functions stands a source of users, which the location text names. The one that is
// built in is a file of users ("file:PATH"); docs/users.md describes it.
//
// What holds for all functions here:
// - An `int` result is 0 on success.
// - Texts are UTF-8. A text that is given stays the caller's; one that comes back belongs to the
//   subject or the principals it was asked of, lives as long as they do, and is never null.
// - Moments are those of ZtbDate: seconds since 1970-01-01 00:00:00, local time.
// - Passwords, keys and credentials lie in memory that is kept out of swap and core files where the
//   system grants it, and are overwritten before it is given back. No text of a failure holds one.
// - They may be called from any thread, also for one subject, as long as nobody destroys it.
//   Principals belong to one thread at a time.
// - No exception leaves them.

#ifndef ZTAUTH_H
#define ZTAUTH_H

#include <cstddef>

struct ASSubject;
struct ASPrincipals;

// ---- Subjects -----------------------------------------------------------------------------------

// Logs a user in at the place that `location` names:
//
//   location                     the users are
//   (empty, or white space)      in the file etc/users below ZTEXEC_HOME, if there is one
//   file:PATH                    in that file
//   file:PATH,pass=SECRET        the same; its credentials are sealed with SECRET too, which counts
//                                in the case it has
//
// White space around it and behind the comma doesn't count, nor the case of the two words. PATH
// holds neither a comma nor "pass=", SECRET neither a comma nor "/", since whoever shows a location
// hides it up to there; an empty SECRET is none. It isn't needed to log in, but for the credentials
// of users whose record says so: see asSubjectPrincipals. A relative PATH starts at the current
// folder of the login, also for asSubjectRefresh. Counts are bytes without the terminator, and 0 or
// less is the empty text; user and password may hold any byte and any number of them. `now` becomes
// the moment of authentication.
//
// 0 with the subject in `*subject`. Otherwise `*subject` holds nothing but the reason
// (asSubjectGetErrorMessage), or is null if memory ran out; either is for asSubjectDestroy. A user
// who isn't known and a wrong password are told apart neither by the text nor by the time.
//
// Costs one Argon2id hash (64 MiB of memory, some 100 ms), in threads at once as many of them.
int asAuthenticate(char const* location, int locationBytes, char const* user, int userBytes,
                   char const* password, int passwordBytes, double now, ASSubject** subject);

// Ends a subject and overwrites its secrets. Null does nothing.
void asSubjectDestroy(ASSubject* subject);

// Who the subject is: the name that was logged in with, the domain that vouches for it, and the
// name that the place of users resolves it to (the name itself, if that tells none). They are those
// of the login and don't change. Empty for the subject of a failed login.
char const* asSubjectGetName(ASSubject* subject);
char const* asSubjectGetAuthDomain(ASSubject* subject);
char const* asSubjectGetResolved(ASSubject* subject);

// The moment of the login; 0 for the subject of a failed one.
double asSubjectGetAuthTime(ASSubject* subject);

// Non-zero if the place of users answered for the subject when it was last asked, by the login or
// by asSubjectRefresh.
int asSubjectConnected(ASSubject* subject);

// Asks the place of users again. Fails, and from then on tells not connected, if it can't be asked,
// if the user is gone, or if the password has changed since the login. A later call may succeed
// again. `now` is the present moment.
int asSubjectRefresh(ASSubject* subject, double now);

// The text of the subject's last failure, in English; empty if there was none. It stays as it is
// while the subject fails again, in whichever thread.
char const* asSubjectGetErrorMessage(ASSubject* subject);

// ---- Principals ---------------------------------------------------------------------------------

// The subject's credentials for other domains, as of its login. 0 with the object in `*principals`,
// which may outlive the subject. Otherwise it holds nothing but the reason, such as credentials
// that are sealed with another secret or with one that the location didn't give, or is null if
// memory ran out; either is for asPrincipalsDestroy.
int asSubjectPrincipals(ASSubject* subject, ASPrincipals** principals);

// The user and password for a domain, whose name counts byte by byte. They are opened when they are
// first asked for. Non-zero, with both null, if there are none for it or if they are damaged.
int asPrincipalsGetByDomain(ASPrincipals* principals, char const* domain, char const** user,
                            char const** password);

// The text of the last failure, in English; empty if there was none.
char const* asPrincipalsGetErrorMessage(ASPrincipals* principals);

// Ends the object and overwrites its secrets. Null does nothing.
void asPrincipalsDestroy(ASPrincipals* principals);

// ---- Encoded passwords --------------------------------------------------------------------------

// Results of asDecodePW. Frozen.
enum AsDecodeResult : int {
  as_decode_done = 0,
  as_decode_form = 1,      // not an encoded password, a damaged or cut one, one under another key
  as_decode_too_long = 2,  // the password doesn't fit
  as_decode_key = 3,       // the key file can't be used (see zts_xc_reset)
};

// What an encoded password begins with; behind it stands the password as zts_xc_write protects it,
// its lines joined without line ends, and nothing else. The password is UTF-8 without NUL: other
// bytes are no password, since the texts that take it would cut or change it.
inline constexpr char as_encoded_prefix[] = "{ztb}";

// Undoes an encoded password: the plain one with its terminator goes into `buffer`, which has
// `capacity` bytes. Gives an AsDecodeResult; the buffer then holds the password, or the empty text
// if it has a byte at all, and nothing of what was decoded before a failure. A password is never
// cut.
int asDecodePW(char const* encoded, char* buffer, int capacity);

// Overwrites `bytes` bytes at `memory` with zeros, in a way that no optimiser takes out.
void asWipe(void* memory, std::size_t bytes);

#endif
