// SPDX-License-Identifier: MIT
//
// Variants: one value of any of the library's data types, or nothing. The cell of every row.
//
// Null. A variant without a value is null. A Real can also be null in itself, when it came from a
// double that is a NaN or from raw bytes that are no number: it keeps its type, but isNull is true,
// and every conversion gives what it gives for null.
//
// Sharing. A copy shares the other's value, and costs one increment; whoever writes first gets a
// value of its own. A value that a variant holds alone is written in place, and its memory is used
// again while the size stays the same, so that repeated assignments of numbers, or of texts of one
// length, allocate nothing.
//
// Units. Positions and counts named `nChars` and the result of length are in characters, as
// np_uchar_length counts them: a well-formed UTF-8 sequence is one, and so is each byte that begins
// none. Counts named `nBytes` and `size` are in bytes. A text has at most 2,147,483,647 bytes
// without its terminator, other raw bytes are one more at most; what would be longer fails as if
// memory had run out.
//
// Failure. Nothing throws. When an assign gets no memory, the variant keeps its old value or
// becomes null. A `bool*` argument is an error flag that may be null: it is false on return unless
// the conversion failed, and then the result is zero, false or null.
//
// Lifetime. Values need the memory pool: before ztbInitialize every variant is null and stays so,
// whatever it is assigned. The last ztbShutdown takes all values with it; a variant that is
// destroyed, set to null or assigned to after that lets go of its value without touching it, and is
// null. It must not be read or copied any more, and has to be gone before a further ztbInitialize.
// The number of a Real, which lies on the heap, is lost then: 40 bytes a body.
//
// Threads. Different variants that share a value may be copied, read, changed and destroyed on
// different threads. One and the same object may be read by several threads, but not written beside
// them.

#ifndef ZTBDATAVAR_H
#define ZTBDATAVAR_H

#include <cstddef>

#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbmempool.h"
#include "ztbreal.h"
#include "ztbstring.h"

// Numbers of the data types; frozen. A variant takes raw bytes under any other number too, holds
// them as they are, and converts them as it converts Unknown: not at all.
enum ztbType : int {
  ztbTypeUnknown = 0,
  ztbTypeBoolean = 1,
  ztbTypeInteger = 2,
  ztbTypeReal = 3,
  ztbTypeString = 4,
  ztbTypeDate = 5
};

// The name of a type: "Unknown", "Boolean", "Integer", "Real", "String" or "Date"; an empty text
// for any other number, never a null pointer. The text lives as long as the process.
ZTB_API char const* ztbTypeToString(ztbType type);

// The type of that name, in any case; ztbTypeUnknown for a name that isn't known and for a null
// pointer. A date may name the order in which it is written: "Date (MDY)", "Date (DMY)", "Date
// (YMD)". `dateOrder`, if it isn't null, is set to 1 for DMY, 2 for YMD, and 0 for everything else.
//   ztbTypeFromString("date (ymd)", &order)    // ztbTypeDate, with 2 in order
ZTB_API ztbType ztbTypeFromString(char const* name);
ZTB_API ztbType ztbTypeFromString(char const* name, int* dateOrder);

struct DatavarBody;

// One value of any type, or none. Each `assign` gives the variant a new value and type, and the
// variant itself back. If there is no memory for a value of its own, a variant whose value is
// shared keeps it; one whose new value finds no room becomes null. Text and raw bytes may lie in
// this variant's own value.
//
//   ZtbDatavar cell;
//   bool failed = false;
//   if (!cell.assign("12.50").setType(ztbTypeReal)) return refuse(cell);
//   __int64 const whole = cell.asInt64(&failed);  // 12
class ZTB_API ZtbDatavar {
 public:
  // A null variant.
  ZtbDatavar();

  // Shares the other's value: no allocation, one atomic increment.
  ZtbDatavar(ZtbDatavar const& other);
  // Lets go of the value, which goes with the last variant that shares it.
  virtual ~ZtbDatavar();
  // Lets go of the value, and shares the other's.
  ZtbDatavar& operator=(ZtbDatavar const& other);

  // Boolean and Integer. A `long` or an unsigned number fits several overloads: cast it to __int64.
  ZtbDatavar& assign(bool value);
  ZtbDatavar& assign(int value);
  ZtbDatavar& assign(__int64 value);

