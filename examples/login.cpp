// SPDX-License-Identifier: MIT
//
// Logs a user in whose encoded password comes from a configuration, and finds what the user may use
// elsewhere. Arguments: the file of users, the user, the encoded password.

#include <cstdio>
#include <string>

#include "ztbconfigoptions.h"
#include "ztbinit.h"
#include "ztbsubject.h"

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
  char const* failure = nullptr;
  if (argc != 4 || ztbInitialize(argv[0], &failure) != 0) {
    std::fprintf(stderr, "%s\n", failure != nullptr ? failure : "give FILE USER ENCODED");
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
    if (!isDone) std::fprintf(stderr, "%s\n", error.asCstr());
  }
  ztbShutdown();
  return isDone ? 0 : 1;
}
