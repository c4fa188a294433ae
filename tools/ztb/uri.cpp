// SPDX-License-Identifier: MIT
//
// ztb uri: what URIs hold, and URIs made from components.

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "lines.h"
#include "tool.h"
#include "uri_build.h"
#include "uri_view.h"
#include "ztbstartup.h"

namespace tool {
namespace {

constexpr char kHelp[] =
    "Shows family, components and texts of each URI, or of each line of standard input. Quote "
    "URIs:\n"
    "\"(\", \"?\", \"#\" and \"'\" mean something to shells. docs/uris.md has the grammar.\n"
    "\"ztb uri build --help\" tells how to make one from its components.\n\n"
    "  ztb uri 'ztr://sales/2026/orders(Table)'\n"
    "  ztb uri build ztwt --table orders --column id=Integer:7";

// A file in memory, which has a path as long as it is open.
class MemoryFile {
 public:
  MemoryFile() : mNumber(memfd_create("ztb", MFD_CLOEXEC)) {
    if (mNumber < 0) throw Refused(std::string("no file in memory: ") + std::strerror(errno));
  }
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;
  ~MemoryFile() { ::close(mNumber); }

  std::string path() const { return "/proc/self/fd/" + std::to_string(mNumber); }
  void write(std::string const& text) { ::dprintf(mNumber, "%s", text.c_str()); }

  // What has been written to the path, which is empty afterwards.
  std::string take() {
    std::string text;
    char piece[4096];
    for (ssize_t bytes;
         (bytes = ::pread(mNumber, piece, sizeof piece, static_cast<off_t>(text.size()))) > 0;) {
      text.append(piece, static_cast<std::size_t>(bytes));
    }
    if (::ftruncate(mNumber, 0) != 0) throw Refused(std::strerror(errno));
    return text;
  }

 private:
  int mNumber;
};

// The library tells its log why it refuses a work table. Here that log can be read, if start-up
// follows; all else goes where it goes without a logging configuration.
class ReportLog {
 public:
  ReportLog() {
    mConfiguration.write(
        "sink console stderr level=warning\nsink reports file path=" + mReports.path() +
        "\npattern reports %v\nroute * console\n"
        "level ZT.Base.URI.WorkTable info\nroute ZT.Base.URI.WorkTable reports\n");
    char const* ignored = nullptr;
    ztbStartupAddOption("BASE/LOGCONFIG_PATH", mConfiguration.path().c_str(), &ignored);
  }

  // The reports since the last call, without the end of the last line.
  std::string take() {
    std::string text = mReports.take();
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }

 private:
  MemoryFile mConfiguration;
  MemoryFile mReports;
};

std::string reasonFor(std::string const& text, ReportLog& log) {
  std::size_t const mark = text.find("://");
  if (mark == std::string::npos) return "it has no \"://\"; a URI is written scheme://host/path";
  if (mark == 0) return "there is no scheme in front of \"://\"";
  std::string const report = log.take();
  return report.empty() ? "a column is refused" : printable(report);
}

Owned<ZtURI> parse(std::string const& text, ReportLog& log) {
  Owned<ZtURI> uri(getURIFromURIString(toZtb(text)));
  if (uri) return uri;
  constexpr std::size_t kShownBytes = 200;
  bool const isLong = text.size() > kShownBytes;
  throw Refused("\"" + printable(text.substr(0, kShownBytes)) + (isLong ? "..." : "") +
                "\" is no URI: " + reasonFor(text, log));
}

int show(std::vector<std::string> const& texts, bool json) {
  chooseHome("");
  Library library;
  ReportLog log;
  library.startForMessages();
  auto const print = [&log](std::string const& text) {
    return printable(text) + "\n" + UriView(*parse(text, log)).lines();
  };
  auto const describe = [&log](std::string const& text, JsonObject& object) {
    UriView(*parse(text, log)).addTo(object);
  };
  return workOnTexts("uri", texts, json, {print, describe});
}

}  // namespace

Run declareUri(CLI::App& app) {
  auto const json = std::make_shared<bool>(false);
  // Before the texts, whose freedom from declared options it would take over.
  CLI::App* const sub = app.add_subcommand("build", "Make a URI from its components");
  Run const build = declareUriBuild(*sub);
  takeTexts(app, "TEXT...", "The URIs (default: the lines of standard input)", 0);
  app.add_flag("--json", *json, "Print a JSON array");
  app.footer(kHelp);
  return [json, &app, sub, build] { return sub->parsed() ? build() : show(textsOf(app), *json); };
}

}  // namespace tool
