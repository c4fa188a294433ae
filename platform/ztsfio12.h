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
char const* np_fio_errdesc(int code);

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
