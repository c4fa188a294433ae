// SPDX-License-Identifier: MIT
//
// Logs a user in whose encoded password comes from a configuration, and finds what the user may use
// elsewhere. `ztb users` makes the file of users, `ztb encode` the encoded password.
//
//   ./login FILE USER ENCODED

#include <ztbconfigoptions.h>
#include <ztbinit.h>
#include <ztbsubject.h>

#include <cstdio>
#include <string>

namespace {

bool logIn(std::string const& file, ZtbString const& user, ZtbString const& encoded,
           ZtbString* error) {
  ZtbString const location(("file:" + file).c_str(), false);
  ztbGetConfigOptions(ZtbString())->setOption(ZtbString("BASE/AUTH_SERVER_LOC", true), location);
  ZtbString password;
  return ztbSubjectDecodePW(encoded, password, error) &&
         ztbSubjectAuthenticate(user, password, nullptr, error);
}

bool show(ZtbString* error) {
  ZtbSubjectInfoParm info;
  ZtbString user;
  ZtbString password;
  if (!ztbSubjectInfo(true, &info, error)) return false;
  std::printf("%s of %s is %s\n", info.name.asCstr(), info.authDomain.asCstr(),
              info.resolved.asCstr());
  if (!ztbSubjectCredentials(ZtbString("SALES", true), user, password, error)) return false;
  std::printf("SALES knows the user as %s\n", user.asCstr());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: login FILE USER ENCODED\n");
    return 2;
  }
  char const* failure = nullptr;
  if (ztbInitialize(argv[0], &failure) != 0) {
    std::fprintf(stderr, "login: %s\n", failure);
    return 1;
  }
  bool isDone = false;
  {
    ZtbString error;
    isDone = logIn(argv[1], ZtbString(argv[2], false), ZtbString(argv[3], false), &error);
    if (isDone) {
      isDone = show(&error);
      ztbSubjectRelease();  // the reference of the login; with it the user is gone
    }
    if (!isDone) std::fprintf(stderr, "login: %s\n", error.asCstr());
  }
  ztbShutdown();
  return isDone ? 0 : 1;
}
