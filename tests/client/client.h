// SPDX-License-Identifier: MIT
//
// What the two sources of the client share. Objects of the library go from one to the other by
// value and inside a class of the client, as between any two sources of an application; the two are
// also compiled as different standards, by different compilers.

#ifndef CLIENT_H
#define CLIENT_H

#include <ztbcpp31.h>

struct Row {
  ZtbString name;
  ZtbDatavar value;
  ZtbReal price;
  ZtbDate day;
};

Row makeRow(int number);
void show(char const* what, ZtbString const& text);
void show(char const* what, __int64 number);

// By dynamic_cast alone.
ZtbString familyOf(ZtURI* uri);

// Gives the values of a row to a template.
class RowValues final : public ZtbTemplateValueCB {
 public:
  explicit RowValues(Row row);
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override;

 private:
  Row mRow;
};

// Gives up at the third question.
class Impatient final : public SharedBufferWaitCallback {
 public:
  unsigned char poll() override;
  int asked = 0;
};

class Counter final : public ZtbAutoSingleton {
 public:
  int next();
  char const* getSingletonName() override;
  void* createInstance() override;
  void destroyInstance(void* instance) override;
};

#endif
