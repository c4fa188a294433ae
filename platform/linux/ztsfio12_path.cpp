// SPDX-License-Identifier: MIT
//
// Paths as texts: joining and splitting. The separator is "/" alone.

#include <cstring>
#include <string_view>

#include "ztsfio12.h"

namespace {

std::string_view viewOf(char const* text) {
  return text == nullptr ? "" : text;
}

std::string_view withoutTrailingSeparators(std::string_view path) {
  return path.substr(0, path.find_last_not_of('/') + 1);
}

// A buffer that isn't wanted is null or has no size.
bool isWanted(char const* buffer, unsigned size) {
  return buffer != nullptr && size > 0;
}

bool fits(std::string_view text, char const* buffer, unsigned size) {
  return !isWanted(buffer, size) || text.size() < size;
}

void deliver(std::string_view text, char* buffer, unsigned size) {
  if (!isWanted(buffer, size)) return;
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
}

}  // namespace

int np_fio_pcat(char const* first, char const* second, char* result, unsigned resultSize) {
  if (!isWanted(result, resultSize)) return 1;
  std::string_view head = viewOf(first);
  std::string_view const tail = viewOf(second);
  bool const joins = !head.empty() && !tail.empty() && tail.front() != '/';
  if (joins) head = withoutTrailingSeparators(head);
  if (!joins && !tail.empty()) head = "";
  std::size_t const bytes = head.size() + (joins ? 1 : 0) + tail.size();
  if (bytes >= resultSize) {
    *result = '\0';
    return 1;
  }
  std::memcpy(result, head.data(), head.size());
  if (joins) result[head.size()] = '/';
  std::memcpy(result + bytes - tail.size(), tail.data(), tail.size());
  result[bytes] = '\0';
  return 0;
}

int np_fio_pparse(char const* path, char* directory, unsigned directorySize, char* name,
                  unsigned nameSize) {
  std::string_view const whole = viewOf(path);
  std::size_t const nameStart = whole.find_last_of('/') + 1;
  std::string_view const last = whole.substr(nameStart);
  std::string_view folder = withoutTrailingSeparators(whole.substr(0, nameStart));
  if (folder.empty() && nameStart > 0) folder = "/";
  if (!fits(folder, directory, directorySize) || !fits(last, name, nameSize)) {
    deliver("", directory, directorySize);
    deliver("", name, nameSize);
    return 1;
  }
  deliver(folder, directory, directorySize);
  deliver(last, name, nameSize);
  return 0;
}
