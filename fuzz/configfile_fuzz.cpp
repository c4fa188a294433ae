// SPDX-License-Identifier: MIT
//
// Any bytes are a configuration file. What is read, written and read again is the same, and edits
// in between touch no other entry.
// Aimed at src/ztbconfigfile.cpp

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

#include "target.h"
#include "ztbconfigfile.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;
using Texts = std::vector<std::string>;

Pairs entriesOf(ZtbConfigFile& file) {
  Pairs pairs;
  ZtbString key, value;
  for (bool first = true; file.getNextEntry(first, &key, &value); first = false) {
    pairs.emplace_back(key.asCstr(), value.asCstr());
  }
  return pairs;
}

std::string written(ZtbString const& path) {
  std::ifstream file(path.asCstr(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Texts linesOf(std::string const& bytes) {
  Texts lines;
  std::istringstream text(bytes);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// Values rather than keys: what beats an earlier definition gives the key its spelling.
Texts valuesOf(ZtbConfigFile& file) {
  Texts values;
  for (auto const& [key, value] : entriesOf(file)) values.push_back(value);
  return values;
}

void checkRoundTrip(ZtbConfigFile& file, ZtbString const& path) {
  require(file.write(path));
  std::string const bytes = written(path);
  // A text that begins with the character of the byte-order mark loses it in the next reading.
  if (bytes.starts_with("\xef\xbb\xbf")) return;
  ZtbConfigFile again;
  require(again.read(path) && again.write(path));
  require(linesOf(written(path)).size() == linesOf(bytes).size());
  require(valuesOf(file) == valuesOf(again));
}

// The lines that are no entries, trimmed, in their order. For plain ASCII only.
Texts textLinesOf(std::string const& bytes) {
  Texts texts;
  char const blanks[] = " \t\v\f";
  for (std::string const& line : linesOf(bytes)) {
    std::size_t const begin = std::min(line.find_first_not_of(blanks), line.size());
    std::string const text = line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
    if (text.find('=') == std::string::npos || text[0] == '#') texts.push_back(text);
  }
  return texts;
}

void checkTextLines(std::string const& in, std::string const& out) {
  bool const isPlain =
      std::all_of(in.begin(), in.end(), [](signed char c) { return c > 0 && c != '\r'; });
  require(!isPlain || textLinesOf(in) == textLinesOf(out));
}

void checkEdits(ZtbConfigFile& file, ZtbString const& path) {
  Pairs expected = entriesOf(file);
  if (expected.empty()) return;
  auto const middle = expected.begin() + static_cast<std::ptrdiff_t>(expected.size() / 2);
  ZtbString const key(middle->first.c_str(), false);
  file.setEntryComment(key, ZtbString("late", true));
  ZtbConfigFile copy(file);
  file.deleteEntry(key);
  expected.erase(middle);
  require(entriesOf(file) == expected);
  require(file.read(path) && file.write(path) && copy.write(path));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  std::string const input = bytesOf(data, size);
  std::string const name = "configfile_fuzz." + std::to_string(getpid()) + ".cfg";
  std::string const place = std::filesystem::temp_directory_path() / name;
  ZtbString const path(place.c_str(), true);
  std::ofstream(place, std::ios::binary) << input;
  ZtbConfigFile file;
  require(file.read(path) && file.write(path));
  checkTextLines(input, written(path));
  checkRoundTrip(file, path);
  checkEdits(file, path);
  unlink(place.c_str());
  return 0;
}
