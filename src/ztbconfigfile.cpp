// SPDX-License-Identifier: MIT
//
// The model behind a configuration file: its lines in order, and beside them its entries by key.
//
// All texts and nodes of a model lie in one arena that is given back as a whole, so that an entry
// costs its line's bytes and a node, and no allocation of its own. What edits leave behind in the
// arena is counted; when it outweighs what is alive, the model is rebuilt by copying it.
//
// A file is read in two passes. The first keeps every line; the second puts the entries of the
// whole file into the ordered map in key order, where each goes to the end at constant cost. For
// entries of one key this order is that of their lines, so the outcome is that of entering them
// one by one.

#include "ztbconfigfile.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iterator>
#include <map>
#include <memory_resource>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ztbconfigfile_p.h"
#include "ztbtxtfile.h"
#include "ztschr12.h"

namespace {

constexpr int kEndOfFile = -2;
constexpr int kDetectEncoding = -1;
constexpr int kLookForMark = 1;
constexpr int kNoLine = -1;
constexpr unsigned kPieceBytes = 1024;

// A text is NUL-terminated; a null pointer stands for the null string. Texts in the model belong
// to its arena.
struct ConfigEntry {
  char const* comment = nullptr;
  char const* value = nullptr;
  // The place in `lines` where this entry is written, kNoLine if it was only set. If the file has
  // a comment above the entry, that is the comment's place, and the one behind it is absent.
  int line = kNoLine;
  bool underComment = false;
};

// What is written at one place of the file. Exactly one of three: an entry, with `text` the key as
// spelled here; a plain text, which may be several lines; or absent, with neither.
struct ConfigLine {
  ConfigEntry* entry = nullptr;
  char const* text = nullptr;
};

struct KeyLess {
  bool operator()(char const* a, char const* b) const {
    if (a == nullptr || b == nullptr) return a == nullptr && b != nullptr;
    return np_uchar_icomp(a, b) < 0;
  }
};

using Lines = std::vector<ConfigLine>;
using Entries = std::pmr::map<char const*, ConfigEntry, KeyLess>;

// The map's node as the common libraries lay it out: three pointers and a colour, then the pair.
constexpr std::size_t kNodeBytes = 4 * sizeof(void*) + sizeof(Entries::value_type);

// An entry line that was read and isn't in the map yet. Its text is the key, and the value stands
// behind the key's terminator.
struct Definition {
  std::uint64_t rank;
  int line;
};

char const* textOf(ZtbString const& string) {
  return string.isNull() ? nullptr : string.asCstr();
}

ZtbString stringOf(char const* text) {
  return ZtbString(text, false);
}

std::string_view viewOf(char const* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool isSpaceAt(char const* position, int* bytes) {
  *bytes = 1;
  if (!isAscii(*position)) return np_uchar_isspace(position, bytes) != 0;
  return *position == ' ' || (*position >= '\t' && *position <= '\r');
}

std::string_view trimmedLeft(std::string_view text) {
  int bytes = 0;
  while (!text.empty() && isSpaceAt(text.data(), &bytes)) {
    text.remove_prefix(std::min(static_cast<std::size_t>(bytes), text.size()));
  }
  return text;
}

// Multi-byte text is only walked forwards; ASCII at the end needs no walk, since no byte of another
// character looks like it.
std::string_view trimmedRight(std::string_view text) {
  int bytes = 0;
  while (!text.empty() && isAscii(text.back())) {
    if (!isSpaceAt(&text.back(), &bytes)) return text;
    text.remove_suffix(1);
  }
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size();) {
    bool const isSpace = isSpaceAt(text.data() + at, &bytes);
    at += static_cast<std::size_t>(bytes);
    if (!isSpace) end = at;
  }
  return text.substr(0, end);
}

std::string_view trimmed(std::string_view text) {
  return trimmedRight(trimmedLeft(text));
}

bool hasLineBreak(char const* text) {
  return text != nullptr && std::strpbrk(text, "\r\n") != nullptr;
}

// True if reading the line of this entry gives the entry back, but for blanks at the ends.
bool isRepresentable(char const* key, char const* value) {
  if (hasLineBreak(key) || hasLineBreak(value)) return false;
  std::string_view const written = trimmedLeft(viewOf(key));
  return written.find('=') == std::string_view::npos && !written.starts_with('#');
}

// The text as comment lines, so that no part of it can be taken for an entry.
std::string commentLines(std::string_view text) {
  std::string lines = "#";
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const isPair = text.substr(i, 2) == "\r\n";
    if (text[i] == '\n' || (text[i] == '\r' && !isPair)) {
      lines += "\n#";
    } else if (!isPair) {
      lines += text[i];
    }
  }
  return lines;
}

