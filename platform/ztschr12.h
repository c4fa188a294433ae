// SPDX-License-Identifier: MIT
//
// Characters: walking UTF-8 text, classes, case, and conversion between encodings.
//
// Rules that hold for every function here:
//
// 1. A text is a pointer to UTF-8 that ends with a NUL byte; it is never null unless a function
//    says so. Nothing behind the terminator is read, whatever stands before it.
// 2. A character is one code point in its well-formed UTF-8 sequence (RFC 3629), or one single byte
//    that doesn't begin such a sequence: a stray continuation byte, a byte of an overlong form, of
//    a surrogate, of a value above U+10FFFF, or of a sequence that is cut. Length, seek, tell, the
//    class tests and bufncopy all walk by this one rule, so they agree on every text.
// 3. Counts are in characters, sizes in bytes. A count that doesn't fit its type gives the type's
//    largest value; nothing wraps.
// 4. Nothing here keeps state, depends on the locale or allocates, except that np_uchar_encode and
//    np_uchar_decode may allocate while they run. Every function may be called from any thread at
//    any time, also before `main` and while statics are destroyed.

#ifndef ZTSCHR12_H
#define ZTSCHR12_H

#include <cstddef>

// Encoding numbers, frozen once released. They have no gaps, and new ones are added at the end.
enum NpEncoding : int {
  np_enc_detect = -1,  // for text files; no conversion here takes it
  np_enc_utf8 = 0,
  np_enc_ascii = 1,
  np_enc_iso8859_1 = 2,
  np_enc_iso8859_2 = 3,
  np_enc_iso8859_5 = 4,
  np_enc_iso8859_7 = 5,
  np_enc_iso8859_9 = 6,
  np_enc_utf16be = 7,
  np_enc_utf16le = 8,
  np_enc_iso8859_15 = 9,
  // The platform's wchar_t text: 32 bits wide on Linux, in the machine's byte order.
  np_enc_wide = 10,
  np_enc_utf32be = 11,
  np_enc_utf32le = 12,
  np_enc_iso8859_3 = 13,
  np_enc_iso8859_4 = 14,
  np_enc_iso8859_6 = 15,
  np_enc_iso8859_8 = 16,
  np_enc_iso8859_10 = 17,
  np_enc_iso8859_13 = 18,
  np_enc_iso8859_14 = 19,
  np_enc_iso8859_16 = 20,
  np_enc_koi8_r = 21,
  np_enc_windows1250 = 22,
  np_enc_windows1251 = 23,
  np_enc_windows1252 = 24,
  np_enc_windows1253 = 25,
  np_enc_windows1254 = 26,
  np_enc_windows1255 = 27,
  np_enc_windows1256 = 28,
  np_enc_windows1257 = 29,
  np_enc_windows1258 = 30,
  np_enc_windows874 = 31,
  np_enc_koi8_u = 32,
  // As Windows writes it (code page 932), a superset in which 5C is the backslash.
  np_enc_shift_jis = 33,
  np_enc_euc_jp = 34,
  np_enc_euc_kr = 35,
  np_enc_big5 = 36,
  np_enc_gb18030 = 37,
  np_enc_gbk = 38,
};

// What np_uchar_encode and np_uchar_decode give when they fail.
enum NpConvertFailure : int {
  np_conv_unknown = -1,          // no such encoding, or the system can't convert it
  np_conv_unrepresentable = -2,  // a character of the text doesn't exist in the encoding
};

// What np_uchar_toint gives for a byte that doesn't begin a well-formed sequence.
inline constexpr unsigned np_uchar_illformed = 0xFFFFFFFFu;

// The number of characters in `text`. Cost: one pass, several bytes a clock.
unsigned np_uchar_length(char const* text);

// The position `n` characters behind `text`, which may be the terminator. Null if the text has
// fewer characters than that, or if `n` is negative: a negative count counts as beyond the end.
// The result points into `text`, and may be written through only if `text` may.
char* np_uchar_seek(char const* text, int n);

// The number of characters that begin in [base, position): 0 if `position` isn't behind `base`. A
// position inside a character counts that character. `position` must not lie behind the
// terminator of the text at `base`, and `base` must be where a character begins.
unsigned np_uchar_tell(char const* base, char const* position);

