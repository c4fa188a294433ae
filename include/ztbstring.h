// SPDX-License-Identifier: MIT
//
// The string that every interface of the library takes and gives: NUL-terminated UTF-8 with
// copy-on-write sharing, a form that holds a caller's text without copying it, and a null state
// that is distinct from the empty string.
//
// Forms. A string is null (no text at all), static (it holds a pointer to text that outlives it) or
// shared (its text lives in a reference-counted body from the memory pool). Any write to a static
// string gives it a body of its own; a string never becomes static again. An empty text, static or
// shared, is not null.
//
// Units. Every position and count is in characters, as np_uchar_length counts them: a well-formed
// UTF-8 sequence is one, and so is each byte that begins none. Only cStrSize and the count of
// assignBytes are in bytes. A text has at most 2,147,483,647 bytes; what would be longer fails as
// if memory had run out.
//
// Lifetime. Bodies need the pool: before ztbInitialize, whatever has to copy text fails as it does
// without memory, while the static form and reading work at all times. The pool takes all bodies
// with it at the last ztbShutdown, so a string that is destroyed, set to null or overwritten after
// that lets go of its body without touching it; it must not be read or copied any more. All of them
// have to be gone before a further ztbInitialize, since nobody could tell their bodies from new
// ones.
//
// Threads. Different strings that share a body may be copied, read, changed and destroyed on
// different threads. One and the same object is not protected.
//
// Failure. Nothing throws. The only failure is memory, and each operation says what it then leaves.
// A `bool*` argument is an error flag that may be null: true means that the operation failed.

#ifndef ZTBSTRING_H
#define ZTBSTRING_H

#include "ztbdefs.h"
#include "ztbmempool.h"

class ZtUtf8ToUC;

// A text, or null.
//
//   ZtbString path("/var/tmp", true);              // holds the literal
//   path.append("/load.log", nullptr);             // now with a body of its own
//   path.find(ZtbString("load", true), 0);         // 9, in characters
class ZTB_API ZtbString {
 public:
  // The null string.
  ZtbString();

  // With `isStatic` true: holds `text` without copying it. The caller keeps the text alive and
  // unchanged for as long as this string or any copy of it lives; literals are what this is for.
  //   options.setOption(ZtbString("BASE/TEMP", true), path);
  // With `isStatic` false: a copy of `text`. A null `text` gives the null string, and so do a
  // failed copy and a static text of more than 2,147,483,647 bytes.
  ZtbString(char const* text, bool isStatic);

  // Shares the other's text: no allocation, one atomic increment for a shared body.
  ZtbString(ZtbString const& other);
  // Lets go of the text, which goes with the last string that shares it.
  virtual ~ZtbString();
  // Lets go of the text, and shares the other's.
  ZtbString const& operator=(ZtbString const& other);

  // True for the null string only; an empty text is not null.
  bool isNull() const;

  // Makes this the null string.
  void setNull();

  // The text, terminated; an empty text for the null string, never a null pointer. Belongs to the
  // string, and is good until the string is next changed or destroyed.
  char const* asCstr() const;

  // The number that the text spells in decimal, surrounding blanks allowed. 0 with the flag true
  // for the null string, for a text that is no number, and for one that doesn't fit.
  int asInt(bool* failed) const;
  __int64 asInt64(bool* failed) const;

  // As asInt, for a number with a "." and an exponent if need be, in every locale alike.
  double asDouble(bool* failed) const;

  // Characters of the text; 0 for null. Constant time.
  unsigned int length() const;

  // Bytes of the text with its terminator; 1 for null. Constant time.
  unsigned int cStrSize() const;

  // Negative, zero or positive as this text sorts before, with or behind the other. Null equals
  // null (a null pointer, or a null `other`) and sorts before every text, also the empty one. With
  // `caseSensitive` bytes are compared as unsigned values and the result is -1, 0 or 1; without,
  // characters are compared by Unicode case folding.
  int compare(char const* text, bool caseSensitive) const;
  int compare(ZtbString const& other, bool caseSensitive) const;

