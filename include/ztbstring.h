// SPDX-License-Identifier: MIT
//
// The string that every interface of the library takes and gives.

#ifndef ZTBSTRING_H
#define ZTBSTRING_H

#include "ztbdefs.h"

class ZTB_API ZtbString {
 public:
  ZtbString();
  ZtbString(char const* text, bool isStatic);
  ZtbString(ZtbString const& other);
  virtual ~ZtbString();
  ZtbString const& operator=(ZtbString const& other);

  bool isNull() const;
  void setNull();
  char const* asCstr() const;
  int asInt(bool* failed) const;
  __int64 asInt64(bool* failed) const;
  double asDouble(bool* failed) const;
  unsigned int length() const;
  unsigned int cStrSize() const;
  int compare(char const* text, bool caseSensitive) const;
  int compare(ZtbString const& other, bool caseSensitive) const;
  int find(ZtbString const& needle, int start) const;
  int rfind(ZtbString const& needle) const;
  ZtbString const& assign(int number);
  ZtbString const& assign(__int64 number);
  ZtbString const& assign(unsigned __int64 number);
  ZtbString const& assign(double number);
  ZtbString const& assign(char const* text);
  ZtbString const& assign(char const* text, int nChars);
  ZtbString const& assignBytes(char const* text, int nBytes);
  ZtbString& append(ZtbString const& other, bool* failed);
  ZtbString& append(char const* text, bool* failed);
  ZtbString& append(char const* text, int nChars, bool* failed);
  ZtbString mid(unsigned int start, int count) const;
  ZtbString right(int count) const;
  ZtbString replace(ZtbString const& from, ZtbString const& to, unsigned int start,
                    int count) const;
  void truncate(unsigned int nChars);
  int trim(bool left, bool right);
  int trimChar(int codePoint, bool left, bool right);
  bool lowercase();
  bool uppercase();

 private:
  struct InternalString;

  InternalString* newString(unsigned int capacityFor);
  void replaceString(InternalString* body);
  bool doAppend(char const* text, int nChars, int nBytes);
  bool doAssign(char const* text, int nChars, int nBytes);
  bool convertStatic();
  bool prepWrite();

  InternalString* internal;
  char const* staticText;
  int staticChars;
  int staticBytes;
};

class ZTB_API ZtbStringLess {
 public:
  bool operator()(ZtbString const& a, ZtbString const& b) const;
};

class ZTB_API ZtbStringLessInsensitive {
 public:
  bool operator()(ZtbString const& a, ZtbString const& b) const;
};

ZTB_API bool operator<(ZtbString const& a, ZtbString const& b);

#endif
