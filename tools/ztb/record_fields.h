// SPDX-License-Identifier: MIT
//
// The fields of a fixed-width record, as a command names them, and their texts as CSV and JSON.

#ifndef ZTB_RECORD_FIELDS_H
#define ZTB_RECORD_FIELDS_H

#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct RecordField {
  std::string name;  // empty for bytes that aren't shown
  std::size_t offset;
  std::size_t bytes;
};

// Reads "NAME:BYTES,NAME:BYTES,…" for records of `length` bytes into `fields`. A colon in a name is
// part of it, a comma isn't. Gives what is wrong, or the empty text: each width is 1 or more, no
// name stands twice, one field at least has a name, and the widths add up to the length.
std::string parseFields(std::string_view text, std::size_t length,
                        std::vector<RecordField>& fields);

// Appends the fields' texts, as many as `fields` has, as a line. CSV is that of RFC 4180 with LF at
// the line's end: a text with a comma, a quote, CR or LF is quoted. A record whose only text is
// empty is a pair of quotes, since an empty line would be none. Fields without a name are left out.
void appendCsv(std::string& line, std::vector<RecordField> const& fields,
               std::vector<std::string> const& texts);
void appendJson(std::string& line, std::vector<RecordField> const& fields,
                std::vector<std::string> const& texts);

}  // namespace tool

#endif
