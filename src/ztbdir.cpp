// SPDX-License-Identifier: MIT
//
// Paths and directory listings over the file layer.

#include "ztbdir.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "ztbmessage.h"
#include "ztsfio12.h"
#include "ztssys11.h"

namespace {

constexpr char kSource[] = "ztbdir";
constexpr char kGroup[] = "Base Services";

// Room for a path: on the stack for the short ones, else on the heap. Null if memory ran out.
class PathBuffer {
 public:
  explicit PathBuffer(std::size_t size) {
    if (size > kLongestOnStack) mHeap.reset(new (std::nothrow) char[size]);
    mText = size > kLongestOnStack ? mHeap.get() : mStack.data();
    if (mText != nullptr) *mText = '\0';
  }
  char* get() { return mText; }

 private:
  static constexpr std::size_t kLongestOnStack = 255;

  std::array<char, kLongestOnStack + 1> mStack;
  std::unique_ptr<char[]> mHeap;
  char* mText;
};

int openWord(int flags) {
  int word = np_dir_entries;
  if ((flags & ZtbDirectoryListing::FlagNoDots) != 0) word |= np_dir_no_dots;
  if ((flags & ZtbDirectoryListing::FlagDirectoriesOnly) != 0) word |= np_dir_directories;
  return word;
}

ZtbString openFailure(ZtbString const& path, int code) {
  char const* const text = path.asCstr();
  switch (code) {
    case np_dir_err_missing:
      return ztb_get_message(kSource, __LINE__, kGroup, 445, text);
    case np_dir_err_not_directory:
      return ztb_get_message(kSource, __LINE__, kGroup, 446, text);
    case np_dir_err_access:
      return ztb_get_message(kSource, __LINE__, kGroup, 447, text);
    default:
      return ztb_get_message(kSource, __LINE__, kGroup, 467, text, code);
  }
}

ZtbDate localDate(std::uint32_t timestamp) {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  ZtbDate date;
  if (np_stamp_local(timestamp, &year, &month, &day, &hour, &minute, &second) == 0) {
    date.assign(year, month, day, hour, minute, second);
  }
  return date;
}

struct CloseDirectory {
  void operator()(NpDirectory* directory) const { np_dir_close(directory); }
};

}  // namespace

ZtbString ztbConcatPath(ZtbString const& first, ZtbString const& second) {
  std::size_t const size = std::size_t{first.cStrSize()} + second.cStrSize() + 2;
  if (size > std::numeric_limits<unsigned>::max()) return {};
  PathBuffer joined(size);
  if (joined.get() == nullptr) return {};
  joined.get()[size - 1] = '\0';
  auto const room = static_cast<unsigned>(size - 1);
  if (np_fio_pcat(first.asCstr(), second.asCstr(), joined.get(), room) != 0) return {};
  return {joined.get(), false};
}

ZtbString ztbParsePath(ZtbString const& path, ZtbString* name) {
  ZtbString const whole = path;  // `name` may be the same object
  if (name != nullptr) name->setNull();
  unsigned const size = whole.cStrSize();
  PathBuffer directory(size);
  PathBuffer last(size);
  if (directory.get() == nullptr || last.get() == nullptr) return {};
  if (np_fio_pparse(whole.asCstr(), directory.get(), size, last.get(), size) != 0) return {};
  ZtbString folder(directory.get(), false);
  if (folder.isNull() || name == nullptr) return folder;
  name->assign(last.get());
  return name->isNull() ? ZtbString() : folder;
}

struct ZtbDirectoryListing::Record {
  std::unique_ptr<NpDirectory, CloseDirectory> handle;
  std::unique_ptr<char[]> pathBuffer;
  ZtbString name;
  bool isDirectory = false;
  ZtbDate timestamp;
  std::uint32_t timestampLong = 0;
  std::uint32_t size = 0;
  int flags = 0;
};

ZtbDirectoryListing::ZtbDirectoryListing() : mRecord(nullptr) {}

ZtbDirectoryListing::~ZtbDirectoryListing() {
  delete mRecord;
}

bool ZtbDirectoryListing::init(ZtbString const& path, int flags) {
  if (mRecord != nullptr) return false;
  std::unique_ptr<Record> record(new (std::nothrow) Record);
  auto const size = static_cast<std::size_t>(np_dir_pathlen);
  if (record != nullptr) record->pathBuffer.reset(new (std::nothrow) char[size]());
  if (record == nullptr || record->pathBuffer == nullptr) {
    mErrorMessage = ztb_get_message(kSource, __LINE__, kGroup, 444);
    return false;
  }
  record->flags = flags;
  NpDirectory* directory = nullptr;
  int const failure = np_dir_open(path.asCstr(), openWord(flags), &directory);
  record->handle.reset(directory);
  if (failure != 0) {
    mErrorMessage = openFailure(path, failure);
    return false;
  }
  np_stamp_zone();  // once a listing, as it costs as much as an entry does
  mRecord = record.release();
  return true;
}

bool ZtbDirectoryListing::next() {
  if (mRecord == nullptr) return false;
  char* const path = mRecord->pathBuffer.get();
  path[np_dir_pathlen - 1] = '\0';
  auto const room = static_cast<unsigned>(np_dir_pathlen - 1);
  NpStatus status{};
  if (np_dir_next_stat(mRecord->handle.get(), path, room, &status) != 0) return false;
  mRecord->isDirectory = status.type == np_type_directory;
  mRecord->timestampLong = status.timestamp;
  mRecord->timestamp = localDate(status.timestamp);
  mRecord->size = status.size;
  ztbParsePath(ZtbString(path, true), &mRecord->name);
  return true;
}

ZtbString ZtbDirectoryListing::getName() {
  return mRecord == nullptr ? ZtbString() : mRecord->name;
}

ZtbString ZtbDirectoryListing::getFullPathName() {
  return mRecord == nullptr ? ZtbString() : ZtbString(mRecord->pathBuffer.get(), false);
}

bool ZtbDirectoryListing::isDir() {
  return mRecord != nullptr && mRecord->isDirectory;
}

ZtbDate ZtbDirectoryListing::getTimestamp() {
  return mRecord == nullptr ? ZtbDate() : mRecord->timestamp;
}

unsigned long ZtbDirectoryListing::getTimestampLong() {
  return mRecord == nullptr ? 0 : mRecord->timestampLong;
}

unsigned long ZtbDirectoryListing::getSize() {
  return mRecord == nullptr ? 0 : mRecord->size;
}

bool ZtbDirectoryListing::isReadOnly() {
  constexpr int kAsk = np_fio_flag_access | np_fio_flag_write;
  return mRecord != nullptr && np_fio_open(mRecord->pathBuffer.get(), kAsk, nullptr) != 0;
}

ZtbString ZtbDirectoryListing::getErrorMessage() {
  return mErrorMessage;
}
