// SPDX-License-Identifier: MIT
//
// ZtbString: three forms over one reference-counted body from the pool. Where the text's bytes and
// characters are equal in number, every character is one byte, and positions need no walk.

#include "ztbstring.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstring>
#include <new>
#include <system_error>

#include "ztbb10.h"
#include "ztbmempool.h"
#include "ztbmempool_p.h"
#include "ztbstring_p.h"
#include "ztschr12.h"
#include "ztsstr12.h"

namespace {

// Keeps every byte count an `int`, and a doubled capacity within 32 bits.
constexpr std::size_t kMaxBytes = INT_MAX;

constexpr char kEmptyText[] = "";

void setFlag(bool* flag, bool value) {
  if (flag) *flag = value;
}

// What a caller's pair of counts comes to. `chars` is -1 while nobody has counted.
struct Extent {
  std::size_t bytes;
  int chars;
};

Extent extentOf(char const* text, int nChars, int nBytes) {
  if (!text) return {0, 0};
  if (nBytes >= 0) return {static_cast<std::size_t>(nBytes), nChars};
  if (nChars >= 0) {
    char const* const end = np_uchar_seek(text, nChars);
    if (end) return {static_cast<std::size_t>(end - text), nChars};
  }
  return {std::strlen(text), -1};
}

// A well-formed needle is only ever found where a character begins, and ends where one ends.
bool isWellFormed(ZtbString const& needle) {
  std::size_t const bytes = needle.cStrSize() - 1;
  return np_uchar_wellformed(needle.asCstr(), bytes) == bytes;
}

// A string's text with its lengths, for moving between characters and positions.
class Walk {
 public:
  explicit Walk(ZtbString const& string)
      : mText(string.asCstr()),
        mEnd(mText + string.cStrSize() - 1),
        mChars(string.length()),
        mOneByteEach(string.cStrSize() - 1 == mChars) {}

  // The place of character `n`, at most the terminator's; null beyond.
  char const* seek(unsigned n) const {
    if (n > mChars) return nullptr;
    return seekFrom(mText, n);
  }
  // The place `n` characters behind `place`, which must not pass the end if each has one byte.
  char const* seekFrom(char const* place, unsigned n) const {
    return mOneByteEach ? place + n : np_uchar_seek(place, static_cast<int>(n));
  }
  unsigned tell(char const* base, char const* place) const {
    return mOneByteEach ? static_cast<unsigned>(place - base) : np_uchar_tell(base, place);
  }
  // The index of the occurrence of `needle` at `hit`, behind character `fromIndex` at `from`;
  // counted from whichever end is nearer.
  int indexOf(char const* hit, char const* from, unsigned fromIndex,
              ZtbString const& needle) const {
    bool const isNearEnd = mEnd - hit < hit - from;
    unsigned const index = !mOneByteEach && isNearEnd && isWellFormed(needle)
                               ? mChars - np_uchar_tell(hit, mEnd)
                               : fromIndex + tell(from, hit);
    return static_cast<int>(index);
  }
  char const* text() const { return mText; }
  char const* end() const { return mEnd; }