// How many of the bytes [text, text + nBytes) there are in front of the first ill-formed one; a
// character that the end cuts is ill-formed, NUL is a character like any other. `nChars`, if not
// null, gets the number of characters that they are. Nothing behind the bytes is read. Cost: one
// pass, several bytes a clock.
std::size_t np_uchar_wellformed(char const* text, std::size_t nBytes, unsigned* nChars = nullptr);

// Copies whole characters of `source` into `target`, at most `nChars` of them, as many as fit in
// `targetCapacity` bytes with the terminator that is always written. Gives the bytes written
// without the terminator. A capacity of 0 writes nothing and gives 0. The two may be the same
// buffer or overlap. All of the text: `nChars` of UINT_MAX.
unsigned np_uchar_bufncopy(char* target, char const* source, unsigned targetCapacity,
                           unsigned nChars);

// The code point at `position`, with its width in bytes, 1 to 4, in `charBytes`.
//
// An ill-formed byte gives np_uchar_illformed and a width of 1. The terminator gives 0 and a width
// of 0, so that a caller who steps on by the width never leaves the text.
//
//   for (int width; unsigned c = np_uchar_toint(p, &width); p += width) use(c);
unsigned np_uchar_toint(char const* position, int* charBytes);

// Non-zero if the character at `position` has the Unicode property White_Space: U+0009 to U+000D,
// U+0020, U+0085, U+00A0, U+1680, U+2000 to U+200A, U+2028, U+2029, U+202F, U+205F, U+3000. Zero
// for everything else, for ill-formed bytes and the terminator. `charBytes` is set in every case,
// as np_uchar_toint sets it.
int np_uchar_isspace(char const* position, int* charBytes);

// Non-zero if the character at `position` is one of the digits "0" to "9"; zero for the digits of
// other scripts, which no number of the suite has, and for everything else. `charBytes` as above.
int np_uchar_isdigit(char const* position, int* charBytes);

// Non-zero if the character at `position` is one of ASCII, U+0001 to U+007F; zero for every other,
// for ill-formed bytes and the terminator. `charBytes` as above.
int np_uchar_isascii(char const* position, int* charBytes);

// Compares two texts without regard to case: below 0, 0, or above 0 as `a` comes before, with or
// behind `b`.
//
// Both are compared by code points after full Unicode case folding (so "STRASSE" and "straße" are
// equal), without regard to language and without normalization. An ill-formed byte is equal to the
// same byte only, and comes behind every character; two of them order by value. This is a strict
// weak ordering, fit for ordered containers. ASCII orders as in lower case: "_" before "a" and "A".
int np_uchar_icomp(char const* a, char const* b);

// A hash of a text without regard to case: texts that np_uchar_icomp finds equal have the same one.
// Below 2 to the power of 61; the lowest bits spread as well as any. For hash tables whose keys
// come from outside: for a random `seed`, two different folded texts of at most n code points meet
// in the lowest k bits with a probability of the order of n / 2^k, whoever chose them, so nobody
// who doesn't know the seed can slow such a table down. Not for what leaves the process.
unsigned long long np_uchar_ihash(char const* text, unsigned long long seed);

// Maps `source` to lower or upper case, each character by itself, as Unicode's simple mappings say;
// the number of characters never changes, the number of bytes may. U+00DF "ß" becomes U+1E9E "ẞ" in
// upper case, and that "ß" again in lower case; ligatures such as U+FB03 stay as they are. Neither
// language nor place in the word matters. Ill-formed bytes are kept as they are.
//
// With a null `target` nothing is written, `targetSize` isn't looked at, and the result is the
// bytes of the mapped text without terminator. Otherwise as many whole characters as fit in
// `targetSize` bytes are written with a terminator, and the result is the bytes written without it;
// a size of 0 writes nothing. The two buffers must not overlap.
unsigned np_uchar_lower(char const* source, char* target, unsigned targetSize);
unsigned np_uchar_upper(char const* source, char* target, unsigned targetSize);

// The number of the encoding called `name`, or -1 if it's unknown, null or empty. Case, "-" and "_"
// make no difference; the names of IANA's registry and of the C library are known, such as "utf8",
// "latin1", "ANSI_X3.4-1968" and "CP1252". "UTF-16" and "UTF-32" without an order are
// little-endian.
int np_uchar_getenc(char const* name);

// The preferred name of an encoding, such as "UTF-8"; null for a number that isn't one. Counting up
// from 0 to the first null lists them all. The text lives as long as the process.
char const* np_uchar_encname(int encoding);

