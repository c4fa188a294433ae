// SPDX-License-Identifier: MIT
//
// A file of fixed-width records, read and written by byte offset.
//
// The text layer (ztbtxtfile.h) only settles the encoding and the byte-order mark; from then on
// bytes are bytes, and nothing is converted unless `encode` or `decode` is asked to. Positions and
// sizes are in bytes. There is one position for reading and writing. Nothing is buffered: a record
// costs one system call, wherever it lies, and what was written the system has.
//
// For files that can be positioned: what a pipe has read ahead while its encoding is settled is
// lost.
//
// An object belongs to one thread at a time. Needs the library up: without it, a failure has no
// text.

#ifndef ZTBTXTFILEFW_H
#define ZTBTXTFILEFW_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Example: the second field, bytes 10 to 14, of record 7 in a file of 80-byte records.
//
//   ZtbTxtFileFW file;
//   if (!file.open("stock.dat", ZtbTxtFileFW::ModeRead, -1, 1)) fail(file.getErrorMessage());
//   char record[80];
//   if (!file.recseek(7, sizeof record) || file.read(record, sizeof record) < 80) return;
//   char field[5 + 2] = {};  // the terminator of UTF-16 has two bytes
//   std::memcpy(field, record + 10, 5);
//   char text[64];
//   if (file.encode(text, sizeof text, field) >= 0) use(text);
class ZTB_API ZtbTxtFileFW {
 public:
  // What a file is opened for.
  enum Mode {
    ModeRead = 0,    // read an existing file
    ModeWrite = 1,   // write and read back; makes the file, or empties the one that is there
    ModeAppend = 2,  // the same at its end, with what is there kept; makes the file if need be
  };

  // A closed file. Throws std::bad_alloc without memory, the only operation here that throws.
  ZtbTxtFileFW();
  ZtbTxtFileFW(ZtbTxtFileFW const&) = delete;
  ZtbTxtFileFW& operator=(ZtbTxtFileFW const&) = delete;
  // Closes the file if it is open.
  virtual ~ZtbTxtFileFW();

  // Opens the file at `path`; an open one is closed first, so a failure leaves a closed file, and
  // bytes that were pushed back are dropped.
  //
  // `encoding` and `options` are those of ZtbTxtFile::open: -1 chooses the encoding. Option 1
  // wants a mark: reading, the mark settles the encoding; a file that is new or empty gets one if
  // its encoding has one. Option 2 forbids to write one. With neither, a new file in UTF-16 gets
  // a mark, and what is written goes over it, from byte 0 on.
  //
  // With option 1 or 2, ModeRead and ModeWrite look for the mark of UTF-8 (EF BB BF), UTF-16
  // big-endian (FE FF) or little-endian (FF FE) at the start of the file; the position is then
  // behind it, and recseek counts records from there. Without these options a mark is data, and
  // the position is 0. The four bytes of a UTF-32 mark aren't known here: open such files with
  // option 0, write them with option 2.
  // ModeAppend looks for no mark: the position is the end of the file, and recseek counts from
  // byte 0. Other writers aren't watched: two objects that append overwrite each other.
  //
  // False on failure, with a text for getErrorMessage; false without a new text for an unknown
  // mode. A folder, a null path and an unknown encoding are failures; the latter leaves the file
  // as it was. With option 1 or 2, writing needs the right to read the file, too.
  bool open(char const* path, Mode mode, int encoding, int options);

  // Closes the file, drops what was pushed back, and gives true, also for a closed one. `tell` is 0
  // from then on.
  bool close();

  // The text of the last failure of `open` or `read`; null if there was none. Success doesn't clear
  // it, and the other operations report failure by their result only.
  ZtbString getErrorMessage();

  // The number of the file's encoding, never -1 while it is open; -1 if it is closed. As in
  // ZtbTxtFile, a file opened for reading with -1 is judged by its first 64 KiB.
  int getencoding();

  // Reads up to `size` bytes: first what was pushed back, the rest from the file at its position.
  // Gives the bytes, less than `size` only at the end of the file and 0 when nothing is left; a
  // size above INT_MAX counts as that. No terminator is added.
  //
  // -1 if the file is closed, and on failure, with a text set; pushed-back bytes that came first
  // are then in the buffer, and `tell` counts them.
  int read(char* buffer, unsigned int size);

  // Writes `count` bytes at the position of the file; pushed-back bytes stay for the next `read`.
  // False if the file is closed or opened for reading, for a negative count or null bytes, and if
  // the system doesn't take all of them: `tell` then stays, while the file may have been written
  // in part, so position it anew. A count of 0 gives true for any open file.
  bool write(char const* bytes, int count);

  // The bytes of the file on disk, mark included; asked anew by path each time, so 0 if the file
  // has been removed, if it can't be asked, and if this object is closed.
  __int64 size();

  // The position of the next byte that `read` gives: `unread` lowers it.
  __int64 tell();

  // Goes to a record, counted from 0, in records of `recordLength` bytes, behind the mark that
  // `open` found. The offset, `record` times `recordLength`, is computed in 32 signed bits and
  // wraps: beyond 2 GiB (2,147,483,647 bytes) a record isn't reached by its number. Read on from
  // one that is.
  //
  // A record behind the end can be gone to; what `write` leaves out reads as zeros. False, with the
  // position as it was, if the file is closed or the offset lies before the start. Pushed-back
  // bytes stay and are read first: then `tell` is ahead of the file by them, until the next
  // recseek. Costs no system call.
  bool recseek(int record, int recordLength);

  // Pushes a copy of the bytes back, to be read before all others; they needn't be what was read.
  // The last ones pushed come first, each call's in their order. The file isn't touched, and isn't
  // asked: bytes pushed back on a closed object are dropped by the next `open` or `close`, and make
  // `tell` negative until then. A count of 0 does nothing and gives true. False, with nothing
  // changed, without memory and for null bytes.
  bool unread(char const* bytes, unsigned int count);

  // Convert a field between the file's encoding, which outlives `close`, and UTF-8: `encode` from
  // the file to UTF-8, `decode` from UTF-8 to the file. The source is terminated, by as many zero
  // bytes as a code unit of its encoding has (2 in UTF-16), and needn't be aligned. `targetSize` is
  // in bytes and counts the terminator.
  //
  // The bytes written without the terminator, whole characters only, as many as fit; with a null
  // target, the bytes that all of it needs. Ill-formed parts become U+FFFD (or "?" where the
  // encoding has none). -1 if no file was opened yet, for a null source, and if the system can't
  // convert; -2 if the file's encoding lacks a character. The target is then empty, but left alone
  // for a null source.
  int encode(char* target, int targetSize, char const* bytes);
  int decode(char* target, int targetSize, char const* text);

 private:
  struct ZTB_LOCAL State;
  State* mState;
  ZtbString mErrorMessage;
};

#endif
