// SPDX-License-Identifier: MIT
//
// The logging configuration as a text gives it. Reading it touches nothing but the text: what the
// sinks name is opened elsewhere. docs/logging.md has the grammar.

#ifndef ZTLOG11_CONFIG_H
#define ZTLOG11_CONFIG_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ztlog11_record.h"

namespace ztlog {

// A place in a text: lines, and characters (not bytes) of the line, counted from 1.
struct Place {
  int line = 1;
  int column = 1;
};

struct ParseError {
  Place place;
  std::string reason;
};

enum SinkKind : unsigned { kStderrSink = 1, kFileSink = 2, kRotatingSink = 4, kSyslogSink = 8 };

struct SinkConfig {
  std::string name;
  SinkKind kind = kStderrSink;
  Place place;
  int level = kTrace;                  // records below it aren't for this sink
  std::string pattern;                 // checked; empty for the sink's default
  std::string path;                    // file, rotating: as written, with %P and %% still in it
  std::uint64_t sizeBytes = 10 << 20;  // rotating
  unsigned keep = 5;                   // rotating: files beside the current one
  std::string ident;                   // syslog; empty for the program's name
  int facility = 0;                    // syslog; 0 for the system's default
};

// Which sinks, by the bits of their places in Config::sinks.
using SinkSet = std::uint64_t;
constexpr std::size_t kMaxSinks = 64;
constexpr SinkSet kEverySink = ~SinkSet{0};

// Levels and routes stand by logger name as loggerName() gives it; the root's is empty.
struct Config {
  std::vector<SinkConfig> sinks;
  std::map<std::string, int, std::less<>> levels;
  std::map<std::string, SinkSet, std::less<>> routes;
};

// Reads a text of UTF-8. False at the first error, with `config` then unspecified.
[[nodiscard]] bool parseConfig(std::string const& text, Config* config, ParseError* error);

// The path of a sink with its placeholders filled in.
std::string expandPath(std::string_view path, unsigned long processId);

}  // namespace ztlog

#endif
