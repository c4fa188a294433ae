// SPDX-License-Identifier: MIT
//
// Files: encoded text files, status, paths, directories.

#ifndef ZTSFIO12_H
#define ZTSFIO12_H

#include <cstdint>

struct NpTextFile;
struct NpDirectory;
struct NpFile;

// The status of a file in five 32-bit words.
struct NpStatus {
  std::uint32_t device;
  std::uint32_t mode;
  std::uint32_t timestamp;
  std::uint32_t size;
  std::uint32_t type;
};
static_assert(sizeof(NpStatus) == 20);

// The status of a file with its size in 64 bits, at bytes 16 to 23.
struct NpStatus64 {
  std::uint64_t device;
  std::int64_t timestamp;
  std::int64_t size;
  std::uint32_t mode;
  std::uint32_t type;
};
static_assert(sizeof(NpStatus64) == 32);

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

// ---- Raw files, status, paths, directories
// --------------------------------------------------------

int np_fio_open(char const* path, int flags, NpFile** result);
int np_fio_stat(char const* path, NpStatus* result);
int np_fio_stat64(char const* path, NpStatus64* result);
int np_fio_pcat(char const* first, char const* second, char* result, unsigned resultSize);
int np_fio_pparse(char const* path, char* directory, unsigned directorySize, char* name,
                  unsigned nameSize);

extern int const np_dir_pathlen;
int np_dir_open(char const* path, int openFlags, NpDirectory** result);
int np_dir_next_stat(NpDirectory* directory, char* pathBuffer, unsigned pathBufferSize,
                     NpStatus* result);
void np_dir_close(NpDirectory* directory);

#endif
