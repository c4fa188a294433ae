// SPDX-License-Identifier: MIT
//
// Messages: an error text by its number, in the language of the process, and one that isn't in any
// catalog.
//
//   ZTEXEC_HOME=HOME ./messages
//   ZTEXEC_HOME=HOME MARLOVEN_ERROR_LOCALE=de ./messages

#include <ztbinit.h>
#include <ztbmessage.h>
#include <ztbstartup.h>

#include <cstdio>

namespace {

constexpr char kSource[] = "messages";
constexpr char kGroup[] = "Base Services";
constexpr int kFileNotOpened = 1353;  // its path, and the system's reason

void tell() {
  ZtbString const text =
      ztb_get_message(kSource, __LINE__, kGroup, kFileNotOpened, "menu.txt", "Permission denied");
  std::printf("%s\n", text.asCstr());
  std::printf("%s\n", ztb_get_message(kSource, __LINE__, "Kitchen", 1).asCstr());
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "messages: %s\n", error);
    ztbShutdown();
    return 1;
  }
  tell();
  ztbShutdown();
  return 0;
}
