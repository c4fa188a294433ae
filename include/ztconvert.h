// SPDX-License-Identifier: MIT
//
// UTF-8 to the 16-bit text of wide interfaces, and back: UTF-16 in the machine's byte order, ended
// by a unit of 0.
//
// Characters beyond U+FFFF are surrogate pairs. Nothing is refused: what is ill-formed in UTF-8
// becomes U+FFFD, one for each maximal ill-formed part (the longest start of a well-formed
// sequence, or else one byte), and so does each surrogate that isn't half of a pair.
//
// Lengths are in units of 16 bits where nothing else is said. Mind that the two classes count
// differently: ZtUtf8ToUC counts the terminator in, ZtUCToUtf8 doesn't.
//
// Buffers come from the memory pool: they need ztbInitialize before and go with the last
// ztbShutdown, and without the pool each allocation fails. An object belongs to one thread at a
// time. Nothing throws.

#ifndef ZTCONVERT_H
#define ZTCONVERT_H

#include "ztbdefs.h"

// Takes 16-bit text and gives it as UTF-8. The caller writes into a buffer that the object owns.
//
//   ZtUCToUtf8 converter;
//   if (!converter.set(units)) return outOfMemory();
//   readTitle(converter.getUCBuffer(), units);
//   use(converter.utf8String());
class ZTB_API ZtUCToUtf8 {
 public:
  // No buffers, length 0.
  ZtUCToUtf8();
  ZtUCToUtf8(ZtUCToUtf8 const&) = delete;
  ZtUCToUtf8& operator=(ZtUCToUtf8 const&) = delete;
  ~ZtUCToUtf8();

  // Makes a buffer for `length` units and a terminator behind them, and writes the terminator; the
  // units in front of it are the caller's to fill, and unspecified until then. The buffers of an
  // earlier `set` are freed, with all pointers into them. A length of 0 gives true and no buffer.
  //
  // False if memory ran out, with no buffer and bufLength as asked for; also for a negative
  // length, with bufLength 0.
  bool set(int length);

  // The buffer that `set` made: bufLength units and the terminator, which the caller leaves alone.
  // Null if there is none. Good until the next `set`.
  unsigned short* getUCBuffer();

  // The text of the buffer, up to its first terminator, as terminated UTF-8; the empty text if
  // there is no buffer. Made by the first call and kept until the next `set`, so that what is
  // written to the buffer meanwhile doesn't show, and a second call gives the same pointer. Null
  // if memory ran out; a later call tries again.
  char* utf8String();

  // The units that `set` was asked for, without the terminator, and their bytes (at most INT_MAX).
  int bufLength();
  int bufLengthBytes();

  // Frees the buffers and deletes this object, which `new` must have made: called on a null
  // pointer, it does nothing. The only member that may be. (A sanitizer that looks for calls on
  // null pointers needs to be told so at the call.)
  void release();

 private:
  unsigned short* ucBuffer;
  char* utf8Buffer;
  int length;
};

// Takes UTF-8 and holds it as 16-bit text. ZtbString::asUCS2 gives one of these.
//
//   ZtUtf8ToUC* const wide = text.asUCS2();
//   if (wide != nullptr) setTitle(wide->ucString());
//   wide->release();
class ZTB_API ZtUtf8ToUC {
 public:
  // No buffer, length 0.
  ZtUtf8ToUC();
  ZtUtf8ToUC(ZtUtf8ToUC const&) = delete;
  ZtUtf8ToUC& operator=(ZtUtf8ToUC const&) = delete;
  ~ZtUtf8ToUC();

  // Converts `text` into a buffer of just its size. The buffer of an earlier `set` is freed. A null
  // text gives true, with no buffer and bufLength 0; so does one whose length no int holds. False
  // if memory ran out, with no buffer and bufLength as needed. `text` mustn't lie in the buffer.
  bool set(char const* text);

  // The terminated 16-bit text; null if there is none. Good until the next `set`.
  unsigned short* ucString();

  // The units of the text with its terminator, so 1 for the empty text, and their bytes (at most
  // INT_MAX).
  int bufLength();
  int bufLengthBytes();

  // As ZtUCToUtf8::release.
  void release();

 private:
  int length;
  unsigned short* ucBuffer;
};

// Convert terminated text into the caller's buffer of `targetSize` bytes or units, terminator
// included, without an allocation. The result is always terminated: of a text that doesn't fit, the
// target gets as many whole characters as leave room for the terminator. A null text counts as the
// empty one. A null target and a size below 1 are left alone. Text and target mustn't overlap.
// Nothing tells whether all of it fitted; the classes above take text of any length.
ZTB_API void convertUCToUtf8(unsigned short* text, char* target, int targetSize);
ZTB_API void convertUtf8ToUC(char* text, unsigned short* target, int targetSize);

#endif
