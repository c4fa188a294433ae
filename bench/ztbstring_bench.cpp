// SPDX-License-Identifier: MIT
//
// The string beside std::string, QString and GString: copies, growth, search, comparison, and the
// making of texts from numbers and formats.

#include "ztbstring.h"

#include <benchmark/benchmark.h>
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "ztbstringformat.h"

#ifdef ZTB_HAVE_QT
#include <QString>
#endif
#ifdef ZTB_HAVE_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kAppends = 1000000;
constexpr char const* kSentence = "The quick brown fox jumps over the lazy dog";

// 1 MB in which only the last bytes match, with beginnings of the needle all over.
std::string haystack(std::string const& word) {
  std::string text;
  while (text.size() < (1U << 20)) text += word;
  return text + "needle in the hay";
}

std::string const& asciiHaystack() {
  static std::string const text = haystack("a stack of hay without need, ");
  return text;
}

std::string const& mixedHaystack() {
  static std::string const text = haystack("ein Stück Heu – größer als nötig, 干し草, ");
  return text;
}

template <class String>
void copyAndDestroy(benchmark::State& state, String const& original) {
  for (auto _ : state) {
    String copy(original);
    benchmark::DoNotOptimize(copy);
  }
}

void copyZtb(benchmark::State& state) {
  copyAndDestroy(state, ZtbString(kSentence, false));
}
void copyStd(benchmark::State& state) {
  copyAndDestroy(state, std::string(kSentence));
}
BENCHMARK(copyZtb)->Name("string/copy_destroy/ztbcpp31");
BENCHMARK(copyStd)->Name("string/copy_destroy/std_string");

// The same once the process had a second thread: both count with the bus lock then.
void hadASecondThread(benchmark::State const&) {
  std::thread([] {}).join();
}
BENCHMARK(copyZtb)->Name("string_threads/copy_destroy/ztbcpp31")->Setup(hadASecondThread);

void lengthZtb(benchmark::State& state, std::string const& text) {
  ZtbString const string(text.c_str(), false);
  for (auto _ : state) benchmark::DoNotOptimize(string.length());
}
BENCHMARK_CAPTURE(lengthZtb, short, kSentence)->Name("string/length_43/ztbcpp31");
BENCHMARK_CAPTURE(lengthZtb, long, mixedHaystack())->Name("string/length_1mb_mixed/ztbcpp31");

template <class String, class Append>
void appendMillion(benchmark::State& state, Append append) {
  for (auto _ : state) {
    String text;
    for (int i = 0; i < kAppends; ++i) append(text);
    benchmark::DoNotOptimize(text);
  }
}

void appendZtb(benchmark::State& state) {
  appendMillion<ZtbString>(state, [](ZtbString& text) { text.append("x", 1, nullptr); });
}
void appendTextZtb(benchmark::State& state) {
  appendMillion<ZtbString>(state, [](ZtbString& text) { text.append("x", nullptr); });
}
void appendStd(benchmark::State& state) {
  appendMillion<std::string>(state, [](std::string& text) { text.append("x", 1); });
}
void appendTextStd(benchmark::State& state) {
  appendMillion<std::string>(state, [](std::string& text) { text.append("x"); });
}
void pushBackStd(benchmark::State& state) {
  appendMillion<std::string>(state, [](std::string& text) { text.push_back('x'); });
}
BENCHMARK(appendZtb)->Name("string/append_char_1e6/ztbcpp31");
BENCHMARK(appendStd)->Name("string/append_char_1e6/std_string_append");
BENCHMARK(pushBackStd)->Name("string/append_char_1e6/std_string_push_back");
BENCHMARK(appendTextZtb)->Name("string/append_text_1e6/ztbcpp31");
BENCHMARK(appendTextStd)->Name("string/append_text_1e6/std_string_append");