 private:
  char const* mText;
  char const* mEnd;
  unsigned mChars;
  bool mOneByteEach;
};

// When the end of one text and the beginning of the next complete a character, the number of bytes
// that it has, else 0. `joint` is where the second text begins, terminated, `before` the bytes in
// front. Each of the bytes counted as one character until they met.
int bytesOfJoinedCharacter(char const* joint, unsigned before) {
  bool const endsInAscii = before == 0 || static_cast<signed char>(joint[-1]) >= 0;
  if (endsInAscii || static_cast<signed char>(*joint) >= 0) return 0;
  constexpr unsigned kMostBytesInFront = 3;
  for (unsigned back = 1; back <= std::min(before, kMostBytesInFront); ++back) {
    int width = 0;
    np_uchar_toint(joint - back, &width);
    if (width > static_cast<int>(back)) return width;
  }
  return 0;
}

// What trimming leaves of a text.
struct Remainder {
  unsigned firstByte;
  unsigned nBytes;
  unsigned charsCut;
};

// `matches(position, &charBytes)` tells whether the character goes.
template <class Matches>
Remainder trimEnds(char const* text, char const* end, bool left, bool right, Matches matches) {
  int width = 0;
  char const* begin = text;
  unsigned leftChars = 0;
  for (; left && begin < end && matches(begin, &width); begin += width) ++leftChars;

  char const* keptEnd = right ? begin : end;
  unsigned rightChars = 0;
  for (char const* at = begin; right && at < end; at += width) {
    if (matches(at, &width)) {
      ++rightChars;
    } else {
      rightChars = 0;
      keptEnd = at + width;
    }
  }
  return {static_cast<unsigned>(begin - text), static_cast<unsigned>(keptEnd - begin),
          leftChars + rightChars};
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool isSpaceAt(char const* position, int* bytes) {
  *bytes = 1;
  if (!isAscii(*position)) return np_uchar_isspace(position, bytes) != 0;
  return *position == ' ' || (*position >= '\t' && *position <= '\r');
}

// A block of the pool that goes back when it isn't needed any more.
class PoolBlock {
 public:
  explicit PoolBlock(void* block = nullptr) : mBlock(block) {}
  PoolBlock(PoolBlock const&) = delete;
  PoolBlock& operator=(PoolBlock const&) = delete;
  ~PoolBlock() {
    if (mBlock) ZtbMemPool::freeBytes(mBlock);
  }
  void hold(void* block) { mBlock = block; }

 private:
  void* mBlock;
};

}  // namespace

struct ZtbString::InternalString {
  char* data;
  ZtAtom refCount;
  unsigned capacity;
  unsigned byteLength;
  unsigned charLength;

