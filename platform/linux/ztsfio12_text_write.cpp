// SPDX-License-Identifier: MIT
//
// Writing text: one call, one write to the system, so that a failure is seen by the call that met
// it, and a line stays whole beside other appenders.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "ztschr12.h"
#include "ztsfio12_text_p.h"
#include "ztsfio12_write.h"

namespace {

// What the buffer of the encoded text may keep between calls.
constexpr std::size_t kKeptBytes = 256 * 1024;

iovec part(std::string_view bytes) {
  return {const_cast<char*>(bytes.data()), bytes.size()};
}

}  // namespace

NpTextWriter::NpTextWriter(int encoding, std::unique_ptr<NpEncoder> encoder)
    : mEncoding(encoding), mEncoder(std::move(encoder)) {}

int NpTextWriter::start(NpDescriptor descriptor, bool isRegular, std::string_view mark) {
  mDescriptor = std::move(descriptor);
  mIsRegular = isRegular;
  mMarkBytes = mark.size();
  return put(mark, {});
}

int NpTextWriter::rewind() {
  bool const failed = ::lseek(mDescriptor.get(), static_cast<off_t>(mMarkBytes), SEEK_SET) < 0;
  return failed ? -npFioCode(errno) : 0;
}

// What can't be positioned, such as a pipe, is always at its end.
int NpTextWriter::unwind() {
  bool const failed = ::lseek(mDescriptor.get(), 0, SEEK_END) < 0 && errno != ESPIPE;
  return failed ? -npFioCode(errno) : 0;
}

int NpTextWriter::write(std::string_view text, LineEnd lineEnd) {
  std::string_view const end = lineEnd == LineEnd::yes ? "\n" : "";
  std::size_t const count = std::min<std::size_t>(text.size() + end.size(), INT_MAX);
  if (mEncoding == np_enc_utf8 && np_uchar_wellformed(text.data(), text.size()) == text.size()) {
    int const code = put(text, end);
    return code != 0 ? code : static_cast<int>(count);
  }
  mOut.clear();
  int code = encode(text);
  if (code == 0) code = encode(end);
  if (code == 0) code = put(mOut, {});
  if (mOut.capacity() > kKeptBytes) std::string().swap(mOut);
  return code != 0 ? code : static_cast<int>(count);
}

// Appends the encoded text to mOut.
int NpTextWriter::encode(std::string_view text) {
  constexpr std::size_t kSlack = 64;
  mEncoder->reset();
  for (bool isDone = text.empty(); !isDone;) {
    std::size_t const used = mOut.size();
    std::size_t const room = text.size() + text.size() / 2 + kSlack;
    mOut.resize(used + room);
    bool isUnrepresentable = false;
    NpCodecStep const step = mEncoder->convert(text.data(), text.size(), mOut.data() + used, room,
                                               true, &isUnrepresentable);
    mOut.resize(used + step.produced);
    if (isUnrepresentable) return -np_fio_err_unrepresentable;
    text.remove_prefix(step.consumed);
    // With room to spare nothing can have been held back.
    isDone = text.empty() && room - step.produced >= kSlack / 2;
  }
  return 0;
}

int NpTextWriter::put(std::string_view first, std::string_view second) {
  iovec parts[] = {part(first), part(second)};
  int const fd = mDescriptor.get();
  return -npFioCode(mIsRegular ? npWriteAll(fd, parts) : npWriteAllWithoutSignal(fd, parts));
}
