// SPDX-License-Identifier: MIT
//
// 16-bit text: hands a string to a wide interface, and takes one from it.
//
//   ./utf16

#include <ztbinit.h>
#include <ztbstring.h>
#include <ztconvert.h>

#include <cstdio>

namespace {

void showUnits(ZtbString const& text) {
  ZtUtf8ToUC* const wide = text.asUCS2();
  if (wide == nullptr) return;
  std::printf("%s:", text.asCstr());
  for (int i = 0; i < wide->bufLength(); ++i) {  // with the 0 at the end
    std::printf(" %04X", static_cast<unsigned>(wide->ucString()[i]));
  }
  std::printf("\n");
  wide->release();
}

// What a wide interface does with a caller's buffer.
void giveTitle(unsigned short* buffer, int units) {
  unsigned short const title[] = {0x0047, 0x0072, 0x00F6, 0x00DF, 0x0065, 0xD83D, 0xDE00};
  for (int i = 0; i < units; ++i) buffer[i] = title[i];
}

bool showTitle() {
  constexpr int kUnits = 7;
  ZtUCToUtf8 converter;
  if (!converter.set(kUnits)) return false;
  giveTitle(converter.getUCBuffer(), kUnits);
  std::printf("%s\n", converter.utf8String());

  // A buffer of one's own needs no object; what doesn't fit is cut between characters.
  char label[8];
  convertUCToUtf8(converter.getUCBuffer(), label, sizeof label);
  std::printf("%s\n", label);
  return true;
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "utf16: %s\n", error);
    return 1;
  }
  showUnits(ZtbString("a€😀", true));
  bool const isDone = showTitle();
  ztbShutdown();
  return isDone ? 0 : 1;
}