// The line of an entry. A value that was set with line breaks keeps to its line.
std::string entryLine(std::string_view key, std::string_view value) {
  std::string line;
  line.append(key).append("=").append(value);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return line;
}

// Eight characters of an ASCII key, folded, as a number that orders like them; zeros at the end.
std::uint64_t rankOf(char const* key) {
  std::uint64_t rank = 0;
  for (int shift = 56; shift >= 0 && *key != '\0'; shift -= 8, ++key) {
    unsigned const c = static_cast<unsigned char>(*key);
    rank |= std::uint64_t{c >= 'A' && c <= 'Z' ? c | 0x20 : c} << shift;
  }
  return rank;
}

void sortByComparing(std::span<Definition> found, Lines const& lines) {
  std::stable_sort(found.begin(), found.end(), [&](Definition const& a, Definition const& b) {
    return KeyLess()(lines[static_cast<std::size_t>(a.line)].text,
                     lines[static_cast<std::size_t>(b.line)].text);
  });
}

// Orders ASCII keys eight characters at a time, from character `depth` on, and equal keys by line.
// Keys that agree for long are compared instead, which bounds the recursion.
void sortByRank(std::span<Definition> found, Lines const& lines, std::size_t depth) {
  constexpr std::size_t kDeepest = 64;
  if (depth == kDeepest) return sortByComparing(found, lines);
  for (Definition& one : found) {
    one.rank = rankOf(lines[static_cast<std::size_t>(one.line)].text + depth);
  }
  auto const before = [](Definition const& a, Definition const& b) {
    return a.rank != b.rank ? a.rank < b.rank : a.line < b.line;
  };
  if (!std::is_sorted(found.begin(), found.end(), before)) {
    std::sort(found.begin(), found.end(), before);
  }
  for (auto run = found.begin(); run != found.end();) {
    std::uint64_t const rank = run->rank;
    auto const end =
        std::find_if(run, found.end(), [rank](Definition const& one) { return one.rank != rank; });
    bool const goesOn = (rank & 0xff) != 0;
    if (goesOn && end - run > 1) sortByRank({run, end}, lines, depth + sizeof rank);
    run = end;
  }
}

}  // namespace

struct ZtbConfigFile::Body {
  std::pmr::monotonic_buffer_resource arena;
  __int64 lineCount = 0;
  // The last of these has the number `lineCount`, the one before it one less, and so on.
  Lines lines;
  Entries entries{&arena};
  ZtbString errorMessage;
  // Where getNextEntry stands; the end if it stands nowhere.
  Entries::iterator cursor = entries.end();
  std::size_t usedBytes = 0;
  std::size_t droppedBytes = 0;

  Body() = default;
  Body(Body const& other);
  Body& operator=(Body const&) = delete;

  bool read(char const* path);
  bool write(char const* path);
  void clear();
  void setEntry(char const* key, char const* value);
  void setComment(ConfigEntry& entry, char const* comment);
  void deleteEntry(Entries::iterator entry, std::string_view spelling);

  ConfigLine& lineAt(int line) { return lines[static_cast<std::size_t>(line)]; }
  bool isMostlyDropped() const;

 private:
  struct Found {
    std::vector<Definition> definitions;
    bool isAscii = true;
  };

  char* keep(std::string_view text);
  char const* keepOrNull(char const* text) { return text == nullptr ? nullptr : keep(text); }
  void drop(char const* text) { droppedBytes += viewOf(text).size() + 1; }
  void addLine();
  bool readLines(ZtbTxtFile& file, Found& found);
  void takeLine(std::string_view line, Found& found);
  void takeDefinitions(Found& found, std::size_t firstOfFile);
  void define(int line, bool underComment);
  void leaveAsText(ConfigEntry const& entry, std::string text);
  bool checkEntries();
  bool writeLines(ZtbTxtFile& file) const;
};

ZtbConfigFile::Body::Body(Body const& other)
    : lineCount(other.lineCount), lines(other.lines), errorMessage(other.errorMessage) {
  for (ConfigLine& line : lines) {
    if (line.entry == nullptr) line.text = keepOrNull(line.text);
  }
  for (auto from = other.entries.begin(); from != other.entries.end(); ++from) {
    auto const& [key, entry] = *from;
    auto const to =
        entries.emplace_hint(entries.end(), keepOrNull(key),
                             ConfigEntry{keepOrNull(entry.comment), keepOrNull(entry.value),
                                         entry.line, entry.underComment});
    usedBytes += kNodeBytes;
    if (from == Entries::const_iterator(other.cursor)) cursor = to;
    if (entry.line == kNoLine) continue;
    ConfigLine& line = lineAt(entry.line);
    line = {&to->second, line.text == key ? to->first : keep(line.text)};
  }
}

