// SPDX-License-Identifier: MIT
//
// This source is compiled with -fno-delete-null-pointer-checks: `release` may be called on a null
// address, which the compiler would otherwise take for impossible.

#include "ztconvert.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>

#include "winnls.h"
#include "ztbmempool.h"
#include "ztbstring.h"

namespace {

using Unit = unsigned short;

// A block of the pool for `count` items, null if there is none.
template <class Item>
Item* newBlock(long long count) {
  long long const bytes = count * static_cast<long long>(sizeof(Item));
  void* block = nullptr;
  bool const isTaken =
      bytes <= UINT_MAX && ZtbMemPool::getBytes(static_cast<unsigned>(bytes), &block);
  return isTaken ? static_cast<Item*>(block) : nullptr;
}

template <class Item>
void freeBlock(Item*& block) {
  ZtbMemPool::freeBytes(block);
  block = nullptr;
}

// The UTF-8 form of a terminated text in a block of its own; null if there is none to be had.
char* newUtf8(Unit const* text) {
  int const bytes = WideCharToMultiByte(kCodePageUtf8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  char* const block = bytes == 0 ? nullptr : newBlock<char>(bytes);
  if (block == nullptr) return nullptr;
  WideCharToMultiByte(kCodePageUtf8, 0, text, -1, block, bytes, nullptr, nullptr);
  return block;
}

int bytesOf(int units) {
  return static_cast<int>(std::min<long long>(units * 2LL, INT_MAX));
}

// Deletes an object that may not be there. The address is looked at under another name than
// `this`, which compilers warn about.
template <class Object>
void deleteUnlessNull(Object* object) {
  if (object != nullptr) delete object;
}

}  // namespace

ZtUCToUtf8::ZtUCToUtf8() : ucBuffer(nullptr), utf8Buffer(nullptr), length(0) {}

ZtUCToUtf8::~ZtUCToUtf8() {
  freeBlock(ucBuffer);
  freeBlock(utf8Buffer);
}

bool ZtUCToUtf8::set(int newLength) {
  freeBlock(ucBuffer);
  freeBlock(utf8Buffer);
  length = std::max(newLength, 0);
  if (newLength <= 0) return newLength == 0;
  ucBuffer = newBlock<Unit>(newLength + 1LL);
  if (ucBuffer == nullptr) return false;
  ucBuffer[newLength] = 0;
  return true;
}

unsigned short* ZtUCToUtf8::getUCBuffer() {
  return ucBuffer;
}

char* ZtUCToUtf8::utf8String() {
  static constexpr Unit kEmptyText[] = {0};
  if (utf8Buffer == nullptr) utf8Buffer = newUtf8(ucBuffer == nullptr ? kEmptyText : ucBuffer);
  return utf8Buffer;
}

int ZtUCToUtf8::bufLength() {
  return length;
}

int ZtUCToUtf8::bufLengthBytes() {
  return bytesOf(length);
}

__attribute__((noinline, no_sanitize("null"))) void ZtUCToUtf8::release() {
  deleteUnlessNull(this);
}

ZtUtf8ToUC::ZtUtf8ToUC() : length(0), ucBuffer(nullptr) {}

ZtUtf8ToUC::~ZtUtf8ToUC() {
  freeBlock(ucBuffer);
}

bool ZtUtf8ToUC::set(char const* text) {
  freeBlock(ucBuffer);
  length = text == nullptr ? 0 : MultiByteToWideChar(kCodePageUtf8, 0, text, -1, nullptr, 0);
  if (length == 0) return true;
  ucBuffer = newBlock<Unit>(length);
  if (ucBuffer == nullptr) return false;
  MultiByteToWideChar(kCodePageUtf8, 0, text, -1, ucBuffer, length);
  return true;
}

unsigned short* ZtUtf8ToUC::ucString() {
  return ucBuffer;
}

int ZtUtf8ToUC::bufLength() {
  return length;
}

int ZtUtf8ToUC::bufLengthBytes() {
  return bytesOf(length);
}

__attribute__((noinline, no_sanitize("null"))) void ZtUtf8ToUC::release() {
  deleteUnlessNull(this);
}

ZtUtf8ToUC* ZtbString::asUCS2() const {
  std::unique_ptr<ZtUtf8ToUC> converter(new (std::nothrow) ZtUtf8ToUC);
  if (converter == nullptr || !converter->set(asCstr())) return nullptr;
  return converter.release();
}

ZtbString const& ZtbString::fromUCS2(unsigned short const* text) {
  if (text == nullptr) {
    doAssign("", 0, 0);
    return *this;
  }
  char* utf8 = newUtf8(text);
  if (utf8 == nullptr) return *this;
  doAssign(utf8, -1, -1);
  freeBlock(utf8);
  return *this;
}

void convertUCToUtf8(unsigned short* text, char* target, int targetSize) {
  if (target == nullptr || targetSize < 1) return;
  Unit const empty = 0;
  // The terminator is part of what is converted, so a text that fills the target ends in NUL.
  WideCharToMultiByte(kCodePageUtf8, 0, text == nullptr ? &empty : text, -1, target, targetSize,
                      nullptr, nullptr);
}

void convertUtf8ToUC(char* text, unsigned short* target, int targetSize) {
  if (target == nullptr || targetSize < 1) return;
  MultiByteToWideChar(kCodePageUtf8, 0, text == nullptr ? "" : text, -1, target, targetSize);
}
