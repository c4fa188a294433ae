// SPDX-License-Identifier: MIT

#include "record_fields.h"

#include <algorithm>
#include <charconv>

#include "tool.h"

namespace tool {
namespace {

// Reads one "NAME:BYTES". Gives what is wrong.
std::string parseField(std::string_view text, RecordField& field) {
  std::string const shown = "\"" + printable(text) + "\"";
  std::size_t const colon = text.rfind(':');
  if (colon == std::string_view::npos) return shown + " isn't a field: write NAME:BYTES";
  std::string_view const width = text.substr(colon + 1);
  auto const [end, error] = std::from_chars(width.data(), width.data() + width.size(), field.bytes);
  bool const isNumber = error == std::errc() && end == width.data() + width.size();
  if (!isNumber || field.bytes == 0) return shown + " has no width in bytes behind its colon";
  field.name = text.substr(0, colon);
  if (!isUtf8(field.name)) return shown + " has a name that isn't UTF-8";
  return "";
}

bool hasName(RecordField const& field) {
  return !field.name.empty();
}

std::string sumFault(std::size_t sum, std::size_t length) {
  return "the fields have " + std::to_string(sum) + " bytes, and --length says " +
         std::to_string(length) +
         "; bytes that aren't to be shown are a field without a name, as " +
         "the last one in name:20,:1";
}

// No JSON text needs an escape for these.
bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; });
}

void appendJsonText(std::string& line, std::string_view text) {
  if (isPlain(text)) {
    line.append(1, '"').append(text).append(1, '"');
  } else {
    line += jsonText(text);
  }
}

void appendCsvText(std::string& line, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    line += text;
    return;
  }
  line += '"';
  for (char const c : text) line.append(c == '"' ? 2 : 1, c);
  line += '"';
}

}  // namespace

std::string parseFields(std::string_view text, std::size_t length,
                        std::vector<RecordField>& fields) {
  fields.clear();
  std::size_t sum = 0;
  for (bool isLast = false; !isLast;) {
    std::size_t const comma = text.find(',');
    isLast = comma == std::string_view::npos;
    RecordField field{"", sum, 0};
    if (std::string fault = parseField(text.substr(0, comma), field); !fault.empty()) return fault;
    bool const isTwice =
        hasName(field) && std::any_of(fields.begin(), fields.end(), [&](RecordField const& other) {
          return other.name == field.name;
        });
    if (isTwice) return "the name \"" + printable(field.name) + "\" stands twice";
    // So that no sum wraps.
    if (field.bytes > length - sum) return sumFault(sum + std::min(field.bytes, length), length);
    sum += field.bytes;
    fields.push_back(std::move(field));
    if (!isLast) text.remove_prefix(comma + 1);
  }
  if (sum != length) return sumFault(sum, length);
  return std::any_of(fields.begin(), fields.end(), hasName) ? "" : "no field has a name";
}

void appendCsv(std::string& line, std::vector<RecordField> const& fields,
               std::vector<std::string> const& texts) {
  std::size_t const start = line.size();
  bool isFirst = true;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (!hasName(fields[i])) continue;
    if (!isFirst) line += ',';
    appendCsvText(line, texts[i]);
    isFirst = false;
  }
  if (line.size() == start) line += "\"\"";
  line += '\n';
}

void appendJson(std::string& line, std::vector<RecordField> const& fields,
                std::vector<std::string> const& texts) {
  char const* separator = "{";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (!hasName(fields[i])) continue;
    line += separator;
    appendJsonText(line, fields[i].name);
    line += ": ";
    appendJsonText(line, texts[i]);
    separator = ", ";
  }
  line += "}\n";
}

}  // namespace tool
