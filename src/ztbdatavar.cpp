// SPDX-License-Identifier: MIT
//
// ZtbDatavar: a reference-counted body of the pool with the value in a block of its own, which is
// written in place while the body has one owner. A Real's value is an object of the heap instead.

#include "ztbdatavar.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include "ztbb10.h"
#include "ztbdate_p.h"
#include "ztbmempool.h"
#include "ztbmempool_p.h"
#include "ztbstring_p.h"
#include "ztschr12.h"
#include "ztsstr12.h"

struct DatavarBody {
  unsigned charLength;
  void* data;
  ZtAtom refCount;
  ztbType type;
  unsigned byteSize;
};

namespace {

// Keeps every text within what a string can hold, with room for the terminator.
constexpr std::size_t kMaxBlockBytes = std::size_t{INT_MAX} + 1;
constexpr unsigned kRealBytes = 24;

struct TypeRow {
  char const* name;
  ztbType type;
  int dateOrder;
};

// The first name of a type is the one that it is told by.
constexpr TypeRow kTypes[] = {
    {"Unknown", ztbTypeUnknown, -1}, {"Boolean", ztbTypeBoolean, -1},
    {"Integer", ztbTypeInteger, -1}, {"Real", ztbTypeReal, -1},
    {"String", ztbTypeString, -1},   {"Date", ztbTypeDate, 0},
    {"Date (MDY)", ztbTypeDate, 0},  {"Date (DMY)", ztbTypeDate, 1},
    {"Date (YMD)", ztbTypeDate, 2},
};

// By the number of the type; 0 where there is no fixed size.
constexpr unsigned char kRawSizes[] = {0, 1, sizeof(__int64), kRealBytes, 0, sizeof(double)};

unsigned rawSizeOf(ztbType type) {
  auto const index = static_cast<unsigned>(type);
  return index < std::size(kRawSizes) ? kRawSizes[index] : 0;
}

TypeRow const* rowNamed(char const* name) {
  if (!name) return nullptr;
  auto const* const row = std::find_if(std::begin(kTypes), std::end(kTypes), [name](auto const& r) {
    return np_uchar_icomp(r.name, name) == 0;
  });
  return row != std::end(kTypes) ? row : nullptr;
}

ZtbReal& realOf(DatavarBody const* body) {
  return *static_cast<ZtbReal*>(body->data);
}

template <class Value>
Value& valueOf(DatavarBody const* body) {
  return *static_cast<Value*>(body->data);
}

char const* textOf(DatavarBody const* body) {
  return static_cast<char const*>(body->data);
}

void destroyValue(DatavarBody* body) {
  if (body->type == ztbTypeReal) {
    delete static_cast<ZtbReal*>(body->data);
  } else {
    ZtbMemPool::freeBytes(body->data);
  }
}

// Drops a reference, and the body with the last one. After the pool's last stop there is nothing
// left to drop.
void releaseBody(DatavarBody* body) {
  if (!body || !ztbMemPoolIsUp()) return;
  if (ztAtomSub(&body->refCount) >= 1) return;
  destroyValue(body);
  ZtbMemPool::freeBytes(body);
}

bool prepareReal(DatavarBody* body) {
  if (body->type != ztbTypeReal) {
    ZtbMemPool::freeBytes(body->data);
    body->data = nullptr;
    body->byteSize = 0;
    body->type = ztbTypeReal;
  }
  if (!body->data) body->data = new (std::nothrow) ZtbReal;
  return body->data != nullptr;
}

// Makes an owned body ready for a value of `type`, which takes `size` bytes if its size isn't
// fixed. The block's old content is left in it: whoever doesn't overwrite all of it clears it.
bool prepareBody(DatavarBody* body, ztbType type, std::size_t size) {
  if (type == ztbTypeReal) return prepareReal(body);
  if (body->type == ztbTypeReal) {
    delete static_cast<ZtbReal*>(body->data);
    body->data = nullptr;
  }
  body->type = type;
  unsigned const fixedSize = rawSizeOf(type);
  std::size_t const needed = fixedSize ? fixedSize : size;
  if (needed == body->byteSize && needed) return true;
  if (!needed || needed > kMaxBlockBytes) return false;
  void* block = nullptr;
  if (!ZtbMemPool::getBytes(static_cast<unsigned>(needed), &block)) return false;
  ZtbMemPool::freeBytes(body->data);
  body->data = block;
  body->byteSize = static_cast<unsigned>(needed);
  return true;
}

// Whether a value of `type` can be written over the present one without any preparation.
bool isReadyFor(DatavarBody const* body, ztbType type, std::size_t size) {
  return body && ztbMemPoolIsUp() && body->type == type && body->byteSize == size &&
         ztAtomGet(&body->refCount) < 2;
}

// Whether `place` lies in the value of `body`, which a write to the variant would then destroy.
bool holds(DatavarBody const* body, void const* place) {
  if (!body || !ztbMemPoolIsUp()) return false;
  std::size_t const size = body->type == ztbTypeReal ? sizeof(ZtbReal) : body->byteSize;
  auto const begin = reinterpret_cast<std::uintptr_t>(body->data);
  return reinterpret_cast<std::uintptr_t>(place) - begin < size;
}

// Moves `size` bytes, at least one half and at most two.
template <std::size_t Half>
inline void moveByHalves(char* to, char const* from, std::size_t size) {
  char front[Half];
  char back[Half];
  std::memcpy(front, from, Half);
  std::memcpy(back, from + size - Half, Half);
  std::memcpy(to, front, Half);
  std::memcpy(to + size - Half, back, Half);
}

// As std::memmove, whose call costs more than to move a short text.
inline void moveText(char* to, char const* from, std::size_t size) {
  if (size >= 8 && size <= 16) return moveByHalves<8>(to, from, size);
  if (size >= 16 && size <= 32) return moveByHalves<16>(to, from, size);
  std::memmove(to, from, size);
}

// Sets the caller's flag, where there is one, on the way out.
template <class Result>
Result fail(bool* error, Result result) {
  if (error) *error = true;
  return result;
}

template <class Number>
int order(Number a, Number b) {
  return (a > b) - (a < b);
}

// The number cut toward zero, if it fits.
__int64 cut(double number, bool* error) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  bool const fits = number >= -kTwoTo63 && number < kTwoTo63;
  return fits ? static_cast<__int64>(number) : fail(error, 0LL);
}