void findZtb(benchmark::State& state, std::string const& text) {
  ZtbString const hay(text.c_str(), false);
  ZtbString const needle("needle", true);
  if (hay.find(needle, 0) < 0) state.SkipWithError("not found");
  for (auto _ : state) benchmark::DoNotOptimize(hay.find(needle, 0));
}
void findStrstr(benchmark::State& state, std::string const& text) {
  for (auto _ : state) benchmark::DoNotOptimize(std::strstr(text.c_str(), "needle"));
}
void findStd(benchmark::State& state, std::string const& text) {
  for (auto _ : state) benchmark::DoNotOptimize(text.find("needle"));
}
void findAsciiZtb(benchmark::State& state) {
  findZtb(state, asciiHaystack());
}
void findAsciiStrstr(benchmark::State& state) {
  findStrstr(state, asciiHaystack());
}
void findAsciiStd(benchmark::State& state) {
  findStd(state, asciiHaystack());
}
void findMixedZtb(benchmark::State& state) {
  findZtb(state, mixedHaystack());
}
void findMixedStrstr(benchmark::State& state) {
  findStrstr(state, mixedHaystack());
}
void findMixedStd(benchmark::State& state) {
  findStd(state, mixedHaystack());
}
BENCHMARK(findAsciiZtb)->Name("string/find_1mb_ascii/ztbcpp31");
BENCHMARK(findAsciiStrstr)->Name("string/find_1mb_ascii/strstr");
BENCHMARK(findAsciiStd)->Name("string/find_1mb_ascii/std_string");
BENCHMARK(findMixedZtb)->Name("string/find_1mb_mixed/ztbcpp31");
BENCHMARK(findMixedStrstr)->Name("string/find_1mb_mixed/strstr");
BENCHMARK(findMixedStd)->Name("string/find_1mb_mixed/std_string");

// In the middle it can't be counted from the nearer end.
std::string const& middleHaystack() {
  static std::string const text = mixedHaystack() + mixedHaystack();
  return text;
}
void findMiddleZtb(benchmark::State& state) {
  findZtb(state, middleHaystack());
}
void findMiddleStrstr(benchmark::State& state) {
  findStrstr(state, middleHaystack());
}
BENCHMARK(findMiddleZtb)->Name("string/find_1mb_of_2mb_mixed/ztbcpp31");
BENCHMARK(findMiddleStrstr)->Name("string/find_1mb_of_2mb_mixed/strstr");

void compareZtb(benchmark::State& state) {
  ZtbString const a("BASE/MESSAGE/LOCATIO", false);
  ZtbString const b("BASE/message/locatio", false);
  for (auto _ : state) benchmark::DoNotOptimize(a.compare(b, false));
}
void compareC(benchmark::State& state) {
  std::string const a("BASE/MESSAGE/LOCATIO");
  std::string const b("BASE/message/locatio");
  for (auto _ : state) benchmark::DoNotOptimize(strcasecmp(a.c_str(), b.c_str()));
}
BENCHMARK(compareZtb)->Name("string/compare_insensitive_20/ztbcpp31");
BENCHMARK(compareC)->Name("string/compare_insensitive_20/strcasecmp");

void replaceZtb(benchmark::State& state) {
  ZtbString const text(mixedHaystack().c_str(), false);
  ZtbString const from("nötig", true);
  ZtbString const to("erlaubt", true);
  for (auto _ : state) benchmark::DoNotOptimize(text.replace(from, to, 0, -1));
}
BENCHMARK(replaceZtb)->Name("string/replace_all_1mb_mixed/ztbcpp31");

