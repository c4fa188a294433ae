// SPDX-License-Identifier: MIT
//
// The two halves of a text file: the reader, which turns a file's bytes into well-formed UTF-8
// lines, and the writer, which goes the other way. An object belongs to one thread at a time.
// Functions give a count of 0 and more, or a code of NpFileError as a negative number.

#ifndef ZTSFIO12_TEXT_P_H
#define ZTSFIO12_TEXT_P_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ztschr12_codec.h"
#include "ztsfio12_handle.h"

// The byte-order mark of an encoding; empty if the encoding has none.
std::string_view npByteOrderMark(int encoding);

class NpTextReader {
 public:
  // What a file is read through: memory stays at this size, whatever the length of file and line.
  static constexpr std::size_t kBufferBytes = 64 * 1024;

  explicit NpTextReader(NpDescriptor descriptor);

  // Settles the encoding from the head of the file. To be called once, before anything else.
  int start(int encoding, bool looksForMark);
  int rewind();
  int unwind();
  int encoding() const { return mEncoding; }

  int read(int limit, char* buffer, unsigned size);
  int readLine(char* buffer, unsigned size, bool& complete);
  int skip(int count);
  int skipLine();

 private:
  int takeMark();
  int useEncoding(int encoding);
  int settleEncoding();
  int readMore(std::size_t& got);
  int moveTo(std::int64_t offset, int origin);

  int validate();
  int decode();
  int fetch();
  int ahead();
  void takeSlice(std::string_view text);
  char const* find(char wanted) const;
  char const* lineEnd();
  void takeLineEnd();
  bool atLineEnd() { return mHere == lineEnd(); }

  std::string_view raw() const { return {mRaw.get() + mRawBegin, mRawEnd - mRawBegin}; }

  NpDescriptor mDescriptor;
  int mEncoding = 0;
  bool mIsDetecting = false;  // only ASCII so far: UTF-8 or the locale's set, both would do
  std::size_t mMarkBytes = 0;

  std::unique_ptr<char[]> mRaw;  // bytes of the file
  std::size_t mRawBegin = 0;
  std::size_t mRawEnd = 0;
  std::unique_ptr<NpDecoder> mDecoder;  // null for UTF-8, which is read in place
  std::unique_ptr<char[]> mText;        // what the decoder made of mRaw
  std::string_view mReady;              // well-formed text behind the slice

  // The slice ahead: well-formed and without NUL. It lies in mRaw, in mText or in static text.
  char const* mHere = nullptr;
  char const* mEnd = nullptr;
  // The next LF and CR of the slice, mEnd if there is none; behind mHere when out of date.
  char const* mNextLf = nullptr;
  char const* mNextCr = nullptr;
  bool mIsAfterCr = false;  // a LF that comes next belongs to the line end already taken
};

class NpTextWriter {
 public:
  enum class LineEnd { no, yes };

  NpTextWriter(int encoding, std::unique_ptr<NpEncoder> encoder);

  // Takes the open file, and writes the mark if there is one to write.
  int start(NpDescriptor descriptor, bool isRegular, std::string_view mark);
  int rewind();
  int unwind();
  int encoding() const { return mEncoding; }

  int write(std::string_view text, LineEnd lineEnd);

 private:
  int encode(std::string_view text);
  int put(std::string_view first, std::string_view second);

  NpDescriptor mDescriptor;
  int mEncoding;
  bool mIsRegular = false;
  std::size_t mMarkBytes = 0;
  std::unique_ptr<NpEncoder> mEncoder;
  std::string mOut;  // the encoded form of one call's text
};

#endif