bool ZtbConfigFile::Body::isMostlyDropped() const {
  constexpr std::size_t kWorthwhile = 64 * 1024;
  return droppedBytes > kWorthwhile && droppedBytes > usedBytes / 2;
}

char* ZtbConfigFile::Body::keep(std::string_view text) {
  char* const kept = static_cast<char*>(arena.allocate(text.size() + 1, 1));
  *std::copy(text.begin(), text.end(), kept) = '\0';
  usedBytes += text.size() + 1;
  return kept;
}

bool ZtbConfigFile::Body::read(char const* path) {
  ZtbTxtFile file;
  if (!file.open(path, ZtbTxtFile::ModeRead, kDetectEncoding, kLookForMark)) {
    errorMessage = file.getErrorMessage();
    return false;
  }
  std::size_t const firstOfFile = lines.size();
  Found found;
  bool const done = readLines(file, found);
  takeDefinitions(found, firstOfFile);
  if (!done) errorMessage = file.getErrorMessage();
  return done;
}

// Places in `lines` are held as int.
void ZtbConfigFile::Body::addLine() {
  if (lines.size() == INT_MAX) throw std::length_error("lines");
  lines.emplace_back();
  ++lineCount;
}

bool ZtbConfigFile::Body::readLines(ZtbTxtFile& file, Found& found) {
  char piece[kPieceBytes];
  std::string line;
  for (;;) {
    bool complete = false;
    int count = file.readln(piece, sizeof piece, &complete);
    if (count == kEndOfFile) return true;
    if (count < 0) return false;
    addLine();
    line.assign(piece);
    while (!complete) {
      count = file.readln(piece, sizeof piece, &complete);
      if (count == kEndOfFile) break;
      if (count < 0) return false;
      line.append(piece);
    }
    takeLine(trimmed(line), found);
  }
}

void ZtbConfigFile::Body::takeLine(std::string_view line, Found& found) {
  std::size_t const equals = line.starts_with('#') ? std::string_view::npos : line.find('=');
  if (equals == std::string_view::npos) {
    lines.back().text = keep(line);
    return;
  }
  std::string_view const key = trimmedRight(line.substr(0, equals));
  std::string_view const value = trimmedLeft(line.substr(equals + 1));
  char* const kept = static_cast<char*>(arena.allocate(key.size() + value.size() + 2, 1));
  char* const end = std::copy(key.begin(), key.end(), kept);
  *end = '\0';
  *std::copy(value.begin(), value.end(), end + 1) = '\0';
  usedBytes += key.size() + value.size() + 2;
  found.isAscii = found.isAscii && std::all_of(key.begin(), key.end(), isAscii);
  found.definitions.push_back({0, static_cast<int>(lines.size()) - 1});
  lines.back().text = kept;
}

void ZtbConfigFile::Body::takeDefinitions(Found& found, std::size_t firstOfFile) {
  if (found.isAscii) {
    sortByRank(found.definitions, lines, 0);
  } else {
    sortByComparing(found.definitions, lines);
  }
  for (Definition const& one : found.definitions) {
    bool const isFirst = static_cast<std::size_t>(one.line) == firstOfFile;
    ConfigLine const above = isFirst ? ConfigLine() : lineAt(one.line - 1);
    bool const isComment = above.entry == nullptr && viewOf(above.text).starts_with('#');
    define(one.line, isComment && above.text[1] != '\0');
  }
}

void ZtbConfigFile::Body::define(int line, bool underComment) {
  char const* const key = lineAt(line).text;
  ConfigEntry entry{nullptr, key + std::strlen(key) + 1, line, underComment};
  if (underComment) {
    entry.line = line - 1;
    entry.comment = lineAt(line - 1).text + 1;
  }
  std::size_t const countBefore = entries.size();
  auto const place = entries.try_emplace(entries.end(), key);
  if (entries.size() == countBefore) {
    leaveAsText(place->second, entryLine(key, viewOf(place->second.value)));
  } else {
    usedBytes += kNodeBytes;
  }
  place->second = entry;
  lineAt(line) = {};
  lineAt(entry.line) = {&place->second, key};
}