  // The first occurrence of `needle` at or behind character `start`, as a character index, or -1.
  // A negative `start` counts as 0. A null or empty needle is found nowhere.
  int find(ZtbString const& needle, int start) const;

  // The last occurrence, as a character index, or -1. Occurrences may overlap: "aa" is in "aaa"
  // at 1. A null or empty needle is found nowhere.
  int rfind(ZtbString const& needle) const;

  // Give this string a new text, and the string itself back: the decimal text of a number (a double
  // with up to 15 significant digits as by "%.15g", with a "." in every locale), or a copy of
  // `text`, whole or up to `nChars` characters (a negative count is the whole). A null `text` gives
  // an empty string, not a null one. `text` may point into this string. When memory runs out the
  // string is null.
  ZtbString const& assign(int number);
  ZtbString const& assign(__int64 number);
  ZtbString const& assign(unsigned __int64 number);
  ZtbString const& assign(double number);
  ZtbString const& assign(char const* text);
  ZtbString const& assign(char const* text, int nChars);

  // As assign, with as many whole characters as fit in `nBytes` bytes, up to the terminator or the
  // first byte that begins no well-formed character. `text` need not be terminated if it has
  // `nBytes` bytes. A null `text` or a count below 1 gives an empty string.
  ZtbString const& assignBytes(char const* text, int nBytes);

  // Add text at the end. On failure the string stays as it was and the flag is true; otherwise it
  // is false. Amortised by doubling, so a million appends of a character cost a few dozen copies.
  // `text` may point into this string, and `other` may be this string.
  //
  // The string form adds nothing for a null `other`. A null string takes over the other's form
  // instead: it shares the body, or becomes static and holds the other's pointer.
  // The text forms add up to `nChars` characters (a negative count is all), and nothing for a null
  // `text`; a null string becomes non-null by them, also when nothing is added.
  ZtbString& append(ZtbString const& other, bool* failed);
  ZtbString& append(char const* text, bool* failed);
  ZtbString& append(char const* text, int nChars, bool* failed);

  // A copy of up to `count` characters from character `start` on, or of the rest if `count` is
  // negative. Empty for a `start` at or past the end; null for the null string and when memory ran
  // out.
  ZtbString mid(unsigned int start, int count) const;

  // A copy of the last `count` characters: all for a count above the length, none for one below 1.
  // Null for the null string and when memory ran out.
  ZtbString right(int count) const;

  // A copy with the first `count` occurrences of `from` at or behind character `start` replaced by
  // `to`, all of them if `count` is negative. What `to` brings in is not searched. A null or empty
  // `from`, a `count` of 0 and a `start` past the end replace nothing; a null `to` removes. Null
  // for the null string and when memory ran out. Linear in the two texts.
  //   ZtbString("a-b-c", true).replace(dash, plus, 0, 1)    // "a+b-c"
  ZtbString replace(ZtbString const& from, ZtbString const& to, unsigned int start,
                    int count) const;

  // Keeps the first `nChars` characters; a string that isn't longer stays as it is. When memory
  // runs out the string is null.
  void truncate(unsigned int nChars);

  // Remove white space (Unicode White_Space), or every character equal to `codePoint`, from the
  // chosen ends, and give the characters removed. 0 with the string unchanged when memory runs out.
  // A string with nothing to remove is left alone. `codePoint` 0 matches nothing, and -1 matches
  // the bytes that begin no well-formed character.
  int trim(bool left, bool right);
  int trimChar(int codePoint, bool left, bool right);

  // Map the text, each character by itself, as Unicode's simple case mappings say, and U+00DF
  // (sharp s) to U+1E9E in upper case. The number of characters stays; the number of bytes may
  // change. False only when memory ran out, with the string unchanged.
  bool lowercase();
  bool uppercase();

  // A new converter that holds the text as UTF-16 (see ztconvert.h, which the caller includes): the
  // empty text for the null string. The caller gives it back with its `release`. Null when memory
  // ran out.
  ZtUtf8ToUC* asUCS2() const;

