// SPDX-License-Identifier: MIT
//
// The parser of logging configurations: statements of one line, told apart by their first word.

#include "ztlog11_config.h"

#include <syslog.h>

#include <algorithm>
#include <charconv>

#include "ztschr12.h"

namespace ztlog {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kPatternPlaceholders = "YmdHMSefzlLns#tPv%";
constexpr std::string_view kPathPlaceholders = "P%";
constexpr std::uint64_t kMinRotateBytes = 1 << 10;
constexpr std::uint64_t kMaxRotateBytes = std::uint64_t{1} << 40;
constexpr unsigned kMaxKeep = 999;
constexpr std::size_t kMaxSinkNameBytes = 64;

struct KindRow {
  std::string_view name;
  SinkKind kind;
};
constexpr KindRow kKinds[] = {{"stderr", kStderrSink},
                              {"file", kFileSink},
                              {"rotating", kRotatingSink},
                              {"syslog", kSyslogSink}};

struct FacilityRow {
  std::string_view name;
  int facility;
};
constexpr FacilityRow kFacilities[] = {
    {"user", LOG_USER},     {"daemon", LOG_DAEMON}, {"local0", LOG_LOCAL0}, {"local1", LOG_LOCAL1},
    {"local2", LOG_LOCAL2}, {"local3", LOG_LOCAL3}, {"local4", LOG_LOCAL4}, {"local5", LOG_LOCAL5},
    {"local6", LOG_LOCAL6}, {"local7", LOG_LOCAL7}};

int countCharacters(std::string_view text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xc0) != 0x80; }));
}

bool isNameByte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '-' || byte == '_';
}

std::string quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

template <typename Row, std::size_t N>
Row const* findRow(Row const (&rows)[N], std::string_view name) {
  Row const* const found =
      std::find_if(rows, rows + N, [&](Row const& row) { return row.name == name; });
  return found == rows + N ? nullptr : found;
}

template <typename Row, std::size_t N>
std::string namesOf(Row const (&rows)[N]) {
  std::string names;
  for (Row const& row : rows) names += (names.empty() ? "" : ", ") + std::string(row.name);
  return names;
}

// Whether a pattern of known placeholders has a %v; the one in "%%v" is none.
bool hasText(std::string_view pattern) {
  for (std::size_t i = pattern.find('%'); i < pattern.size(); i = pattern.find('%', i + 2)) {
    if (pattern.substr(i, 2) == "%v") return true;
  }
  return false;
}

// A word of a line, or the value behind a "=", with its quotes resolved.
struct Word {
  std::string text;
  std::size_t at = 0;  // byte of the line
};

class Parser {
 public:
  Parser(std::string const& text, Config* config, ParseError* error)
      : mText(text), mConfig(*config), mError(*error) {}

  bool parse();

 private:
  struct Option;
  struct Statement;
  static Option const kOptions[];
  static Statement const kStatements[];

  bool failAt(std::size_t at, std::string reason);
  bool fail(std::string reason) { return failAt(mAt, std::move(reason)); }
  bool checkCharacters();

  bool parseLine();
  void skipBlanks();
  bool readWord(Word* word, std::string_view what, std::string_view stops);
  bool readQuoted(Word* word);
  bool expectEnd();

  bool parseSink();
  bool readSinkName(SinkConfig* sink);
  bool readSinkKind(SinkConfig* sink);
  bool readOption(SinkConfig* sink, unsigned* seen);
  bool checkSink(SinkConfig const& sink);
  bool parsePattern();
  bool checkPlaceholders(std::string_view text, std::size_t at, std::string_view known);
  bool parseLevel();
  bool parseRoute();
  bool readLogger(std::string* name);
  bool findSink(Word const& word, std::size_t* index);

  bool setLevel(SinkConfig* sink, Word const& value);
  bool setPath(SinkConfig* sink, Word const& value);
  bool setSize(SinkConfig* sink, Word const& value);
  bool setKeep(SinkConfig* sink, Word const& value);
  bool setIdent(SinkConfig* sink, Word const& value);
  bool setFacility(SinkConfig* sink, Word const& value);
  bool levelFrom(Word const& word, int* level);

  std::string const& mText;
  Config& mConfig;
  ParseError& mError;
  std::string_view mLine;
  std::size_t mAt = 0;  // byte of the line that is read next
  int mLineNumber = 0;
};

struct Parser::Option {
  std::string_view name;
  unsigned kinds;
  bool (Parser::*set)(SinkConfig* sink, Word const& value);
};

