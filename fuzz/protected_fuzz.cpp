// SPDX-License-Identifier: MIT
//
// Any bytes as a text to protect and as a protected form, under the built-in key. A text comes back
// from its form; what was changed, cut or joined gives the beginning of the text that was
// protected, whole lines of it.
// Aimed at src/ztbencrypt.cpp platform/linux/ztsstr12_linecoder.cpp

#include "target.h"
#include "ztbencrypt.h"

namespace {

// What the form of `text` gives once the byte at `at` is `byte`: all of it, if that changes
// nothing, or else no more than the lines before.
void checkDamage(std::string const& text, std::size_t at, char byte) {
  std::string form = ztbEncryptString(ZtbString(text.c_str(), false)).asCstr();
  at %= form.size();
  bool const isChange = form[at] != byte;
  form[at] = byte;
  std::string const back = ztbDecryptString(ZtbString(form.c_str(), false)).asCstr();
  if (!isChange) return require(back == text);
  std::size_t const lines = at / 72;
  require(text.starts_with(back) && back.size() <= (lines == 0 ? 0 : 13 + 37 * (lines - 1)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  ZtbString const form(textOf(data, size).c_str(), false);
  require(!ztbDecryptString(form).isNull());
  require(ztbDecryptString(ztbEncryptString(form)).compare(form, true) == 0);
  if (size < 3) return 0;
  checkDamage(textOf(data, size, 3), data[0] * 256U + data[1], static_cast<char>(data[2]));
  return 0;
}
