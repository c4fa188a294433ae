// SPDX-License-Identifier: MIT
//
// What the fuzz targets share. A target defines LLVMFuzzerTestOneInput, names the sources that it
// is aimed at in its head, and ends the process where a property doesn't hold.

#ifndef ZTB_FUZZ_TARGET_H
#define ZTB_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ztbmempool_p.h"

inline void require(bool holds, int line = __builtin_LINE(), char const* file = __builtin_FILE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: this doesn't hold\n", file, line);
  std::abort();
}

// For targets that make strings of the library.
inline void startPool() {
  static bool const isUp = ztbMemPoolStart();
  require(isUp);
}

// The bytes of the input from `begin` on, and the text that they are up to a NUL.
inline std::string bytesOf(std::uint8_t const* data, std::size_t size, std::size_t begin = 0) {
  return {reinterpret_cast<char const*>(data) + begin, size - begin};
}
inline std::string textOf(std::uint8_t const* data, std::size_t size, std::size_t begin = 0) {
  return bytesOf(data, size, begin).c_str();
}

#endif
