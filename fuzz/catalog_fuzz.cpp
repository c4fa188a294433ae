// SPDX-License-Identifier: MIT
//
// Compiled catalogs and the formats in them. Each input is read both ways: as a catalog, whose
// texts are filled in wherever they fit, and as a format, which must come out as the C library
// prints it if it is accepted.
// Aimed at platform/linux/ztmsg13_catalog.cpp platform/linux/ztmsg13_format.cpp

#include <cstring>

#include "target.h"
#include "ztmsg13_catalog.h"
#include "ztmsg13_format.h"
#include "ztmsg13_messages.h"

namespace {

void fillIn(char const* format, std::string_view types) {
  ztmsg13::Argument arguments[ztmsg13::kMaxArguments];
  for (std::size_t i = 0; i < types.size(); ++i) {
    arguments[i].number = -7;
    if (types[i] == 's') arguments[i].text = "t\xC3\xA9xt";
  }
  char buffer[64];
  ztmsg13::BoundedText text(buffer, sizeof(buffer));
  text.appendFormat(format, arguments);
  require(std::strlen(buffer) == text.size());
}

void readAsCatalog(std::string const& bytes) {
  ztmsg13::Catalog catalog;
  if (!catalog.assign(std::string(bytes))) return;
  for (ZtMessage const& row : kZtMessages) {
    char const* const text = catalog.find(row.group, row.number);
    if (text != nullptr && ztmsg13::fits(text, row.arguments)) fillIn(text, row.arguments);
  }
}

void compareWithPrintf(char const* format) {
  ztmsg13::Signature signature;
  if (!ztmsg13::readSignature(format, signature)) return;
  std::string_view const types(signature.types, static_cast<std::size_t>(signature.count));
  if (types.find_first_not_of('i') != types.npos) return;
  char ours[512], theirs[sizeof(ours)];
  ztmsg13::Argument arguments[ztmsg13::kMaxArguments];
  int const n[] = {0, -1, 2147483647, -2147483647 - 1, 10, 99, -100, 7, 42};
  for (int i = 0; i < ztmsg13::kMaxArguments; ++i) arguments[i].number = n[i];
  ztmsg13::BoundedText(ours, sizeof(ours)).appendFormat(format, arguments);
  int const length = std::snprintf(theirs, sizeof(theirs), format, n[0], n[1], n[2], n[3], n[4],
                                   n[5], n[6], n[7], n[8]);
  bool const fits = length >= 0 && static_cast<std::size_t>(length) < sizeof(theirs);
  require(!fits || std::strcmp(ours, theirs) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const bytes = bytesOf(data, size);
  readAsCatalog(bytes);
  compareWithPrintf(bytes.c_str());
  return 0;
}
