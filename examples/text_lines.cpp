// SPDX-License-Identifier: MIT
//
// Text files: writes one, appends to it, and reads its lines, whatever their length.
//
//   ZTEXEC_HOME=HOME ./text_lines

#include <ztbinit.h>
#include <ztbstartup.h>
#include <ztbstring.h>
#include <ztbtxtfile.h>

#include <cstdio>

namespace {

constexpr char kPath[] = "text_lines.txt";
constexpr int kChoose = -1;  // reading finds the encoding, writing takes UTF-8
constexpr int kLookForMark = 1;

bool fail(ZtbTxtFile& file) {
  std::fprintf(stderr, "text_lines: %s\n", file.getErrorMessage().asCstr());
  return false;
}

bool write() {
  ZtbTxtFile file;
  if (!file.open(kPath, ZtbTxtFile::ModeWrite, kChoose, 0)) return fail(file);
  if (!file.writeln("Größe") || !file.writeln("")) return fail(file);
  if (!file.open(kPath, ZtbTxtFile::ModeAppend, kChoose, 0)) return fail(file);
  return (file.write("a last line ") && file.writeln("in two parts")) || fail(file);
}

bool show() {
  ZtbTxtFile file;
  if (!file.open(kPath, ZtbTxtFile::ModeRead, kChoose, kLookForMark)) return fail(file);
  char piece[8];  // short, so that lines come in several pieces
  bool complete = false;
  int number = 1;
  ZtbString line("", true);
  int count = 0;
  while ((count = file.readln(piece, sizeof piece, &complete)) >= 0) {
    line.append(piece, nullptr);
    if (!complete) continue;
    std::printf("%d: %u characters: %s\n", number++, line.length(), line.asCstr());
    line.assign("");
  }
  if (line.length() > 0) std::printf("without line end: %s\n", line.asCstr());
  return count == -2 || fail(file);
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  // Start-up opens the database of messages, which has the texts of errors.
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "text_lines: %s\n", error);
    ztbShutdown();
    return 1;
  }
  bool const isDone = write() && show();
  std::remove(kPath);
  ztbShutdown();
  return isDone ? 0 : 1;
}
