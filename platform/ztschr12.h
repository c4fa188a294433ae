// SPDX-License-Identifier: MIT
//
// Characters: walking UTF-8 text, classes, case, and conversion between encodings.

#ifndef ZTSCHR12_H
#define ZTSCHR12_H

// Encoding numbers, frozen once released.
enum NpEncoding : int {
  np_enc_detect = -1,
  np_enc_utf8 = 0,
  np_enc_utf16be = 7,
  np_enc_utf16le = 8,
  np_enc_windows1252 = 24,
  // The platform's wchar_t text: 32 bits wide on Linux, in the machine's byte order.
  np_enc_wide = 10,
};

unsigned np_uchar_length(char const* text);
char* np_uchar_seek(char const* text, int n);
unsigned np_uchar_tell(char const* base, char const* position);
unsigned np_uchar_bufncopy(char* target, char const* source, unsigned targetCapacity,
                           unsigned nChars);
unsigned np_uchar_toint(char const* position, int* charBytes);
int np_uchar_isspace(char const* position, int* charBytes);
int np_uchar_icomp(char const* a, char const* b);
unsigned np_uchar_lower(char const* source, char* target, unsigned targetSize);
unsigned np_uchar_upper(char const* source, char* target, unsigned targetSize);
int np_uchar_getenc(char const* name);
int np_uchar_encode(int encoding, char const* source, char* target, int targetSize);
int np_uchar_decode(int encoding, char const* text, char* target, int targetSize);

#endif
