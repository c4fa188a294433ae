// SPDX-License-Identifier: MIT
//
// Text files: opening them in either direction, and the door to reader and writer.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <stdexcept>

#include "ztschr12.h"
#include "ztsfio12.h"
#include "ztsfio12_text_p.h"

// A file is open in one direction: exactly one of the two is there.
struct NpTextFile {
  std::unique_ptr<NpTextReader> reader;
  std::unique_ptr<NpTextWriter> writer;
  int error = 0;
};

namespace {

bool isUtf16Or32(int encoding) {
  return encoding != np_enc_utf8 && !npByteOrderMark(encoding).empty();
}

bool writesMark(int encoding, int options) {
  if ((options & np_fio_text_no_mark) != 0) return false;
  return (options & np_fio_text_mark) != 0 || isUtf16Or32(encoding);
}

// The encoding that the mark of an existing file names; UTF-8 for any other. A file that can't be
// read is no failure: whoever may only append gets UTF-8.
int encodingOfMark(char const* path) {
  struct stat status;
  NpDescriptor descriptor;
  if (path == nullptr || ::stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return np_enc_utf8;
  if (npOpenDescriptor(path, O_RDONLY, descriptor) != 0) return np_enc_utf8;
  NpTextReader reader(std::move(descriptor));
  return reader.start(np_enc_utf8, true) == 0 ? reader.encoding() : static_cast<int>(np_enc_utf8);
}

int openReader(char const* path, int encoding, int options, NpTextFile& file) {
  NpDescriptor descriptor;
  if (int const code = npOpenDescriptor(path, O_RDONLY, descriptor)) return code;
  struct stat status;
  if (::fstat(descriptor.get(), &status) != 0) return npFioCode(errno);
  if (S_ISDIR(status.st_mode)) return npFioCode(EISDIR);
  file.reader = std::make_unique<NpTextReader>(std::move(descriptor));
  return -file.reader->start(encoding, (options & np_fio_text_mark) != 0);
}

// The encoder is made first, so that an unknown encoding doesn't cost the file its content.
int openWriter(char const* path, int flags, int encoding, int options, NpTextFile& file) {
  bool const truncates = (flags & np_fio_flag_truncate) != 0;
  if (encoding == np_enc_detect) encoding = truncates ? 0 : encodingOfMark(path);
  std::unique_ptr<NpEncoder> encoder = NpEncoder::create(encoding);
  if (encoder == nullptr) return np_fio_err_encoding;
  file.writer = std::make_unique<NpTextWriter>(encoding, std::move(encoder));

  NpDescriptor descriptor;
  int const creates = (flags & np_fio_flag_create) != 0 ? O_CREAT : 0;
  int const bits = O_WRONLY | creates | (truncates ? O_TRUNC : O_APPEND);
  if (int const code = npOpenDescriptor(path, bits, descriptor)) return code;
  struct stat status;
  if (::fstat(descriptor.get(), &status) != 0) return npFioCode(errno);
  bool const isRegular = S_ISREG(status.st_mode);
  bool const isAtStart = truncates || (isRegular && status.st_size == 0);
  std::string_view mark;
  if (isAtStart && writesMark(encoding, options)) mark = npByteOrderMark(encoding);
  return -file.writer->start(std::move(descriptor), isRegular, mark);
}

int openFile(char const* path, int flags, int encoding, int options, NpTextFile& file) {
  constexpr int kDirections = np_fio_flag_read | np_fio_flag_write;
  if ((flags & np_fio_flag_access) != 0) return npFioCode(EINVAL);
  switch (flags & kDirections) {
    case np_fio_flag_read:
      return openReader(path, encoding, options, file);
    case np_fio_flag_write:
      return openWriter(path, flags, encoding, options, file);
    default:
      return npFioCode(EINVAL);
  }
}

// Runs `operation`, which gives a count or a negative code, and keeps the code. No exception
// leaves: the only ones are of memory and of lengths that no memory has.
template <typename Operation>
int guarded(NpTextFile* file, Operation operation) {
  int result = 0;
  try {
    result = operation();
  } catch (std::exception const&) {
    result = -npFioCode(ENOMEM);
  }
  if (result < 0) file->error = -result;
  return result;
}

// Hands a call to the reader or the writer of the file.
template <typename Operation>
int onReader(NpTextFile* file, Operation operation) {
  if (file == nullptr) return -npFioCode(EINVAL);
  return guarded(file, [&] {
    return file->reader == nullptr ? -np_fio_err_direction : operation(*file->reader);
  });
}

template <typename Operation>
int onWriter(NpTextFile* file, Operation operation) {
  if (file == nullptr) return -npFioCode(EINVAL);
  return guarded(file, [&] {
    return file->writer == nullptr ? -np_fio_err_direction : operation(*file->writer);
  });
}

// What a caller's buffer holds until something has been read.
void clear(char* buffer, unsigned size) {
  if (buffer != nullptr && size > 0) *buffer = '\0';
}

}  // namespace

int np_fio_text_open(char const* path, int flags, int encoding, int options, NpTextFile** result) {
  if (result == nullptr) return npFioCode(EINVAL);
  *result = nullptr;
  try {
    auto file = std::make_unique<NpTextFile>();
    if (int const code = openFile(path, flags, encoding, options, *file)) return code;
    *result = file.release();
    return 0;
  } catch (std::exception const&) {
    return npFioCode(ENOMEM);
  }
}

void np_fio_text_close(NpTextFile* file) {
  delete file;
}

int np_fio_text_unwind(NpTextFile* file) {
  if (file != nullptr && file->writer != nullptr) {
    return onWriter(file, [](NpTextWriter& writer) { return writer.unwind(); });
  }
  return onReader(file, [](NpTextReader& reader) { return reader.unwind(); });
}

int np_fio_text_rewind(NpTextFile* file) {
  if (file != nullptr && file->writer != nullptr) {
    return onWriter(file, [](NpTextWriter& writer) { return writer.rewind(); });
  }
  return onReader(file, [](NpTextReader& reader) { return reader.rewind(); });
}

int np_fio_text_read(NpTextFile* file, int limit, char* buffer, unsigned size) {
  clear(buffer, size);
  return onReader(file, [&](NpTextReader& reader) { return reader.read(limit, buffer, size); });
}

int np_fio_text_readline(NpTextFile* file, char* buffer, unsigned size, int* complete) {
  clear(buffer, size);
  bool isComplete = false;
  int const count = onReader(
      file, [&](NpTextReader& reader) { return reader.readLine(buffer, size, isComplete); });
  if (complete != nullptr) *complete = isComplete ? 1 : 0;
  return count;
}

int np_fio_text_write(NpTextFile* file, char const* text, int count) {
  return onWriter(file, [&](NpTextWriter& writer) {
    if (text == nullptr) return -npFioCode(EINVAL);
    std::size_t const bytes =
        count < 0 ? std::strlen(text) : ::strnlen(text, static_cast<std::size_t>(count));
    return writer.write({text, bytes}, NpTextWriter::LineEnd::no);
  });
}

int np_fio_text_writeline(NpTextFile* file, char const* text) {
  return onWriter(file, [&](NpTextWriter& writer) {
    if (text == nullptr) return -npFioCode(EINVAL);
    return writer.write(text, NpTextWriter::LineEnd::yes);
  });
}

int np_fio_text_skip(NpTextFile* file, int count) {
  return onReader(file, [&](NpTextReader& reader) { return reader.skip(count); });
}

int np_fio_text_skipline(NpTextFile* file) {
  return onReader(file, [](NpTextReader& reader) { return reader.skipLine(); });
}

int np_fio_text_getenc(NpTextFile* file) {
  if (file == nullptr) return np_enc_detect;
  return file->reader != nullptr ? file->reader->encoding() : file->writer->encoding();
}

int np_fio_text_geterr(NpTextFile* file) {
  return file == nullptr ? 0 : file->error;
}