int narrow(__int64 number, bool* error) {
  bool const fits = number >= INT_MIN && number <= INT_MAX;
  return fits ? static_cast<int>(number) : fail(error, 0);
}

struct TruthRow {
  char const* word;
  bool value;
};

constexpr TruthRow kTruths[] = {{"TRUE", true}, {"FALSE", false}, {"YES", true}, {"NO", false}};

bool truthOf(char const* text, bool* error) {
  for (TruthRow const& row : kTruths) {
    if (np_uchar_icomp(text, row.word) == 0) return row.value;
  }
  bool const isDigit = *text >= '0' && *text <= '9';
  return isDigit ? *text != '0' : fail(error, false);
}

}  // namespace

char const* ztbTypeToString(ztbType type) {
  for (TypeRow const& row : kTypes) {
    if (row.type == type) return row.name;
  }
  return "";
}

ztbType ztbTypeFromString(char const* name) {
  TypeRow const* const row = rowNamed(name);
  return row ? row->type : ztbTypeUnknown;
}

ztbType ztbTypeFromString(char const* name, int* dateOrder) {
  TypeRow const* const row = rowNamed(name);
  if (dateOrder) *dateOrder = row ? std::max(row->dateOrder, 0) : 0;
  return row ? row->type : ztbTypeUnknown;
}

void ZtbDatavar::releaseSlowly(DatavarBody* body) {
  static_assert(
      offsetof(DatavarBody, refCount) == 2 * sizeof(void*) && sizeof(ZtAtom) == sizeof(int),
      "the counter is where referencesOf says");
  releaseBody(body);
}

ZtbDatavar& ZtbDatavar::operator=(ZtbDatavar const& other) {
  if (mBody == other.mBody) return *this;
  if (other.mBody) ztAtomAdd(&other.mBody->refCount);
  releaseBody(mBody);
  mBody = other.mBody;
  return *this;
}

bool ZtbDatavar::newInstance(bool keepValue) {
  if (!ztbMemPoolIsUp()) mBody = nullptr;
  if (mBody && ztAtomGet(&mBody->refCount) < 2) return true;
  void* block = nullptr;
  if (!ZtbMemPool::getBytes(sizeof(DatavarBody), &block)) return false;
  auto* const body = new (block) DatavarBody{};
  ztAtomInit(&body->refCount, 1);
  if (keepValue && mBody) {
    if (mBody->data && !prepareBody(body, mBody->type, mBody->byteSize)) {
      ZtbMemPool::freeBytes(body);
      return false;
    }
    if (mBody->data) std::memcpy(body->data, mBody->data, mBody->byteSize);
    body->type = mBody->type;
    body->charLength = mBody->charLength;
  }
  releaseBody(mBody);
  mBody = body;
  return true;
}

