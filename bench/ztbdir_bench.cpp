// SPDX-License-Identifier: MIT
//
// Listing a directory of 10,000 entries with the status of each, and joining and splitting paths.

#include "ztbdir.h"

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

constexpr int kEntries = 10'000;

// A folder of files with names as they come in practice, gone at the end of the program.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "ztbbench-XXXXXX").string();
    mPath = mkdtemp(name.data());
    for (int i = 0; i < kEntries; ++i) {
      std::string const file = mPath + "/macro_" + std::to_string(i * 7919 % kEntries) + ".cfg";
      close(open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
  }
  ~Folder() { std::filesystem::remove_all(mPath); }
  std::string const& path() const { return mPath; }

 private:
  std::string mPath;
};

std::string const& folder() {
  static Folder const theFolder;
  return theFolder.path();
}

void check(benchmark::State& state, int entries) {
  if (entries != kEntries) state.SkipWithError("entries are missing");
}

void listOurs(benchmark::State& state) {
  ZtbString const path(folder().c_str(), false);
  for (auto _ : state) {
    ZtbDirectoryListing listing;
    listing.init(path, ZtbDirectoryListing::FlagNoDots);
    int count = 0;
    unsigned long bytes = 0;
    for (; listing.next(); ++count) {
      bytes += listing.getSize() + listing.getFullPathName().cStrSize();
    }
    benchmark::DoNotOptimize(bytes);
    check(state, count);
  }
}

void listFilesystem(benchmark::State& state) {
  for (auto _ : state) {
    int count = 0;
    std::uintmax_t bytes = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder())) {
      bytes += entry.file_size() + entry.path().native().size();
      ++count;
    }
    benchmark::DoNotOptimize(bytes);
    check(state, count);
  }
}

// Neither sorted nor kept: the least that a listing with status can cost through full paths.
void listReaddir(benchmark::State& state) {
  for (auto _ : state) {
    int count = 0;
    std::size_t bytes = 0;
    DIR* const directory = opendir(folder().c_str());
    while (dirent const* const entry = readdir(directory)) {
      if (entry->d_name[0] == '.') continue;
      std::string const path = folder() + "/" + entry->d_name;
      struct stat status {};
      if (stat(path.c_str(), &status) != 0) continue;
      bytes += static_cast<std::size_t>(status.st_size) + path.size();
      ++count;
    }
    closedir(directory);
    benchmark::DoNotOptimize(bytes);
    check(state, count);
  }
}

constexpr char kShortFirst[] = "/opt/suite/etc/macros";
constexpr char kShortSecond[] = "application.cfg";

void concatOurs(benchmark::State& state) {
  ZtbString const first(kShortFirst, false);
  ZtbString const second(kShortSecond, false);
  for (auto _ : state) benchmark::DoNotOptimize(ztbConcatPath(first, second));
}

void concatFilesystem(benchmark::State& state) {
  std::filesystem::path const first(kShortFirst);
  std::filesystem::path const second(kShortSecond);
  for (auto _ : state) benchmark::DoNotOptimize(first / second);
}

void parseOurs(benchmark::State& state) {
  ZtbString const path("/opt/suite/etc/macros/application.cfg", false);
  ZtbString name;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ztbParsePath(path, &name));
    benchmark::DoNotOptimize(name);
  }
}

void parseFilesystem(benchmark::State& state) {
  std::filesystem::path const path("/opt/suite/etc/macros/application.cfg");
  for (auto _ : state) {
    benchmark::DoNotOptimize(path.parent_path());
    benchmark::DoNotOptimize(path.filename());
  }
}

BENCHMARK(listOurs)->Name("dir/list_10000/ztbcpp31")->Unit(benchmark::kMillisecond);
BENCHMARK(listFilesystem)->Name("dir/list_10000/filesystem")->Unit(benchmark::kMillisecond);
BENCHMARK(listReaddir)->Name("dir/list_10000/readdir_stat")->Unit(benchmark::kMillisecond);
BENCHMARK(concatOurs)->Name("dir/concat/ztbcpp31");
BENCHMARK(concatFilesystem)->Name("dir/concat/filesystem");
BENCHMARK(parseOurs)->Name("dir/parse/ztbcpp31");
BENCHMARK(parseFilesystem)->Name("dir/parse/filesystem");

}  // namespace
