// SPDX-License-Identifier: MIT
//
// Files of any bytes in any encoding. The first byte chooses encoding and options, the rest is the
// file. Read at once, in pieces of several sizes and character by character it must give the same
// well-formed text, and that text, written and read again, must come back.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ztsfio12.h"
#include "ztsfio12_text_p.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "textfile_fuzz: %s\n", what);
  std::abort();
}

// A file without a name, reached through its descriptor's path.
class MemoryFile {
 public:
  MemoryFile() : mDescriptor(::memfd_create("textfile_fuzz", MFD_CLOEXEC)) {
    require(static_cast<bool>(mDescriptor), "no memory file");
    mPath = "/proc/self/fd/" + std::to_string(mDescriptor.get());
  }
  void fill(std::uint8_t const* data, std::size_t size) {
    require(::pwrite(mDescriptor.get(), data, size, 0) == static_cast<ssize_t>(size), "pwrite");
  }
  NpTextFile* open(int flags, int encoding, int options) const {
    NpTextFile* file = nullptr;
    np_fio_text_open(mPath.c_str(), flags, encoding, options, &file);
    return file;
  }

 private:
  NpDescriptor mDescriptor;
  std::string mPath;
};

std::string readAll(NpTextFile* file, int limit, unsigned size) {
  std::string text;
  for (;;) {
    std::vector<char> buffer(size);
    int const count = np_fio_text_read(file, limit, buffer.data(), size);
    require(count >= 0 && buffer[static_cast<std::size_t>(count)] == '\0', "read");
    if (count == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string readLines(NpTextFile* file, unsigned size) {
  std::string text;
  for (;;) {
    std::vector<char> buffer(size);
    int complete = 0;
    int const count = np_fio_text_readline(file, buffer.data(), size, &complete);
    require(count >= 0 && buffer[static_cast<std::size_t>(count)] == '\0', "readline");
    if (count == 0 && complete == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (complete != 0) text += '\n';
  }
}

int countSkipped(NpTextFile* file) {
  int characters = 0;
  for (int n; (n = np_fio_text_skipline(file)) != 0;) {
    require(n > 0, "skipline");
    characters += n;
  }
  return characters;
}

int characters(std::string const& text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void checkReading(NpTextFile* file, std::string const& text) {
  require(npWellFormedPrefix(text) == text.size(), "the text isn't well-formed");
  require(text.find('\0') == std::string::npos, "the text holds a NUL");
  require(text.find('\r') == std::string::npos, "the text holds a CR");
  for (unsigned const size : {5U, 7U, 1024U}) {
    require(np_fio_text_rewind(file) == 0 && readAll(file, -1, size) == text, "read in pieces");
    require(np_fio_text_rewind(file) == 0 && readLines(file, size) == text, "read by lines");
  }
  require(np_fio_text_rewind(file) == 0 && readAll(file, 1, 5) == text, "read by characters");
  require(np_fio_text_rewind(file) == 0, "rewind");
  require(countSkipped(file) == characters(text), "skipped lines");
  require(np_fio_text_rewind(file) == 0, "rewind");
  require(np_fio_text_skip(file, INT_MAX) == characters(text), "skipped characters");
}

void checkRoundTrip(std::string const& text, int encoding, int options) {
  MemoryFile const target;
  NpTextFile* file = target.open(78, encoding, options);
  require(file != nullptr, "open to write");
  int const count = np_fio_text_write(file, text.c_str(), -1);
  bool const isRefused = count == -np_fio_err_unrepresentable;
  require(isRefused || count == static_cast<int>(text.size()), "write");
  np_fio_text_close(file);
  if (isRefused) return;
  // Only a mark that was written may be looked for: in another encoding its bytes are text.
  bool const hasMark = options < 2 && !npByteOrderMark(encoding).empty();
  bool const wroteMark = hasMark && (options == 1 || encoding != 0);
  file = target.open(9, encoding, wroteMark ? 1 : 0);
  require(file != nullptr && readAll(file, -1, 4096) == text, "text written and read again");
  np_fio_text_close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  int const encoding = data[0] / 4 - 1;
  int const options = data[0] % 4;
  MemoryFile source;
  source.fill(data + 1, size - 1);
  NpTextFile* const file = source.open(9, encoding, options);
  if (file == nullptr) return 0;
  std::string const text = readAll(file, -1, 1U << 20);
  int const settled = np_fio_text_getenc(file);
  checkReading(file, text);
  np_fio_text_close(file);
  checkRoundTrip(text, settled, options);
  return 0;
}
