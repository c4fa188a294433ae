// SPDX-License-Identifier: MIT

#include "ztbtxtfile.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "ztbmessage.h"
#include "ztbtxtfile_p.h"
#include "ztsfio12.h"

namespace {

constexpr char kSource[] = "ztbtxtfile";
constexpr char kGroup[] = "Base Services";
constexpr int kNoMemory = np_fio_err_system + ENOMEM;

// A copy of a text, null if there is no memory for it.
std::unique_ptr<char[]> copyOf(char const* text) {
  std::size_t const bytes = std::strlen(text) + 1;
  std::unique_ptr<char[]> copy(new (std::nothrow) char[bytes]);
  if (copy != nullptr) std::memcpy(copy.get(), text, bytes);
  return copy;
}

// The flags word of the file library, 0 for an unknown mode.
int flagsOf(ZtbTxtFile::Mode mode) {
  constexpr int kAppend = np_fio_flag_write | np_fio_flag_create | np_fio_flag_share;
  static_assert(kAppend == 14);
  switch (mode) {
    case ZtbTxtFile::ModeRead:
      return np_fio_flag_read | np_fio_flag_share;
    case ZtbTxtFile::ModeWrite:
      return kAppend | np_fio_flag_truncate;
    case ZtbTxtFile::ModeAppend:
      return kAppend;
  }
  return 0;
}

ZtbString openFailure(char const* path, int code) {
  if (code == np_fio_err_encoding) return ztb_get_message(kSource, __LINE__, kGroup, 335);
  char const* description = np_fio_errdesc(code);
  if (description == nullptr || *description == '\0') {
    return ztb_get_message(kSource, __LINE__, kGroup, 1352, path, code);
  }
  return ztb_get_message(kSource, __LINE__, kGroup, 1353, path, description);
}

ZtbString readFailure(int code) {
  if (code == np_fio_err_encoding) return ztb_get_message(kSource, __LINE__, kGroup, 335);
  if (code == np_fio_err_direction) return ztb_get_message(kSource, __LINE__, kGroup, 337);
  char const* description = np_fio_errdesc(code);
  if (description == nullptr) description = "";
  return ztb_get_message(kSource, __LINE__, kGroup, 471, description);
}

}  // namespace

struct ZtbTxtFile::State {
  NpTextFile* handle = nullptr;
  bool isOpen = false;
  bool lacksMemory = false;  // whether that made the last failure
  __int64 position = 0;
  std::unique_ptr<char[]> path;

  // Takes a result of the file library into the position: -1 for a failure.
  int counted(int result) {
    if (result < 0) return -1;
    position += result;
    return result;
  }
};

ZtbTxtFile::ZtbTxtFile() : mState(new State) {}

ZtbTxtFile::~ZtbTxtFile() {
  close();
  delete mState;
}

bool ZtbTxtFile::open(char const* path, Mode mode, int encoding, int options) {
  close();
  int const flags = flagsOf(mode);
  if (flags == 0) return false;
  char const* const named = path == nullptr ? "" : path;
  std::unique_ptr<char[]> copy = copyOf(named);
  int const code = copy == nullptr
                       ? kNoMemory
                       : np_fio_text_open(path, flags, encoding, options, &mState->handle);
  if (code != 0) {
    mState->lacksMemory = code == kNoMemory;
    mErrorMessage = openFailure(named, code);
    return false;
  }
  if (mode == ModeAppend && np_fio_text_unwind(mState->handle) != 0) {
    mErrorMessage = ztb_get_message(kSource, __LINE__, kGroup, 336);
    close();
    return false;
  }
  mState->path = std::move(copy);
  mState->isOpen = true;
  return true;
}

bool ZtbTxtFile::close() {
  np_fio_text_close(mState->handle);
  mState->handle = nullptr;
  mState->isOpen = false;
  mState->position = 0;
  return true;
}

bool ztbTxtFileLacksMemory(ZtbTxtFile const& file) {
  return file.mState->lacksMemory;
}

ZtbString ZtbTxtFile::getErrorMessage() {
  return mErrorMessage;
}

int ZtbTxtFile::getencoding() {
  return mState->isOpen ? np_fio_text_getenc(mState->handle) : -1;
}

int ZtbTxtFile::read(char* buffer, unsigned int size) {
  if (!mState->isOpen) return -1;
  return mState->counted(np_fio_text_read(mState->handle, -1, buffer, size));
}

int ZtbTxtFile::readln(char* buffer, unsigned int size, bool* complete) {
  constexpr int kEndOfFile = -2;
  if (complete != nullptr) *complete = false;
  if (!mState->isOpen) return -1;
  int hasLineEnd = 0;
  int const count = np_fio_text_readline(mState->handle, buffer, size, &hasLineEnd);
  if (count < 0) {
    int const code = np_fio_text_geterr(mState->handle);
    mState->lacksMemory = code == kNoMemory;
    mErrorMessage = readFailure(code);
    return -1;
  }
  if (count == 0 && hasLineEnd == 0) return kEndOfFile;
  if (complete != nullptr) *complete = hasLineEnd != 0;
  return mState->counted(count);
}

bool ZtbTxtFile::write(char const* text) {
  return write(text, -1);
}

bool ZtbTxtFile::write(char const* text, int count) {
  if (!mState->isOpen) return false;
  return mState->counted(np_fio_text_write(mState->handle, text, count)) >= 0;
}

bool ZtbTxtFile::writeln(char const* text) {
  if (!mState->isOpen) return false;
  return mState->counted(np_fio_text_writeline(mState->handle, text)) >= 0;
}

__int64 ZtbTxtFile::size() {
  NpStatus64 status;
  bool const isKnown = mState->isOpen && np_fio_stat64(mState->path.get(), &status) == 0;
  return isKnown ? status.size : 0;
}

__int64 ZtbTxtFile::tell() {
  return mState->position;
}

int ZtbTxtFile::skip(int count) {
  if (!mState->isOpen) return -1;
  return mState->counted(np_fio_text_skip(mState->handle, count));
}

int ZtbTxtFile::skipline() {
  if (!mState->isOpen) return -1;
  return mState->counted(np_fio_text_skipline(mState->handle));
}

int ZtbTxtFile::rewind() {
  if (!mState->isOpen) return -1;
  static_cast<void>(np_fio_text_rewind(mState->handle));
  mState->position = 0;
  return 0;
}
