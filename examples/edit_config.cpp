// SPDX-License-Identifier: MIT
//
// Changes one option of a configuration file and leaves everything else in it as it was.
//
//   ZTEXEC_HOME=HOME ./edit_config FILE KEY VALUE
//   ZTEXEC_HOME=HOME ./edit_config app.cfg BASE/TEMP /var/tmp

#include <ztbconfigfile.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>

namespace {

int refuse(ZtbConfigFile& file) {
  std::fprintf(stderr, "edit_config: %s\n", file.getErrorMessage().asCstr());
  return 1;
}

int edit(char const* path, ZtbString const& key, ZtbString const& value) {
  ZtbConfigFile file;
  if (!file.read(ZtbString(path, true))) return refuse(file);
  ZtbString const before = file.getEntry(key);
  file.setEntry(key, value);
  if (!file.write(ZtbString(path, true))) return refuse(file);
  std::printf("%s: %s -> %s\n", key.asCstr(), before.isNull() ? "(none)" : before.asCstr(),
              value.asCstr());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: edit_config FILE KEY VALUE\n");
    return 2;
  }
  char const* error = nullptr;
  // Start-up opens the database of messages, which has the texts of errors.
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "edit_config: %s\n", error);
    ztbShutdown();
    return 1;
  }
  // The texts live in the library, so they go before it goes down: edit has ended by then.
  int const result = edit(argv[1], ZtbString(argv[2], true), ZtbString(argv[3], true));
  ztbShutdown();
  return result;
}
