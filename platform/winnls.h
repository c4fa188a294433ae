// SPDX-License-Identifier: MIT
//
// Text between UTF-8 and UTF-16, whose code units are 16 bits wide in the machine's byte order.
//
// These hold for both functions:
//
// - The only code page is kCodePageUtf8, and the only flags are 0; others fail.
// - Lengths and sizes count code units: bytes of UTF-8, and units of 16 bits of UTF-16. A negative
//   source length means the text up to and including its terminator; otherwise it is that many
//   units, among which a NUL is a character like any other. The terminator counts in the result
//   exactly where the source length covers it, and nothing is added behind.
// - With a target size of 0 nothing is written, the target may be null, and the result is the size
//   that the whole text needs. Otherwise the result is the units written.
// - 0 is failure: a null source, a source length of 0, a negative target size, a null target with a
//   size, a result that no int holds, or a text that doesn't fit. Of a text that doesn't fit, the
//   target holds as many whole characters as leave room for a terminator, and the terminator; the
//   other failures leave it alone.
// - Source and target mustn't overlap. Nothing is kept, allocated or locked: any thread at any
//   time.

#ifndef ZT_WINNLS_H
#define ZT_WINNLS_H

inline constexpr unsigned kCodePageUtf8 = 65001;

// UTF-8 to UTF-16. A character beyond U+FFFF becomes a surrogate pair. What is ill-formed becomes
// U+FFFD, one for each maximal ill-formed part (the practice that the Unicode Standard recommends):
// the longest start of a well-formed sequence, or else one byte.
//
//   int const units = MultiByteToWideChar(kCodePageUtf8, 0, text, -1, nullptr, 0);
int MultiByteToWideChar(unsigned codePage, unsigned flags, char const* source, int sourceBytes,
                        unsigned short* target, int targetUnits);

// UTF-16 to UTF-8. Each surrogate that isn't half of a pair becomes U+FFFD. UTF-8 has every
// character, so `defaultChar` isn't used, and `usedDefaultChar` is set to 0 unless it is null.
int WideCharToMultiByte(unsigned codePage, unsigned flags, unsigned short const* source,
                        int sourceUnits, char* target, int targetBytes, char const* defaultChar,
                        int* usedDefaultChar);

#endif
