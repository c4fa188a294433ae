// SPDX-License-Identifier: MIT
//
// Work-table URIs: a table, typed columns and a range of rows, scheme "ztwt".

#ifndef ZTWTURI_H
#define ZTWTURI_H

#include "ztbdatavar.h"
#include "zturi.h"

class ZTB_API ZtWorkTableURI : public ZtURI {
 public:
  virtual bool addColumn(ZtbString const& name, ZtbString const& value, ztbType type,
                         ZtbString* errorText) = 0;
  virtual bool getColumn(int index, ZtbString* name, ZtbString* value, ztbType* type) = 0;
  virtual int getColumnCount() = 0;
  virtual ZtbString getTableName() = 0;
  virtual bool getRange(__int64* start, __int64* count) = 0;
  virtual void setTableName(ZtbString const& name) = 0;
  virtual bool setRange(__int64 start, __int64 count, ZtbString* errorText) = 0;
};

ZTB_API ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName);
ZTB_API ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName, __int64 start,
                                                      __int64 count);

#endif
