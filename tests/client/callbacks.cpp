// SPDX-License-Identifier: MIT
//
// The client's half that the library calls back.

#include <cstdio>
#include <utility>

#include "client.h"

Row makeRow(int number) {
  Row row{ztbStringFormat("row %d", number), ZtbDatavar(), ZtbReal(0.25), ZtbDate()};
  row.value.assign(number);
  row.price *= static_cast<double>(number);
  row.day.assign(2026, 11, number, 12, 30, 0);
  return row;
}

void show(char const* what, ZtbString const& text) {
  std::printf("%-22s %s\n", what, text.isNull() ? "(null)" : text.asCstr());
}

void show(char const* what, __int64 number) {
  std::printf("%-22s %lld\n", what, number);
}

ZtbString familyOf(ZtURI* uri) {
  if (auto* const table = dynamic_cast<ZtWorkTableURI*>(uri)) return table->getTableName();
  if (auto* const data = dynamic_cast<ZtDataURI*>(uri)) return data->getPart4();
  if (auto* const object = dynamic_cast<ZtReposURI*>(uri)) return object->getRepository();
  return ZtbString("none of the three", true);
}

RowValues::RowValues(Row row) : mRow(std::move(row)) {}

bool RowValues::getValue(ZtbString const& name, ZtbString* value, ZtbString* error) {
  if (name.compare("name", true) == 0) {
    *value = mRow.name;
  } else if (name.compare("price", true) == 0) {
    *value = mRow.price.asString();
  } else {
    error->assign("no such value");
  }
  return !value->isNull();
}

unsigned char Impatient::poll() {
  return ++asked == 3 ? 1 : 0;
}

int Counter::next() {
  return ++*static_cast<int*>(mInstance);
}

char const* Counter::getSingletonName() {
  return "client.counter";
}

void* Counter::createInstance() {
  return new int(0);
}

void Counter::destroyInstance(void* instance) {
  delete static_cast<int*>(instance);
}