  // Makes room for `needed` bytes and a terminator. The buffer that it replaces, which a caller's
  // source may lie in, goes to `retired`.
  bool growBuffer(unsigned needed, bool preserve, PoolBlock* retired);
  void addBytes(char const* text, unsigned nBytes);
  // Adds one ASCII character if it is one, nobody else sees it and no growth is needed.
  bool addAsciiInPlace(char character);
};

bool ZtbString::InternalString::growBuffer(unsigned needed, bool preserve, PoolBlock* retired) {
  if (needed < capacity) return true;
  unsigned newCapacity = capacity ? capacity : needed + 1;
  while (newCapacity <= needed) newCapacity *= 2;
  void* block = nullptr;
  if (!ZtbMemPool::getBytes(newCapacity, &block)) return false;

  capacity = newCapacity;
  char* const newData = static_cast<char*>(block);
  if (preserve && data) {
    std::memcpy(newData, data, byteLength);
    newData[byteLength] = '\0';
  }
  retired->hold(data);
  data = newData;
  return true;
}

// Leaves `charLength` to the caller.
void ZtbString::InternalString::addBytes(char const* text, unsigned nBytes) {
  if (nBytes) std::memcpy(data + byteLength, text, nBytes);
  byteLength += nBytes;
  data[byteLength] = '\0';
}

bool ZtbString::InternalString::addAsciiInPlace(char character) {
  unsigned const end = byteLength;
  bool const isAscii = static_cast<signed char>(character) > 0;
  if (!isAscii || capacity - end < 2 || ztAtomGet(&refCount) > 1) return false;
  // The two lengths are stored apart: packed into one vector store, the next call would wait for
  // it.
  byteLength = end + 1;
  char const ending[2] = {character, '\0'};
  std::memcpy(data + end, ending, sizeof ending);
  ++charLength;
  return true;
}

ZtbString::ZtbString(char const* text, bool isStatic) : ZtbString() {
  if (!text) return;
  if (!isStatic) {
    doAssign(text, -1, -1);
    return;
  }
  std::size_t const bytes = std::strlen(text);
  if (bytes > kMaxBytes) return;
  staticText = text;
  staticBytes = static_cast<int>(bytes);
  staticChars = static_cast<int>(np_uchar_length(text));
}

ZtbString const& ZtbString::operator=(ZtbString const& other) {
  bool const sameText =
      staticText == other.staticText && (staticText || internal == other.internal);
  if (sameText) return *this;
  if (other.internal) addReference(other.internal);
  releaseInternal(internal);
  internal = other.internal;
  staticText = other.staticText;
  staticChars = other.staticChars;
  staticBytes = other.staticBytes;
  return *this;
}

void ZtbString::setNull() {
  replaceString(nullptr);
}

char const* ZtbString::asCstr() const {
  if (internal) return internal->data;
  return staticText ? staticText : kEmptyText;
}

int ZtbString::asInt(bool* failed) const {
  bool noNumber = false;
  __int64 const value = asInt64(&noNumber);
  bool const fits = value >= INT_MIN && value <= INT_MAX;
  setFlag(failed, noNumber || !fits);
  return fits ? static_cast<int>(value) : 0;
}

__int64 ZtbString::asInt64(bool* failed) const {
  __int64 value = 0;
  bool const read = !isNull() && zts_numparse64(asCstr(), &value, 0, 0) > 0;
  setFlag(failed, !read);
  return read ? value : 0;
}

double ZtbString::asDouble(bool* failed) const {
  double value = 0.0;
  bool const read = !isNull() && zts_numparsedbl(asCstr(), &value) > 0;
  setFlag(failed, !read);
  return read ? value : 0.0;
}

unsigned int ZtbString::length() const {
  if (internal) return internal->charLength;
  return staticText ? static_cast<unsigned>(staticChars) : 0;
}

unsigned int ZtbString::cStrSize() const {
  if (internal) return internal->byteLength + 1;
  return staticText ? static_cast<unsigned>(staticBytes) + 1 : 1;
}

int ZtbString::compare(char const* text, bool caseSensitive) const {
  if (isNull()) return text ? -1 : 0;
  if (!text) return 1;
  if (!caseSensitive) return np_uchar_icomp(asCstr(), text);
  int const order = std::strcmp(asCstr(), text);
  return (order > 0) - (order < 0);
}

int ZtbString::compare(ZtbString const& other, bool caseSensitive) const {
  return compare(other.isNull() ? nullptr : other.asCstr(), caseSensitive);
}

int ZtbString::find(ZtbString const& needle, int start) const {
  if (isNull() || needle.cStrSize() == 1) return -1;
  Walk const walk(*this);
  unsigned const from = start > 0 ? static_cast<unsigned>(start) : 0;
  char const* const begin = walk.seek(from);
  if (!begin) return -1;
  char const* const hit = std::strstr(begin, needle.asCstr());
  return hit ? walk.indexOf(hit, begin, from, needle) : -1;
}

int ZtbString::rfind(ZtbString const& needle) const {
  if (isNull() || needle.cStrSize() == 1) return -1;
  Walk const walk(*this);
  char const* last = nullptr;
  char const* from = walk.text();
  while (char const* const hit = std::strstr(from, needle.asCstr())) {
    last = hit;
    from = walk.seekFrom(hit, 1);
  }
  return last ? walk.indexOf(last, walk.text(), 0, needle) : -1;
}

ZtbString const& ZtbString::assign(int number) {
  return assign(static_cast<__int64>(number));
}

ZtbString const& ZtbString::assign(__int64 number) {
  char digits[32];
  char const* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  int const count = static_cast<int>(end - digits);
  doAssign(digits, count, count);
  return *this;
}

ZtbString const& ZtbString::assign(unsigned __int64 number) {
  char digits[32];
  char const* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  int const count = static_cast<int>(end - digits);
  doAssign(digits, count, count);
  return *this;
}

// std::to_chars writes what "%.15g" writes in the "C" locale, whatever the locale is.
ZtbString const& ZtbString::assign(double number) {
  char digits[32];
  char const* const end =
      std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general, 15).ptr;
  int const count = static_cast<int>(end - digits);
  doAssign(digits, count, count);
  return *this;
}

ZtbString const& ZtbString::assign(char const* text) {
  doAssign(text, -1, -1);
  return *this;
}

ZtbString const& ZtbString::assign(char const* text, int nChars) {
  doAssign(text, nChars, -1);
  return *this;
}

ZtbString const& ZtbString::assignBytes(char const* text, int nBytes) {
  unsigned chars = 0;
  std::size_t const bytes =
      ztbWholeCharacters(text, static_cast<std::size_t>(std::max(nBytes, 0)), &chars);
  doAssign(text, static_cast<int>(chars), static_cast<int>(bytes));
  return *this;
}

