// SPDX-License-Identifier: MIT
//
// Variants: one value of any of the library's data types, or nothing.

#ifndef ZTBDATAVAR_H
#define ZTBDATAVAR_H

#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbreal.h"
#include "ztbstring.h"

// Numbers of the data types; frozen.
enum ztbType : int {
  ztbTypeUnknown = 0,
  ztbTypeBoolean = 1,
  ztbTypeInteger = 2,
  ztbTypeReal = 3,
  ztbTypeString = 4,
  ztbTypeDate = 5
};

ZTB_API char const* ztbTypeToString(ztbType type);
ZTB_API ztbType ztbTypeFromString(char const* name);
ZTB_API ztbType ztbTypeFromString(char const* name, int* dateOrder);

struct DatavarBody;

class ZTB_API ZtbDatavar {
 public:
  ZtbDatavar();
  ZtbDatavar(ZtbDatavar const& other);
  virtual ~ZtbDatavar();
  ZtbDatavar& operator=(ZtbDatavar const& other);

  ZtbDatavar& assign(bool value);
  ZtbDatavar& assign(int value);
  ZtbDatavar& assign(__int64 value);
  ZtbDatavar& assign(float value);
  ZtbDatavar& assign(double value);
  ZtbDatavar& assign(ZtbReal const& value);
  ZtbDatavar& assign(ZtbDate const& value);
  ZtbDatavar& assign(ZtbString const& value);
  ZtbDatavar& assign(char const* text);
  ZtbDatavar& assign(char const* text, unsigned int nChars);
  ZtbDatavar& assignBytes(char const* text, unsigned int nBytes);
  ZtbDatavar& assign(ztbType type, void const* raw, unsigned int size, bool swap);
  ZtbDatavar& assign(ztbType type, void const* raw, unsigned int size);

  bool setType(ztbType type);
  void truncate(int nChars, int nBytes);
  void setNull();

  ztbType type() const;
  bool isNull() const;
  int length() const;
  void const* getRaw(unsigned int* size) const;
  static int getRawSizeReq(ztbType type);
  int compare(ZtbDatavar const& other) const;

  int asInt(bool* error) const;
  __int64 asInt64(bool* error) const;
  double asDouble(bool* error) const;
  float asFloat(bool* error) const;
  bool asBool(bool* error) const;
  ZtbReal asReal(bool* error) const;
  ZtbDate asDate() const;
  ZtbString asString() const;

 private:
  ZTB_LOCAL bool newInstance(bool keepValue);

  DatavarBody* mBody;
};

class ZTB_API ZtbDatavarLess {
 public:
  bool operator()(ZtbDatavar const& a, ZtbDatavar const& b) const;
};

#endif
