// SPDX-License-Identifier: MIT
//
// UTF-8 to UTF-16 and back, in ASCII and in mixed text: 64 KB as long texts are, and 40 bytes as
// names and titles are. Beside iconv, which gets an open descriptor, both convert into a buffer of
// the caller's; beside Qt, both make an object that holds the text.

#include "ztconvert.h"

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ztbstring.h"

#ifdef ZTB_HAVE_QT
#include <QString>
#endif

namespace {

constexpr std::size_t kLong = 65536;
constexpr std::size_t kShort = 40;

std::string asciiText(std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += "The quick brown fox jumps over the lazy dog, 0123 times. ";
  text.resize(bytes);
  return text;
}

// Words of one to three bytes a character, and now and then one of four.
std::string mixedText(std::size_t bytes) {
  constexpr char const* kWords[] = {"Größe ", "naïve ", "Straße ",   "= ",     "Пример ", "日本",
                                    "text ",  "€ ",     "quantity ", "12.50 ", "😀 "};
  std::string text;
  for (unsigned state = 1; text.size() < bytes;) {
    state = state * 1664525 + 1013904223;
    text += kWords[(state >> 16) % std::size(kWords)];
  }
  return text;
}

struct Texts {
  explicit Texts(std::string text) : utf8(std::move(text)) {
    ZtUtf8ToUC converter;
    converter.set(utf8.c_str());
    utf16.assign(converter.ucString(), converter.ucString() + converter.bufLength());
  }
  std::string utf8;
  std::vector<unsigned short> utf16;  // terminated
};

Texts const& ascii() {
  static Texts const texts(asciiText(kLong));
  return texts;
}
Texts const& mixed() {
  static Texts const texts(mixedText(kLong));
  return texts;
}
Texts const& shortAscii() {
  static Texts const texts(asciiText(kShort));
  return texts;
}
Texts const& shortMixed() {
  static Texts const texts(mixedText(kShort));
  return texts;
}

void widenIntoBuffer(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  std::vector<unsigned short> target(texts.utf8.size() + 1);
  for (auto _ : state) {
    convertUtf8ToUC(const_cast<char*>(texts.utf8.c_str()), target.data(),
                    static_cast<int>(target.size()));
    benchmark::DoNotOptimize(target.data());
  }
  if (!std::equal(texts.utf16.begin(), texts.utf16.end(), target.begin())) {
    state.SkipWithError("the text differs");
  }
}

void narrowIntoBuffer(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  std::vector<char> target(texts.utf16.size() * 3);
  for (auto _ : state) {
    convertUCToUtf8(const_cast<unsigned short*>(texts.utf16.data()), target.data(),
                    static_cast<int>(target.size()));
    benchmark::DoNotOptimize(target.data());
  }
  if (target.data() != texts.utf8) state.SkipWithError("the text differs");
}

void convertByIconv(benchmark::State& state, char const* to, char const* from, void const* text,
                    std::size_t bytes, void const* expected) {
  iconv_t const converter = iconv_open(to, from);
  std::vector<char> target(bytes * 3);
  std::size_t left = 0;
  for (auto _ : state) {
    char* in = static_cast<char*>(const_cast<void*>(text));
    char* out = target.data();
    std::size_t inLeft = bytes;
    left = target.size();
    iconv(converter, &in, &inLeft, &out, &left);
    benchmark::DoNotOptimize(out);
  }
  iconv_close(converter);
  if (std::memcmp(target.data(), expected, target.size() - left) != 0) {
    state.SkipWithError("the text differs");
  }
}

void widenIconv(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  convertByIconv(state, "UTF-16LE", "UTF-8", texts.utf8.c_str(), texts.utf8.size() + 1,
                 texts.utf16.data());
}

void narrowIconv(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  convertByIconv(state, "UTF-8", "UTF-16LE", texts.utf16.data(), texts.utf16.size() * 2,
                 texts.utf8.c_str());
}

BENCHMARK_CAPTURE(widenIntoBuffer, a, ascii)->Name("convert/to_utf16_ascii/ztbcpp31");
BENCHMARK_CAPTURE(widenIconv, a, ascii)->Name("convert/to_utf16_ascii/iconv");
BENCHMARK_CAPTURE(widenIntoBuffer, m, mixed)->Name("convert/to_utf16_mixed/ztbcpp31");
BENCHMARK_CAPTURE(widenIconv, m, mixed)->Name("convert/to_utf16_mixed/iconv");
BENCHMARK_CAPTURE(widenIntoBuffer, s, shortMixed)->Name("convert/to_utf16_40_mixed/ztbcpp31");
BENCHMARK_CAPTURE(widenIconv, s, shortMixed)->Name("convert/to_utf16_40_mixed/iconv");
BENCHMARK_CAPTURE(narrowIntoBuffer, a, ascii)->Name("convert/to_utf8_ascii/ztbcpp31");
BENCHMARK_CAPTURE(narrowIconv, a, ascii)->Name("convert/to_utf8_ascii/iconv");
BENCHMARK_CAPTURE(narrowIntoBuffer, m, mixed)->Name("convert/to_utf8_mixed/ztbcpp31");
BENCHMARK_CAPTURE(narrowIconv, m, mixed)->Name("convert/to_utf8_mixed/iconv");

void widenOurs(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  ZtUtf8ToUC converter;
  for (auto _ : state) {
    converter.set(texts.utf8.c_str());
    benchmark::DoNotOptimize(converter.ucString());
  }
}

void narrowOurs(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  ZtbString text;
  for (auto _ : state) benchmark::DoNotOptimize(text.fromUCS2(texts.utf16.data()));
  if (text.asCstr() != texts.utf8) state.SkipWithError("the text differs");
}

BENCHMARK_CAPTURE(widenOurs, ascii, ascii)->Name("convert/set_utf16_ascii/ztbcpp31");
BENCHMARK_CAPTURE(widenOurs, mixed, mixed)->Name("convert/set_utf16_mixed/ztbcpp31");
BENCHMARK_CAPTURE(widenOurs, shortAscii, shortAscii)->Name("convert/set_utf16_40_ascii/ztbcpp31");
BENCHMARK_CAPTURE(narrowOurs, ascii, ascii)->Name("convert/from_utf16_ascii/ztbcpp31");
BENCHMARK_CAPTURE(narrowOurs, mixed, mixed)->Name("convert/from_utf16_mixed/ztbcpp31");
BENCHMARK_CAPTURE(narrowOurs, shortAscii, shortAscii)->Name("convert/from_utf16_40_ascii/ztbcpp31");

#ifdef ZTB_HAVE_QT

void widenQt(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  for (auto _ : state) benchmark::DoNotOptimize(QString::fromUtf8(texts.utf8.c_str()));
}

void narrowQt(benchmark::State& state, Texts const& (*source)()) {
  Texts const& texts = source();
  QString const text = QString::fromUtf16(texts.utf16.data());
  for (auto _ : state) benchmark::DoNotOptimize(text.toUtf8());
}

BENCHMARK_CAPTURE(widenQt, ascii, ascii)->Name("convert/set_utf16_ascii/qt");
BENCHMARK_CAPTURE(widenQt, mixed, mixed)->Name("convert/set_utf16_mixed/qt");
BENCHMARK_CAPTURE(widenQt, shortAscii, shortAscii)->Name("convert/set_utf16_40_ascii/qt");
BENCHMARK_CAPTURE(narrowQt, ascii, ascii)->Name("convert/from_utf16_ascii/qt");
BENCHMARK_CAPTURE(narrowQt, mixed, mixed)->Name("convert/from_utf16_mixed/qt");
BENCHMARK_CAPTURE(narrowQt, shortAscii, shortAscii)->Name("convert/from_utf16_40_ascii/qt");

#endif

}  // namespace
