// SPDX-License-Identifier: MIT
//
// ztb text: how a text file is encoded and how its lines end, and its text in another encoding.

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tool.h"
#include "ztbtxtfile.h"
#include "ztschr12.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Without --to it shows encoding, byte-order mark, line ends and sizes. The encoding is found "
    "by\n"
    "the mark, or else is UTF-8 if the text is that, or else the one of your locale (Windows-1252\n"
    "where that is UTF-8). A character that --to lacks is refused. docs/text-files.md lists the\n"
    "encodings.\n\n"
    "  ztb text menu.txt\n"
    "  ztb text menu.txt --from windows-1252 --to UTF-8 --output menu-utf8.txt";

struct Arguments {
  std::string file;
  std::string from;
  std::string to;
  std::string output;  // empty for standard output
  bool json = false;
};

struct Summary {
  std::string encoding;
  bool hasMark = false;
  std::string lineEnds;
  long long lines = 0;
  long long characters = 0;
  long long replaced = 0;  // U+FFFD, that is what wasn't well-formed
  long long bytes = 0;
};

constexpr int kDetect = -1;
constexpr int kLookForMark = 1;

int encodingOf(std::string const& name) {
  return name.empty() ? kDetect : np_uchar_getenc(name.c_str());
}

void openForReading(ZtbTxtFile& file, Arguments const& arguments) {
  int const encoding = encodingOf(arguments.from);
  if (file.open(arguments.file.c_str(), ZtbTxtFile::ModeRead, encoding, kLookForMark)) return;
  throw Refused(fromZtb(file.getErrorMessage()));
}

// The kinds of line ends in the order of the counts.
constexpr std::array<char const*, 3> kLineEnds = {"LF", "CR LF", "CR"};
using LineEndCounts = std::array<long long, 3>;

// Walks the file's code units: the text layer tells all line ends alike.
LineEndCounts countLineEnds(std::ifstream& bytes, int unitBytes, bool bigEndian) {
  LineEndCounts counts{};
  bool afterReturn = false;
  std::vector<char> buffer(std::size_t{1} << 16);
  while (bytes.read(buffer.data(), static_cast<std::streamsize>(buffer.size())),
         bytes.gcount() > 0) {
    auto const unit = static_cast<std::size_t>(unitBytes);
    auto const size = static_cast<std::size_t>(bytes.gcount());
    for (std::size_t at = 0; at + unit <= size; at += unit) {
      unsigned code = 0;
      for (std::size_t i = 0; i < unit; ++i) {
        std::size_t const from = bigEndian ? at + i : at + unit - 1 - i;
        code = code << 8 | static_cast<unsigned char>(buffer[from]);
      }
      if (code == '\n') ++counts[afterReturn ? 1 : 0];
      if (code != '\n' && afterReturn) ++counts[2];
      afterReturn = code == '\r';
    }
  }
  if (afterReturn) ++counts[2];
  return counts;
}

std::string describe(LineEndCounts const& counts) {
  std::string result;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    result += (result.empty() ? "" : ", ") + std::string(kLineEnds[i]) + " (" +
              std::to_string(counts[i]) + ")";
  }
  return result.empty() ? "none" : result;
}

void inspectBytes(Summary& summary, std::string const& path, int encoding) {
  std::ifstream bytes(path, std::ios::binary);
  int markBytes = 0;
  char const* const mark = np_uchar_encmark(encoding, &markBytes);
  std::string start(static_cast<std::size_t>(markBytes), '\0');
  bytes.read(start.data(), markBytes);
  summary.hasMark = markBytes > 0 && bytes.gcount() == markBytes &&
                    start == std::string_view(mark, static_cast<std::size_t>(markBytes));
  bytes.clear();
  bytes.seekg(0);
  bool const bigEndian = encoding == np_enc_utf16be || encoding == np_enc_utf32be;
  summary.lineEnds = describe(countLineEnds(bytes, np_uchar_encunit(encoding), bigEndian));
}

void countText(Summary& summary, ZtbTxtFile& file) {
  char piece[65536];
  bool complete = false;
  bool lineBegun = false;
  for (int n; (n = file.readln(piece, sizeof piece, &complete)) != -2;) {
    if (n == -1) throw Refused(fromZtb(file.getErrorMessage()));
    summary.characters += ZtbString(piece, true).length();
    for (std::string_view rest(piece); (rest.find("\uFFFD")) != std::string_view::npos;
         rest.remove_prefix(rest.find("\uFFFD") + 3)) {
      ++summary.replaced;
    }
    lineBegun = !complete;
    if (complete) ++summary.lines;
  }
  if (lineBegun) ++summary.lines;
}

