// SPDX-License-Identifier: MIT

#include "ztbtxtfilefw.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "ztbmessage.h"
#include "ztschr12.h"
#include "ztsfio12.h"

namespace {

// Shared with the text files: the two families have the same messages.
constexpr char kSource[] = "ztbtxtfile";
constexpr char kGroup[] = "Base Services";

// The flags words of the two opens: the text layer's makes or empties the file, so that the raw one
// must keep it.
struct ModeFlags {
  int text;
  int raw;
};

ModeFlags flagsOf(ZtbTxtFileFW::Mode mode) {
  constexpr int kRead = np_fio_flag_read | np_fio_flag_share;
  constexpr int kAppend = np_fio_flag_write | np_fio_flag_create | np_fio_flag_share;
  static_assert(kRead == 9 && kAppend == 14);
  switch (mode) {
    case ZtbTxtFileFW::ModeRead:
      return {kRead, kRead};
    case ZtbTxtFileFW::ModeWrite:
      return {kAppend | np_fio_flag_truncate, kAppend};
    case ZtbTxtFileFW::ModeAppend:
      return {kAppend, kAppend};
  }
  return {0, 0};
}

constexpr int kMarked[] = {np_enc_utf8, np_enc_utf16be, np_enc_utf16le};

// The bytes of the mark at the start of `bytes`; 0 if there is none.
int markBytes(char const* bytes, int count) {
  for (int const encoding : kMarked) {
    int size = 0;
    char const* const mark = np_uchar_encmark(encoding, &size);
    if (size <= count && std::memcmp(bytes, mark, static_cast<std::size_t>(size)) == 0) return size;
  }
  return 0;
}

ZtbString failure(int code) {
  char const* const description = np_fio_errdesc(code);
  return ztb_get_message(kSource, __LINE__, kGroup, 471, description == nullptr ? "" : description);
}

// 32 signed bits that wrap.
int wrappedProduct(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

// Bytes that were pushed back.
struct Pushback {
  std::unique_ptr<char[]> bytes;
  char* cursor;  // the next byte to deliver
  unsigned remaining;
  Pushback* next;  // the item underneath
};

std::unique_ptr<char[]> copyOf(char const* bytes, std::size_t count) {
  std::unique_ptr<char[]> copy(new (std::nothrow) char[count]);
  if (copy != nullptr) std::memcpy(copy.get(), bytes, count);
  return copy;
}

}  // namespace

struct ZtbTxtFileFW::State {
  NpFile* handle = nullptr;
  int encoding = -1;
  bool hasBomCheck = false;
  int bomLength = 0;
  bool isOpen = false;
  __int64 position = 0;
  std::unique_ptr<char[]> path;
  Pushback* pushback = nullptr;

  ~State() { close(); }

  void dropFirst() {
    Pushback* const first = std::exchange(pushback, pushback->next);
    delete first;
  }

  void close() {
    np_fio_close(handle);
    handle = nullptr;
    isOpen = false;
    position = 0;
    hasBomCheck = false;
    bomLength = 0;
    while (pushback != nullptr) dropFirst();
  }

  // Makes or empties the file as the mode says, with its mark, and settles its encoding. 0 or a
  // code.
  int settleEncoding(char const* name, int flags, int wanted, int options) {
    NpTextFile* text = nullptr;
    int const code = np_fio_text_open(name, flags, wanted, options, &text);
    if (code != 0) return code;
    encoding = np_fio_text_getenc(text);
    np_fio_text_close(text);
    return 0;
  }

  bool goToEnd() {
    __int64 const end = np_fio_seek64(handle, 0, np_fio_from_end);
    if (end >= 0) position = end;
    return end >= 0;
  }

  // Goes behind the mark. 0 or a code: a mark that can't be read would be written over.
  int skipMark() {
    char start[3];
    int count = np_fio_getb(handle, start, sizeof start);
    // There is no mark in an empty file, also where it may be written and not read.
    if (count < 0 && np_fio_seek64(handle, 0, np_fio_from_end) == 0) count = 0;
    if (count < 0) return -count;
    bomLength = markBytes(start, count);
    __int64 const result = np_fio_seek64(handle, bomLength, np_fio_from_start);
    if (result < 0) return static_cast<int>(-result);
    position = bomLength;
    return 0;
  }

