// SPDX-License-Identifier: MIT
//
// Paths and listings: the folders and files of the home's `etc`, with the size of each file.
//
//   ZTEXEC_HOME=HOME ./folders

#include <ztbdir.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>
#include <cstdlib>

namespace {

bool show(ZtbString const& folder) {
  ZtbDirectoryListing listing;
  if (!listing.init(folder, ZtbDirectoryListing::FlagNoDots)) {
    std::fprintf(stderr, "folders: %s\n", listing.getErrorMessage().asCstr());
    return false;
  }
  while (listing.next()) {
    if (listing.isDir()) {
      std::printf("%s/\n", listing.getName().asCstr());
    } else {
      std::printf("%s, %lu bytes\n", listing.getName().asCstr(), listing.getSize());
    }
  }
  return true;
}

bool showHome() {
  char const* const home = std::getenv("ZTEXEC_HOME");
  if (home == nullptr) {
    std::fprintf(stderr, "folders: ZTEXEC_HOME isn't set\n");
    return false;
  }
  ZtbString const etc = ztbConcatPath(ZtbString(home, true), ZtbString("etc", true));
  ZtbString name;
  ztbParsePath(etc, &name);
  std::printf("in %s:\n", name.asCstr());
  return show(etc);
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  // Start-up opens the database of messages, which has the texts of errors.
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "folders: %s\n", error);
    ztbShutdown();
    return 1;
  }
  bool const isDone = showHome();
  ztbShutdown();
  return isDone ? 0 : 1;
}
