// SPDX-License-Identifier: MIT
//
// Any bytes as a logging configuration and as the text of a record.
// Aimed at platform/linux/ztlog11_config.cpp platform/linux/ztlog11_record.cpp

#include "target.h"
#include "ztlog11_config.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text = bytesOf(data, size);
  ztlog::Config config;
  ztlog::ParseError error;
  if (ztlog::parseConfig(text, &config, &error)) {
    require(!config.sinks.empty());
    for (ztlog::SinkConfig const& sink : config.sinks) ztlog::expandPath(sink.path, 1);
  } else {
    require(error.place.line >= 1 && error.place.column >= 1 && !error.reason.empty());
  }
  std::string const line = ztlog::escape(text);
  require(ztlog::escape(line) == line);
  for (char const byte : line) require((byte < 0 || byte >= 0x20) && byte != 0x7f);
  return 0;
}