void doubleZtb(benchmark::State& state) {
  ZtbString text;
  for (auto _ : state) benchmark::DoNotOptimize(text.assign(1234.5678));
}
void doubleC(benchmark::State& state) {
  char text[32];
  for (auto _ : state) {
    std::snprintf(text, sizeof text, "%.15g", 1234.5678);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(doubleZtb)->Name("string/assign_double/ztbcpp31");
BENCHMARK(doubleC)->Name("string/assign_double/snprintf");

void formatZtb(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(ztbStringFormat("%s: %d of %lld rows", "table", 17, 123456789LL));
  }
}
void formatC(benchmark::State& state) {
  for (auto _ : state) {
    char text[64];
    std::snprintf(text, sizeof text, "%s: %d of %lld rows", "table", 17, 123456789LL);
    std::string made(text);
    benchmark::DoNotOptimize(made);
  }
}
BENCHMARK(formatZtb)->Name("string/format/ztbcpp31");
BENCHMARK(formatC)->Name("string/format/snprintf_to_std_string");

#ifdef ZTB_HAVE_QT
void copyQt(benchmark::State& state) {
  copyAndDestroy(state, QString(kSentence));
}
void appendQt(benchmark::State& state) {
  appendMillion<QString>(state, [](QString& text) { text.append(QLatin1Char('x')); });
}
void findQt(benchmark::State& state, std::string const& bytes) {
  QString const text = QString::fromStdString(bytes);
  QString const needle("needle");
  for (auto _ : state) benchmark::DoNotOptimize(text.indexOf(needle));
}
void findAsciiQt(benchmark::State& state) {
  findQt(state, asciiHaystack());
}
void findMixedQt(benchmark::State& state) {
  findQt(state, mixedHaystack());
}
void compareQt(benchmark::State& state) {
  QString const a("BASE/MESSAGE/LOCATIO");
  QString const b("BASE/message/locatio");
  for (auto _ : state) benchmark::DoNotOptimize(a.compare(b, Qt::CaseInsensitive));
}
void replaceQt(benchmark::State& state) {
  QString const text = QString::fromStdString(mixedHaystack());
  for (auto _ : state) {
    QString copy(text);
    copy.replace(QStringLiteral("nötig"), QStringLiteral("erlaubt"));
    benchmark::DoNotOptimize(copy);
  }
}
void formatQt(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(QString::asprintf("%s: %d of %lld rows", "table", 17, 123456789LL));
  }
}
BENCHMARK(copyQt)->Name("string/copy_destroy/QString");
BENCHMARK(copyQt)->Name("string_threads/copy_destroy/QString")->Setup(hadASecondThread);
BENCHMARK(appendQt)->Name("string/append_char_1e6/QString");
BENCHMARK(findAsciiQt)->Name("string/find_1mb_ascii/QString");
BENCHMARK(findMixedQt)->Name("string/find_1mb_mixed/QString");
BENCHMARK(compareQt)->Name("string/compare_insensitive_20/QString");
BENCHMARK(replaceQt)->Name("string/replace_all_1mb_mixed/QString");
BENCHMARK(formatQt)->Name("string/format/QString");
#endif

#ifdef ZTB_HAVE_GLIB
void appendGlib(benchmark::State& state) {
  for (auto _ : state) {
    GString* const text = g_string_new(nullptr);
    for (int i = 0; i < kAppends; ++i) g_string_append_c(text, 'x');
    benchmark::DoNotOptimize(text);
    g_string_free(text, TRUE);
  }
}
void compareGlib(benchmark::State& state) {
  std::string const a("BASE/MESSAGE/LOCATIO");
  std::string const b("BASE/message/locatio");
  for (auto _ : state) benchmark::DoNotOptimize(g_ascii_strcasecmp(a.c_str(), b.c_str()));
}
void formatGlib(benchmark::State& state) {
  for (auto _ : state) {
    gchar* const text = g_strdup_printf("%s: %d of %lld rows", "table", 17, 123456789LL);
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
}
BENCHMARK(appendGlib)->Name("string/append_char_1e6/GString");
BENCHMARK(compareGlib)->Name("string/compare_insensitive_20/g_ascii_strcasecmp");
BENCHMARK(formatGlib)->Name("string/format/g_strdup_printf");
#endif

}  // namespace