  // Gives this string the UTF-8 form of a UTF-16 text that ends with a unit of 0, and the string
  // itself back. A surrogate that isn't half of a pair becomes U+FFFD. A null `text` gives an empty
  // string. When memory runs out the string stays as it was, or is null.
  ZtbString const& fromUCS2(unsigned short const* text);

 private:
  struct ZTB_LOCAL InternalString;

  // The body's reference counter, which stands behind its first pointer.
  static int* referencesOf(InternalString* body);
  ZTB_LOCAL static void addReference(InternalString* body);
  // Drops a reference, and the body with the last one. After the pool's last stop there is nothing
  // left to drop.
  static void releaseInternal(InternalString* body);

  // A body with an unterminated buffer for `capacityFor` bytes and a terminator, or null.
  ZTB_LOCAL InternalString* newString(unsigned int capacityFor);
  // Installs a body in place of whatever the string holds.
  ZTB_LOCAL void replaceString(InternalString* body);
  // Add to the body, or make a new one; negative counts are unknown.
  ZTB_LOCAL bool doAppend(char const* text, int nChars, int nBytes);
  ZTB_LOCAL bool doAssign(char const* text, int nChars, int nBytes);
  // What the two text forms of append come to. Kept out of line of their short way.
  [[gnu::noinline]] ZTB_LOCAL ZtbString& appendText(char const* text, int nChars, bool* failed);
  // Gives a static string a body; on failure it stays static.
  ZTB_LOCAL bool convertStatic();
  // Makes the string writable in place: afterwards it has a body of its own.
  ZTB_LOCAL bool prepWrite();
  // Keeps `nBytes` bytes from `firstByte` on, which takes off `charsCut` characters.
  ZTB_LOCAL int keepBytes(unsigned int firstByte, unsigned int nBytes, unsigned int charsCut);
  // Rebuilds the text by a case mapping of ztschr12.
  ZTB_LOCAL bool mapCase(unsigned int (*mapping)(char const* source, char* target,
                                                 unsigned int size));

  InternalString* internal;
  char const* staticText;
  int staticChars;
  int staticBytes;
};

// Orders strings for containers by their bytes, null first.
class ZTB_API ZtbStringLess {
 public:
  // Whether `a` sorts before `b`, as compare(b, true) tells.
  bool operator()(ZtbString const& a, ZtbString const& b) const;
};

// Orders strings for containers by Unicode case folding, null first.
//   std::map<ZtbString, int, ZtbStringLessInsensitive> options;
class ZTB_API ZtbStringLessInsensitive {
 public:
  // Whether `a` sorts before `b`, as compare(b, false) tells.
  bool operator()(ZtbString const& a, ZtbString const& b) const;
};

// The order of ZtbStringLess.
ZTB_API bool operator<(ZtbString const& a, ZtbString const& b);

// The public interface ends here. Copying and destroying are inline because two calls into a shared
// library cost more than the work; with one thread in the process they make none.

inline ZtbString::ZtbString()
    : internal(nullptr), staticText(nullptr), staticChars(0), staticBytes(0) {}

inline ZtbString::ZtbString(ZtbString const& other)
    : internal(other.internal),
      staticText(other.staticText),
      staticChars(other.staticChars),
      staticBytes(other.staticBytes) {
  if (!internal) return;
  if (*ZtbMemPool::soleThread) {
    ++*referencesOf(internal);
  } else {
    __atomic_fetch_add(referencesOf(internal), 1, __ATOMIC_RELAXED);
  }
}

inline ZtbString::~ZtbString() {
  if (!internal) return;
  if (*ZtbMemPool::soleThread && *referencesOf(internal) > 1) {
    --*referencesOf(internal);
  } else {
    releaseInternal(internal);
  }
}

inline bool ZtbString::isNull() const {
  return !internal && !staticText;
}

inline int* ZtbString::referencesOf(InternalString* body) {
  return reinterpret_cast<int*>(reinterpret_cast<char*>(body) + sizeof(char*));
}

#endif
