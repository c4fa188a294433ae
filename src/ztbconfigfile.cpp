// SPDX-License-Identifier: MIT
//
// The model behind a configuration file: its lines in order, and beside them its entries by key.
//
// All texts and entries of a model lie in arenas that are given back as a whole, so that an entry
// costs its line's bytes and a small record, and no allocation of its own. What edits leave behind
// there is counted; when it outweighs what is alive, the model is rebuilt by copying it.
//
// A file is read in two passes. The first keeps every line, with a record for each entry. The
// second brings these records into key order, equal keys by line, and enters them. The outcome is
// that of entering them one by one; but a search for each would touch the texts all over memory,
// which costs several times what the reading does.

#include "ztbconfigfile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <memory_resource>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ztbconfigfile_p.h"
#include "ztbconfigorder_p.h"
#include "ztbstring_p.h"
#include "ztbtxtfile_p.h"
#include "ztschr12.h"

namespace {

constexpr int kEndOfFile = -2;
constexpr int kDetectEncoding = -1;
constexpr int kLookForMark = 1;
constexpr unsigned kBufferBytes = 1024;

char const* textOf(ZtbString const& string) {
  return string.isNull() ? nullptr : string.asCstr();
}

ZtbString stringOf(char const* text) {
  return ZtbString(text, false);
}

std::string_view viewOf(char const* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

bool hasLineBreak(char const* text) {
  return text != nullptr && std::strpbrk(text, "\r\n") != nullptr;
}

// True if reading the line of this entry gives the entry back, but for blanks at the ends.
bool isRepresentable(char const* key, char const* value) {
  if (hasLineBreak(key) || hasLineBreak(value)) return false;
  std::string_view const written = ztbTrimmedLeft(viewOf(key));
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

// Writes lines in pieces of some size, since each write of a text file goes to the system.
class LineWriter {
 public:
  explicit LineWriter(ZtbTxtFile& file) : mFile(file) {}

  bool writeLine(std::initializer_list<std::string_view> parts) {
    for (std::string_view const part : parts) mText += part;
    mText += '\n';
    return mText.size() < kPieceBytes || flush();
  }

  bool flush() {
    bool const done = mText.empty() || mFile.write(mText.c_str());
    mText.clear();
    return done;
  }

 private:
  static constexpr std::size_t kPieceBytes = 32 * 1024;

  ZtbTxtFile& mFile;
  std::string mText;
};

}  // namespace

struct ZtbConfigFile::Body {
  // Texts stand close together, apart from the entries: sorting visits them all over memory.
  std::pmr::monotonic_buffer_resource textArena;
  std::pmr::monotonic_buffer_resource entryArena;
  __int64 lineCount = 0;
  // The last of these has the number `lineCount`, the one before it one less, and so on.
  ConfigLines lines;
  ConfigOrder entries;
  std::size_t addedCount = 0;  // of entries without a line
  ZtbString errorMessage;
  // The entry where getNextEntry stands, null if it stands nowhere, and where it was last found.
  ConfigEntry* cursor = nullptr;
  ConfigOrder::Place cursorPlace;
  std::size_t usedBytes = 0;
  std::size_t droppedBytes = 0;

  Body() = default;
  Body(Body const& other);
  Body& operator=(Body const&) = delete;

  bool read(char const* path);
  bool write(char const* path);
  void clear();
  ConfigEntry* find(char const* key) const;
  ConfigEntry* goTo(ConfigOrder::Place place);
  ConfigEntry* goOn();
  void setEntry(char const* key, char const* value);
  void setComment(ConfigEntry& entry, char const* comment);
  void deleteEntry(char const* key);
  bool isMostlyDropped() const;

 private:
  ConfigLine& lineAt(int line) { return lines[static_cast<std::size_t>(line)]; }
  char* take(std::size_t bytes);
  char* keep(std::string_view text);
  char const* keepOrNull(char const* text) { return text == nullptr ? nullptr : keep(text); }
  ConfigEntry* newEntry(ConfigEntry const& entry);
  ConfigEntry* copyEntry(ConfigEntry const& entry);
  void drop(char const* text) { droppedBytes += text == nullptr ? 0 : std::strlen(text) + 1; }
  void addLine();
  bool readLines(ZtbTxtFile& file);
  void takeLine(std::string_view line, std::size_t firstOfFile);
  void takeEntry(std::string_view key, std::string_view value, bool underComment);
  std::vector<ConfigDefinition> definitionsFrom(std::size_t firstOfFile) const;
  void enter(std::span<ConfigDefinition const> sorted);
  void redefine(ConfigEntry& earlier, ConfigEntry& later);
  void leaveAsText(ConfigEntry const& entry, std::string text);
  bool checkEntry(ConfigEntry const& entry);
  bool checkEntries();
  bool writeTo(ZtbTxtFile& file) const;
  template <class Use>
  bool forEachAdded(Use use) const;
};

ZtbConfigFile::Body::Body(Body const& other)
    : lineCount(other.lineCount),
      lines(other.lines),
      addedCount(other.addedCount),
      errorMessage(other.errorMessage),
      cursorPlace(other.cursorPlace) {
  for (ConfigLine& line : lines) {
    ConfigEntry const* const entry = line.entry;
    if (entry != nullptr) line.entry = copyEntry(*entry);
    bool const isShared = entry != nullptr && entry->key == line.text;
    line.text = isShared ? line.entry->key : keepOrNull(line.text);
  }
  ConfigEntry* from = nullptr;
  for (ConfigOrder::Place at; (from = other.entries.entryAt(at)) != nullptr;
       at = other.entries.next(at)) {
    entries.append(from->line == ConfigEntry::kNoLine ? copyEntry(*from)
                                                      : lineAt(from->line).entry);
    if (from == other.cursor) cursor = entries.last();
  }
}

bool ZtbConfigFile::Body::isMostlyDropped() const {
  constexpr std::size_t kWorthwhile = 64 * 1024;
  return droppedBytes > kWorthwhile && droppedBytes > usedBytes / 2;
}

char* ZtbConfigFile::Body::take(std::size_t bytes) {
  char* const taken = static_cast<char*>(textArena.allocate(bytes, 1));
  usedBytes += bytes;
  return taken;
}

char* ZtbConfigFile::Body::keep(std::string_view text) {
  char* const kept = take(text.size() + 1);
  *std::copy(text.begin(), text.end(), kept) = '\0';
  return kept;
}

ConfigEntry* ZtbConfigFile::Body::newEntry(ConfigEntry const& entry) {
  void* const place = entryArena.allocate(sizeof entry, alignof(ConfigEntry));
  usedBytes += sizeof entry;
  return new (place) ConfigEntry(entry);
}

ConfigEntry* ZtbConfigFile::Body::copyEntry(ConfigEntry const& entry) {
  ConfigEntry copy = entry;
  copy.key = keepOrNull(entry.key);
  copy.value = keepOrNull(entry.value);
  copy.comment = keepOrNull(entry.comment);
  return newEntry(copy);
}

bool ZtbConfigFile::Body::read(char const* path) {
  ZtbTxtFile file;
  if (!file.open(path, ZtbTxtFile::ModeRead, kDetectEncoding, kLookForMark)) {
    if (ztbTxtFileLacksMemory(file)) throw std::bad_alloc();
    errorMessage = file.getErrorMessage();
    return false;
  }
  std::size_t const firstOfFile = lines.size();
  bool const done = readLines(file);
  std::vector<ConfigDefinition> found = definitionsFrom(firstOfFile);
  ztbSortDefinitions(lines, found);
  enter(found);
  if (!done && ztbTxtFileLacksMemory(file)) throw std::bad_alloc();
  if (!done) errorMessage = file.getErrorMessage();
  return done;
}

// Places in `lines` are held as int.
void ZtbConfigFile::Body::addLine() {
  if (lines.size() == INT_MAX) throw std::length_error("lines");
  lines.emplace_back();
  ++lineCount;
}

bool ZtbConfigFile::Body::readLines(ZtbTxtFile& file) {
  std::size_t const firstOfFile = lines.size();
  char piece[kBufferBytes];
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
    takeLine(ztbTrimmed(line), firstOfFile);
  }
}

void ZtbConfigFile::Body::takeLine(std::string_view line, std::size_t firstOfFile) {
  std::size_t const equals = line.starts_with('#') ? std::string_view::npos : line.find('=');
  if (equals == std::string_view::npos) {
    lines.back().text = keep(line);
    return;
  }
  bool const isFirst = lines.size() - 1 == firstOfFile;
  ConfigLine const above = isFirst ? ConfigLine() : lines[lines.size() - 2];
  bool const underComment = above.entry == nullptr && above.text != nullptr &&
                            above.text[0] == '#' && above.text[1] != '\0';
  takeEntry(ztbTrimmedRight(line.substr(0, equals)), ztbTrimmedLeft(line.substr(equals + 1)),
            underComment);
}

void ZtbConfigFile::Body::takeEntry(std::string_view key, std::string_view value,
                                    bool underComment) {
  char* const kept = take(key.size() + value.size() + 2);
  char* const end = std::copy(key.begin(), key.end(), kept);
  *end = '\0';
  *std::copy(value.begin(), value.end(), end + 1) = '\0';
  int const line = static_cast<int>(lines.size()) - (underComment ? 2 : 1);
  char const* const comment = underComment ? lineAt(line).text + 1 : nullptr;
  ConfigEntry* const entry = newEntry({kept, end + 1, comment, line, underComment, false});
  lineAt(line) = {entry, kept};
}

// The entries of the lines that were just read. Their values stand behind their keys.
std::vector<ConfigDefinition> ZtbConfigFile::Body::definitionsFrom(std::size_t firstOfFile) const {
  auto const first = lines.begin() + static_cast<std::ptrdiff_t>(firstOfFile);
  auto const isEntry = [](ConfigLine const& line) { return line.entry != nullptr; };
  std::vector<ConfigDefinition> found;
  found.reserve(static_cast<std::size_t>(std::count_if(first, lines.end(), isEntry)));
  for (auto line = first; line != lines.end(); ++line) {
    if (line->entry == nullptr) continue;
    std::size_t const bytes = static_cast<std::size_t>(line->entry->value - line->text - 1);
    unsigned const keyBytes = static_cast<unsigned>(std::min<std::size_t>(bytes, INT_MAX));
    found.push_back({0, line->entry->line, keyBytes & INT_MAX, 0});
  }
  return found;
}

void ZtbConfigFile::Body::enter(std::span<ConfigDefinition const> sorted) {
  bool const isFirstFile = entries.size() == 0;
  ConfigEntry* last = nullptr;
  for (ConfigDefinition const& one : sorted) {
    ConfigEntry* const entry = lineAt(one.line).entry;
    if (one.isRepeated) {
      redefine(*last, *entry);
      continue;
    }
    ConfigOrder::Place const place = isFirstFile ? entries.end() : entries.lowerBound(entry->key);
    if (entries.isAt(place, entry->key)) {
      last = entries.entryAt(place);
      redefine(*last, *entry);
    } else {
      last = entry;
      entries.insert(place, entry);
    }
  }
}

// The earlier entry keeps its place in the order and the spelling of its key; all else is the later
// one's.
void ZtbConfigFile::Body::redefine(ConfigEntry& earlier, ConfigEntry& later) {
  leaveAsText(earlier, entryLine(later.key, viewOf(earlier.value)));
  char const* const spelling = earlier.key;
  earlier = later;
  earlier.key = spelling;
  lineAt(later.line).entry = &earlier;
  droppedBytes += sizeof later;
}

// The entry goes from where it stands, and leaves its comment there and then `text`; if it stands
// nowhere, it leaves nothing. An entry that got its comment after it was read has one place for
// both. Memory is taken before anything changes.
void ZtbConfigFile::Body::leaveAsText(ConfigEntry const& entry, std::string text) {
  if (entry.line == ConfigEntry::kNoLine) {
    --addedCount;
  } else {
    bool const hasComment = !viewOf(entry.comment).empty();
    std::string const comment = hasComment ? commentLines(entry.comment) : std::string();
    bool const isSplit = hasComment && entry.underComment;
    if (hasComment && !isSplit) text = comment + "\n" + text;
    char const* const first = isSplit ? keep(comment) : nullptr;
    char const* const last = keep(text);
    int line = entry.line;
    if (isSplit) lineAt(line++) = {nullptr, first};
    lineAt(line) = {nullptr, last};
  }
  drop(entry.comment);
  drop(entry.value);
}

bool ZtbConfigFile::Body::checkEntry(ConfigEntry const& entry) {
  if (!entry.isSet || isRepresentable(entry.key, entry.value)) return true;
  std::string const text = "The entry '" + entryLine(viewOf(entry.key), viewOf(entry.value)) +
                           "' can't be written: a key holds no '=' and begins with no '#', and "
                           "neither key nor value holds a line break";
  errorMessage = stringOf(text.c_str());
  return false;
}

// True if `use` was true for each entry without a line; ends at the first for which it isn't.
template <class Use>
bool ZtbConfigFile::Body::forEachAdded(Use use) const {
  if (addedCount == 0) return true;
  ConfigEntry const* entry = nullptr;
  for (ConfigOrder::Place at; (entry = entries.entryAt(at)) != nullptr; at = entries.next(at)) {
    if (entry->line == ConfigEntry::kNoLine && !use(*entry)) return false;
  }
  return true;
}

bool ZtbConfigFile::Body::checkEntries() {
  for (ConfigLine const& line : lines) {
    if (line.entry != nullptr && !checkEntry(*line.entry)) return false;
  }
  return forEachAdded([this](ConfigEntry const& entry) { return checkEntry(entry); });
}

bool ZtbConfigFile::Body::write(char const* path) {
  if (!checkEntries()) return false;
  ZtbTxtFile file;
  if (file.open(path, ZtbTxtFile::ModeWrite, kDetectEncoding, 0) && writeTo(file) && file.close()) {
    return true;
  }
  errorMessage = file.getErrorMessage();
  if (errorMessage.isNull()) {
    std::string const reason =
        std::string("Can't write all of the file '") + path +
        "'. Look whether its disk is full, your quota used up, or a pipe's reader gone.";
    errorMessage = stringOf(reason.c_str());
  }
  return false;
}

bool ZtbConfigFile::Body::writeTo(ZtbTxtFile& file) const {
  LineWriter writer(file);
  auto const writeEntry = [&](char const* key, ConfigEntry const& entry) {
    std::string_view const comment = viewOf(entry.comment);
    if (!comment.empty() && !writer.writeLine({commentLines(comment)})) return false;
    return writer.writeLine({viewOf(key), "=", viewOf(entry.value)});
  };
  for (ConfigLine const& line : lines) {
    if (line.text == nullptr) continue;
    bool const done =
        line.entry ? writeEntry(line.text, *line.entry) : writer.writeLine({line.text});
    if (!done) return false;
  }
  bool const done = forEachAdded([&](ConfigEntry const& entry) {
    return writer.writeLine({""}) && writeEntry(entry.key, entry);
  });
  return done && writer.flush();
}

void ZtbConfigFile::Body::clear() {
  lines.clear();
  entries.clear();
  addedCount = 0;
  cursor = nullptr;
  textArena.release();
  entryArena.release();
  usedBytes = 0;
  droppedBytes = 0;
  errorMessage.setNull();
}

ConfigEntry* ZtbConfigFile::Body::find(char const* key) const {
  ConfigOrder::Place const place = entries.lowerBound(key);
  return entries.isAt(place, key) ? entries.entryAt(place) : nullptr;
}

ConfigEntry* ZtbConfigFile::Body::goTo(ConfigOrder::Place place) {
  cursorPlace = place;
  cursor = entries.entryAt(place);
  return cursor;
}

// Edits since the last step may have moved the entry.
ConfigEntry* ZtbConfigFile::Body::goOn() {
  if (cursor == nullptr) return nullptr;
  if (!entries.holds(cursorPlace, cursor)) cursorPlace = entries.lowerBound(cursor->key);
  return goTo(entries.next(cursorPlace));
}

void ZtbConfigFile::Body::setEntry(char const* key, char const* value) {
  ConfigOrder::Place const place = entries.lowerBound(key);
  if (entries.isAt(place, key)) {
    ConfigEntry& entry = *entries.entryAt(place);
    char const* const kept = keepOrNull(value);
    drop(entry.value);
    entry.value = kept;
    entry.isSet = true;
    return;
  }
  char const* const kept = keepOrNull(key);
  entries.insert(place,
                 newEntry({kept, keepOrNull(value), nullptr, ConfigEntry::kNoLine, false, true}));
  ++addedCount;
}

void ZtbConfigFile::Body::setComment(ConfigEntry& entry, char const* comment) {
  char const* const kept = keepOrNull(comment);
  drop(entry.comment);
  entry.comment = kept;
}

void ZtbConfigFile::Body::deleteEntry(char const* key) {
  ConfigOrder::Place const place = entries.lowerBound(key);
  if (!entries.isAt(place, key)) return;
  ConfigEntry const* const entry = entries.entryAt(place);
  leaveAsText(*entry, "#-DELETED " + entryLine(viewOf(key), viewOf(entry->value)));
  drop(entry->key);
  droppedBytes += sizeof *entry;
  if (cursor == entry) cursor = nullptr;
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

// As above for an edit, which may leave so much behind that it is time to rebuild.
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

void give(ConfigEntry const& entry, ZtbString* key, ZtbString* value) {
  if (key != nullptr) *key = stringOf(entry.key);
  if (value != nullptr) *value = stringOf(entry.value);
}

constexpr char kNoMemory[] = "There isn't enough memory for the configuration file";

// As guarded, for what tells why it failed.
template <class Body, class Use>
bool guardedWithText(Body* body, Use use) noexcept {
  bool enoughMemory = false;
  bool const done = guarded(body, false, [&](Body& model) {
    bool const wasDone = use(model);
    enoughMemory = true;
    return wasDone;
  });
  if (!enoughMemory && body != nullptr) body->errorMessage = ZtbString(kNoMemory, true);
  return done;
}

}  // namespace

ZtbConfigFile::ZtbConfigFile() : mBody(nullptr) {
  try {
    mBody = new Body;
  } catch (std::bad_alloc const&) {
    // Every operation does with a body that isn't there.
  }
}

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
  return guardedWithText(mBody, [&](Body& body) { return body.read(path.asCstr()); });
}

