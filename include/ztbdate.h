// SPDX-License-Identifier: MIT
#ifndef ZTBDATE_H
#define ZTBDATE_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbDate {
 public:
  ZtbDate();
  ZtbDate(int year, int month, int day, int hour, int minute, int second);
  ZtbDate(ZtbDate const& other);
  ZtbDate(char const* text);
  ZtbDate(double value);
  ZtbDate& operator=(ZtbDate const& other);

  void assign(int year, int month, int day, int hour, int minute, int second);
  void assign(char const* text);
  void assign(double value);
  void getElements(int* year, int* month, int* day, int* hour, int* minute, int* second);
  int compare(ZtbDate const& other) const;
  ZtbString asString(bool iso) const;
  double asDouble() const;
  bool isNull() const;
  void setNull();
  int getWeekDay() const;
  static ZtbDate currentDate();

 private:
  ZtbString asStringHard(int year, int month, int day, int hour, int minute, int second) const;

  bool mIsNull;
  double mValue;
};

class ZTB_API ZtbDateLess {
 public:
  bool operator()(ZtbDate const& a, ZtbDate const& b) const;
};

ZTB_API bool operator<(ZtbDate const& a, ZtbDate const& b);

#endif