  // Real. There is no binary floating type: a double becomes the shortest decimal that reads back
  // as the same double, so that 0.1 is exactly 0.1; a float is widened to double first. A NaN is a
  // null Real, an infinity an infinite one.
  ZtbDatavar& assign(float value);
  ZtbDatavar& assign(double value);

  // Real with its truncated flag; Date; String. A null value makes the variant null.
  ZtbDatavar& assign(ZtbReal const& value);
  ZtbDatavar& assign(ZtbDate const& value);
  ZtbDatavar& assign(ZtbString const& value);

  // String: a copy of the whole text, or of at most `nChars` characters of it. A null `text` isn't
  // allowed; it makes the variant null.
  ZtbDatavar& assign(char const* text);
  ZtbDatavar& assign(char const* text, unsigned int nChars);

  // String of as many whole characters as fit in `nBytes` bytes, up to the terminator or the first
  // byte that begins no well-formed character. `text` need not be terminated if it has `nBytes`
  // bytes.
  //   v.assignBytes("h\u00e9llo", 2)    // "h": the next character takes two bytes
  ZtbDatavar& assignBytes(char const* text, unsigned int nBytes);

  // A value of `type` from its raw bytes, as getRaw gives them: a Boolean's byte (zero or not), an
  // Integer's or a Date's 8 bytes in this machine's order, the 24 bytes of a Real's decimal
  // encoding, a String's bytes with the terminator, any bytes for other types. With `swap` true the
  // bytes of a Real stand in the other byte order; other types pay no attention to it. `raw` need
  // not be aligned.
  //
  // A null `raw` or a `size` of 0 makes the variant null. Another size than the type's gives a zero
  // of the type (false, 0, the moment 0), and for a Real a null one, with no error. So do 24 bytes
  // that encode a NaN. A number that no date has stays as it is in a Date, which then has neither
  // asDate nor asString. Text without any terminator gets one; nothing behind `size` is read. Text
  // ends at its first NUL for every reader but getRaw, which gives all bytes.
  ZtbDatavar& assign(ztbType type, void const* raw, unsigned int size, bool swap);
  ZtbDatavar& assign(ztbType type, void const* raw, unsigned int size);

  // Converts the value to `type` in place, by asBool, asInt64, asReal, asString or asDate. True
  // also if the variant has that type already. False for a null variant and for a `type` that is
  // none of the five, with nothing changed; if memory ran out, and the variant then has its old
  // value or none; and if the conversion reported an error. The value is then false or 0, or the
  // variant null for a Real. Conversions to String and Date report none: they give true, and leave
  // a null variant where the value has no such form.
  //   v.assign("abc").setType(ztbTypeInteger)    // false, and v is the Integer 0
  //   v.assign("abc").setType(ztbTypeDate)       // true, and v is null
  bool setType(ztbType type);

  // Shortens a String to at most `nChars` characters and at most `nBytes` bytes, of which the
  // terminator is none. A negative count is no limit. Only whole characters are kept. Other types,
  // and texts within the limits, are left alone. When memory runs out the variant is null.
  void truncate(int nChars, int nBytes);

  // Lets go of the value.
  void setNull();

  // The type of the value, which a Real keeps while its number is null; ztbTypeUnknown without a
  // value.
  ztbType type() const;

  // Without a value, or a Real whose number is null.
  bool isNull() const;

  // The characters of a String; -1 for every other type. Constant time.
  int length() const;

  // The bytes of the value, in the form that the raw assign takes, with their count in `*size` if
  // `size` isn't null. A null pointer and 0 if isNull. They belong to the variant and are good
  // until it is next changed or destroyed.
  void const* getRaw(unsigned int* size) const;

  // The bytes of a raw value: 1 for Boolean, 8 for Integer and Date, 24 for Real; 0 for String and
  // Unknown, which take any number, and for everything else.
  static int getRawSizeReq(ztbType type);

  // -1, 0 or 1 as this value sorts before, with or behind the other. No value equals no value, and
  // sorts before every value. False sorts before true (and raw Booleans of different bytes that are
  // both true, behind each other); Integers, Reals and Dates sort as numbers; Strings by their
  // bytes as unsigned values, so that case counts; Unknown values are all equal. With a Real whose
  // number is null on either side, or on both, two Reals give 1, as ZtbReal::compare has it. Values
  // of different types are each less than the other. So ordered containers want values of one type,
  // and no null numbers.
  int compare(ZtbDatavar const& other) const;

