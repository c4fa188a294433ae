// SPDX-License-Identifier: MIT
//
// Any bytes are a configuration file. What is read, written and read again is the same, and edits
// in between touch no other entry.

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ztbconfigfile.h"
#include "ztbmempool_p.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

void expect(bool holds) {
  if (!holds) std::abort();
}

std::string fileName(char const* suffix) {
  char const* const folder = std::getenv("TMPDIR");
  return std::string(folder != nullptr ? folder : "/tmp") + "/configfile_fuzz." +
         std::to_string(getpid()) + suffix;
}

Pairs entriesOf(ZtbConfigFile& file) {
  Pairs pairs;
  ZtbString key, value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    pairs.emplace_back(key.asCstr(), value.asCstr());
  }
  return pairs;
}

std::string bytesOf(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> linesOf(std::string const& bytes) {
  std::vector<std::string> lines;
  std::istringstream text(bytes);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// Values rather than keys: what beats an earlier definition gives the key its spelling.
std::vector<std::string> valuesOf(ZtbConfigFile& file) {
  std::vector<std::string> values;
  for (auto const& [key, value] : entriesOf(file)) values.push_back(value);
  return values;
}

void checkRoundTrip(ZtbConfigFile& file, ZtbString const& path) {
  expect(file.write(path));
  std::string const bytes = bytesOf(path.asCstr());
  // A text that begins with the character of the byte-order mark loses it in the next reading.
  if (bytes.compare(0, 3, "\xef\xbb\xbf") == 0) return;
  ZtbConfigFile again;
  expect(again.read(path) && again.write(path));
  expect(linesOf(bytesOf(path.asCstr())).size() == linesOf(bytes).size());
  expect(valuesOf(file) == valuesOf(again));
}

// The lines that are no entries, trimmed, in their order. For plain ASCII only.
std::vector<std::string> textLinesOf(std::string const& bytes) {
  std::vector<std::string> texts;
  char const blanks[] = " \t\v\f";
  for (std::string const& line : linesOf(bytes)) {
    std::size_t const begin = std::min(line.find_first_not_of(blanks), line.size());
    std::string const text = line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
    if (text.find('=') == std::string::npos || text[0] == '#') texts.push_back(text);
  }
  return texts;
}

void checkTextLines(std::string const& in, std::string const& out) {
  bool const isPlain = std::all_of(in.begin(), in.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x80 && c != '\0' && c != '\r';
  });
  if (isPlain) expect(textLinesOf(in) == textLinesOf(out));
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
  expect(entriesOf(file) == expected);
  expect(file.read(path));
  expect(file.write(path) && copy.write(path));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  expect(isUp);
  std::string const path = fileName(".cfg");
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<char const*>(data), static_cast<std::streamsize>(size));
  {
    ZtbConfigFile file;
    expect(file.read(ZtbString(path.c_str(), true)));
    expect(file.write(ZtbString(path.c_str(), true)));
    checkTextLines({reinterpret_cast<char const*>(data), size}, bytesOf(path));
    checkRoundTrip(file, ZtbString(path.c_str(), true));
    checkEdits(file, ZtbString(path.c_str(), true));
  }
  unlink(path.c_str());
  return 0;
}
