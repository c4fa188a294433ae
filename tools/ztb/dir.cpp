// SPDX-License-Identifier: MIT
//
// ztb dir: the entries of a folder as applications walk them.

#include <cstdio>
#include <memory>

#include "tool.h"
#include "ztbdir.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "An entry a line, in the order of the names' bytes: when it changed, d for a folder, r- for "
    "what\n"
    "can't be written, its bytes, its name.\n\n"
    "  ztb dir /var/log --json";

struct Arguments {
  std::string path = ".";
  bool all = false;
  bool foldersOnly = false;
  bool json = false;
};

void print(ZtbDirectoryListing& entry) {
  std::printf("%s  %c%s  %12lu  %s\n", fromZtb(entry.getTimestamp().asString(true)).c_str(),
              entry.isDir() ? 'd' : '-', entry.isReadOnly() ? "r-" : "rw", entry.getSize(),
              printable(fromZtb(entry.getName())).c_str());
}

JsonObject describe(ZtbDirectoryListing& entry) {
  JsonObject object;
  return object.add("name", fromZtb(entry.getName()))
      .add("path", fromZtb(entry.getFullPathName()))
      .add("folder", entry.isDir())
      .add("size", static_cast<long long>(entry.getSize()))
      .add("modified", fromZtb(entry.getTimestamp().asString(true)))
      .add("readOnly", entry.isReadOnly());
}

int run(Arguments const& arguments) {
  chooseHome("");
  Library library;
  library.startForMessages();
  ZtbDirectoryListing listing;
  int const flags = (arguments.all ? 0 : ZtbDirectoryListing::FlagNoDots) |
                    (arguments.foldersOnly ? ZtbDirectoryListing::FlagDirectoriesOnly : 0);
  if (!listing.init(toZtb(arguments.path), flags)) {
    throw Refused(fromZtb(listing.getErrorMessage()));
  }
  std::vector<JsonObject> objects;
  while (listing.next()) {
    if (arguments.json) {
      objects.push_back(describe(listing));
    } else {
      print(listing);
    }
  }
  if (arguments.json) printJsonArray(objects);
  return 0;
}

}  // namespace

Run declareDir(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("path", arguments->path, "The folder (default: the current one)")
      ->type_name(kFolder);
  app.add_flag("--all", arguments->all, "With the entries . and ..");
  app.add_flag("--folders", arguments->foldersOnly, "Folders only");
  app.add_flag("--json", arguments->json, "Print a JSON array");
  app.footer(kHelp);
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
