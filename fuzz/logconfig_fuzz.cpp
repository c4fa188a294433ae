// SPDX-License-Identifier: MIT
//
// Any bytes as a logging configuration and as the text of a record.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "ztlog11_config.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  ztlog::Config config;
  ztlog::ParseError error;
  if (ztlog::parseConfig(text, &config, &error)) {
    if (config.sinks.empty()) std::abort();
    for (ztlog::SinkConfig const& sink : config.sinks) ztlog::expandPath(sink.path, 1);
  } else if (error.place.line < 1 || error.place.column < 1 || error.reason.empty()) {
    std::abort();
  }

  std::string const line = ztlog::escape(text);
  if (ztlog::escape(line) != line) std::abort();
  for (char const byte : line) {
    if ((byte >= 0 && byte < 0x20) || byte == 0x7f) std::abort();
  }
  return 0;
}