constexpr Parser::Option Parser::kOptions[] = {
    {"level", kStderrSink | kFileSink | kRotatingSink | kSyslogSink, &Parser::setLevel},
    {"path", kFileSink | kRotatingSink, &Parser::setPath},
    {"size", kRotatingSink, &Parser::setSize},
    {"keep", kRotatingSink, &Parser::setKeep},
    {"ident", kSyslogSink, &Parser::setIdent},
    {"facility", kSyslogSink, &Parser::setFacility},
};

struct Parser::Statement {
  std::string_view name;
  bool (Parser::*parse)();
};

constexpr Parser::Statement Parser::kStatements[] = {{"sink", &Parser::parseSink},
                                                     {"pattern", &Parser::parsePattern},
                                                     {"level", &Parser::parseLevel},
                                                     {"route", &Parser::parseRoute}};

bool Parser::failAt(std::size_t at, std::string reason) {
  mError.place = {mLineNumber, countCharacters(mLine.substr(0, at)) + 1};
  mError.reason = escape(std::move(reason));
  return false;
}

bool Parser::parse() {
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  std::string_view rest = mText;
  if (rest.starts_with(kMark)) rest.remove_prefix(kMark.size());
  while (!rest.empty()) {
    std::size_t const end = std::min(rest.find('\n'), rest.size());
    mLine = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (mLine.ends_with('\r')) mLine.remove_suffix(1);
    mLine = mLine.substr(0, mLine.find_last_not_of(kBlanks) + 1);
    ++mLineNumber;
    mAt = 0;
    if (!checkCharacters() || !parseLine()) return false;
  }
  if (!mConfig.sinks.empty()) return true;
  mLine = {};
  mLineNumber = std::max(mLineNumber, 1);
  return failAt(0, "no sink: a line such as \"sink console stderr\" is missing");
}

bool Parser::checkCharacters() {
  for (std::size_t at = 0; at < mLine.size();) {
    auto const byte = static_cast<unsigned char>(mLine[at]);
    if (byte < 0x80) {
      if ((byte < 0x20 && byte != '\t') || byte == 0x7f) {
        return failAt(at, "control character " + escape(std::string(1, mLine[at])));
      }
      ++at;
      continue;
    }
    int width = 1;
    if (np_uchar_toint(mLine.data() + at, &width) == np_uchar_illformed)
      return failAt(at, "not UTF-8");
    at += static_cast<std::size_t>(width);
  }
  return true;
}

bool Parser::parseLine() {
  skipBlanks();
  if (mAt == mLine.size() || mLine[mAt] == '#') return true;
  Word word;
  if (!readWord(&word, "a statement", kBlanks)) return false;
  Statement const* const statement = findRow(kStatements, word.text);
  if (statement == nullptr) {
    return failAt(word.at,
                  "unknown statement " + quoted(word.text) + "; there are " + namesOf(kStatements));
  }
  return (this->*statement->parse)();
}

void Parser::skipBlanks() {
  mAt = std::min(mLine.find_first_not_of(kBlanks, mAt), mLine.size());
}

// Reads up to a byte of `stops`; a word that begins with a quote goes to the closing one.
bool Parser::readWord(Word* word, std::string_view what, std::string_view stops) {
  word->at = mAt;
  word->text.clear();
  if (mAt < mLine.size() && mLine[mAt] == '"') return readQuoted(word);
  std::size_t const end = std::min(mLine.find_first_of(stops, mAt), mLine.size());
  word->text = mLine.substr(mAt, end - mAt);
  mAt = end;
  if (word->text.empty()) return fail(std::string(what) + " is missing");
  if (word->text[0] == '#') return failAt(word->at, "a comment stands on a line of its own");
  return true;
}

bool Parser::readQuoted(Word* word) {
  for (++mAt; mAt < mLine.size() && mLine[mAt] != '"'; ++mAt) {
    if (mLine[mAt] == '\\' && ++mAt == mLine.size()) break;
    word->text += mLine[mAt];
  }
  if (mAt >= mLine.size()) return failAt(word->at, "a closing quote is missing");
  ++mAt;
  if (mAt < mLine.size() && kBlanks.find(mLine[mAt]) == std::string_view::npos) {
    return fail("a blank is missing behind the closing quote");
  }
  return true;
}

bool Parser::expectEnd() {
  skipBlanks();
  if (mAt == mLine.size()) return true;
  if (mLine[mAt] == '#') return fail("a comment stands on a line of its own");
  return fail("unexpected text behind the statement");
}

