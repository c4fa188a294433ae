// SPDX-License-Identifier: MIT
//
// Work-table URIs. The columns are a list in their order, with a hash table of their folded names
// beside it, and their text grows with them. The parser walks positions in the text and copies each
// name and each value once.

#include "ztwturi.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "ztbmessage.h"
#include "ztbnameindex_p.h"
#include "ztbstring_p.h"
#include "ztlog11.h"
#include "ztschr12.h"
#include "ztsstr12.h"
#include "zturi_p.h"
#include "ztwturi_p.h"

namespace {

using View = std::string_view;

constexpr char kSource[] = "ztwturi";
constexpr char kStart[] = "ztwt://";
constexpr std::size_t kStartBytes = sizeof(kStart) - 1;

// Reports a failure by its number, to the caller or else to the log, and gives false.
template <class... Arguments>
bool fail(ZtbString* errorText, int line, int number, Arguments... arguments) {
  constexpr int kInformation = 3;
  if (errorText) {
    *errorText = ztb_get_message(kSource, line, "Base Services", number, arguments...);
    return false;
  }
  ZtLogger* const logger = ztlogGetLogger("ZT.Base.URI.WorkTable");
  logger->operations->logMessage(logger, kInformation, kSource, line, number, arguments...);
  return false;
}

bool failForColumnMemory(ZtbString* errorText, int line) {
  return fail(errorText, line, 29, "(column descriptor)");
}

// The types whose values are tried, with the word that a refusal has for them.
struct TriedType {
  ztbType type;
  char const* word;
  bool (*isMet)(ZtbDatavar const& value);
};
constexpr TriedType kTriedTypes[] = {
    {ztbTypeBoolean, "boolean",
     [](ZtbDatavar const& value) {
       bool failed = false;
       value.asBool(&failed);
       return !failed;
     }},
    {ztbTypeInteger, "integer",
     [](ZtbDatavar const& value) {
       bool failed = false;
       value.asInt64(&failed);
       return !failed;
     }},
    {ztbTypeReal, "real",
     [](ZtbDatavar const& value) {
       bool failed = false;
       value.asReal(&failed);
       return !failed;
     }},
    {ztbTypeDate, "date", [](ZtbDatavar const& value) { return !value.asDate().isNull(); }},
};

TriedType const* findTriedType(ztbType type) {
  auto const* const row = std::find_if(std::begin(kTriedTypes), std::end(kTriedTypes),
                                       [type](TriedType const& each) { return each.type == type; });
  return row != std::end(kTriedTypes) ? row : nullptr;
}

// False, with a report, for a value that isn't of its declared type.
bool checkValue(ZtbString const& value, ztbType type, ZtbString* errorText) {
  TriedType const* const tried = value.length() != 0 ? findTriedType(type) : nullptr;
  if (!tried) return true;
  ZtbDatavar variant;
  variant.assign(value);
  if (variant.isNull()) return failForColumnMemory(errorText, __LINE__);
  if (tried->isMet(variant)) return true;
  return fail(errorText, __LINE__, 1778, value.asCstr(), tried->word);
}

// The quote ends a value and the comma an item.
void appendProtected(std::pmr::string* out, View value) {
  for (std::size_t special; (special = value.find_first_of("',")) != View::npos;) {
    out->append(value.substr(0, special));
    out->append(value[special] == '\'' ? "%27" : "%2C");
    value.remove_prefix(special + 1);
  }
  out->append(value);
}

// Throws when memory runs out.
void composeItem(std::pmr::string* item, ZtbString const& name, ZtbString const& value,
                 ztbType type) {
  std::size_t constexpr kMostAround = 16;  // a comma in front, "=", type and quotes
  item->reserve(kMostAround + name.cStrSize() + value.cStrSize());
  item->append(ztURIView(name));
  if (value.length() == 0) return;
  *item += '=';
  if (type >= ztbTypeBoolean && type <= ztbTypeDate) *item += ztbTypeToString(type);
  *item += '\'';
  if (findTriedType(type)) {
    item->append(ztURIView(value));
  } else {
    appendProtected(item, ztURIView(value));
  }
  *item += '\'';
}

struct WorkTableColumn {
  WorkTableColumn* next;
  ZtbString name;
  ZtbString value;
  ztbType type;
};

template <class Value>
void give(Value* out, Value const& value) {
  if (out) *out = value;
}

class ZtWorkTableURIImpl final : public ZtWorkTableURI {
 public:
  ZtWorkTableURIImpl(ZtbString const& table, __int64 firstRow, __int64 rowCount)
      : tableName(table), start(firstRow), count(rowCount) {
    storeRange(firstRow, rowCount);
  }
  ZtWorkTableURIImpl(ZtWorkTableURIImpl const&) = delete;
  ZtWorkTableURIImpl& operator=(ZtWorkTableURIImpl const&) = delete;