bool ZtbConfigFile::write(ZtbString const& path) {
  return guardedWithText(mBody, [&](Body& body) { return body.write(path.asCstr()); });
}

void ZtbConfigFile::clear() {
  if (mBody != nullptr) mBody->clear();
}

int ZtbConfigFile::getEntryCount() {
  return mBody == nullptr ? 0 : static_cast<int>(mBody->entries.size());
}

ZtbString ZtbConfigFile::getEntry(ZtbString const& key) {
  ConfigEntry const* const entry = mBody == nullptr ? nullptr : mBody->find(textOf(key));
  return entry == nullptr ? ZtbString() : stringOf(entry->value);
}

bool ZtbConfigFile::getEntry(int index, ZtbString* key, ZtbString* value) {
  if (index < 0 || index >= getEntryCount()) {
    if (key != nullptr) key->setNull();
    if (value != nullptr) value->setNull();
    return false;
  }
  ConfigOrder const& entries = mBody->entries;
  give(*entries.entryAt(entries.placeAt(static_cast<std::size_t>(index))), key, value);
  return true;
}

bool ZtbConfigFile::getNextEntry(bool first, ZtbString* key, ZtbString* value) {
  if (mBody == nullptr) return false;
  ConfigEntry const* const entry = first ? mBody->goTo({}) : mBody->goOn();
  if (entry == nullptr) return false;
  give(*entry, key, value);
  return true;
}