ZtbString& ZtbString::append(ZtbString const& other, bool* failed) {
  if (staticText && !convertStatic()) {
    setFlag(failed, true);
    return *this;
  }
  bool added = true;
  if (isNull()) {
    *this = other;
  } else if (other.cStrSize() > 1) {
    added = doAppend(other.asCstr(), static_cast<int>(other.length()),
                     static_cast<int>(other.cStrSize() - 1));
  }
  setFlag(failed, !added);
  return *this;
}

ZtbString& ZtbString::append(char const* text, bool* failed) {
  bool const isOneByte = text && *text != '\0' && text[1] == '\0';
  return append(text, isOneByte ? 1 : -1, failed);
}

ZtbString& ZtbString::append(char const* text, int nChars, bool* failed) {
  // Building a text by single characters is common enough for a way of its own.
  if (nChars == 1 && text && internal && internal->addAsciiInPlace(*text)) {
    setFlag(failed, false);
    return *this;
  }
  return appendText(text, nChars, failed);
}

ZtbString& ZtbString::appendText(char const* text, int nChars, bool* failed) {
  bool added = true;
  if (isNull()) {
    added = doAssign(text, nChars, -1);
  } else if (staticText && !convertStatic()) {
    added = false;
  } else if (nChars != 0 && text && *text != '\0') {
    added = doAppend(text, nChars, -1);
  }
  setFlag(failed, !added);
  return *this;
}

ZtbString ZtbString::mid(unsigned int start, int count) const {
  ZtbString result;
  if (isNull()) return result;
  Walk const walk(*this);
  char const* const begin = walk.seek(start);
  if (!begin) {
    result.doAssign(kEmptyText, 0, 0);
  } else if (count < 0 || static_cast<unsigned>(count) >= length() - start) {
    result.doAssign(begin, static_cast<int>(length() - start),
                    static_cast<int>(asCstr() + cStrSize() - 1 - begin));
  } else {
    char const* const end = walk.seekFrom(begin, static_cast<unsigned>(count));
    result.doAssign(begin, count, static_cast<int>(end - begin));
  }
  return result;
}

ZtbString ZtbString::right(int count) const {
  long long const start = static_cast<long long>(length()) - count;
  return mid(static_cast<unsigned>(std::max(start, 0LL)), -1);
}

ZtbString ZtbString::replace(ZtbString const& from, ZtbString const& to, unsigned int start,
                             int count) const {
  ZtbString result;
  if (isNull()) return result;
  Walk const walk(*this);
  bool done = result.doAssign(kEmptyText, 0, 0);
  auto const add = [&](char const* begin, char const* end, unsigned nChars) {
    done = done && result.doAppend(begin, static_cast<int>(nChars), static_cast<int>(end - begin));
  };
  char const* const first = walk.seek(start);
  char const* cursor = first ? first : walk.end();
  add(walk.text(), cursor, walk.tell(walk.text(), cursor));
  char const* const toEnd = to.asCstr() + to.cStrSize() - 1;
  bool const isSearchable = from.cStrSize() > 1;
  bool const isByteExact = isWellFormed(from);
  for (int left = count; isSearchable && left != 0; left -= left > 0) {
    char const* hit = std::strstr(cursor, from.asCstr());
    if (!hit) break;
    unsigned const skipped = walk.tell(cursor, hit);
    // The bytes of an ill-formed needle may lie inside characters. Then the counts of characters
    // say where the pieces end, as they do for find.
    if (!isByteExact) hit = walk.seekFrom(cursor, skipped);
    add(cursor, hit, skipped);
    add(to.asCstr(), toEnd, to.length());
    cursor = isByteExact ? hit + from.cStrSize() - 1 : walk.seekFrom(hit, from.length());
    if (!cursor) cursor = walk.end();
  }
  add(cursor, walk.end(), walk.tell(cursor, walk.end()));
  if (!done) result.setNull();
  return result;
}