// The entry goes from where it stands, and leaves its comment there and then `text`; if it stands
// nowhere, it leaves nothing. An entry that got its comment after it was read has one place for
// both. Memory is taken before anything changes.
void ZtbConfigFile::Body::leaveAsText(ConfigEntry const& entry, std::string text) {
  if (entry.line != kNoLine) {
    std::string const comment =
        viewOf(entry.comment).empty() ? std::string() : commentLines(entry.comment);
    bool const isSplit = entry.underComment && !comment.empty();
    if (!isSplit && !comment.empty()) text = comment + "\n" + text;
    char const* const first = isSplit ? keep(comment) : nullptr;
    char const* const last = keep(text);
    int line = entry.line;
    if (isSplit) lineAt(line++) = {nullptr, first};
    lineAt(line) = {nullptr, last};
  }
  drop(entry.comment);
  drop(entry.value);
}

bool ZtbConfigFile::Body::checkEntries() {
  for (auto const& [key, entry] : entries) {
    if (isRepresentable(key, entry.value)) continue;
    std::string const text = "The entry '" + entryLine(viewOf(key), viewOf(entry.value)) +
                             "' can't be written: a key holds no '=' and begins with no '#', and "
                             "neither key nor value holds a line break";
    errorMessage = stringOf(text.c_str());
    return false;
  }
  return true;
}

bool ZtbConfigFile::Body::write(char const* path) {
  if (!checkEntries()) return false;
  ZtbTxtFile file;
  if (file.open(path, ZtbTxtFile::ModeWrite, kDetectEncoding, 0) && writeLines(file) &&
      file.close()) {
    return true;
  }
  errorMessage = file.getErrorMessage();
  if (errorMessage.isNull()) {
    errorMessage = stringOf((std::string("Can't write all of the file '") + path + "'").c_str());
  }
  return false;
}

bool ZtbConfigFile::Body::writeLines(ZtbTxtFile& file) const {
  std::string line;
  auto const writeEntry = [&](char const* key, ConfigEntry const& entry) {
    std::string_view const comment = viewOf(entry.comment);
    if (!comment.empty() && !file.writeln(commentLines(comment).c_str())) return false;
    line.assign(viewOf(key)).append("=").append(viewOf(entry.value));
    return file.writeln(line.c_str());
  };
  for (ConfigLine const& one : lines) {
    if (one.text == nullptr) continue;
    if (!(one.entry ? writeEntry(one.text, *one.entry) : file.writeln(one.text))) return false;
  }
  for (auto const& [key, entry] : entries) {
    if (entry.line != kNoLine) continue;
    if (!file.writeln("") || !writeEntry(key, entry)) return false;
  }
  return true;
}

void ZtbConfigFile::Body::clear() {
  Lines().swap(lines);
  entries.clear();
  cursor = entries.end();
  arena.release();
  usedBytes = 0;
  droppedBytes = 0;
  errorMessage.setNull();
}

void ZtbConfigFile::Body::setEntry(char const* key, char const* value) {
  auto place = entries.find(key);
  char const* const kept = keepOrNull(value);
  if (place == entries.end()) {
    place = entries.emplace(keepOrNull(key), ConfigEntry{}).first;
    usedBytes += kNodeBytes;
  } else {
    drop(place->second.value);
  }
  place->second.value = kept;
}

void ZtbConfigFile::Body::setComment(ConfigEntry& entry, char const* comment) {
  char const* const kept = keepOrNull(comment);
  drop(entry.comment);
  entry.comment = kept;
}

void ZtbConfigFile::Body::deleteEntry(Entries::iterator place, std::string_view spelling) {
  leaveAsText(place->second, "#-DELETED " + entryLine(spelling, viewOf(place->second.value)));
  drop(place->first);
  droppedBytes += kNodeBytes;
  if (cursor == place) cursor = entries.end();
  entries.erase(place);
}

namespace {

// Calls `use` with the body, and gives `otherwise` if memory ran out there or for the body itself.
template <class Body, class Result, class Use>
Result guarded(Body* body, Result otherwise, Use use) noexcept {
  if (body == nullptr) return otherwise;
  try {
    return use(*body);
  } catch (std::exception const&) {
    return otherwise;
  }
}

// As above for an edit, which may leave so much behind in the arena that it is time to rebuild.
template <class Body, class Edit>
void edit(Body*& body, Edit change) noexcept {
  guarded(body, false, [&](Body& model) {
    change(model);
    if (!model.isMostlyDropped()) return true;
    Body* const rebuilt = new Body(model);
    delete body;
    body = rebuilt;
    return true;
  });
}

template <class Body>
Body* copyOf(Body const* body) noexcept {
  return guarded(body, static_cast<Body*>(nullptr), [](Body const& one) { return new Body(one); });
}

void give(Entries::value_type const& entry, ZtbString* key, ZtbString* value) {
  if (key != nullptr) *key = stringOf(entry.first);
  if (value != nullptr) *value = stringOf(entry.second.value);
}

constexpr char kNoMemory[] = "There isn't enough memory for the configuration file";

}  // namespace

