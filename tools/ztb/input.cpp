// SPDX-License-Identifier: MIT

#include "input.h"

#include <iconv.h>
#include <langinfo.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tool.h"

namespace tool {
namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

int keepOpen(std::FILE*) {
  return 0;
}

Stream open(std::string const& file) {
  if (file == "-") return {stdin, keepOpen};
  return {std::fopen(file.c_str(), "rbe"), std::fclose};
}

std::string readAll(std::FILE* stream) {
  std::string text;
  char piece[65536];
  // Asked again behind its end, a terminal would wait for more.
  for (std::size_t bytes = 1; bytes > 0 && std::feof(stream) == 0;) {
    bytes = std::fread(piece, 1, sizeof piece, stream);
    text.append(piece, bytes);
    if (text.size() > kLongestText || std::memchr(piece, '\0', bytes) != nullptr) break;
  }
  if (std::ferror(stream) != 0) throw Refused(std::strerror(errno));
  checkText(text);
  return text;
}

// Empty if the text, which isn't, has bytes that mean nothing in the character set.
std::string converted(std::string text, char const* characterSet) {
  iconv_t const converter = iconv_open("UTF-8", characterSet);
  if (converter == reinterpret_cast<iconv_t>(-1)) return "";
  constexpr std::size_t kMostBytes = 6;  // of a character in UTF-8, with what may be put before it
  std::string result(text.size() * kMostBytes, '\0');
  char* from = text.data();
  char* to = result.data();
  std::size_t fromBytes = text.size();
  std::size_t toBytes = result.size();
  bool const isDone = iconv(converter, &from, &fromBytes, &to, &toBytes) == 0;
  iconv_close(converter);
  result.resize(isDone ? result.size() - toBytes : 0);
  return result;
}

}  // namespace

void checkText(std::string const& text) {
  if (text.find('\0') != std::string::npos) throw Refused("the text holds a NUL, which ends it");
  if (text.size() > kLongestText) {
    throw Refused("the text is longer than " + std::to_string(kLongestText >> 20) + " MB");
  }
}

std::string inputName(std::string const& file) {
  return file == "-" ? "standard input" : "\"" + printable(file) + "\"";
}

std::string readText(std::string const& file) {
  try {
    Stream const stream = open(file);
    if (stream == nullptr) throw Refused(std::strerror(errno));
    return readAll(stream.get());
  } catch (Refused const& reason) {
    throw Refused(inputName(file) + " can't be read: " + reason.what());
  }
}

std::string utf8Of(std::string const& text, std::string const& what) {
  if (isUtf8(text)) return text;
  std::string const characterSet = nl_langinfo(CODESET);
  std::string const result = converted(text, characterSet.c_str());
  if (!result.empty()) return result;
  throw Refused(what + " is neither UTF-8 nor in the character set of your locale, " +
                characterSet + "; ztb text --to UTF-8 converts files");
}

}  // namespace tool
