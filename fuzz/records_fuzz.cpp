// SPDX-License-Identifier: MIT
//
// The field lists of `ztb records` and its lines. What stands before the first LF is the list, for
// records of as many bytes as the list itself asks for; the rest are texts, one a line. A list that
// is taken must cover the record; its texts must come back from CSV, read by the rules of RFC 4180,
// and from JSON.
// Aimed at tools/ztb/record_fields.cpp

#include <algorithm>
#include <vector>

#include "record_fields.h"
#include "target.h"
#include "tool.h"

namespace {

std::string takeLine(std::string& text) {
  std::size_t const end = std::min(text.find('\n'), text.size());
  std::string const line = text.substr(0, end);
  text.erase(0, end + 1);
  return line;
}

// The sum of the numbers behind the colons, so that most lists have the right length.
std::size_t lengthOf(std::string const& list) {
  std::size_t sum = 0;
  for (std::size_t at = 0; (at = list.find(':', at)) != list.npos;) {
    sum += std::strtoul(list.c_str() + ++at, nullptr, 10) % 1000;
  }
  return sum;
}

std::vector<std::string> readCsv(std::string_view line) {
  std::vector<std::string> texts(1);
  bool isQuoted = false;
  for (; !line.empty(); line.remove_prefix(1)) {
    if (isQuoted && line.starts_with("\"\"")) {
      texts.back() += '"';
      line.remove_prefix(1);
    } else if (line[0] == '"') {
      isQuoted = !isQuoted;
    } else if (line[0] == ',' && !isQuoted) {
      texts.emplace_back();
    } else {
      require(isQuoted || line[0] != '\n');
      texts.back() += line[0];
    }
  }
  return texts;
}

void checkLines(std::vector<tool::RecordField> const& fields, std::string rest) {
  std::vector<std::string> texts, shown;
  std::string json, line;
  for (tool::RecordField const& field : fields) {
    std::string& text = texts.emplace_back(takeLine(rest));
    if (text.size() > 2 && text[0] == '^') text[1] = '\n';  // a line end within a text
    if (field.name.empty()) continue;
    shown.push_back(text);
    json += json.empty() ? "{" : ", ";
    json += tool::jsonText(field.name) + ": " + tool::jsonText(text);
  }
  tool::appendCsv(line, fields, texts);
  require(line.size() > 1 && line.back() == '\n');
  require(readCsv(std::string_view(line).substr(0, line.size() - 1)) == shown);
  line.clear();
  tool::appendJson(line, fields, texts);
  require(line == json + "}\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string text = bytesOf(data, size);
  std::string const list = takeLine(text);
  std::vector<tool::RecordField> fields;
  if (!tool::parseFields(list, lengthOf(list), fields).empty()) return 0;
  std::size_t end = 0;
  for (tool::RecordField const& field : fields) {
    require(field.offset == end && field.bytes > 0);
    end += field.bytes;
  }
  require(end == lengthOf(list));
  checkLines(fields, text);
  return 0;
}
