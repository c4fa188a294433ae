// SPDX-License-Identifier: MIT
//
// Files of any bytes in any encoding. The first byte chooses encoding and options, the rest is the
// file. Read at once, in pieces of several sizes and character by character it must give the same
// well-formed text, and that text, written and read again, must come back.
// Aimed at platform/linux/ztsfio12_text.cpp platform/linux/ztsfio12_text_read.cpp
// Aimed at platform/linux/ztsfio12_text_write.cpp

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "target.h"
#include "ztschr12.h"
#include "ztsfio12.h"
#include "ztsfio12_text_p.h"

namespace {

// A file without a name, reached through its descriptor's path.
class MemoryFile {
 public:
  MemoryFile() : mDescriptor(::memfd_create("textfile_fuzz", MFD_CLOEXEC)) {}
  void fill(std::string const& bytes) const {
    require(::write(mDescriptor.get(), bytes.data(), bytes.size()) == std::ssize(bytes));
  }
  NpTextFile* open(int flags, int encoding, int options) const {
    std::string const path = "/proc/self/fd/" + std::to_string(mDescriptor.get());
    NpTextFile* file = nullptr;
    np_fio_text_open(path.c_str(), flags, encoding, options, &file);
    return file;
  }

 private:
  NpDescriptor mDescriptor;
};

// All that `read` gives, which takes a buffer of `size` bytes and says if it met a line's end.
template <class Read>
std::string readAll(NpTextFile* file, unsigned size, Read read) {
  require(np_fio_text_rewind(file) == 0);
  for (std::string text;;) {
    std::vector<char> buffer(size);
    int complete = 0;
    int const count = read(buffer.data(), &complete);
    require(count >= 0 && buffer[static_cast<std::size_t>(count)] == '\0');
    if (count == 0 && complete == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (complete != 0) text += '\n';
  }
}

std::string readPieces(NpTextFile* file, int limit, unsigned size) {
  return readAll(file, size,
                 [=](char* buffer, int*) { return np_fio_text_read(file, limit, buffer, size); });
}

std::string readLines(NpTextFile* file, unsigned size) {
  return readAll(file, size, [=](char* buffer, int* complete) {
    return np_fio_text_readline(file, buffer, size, complete);
  });
}

void checkReading(NpTextFile* file, std::string const& text) {
  require(np_uchar_wellformed(text.data(), text.size()) == text.size());
  require(text.find('\0') == text.npos && text.find('\r') == text.npos);
  for (unsigned const size : {5U, 7U, 1024U}) {
    require(readPieces(file, -1, size) == text && readLines(file, size) == text);
  }
  require(readPieces(file, 1, 5) == text);
  auto const characters =
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
  require(np_fio_text_rewind(file) == 0);
  int skipped = 0;
  for (int n; (n = np_fio_text_skipline(file)) != 0; skipped += n) require(n > 0);
  require(skipped == characters);
  require(np_fio_text_rewind(file) == 0 && np_fio_text_skip(file, INT_MAX) == characters);
}

void checkRoundTrip(std::string const& text, int encoding, int options) {
  MemoryFile const target;
  NpTextFile* file = target.open(78, encoding, options);
  require(file != nullptr);
  int const count = np_fio_text_write(file, text.c_str(), -1);
  np_fio_text_close(file);
  if (count == -np_fio_err_unrepresentable) return;
  require(count == std::ssize(text));
  // Only a mark that was written may be looked for: in another encoding its bytes are text.
  bool const hasMark = options < 2 && !npByteOrderMark(encoding).empty();
  bool const wroteMark = hasMark && (options == 1 || encoding != 0);
  file = target.open(9, encoding, wroteMark ? 1 : 0);
  require(file != nullptr && readPieces(file, -1, 4096) == text);
  np_fio_text_close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  int const encoding = data[0] / 4 - 1;
  int const options = data[0] % 4;
  MemoryFile const source;
  source.fill(bytesOf(data, size, 1));
  NpTextFile* const file = source.open(9, encoding, options);
  if (file == nullptr) return 0;
  std::string const text = readPieces(file, -1, 1U << 20);
  int const settled = np_fio_text_getenc(file);
  checkReading(file, text);
  np_fio_text_close(file);
  checkRoundTrip(text, settled, options);
  return 0;
}
