// SPDX-License-Identifier: MIT
//
// A text in its protected form, and what is left of it when somebody touches that.
//
//   ./protected_texts

#include <ztbencrypt.h>
#include <ztbinit.h>

#include <cstdio>
#include <string>

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "protected_texts: %s\n", error);
    return 1;
  }
  bool isBack = false;
  {
    ZtbString const text("The quarter's figures, before anybody may see them: 4,711", true);
    ZtbString const form = ztbEncryptString(text);
    std::printf("%s\n", form.asCstr());
    isBack = ztbDecryptString(form).compare(text, true) == 0;

    std::string touched = form.asCstr();
    char& one = touched[100];  // in the second line: the text stands there
    one = one == 'A' ? 'B' : 'A';
    ZtbString const rest = ztbDecryptString(ZtbString(touched.c_str(), true));
    std::printf("left of it: \"%s\"\n", rest.asCstr());
  }
  ztbShutdown();
  return isBack ? 0 : 1;
}
