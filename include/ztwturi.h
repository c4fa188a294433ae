// SPDX-License-Identifier: MIT
//
// Work-table URIs: a table, typed columns and a range of rows. The one URI that callers change
// after it is made: they add columns and set table and range, and the text follows.
//
//   ztwt://TABLE?NAME=Type'VALUE',NAME='VALUE',NAME#start=N,count=N
//
// The text that a URI gives is its canonical one, composed at each call from the present table,
// columns and range; nothing is kept of the text that it was parsed from.
//
// What a text can hold. Only the "'" and the "," of a value of type String or of no type are
// protected, as "%27" and "%2C". So a composed text gives the same parts when it is parsed again
// unless
// - the table holds "?" or has white space at an end, or holds "#" while there is no column;
// - a name holds "=", "," or "#", or has white space at an end;
// - a value holds "#", a "%27" or "%2C" of its own, or, with type Boolean, Integer, Real or Date,
//   a comma (as a date may: "May 6, 2024");
// - a column has a type without a value, or one whose number isn't that of a type: it comes back as
//   Unknown, and an empty value as a null one.
// Nothing is undone or escaped elsewhere: the table and the names stand as they are.
//
// Parsing. getURIFromURIString reads a text that begins with "ztwt://" by these rules, whose order
// decides where several marks occur; positions are those of characters, and trimming takes off
// Unicode white space.
// 1. The text is trimmed. The table reaches to the first "?", or without one to the first "#"; it
//    is trimmed if one of them is there. Behind a "?", the columns reach to the next "#"; what
//    stands behind that is the range.
// 2. The range is pairs of KEY=NUMBER, parted by commas: "start" and "count" in any case, in any
//    order, of which the last counts. Another key ends the pairs. What is no number, or doesn't fit
//    64 bits, is 0; -1 is the same as not given. The last number is all of the rest, so with a
//    further "=" behind it it is 0, and what it holds is looked at as pairs again.
// 3. The columns are parted by commas. An item is NAME, or NAME=TYPE'VALUE' with the name in front
//    of the first "=" and the type in front of the first "'" behind that. The type is what
//    ztbTypeFromString makes of it, so an unknown one is Unknown; without a type it is Unknown too.
//    The value reaches to the last character of the item, which is taken for the closing quote
//    whatever it is; so an unterminated value loses its last character. Without any "'" all but the
//    first character is the value: "a=abc" has the value "bc". "%27" and "%2C" are undone in the
//    values of all types. A comma behind the last column is ignored.
// 4. A column that addColumn refuses makes the result null, with the reason in the log alone: an
//    empty name ("a,,b"), a name that is there already, a value that isn't of its type.
// Ill-formed UTF-8 is kept as it stands. The cost is linear in the text, whatever it holds.
//
// Memory. Null from a factory or from the parser, and a null text, also mean that memory ran out.
//
// Threads. One object is for one thread at a time, reading included: getColumn keeps its place.

#ifndef ZTWTURI_H
#define ZTWTURI_H

#include "ztbdatavar.h"
#include "zturi.h"

// A table with columns and a range. The operations of ZtURI give: getScheme "ztwt"; getHost a null
// string; getPath the table; getQuery the columns as text and getFragment the range as text, null
// if there are none; getEscapedURIString the text with the multi-byte characters of the table
// escaped and all else as it is, so that a parse of it keeps the escapes in the table; asReposURI
// and asDataURI null.
class ZTB_API ZtWorkTableURI : public ZtURI {
 public:
  // Adds a column at the end. `name` is compared with those that are there without regard to case,
  // as ZtbString compares; `value` may be null or empty, and then only the name is written; a
  // `type` that is none of Boolean, Integer, Real, String and Date is kept, but not written.
  //
  // A value of type Boolean, Integer, Real or Date must be convertible as ZtbDatavar converts text.
  // It is kept and written as it was given.
  //
  // False leaves the columns as they were, with a message of the group "Base Services" in
  // `errorText`, or, if that is null, as a record of level 3 in the log "ZT.Base.URI.WorkTable":
  //   1795  the name is null or empty
  //   1776  a column of that name is there
  //   1778  the value doesn't convert to the type
  //   29    no memory for the column
  // True sets `errorText` null. Constant time for a name on average, whoever chose the names, and
  // amortised for the text; but the first call after a getQuery copies the text.
  //   uri->addColumn(name, ZtbString("5", true), ztbTypeInteger, &error)    // name=Integer'5'
  virtual bool addColumn(ZtbString const& name, ZtbString const& value, ztbType type,
                         ZtbString* errorText) = 0;

  // The column at `index`, counted from 0 in the order in which they were added. The value is
  // without its protection, null or empty as it was given; a parsed column without "=" has a null
  // one. For an index below 0 or from getColumnCount on: false, with null strings and the type
  // ztbTypeUnknown. Each of the outputs may be null, if it isn't wanted. Asked for in ascending
  // order, each costs constant time; a step back starts from the first.
  virtual bool getColumn(int index, ZtbString* name, ZtbString* value, ztbType* type) = 0;

  // The number of columns.
  virtual int getColumnCount() = 0;

  // The table, as it was given or stands in the text: escapes in it are never undone.
  virtual ZtbString getTableName() = 0;

  // The first row and the number of rows, which is -1 if it isn't given. False with two zeros if
  // the start is below 0, which is when it isn't given, even if there is a count. Each of the
  // outputs may be null.
  virtual bool getRange(__int64* start, __int64* count) = 0;

  // Any text; null and empty are a table without name.
  virtual void setTableName(ZtbString const& name) = 0;

  // Sets the range; -1 means not given, and every other number is taken. False when memory ran out,
  // reported as by addColumn with message 29: `start` is set, `count` perhaps, and getFragment may
  // lack what should have been added. True leaves `errorText` alone.
  virtual bool setRange(__int64 start, __int64 count, ZtbString* errorText) = 0;

 protected:
  // URIs end by release.
  ~ZtWorkTableURI() = default;
};

// A URI without columns, for the whole table or for a range as setRange takes it. Belongs to the
// caller, who ends it with release. Null when memory ran out.
//   ZtWorkTableURI* uri = getWorkTableURIFromComponents(table, 0, 100);
//   uri->getURIString()    // ztwt://TABLE#start=0,count=100
[[nodiscard]] ZTB_API ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName);
[[nodiscard]] ZTB_API ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName,
                                                                    __int64 start, __int64 count);

#endif