  // Conversions. A null variant gives zero, false or null without an error. What the types give:
  //   Boolean  1 or 0; the text "true" or "false"; no date.
  //   Integer  the number, which asInt cuts to its low 32 bits; false for 0; no date.
  //   Real     as an integer the next one below, so that -2.7 gives -3, 0.5 false and -0.5 true;
  //            the nearest double; asString as ZtbReal::asString; the date of the number.
  //   String   the number or the date that it spells: for the integers digits with a sign, without
  //            a point, for a double also a point and an exponent, with white space around either
  //            and nothing else; asReal and asDate take what ZtbReal and ZtbDate take from a text.
  //            Truth is "true" and "yes", false "false" and "no", in any case; else the first byte
  //            counts, "0" for false and another digit for true.
  //   Date     the seconds since 1970-01-01, as an integer cut toward zero; no truth; the text of
  //            ZtbDate::asString, in the ISO form if start-up found the option for it.
  //   Unknown  nothing: an error from each that reports errors.
  // It is an error if a text spells no such value, or if the result can't hold the number (but for
  // the one case above). A float that overflows is infinite.
  int asInt(bool* error) const;
  __int64 asInt64(bool* error) const;
  double asDouble(bool* error) const;
  float asFloat(bool* error) const;
  bool asBool(bool* error) const;
  ZtbReal asReal(bool* error) const;

  // As above, without a report: null where the value has no such form. asString is null too when
  // memory runs out.
  ZtbDate asDate() const;
  ZtbString asString() const;

 private:
  // The body's reference counter, which stands behind two pointers' width.
  static int* referencesOf(DatavarBody* body);
  // Drops a reference, and the body with the last one. After the pool's last stop there is nothing
  // left to drop.
  static void releaseSlowly(DatavarBody* body);

  // Makes the body this variant's own, for a write: with its value copied, or else left for the
  // next one to be stored. False, with nothing changed, when memory ran out.
  ZTB_LOCAL bool newInstance(bool keepValue);
  // The place for a new value of `type`, in a body of our own; null when memory ran out. `size` is
  // that of the type (0 for a Real), or the value's. The second form takes any way but the short
  // one, and any size for a type that has its own.
  ZTB_LOCAL void* placeFor(ztbType type, std::size_t size);
  [[gnu::noinline]] ZTB_LOCAL void* prepareValue(ztbType type, std::size_t size);
  ZTB_LOCAL ZtbDatavar& assignText(char const* text, std::size_t bytes, unsigned int chars);
  [[gnu::noinline]] ZTB_LOCAL ZtbDatavar& assignNewText(char const* text, std::size_t bytes,
                                                        unsigned int chars);
  // Whether this value, which is no String and not null, has a text. Asks for no memory.
  ZTB_LOCAL bool hasText() const;
  ZTB_LOCAL ZtbDatavar& assignRawReal(void const* raw, unsigned int size, bool swap);

  DatavarBody* mBody;
};

// Orders variants as compare does, for ordered containers of values of one type.
class ZTB_API ZtbDatavarLess {
 public:
  // Whether a.compare(b) is negative.
  bool operator()(ZtbDatavar const& a, ZtbDatavar const& b) const;
};

// The public interface ends here. Copying and destroying are inline because two calls into a shared
// library cost more than the work; with one thread in the process they make none.

inline ZtbDatavar::ZtbDatavar() : mBody(nullptr) {}

inline ZtbDatavar::ZtbDatavar(ZtbDatavar const& other) : mBody(other.mBody) {
  if (!mBody) return;
  if (*ZtbMemPool::soleThread) {
    ++*referencesOf(mBody);
  } else {
    __atomic_fetch_add(referencesOf(mBody), 1, __ATOMIC_RELAXED);
  }
}

inline ZtbDatavar::~ZtbDatavar() {
  if (!mBody) return;
  if (*ZtbMemPool::soleThread && *referencesOf(mBody) > 1) {
    --*referencesOf(mBody);
  } else {
    releaseSlowly(mBody);
  }
}

inline int* ZtbDatavar::referencesOf(DatavarBody* body) {
  return reinterpret_cast<int*>(reinterpret_cast<char*>(body) + 2 * sizeof(void*));
}

#endif
