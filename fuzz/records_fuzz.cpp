// SPDX-License-Identifier: MIT
//
// The field lists of `ztb records` and its lines. What stands before the first LF is the list, for
// records of as many bytes as the list itself asks for; the rest are texts, one a line. A list that
// is taken must cover the record; its texts must come back from CSV, read by the rules of RFC 4180,
// and from JSON.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "record_fields.h"
#include "tool.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "records_fuzz: %s\n", what);
  std::abort();
}

std::string_view takeLine(std::string_view& text) {
  std::size_t const end = text.find('\n');
  std::string_view const line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

// The sum of the numbers behind the colons, so that most lists have the right length.
std::size_t lengthOf(std::string_view list) {
  std::size_t sum = 0;
  for (std::size_t at = 0; (at = list.find(':', at)) != std::string_view::npos; ++at) {
    sum += std::strtoul(std::string(list.substr(at + 1)).c_str(), nullptr, 10) % 1000;
  }
  return sum;
}

std::vector<std::string> readCsv(std::string_view line) {
  std::vector<std::string> texts(1);
  bool isQuoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    bool const isQuote = line[i] == '"';
    if (isQuoted && isQuote && i + 1 < line.size() && line[i + 1] == '"') {
      texts.back() += line[i++];
    } else if (isQuote) {
      isQuoted = !isQuoted;
    } else if (line[i] == ',' && !isQuoted) {
      texts.emplace_back();
    } else {
      require(isQuoted || line[i] != '\n', "a line end without quotes");
      texts.back() += line[i];
    }
  }
  return texts;
}

void checkLines(std::vector<tool::RecordField> const& fields, std::string_view rest) {
  std::vector<std::string> texts;
  std::vector<std::string> shown;
  std::string json;
  for (tool::RecordField const& field : fields) {
    texts.emplace_back(takeLine(rest));
    // A line end within a text.
    if (texts.back().size() > 2 && texts.back()[0] == '^') texts.back()[1] = '\n';
    if (field.name.empty()) continue;
    shown.push_back(texts.back());
    json += (json.empty() ? "{" : ", ") + tool::jsonText(field.name) + ": " +
            tool::jsonText(texts.back());
  }
  std::string line;
  tool::appendCsv(line, fields, texts);
  require(line.size() > 1 && line.back() == '\n', "an empty line");
  require(readCsv(std::string_view(line).substr(0, line.size() - 1)) == shown, "CSV differs");
  line.clear();
  tool::appendJson(line, fields, texts);
  require(line == json + "}\n", "JSON differs");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view text(reinterpret_cast<char const*>(data), size);
  std::string_view const list = takeLine(text);
  std::size_t const length = lengthOf(list);
  std::vector<tool::RecordField> fields;
  if (!tool::parseFields(list, length, fields).empty()) return 0;
  std::size_t end = 0;
  for (tool::RecordField const& field : fields) {
    require(field.offset == end && field.bytes > 0, "a field isn't where the last one ends");
    end += field.bytes;
  }
  require(end == length, "the fields don't cover the record");
  checkLines(fields, text);
  return 0;
}
