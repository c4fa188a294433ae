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
  np_fio_flag_write = 2,      // write; a raw file may be read back through the same handle
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

int np_fio_text_open(char const* path, int flags, int encoding, int options, NpTextFile** result);
void np_fio_text_close(NpTextFile* file);
int np_fio_text_unwind(NpTextFile* file);
int np_fio_text_rewind(NpTextFile* file);
int np_fio_text_read(NpTextFile* file, int limit, char* buffer, unsigned size);
int np_fio_text_readline(NpTextFile* file, char* buffer, unsigned size, int* complete);
int np_fio_text_write(NpTextFile* file, char const* text, int count);
int np_fio_text_writeline(NpTextFile* file, char const* text);
int np_fio_text_skip(NpTextFile* file, int count);
int np_fio_text_skipline(NpTextFile* file);
int np_fio_text_getenc(NpTextFile* file);
int np_fio_text_geterr(NpTextFile* file);

// ---- Raw files ----------------------------------------------------------------------------------

// Opens `path` as its flags word says (NpFileFlags) and gives the file in `*result`, to be ended
// with np_fio_close. A folder is refused. Opening a pipe waits for its other end.
//
// With a null `result` or np_fio_flag_access it is a mere test of access and gives no file: 0 if
// the file is there and this process may read it, write it or both, as the flags say. Nothing is
// then opened, so that nothing waits, nobody who watches the file is woken, and no device starts;
// a program that is running, which the system doesn't open for writing, passes all the same.
//
// 0, or a code with `*result` null. A null or empty path is a failure.
int np_fio_open(char const* path, int flags, NpFile** result);

// Ends a file. A null `file` does nothing.
void np_fio_close(NpFile* file);

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