void ZtbConfigFile::setEntry(ZtbString const& key, ZtbString const& value) {
  edit(mBody, [&](Body& body) { body.setEntry(textOf(key), textOf(value)); });
}

void ZtbConfigFile::deleteEntry(ZtbString const& key) {
  edit(mBody, [&](Body& body) { body.deleteEntry(textOf(key)); });
}

ZtbString ZtbConfigFile::getEntryComment(ZtbString const& key) {
  ConfigEntry const* const entry = mBody == nullptr ? nullptr : mBody->find(textOf(key));
  return entry == nullptr ? ZtbString() : stringOf(entry->comment);
}

void ZtbConfigFile::setEntryComment(ZtbString const& key, ZtbString const& comment) {
  edit(mBody, [&](Body& body) {
    ConfigEntry* const entry = body.find(textOf(key));
    if (entry != nullptr) body.setComment(*entry, textOf(comment));
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
  if (file.mBody == nullptr) return ConfigEntry::kNoLine;
  ZtbConfigFile::Body const& body = *file.mBody;
  ConfigEntry const* const entry = body.find(textOf(key));
  if (entry == nullptr || entry->line == ConfigEntry::kNoLine) return ConfigEntry::kNoLine;
  __int64 const firstNumber = body.lineCount - static_cast<__int64>(body.lines.size()) + 1;
  __int64 const number = firstNumber + entry->line + (entry->underComment ? 1 : 0);
  return static_cast<int>(std::min<__int64>(number, INT_MAX));
}

bool ZtbConfigFileLines::holds(ZtbConfigFile const& file, ZtbString const& key) {
  return file.mBody != nullptr && file.mBody->find(textOf(key)) != nullptr;
}

bool ZtbConfigFileLines::isThere(ZtbConfigFile const& file) {
  return file.mBody != nullptr;
}

bool ZtbConfigFileLines::isWhole(ZtbConfigFile const& file, ZtbString const* key,
                                 ZtbString const* value) {
  ConfigEntry const* const entry = file.mBody->cursor;
  bool const lacksKey = key != nullptr && key->isNull() && entry->key != nullptr;
  bool const lacksValue = value != nullptr && value->isNull() && entry->value != nullptr;
  return !lacksKey && !lacksValue;
}

// A text that isn't copied is known by its address.
bool ZtbConfigFileLines::lacksMemory(ZtbConfigFile const& file) {
  return file.mBody == nullptr || file.mBody->errorMessage.asCstr() == kNoMemory;
}
