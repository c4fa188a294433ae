// SPDX-License-Identifier: MIT
//
// Runs a fuzz target over the files of the folders named on the command line, so that the seeds
// are tested on every build, with any compiler.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
  int seeds = 0;
  for (int i = 1; i < argc; ++i) {
    for (auto const& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      std::vector<char> const bytes{std::istreambuf_iterator<char>(file),
                                    std::istreambuf_iterator<char>()};
      LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
      ++seeds;
    }
  }
  std::printf("%d seeds replayed\n", seeds);
  return seeds > 0 ? 0 : 1;
}
