// SPDX-License-Identifier: MIT
//
// Work-table URIs of up to 100,000 columns, where the time a column is what counts, and a typical
// one beside URLs of other libraries, which only cut such a text into its parts.

#include "ztwturi.h"

#include <benchmark/benchmark.h>

#include <string>

#ifdef ZTB_HAVE_QT
#include <QUrl>
#endif
#ifdef ZTB_HAVE_GLIB
#include <glib.h>
#endif

namespace {

constexpr char kTypical[] =
    "ztwt://SALES.ORDERS?Region=String'North',Year=Integer'2024'#start=0,count=100";

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
  for (auto _ : state) {
    ZtURI* const uri = getURIFromURIString(text);
    ZtbString const composed = uri ? uri->getURIString() : ZtbString();
    if (composed.cStrSize() != text.cStrSize()) state.SkipWithError("not the same text");
    if (uri) uri->release();
  }
  state.counters["per_column"] = benchmark::Counter(
      columns, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK_CAPTURE(parseAndCompose, 100, 100)->Name("wturi/columns_100/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 1k, 1000)->Name("wturi/columns_1000/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 10k, 10000)->Name("wturi/columns_10000/ztbcpp31");
BENCHMARK_CAPTURE(parseAndCompose, 100k, 100000)->Name("wturi/columns_100000/ztbcpp31");

void typical(benchmark::State& state) {
  ZtbString const text(kTypical, true);
  for (auto _ : state) {
    ZtURI* const uri = getURIFromURIString(text);
    benchmark::DoNotOptimize(uri);
    uri->release();
  }
}
BENCHMARK(typical)->Name("wturi/parse_typical/ztbcpp31");

#ifdef ZTB_HAVE_QT
void typicalQt(benchmark::State& state) {
  QString const text = QString::fromUtf8(kTypical);
  for (auto _ : state) {
    QUrl const url(text);
    bool const isValid = url.isValid();
    benchmark::DoNotOptimize(isValid);
  }
}
BENCHMARK(typicalQt)->Name("wturi/parse_typical/QUrl");
#endif

#ifdef ZTB_HAVE_GLIB
void typicalGlib(benchmark::State& state) {
  for (auto _ : state) {
    GUri* const uri = g_uri_parse(kTypical, G_URI_FLAGS_NONE, nullptr);
    benchmark::DoNotOptimize(uri);
    g_uri_unref(uri);
  }
}
BENCHMARK(typicalGlib)->Name("wturi/parse_typical/GUri");
#endif

}  // namespace
