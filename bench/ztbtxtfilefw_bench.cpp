// SPDX-License-Identifier: MIT
//
// Records of 200 bytes at random places of a file of 100,000, which lies in the system's cache.

#include "ztbtxtfilefw.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int kRecords = 100'000;
constexpr int kLength = 200;

// Each record begins with its number. Gone at the end of the program.
class RecordFile {
 public:
  RecordFile()
      : mPath((std::filesystem::temp_directory_path() / "ztbbench-records-").string() +
              std::to_string(::getpid())) {
    std::ofstream file(mPath, std::ios::binary);
    std::string record(kLength, '.');
    for (int i = 0; i < kRecords; ++i) {
      std::memcpy(record.data(), &i, sizeof i);
      file << record;
    }
  }
  RecordFile(RecordFile const&) = delete;
  ~RecordFile() { std::filesystem::remove(mPath); }
  char const* path() const { return mPath.c_str(); }

 private:
  std::string mPath;
};

RecordFile const& recordFile() {
  static RecordFile const file;
  return file;
}

// Runs `readRecord(number, buffer)` over places in no order.
template <class ReadRecord>
void readAtRandom(benchmark::State& state, ReadRecord readRecord) {
  char buffer[kLength];
  unsigned random = 1;
  int wrong = 0;
  for (auto _ : state) {
    random = random * 1664525 + 1013904223;
    int const number = static_cast<int>((random >> 8) % kRecords);
    readRecord(number, buffer);
    wrong += std::memcmp(buffer, &number, sizeof number) != 0;
  }
  if (wrong != 0) state.SkipWithError("a record is wrong");
}

void readOurs(benchmark::State& state) {
  ZtbTxtFileFW file;
  file.open(recordFile().path(), ZtbTxtFileFW::ModeRead, 0, 0);
  readAtRandom(state, [&file](int number, char* buffer) {
    file.recseek(number, kLength);
    file.read(buffer, kLength);
  });
}

void readByPread(benchmark::State& state) {
  int const file = ::open(recordFile().path(), O_RDONLY | O_CLOEXEC);
  readAtRandom(state, [file](int number, char* buffer) {
    if (::pread(file, buffer, kLength, static_cast<off_t>(number) * kLength) != kLength)
      buffer[0]++;
  });
  ::close(file);
}

void readByFread(benchmark::State& state) {
  std::FILE* const file = std::fopen(recordFile().path(), "rb");
  readAtRandom(state, [file](int number, char* buffer) {
    std::fseek(file, static_cast<long>(number) * kLength, SEEK_SET);
    if (std::fread(buffer, kLength, 1, file) != 1) buffer[0]++;
  });
  std::fclose(file);
}

BENCHMARK(readOurs)->Name("records/random_200/ztbcpp31");
BENCHMARK(readByPread)->Name("records/random_200/pread");
BENCHMARK(readByFread)->Name("records/random_200/fread");

}  // namespace
