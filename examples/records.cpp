// SPDX-License-Identifier: MIT
//
// Fixed-width records: makes a file in Windows-1252, changes a record in its middle, and reads it.
//
//   ZTEXEC_HOME=HOME ./records

#include <ztbinit.h>
#include <ztbstartup.h>
#include <ztbstring.h>
#include <ztbtxtfilefw.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char kPath[] = "records.dat";
constexpr int kWindows1252 = 24;
constexpr int kNameBytes = 12;
constexpr int kPriceBytes = 8;
constexpr int kRecordBytes = kNameBytes + kPriceBytes;

bool fail(ZtbTxtFileFW& file) {
  std::fprintf(stderr, "records: %s\n", file.getErrorMessage().asCstr());
  return false;
}

// Fields are padded with blanks; `decode` gives the name in the encoding of the file.
bool writeRecord(ZtbTxtFileFW& file, char const* name, double price) {
  char field[kNameBytes + 1];
  int const bytes = file.decode(field, sizeof field, name);
  if (bytes < 0) return fail(file);
  char record[kRecordBytes + 1];
  std::snprintf(record, sizeof record, "%-*.*s%*.2f", kNameBytes, bytes, field, kPriceBytes, price);
  return file.write(record, kRecordBytes) || fail(file);
}

bool writeFile() {
  ZtbTxtFileFW file;
  if (!file.open(kPath, ZtbTxtFileFW::ModeWrite, kWindows1252, 0)) return fail(file);
  if (!writeRecord(file, "Brötchen", 0.45) || !writeRecord(file, "Käse", 3.20)) return false;
  if (!writeRecord(file, "Crème", 1.15)) return false;
  return file.recseek(1, kRecordBytes) && writeRecord(file, "Käse, alt", 4.80);
}

bool showFile() {
  ZtbTxtFileFW file;
  if (!file.open(kPath, ZtbTxtFileFW::ModeRead, kWindows1252, 0)) return fail(file);
  char record[kRecordBytes];
  int count = 0;
  for (int number = 0; (count = file.read(record, kRecordBytes)) == kRecordBytes; ++number) {
    char field[kNameBytes + 1] = {};
    std::memcpy(field, record, kNameBytes);
    char text[64];
    if (file.encode(text, sizeof text, field) < 0) return fail(file);
    ZtbString name(text, false);
    name.trim(false, true);
    std::printf("%d: %s costs %.*s\n", number, name.asCstr(), kPriceBytes, record + kNameBytes);
  }
  if (count > 0) std::printf("a last record is cut: %d bytes\n", count);
  return count >= 0 || fail(file);
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  // Start-up opens the database of messages, which has the texts of errors.
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "records: %s\n", error);
    ztbShutdown();
    return 1;
  }
  bool const isDone = writeFile() && showFile();
  std::remove(kPath);
  ztbShutdown();
  return isDone ? 0 : 1;
}