  void release() override { delete this; }
  ZtbString getScheme() override { return ZtbString("ztwt", true); }
  ZtbString getHost() override { return ZtbString(); }
  ZtbString getPath() override { return tableName; }
  ZtbString getQuery() override { return query; }
  ZtbString getFragment() override { return fragment; }
  ZtbString getURIString() override { return compose(tableName); }
  ZtbString getEscapedURIString() override { return compose(ztURIEscaped(tableName)); }
  ZtReposURI* asReposURI() override { return nullptr; }
  ZtDataURI* asDataURI() override { return nullptr; }

  bool addColumn(ZtbString const& name, ZtbString const& value, ztbType type,
                 ZtbString* errorText) override;
  bool getColumn(int index, ZtbString* name, ZtbString* value, ztbType* type) override;
  int getColumnCount() override { return columnCount; }
  ZtbString getTableName() override { return tableName; }
  bool getRange(__int64* firstRow, __int64* rowCount) override;
  void setTableName(ZtbString const& name) override { tableName = name; }
  bool setRange(__int64 firstRow, __int64 rowCount, ZtbString* errorText) override;

 private:
  ~ZtWorkTableURIImpl();

  // False when memory ran out.
  bool appendItem(ZtbString const& name, ZtbString const& value, ztbType type);
  bool appendToFragment(View key, __int64 value);
  bool storeRange(__int64 firstRow, __int64 rowCount);
  // Null when memory ran out.
  ZtbString compose(ZtbString const& table) const;