// The bytes of one code unit of an encoding, which is also the size of its terminator: 1, 2 or 4;
// 0 for a number that isn't an encoding.
int np_uchar_encunit(int encoding);

// The encoding's byte-order mark and its size in bytes; null and 0 if it has none. Marks belong to
// UTF-8, and to UTF-16 and UTF-32 in either order.
char const* np_uchar_encmark(int encoding, int* markBytes);

// Converts `source` from an encoding into UTF-8. `source` ends with a NUL of the encoding's unit
// (two zero bytes in UTF-16, four in UTF-32 and wide text) and needn't be aligned. What is
// ill-formed becomes U+FFFD, one for each maximal ill-formed part.
//
// With a null `target` nothing is written, `targetSize` isn't looked at, and the result is the
// bytes of the whole UTF-8 text without terminator (INT_MAX if that is more). Otherwise as many
// whole characters as fit in `targetSize` bytes are written with a terminator, and the result is
// the bytes written without it; a size of 0 or less writes nothing and gives 0. Compare with the
// sizing call to know whether all of it fitted. np_conv_unknown on failure; the target is then
// empty.
int np_uchar_encode(int encoding, char const* source, char* target, int targetSize);

// Converts `text` from UTF-8 into an encoding, with sizes and result as in np_uchar_encode; the
// terminator that is written has the size of the encoding's unit, and must fit too. Ill-formed
// UTF-8 becomes U+FFFD, or "?" where the encoding has no U+FFFD. A character that the encoding
// doesn't have gives np_conv_unrepresentable, and the target is then empty: nothing is replaced
// silently.
int np_uchar_decode(int encoding, char const* text, char* target, int targetSize);

// End of the public interface.

// The bytes of the well-formed sequence that begins at `p`, or 0 if none does. A byte is only read
// if all before it belong to the sequence, so a terminator is never passed.
inline int np_uchar_sequence(char const* text) {
  auto const* const p = reinterpret_cast<unsigned char const*>(text);
  unsigned const lead = p[0];
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  unsigned const second = p[1];
  if ((second & 0xC0u) != 0x80) return 0;
  if (lead < 0xE0) return 2;
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)) return 0;
  if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) return 0;
  if ((p[2] & 0xC0u) != 0x80) return 0;
  if (lead < 0xF0) return 3;
  return (p[3] & 0xC0u) == 0x80 ? 4 : 0;
}

// The code point of a well-formed sequence of `bytes` bytes.
inline unsigned np_uchar_codepoint(char const* text, int bytes) {
  auto const* const p = reinterpret_cast<unsigned char const*>(text);
  switch (bytes) {
    case 1:
      return p[0];
    case 2:
      return (p[0] & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    case 3:
      return (p[0] & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    default:
      return (p[0] & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
  }
}

// What np_uchar_seek does for counts that pay for whole blocks.
char* np_uchar_seekfar(char const* text, int n);

inline unsigned np_uchar_toint(char const* position, int* charBytes) {
  auto const lead = static_cast<unsigned char>(*position);
  if (lead < 0x80) {
    *charBytes = lead != 0;
    return lead;
  }
  int const bytes = np_uchar_sequence(position);
  *charBytes = bytes == 0 ? 1 : bytes;
  return bytes == 0 ? np_uchar_illformed : np_uchar_codepoint(position, bytes);
}

inline int np_uchar_isspace(char const* position, int* charBytes) {
  unsigned const c = np_uchar_toint(position, charBytes);
  if (c < 0x80) return c == 0x20 || c - 0x09 < 5;
  return c == 0x85 || c == 0xA0 || c == 0x1680 || c - 0x2000 < 11 || c == 0x2028 || c == 0x2029 ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

inline int np_uchar_isdigit(char const* position, int* charBytes) {
  return np_uchar_toint(position, charBytes) - '0' < 10;
}

inline int np_uchar_isascii(char const* position, int* charBytes) {
  return np_uchar_toint(position, charBytes) - 1 < 0x7F;
}

inline char* np_uchar_seek(char const* text, int n) {
  constexpr int kFar = 64;
  if (n >= kFar || n < 0) return np_uchar_seekfar(text, n);
  for (; n > 0; --n) {
    if (*text == '\0') return nullptr;
    bool const isAscii = static_cast<signed char>(*text) > 0;
    int const bytes = isAscii ? 1 : np_uchar_sequence(text);
    text += bytes == 0 ? 1 : bytes;
  }
  return const_cast<char*>(text);
}

#endif
