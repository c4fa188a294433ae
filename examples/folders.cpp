// SPDX-License-Identifier: MIT
//
// Paths and listings: the folders and files of the home, with the size of each file.

#include <cstdio>
#include <cstdlib>

#include "ztbdir.h"
#include "ztbinit.h"

namespace {

bool show(ZtbString const& folder) {
  ZtbDirectoryListing listing;
  if (!listing.init(folder, ZtbDirectoryListing::FlagNoDots)) {
    std::fprintf(stderr, "%s\n", listing.getErrorMessage().asCstr());
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
  if (home == nullptr) return false;
  ZtbString const etc = ztbConcatPath(ZtbString(home, true), ZtbString("etc", true));
  ZtbString name;
  ztbParsePath(etc, &name);
  std::printf("in %s:\n", name.asCstr());
  return show(etc);
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "%s\n", error);
    return 1;
  }
  bool const isDone = showHome();
  ztbShutdown();
  return isDone ? 0 : 1;
}
