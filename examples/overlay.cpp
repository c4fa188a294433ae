// SPDX-License-Identifier: MIT
//
// Shows what a site has changed in the configuration that was shipped, and changes one entry.
//
//   ZTEXEC_HOME=HOME ./overlay SHIPPED MINE KEY VALUE

#include <ztbconfigoverlay.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>

namespace {

bool refuse(ZtbConfigOverlay& config) {
  std::fprintf(stderr, "overlay: %s\n", config.getErrorMessage().asCstr());
  return false;
}

void show(ZtbConfigOverlay& config) {
  for (int i = 0; i < config.getEntryCount(); ++i) {
    ZtbString key, shipped, mine;  // null anew, since only values that are there are filled in
    config.getEntry(i, &key, &shipped, &mine);
    if (mine.isNull()) continue;
    std::printf("%s: %s -> %s\n", key.asCstr(), shipped.isNull() ? "(none)" : shipped.asCstr(),
                mine.asCstr());
  }
}

bool change(char** arguments) {
  ZtbString const mine(arguments[1], true);
  ZtbConfigOverlay config;
  if (!config.readBase(ZtbString(arguments[0], true))) return refuse(config);
  if (!config.readOverlay(mine)) return refuse(config);
  config.setOverlayEntry(ZtbString(arguments[2], true), ZtbString(arguments[3], true));
  show(config);
  return config.writeOverlay(mine) || refuse(config);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: overlay SHIPPED MINE KEY VALUE\n");
    return 2;
  }
  char const* error = nullptr;
  // Start-up opens the database of messages, which has the texts of errors.
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "overlay: %s\n", error);
    ztbShutdown();
    return 1;
  }
  bool const isDone = change(argv + 1);  // no text of the library is left when it goes down
  ztbShutdown();
  return isDone ? 0 : 1;
}