bool Parser::parseSink() {
  SinkConfig sink;
  if (!readSinkName(&sink) || !readSinkKind(&sink)) return false;
  unsigned seen = 0;
  for (skipBlanks(); mAt < mLine.size(); skipBlanks()) {
    if (!readOption(&sink, &seen)) return false;
  }
  if (!checkSink(sink)) return false;
  mConfig.sinks.push_back(std::move(sink));
  return true;
}

bool Parser::readSinkName(SinkConfig* sink) {
  skipBlanks();
  Word word;
  if (!readWord(&word, "the sink's name", kBlanks)) return false;
  if (!std::all_of(word.text.begin(), word.text.end(), isNameByte) || word.text.empty() ||
      word.text.size() > kMaxSinkNameBytes) {
    return failAt(word.at, "a sink's name has 1 to 64 of the characters a-z, A-Z, 0-9, _ and -");
  }
  for (SinkConfig const& other : mConfig.sinks) {
    if (other.name != word.text) continue;
    return failAt(word.at, "sink " + quoted(word.text) + " is there already, in line " +
                               std::to_string(other.place.line));
  }
  if (mConfig.sinks.size() == kMaxSinks) return failAt(word.at, "more than 64 sinks");
  sink->name = std::move(word.text);
  sink->place = {mLineNumber, countCharacters(mLine.substr(0, word.at)) + 1};
  return true;
}

bool Parser::readSinkKind(SinkConfig* sink) {
  skipBlanks();
  Word word;
  if (!readWord(&word, "the sink's kind (" + namesOf(kKinds) + ")", kBlanks)) return false;
  KindRow const* const row = findRow(kKinds, word.text);
  if (row == nullptr) {
    return failAt(word.at,
                  "unknown kind of sink " + quoted(word.text) + "; there are " + namesOf(kKinds));
  }
  sink->kind = row->kind;
  return true;
}

bool Parser::readOption(SinkConfig* sink, unsigned* seen) {
  Word key;
  if (!readWord(&key, "an option", " \t=")) return false;
  Option const* const option = findRow(kOptions, key.text);
  if (option == nullptr || (option->kinds & sink->kind) == 0) {
    return failAt(key.at, "this kind of sink has no option " + quoted(key.text));
  }
  unsigned const bit = 1u << (option - kOptions);
  if ((*seen & bit) != 0) return failAt(key.at, quoted(key.text) + " is given twice");
  *seen |= bit;
  if (mAt == mLine.size() || mLine[mAt] != '=') {
    return fail("\"=\" is missing behind " + quoted(key.text));
  }
  ++mAt;
  Word value;
  return readWord(&value, "the value of " + quoted(key.text), kBlanks) &&
         (this->*option->set)(sink, value);
}

bool Parser::checkSink(SinkConfig const& sink) {
  bool const needsPath = (sink.kind & (kFileSink | kRotatingSink)) != 0;
  if (needsPath && sink.path.empty()) return fail("path=FILE is missing");
  for (SinkConfig const& other : mConfig.sinks) {
    if (needsPath && other.path == sink.path) {
      return fail("sink " + quoted(other.name) + " writes to the same file");
    }
    if (sink.kind == kSyslogSink && other.kind == kSyslogSink) {
      return fail("a process has one way to syslog: sink " + quoted(other.name) +
                  " has it already");
    }
  }
  return true;
}

bool Parser::setLevel(SinkConfig* sink, Word const& value) {
  return levelFrom(value, &sink->level);
}

bool Parser::setPath(SinkConfig* sink, Word const& value) {
  if (value.text.empty()) return failAt(value.at, "the path is empty");
  if (value.text.back() == '/') return failAt(value.at, "the path names a folder, not a file");
  sink->path = value.text;
  return checkPlaceholders(mLine.substr(value.at, mAt - value.at), value.at, kPathPlaceholders);
}

bool Parser::setSize(SinkConfig* sink, Word const& value) {
  char const* const end = value.text.data() + value.text.size();
  auto const [rest, code] = std::from_chars(value.text.data(), end, sink->sizeBytes);
  std::size_t const unit = rest == end ? 0 : std::string_view("KMG").find(*rest) + 1;
  bool const good = code == std::errc() && (rest == end || (unit > 0 && rest + 1 == end)) &&
                    sink->sizeBytes <= kMaxRotateBytes >> (10 * unit);
  if (good) sink->sizeBytes <<= 10 * unit;
  if (good && sink->sizeBytes >= kMinRotateBytes) return true;
  return failAt(value.at, "a size is a number of bytes, or of K, M or G, from 1K to 1024G");
}

bool Parser::setKeep(SinkConfig* sink, Word const& value) {
  char const* const end = value.text.data() + value.text.size();
  auto const [rest, code] = std::from_chars(value.text.data(), end, sink->keep);
  if (code == std::errc() && rest == end && sink->keep >= 1 && sink->keep <= kMaxKeep) return true;
  return failAt(value.at, "keep is a number of files from 1 to 999");
}