void ZtbString::truncate(unsigned int nChars) {
  if (length() <= nChars) return;
  if (!prepWrite()) {
    setNull();
    return;
  }
  internal->byteLength =
      np_uchar_bufncopy(internal->data, internal->data, internal->capacity, nChars);
  internal->charLength = nChars;
}

int ZtbString::trim(bool left, bool right) {
  if (!left && !right) return 0;
  char const* const text = asCstr();
  Remainder const rest =
      trimEnds(text, text + cStrSize() - 1, left, right,
               [](char const* at, int* width) { return np_uchar_isspace(at, width) != 0; });
  return keepBytes(rest.firstByte, rest.nBytes, rest.charsCut);
}

int ZtbString::trimChar(int codePoint, bool left, bool right) {
  if (!left && !right) return 0;
  char const* const text = asCstr();
  Remainder const rest =
      trimEnds(text, text + cStrSize() - 1, left, right, [codePoint](char const* at, int* width) {
        return np_uchar_toint(at, width) == static_cast<unsigned>(codePoint);
      });
  return keepBytes(rest.firstByte, rest.nBytes, rest.charsCut);
}

bool ZtbString::lowercase() {
  return mapCase(np_uchar_lower);
}

bool ZtbString::uppercase() {
  return mapCase(np_uchar_upper);
}

void ZtbString::addReference(InternalString* body) {
  static_assert(offsetof(InternalString, refCount) == sizeof(char*) &&
                    sizeof(InternalString::refCount) == sizeof(int),
                "the counter is where referencesOf says");
  ztAtomAdd(&body->refCount);
}

void ZtbString::releaseInternal(InternalString* body) {
  if (!body || !ztbMemPoolIsUp()) return;
  if (ztAtomSub(&body->refCount) >= 1) return;
  if (body->data) ZtbMemPool::freeBytes(body->data);
  ZtbMemPool::freeBytes(body);
}

ZtbString::InternalString* ZtbString::newString(unsigned int capacityFor) {
  void* block = nullptr;
  if (!ZtbMemPool::getBytes(sizeof(InternalString), &block)) return nullptr;
  InternalString* const body = new (block) InternalString{};
  ztAtomInit(&body->refCount, 1);
  PoolBlock none;
  if (body->growBuffer(capacityFor, false, &none)) return body;
  ZtbMemPool::freeBytes(block);
  return nullptr;
}

void ZtbString::replaceString(InternalString* body) {
  releaseInternal(internal);
  staticText = nullptr;
  staticChars = 0;
  staticBytes = 0;
  internal = body;
}

bool ZtbString::doAppend(char const* text, int nChars, int nBytes) {
  Extent const added = extentOf(text, nChars, nBytes);
  unsigned const oldLength = internal->byteLength;
  if (added.bytes > kMaxBytes - oldLength) return false;
  unsigned const addedBytes = static_cast<unsigned>(added.bytes);

  // The source may lie in the buffer that is replaced, so that one goes last.
  PoolBlock retired;
  if (ztAtomGet(&internal->refCount) < 2) {
    if (!internal->growBuffer(oldLength + addedBytes, true, &retired)) return false;
    internal->addBytes(text, addedBytes);
  } else {
    InternalString* const body = newString(oldLength + addedBytes);
    if (!body) return false;
    body->addBytes(internal->data, oldLength);
    body->addBytes(text, addedBytes);
    body->charLength = internal->charLength;
    replaceString(body);
  }
  // Only the new bytes are counted, and what they complete of an ill-formed end in front of them.
  char const* const joint = internal->data + oldLength;
  int const joined = bytesOfJoinedCharacter(joint, oldLength);
  unsigned const addedChars = added.chars >= 0 ? static_cast<unsigned>(added.chars)
                                               : np_uchar_tell(joint, joint + addedBytes);
  internal->charLength += addedChars - (joined ? static_cast<unsigned>(joined) - 1 : 0);
  return true;
}

