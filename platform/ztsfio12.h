// SPDX-License-Identifier: MIT
//
// Files: encoded text files, status, paths, directories.

#ifndef ZTSFIO12_H
#define ZTSFIO12_H

#include <cstddef>
#include <cstdint>

struct NpTextFile;
struct NpDirectory;
struct NpFile;

// ---- Opening flags and error codes ------------------------------------------------------------

// The bits of a flags word, for text files and raw files alike. 9 reads an existing file, 78 writes
// and replaces what is there, 14 writes and keeps it, 130 only asks whether writing is allowed.
enum NpFileFlags : int {
  np_fio_flag_read = 1,       // read; the file must exist
  np_fio_flag_write = 2,      // write; a raw file may be read back, if it can be and isn't a pipe
  np_fio_flag_create = 4,     // make the file if it isn't there
  np_fio_flag_share = 8,      // others may have the file open too; on Linux that is always so
  np_fio_flag_truncate = 64,  // empty an existing file
  np_fio_flag_access = 128,   // test the access only: nothing is opened, made or changed
};

// Codes of failure, frozen. What the system reports comes as np_fio_err_system plus its errno
// value, so that neither collides with the other.
enum NpFileError : int {
  np_fio_err_encoding = 101,         // unknown encoding, or one that the system can't convert
  np_fio_err_direction = 102,        // reading a file opened for writing, or the reverse
  np_fio_err_small_buffer = 103,     // no room for one character and the terminator
  np_fio_err_unrepresentable = 104,  // the file's encoding lacks a character of the text
  np_fio_err_system = 1000,
};

// A description in English of a code of this interface: static text, never freed, safe from any
// thread. Null for 0 and for a code that nobody knows.
char const* np_fio_errdesc(int code);

// ---- Text files ---------------------------------------------------------------------------------
//
// Text in an encoding of ztschr12 on the file's side, UTF-8 on the caller's. A file is open for
// reading or for writing, never both. These hold for all functions:
//
// - A result below 0 is a failure: the code of NpFileError as a negative number. np_fio_text_geterr
//   keeps it. A null `file` fails as an invalid argument, and the wrong direction with
//   np_fio_err_direction.
// - Counts are bytes of UTF-8, but np_fio_text_skip, np_fio_text_skipline and the limit of
//   np_fio_text_read count characters. A count too large for an int is INT_MAX.
// - Reading, LF, CR LF and CR are one line end each, wherever the buffers' borders fall. Bytes that
//   are ill-formed in the encoding become U+FFFD, one for each maximal ill-formed part, and so does
//   a NUL. The end of the file isn't final: what is appended afterwards is read by a later call.
// - Reading takes constant memory, two buffers of 64 KiB, whatever the length of file and line.
// - Writing isn't buffered: when a call gives its count, the system has the text, and a full disk
//   fails the call that met it, with as much of the text written as there was room for. One call is
//   one write to the system, so that it stays in one piece beside other appenders (in a pipe, up to
//   4096 bytes do). Interrupted and short writes go on. A closed pipe is a failure like any other
//   and raises no signal.
// - A file belongs to one thread at a time.

// The bits of `options` of np_fio_text_open; others are ignored.
enum NpTextOptions : int {
  // Reading: looks for a byte-order mark, which isn't delivered, and which decides the encoding
  // even against `encoding`. Without this bit a mark is text: U+FEFF.
  // Writing: puts a mark in front, if the encoding has one.
  np_fio_text_mark = 1,
  // Writing: puts no mark in front, also if np_fio_text_mark is there. With neither, UTF-16 and
  // UTF-32 get a mark and other encodings don't.
  np_fio_text_no_mark = 2,
};

// Opens `path` as its flags word says and gives the file in `*result`, to be ended with
// np_fio_text_close. 0, or a code (not negated) with `*result` null. A folder and a null path are
// refused. Opening a pipe waits for its other end.
//
// `encoding` is an encoding number, or np_enc_detect:
// - Reading: the mark if options allow it; UTF-8 if the text is well-formed; otherwise the set of
//   the user's locale, or Windows-1252 if that is unknown, UTF-8 or ASCII. This is decided from the
//   first block of up to 64 KiB that isn't all ASCII, wherever in the file it is (of a pipe, what
//   it has given by then): until then np_fio_text_getenc says UTF-8. A character cut at its end
//   speaks for neither. What is ill-formed in a file taken for UTF-8 later on becomes U+FFFD.
// - Writing with np_fio_flag_truncate: UTF-8.
// - Writing without: the encoding of the mark that the file has, or UTF-8.
//
// An unknown encoding fails with np_fio_err_encoding before the file is made or emptied.
//
// Writing, the mark goes to the file at once, but only if the file is empty then (two
// appenders that open an empty file at the same moment may both write one). A file opened
// without np_fio_flag_truncate is only ever written at its end, where the file's end is at that
// moment, so that appenders don't overwrite each other.
int np_fio_text_open(char const* path, int flags, int encoding, int options, NpTextFile** result);

