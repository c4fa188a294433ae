// SPDX-License-Identifier: MIT
//
// The vocabulary that tests share: a library that is up, and a folder that goes with the test.

#ifndef ZTBTEST_H
#define ZTBTEST_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "ztbinit.h"

namespace ztbtest {

// A folder of the test's own, gone with everything in it when the test ends.
class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "ztbtest-XXXXXX").string();
    mPath = mkdtemp(name.data());
  }
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  std::string path(std::string const& name = "") const {
    return name.empty() ? mPath : mPath + "/" + name;
  }
  // Writes a file, with the folders above it, and gives its path.
  std::string write(std::string const& name, std::string const& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }

 private:
  std::string mPath;
};

inline std::string readFile(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Brings the library up for a test and takes it down afterwards.
class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char const* error = nullptr;
    ASSERT_EQ(0, ztbInitialize(ZTB_TEST_BIN "/test", &error)) << error;
  }
  void TearDown() override { ztbShutdown(); }
};

}  // namespace ztbtest

#endif
