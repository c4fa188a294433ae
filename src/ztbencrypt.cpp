// SPDX-License-Identifier: MIT

#include "ztbencrypt.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "ztauth.h"
#include "ztlog11.h"
#include "ztsstr12.h"

namespace {

using Buffer = std::unique_ptr<char[]>;

// A run of the line coder, which leaves no key behind.
class Coder {
 public:
  Coder() {
    int info = 0;
    if (zts_xc_reset(mState, &info) == 0) return;
    ZtLogger* const logger = ztlogGetLogger("ZT.Base.Encrypt");
    logger->operations->logFormat(logger, 5, "ztbencrypt", __LINE__, "%s", zts_xc_keytext(info));
  }
  Coder(Coder const&) = delete;
  Coder& operator=(Coder const&) = delete;
  ~Coder() { zts_xc_end(mState); }

  void* state() { return mState; }

 private:
  char mState[zts_xc_state_bytes];
};

// Writes the lines of `bytes` bytes of text, joined, and gives the end of what was written.
char* writeLines(Coder& coder, char const* text, int bytes, char* end) {
  int ready = 0;
  while (bytes > 0) {
    int const taken = zts_xc_write(coder.state(), text, bytes, end, &ready);
    if (ready != 0) end += zts_xc_line_bytes;
    text += taken;
    bytes -= taken;
  }
  for (;;) {
    zts_xc_write(coder.state(), nullptr, 0, end, &ready);
    if (ready == 0) return end;
    end += std::strlen(end) - 2;
  }
}

// The bytes at the end of a text that begin a character and lack its end.
std::ptrdiff_t cutBytes(char const* begin, char const* end) {
  for (std::ptrdiff_t bytes = 1; bytes <= 3 && bytes <= end - begin; ++bytes) {
    auto const lead = static_cast<unsigned char>(end[-bytes]);
    if ((lead & 0xC0) == 0x80) continue;
    int const width = lead < 0xC2 || lead > 0xF4 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return bytes < width ? bytes : 0;
  }
  return 0;
}

}  // namespace

ZtbString ztbEncryptString(ZtbString const& text) {
  std::size_t const bytes = text.cStrSize() - 1;
  // One line more than the full ones, and room for the line end of the last.
  std::size_t const size = (bytes / zts_xc_input_bytes + 2) * zts_xc_line_bytes + 4;
  if (size > INT_MAX) return ZtbString();
  Buffer const buffer(new (std::nothrow) char[size]);
  if (buffer == nullptr) return ZtbString();
  Coder coder;
  char const* const end = writeLines(coder, text.asCstr(), static_cast<int>(bytes), buffer.get());
  ZtbString form;
  if (end != buffer.get()) form.assignBytes(buffer.get(), static_cast<int>(end - buffer.get()));
  return form;
}

ZtbString ztbDecryptString(ZtbString const& text) {
  std::size_t const furtherLines = (text.cStrSize() - 1) / zts_xc_line_bytes;
  // A character may be cut between two lines, so that their bytes are put together first.
  std::size_t const size = (furtherLines + 1) * zts_xc_input_bytes + 1;
  Buffer const buffer(new (std::nothrow) char[size]);
  if (buffer == nullptr) return ZtbString();
  Coder coder;
  char* end = buffer.get();
  for (std::size_t line = 0; line <= furtherLines; ++line) {
    end += zts_xc_read(coder.state(), text.asCstr() + line * zts_xc_line_bytes, end);
  }
  auto const bytes = static_cast<std::size_t>(end - buffer.get());
  // What was protected is whole as it is, be it well-formed or not.
  if (zts_xc_complete(coder.state()) == 0) end -= cutBytes(buffer.get(), end);
  *end = '\0';
  ZtbString result;
  result.assign(buffer.get());
  asWipe(buffer.get(), bytes);
  return result;
}
