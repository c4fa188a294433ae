// SPDX-License-Identifier: MIT
//
// ztb type: which type texts have, or the column of values that comes in on standard input.

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>

#include "lines.h"
#include "tool.h"
#include "ztbdeterminetype.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Types: Boolean (yes, no, true, false, y, n), Integer, Real, Date, String.\n"
    "Without texts, each line of standard input is a value, and the summary tells the type of the\n"
    "column: Integer if all values are, Real if all are integers and reals, else the type that "
    "all\n"
    "have, else String. Empty lines don't count. The line that made the column wider is shown.\n"
    "Numeric dates are read in the order of your locale. \"--\" lets texts begin with hyphens.\n\n"
    "  ztb type 12 1.5E3 '3 Feb 1989'\n"
    "  cut -d, -f2 prices.csv | ztb type";

constexpr std::array<char const*, 5> kTypeNames = {"Boolean", "Integer", "Real", "Date", "String"};

char const* nameOf(determinedType type) {
  return kTypeNames[static_cast<std::size_t>(type)];
}

// A longer text counts as a string, so that memory has a bound whatever comes in. So does a text
// with a NUL, behind which the library would not look.
constexpr std::size_t kLongest = std::size_t{1} << 20;

determinedType typeOf(std::string const& text) {
  bool const isPlain = text.size() <= kLongest && text.find('\0') == std::string::npos;
  return isPlain ? determineType(ZtbString(text.c_str(), true)) : determinedString;
}

// A value and where it stood.
struct Place {
  long long line = 0;
  std::string text;
};

// The type that holds the values of both.
determinedType widened(determinedType a, determinedType b) {
  auto const isNumber = [](determinedType type) {
    return type == determinedInteger || type == determinedReal;
  };
  if (a == b) return a;
  return isNumber(a) && isNumber(b) ? determinedReal : determinedString;
}

class Column {
 public:
  void add(std::string const& text) {
    ++mLines;
    if (text.empty()) {
      ++mEmpty;
      return;
    }
    determinedType const type = typeOf(text);
    Seen& seen = mSeen[static_cast<std::size_t>(type)];
    if (++seen.count == 1) seen.first = {mLines, shortened(text)};
    determinedType const wider = widened(mType.value_or(type), type);
    if (mType.has_value() && *mType != wider) {
      mBreaks.push_back({{mLines, shortened(text)}, type, *mType});
    }
    mType = wider;
  }

  void print() const {
    for (std::size_t i = 0; i < mSeen.size(); ++i) {
      Seen const& seen = mSeen[i];
      if (seen.count == 0) continue;
      std::printf("%-8s %9lld  first in line %lld: \"%s\"\n", kTypeNames[i], seen.count,
                  seen.first.line, printable(seen.first.text).c_str());
    }
    if (mEmpty > 0) std::printf("empty    %9lld\n", mEmpty);
    std::printf("lines    %9lld\ncolumn   %s\n", mLines,
                mType.has_value() ? nameOf(*mType) : "without values");
    for (Break const& here : mBreaks) {
      std::printf("         line %lld is the first that is no %s: \"%s\" is %s\n", here.place.line,
                  nameOf(here.before), printable(here.place.text).c_str(), nameOf(here.type));
    }
  }

  void printJson() const {
    JsonObject object;
    mType.has_value() ? object.add("column", nameOf(*mType)) : object.addNull("column");
    object.add("lines", mLines).add("empty", mEmpty);
    std::vector<JsonObject> types, breaks;
    for (std::size_t i = 0; i < mSeen.size(); ++i) {
      if (mSeen[i].count == 0) continue;
      types.emplace_back().add("type", kTypeNames[i]).add("count", mSeen[i].count);
      addPlace(types.back(), mSeen[i].first);
    }
    for (Break const& here : mBreaks) {
      addPlace(breaks.emplace_back(), here.place);
      breaks.back().add("type", nameOf(here.type)).add("before", nameOf(here.before));
    }
    object.add("types", types).add("breaks", breaks);
    std::printf("%s\n", object.str().c_str());
  }

 private:
  struct Seen {
    long long count = 0;
    Place first;
  };
  // A value that made the column wider.
  struct Break {
    Place place;
    determinedType type;
    determinedType before;
  };

  static void addPlace(JsonObject& object, Place const& place) {
    object.add("line", place.line).add("text", place.text);
  }

  // The front of a text, without cutting a character in two.
  static std::string shortened(std::string const& text) {
    constexpr std::size_t kShownBytes = 60;
    if (text.size() <= kShownBytes) return text;
    std::size_t end = kShownBytes;
    while (end > kShownBytes - 3 && (text[end] & 0xC0) == 0x80) --end;
    return text.substr(0, end) + "...";
  }

  long long mLines = 0;
  long long mEmpty = 0;
  std::array<Seen, kTypeNames.size()> mSeen;
  std::vector<Break> mBreaks;
  std::optional<determinedType> mType;
};

void typeTexts(std::vector<std::string> const& texts, bool json) {
  std::vector<JsonObject> objects;
  for (std::string const& text : texts) {
    char const* const type = nameOf(typeOf(text));
    if (json) {
      objects.emplace_back().add("text", text).add("type", type);
    } else {
      std::printf("%-8s %s\n", type, printable(text).c_str());
    }
  }
  if (json) printJsonArray(objects);
}

void typeColumn(bool json) {
  Column column;
  Lines lines(kLongest);
  for (std::string line; lines.next(line);) column.add(line);
  json ? column.printJson() : column.print();
}

}  // namespace

Run declareType(CLI::App& app) {
  auto const json = std::make_shared<bool>(false);
  takeTexts(app, "TEXT...", "What to look at (default: the lines of standard input)", 0);
  app.add_flag("--json", *json, "Print an array of texts, or an object for a column");
  app.footer(kHelp);
  return [json, &app] {
    takeUserLocale();
    Library library;
    std::vector<std::string> const texts = textsOf(app);
    texts.empty() ? typeColumn(*json) : typeTexts(texts, *json);
    return 0;
  };
}

}  // namespace tool
