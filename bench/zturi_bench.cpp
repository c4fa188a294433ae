// SPDX-License-Identifier: MIT
//
// URIs beside QUrl, uriparser and GUri: parse and release of a typical text of each family, as a
// string that is there; and the escapes of 1 MB, with nothing to escape beside memcpy, and mixed.

#include "zturi.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <iterator>
#include <string>

#ifdef ZTB_HAVE_QT
#include <QByteArray>
#include <QUrl>
#endif
#ifdef ZTB_HAVE_GLIB
#include <glib.h>
#endif
#ifdef ZTB_HAVE_URIPARSER
#include <uriparser/Uri.h>
#endif

namespace {

constexpr char kGeneric[] = "http://www.example.com/catalog/2026/november/prices.html";
constexpr char kRepository[] = "ztr://sales/2026/november/orders(Table)";
constexpr char kData[] = "ztd://erp.ODBC/production/dbo/orders/customer_id";
constexpr char kServedData[] = "ztf://server1.ODBC/erp/production/dbo/orders/customer_id";
constexpr char kWorkTable[] =
    "ztwt://orders?id=Integer'7',name=String'Miller',price=Real'12.50'#start=0,count=100";

template <char const* Text>
void parseZtb(benchmark::State& state) {
  ZtbString const text(Text, true);
  for (auto _ : state) {
    ZtURI* const uri = getURIFromURIString(text);
    if (!uri) return state.SkipWithError("no URI");
    benchmark::DoNotOptimize(uri);
    uri->release();
  }
}

#ifdef ZTB_HAVE_QT
template <char const* Text>
void parseQt(benchmark::State& state) {
  QString const text = QString::fromUtf8(Text);
  if (!QUrl(text).isValid()) return state.SkipWithError("no URI");
  for (auto _ : state) benchmark::DoNotOptimize(QUrl(text));
}
#endif

#ifdef ZTB_HAVE_GLIB
template <char const* Text>
void parseGlib(benchmark::State& state) {
  for (auto _ : state) {
    GUri* const uri = g_uri_parse(Text, G_URI_FLAGS_NONE, nullptr);
    if (!uri) return state.SkipWithError("no URI");
    benchmark::DoNotOptimize(uri);
    g_uri_unref(uri);
  }
}
#endif

#ifdef ZTB_HAVE_URIPARSER
template <char const* Text>
void parseUriparser(benchmark::State& state) {
  for (auto _ : state) {
    UriUriA uri;
    if (uriParseSingleUriA(&uri, Text, nullptr) != URI_SUCCESS) {
      return state.SkipWithError("no URI");
    }
    benchmark::DoNotOptimize(uri);
    uriFreeUriMembersA(&uri);
  }
}
#endif

template <char const* Text>
void registerParse(std::string const& family) {
  std::string const comparison = "uri/parse_" + family + "/";
  benchmark::RegisterBenchmark((comparison + "ztbcpp31").c_str(), parseZtb<Text>);
#ifdef ZTB_HAVE_QT
  benchmark::RegisterBenchmark((comparison + "QUrl").c_str(), parseQt<Text>);
#endif
#ifdef ZTB_HAVE_GLIB
  benchmark::RegisterBenchmark((comparison + "g_uri_parse").c_str(), parseGlib<Text>);
#endif
#ifdef ZTB_HAVE_URIPARSER
  benchmark::RegisterBenchmark((comparison + "uriparser").c_str(), parseUriparser<Text>);
#endif
}

bool const kParseIsRegistered = [] {
  registerParse<kGeneric>("generic");
  registerParse<kRepository>("repository");
  registerParse<kData>("data");
  registerParse<kServedData>("served_data");
  registerParse<kWorkTable>("work_table");
  return true;
}();

// 1 MB of a word.
std::string megabyte(std::string const& word) {
  std::string text;
  while (text.size() < (1U << 20)) text += word;
  return text;
}

std::string const& plainText() {
  static std::string const text = megabyte("a/plain-path_without.escapes/");
  return text;
}
// 1 MB of words in no order: one that repeats itself is learnt by the processor.
std::string const& mixedText() {
  static std::string const text = [] {
    constexpr char const* kWords[] = {
        "ein/",         "St\u00fcck ", "gr\u00f6\u00dfer/", "als ",   "50 ",         "Euro/",
        "Stra\u00dfe ", "\u00fcber ",  "Z\u00fcrich/",      "price ", "na\u00efve ", "catalog/"};
    std::string made;
    for (unsigned state = 1; made.size() < (1U << 20);) {
      state = state * 1664525 + 1013904223;
      made += kWords[(state >> 16) % std::size(kWords)];
    }
    return made;
  }();
  return text;
}
// The mixed text with its multi-byte characters and blanks escaped.
std::string const& mixedEscapes() {
  static std::string const text = [] {
    char blank[] = " ";
    ZtbString escaped;
    getEscapeStringForURI(ZtbString(mixedText().c_str(), true), blank, 1, &escaped, nullptr);
    return std::string(escaped.asCstr());
  }();
  return text;
}

void copy(benchmark::State& state, std::string const& text) {
  std::string target(text.size(), '\0');
  for (auto _ : state) {
    std::memcpy(target.data(), text.data(), text.size());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
}
void copyPlain(benchmark::State& state) {
  copy(state, plainText());
}

// `listed` are the characters that are escaped besides those beyond ASCII.
void escapeZtb(benchmark::State& state, std::string const& text, std::string listed) {
  ZtbString const string(text.c_str(), true);
  auto const count = static_cast<__int64>(listed.size());
  for (auto _ : state) {
    ZtbString escaped;
    if (!getEscapeStringForURI(string, listed.data(), count, &escaped, nullptr)) {
      return state.SkipWithError("not escaped");
    }
    benchmark::DoNotOptimize(escaped);
  }
}
void escapePlainZtb(benchmark::State& state) {
  escapeZtb(state, plainText(), "");
}
void escapeListedZtb(benchmark::State& state) {
  escapeZtb(state, plainText(), " ");
}
void escapeMixedZtb(benchmark::State& state) {
  escapeZtb(state, mixedText(), " ");
}
void unescapeZtb(benchmark::State& state, std::string const& text) {
  ZtbString const string(text.c_str(), true);
  for (auto _ : state) {
    ZtbString unescaped;
    if (!getUnEscapeStringFromURI(string, &unescaped)) return state.SkipWithError("not unescaped");
    benchmark::DoNotOptimize(unescaped);
  }
}
void unescapePlainZtb(benchmark::State& state) {
  unescapeZtb(state, plainText());
}
void unescapeMixedZtb(benchmark::State& state) {
  unescapeZtb(state, mixedEscapes());
}
BENCHMARK(escapePlainZtb)->Name("uri/escape_1MB_plain/ztbcpp31");
BENCHMARK(copyPlain)->Name("uri/escape_1MB_plain/memcpy");
BENCHMARK(escapeListedZtb)->Name("uri/escape_1MB_plain_listed/ztbcpp31");
BENCHMARK(copyPlain)->Name("uri/escape_1MB_plain_listed/memcpy");
BENCHMARK(unescapePlainZtb)->Name("uri/unescape_1MB_plain/ztbcpp31");
BENCHMARK(copyPlain)->Name("uri/unescape_1MB_plain/memcpy");
BENCHMARK(escapeMixedZtb)->Name("uri/escape_1MB_mixed/ztbcpp31");
BENCHMARK(unescapeMixedZtb)->Name("uri/unescape_1MB_mixed/ztbcpp31");

#ifdef ZTB_HAVE_QT
// Qt's takes bytes of UTF-8, and so spares itself the decoding.
void escapeMixedQt(benchmark::State& state) {
  QByteArray const text = QByteArray::fromStdString(mixedText());
  for (auto _ : state) benchmark::DoNotOptimize(text.toPercentEncoding("/"));
}
void unescapeMixedQt(benchmark::State& state) {
  QByteArray const text = QByteArray::fromStdString(mixedEscapes());
  for (auto _ : state) benchmark::DoNotOptimize(QByteArray::fromPercentEncoding(text));
}
BENCHMARK(escapeMixedQt)->Name("uri/escape_1MB_mixed/QByteArray");
BENCHMARK(unescapeMixedQt)->Name("uri/unescape_1MB_mixed/QByteArray");
#endif

#ifdef ZTB_HAVE_GLIB
void escapeMixedGlib(benchmark::State& state) {
  for (auto _ : state) {
    char* const escaped = g_uri_escape_string(mixedText().c_str(), "/", FALSE);
    benchmark::DoNotOptimize(escaped);
    g_free(escaped);
  }
}
void unescapeMixedGlib(benchmark::State& state) {
  for (auto _ : state) {
    char* const unescaped = g_uri_unescape_string(mixedEscapes().c_str(), nullptr);
    benchmark::DoNotOptimize(unescaped);
    g_free(unescaped);
  }
}
BENCHMARK(escapeMixedGlib)->Name("uri/escape_1MB_mixed/g_uri_escape");
BENCHMARK(unescapeMixedGlib)->Name("uri/unescape_1MB_mixed/g_uri_unescape");
#endif

}  // namespace
