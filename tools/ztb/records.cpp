// SPDX-License-Identifier: MIT
//
// ztb records: the records of a fixed-width file as CSV or JSON lines.

#include <algorithm>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "progress.h"
#include "record_fields.h"
#include "tool.h"
#include "ztbtxtfilefw.h"
#include "ztschr12.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "A field is NAME:BYTES; bytes that aren't to be shown, such as a line end, are a field without "
    "a\n"
    "name (:1). Blanks and NULs around a field's text are padding and left out. CSV begins with a\n"
    "line of the names and quotes as RFC 4180 says; with --json each record is an object in a "
    "line.\n"
    "docs/fixed-width-files.md has more.\n\n"
    "  ztb records stock.dat --length 20 --fields id:4,name:10,price:5,:1";

constexpr int kLongestRecord = 1 << 27;
constexpr long long kMostRecords = 1'000'000'000'000'000'000;
constexpr std::size_t kReadBytes = std::size_t{1} << 18;

struct Arguments {
  std::string file;
  int length = 0;
  std::string fieldsText;
  std::vector<RecordField> fields;
  std::string encoding;
  long long from = 0;
  long long count = LLONG_MAX;
  bool padded = false;
  bool csv = false;
  bool json = false;
};

// Turns the bytes of fields into UTF-8, by the encoding of their file.
class FieldText {
 public:
  FieldText(ZtbTxtFileFW& file, bool keepsPadding)
      : mFile(file),
        mUnit(static_cast<std::size_t>(np_uchar_encunit(file.getencoding()))),
        mBlank(mUnit, '\0'),
        mKeepsPadding(keepsPadding) {
    mBlank[file.getencoding() == np_enc_utf16be ? 1 : 0] = ' ';
  }

  // Whole code units only.
  void assign(std::string& text, std::string_view bytes) {
    if (!mKeepsPadding) bytes = withoutPadding(bytes);
    // Every encoding with units of a byte has ASCII as it is.
    bool const isPlain = mUnit == 1 && std::all_of(bytes.begin(), bytes.end(), [](char byte) {
                           return static_cast<signed char>(byte) > 0;
                         });
    text.clear();
    if (isPlain) {
      text = bytes;
    } else {
      convert(text, bytes);
    }
  }

 private:
  bool isPadding(std::string_view unit) const {
    return unit == mBlank || unit.find_first_not_of('\0') == std::string_view::npos;
  }

  std::string_view withoutPadding(std::string_view bytes) const {
    while (!bytes.empty() && isPadding(bytes.substr(0, mUnit))) bytes.remove_prefix(mUnit);
    while (!bytes.empty() && isPadding(bytes.substr(bytes.size() - mUnit))) {
      bytes.remove_suffix(mUnit);
    }
    return bytes;
  }

  // The library converts up to a NUL, so this goes from one to the next; as in text files, each
  // comes as U+FFFD.
  void convert(std::string& text, std::string_view bytes) {
    mSource.assign(bytes).append(mUnit, '\0');
    for (std::size_t at = 0;;) {
      std::size_t const end = terminatorBehind(at);
      append(text, mSource.data() + at, end - at);
      at = end + mUnit;
      if (at >= mSource.size()) return;
      text += "\uFFFD";
    }
  }

  std::size_t terminatorBehind(std::size_t at) const {
    std::string_view const source = mSource;
    while (source.substr(at, mUnit).find_first_not_of('\0') != std::string_view::npos) at += mUnit;
    return at;
  }

  void append(std::string& text, char const* source, std::size_t bytes) {
    constexpr std::size_t kMostBytes = 6;  // of UTF-8 that come from a byte
    mTarget.resize(bytes * kMostBytes + 1);
    int const size = mFile.encode(mTarget.data(), static_cast<int>(mTarget.size()), source);
    if (size < 0) throw Refused("the system can't convert from the file's encoding");
    text.append(mTarget.data(), static_cast<std::size_t>(size));
  }

  ZtbTxtFileFW& mFile;
  std::size_t mUnit;
  std::string mBlank;
  bool mKeepsPadding;
  std::string mSource;
  std::string mTarget;
};

// The records that are asked for and there.
struct Range {
  long long first;
  long long count;
  // Bytes of a record that the file ends in the middle of, if that one is asked for as well.
  long long cutBytes;
};

std::string shown(std::string const& file) {
  return "\"" + printable(file) + "\"";
}

void open(ZtbTxtFileFW& file, Arguments const& arguments) {
  std::error_code ignored;
  if (std::filesystem::is_other(arguments.file, ignored)) {
    throw Refused(shown(arguments.file) +
                  " is a pipe or a device, which has no place for a record; save it to a file "
                  "first");
  }
  constexpr int kDetect = -1;
  constexpr int kLookForMark = 1;
  int encoding = kDetect;
  if (!arguments.encoding.empty()) encoding = np_uchar_getenc(arguments.encoding.c_str());
  if (!file.open(arguments.file.c_str(), ZtbTxtFileFW::ModeRead, encoding, kLookForMark)) {
    throw Refused(shown(arguments.file) + ": " + fromZtb(file.getErrorMessage()));
  }
}

void checkUnits(ZtbTxtFileFW& file, Arguments const& arguments) {
  int const encoding = file.getencoding();
  auto const unit = static_cast<std::size_t>(np_uchar_encunit(encoding));
  std::string const name = np_uchar_encname(encoding);
  if (unit > 2) throw Refused("records in " + name + " aren't read; convert the file to UTF-16");
  for (RecordField const& field : arguments.fields) {
    if (field.bytes % unit == 0) continue;
    throw Refused("the width of field \"" + printable(field.name) + "\" is " +
                  std::to_string(field.bytes) + ", but a character of " + name + " has " +
                  std::to_string(unit) + " bytes");
  }
}