Summary inspect(Arguments const& arguments) {
  std::error_code ignored;
  if (std::filesystem::is_other(arguments.file, ignored)) {
    throw Refused("\"" + printable(arguments.file) +
                  "\" is a pipe or a device, and this reads twice; save it to a file first");
  }
  ZtbTxtFile file;
  openForReading(file, arguments);
  Summary summary;
  int const encoding = file.getencoding();
  summary.encoding = np_uchar_encname(encoding);
  summary.bytes = file.size();
  inspectBytes(summary, arguments.file, encoding);
  countText(summary, file);
  return summary;
}

int show(Arguments const& arguments) {
  Summary const summary = inspect(arguments);
  if (arguments.json) {
    JsonObject object;
    object.add("encoding", summary.encoding)
        .add("mark", summary.hasMark)
        .add("lineEnds", summary.lineEnds)
        .add("lines", summary.lines)
        .add("characters", summary.characters)
        .add("replacementCharacters", summary.replaced)
        .add("bytes", summary.bytes);
    std::printf("%s\n", object.str().c_str());
    return 0;
  }
  std::printf("encoding    %s, %s byte-order mark\n", summary.encoding.c_str(),
              summary.hasMark ? "with a" : "no");
  std::printf("line ends   %s\n", summary.lineEnds.c_str());
  std::printf("lines       %lld\ncharacters  %lld without line ends\nbytes       %lld\n",
              summary.lines, summary.characters, summary.bytes);
  if (summary.replaced > 0) {
    std::printf("note        %lld characters are U+FFFD: the file may be in another encoding\n",
                summary.replaced);
  }
  return 0;
}

void convertTo(std::string const& output, Arguments const& arguments) {
  ZtbTxtFile from;
  openForReading(from, arguments);
  ZtbTxtFile to;
  if (!to.open(output.c_str(), ZtbTxtFile::ModeWrite, encodingOf(arguments.to), 0)) {
    throw Refused(fromZtb(to.getErrorMessage()));
  }
  char piece[65536];
  for (int n; (n = from.read(piece, sizeof piece)) != 0;) {
    if (n < 0) throw Refused("\"" + printable(arguments.file) + "\" can't be read to its end");
    if (to.write(piece)) continue;
    throw Refused("can't write all of the text: no room is left, or " + arguments.to +
                  " lacks a character of it");
  }
}

// Goes through a temporary file: opened by its name, the file behind standard output would be cut,
// and with it what it held before, or the very text that is read.
void convertToStdout(Arguments const& arguments) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> const text(std::tmpfile(), std::fclose);
  if (text == nullptr) throw Refused("can't make a temporary file; use --output FILE");
  convertTo("/dev/fd/" + std::to_string(::fileno(text.get())), arguments);
  char buffer[65536];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, text.get())) > 0;) {
    std::fwrite(buffer, 1, n, stdout);
  }
}

int convert(Arguments const& arguments) {
  if (arguments.output.empty()) return convertToStdout(arguments), 0;
  std::error_code ignored;
  if (std::filesystem::equivalent(arguments.file, arguments.output, ignored)) {
    throw Refused("--output is the file that is read; write to another one");
  }
  return convertTo(arguments.output, arguments), 0;
}

}  // namespace

std::vector<std::string> encodingNames() {
  std::vector<std::string> names;
  for (int i = 0; np_uchar_encname(i) != nullptr; ++i) names.emplace_back(np_uchar_encname(i));
  return names;
}

Run declareText(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("file", arguments->file, "The text file")->required()->type_name(kFile);
  app.add_option("--from", arguments->from, "Its encoding (default: detected)")
      ->type_name(kEncoding)
      ->check(isEncoding());
  auto* const to =
      app.add_option("--to", arguments->to, "Write the text in this encoding, with LF at line ends")
          ->type_name(kEncoding)
          ->check(isEncoding());
  app.add_option("--output", arguments->output, "Where --to writes (default: standard output)")
      ->type_name(kFile)
      ->needs(to);
  app.add_flag("--json", arguments->json, "Print a JSON object")->excludes(to);
  app.footer(kHelp);
  return [arguments] {
    chooseHome("");
    Library library;
    library.startForMessages();
    return arguments->to.empty() ? show(*arguments) : convert(*arguments);
  };
}

}  // namespace tool