// Ends a file. A null `file` does nothing. There is nothing left to write that could fail.
void np_fio_text_close(NpTextFile* file);

// Positions the file at its end: 0, or a negative code. A pipe being written is always there.
int np_fio_text_unwind(NpTextFile* file);

// Positions the file at the start of its text, behind the mark: 0, or a negative code with the
// position as it was. A file being written is overwritten from there, one that is only written at
// its end excepted. A detected encoding stays.
int np_fio_text_rewind(NpTextFile* file);

// Reads text across lines into `buffer`, whole characters only, as much as fits in `size` bytes
// with the terminator and at most `limit` characters; a negative limit is none. Each line end comes
// as one LF. Gives the bytes without the terminator, 0 at the end of the file or for a limit of 0.
//
// Fails with np_fio_err_small_buffer, taking nothing from the file, if the next character doesn't
// fit; 5 bytes hold any. On failure the buffer holds the empty text, if it has a byte at all. An
// error of the system that comes behind some text is reported by the next call.
int np_fio_text_read(NpTextFile* file, int limit, char* buffer, unsigned size);

// Reads the rest of the line, or as much as fits, as np_fio_text_read does, but stops at the line
// end, takes it and doesn't deliver it. `*complete`, which may be null, is 1 if a line end was
// taken and 0 otherwise, also on failure. A line that just fits is complete at once. 0 and
// incomplete is the end of the file, and nothing else is.
int np_fio_text_readline(NpTextFile* file, char* buffer, unsigned size, int* complete);

// Writes UTF-8 text as it stands: up to its terminator, or `count` bytes if that comes first; a
// negative count is none. Ill-formed UTF-8 goes out as U+FFFD (or "?" where the encoding has none),
// also a character that `count` cuts. Gives the bytes taken.
//
// A character that the encoding lacks fails the call with np_fio_err_unrepresentable and nothing of
// its text written. Memory: none for well-formed text in UTF-8 files, the encoded text for others.
int np_fio_text_write(NpTextFile* file, char const* text, int count);

// The same for the whole text and a line end, LF, behind it, which counts as 1.
int np_fio_text_writeline(NpTextFile* file, char const* text);

// Reads over `count` characters, a line end being one, and gives how many there were. 0 for a count
// of 0 or less.
int np_fio_text_skip(NpTextFile* file, int count);

// Reads over the rest of the line with its line end, and gives the characters, the line end being
// one: so 0 is the end of the file, and nothing else is.
int np_fio_text_skipline(NpTextFile* file);

// The encoding number of the file, never np_enc_detect; that only for a null `file`.
int np_fio_text_getenc(NpTextFile* file);

// The code of the last failure of the file, positive; 0 if there was none. Success doesn't clear
// it.
int np_fio_text_geterr(NpTextFile* file);

// ---- Raw files ----------------------------------------------------------------------------------

// Opens `path` as its flags word says (NpFileFlags) and gives the file in `*result`, to be ended
// with np_fio_close. A folder is refused. Opening a pipe waits for its other end, unless it is
// opened for both reading and writing.
//
// With a null `result` or np_fio_flag_access it is a mere test of access and gives no file: 0 if
// the file is there and this process may read it, write it or both, as the flags say. Nothing is
// then opened, so that nothing waits, nobody who watches the file is woken, and no device starts;
// a program that is running, which the system doesn't open for writing, passes all the same.
//
// 0, or a code with `*result` null. A null or empty path is a failure.
int np_fio_open(char const* path, int flags, NpFile** result);

// Ends a file. A null `file` does nothing. There is nothing left to write that could fail.
void np_fio_close(NpFile* file);

// Non-zero if both are one and the same file, by whatever paths and links they were opened. Zero if
// not, and with a null file.
int np_fio_issame(NpFile const* first, NpFile const* second);

