// SPDX-License-Identifier: MIT
//
// Work-table URIs of up to 100,000 columns, parsed and composed: what is reported is the time a
// column.

#include "ztwturi.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

// Names in no order, so that those of one bucket or branch aren't neighbours in memory.
std::string withColumns(int count) {
  static char const* const kItems[] = {"", "='x%2Cy'", "=Integer'42'", "=String'some text'"};
  std::string text = "ztwt://TABLE";
  for (int i = 0; i < count; ++i) {
    unsigned const scattered = static_cast<unsigned>(i) * 2654435761u;
    text += (i == 0 ? "?Column" : ",Column") + std::to_string(scattered);
    text += kItems[i % 4];
  }
  return text;
}

void parseAndCompose(benchmark::State& state, int columns) {
  std::string const expected = withColumns(columns);
  ZtbString const text(expected.c_str(), false);
  while (state.KeepRunningBatch(columns)) {
    ZtURI* const uri = getURIFromURIString(text);
    ZtbString const composed = uri ? uri->getURIString() : ZtbString();
    if (composed.cStrSize() != text.cStrSize()) state.SkipWithError("not the same text");
    if (uri) uri->release();
  }
}
BENCHMARK_CAPTURE(parseAndCompose, 100, 100)->Name("wturi/columns_100/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 1k, 1000)->Name("wturi/columns_1000/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 10k, 10000)->Name("wturi/columns_10000/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 100k, 100000)->Name("wturi/columns_100000/ztbcpp31");

}  // namespace