  // Delivers pushed-back bytes, up to `size` of them. An item that it empties stays until another
  // byte is wanted.
  unsigned takePushedBack(char* buffer, unsigned size) {
    unsigned total = 0;
    while (pushback != nullptr) {
      unsigned const count = std::min(size - total, pushback->remaining);
      std::memcpy(buffer + total, pushback->cursor, count);
      pushback->cursor += count;
      pushback->remaining -= count;
      total += count;
      if (total == size) break;
      dropFirst();
    }
    position += total;
    return total;
  }
};

ZtbTxtFileFW::ZtbTxtFileFW() : mState(new State) {}

ZtbTxtFileFW::~ZtbTxtFileFW() {
  delete mState;
}

bool ZtbTxtFileFW::open(char const* path, Mode mode, int encoding, int options) {
  close();
  ModeFlags const flags = flagsOf(mode);
  if (flags.text == 0) return false;
  char const* const named = path == nullptr ? "" : path;
  std::unique_ptr<char[]> copy = copyOf(named, std::strlen(named) + 1);
  int code = copy == nullptr ? np_fio_err_system + ENOMEM
                             : mState->settleEncoding(path, flags.text, encoding, options);
  if (code == 0) code = np_fio_open(path, flags.raw, &mState->handle);
  if (code != 0) {
    mErrorMessage = failure(code);
    return false;
  }
  mState->hasBomCheck = (options & (np_fio_text_mark | np_fio_text_no_mark)) != 0;
  if (mode == ModeAppend && !mState->goToEnd()) {
    mErrorMessage = ztb_get_message(kSource, __LINE__, kGroup, 336);
    close();
    return false;
  }
  code = mode != ModeAppend && mState->hasBomCheck ? mState->skipMark() : 0;
  if (code != 0) {
    mErrorMessage = failure(code);
    close();
    return false;
  }
  mState->path = std::move(copy);
  mState->isOpen = true;
  return true;
}

bool ZtbTxtFileFW::close() {
  mState->close();
  return true;
}

ZtbString ZtbTxtFileFW::getErrorMessage() {
  return mErrorMessage;
}

int ZtbTxtFileFW::getencoding() {
  return mState->isOpen ? mState->encoding : -1;
}

int ZtbTxtFileFW::read(char* buffer, unsigned int size) {
  if (!mState->isOpen) return -1;
  size = std::min(size, static_cast<unsigned>(INT_MAX));
  if (size == 0) return 0;
  unsigned const total = buffer == nullptr ? 0 : mState->takePushedBack(buffer, size);
  if (total == size) return static_cast<int>(total);
  int const count = np_fio_getb(mState->handle, buffer + total, size - total);
  if (count < 0) {
    mErrorMessage = ztb_get_message(kSource, __LINE__, kGroup, 97, "");
    return -1;
  }
  mState->position += count;
  return static_cast<int>(total) + count;
}

bool ZtbTxtFileFW::write(char const* bytes, int count) {
  if (!mState->isOpen) return false;
  int const result = np_fio_putb(mState->handle, bytes, count);
  if (result < 0) return false;
  mState->position += result;
  return true;
}

__int64 ZtbTxtFileFW::size() {
  NpStatus64 status;
  bool const isKnown = mState->isOpen && np_fio_stat64(mState->path.get(), &status) == 0;
  return isKnown ? status.size : 0;
}

__int64 ZtbTxtFileFW::tell() {
  return mState->position;
}

bool ZtbTxtFileFW::recseek(int record, int recordLength) {
  if (!mState->isOpen) return false;
  __int64 offset = wrappedProduct(record, recordLength);
  if (mState->hasBomCheck) offset += mState->bomLength;
  __int64 const result = np_fio_seek64(mState->handle, offset, np_fio_from_start);
  if (result < 0) return false;
  mState->position = result;
  return true;
}

bool ZtbTxtFileFW::unread(char const* bytes, unsigned int count) {
  if (count == 0) return true;
  std::unique_ptr<char[]> copy = bytes == nullptr ? nullptr : copyOf(bytes, count);
  if (copy == nullptr) return false;
  char* const cursor = copy.get();
  auto* const item = new (std::nothrow) Pushback{std::move(copy), cursor, count, mState->pushback};
  if (item == nullptr) return false;
  mState->pushback = item;
  mState->position -= count;
  return true;
}

int ZtbTxtFileFW::encode(char* target, int targetSize, char const* bytes) {
  if (bytes == nullptr) return np_conv_unknown;
  return np_uchar_encode(mState->encoding, bytes, target, targetSize);
}

int ZtbTxtFileFW::decode(char* target, int targetSize, char const* text) {
  if (text == nullptr) return np_conv_unknown;
  return np_uchar_decode(mState->encoding, text, target, targetSize);
}