// Makes an empty file that nobody has yet, opens it for reading and writing, and gives it in
// `*result`, to be ended with np_fio_close and removed with np_fio_unlink. Only the user of this
// process may open it (mode 0600 less the process's mask), and programs that the process starts
// don't inherit it. Its name is `prefix` (null is empty; no "/") and six random characters.
//
// A null or empty `directory` is the system's: the one that the variable TMPDIR names, if that is
// an absolute path of a folder in which this process may make files, otherwise "/tmp".
//
// `pathResult` receives the path, `directory` and the name joined: so it is relative if `directory`
// is. `pathSize` is its size in bytes, with the terminator.
//
// 0, or a code with the empty text in `pathResult`, `*result` null and no file left behind; a path
// that doesn't fit is such a failure (ENAMETOOLONG).
int np_fio_tmpfile(char const* directory, char const* prefix, char* pathResult, unsigned pathSize,
                   NpFile** result);

// Of an open file, these hold for the functions below:
//
// - Bytes are bytes: nothing is decoded, and a line end is LF.
// - There is one position for reading and writing, 0 after opening. The functions may be mixed in
//   any order. Lines are read ahead, 64 KiB at most; what somebody else changes in those bytes
//   meanwhile doesn't show until the file is positioned anew.
// - Writing isn't buffered: after the call, the system has the bytes.
// - A null `file` fails as an invalid argument. A file belongs to one thread at a time.

// Reads `count` bytes into `buffer`, less only if the file ends first: interrupted and short reads
// go on, and of a pipe it waits for them. A count above INT_MAX is INT_MAX. Gives the bytes, 0 at
// the end of the file (which isn't final: what is appended later is read by a later call), or a
// negative code. A failure behind some bytes is told by the next call.
int np_fio_getb(NpFile* file, char* buffer, unsigned count);

// Reads one line with its LF, or `size` - 1 bytes of it if it is longer, the rest coming with the
// next call, and puts a terminator behind. Gives the bytes without the terminator, which tell the
// line's length also where it has a NUL; 0 at the end of the file and nowhere else. The last line
// may lack its LF.
//
// A negative code on failure, with the empty text in `buffer`: np_fio_err_small_buffer for a `size`
// below 2. A failure behind some bytes is told by the next call. Costs a system call for each
// 64 KiB, not for each line.
int np_fio_gets(NpFile* file, char* buffer, int size);

// Writes the texts in their order, up to the null pointer that must end them, without anything
// between them. Up to 16 texts are one write to the system; interrupted and short writes go on.
// Gives the bytes, INT_MAX if they are more, or a negative code with an unknown part written, the
// position being behind it. A full disk is a failure, and so is a closed pipe, which raises no
// signal.
//
//   np_fio_putm(file, name, ": ", value, "\r\n", nullptr);
int np_fio_putm(NpFile* file, char const* text, ...) __attribute__((sentinel));

// Writes `count` bytes, all of them: interrupted and short writes go on. Gives the bytes, or a
// negative code as np_fio_putm does; a negative count and a null `bytes` with a count are invalid.
int np_fio_putb(NpFile* file, char const* bytes, int count);

// Where an offset counts from. Frozen.
enum NpFileOrigin : int {
  np_fio_from_start = 0,
  np_fio_from_here = 1,
  np_fio_from_end = 2,
};

// Moves the position by `offset` bytes from an NpFileOrigin, and gives the new one from the start.
// It may lie behind the end; the gap reads as zeros once something is written there. A negative
// code, with the position as it was, for another origin, a place before the start or beyond
// 2^63 - 1, and a pipe. Costs no system call in a regular file, except from its end.
long long np_fio_seek64(NpFile* file, long long offset, int origin);

// The same for small files. All ones (0xFFFFFFFF) on failure, with the position as it was; a place
// whose number the result can't tell, 4294967295 and on, is a failure.
unsigned np_fio_seek(NpFile* file, int offset, int origin);

// Cuts the file at its position, which stays; one that ends before is filled up with zeros to it.
// 0 or a code.
int np_fio_trunc(NpFile* file);

// Removes the file at `path`; a link, not what it leads to. Who has it open keeps it. 0 or a code;
// a folder is refused.
int np_fio_unlink(char const* path);

// ---- Status -------------------------------------------------------------------------------------

// What a file is. Frozen.
enum NpFileType : std::uint32_t {
  np_type_unknown = 0,
  np_type_directory = 1,
  np_type_file = 2,
  np_type_link = 3,  // only a link whose target isn't there: links are followed
  np_type_pipe = 4,
  np_type_socket = 5,
  np_type_character_device = 6,
  np_type_block_device = 7,
};

