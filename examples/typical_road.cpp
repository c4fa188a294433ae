// SPDX-License-Identifier: MIT
//
// The typical road of an application, to copy and fill in: up on a home, an option read, a
// work-table URI of a client taken apart and told in its canonical form, down. Exit code 0: done,
// 1: refused or failed, 2: called wrongly.
//
//   ZTEXEC_HOME=HOME ./typical_road URI [KEY=VALUE ...]
//   ZTEXEC_HOME=HOME ./typical_road "ztwt://orders?id=Integer'7',note#count=10,start=0"

#include <ztbcpp31.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

int fail(char const* what, char const* reason) {
  std::fprintf(stderr, "typical_road: %s: %s\n", what, reason);
  return 1;
}

int usage() {
  std::fprintf(stderr, "usage: typical_road URI [KEY=VALUE ...]\n");
  return 2;
}

// The library is up while this lives. Its texts and URIs must be gone before it goes, so it is the
// first object of main, and the work is done in functions.
class Library {
 public:
  Library() {
    // Not argv[0]: that has no folder in a program that was found through PATH.
    std::error_code unreadable;
    auto const executable = std::filesystem::read_symlink("/proc/self/exe", unreadable);
    mIsUp = ztbInitialize(executable.c_str(), &mError) == 0;
  }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;
  ~Library() {
    if (mIsUp) ztbShutdown();
  }
  bool isUp() const { return mIsUp; }
  bool start() { return ztbStartup(&mError) == 0; }
  char const* error() const { return mError; }

 private:
  char const* mError = "";
  bool mIsUp = false;
};

struct Release {
  void operator()(ZtURI* uri) const { uri->release(); }
};

void showTable(ZtWorkTableURI& table) {
  std::printf("table   %s\n", table.getTableName().asCstr());
  ZtbString name, value;
  ztbType type = ztbTypeUnknown;
  for (int i = 0; table.getColumn(i, &name, &value, &type); ++i) {
    std::printf("column  %s, %s, %s\n", name.asCstr(), ztbTypeToString(type),
                value.isNull() ? "no value" : value.asCstr());
  }
  __int64 start = 0, count = 0;  // a count of -1 means up to the last row
  if (table.getRange(&start, &count)) std::printf("rows    %lld from %lld\n", count, start);
  std::printf("URI     %s\n", table.getURIString().asCstr());
}

int work(char const* text) {
  ZtbString temp;
  ZtbString const key("BASE/TEMP", true);  // true: a text that stays needs no copy
  ztbGetConfigOptions(ZtbString())->getOption(key, &temp);
  if (temp.isNull()) return fail("BASE/TEMP", "not set; give it a folder in etc/app.cfg");
  std::printf("temp    %s\n", temp.asCstr());

  std::unique_ptr<ZtURI, Release> const uri(getURIFromURIString(ZtbString(text, false)));
  if (!uri) return fail(text, "no URI; if a column is refused, ZT.Base.URI.WorkTable logs why");
  auto* const table = dynamic_cast<ZtWorkTableURI*>(uri.get());
  if (table == nullptr) return fail(text, "a URI, but not of a work table, as ztwt://TABLE?NAME");
  showTable(*table);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  Library library;
  if (!library.isUp()) return fail("the library can't come up", library.error());
  for (int i = 2; i < argc; ++i) {  // options that are stronger than all files
    std::string const option = argv[i];
    std::string const key = option.substr(0, option.find('='));
    if (key == option) return usage();
    ztbStartupAddOption(key.c_str(), argv[i] + key.size() + 1, nullptr);
  }
  if (!library.start()) return fail("start-up", library.error());
  return work(argv[1]);
}
