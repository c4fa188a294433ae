// SPDX-License-Identifier: MIT
//
// Any bytes as a text to protect and as a protected form, under the built-in key. A text comes back
// from its form; what was changed, cut or joined gives the beginning of the text that was
// protected, whole lines of it.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ztbencrypt.h"
#include "ztbmempool_p.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "protected_fuzz: %s\n", what);
  std::abort();
}

// What the form of `text` gives once the byte at `at` is `byte`: all of it, if that changes
// nothing, or else no more than the lines before.
void checkDamage(std::string const& text, std::size_t at, char byte) {
  std::string form = ztbEncryptString(ZtbString(text.c_str(), false)).asCstr();
  at %= form.size();
  bool const isChange = form[at] != byte;
  form[at] = byte;
  std::string const back = ztbDecryptString(ZtbString(form.c_str(), false)).asCstr();
  if (!isChange) {
    require(back == text, "a text doesn't come back");
    return;
  }
  std::size_t const lines = at / 72;
  std::size_t const before = lines == 0 ? 0 : 13 + 37 * (lines - 1);
  require(text.compare(0, back.size(), back) == 0, "damage gives another text");
  require(back.size() <= before, "damage gives more than the lines before it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  require(isUp, "no pool");
  char const* const bytes = reinterpret_cast<char const*>(data);
  ZtbString const form(std::string(bytes, size).c_str(), false);
  ZtbString const plain = ztbDecryptString(form);
  require(!plain.isNull(), "a form gives null");
  require(ztbDecryptString(ztbEncryptString(form)).compare(form, true) == 0, "no way back");
  if (size < 3) return 0;
  std::string const text = std::string(bytes + 3, size - 3).c_str();
  checkDamage(text, data[0] * 256U + data[1], bytes[2]);
  return 0;
}
