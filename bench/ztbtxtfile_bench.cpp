// SPDX-License-Identifier: MIT
//
// Reading a file line by line and writing one, in ASCII and in text of several bytes a character.
// The file to read has 256 MB, or as many as the environment variable ZTB_BENCH_TEXT_MB says.
//
// Ours gives every line to the system at once; fputs_fflush does the same, the other writers
// buffer and report a full disk when they please.

#include "ztbtxtfile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kLinesToWrite = 100'000;

// Lines of 8 to 135 bytes, the same in each run.
std::vector<std::string> linesOf(std::vector<std::string> const& words) {
  std::vector<std::string> lines(4096);
  unsigned state = 1;
  for (std::string& line : lines) {
    state = state * 1664525 + 1013904223;
    std::size_t const wanted = 8 + (state >> 16) % 120;
    for (std::size_t i = state >> 8; line.size() < wanted; ++i) line += words[i % words.size()];
  }
  return lines;
}

std::vector<std::string> const& asciiLines() {
  static std::vector<std::string> const lines =
      linesOf({"BASE/", "temp", "=", "the ", "quick ", "brown ", "fox ", "0123 "});
  return lines;
}

std::vector<std::string> const& mixedLines() {
  static std::vector<std::string> const lines =
      linesOf({"Größe ", "naïve ", "Straße ", "=", "Пример ", "日本", "text ", "€ "});
  return lines;
}

// A file of the lines over and over, gone at the end of the program.
class BigFile {
 public:
  BigFile(char const* name, std::vector<std::string> const& lines)
      : mPath((std::filesystem::temp_directory_path() / name).string() +
              std::to_string(reinterpret_cast<std::uintptr_t>(this))) {
    char const* const megabytes = std::getenv("ZTB_BENCH_TEXT_MB");
    long long const wanted = (megabytes == nullptr ? 256LL : std::atoll(megabytes)) << 20;
    std::ofstream file(mPath, std::ios::binary);
    while (mBytes < wanted) {
      for (std::string const& line : lines) {
        file << line << '\n';
        mBytes += static_cast<long long>(line.size()) + 1;
        ++mLines;
      }
    }
  }
  BigFile(BigFile const&) = delete;
  ~BigFile() { std::filesystem::remove(mPath); }

  char const* path() const { return mPath.c_str(); }
  void report(benchmark::State& state, long long lines) const {
    if (lines != mLines) state.SkipWithError("lines are missing");
    state.SetBytesProcessed(state.bytes_processed() + mBytes);
  }

 private:
  std::string mPath;
  long long mBytes = 0;
  long long mLines = 0;
};

BigFile const& asciiFile() {
  static BigFile const file("ztbbench-ascii-", asciiLines());
  return file;
}

BigFile const& mixedFile() {
  static BigFile const file("ztbbench-mixed-", mixedLines());
  return file;
}

void readOurs(benchmark::State& state, BigFile const& (*source)()) {
  BigFile const& big = source();
  for (auto _ : state) {
    ZtbTxtFile file;
    file.open(big.path(), ZtbTxtFile::ModeRead, -1, 1);
    char buffer[1024];
    bool complete = false;
    long long lines = 0;
    while (file.readln(buffer, sizeof buffer, &complete) >= 0) lines += complete ? 1 : 0;
    big.report(state, lines);
  }
}

void readGetline(benchmark::State& state, BigFile const& (*source)()) {
  BigFile const& big = source();
  for (auto _ : state) {
    std::FILE* const file = std::fopen(big.path(), "r");
    char* line = nullptr;
    std::size_t capacity = 0;
    long long lines = 0;
    while (getline(&line, &capacity, file) >= 0) ++lines;
    std::free(line);
    std::fclose(file);
    big.report(state, lines);
  }
}

void readStream(benchmark::State& state, BigFile const& (*source)()) {
  BigFile const& big = source();
  for (auto _ : state) {
    std::ifstream file(big.path());
    std::string line;
    long long lines = 0;
    while (std::getline(file, line)) ++lines;
    big.report(state, lines);
  }
}

std::string const& outputPath() {
  static std::string const path =
      (std::filesystem::temp_directory_path() / "ztbbench-written").string();
  return path;
}

std::string const& lineAt(int i) {
  return mixedLines()[static_cast<unsigned>(i) % 4096];
}

void writeOurs(benchmark::State& state) {
  for (auto _ : state) {
    ZtbTxtFile file;
    file.open(outputPath().c_str(), ZtbTxtFile::ModeWrite, -1, 0);
    for (int i = 0; i < kLinesToWrite; ++i) {
      if (!file.writeln(lineAt(i).c_str())) state.SkipWithError("not written");
    }
  }
  std::filesystem::remove(outputPath());
}

void writeFputs(benchmark::State& state, bool flushesEachLine) {
  for (auto _ : state) {
    std::FILE* const file = std::fopen(outputPath().c_str(), "w");
    for (int i = 0; i < kLinesToWrite; ++i) {
      std::fputs(lineAt(i).c_str(), file);
      std::fputc('\n', file);
      if (flushesEachLine) std::fflush(file);
    }
    std::fclose(file);
  }
  std::filesystem::remove(outputPath());
}

void writeStream(benchmark::State& state) {
  for (auto _ : state) {
    std::ofstream file(outputPath(), std::ios::binary);
    for (int i = 0; i < kLinesToWrite; ++i) file << lineAt(i).c_str() << '\n';
  }
  std::filesystem::remove(outputPath());
}

BENCHMARK_CAPTURE(readOurs, ascii, asciiFile)->Name("textfile/readln_ascii/ztbcpp31");
BENCHMARK_CAPTURE(readGetline, ascii, asciiFile)->Name("textfile/readln_ascii/getline");
BENCHMARK_CAPTURE(readStream, ascii, asciiFile)->Name("textfile/readln_ascii/ifstream");
BENCHMARK_CAPTURE(readOurs, mixed, mixedFile)->Name("textfile/readln_utf8/ztbcpp31");
BENCHMARK_CAPTURE(readGetline, mixed, mixedFile)->Name("textfile/readln_utf8/getline");
BENCHMARK_CAPTURE(readStream, mixed, mixedFile)->Name("textfile/readln_utf8/ifstream");
BENCHMARK(writeOurs)->Name("textfile/writeln_100000/ztbcpp31");
BENCHMARK_CAPTURE(writeFputs, flushed, true)->Name("textfile/writeln_100000/fputs_fflush");
BENCHMARK_CAPTURE(writeFputs, buffered, false)->Name("textfile/writeln_100000/fputs");
BENCHMARK(writeStream)->Name("textfile/writeln_100000/ofstream");

}  // namespace