bool ZtbString::doAssign(char const* text, int nChars, int nBytes) {
  InternalString* const old = internal;
  staticText = nullptr;
  staticChars = 0;
  staticBytes = 0;
  internal = nullptr;
  Extent const wanted = extentOf(text, nChars, nBytes);
  if (wanted.bytes <= kMaxBytes) {
    unsigned const bytes = static_cast<unsigned>(wanted.bytes);
    internal = newString(std::bit_ceil(bytes + 1) - 1);
    if (internal) {
      internal->addBytes(text, bytes);
      internal->charLength = wanted.chars >= 0
                                 ? static_cast<unsigned>(wanted.chars)
                                 : np_uchar_tell(internal->data, internal->data + bytes);
    }
  }
  // Last, because the source may lie in it.
  releaseInternal(old);
  return internal != nullptr;
}

bool ZtbString::convertStatic() {
  char const* const text = staticText;
  int const chars = staticChars;
  int const bytes = staticBytes;
  if (doAssign(text, chars, bytes)) return true;
  staticText = text;
  staticChars = chars;
  staticBytes = bytes;
  return false;
}

bool ZtbString::prepWrite() {
  if (staticText) return convertStatic();
  if (!internal) return doAssign(kEmptyText, 0, 0);
  if (ztAtomGet(&internal->refCount) == 1) return true;
  InternalString* const body = newString(internal->byteLength);
  if (!body) return false;
  body->addBytes(internal->data, internal->byteLength);
  body->charLength = internal->charLength;
  replaceString(body);
  return true;
}

int ZtbString::keepBytes(unsigned int firstByte, unsigned int nBytes, unsigned int charsCut) {
  if (charsCut == 0 || !prepWrite()) return 0;
  if (firstByte != 0) std::memmove(internal->data, internal->data + firstByte, nBytes);
  internal->data[nBytes] = '\0';
  internal->byteLength = nBytes;
  internal->charLength -= charsCut;
  return static_cast<int>(charsCut);
}

bool ZtbString::mapCase(unsigned int (*mapping)(char const*, char*, unsigned int)) {
  if (isNull()) return true;
  constexpr unsigned kOnlyMeasure = ~0U;
  unsigned const bytes = mapping(asCstr(), nullptr, kOnlyMeasure);
  if (bytes == 0) return true;
  InternalString* const body = bytes <= kMaxBytes ? newString(bytes) : nullptr;
  if (!body) return false;
  mapping(asCstr(), body->data, bytes + 1);
  body->byteLength = bytes;
  body->charLength = np_uchar_length(body->data);
  replaceString(body);
  return true;
}

bool ZtbStringLess::operator()(ZtbString const& a, ZtbString const& b) const {
  return a.compare(b, true) < 0;
}

bool ZtbStringLessInsensitive::operator()(ZtbString const& a, ZtbString const& b) const {
  return a.compare(b, false) < 0;
}

bool operator<(ZtbString const& a, ZtbString const& b) {
  return a.compare(b, true) < 0;
}

std::string_view ztbTrimmedLeft(std::string_view part) {
  int bytes = 0;
  while (!part.empty() && isSpaceAt(part.data(), &bytes)) {
    part.remove_prefix(std::min(static_cast<std::size_t>(bytes), part.size()));
  }
  return part;
}

// Multi-byte text is only walked forwards; ASCII at the end needs no walk, since no byte of another
// character looks like it.
std::string_view ztbTrimmedRight(std::string_view part) {
  int bytes = 0;
  while (!part.empty() && isAscii(part.back())) {
    if (!isSpaceAt(&part.back(), &bytes)) return part;
    part.remove_suffix(1);
  }
  std::size_t end = 0;
  for (std::size_t at = 0; at < part.size();) {
    bool const isSpace = isSpaceAt(part.data() + at, &bytes);
    at += static_cast<std::size_t>(bytes);
    if (!isSpace) end = at;
  }
  return part.substr(0, end);
}

std::string_view ztbTrimmed(std::string_view part) {
  return ztbTrimmedRight(ztbTrimmedLeft(part));
}

std::size_t ztbWholeCharacters(char const* text, std::size_t nBytes, unsigned* chars) {
  *chars = 0;
  if (!text) return 0;
  auto const* const end = static_cast<char const*>(std::memchr(text, '\0', nBytes));
  return np_uchar_wellformed(text, end ? static_cast<std::size_t>(end - text) : nBytes, chars);
}