bool Parser::setIdent(SinkConfig* sink, Word const& value) {
  sink->ident = value.text;
  return true;
}

bool Parser::setFacility(SinkConfig* sink, Word const& value) {
  FacilityRow const* const row = findRow(kFacilities, value.text);
  if (row == nullptr) {
    return failAt(value.at,
                  "unknown facility " + quoted(value.text) + "; there are " + namesOf(kFacilities));
  }
  sink->facility = row->facility;
  return true;
}

bool Parser::levelFrom(Word const& word, int* level) {
  *level = levelFromText(word.text);
  if (*level != 0) return true;
  return failAt(word.at, "unknown level " + quoted(word.text) +
                             "; there are trace (1), step (2), info (3), warning (4), error (5), "
                             "off");
}

bool Parser::parsePattern() {
  skipBlanks();
  Word word;
  if (!readWord(&word, "a sink's name or *", kBlanks)) return false;
  std::size_t index = 0;
  if (word.text != "*" && !findSink(word, &index)) return false;
  skipBlanks();
  std::string_view const text = mLine.substr(mAt);
  if (text.empty()) return fail("the pattern is missing");
  if (!checkPlaceholders(text, mAt, kPatternPlaceholders)) return false;
  if (!hasText(text)) {
    return fail("the pattern has no %v, so the text of records would be missing");
  }
  if (word.text != "*") return mConfig.sinks[index].pattern = text, true;
  if (mConfig.sinks.empty()) return failAt(word.at, "no sink stands above");
  for (SinkConfig& sink : mConfig.sinks) sink.pattern = text;
  return true;
}

bool Parser::checkPlaceholders(std::string_view text, std::size_t at, std::string_view known) {
  for (std::size_t i = text.find('%'); i != std::string_view::npos; i = text.find('%', i + 2)) {
    std::string_view const placeholder = text.substr(i, 2);
    if (placeholder.size() == 2 && known.find(placeholder[1]) != std::string_view::npos) continue;
    std::string list;
    for (char const letter : known) list += std::string(list.empty() ? "%" : " %") + letter;
    return failAt(at + i, "unknown placeholder; there are " + list);
  }
  return true;
}

bool Parser::parseLevel() {
  std::string logger;
  if (!readLogger(&logger)) return false;
  skipBlanks();
  Word word;
  int level = 0;
  if (!readWord(&word, "a level", kBlanks) || !levelFrom(word, &level)) return false;
  if (!mConfig.levels.emplace(logger, level).second) {
    return failAt(word.at, "this logger has a level already");
  }
  return expectEnd();
}

bool Parser::parseRoute() {
  std::string logger;
  if (!readLogger(&logger)) return false;
  std::size_t const behindLogger = mAt;
  SinkSet sinks = 0;
  for (skipBlanks(); sinks == 0 || mAt < mLine.size(); skipBlanks()) {
    Word word;
    std::size_t index = 0;
    if (!readWord(&word, "a sink's name", kBlanks) || !findSink(word, &index)) return false;
    sinks |= SinkSet{1} << index;
  }
  if (mConfig.routes.emplace(logger, sinks).second) return true;
  return failAt(behindLogger, "this logger has a route already");
}

bool Parser::readLogger(std::string* name) {
  skipBlanks();
  Word word;
  if (!readWord(&word, "a logger's name or *", kBlanks)) return false;
  if (word.text == "*") return true;
  *name = loggerName(word.text.c_str());
  if (!name->empty()) return true;
  return failAt(word.at, "no logger has this name; the root is *");
}

bool Parser::findSink(Word const& word, std::size_t* index) {
  auto const found = std::find_if(mConfig.sinks.begin(), mConfig.sinks.end(),
                                  [&](SinkConfig const& sink) { return sink.name == word.text; });
  if (found == mConfig.sinks.end()) {
    return failAt(word.at, "no sink " + quoted(word.text) + " stands above");
  }
  *index = static_cast<std::size_t>(found - mConfig.sinks.begin());
  return true;
}

}  // namespace

bool parseConfig(std::string const& text, Config* config, ParseError* error) {
  return Parser(text, config, error).parse();
}

std::string expandPath(std::string_view path, unsigned long processId) {
  std::string result;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] != '%') {
      result += path[i];
    } else if (path[++i] == 'P') {
      result += std::to_string(processId);
    } else {
      result += '%';
    }
  }
  return result;
}

}  // namespace ztlog
