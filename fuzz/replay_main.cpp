// SPDX-License-Identifier: MIT
//
// Runs a fuzz target over the files named on the command line, and over those of the folders named
// there, so that the seeds are tested on every build, with any compiler.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace fs = std::filesystem;

static void replay(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> const bytes{std::istreambuf_iterator<char>(file),
                                std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
  int seeds = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    if (fs::is_regular_file(argv[i])) {
      replay(argv[i]);
      ++seeds;
      continue;
    }
    for (auto const& entry : fs::directory_iterator(argv[i], error)) {
      replay(entry.path());
      ++seeds;
    }
    if (error) {
      std::fprintf(stderr, "%s: %s\n", argv[i], error.message().c_str());
      return 1;
    }
  }
  std::printf("%d seeds replayed\n", seeds);
  return seeds > 0 ? 0 : 1;
}