  ZtbString tableName;
  __int64 start;
  __int64 count;
  int columnCount = 0;
  WorkTableColumn* firstColumn = nullptr;
  WorkTableColumn* lastColumn = nullptr;
  ZtbString query;
  ZtbString fragment;
  ZtbNameIndex mIndex;
  // Where getColumn was last, so that a walk by index takes one step a call.
  WorkTableColumn* mLastRead = nullptr;
  int mLastReadIndex = 0;
};

ZtWorkTableURIImpl::~ZtWorkTableURIImpl() {
  while (WorkTableColumn* const column = firstColumn) {
    firstColumn = column->next;
    delete column;
  }
}

bool ZtWorkTableURIImpl::appendItem(ZtbString const& name, ZtbString const& value, ztbType type) {
  // Made apart and added at once, so that a failure leaves the query as it was.
  char shortItem[256];
  std::pmr::monotonic_buffer_resource memory(shortItem, sizeof(shortItem));
  bool failed = true;
  try {
    std::pmr::string item(query.length() != 0 ? "," : "", &memory);
    composeItem(&item, name, value, type);
    query.append(item.c_str(), &failed);
  } catch (std::exception const&) {
    return false;
  }
  return !failed;
}

bool ZtWorkTableURIImpl::addColumn(ZtbString const& name, ZtbString const& value, ztbType type,
                                   ZtbString* errorText) {
  if (name.length() == 0) return fail(errorText, __LINE__, 1795);
  unsigned long long const hash = ZtbNameIndex::hashOf(name);
  if (mIndex.has(name, hash)) {
    return fail(errorText, __LINE__, 1776, "column", name.asCstr());
  }
  std::unique_ptr<WorkTableColumn> column(new (std::nothrow)
                                              WorkTableColumn{nullptr, name, value, type});
  if (!column || !mIndex.reserve()) return failForColumnMemory(errorText, __LINE__);
  if (!checkValue(value, type, errorText)) return false;
  if (!appendItem(name, value, type)) return failForColumnMemory(errorText, __LINE__);
  mIndex.add(&column->name, hash);
  (lastColumn ? lastColumn->next : firstColumn) = column.get();
  lastColumn = column.release();
  ++columnCount;
  if (errorText) errorText->setNull();
  return true;
}

bool ZtWorkTableURIImpl::getColumn(int index, ZtbString* name, ZtbString* value, ztbType* type) {
  if (index < 0 || index >= columnCount) {
    give(name, ZtbString());
    give(value, ZtbString());
    give(type, ztbTypeUnknown);
    return false;
  }
  if (!mLastRead || index < mLastReadIndex) {
    mLastRead = firstColumn;
    mLastReadIndex = 0;
  }
  for (; mLastReadIndex < index; ++mLastReadIndex) mLastRead = mLastRead->next;
  give(name, mLastRead->name);
  give(value, mLastRead->value);
  give(type, mLastRead->type);
  return true;
}

bool ZtWorkTableURIImpl::getRange(__int64* firstRow, __int64* rowCount) {
  bool const isGiven = start >= 0;
  give(firstRow, isGiven ? start : 0);
  give(rowCount, isGiven ? count : 0);
  return isGiven;
}

bool ZtWorkTableURIImpl::setRange(__int64 firstRow, __int64 rowCount, ZtbString* errorText) {
  return storeRange(firstRow, rowCount) || fail(errorText, __LINE__, 29, "(URI fragment)");
}

bool ZtWorkTableURIImpl::storeRange(__int64 firstRow, __int64 rowCount) {
  fragment.setNull();
  start = firstRow;
  if (start != -1 && !appendToFragment("start=", start)) return false;
  count = rowCount;
  return count == -1 || appendToFragment("count=", count);
}

bool ZtWorkTableURIImpl::appendToFragment(View key, __int64 value) {
  char item[32];
  char* end = item;
  if (fragment.length() != 0) *end++ = ',';
  end = std::copy(key.begin(), key.end(), end);
  end = std::to_chars(end, std::end(item) - 1, value).ptr;
  *end = '\0';
  bool failed = false;
  fragment.append(item, &failed);
  return !failed;
}

ZtbString ZtWorkTableURIImpl::compose(ZtbString const& table) const {
  char const* const pieces[] = {kStart,
                                table.asCstr(),
                                query.length() != 0 ? "?" : "",
                                query.asCstr(),
                                fragment.length() != 0 ? "#" : "",
                                fragment.asCstr()};
  ZtbString text;
  for (char const* const piece : pieces) {
    bool failed = false;
    text.append(piece, &failed);
    if (failed) return ZtbString();
  }
  return text;
}

// A terminated copy of a part of a text that might be a word that is looked for without regard to
// case. What is longer than any spelling of those words gives an empty text.
class Word {
 public:
  explicit Word(View part) {
    if (part.size() < sizeof(mText)) part.copy(mText, part.size());
  }
  char const* text() const { return mText; }
  bool is(char const* word) const { return np_uchar_icomp(mText, word) == 0; }