Range rangeOf(ZtbTxtFileFW& file, Arguments const& arguments) {
  long long const bytes = file.size() - file.tell();
  long long const records = bytes / arguments.length;
  if (arguments.from > records) {
    throw Refused(shown(arguments.file) + " has " + std::to_string(records) +
                  " records, and --from " + std::to_string(arguments.from) + " lies behind them");
  }
  long long const left = records - arguments.from;
  bool const isToTheEnd = arguments.count > left;
  return {arguments.from, std::min(arguments.count, left),
          isToTheEnd ? bytes % arguments.length : 0};
}

// Reads `bytes` bytes, and refuses a file that has become shorter meanwhile.
void readAll(ZtbTxtFileFW& file, std::string& buffer, std::size_t bytes) {
  buffer.resize(bytes);
  int const count = file.read(buffer.data(), static_cast<unsigned>(bytes));
  if (count < 0) throw Refused(fromZtb(file.getErrorMessage()));
  if (static_cast<std::size_t>(count) < bytes) throw Refused("the file has become shorter");
}

// The library finds a record by its number in the first 2 GiB; from there on it is read.
void goTo(ZtbTxtFileFW& file, long long record, int length, std::string& buffer) {
  long long const found = std::min<long long>(record, INT_MAX / length);
  if (!file.recseek(static_cast<int>(found), length)) throw Refused("can't go to the record");
  for (long long rest = (record - found) * length; rest > 0;) {
    auto const piece = std::min<long long>(rest, kReadBytes);
    readAll(file, buffer, static_cast<std::size_t>(piece));
    rest -= piece;
  }
}

void printNames(Arguments const& arguments) {
  std::vector<std::string> names;
  for (RecordField const& field : arguments.fields) names.push_back(field.name);
  std::string line;
  appendCsv(line, arguments.fields, names);
  std::fwrite(line.data(), 1, line.size(), stdout);
}

void assignFields(FieldText& converter, std::vector<RecordField> const& fields,
                  std::string_view record, std::vector<std::string>& texts) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    RecordField const& field = fields[i];
    if (field.name.empty()) continue;
    converter.assign(texts[i], record.substr(field.offset, field.bytes));
  }
}

void printRecords(ZtbTxtFileFW& file, Arguments const& arguments, Range const& range) {
  auto const length = static_cast<std::size_t>(arguments.length);
  auto const most = static_cast<long long>(std::max<std::size_t>(kReadBytes / length, 1));
  auto const append = arguments.json ? appendJson : appendCsv;
  Progress progress("records", range.count);
  FieldText converter(file, arguments.padded);
  std::vector<std::string> texts(arguments.fields.size());
  std::string bytes;
  std::string lines;
  goTo(file, range.first, arguments.length, bytes);
  for (long long done = 0; done < range.count;) {
    auto const records = static_cast<std::size_t>(std::min(most, range.count - done));
    readAll(file, bytes, records * length);
    lines.clear();
    for (std::size_t i = 0; i < records; ++i) {
      std::string_view const record = std::string_view(bytes).substr(i * length, length);
      assignFields(converter, arguments.fields, record, texts);
      append(lines, arguments.fields, texts);
    }
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    if (std::ferror(stdout) != 0) return;
    progress.show(done += static_cast<long long>(records));
  }
}

int run(Arguments const& arguments) {
  chooseHome("");
  Library library;
  library.startForMessages();
  ZtbTxtFileFW file;
  open(file, arguments);
  checkUnits(file, arguments);
  Range const range = rangeOf(file, arguments);
  if (!arguments.json) printNames(arguments);
  printRecords(file, arguments, range);
  if (range.cutBytes == 0) return 0;
  throw Refused(shown(arguments.file) + " ends in the middle of record " +
                std::to_string(range.first + range.count) + ", behind " +
                std::to_string(range.cutBytes) + " of its " + std::to_string(arguments.length) +
                " bytes; the whole records before it were printed (" + std::to_string(range.count) +
                "). Is --length right?");
}

void check(Arguments& arguments) {
  std::string const fault = parseFields(
      arguments.fieldsText, static_cast<std::size_t>(arguments.length), arguments.fields);
  if (!fault.empty()) throw CLI::ValidationError("--fields", fault);
}

}  // namespace

Run declareRecords(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  CLI::Validator const isCount = isBetween(0, kMostRecords);
  app.add_option("file", arguments->file, "The file of records")->required()->type_name(kFile);
  app.add_option("--length", arguments->length, "The bytes of a record")
      ->required()
      ->type_name(kNumber)
      ->check(isBetween(1, kLongestRecord));
  app.add_option("--fields", arguments->fieldsText, "The fields, NAME:BYTES,NAME:BYTES,...")
      ->required()
      ->type_name("FIELDS");
  app.add_option("--encoding", arguments->encoding, "Its encoding (default: detected)")
      ->type_name(kEncoding)
      ->check(isEncoding());
  app.add_option("--from", arguments->from, "The first record, counted from 0 (default: 0)")
      ->type_name(kNumber)
      ->check(isCount);
  app.add_option("--count", arguments->count, "How many records at most (default: all)")
      ->type_name(kNumber)
      ->check(isCount);
  app.add_flag("--padded", arguments->padded, "Keep the padding of the fields");
  auto* const json = app.add_flag("--json", arguments->json, "Print a JSON object a line");
  app.add_flag("--csv", arguments->csv, "Print CSV (so by default)")->excludes(json);
  app.footer(kHelp);
  app.callback([arguments] { check(*arguments); });
  return [arguments] { return run(*arguments); };
}

}  // namespace tool