inline void* ZtbDatavar::placeFor(ztbType type, std::size_t size) {
  return isReadyFor(mBody, type, size) ? mBody->data : prepareValue(type, size);
}

void* ZtbDatavar::prepareValue(ztbType type, std::size_t size) {
  if (!newInstance(false)) return nullptr;
  if (prepareBody(mBody, type, size)) return mBody->data;
  setNull();
  return nullptr;
}

inline ZtbDatavar& ZtbDatavar::assignText(char const* text, std::size_t bytes, unsigned chars) {
  if (!isReadyFor(mBody, ztbTypeString, bytes + 1)) return assignNewText(text, bytes, chars);
  // The text may lie in the value itself.
  auto* const block = static_cast<char*>(mBody->data);
  moveText(block, text, bytes);
  block[bytes] = '\0';
  mBody->charLength = chars;
  return *this;
}

ZtbDatavar& ZtbDatavar::assignNewText(char const* text, std::size_t bytes, unsigned chars) {
  // A text of our own lives on in the shared body until it has been copied.
  ZtbDatavar const source(holds(mBody, text) ? *this : ZtbDatavar());
  auto* const block = static_cast<char*>(prepareValue(ztbTypeString, bytes + 1));
  if (!block) return *this;
  std::memcpy(block, text, bytes);
  block[bytes] = '\0';
  mBody->charLength = chars;
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(bool value) {
  void* const block = placeFor(ztbTypeBoolean, sizeof(unsigned char));
  if (block) *static_cast<unsigned char*>(block) = value;
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(int value) {
  return assign(static_cast<__int64>(value));
}

ZtbDatavar& ZtbDatavar::assign(__int64 value) {
  void* const block = placeFor(ztbTypeInteger, sizeof value);
  if (block) *static_cast<__int64*>(block) = value;
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(float value) {
  return assign(static_cast<double>(value));
}

ZtbDatavar& ZtbDatavar::assign(double value) {
  if (placeFor(ztbTypeReal, 0)) realOf(mBody).assign(value);
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(ZtbReal const& value) {
  if (value.isNull()) {
    setNull();
  } else if (placeFor(ztbTypeReal, 0)) {
    realOf(mBody) = value;
  }
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(ZtbDate const& value) {
  if (value.isNull()) {
    setNull();
  } else if (void* const block = placeFor(ztbTypeDate, sizeof(double))) {
    *static_cast<double*>(block) = value.asDouble();
  }
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(ZtbString const& value) {
  if (!value.isNull()) return assignText(value.asCstr(), value.cStrSize() - 1, value.length());
  setNull();
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(char const* text) {
  if (!text) {
    setNull();
    return *this;
  }
  std::size_t const bytes = std::strlen(text);
  return assignText(text, bytes, np_uchar_tell(text, text + bytes));
}

ZtbDatavar& ZtbDatavar::assign(char const* text, unsigned int nChars) {
  bool const mayCut = text && nChars <= unsigned{INT_MAX};
  char const* const end = mayCut ? np_uchar_seek(text, static_cast<int>(nChars)) : nullptr;
  return end ? assignText(text, static_cast<std::size_t>(end - text), nChars) : assign(text);
}

ZtbDatavar& ZtbDatavar::assignBytes(char const* text, unsigned int nBytes) {
  if (!text) return assign(text);
  unsigned chars = 0;
  std::size_t const bytes = ztbWholeCharacters(text, nBytes, &chars);
  return assignText(text, bytes, chars);
}

ZtbDatavar& ZtbDatavar::assign(ztbType type, void const* raw, unsigned int size, bool swap) {
  if (!raw || size == 0) {
    setNull();
    return *this;
  }
  if (type == ztbTypeReal) return assignRawReal(raw, size, swap);
  bool const lacksTerminator = type == ztbTypeString && !std::memchr(raw, '\0', size);
  std::size_t const needed = std::size_t{size} + lacksTerminator;
  ZtbDatavar const source(holds(mBody, raw) ? *this : ZtbDatavar());
  auto* const block = static_cast<char*>(prepareValue(type, needed));
  if (!block) return *this;
  if (needed == mBody->byteSize) {
    std::memcpy(block, raw, size);
    if (lacksTerminator) block[size] = '\0';
  } else {
    std::memset(block, 0, mBody->byteSize);
  }
  if (type == ztbTypeString) mBody->charLength = np_uchar_length(block);
  return *this;
}

ZtbDatavar& ZtbDatavar::assignRawReal(void const* raw, unsigned int size, bool swap) {
  ZtbReal value;
  if (size == kRealBytes) {
    unsigned __int64 words[3];
    std::memcpy(words, raw, sizeof words);
    value.assign(&words, swap);
  }
  if (placeFor(ztbTypeReal, 0)) realOf(mBody) = value;
  return *this;
}

ZtbDatavar& ZtbDatavar::assign(ztbType type, void const* raw, unsigned int size) {
  return assign(type, raw, size, false);
}

bool ZtbDatavar::hasText() const {
  switch (mBody->type) {
    case ztbTypeReal:
      return realOf(mBody).hasText();
    case ztbTypeDate:
      return !asDate().isNull();
    default:
      return rawSizeOf(mBody->type) > 0;
  }
}

bool ZtbDatavar::setType(ztbType type) {
  if (isNull()) return false;
  if (mBody->type == type) return true;
  bool error = false;
  bool hasForm = true;  // whether there is a value of that type to be stored
  switch (type) {
    case ztbTypeBoolean:
      assign(asBool(&error));
      break;
    case ztbTypeInteger:
      assign(asInt64(&error));
      break;
    case ztbTypeReal: {
      ZtbReal const real = asReal(&error);
      hasForm = !real.isNull();
      assign(real);
      break;
    }
    case ztbTypeString:
      hasForm = hasText();
      assign(asString());
      break;
    case ztbTypeDate: {
      ZtbDate const date = asDate();
      hasForm = !date.isNull();
      assign(date);
      break;
    }
    default:
      return false;
  }
  bool const isStored = mBody ? mBody->type == type : !hasForm;
  return !error && isStored;
}

void ZtbDatavar::truncate(int nChars, int nBytes) {
  if (type() != ztbTypeString) return;
  unsigned const chars = nChars < 0 ? UINT_MAX : static_cast<unsigned>(nChars);
  unsigned const capacity = nBytes < 0 ? mBody->byteSize : static_cast<unsigned>(nBytes) + 1;
  if (mBody->charLength <= chars && mBody->byteSize <= capacity) return;
  if (!newInstance(true)) {
    setNull();
    return;
  }
  auto* const text = static_cast<char*>(mBody->data);
  mBody->byteSize = np_uchar_bufncopy(text, text, capacity, chars) + 1;
  mBody->charLength = np_uchar_length(text);
}

void ZtbDatavar::setNull() {
  releaseBody(mBody);
  mBody = nullptr;
}

ztbType ZtbDatavar::type() const {
  return mBody ? mBody->type : ztbTypeUnknown;
}

bool ZtbDatavar::isNull() const {
  return !mBody || (mBody->type == ztbTypeReal && realOf(mBody).isNull());
}

int ZtbDatavar::length() const {
  return type() == ztbTypeString ? static_cast<int>(mBody->charLength) : -1;
}

void const* ZtbDatavar::getRaw(unsigned int* size) const {
  bool const isReal = type() == ztbTypeReal;
  bool const none = isNull();
  if (size) *size = none ? 0 : isReal ? kRealBytes : mBody->byteSize;
  if (none) return nullptr;
  return isReal ? realOf(mBody).mValue : mBody->data;
}

int ZtbDatavar::getRawSizeReq(ztbType type) {
  return static_cast<int>(rawSizeOf(type));
}

int ZtbDatavar::compare(ZtbDatavar const& other) const {
  if (!mBody || !other.mBody) return order<bool>(mBody, other.mBody);
  if (mBody->type != other.mBody->type) return -1;
  switch (mBody->type) {
    case ztbTypeBoolean: {
      unsigned char const mine = valueOf<unsigned char>(mBody);
      if (mine == valueOf<unsigned char>(other.mBody)) return 0;
      return mine != 0 ? 1 : -1;
    }
    case ztbTypeInteger:
      return order(valueOf<__int64>(mBody), valueOf<__int64>(other.mBody));
    case ztbTypeReal:
      return realOf(mBody).compare(realOf(other.mBody));
    case ztbTypeString:
      return order(std::strcmp(textOf(mBody), textOf(other.mBody)), 0);
    case ztbTypeDate: {
      double const mine = valueOf<double>(mBody);
      double const others = valueOf<double>(other.mBody);
      if (mine < others) return -1;
      return mine == others ? 0 : 1;
    }
    default:
      return 0;
  }
}

int ZtbDatavar::asInt(bool* error) const {
  if (type() == ztbTypeInteger) {
    if (error) *error = false;
    return static_cast<int>(valueOf<__int64>(mBody));
  }
  return narrow(asInt64(error), error);
}

__int64 ZtbDatavar::asInt64(bool* error) const {
  if (error) *error = false;
  if (isNull()) return 0;
  switch (mBody->type) {
    case ztbTypeBoolean:
      return valueOf<unsigned char>(mBody) != 0;
    case ztbTypeInteger:
      return valueOf<__int64>(mBody);
    case ztbTypeReal:
      return realOf(mBody).asInt64(error);
    case ztbTypeString: {
      __int64 value = 0;
      return zts_numparse64(textOf(mBody), &value, 0, 0) > 0 ? value : fail(error, 0LL);
    }
    case ztbTypeDate:
      return cut(valueOf<double>(mBody), error);
    default:
      return fail(error, 0LL);
  }
}

double ZtbDatavar::asDouble(bool* error) const {
  if (error) *error = false;
  if (isNull()) return 0.0;
  switch (mBody->type) {
    case ztbTypeBoolean:
      return valueOf<unsigned char>(mBody) != 0 ? 1.0 : 0.0;
    case ztbTypeInteger:
      return static_cast<double>(valueOf<__int64>(mBody));
    case ztbTypeReal:
      return realOf(mBody).asDouble(error);
    case ztbTypeString: {
      double value = 0.0;
      return zts_numparsedbl(textOf(mBody), &value) > 0 ? value : fail(error, 0.0);
    }
    case ztbTypeDate:
      return valueOf<double>(mBody);
    default:
      return fail(error, 0.0);
  }
}

float ZtbDatavar::asFloat(bool* error) const {
  return static_cast<float>(asDouble(error));
}

bool ZtbDatavar::asBool(bool* error) const {
  if (error) *error = false;
  if (isNull()) return false;
  switch (mBody->type) {
    case ztbTypeBoolean:
    case ztbTypeInteger:
    case ztbTypeReal:
      return asInt64(error) != 0;
    case ztbTypeString:
      return truthOf(textOf(mBody), error);
    default:
      return fail(error, false);
  }
}

ZtbReal ZtbDatavar::asReal(bool* error) const {
  if (error) *error = false;
  ZtbReal result;
  if (isNull()) return result;
  switch (mBody->type) {
    case ztbTypeBoolean:
    case ztbTypeDate:
      return result.assign(asDouble(nullptr));
    case ztbTypeInteger:
      return result.assign(valueOf<__int64>(mBody));
    case ztbTypeReal:
      return realOf(mBody);
    case ztbTypeString:
      result.assign(textOf(mBody));
      if (error) *error = result.isNull();
      return result;
    default:
      return fail(error, result);
  }
}

ZtbDate ZtbDatavar::asDate() const {
  if (isNull()) return ZtbDate();
  switch (mBody->type) {
    case ztbTypeReal: {
      bool error = false;
      double const number = realOf(mBody).asDouble(&error);
      return error ? ZtbDate() : ZtbDate(number);
    }
    case ztbTypeString:
      return ZtbDate(textOf(mBody));
    case ztbTypeDate:
      return ZtbDate(valueOf<double>(mBody));
    default:
      return ZtbDate();
  }
}

ZtbString ZtbDatavar::asString() const {
  if (isNull()) return ZtbString();
  switch (mBody->type) {
    case ztbTypeBoolean:
      return ZtbString(valueOf<unsigned char>(mBody) != 0 ? "true" : "false", true);
    case ztbTypeInteger:
      return ZtbString().assign(valueOf<__int64>(mBody));
    case ztbTypeReal:
      return realOf(mBody).asString();
    case ztbTypeString:
      return ZtbString(textOf(mBody), false);
    case ztbTypeDate:
      return ZtbDate(valueOf<double>(mBody)).asString(datavarIsoDates());
    default:
      return ZtbString();
  }
}

bool ZtbDatavarLess::operator()(ZtbDatavar const& a, ZtbDatavar const& b) const {
  return a.compare(b) < 0;
}