 private:
  // The longest word has ten characters, and no character has more than four bytes.
  char mText[48] = {};
};

// Throws when memory runs out, as all that reads with it does.
ZtbString stringOf(View part) {
  ZtbString string;
  ztURIAssign(part, &string);
  return ztbOrThrow(string);
}

View withoutFirst(View part) {
  if (part.empty()) return part;
  int bytes = 0;
  np_uchar_toint(part.data(), &bytes);
  return part.substr(static_cast<std::size_t>(bytes));
}

View withoutLast(View part) {
  constexpr std::size_t kMostBytes = 4;
  for (std::size_t bytes = 2; bytes <= std::min(kMostBytes, part.size()); ++bytes) {
    std::size_t const begin = part.size() - bytes;
    if (np_uchar_sequence(part.data() + begin) == static_cast<int>(bytes)) {
      return part.substr(0, begin);
    }
  }
  return part.substr(0, part.empty() ? 0 : part.size() - 1);
}

ZtbString readValue(View part) {
  ZtbString value = stringOf(part);
  if (part.find('%') == View::npos) return value;
  return ztbOrThrow(value.replace(ZtbString("%27", true), ZtbString("'", true), 0, -1)
                        .replace(ZtbString("%2C", true), ZtbString(",", true), 0, -1));
}

// False, with a report, if the column is refused. The character behind the value is taken for its
// closing quote, whatever it is; so is the one in front of a value without quotes.
bool addColumn(ZtWorkTableURI* uri, View item) {
  item = ztbTrimmed(item);
  std::size_t const equals = item.find('=');
  ZtbString const name = stringOf(ztbTrimmedRight(item.substr(0, equals)));
  if (equals == View::npos) return uri->addColumn(name, ZtbString(), ztbTypeUnknown, nullptr);
  View const typed = ztbTrimmedLeft(item.substr(equals + 1));
  std::size_t const quote = typed.find('\'');
  if (quote == View::npos) {
    return uri->addColumn(name, readValue(withoutFirst(typed)), ztbTypeUnknown, nullptr);
  }
  Word const typeName(ztbTrimmedRight(typed.substr(0, quote)));
  return uri->addColumn(name, readValue(withoutLast(typed.substr(quote + 1))),
                        ztbTypeFromString(typeName.text()), nullptr);
}

// False, with a report, if a column is refused or finds no memory.
bool addColumns(ZtWorkTableURI* uri, View query) try {
  while (!query.empty()) {
    std::size_t const comma = query.find(',');
    if (!addColumn(uri, query.substr(0, comma))) return false;
    query.remove_prefix(comma == View::npos ? query.size() : comma + 1);
  }
  return true;
} catch (std::exception const&) {
  return failForColumnMemory(nullptr, __LINE__);
}

__int64 readNumber(View part) {
  // With the next pair behind it this is no number; the rest mustn't be read over and over again.
  if (part.find('=') != View::npos) return 0;
  std::string const text(ztbTrimmed(part));
  __int64 number = 0;
  return zts_numparse64(text.c_str(), &number, 0, 0) > 0 ? number : 0;
}

// The rows that a text asks for; -1 is not given.
struct Range {
  __int64 start = -1;
  __int64 count = -1;
};

Range readRange(View pairs) {
  Range range;
  bool isLast = false;
  for (std::size_t equals; (equals = pairs.find('=')) != View::npos;) {
    Word const key(ztbTrimmed(pairs.substr(0, equals)));
    pairs.remove_prefix(equals + 1);
    std::size_t const comma = isLast ? View::npos : pairs.find(',');
    isLast = comma == View::npos;
    __int64* const target = key.is("count")   ? &range.count
                            : key.is("start") ? &range.start
                                              : nullptr;
    if (!target) break;
    *target = readNumber(pairs.substr(0, comma));
    // The last value stays, and is looked through for a further pair.
    if (!isLast) pairs.remove_prefix(comma + 1);
  }
  return range;
}

struct Parts {
  View table;
  View query;
  View range;
};

// `text` is what stands behind the scheme. Only a table that something stands behind is trimmed on
// its left.
Parts split(View text) {
  std::size_t const question = text.find('?');
  std::size_t const separator = question != View::npos ? question : text.find('#');
  if (separator == View::npos) return {text, {}, {}};
  View const table = ztbTrimmed(text.substr(0, separator));
  View const rest = text.substr(separator + 1);
  if (question == View::npos) return {table, {}, rest};
  std::size_t const sharp = rest.find('#');
  View const query = ztbTrimmed(rest.substr(0, sharp));
  return {table, query, sharp == View::npos ? View() : rest.substr(sharp + 1)};
}

struct Release {
  void operator()(ZtURI* uri) const { uri->release(); }
};

}  // namespace

ZtURI* parseWorkTableURI(ZtbString const& text) try {
  View const trimmed = ztbTrimmed(ztURIView(text));
  Parts const parts = split(trimmed.substr(std::min(kStartBytes, trimmed.size())));
  Range const range = readRange(parts.range);
  std::unique_ptr<ZtWorkTableURI, Release> uri(
      getWorkTableURIFromComponents(stringOf(parts.table), range.start, range.count));
  return uri && addColumns(uri.get(), parts.query) ? uri.release() : nullptr;
} catch (std::exception const&) {
  return nullptr;
}

ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName) {
  return getWorkTableURIFromComponents(tableName, -1, -1);
}

ZtWorkTableURI* getWorkTableURIFromComponents(ZtbString const& tableName, __int64 start,
                                              __int64 count) {
  return new (std::nothrow) ZtWorkTableURIImpl(tableName, start, count);
}