// The status of a file in five 32-bit words. A value beyond the end of its word is the nearest that
// the word holds: a file of 4 GiB has the size 4294967295, one changed in 1969 the time 0.
struct NpStatus {
  std::uint32_t device;     // tells the file system; equal for two files on the same one
  std::uint32_t mode;       // the permission bits of chmod, with set-uid, set-gid and sticky
  std::uint32_t timestamp;  // last change of the content, in seconds since 1970-01-01 UTC
  std::uint32_t size;       // bytes
  std::uint32_t type;       // NpFileType
};
static_assert(sizeof(NpStatus) == 20);

// The same in wider words; the size stands at bytes 16 to 23.
struct NpStatus64 {
  std::uint64_t device;
  std::int64_t timestamp;
  std::int64_t size;
  std::uint32_t mode;
  std::uint32_t type;
};
static_assert(sizeof(NpStatus64) == 32 && offsetof(NpStatus64, size) == 16);

// The status of the file at `path`, or at the end of the links there. 0, or a code with `*result`
// left alone.
int np_fio_stat(char const* path, NpStatus* result);
int np_fio_stat64(char const* path, NpStatus64* result);

// ---- Paths --------------------------------------------------------------------------------------
//
// Pure functions of text: no file is looked at. The separator is "/" alone; every other byte, a
// backslash too, is part of a name. A null path counts as the empty one. Sizes are in bytes and
// count the terminator. No buffer may overlap an input.

// Joins two paths with exactly one separator between them, whatever separators `first` ends in:
// "a" and "b", "a/" and "b", "a//" and "b" all give "a/b", and "/" and "b" give "/b". An empty path
// gives the other one unchanged, and an absolute `second` is taken as it is. 0, or non-zero with
// `result` empty if it doesn't fit.
int np_fio_pcat(char const* first, char const* second, char* result, unsigned resultSize);

// Splits a path at its last separator into folder and last component. The separators between the
// two belong to neither, but the root keeps one. What is split and joined again names the same
// file. A part whose buffer is null or has size 0 isn't wanted. 0, or non-zero with both buffers
// empty if a wanted part doesn't fit; neither part is ever longer than the path.
//
//   path     directory  name           path     directory  name
//   "/a/b"   "/a"       "b"            "a//b"   "a"        "b"
//   "b"      ""         "b"            "//b"    "/"        "b"
//   "/b"     "/"        "b"            "/"      "/"        ""
//   "a/"     "a"        ""             ""       ""         ""
int np_fio_pparse(char const* path, char* directory, unsigned directorySize, char* name,
                  unsigned nameSize);

// ---- Directories --------------------------------------------------------------------------------

// Bits of the open word. np_dir_entries is part of every word; a word with other bits is refused.
enum NpDirFlags : int {
  np_dir_entries = 1 | 4,   // the entries with their status, in the order of their names
  np_dir_no_dots = 2,       // leave out "." and ".."
  np_dir_directories = 16,  // only directories and links to directories
};

// Codes of np_dir_open with a meaning of their own; every other failure is a code of NpFileError.
// Frozen.
enum NpDirError : int {
  np_dir_err_missing = 2,        // there is nothing at the path
  np_dir_err_not_directory = 3,  // what is there, or a part of the path, is no directory
  np_dir_err_access = 4,         // this process may not list it
};

// The buffer, in bytes, that a path needs at most: the longest that the system takes, its
// terminator, and one byte more for callers who keep the last byte to themselves.
extern int const np_dir_pathlen;

// Opens a listing of the directory at `path`. The names are read here, all at once, and sorted
// bytewise; memory grows with their number. Files that come later don't show, those that go before
// their turn are left out. 0 and the listing in `*result`, to be ended with np_dir_close; or a code
// and null. One listing belongs to one thread at a time.
int np_dir_open(char const* path, int openFlags, NpDirectory** result);

// Moves to the next entry: the path given to np_dir_open joined with its name, and its status as of
// now, through links. Names are delivered as the bytes that they are, in whatever character set.
// - An entry whose path doesn't fit the buffer is skipped.
// - A link whose target isn't there, or that leads to itself, is np_type_link with size 0.
// - An entry whose status is refused is delivered with the type that the directory tells, or
//   np_type_unknown, and zeros elsewhere.
// 0 with an entry. Otherwise the walk is over and buffer and status are left alone.
int np_dir_next_stat(NpDirectory* directory, char* pathBuffer, unsigned pathBufferSize,
                     NpStatus* result);

// Ends a listing. A null `directory` does nothing.
void np_dir_close(NpDirectory* directory);

#endif