ZtbConfigFile::ZtbConfigFile() : mBody(new (std::nothrow) Body) {}

ZtbConfigFile::ZtbConfigFile(ZtbConfigFile const& other) : mBody(copyOf(other.mBody)) {}

ZtbConfigFile& ZtbConfigFile::operator=(ZtbConfigFile const& other) {
  Body* const copy = copyOf(other.mBody);
  if (copy == nullptr) return *this;
  delete mBody;
  mBody = copy;
  return *this;
}

ZtbConfigFile::~ZtbConfigFile() {
  delete mBody;
}

bool ZtbConfigFile::read(ZtbString const& path) {
  bool enoughMemory = false;
  bool const done = guarded(mBody, false, [&](Body& body) {
    bool const wasRead = body.read(path.asCstr());
    enoughMemory = true;
    return wasRead;
  });
  if (!enoughMemory && mBody != nullptr) mBody->errorMessage = ZtbString(kNoMemory, true);
  return done;
}

bool ZtbConfigFile::write(ZtbString const& path) {
  return guarded(mBody, false, [&](Body& body) { return body.write(path.asCstr()); });
}

void ZtbConfigFile::clear() {
  if (mBody != nullptr) mBody->clear();
}

int ZtbConfigFile::getEntryCount() {
  return mBody == nullptr ? 0 : static_cast<int>(mBody->entries.size());
}

ZtbString ZtbConfigFile::getEntry(ZtbString const& key) {
  if (mBody == nullptr) return ZtbString();
  auto const place = mBody->entries.find(textOf(key));
  return place == mBody->entries.end() ? ZtbString() : stringOf(place->second.value);
}

bool ZtbConfigFile::getEntry(int index, ZtbString* key, ZtbString* value) {
  if (index < 0 || index >= getEntryCount()) {
    if (key != nullptr) key->setNull();
    if (value != nullptr) value->setNull();
    return false;
  }
  give(*std::next(mBody->entries.begin(), index), key, value);
  return true;
}

bool ZtbConfigFile::getNextEntry(bool first, ZtbString* key, ZtbString* value) {
  if (mBody == nullptr) return false;
  auto const end = mBody->entries.end();
  Entries::iterator& cursor = mBody->cursor;
  if (first) {
    cursor = mBody->entries.begin();
  } else if (cursor != end) {
    ++cursor;
  }
  if (cursor == end) return false;
  give(*cursor, key, value);
  return true;
}

void ZtbConfigFile::setEntry(ZtbString const& key, ZtbString const& value) {
  edit(mBody, [&](Body& body) { body.setEntry(textOf(key), textOf(value)); });
}

void ZtbConfigFile::deleteEntry(ZtbString const& key) {
  edit(mBody, [&](Body& body) {
    auto const place = body.entries.find(textOf(key));
    if (place != body.entries.end()) body.deleteEntry(place, key.asCstr());
  });
}

ZtbString ZtbConfigFile::getEntryComment(ZtbString const& key) {
  if (mBody == nullptr) return ZtbString();
  auto const place = mBody->entries.find(textOf(key));
  return place == mBody->entries.end() ? ZtbString() : stringOf(place->second.comment);
}

void ZtbConfigFile::setEntryComment(ZtbString const& key, ZtbString const& comment) {
  edit(mBody, [&](Body& body) {
    auto const place = body.entries.find(textOf(key));
    if (place != body.entries.end()) body.setComment(place->second, textOf(comment));
  });
}

ZtbString ZtbConfigFile::getErrorMessage() {
  return mBody == nullptr ? ZtbString(kNoMemory, true) : mBody->errorMessage;
}

int ZtbConfigFileLines::count(ZtbConfigFile const& file) {
  if (file.mBody == nullptr) return 0;
  return static_cast<int>(std::min<__int64>(file.mBody->lineCount, INT_MAX));
}

int ZtbConfigFileLines::ofEntry(ZtbConfigFile const& file, ZtbString const& key) {
  if (file.mBody == nullptr) return kNoLine;
  ZtbConfigFile::Body const& body = *file.mBody;
  auto const place = body.entries.find(textOf(key));
  if (place == body.entries.end() || place->second.line == kNoLine) return kNoLine;
  ConfigEntry const& entry = place->second;
  __int64 const firstNumber = body.lineCount - static_cast<__int64>(body.lines.size()) + 1;
  __int64 const number = firstNumber + entry.line + (entry.underComment ? 1 : 0);
  return static_cast<int>(std::min<__int64>(number, INT_MAX));
}
