// SPDX-License-Identifier: MIT
//
// Compiled catalogs and the formats in them. Each input is read both ways: as a catalog, whose
// texts are filled in wherever they fit, and as a format, which must come out as the C library
// prints it if it is accepted.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ztmsg13_catalog.h"
#include "ztmsg13_format.h"
#include "ztmsg13_messages.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "catalog_fuzz: %s\n", what);
  std::abort();
}

void fillIn(char const* format, std::string_view types) {
  ztmsg13::Argument arguments[ztmsg13::kMaxArguments];
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (types[i] == 's') {
      arguments[i].text = "t\xC3\xA9xt";
    } else {
      arguments[i].number = -7;
    }
  }
  char buffer[64];
  ztmsg13::BoundedText text(buffer, sizeof(buffer));
  text.appendFormat(format, arguments);
  require(std::strlen(buffer) == text.size(), "the text isn't terminated at its size");
}

void readAsCatalog(std::string bytes) {
  ztmsg13::Catalog catalog;
  if (!catalog.assign(std::move(bytes))) return;
  for (ZtMessage const& row : kZtMessages) {
    char const* const text = catalog.find(row.group, row.number);
    if (text != nullptr && ztmsg13::fits(text, row.arguments)) fillIn(text, row.arguments);
  }
}

void compareWithPrintf(char const* format) {
  ztmsg13::Signature signature;
  if (!ztmsg13::readSignature(format, signature)) return;
  char const* const begin = signature.types;
  if (std::any_of(begin, begin + signature.count, [](char type) { return type != 'i'; })) return;
  char ours[512];
  char theirs[sizeof(ours)];
  ztmsg13::Argument arguments[ztmsg13::kMaxArguments];
  int const numbers[] = {0, -1, 2147483647, -2147483647 - 1, 10, 99, -100, 7, 42};
  for (int i = 0; i < ztmsg13::kMaxArguments; ++i) arguments[i].number = numbers[i];
  ztmsg13::BoundedText text(ours, sizeof(ours));
  text.appendFormat(format, arguments);
  int const length =
      std::snprintf(theirs, sizeof(theirs), format, numbers[0], numbers[1], numbers[2], numbers[3],
                    numbers[4], numbers[5], numbers[6], numbers[7], numbers[8]);
  bool const fits = length >= 0 && static_cast<std::size_t>(length) < sizeof(theirs);
  if (fits) require(std::strcmp(ours, theirs) == 0, "the C library prints it otherwise");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const bytes(reinterpret_cast<char const*>(data), size);
  readAsCatalog(bytes);
  compareWithPrintf(bytes.c_str());
  return 0;
}
