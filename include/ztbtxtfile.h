// SPDX-License-Identifier: MIT
//
// A line-oriented text file in any encoding of the library; callers see UTF-8 on their side of it.
//
// Reading, LF, CR LF and CR each end a line, also mixed within a file. Ill-formed bytes come as
// U+FFFD, one for each maximal ill-formed part, and so does a NUL, so that what is read is always a
// well-formed, terminated text. A file of any size is read in constant memory (about 130 KB).
// Writing, a line ends with LF. Nothing is held back: when a call gives true, the system has the
// text. A full disk is therefore seen by the call that met it, as far as the file system tells at
// the write, and `close` has nothing to lose.
//
// An object belongs to one thread at a time. Files opened with ModeAppend may be written by several
// objects and processes at once: in a regular file, what one call writes stays in one piece. Needs
// the library up: without it, a failure has no text.

#ifndef ZTBTXTFILE_H
#define ZTBTXTFILE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Example: the lines of a file, whatever their length.
//
//   ZtbTxtFile file;
//   if (!file.open("notes.txt", ZtbTxtFile::ModeRead, -1, 1)) fail(file.getErrorMessage());
//   char piece[1024];
//   bool complete = false;
//   ZtbString line("", true);
//   int n = 0;
//   while ((n = file.readln(piece, sizeof piece, &complete)) >= 0) {
//     line.append(piece, nullptr);
//     if (complete) {
//       use(line);
//       line.assign("");
//     }
//   }
//   if (line.length() > 0) use(line);  // the last line had no line end
//   if (n == -1) fail(file.getErrorMessage());
class ZTB_API ZtbTxtFile {
 public:
  // What a file is opened for.
  enum Mode {
    ModeRead = 0,    // read an existing file
    ModeWrite = 1,   // write; makes the file, or empties the one that is there
    ModeAppend = 2,  // write at the end; makes the file if it isn't there
  };

  // A closed file. Throws std::bad_alloc without memory, the only operation here that throws.
  ZtbTxtFile();
  ZtbTxtFile(ZtbTxtFile const&) = delete;
  ZtbTxtFile& operator=(ZtbTxtFile const&) = delete;
  // Closes the file if it is open.
  virtual ~ZtbTxtFile();

  // Opens the file at `path`; an open one is closed first, so a failure leaves a closed file.
  //
  // `encoding` is 0 for UTF-8, 7 and 8 for UTF-16 big- and little-endian, 24 for Windows-1252, or
  // another number of docs/text-files.md. -1 chooses: reading, by the byte-order mark if option 1
  // allows it, then UTF-8 if the first block (up to 64 KiB) that isn't all ASCII is that, then the
  // set of the user's locale (Windows-1252 if that is UTF-8 or ASCII, or unknown); writing, UTF-8;
  // appending, what the mark of the existing file says, or UTF-8.
  //
  // `options` is a sum. Reading, 1 looks for a byte-order mark, which isn't delivered and settles
  // the encoding even against `encoding`; without it a mark is read as U+FEFF. Writing to a file
  // that is new or empty, 1 writes a mark and 2 forbids it; with neither, UTF-16 and UTF-32 files
  // get one and others don't.
  //
  // False on failure, with a text for getErrorMessage; false without a new text for an unknown
  // mode. A folder or a null path is a failure. An unknown encoding is refused before the file is
  // touched. Opening a named pipe waits for its other end.
  bool open(char const* path, Mode mode, int encoding, int options);

  // Closes the file and gives true, also for a closed one. `tell` is 0 from then on.
  bool close();

  // The text of the last failure of `open` or `readln`; null if there was none. Success doesn't
  // clear it, and the other operations report failure by their result only.
  ZtbString getErrorMessage();

  // The number of the file's encoding, never -1 while it is open; -1 if it is closed. A file
  // opened for reading with -1 counts as UTF-8 as long as what was read ahead is all ASCII.
  int getencoding();

  // Reads as much text as fits into `size` bytes with the terminator, across lines, and gives its
  // bytes of UTF-8. Each line end comes as one LF. A character is never split. 0 at the end of the
  // file; -1 if the file is closed or opened for writing, on an error, and for a buffer that
  // doesn't hold the next character (5 bytes hold any). On failure nothing of the file is lost, and
  // the buffer holds the empty text; a closed file leaves it untouched.
  int read(char* buffer, unsigned int size);

  // Reads a line, or as much of it as fits into `size` bytes with the terminator, and gives the
  // bytes of UTF-8 without the line end. `complete`, which may be null, tells whether the line end
  // was taken. A longer line comes in pieces: the next call goes on where this one stopped, and no
  // character is split between them. A line that just fits is complete at once. An empty line
  // gives 0 and complete; a last line without line end isn't complete.
  //
  // -2 at the end of the file. -1 on failure: a text is set, unless the file is closed; a buffer
  // that doesn't hold the next character (5 bytes hold any) is a failure too.
  int readln(char* buffer, unsigned int size, bool* complete);

  // Writes UTF-8 text as it stands: all of it, or at most `count` bytes if `count` isn't negative.
  // What is ill-formed, also where `count` cuts a character, goes out as U+FFFD, or as "?" where
  // the encoding has none.
  //
  // False if the file is closed or opened for reading, if `text` is null, if the system doesn't
  // take all of it, and if the file's encoding lacks one of the characters; in the last case
  // nothing of the call's text is written. Cost: one call of the system, so write whole lines.
  bool write(char const* text);
  bool write(char const* text, int count);

  // The same for a text and a line end behind it, in one piece.
  bool writeln(char const* text);

  // The bytes of the file as they lie on disk, mark included; asked anew by path each time, so 0
  // if the file has been removed, if it can't be asked, and if this object is closed.
  __int64 size();

  // The sum of the counts since `open` or `rewind`, not a place in the file: bytes of UTF-8 for
  // `read` and `readln` (which doesn't count line ends) and for what was written (line ends count
  // 1); characters for `skip` and `skipline`.
  __int64 tell();

  // Reads over `count` characters, each line end being one, and gives how many there were: less
  // than `count` at the end of the file. 0 for a negative count. -1 as in `read`.
  int skip(int count);

  // Reads over the rest of the line and its line end, and gives the characters, 1 for the line end
  // included, or INT_MAX for more; so 0 is the end of the file. -1 as in `read`.
  int skipline();

  // Goes back to the start of the text, behind the mark, and sets `tell` to 0. A file opened with
  // ModeWrite is then overwritten from there; one opened with ModeAppend is still written at its
  // end. -1 if the file is closed, otherwise 0, even for a pipe, which stays where it is.
  int rewind();

 private:
  friend bool ztbTxtFileLacksMemory(ZtbTxtFile const& file);

  struct ZTB_LOCAL State;
  State* mState;
  ZtbString mErrorMessage;
};

#endif
