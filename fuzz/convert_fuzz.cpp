// SPDX-License-Identifier: MIT
//
// Any bytes as UTF-8 and as UTF-16, through targets of their size and of a smaller one, against a
// plain way: what is well-formed is what some character is encoded as, one character at a time.
// The first byte chooses the smaller size.
// Aimed at platform/linux/winnls.cpp

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "target.h"
#include "winnls.h"

namespace {

using Unit = unsigned short;
using Units = std::basic_string<Unit>;

constexpr char32_t kNone = ~char32_t{0};

std::string toUtf8(char32_t code) {
  constexpr unsigned kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::size_t const count = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  std::string bytes(count, '\0');
  for (std::size_t i = count; --i > 0; code /= 64) bytes[i] = static_cast<char>(0x80 + code % 64);
  bytes[0] = static_cast<char>(kLeads[count] + code);
  return bytes;
}

Units toUtf16(char32_t code) {
  if (code < 0x10000) return {static_cast<Unit>(code)};
  code -= 0x10000;
  return {static_cast<Unit>(0xD800 + code / 0x400), static_cast<Unit>(0xDC00 + code % 0x400)};
}

// The character whose UTF-8 the bytes are, or none.
char32_t fromUtf8(std::string_view bytes) {
  auto const lead = static_cast<unsigned char>(bytes[0]);
  char32_t code = bytes.size() == 1 ? lead : lead & (0x7Fu >> bytes.size());
  for (char const byte : bytes.substr(1))
    code = code * 64 + (static_cast<unsigned char>(byte) & 0x3Fu);
  bool const isScalar = code < 0xD800 || (code >= 0xE000 && code <= 0x10FFFF);
  return isScalar && toUtf8(code) == bytes ? code : kNone;
}

bool beginsCharacter(std::string_view bytes) {
  for (std::size_t rest = 1; bytes.size() + rest <= 4; ++rest) {
    for (char const byte : {'\x80', '\xBF'}) {
      if (fromUtf8(std::string(bytes) + std::string(rest, byte)) != kNone) return true;
    }
  }
  return false;
}

// Takes one character or one maximal ill-formed part off the front.
char32_t takeUtf8(std::string_view& text) {
  std::size_t taken = std::min<std::size_t>(4, text.size());
  char32_t code = kNone;
  while ((code = fromUtf8(text.substr(0, taken))) == kNone && taken > 1) --taken;
  if (code == kNone) {
    taken = std::min<std::size_t>(3, text.size());
    while (taken > 1 && !beginsCharacter(text.substr(0, taken))) --taken;
  }
  text.remove_prefix(taken);
  return code == kNone ? 0xFFFD : code;
}

char32_t takeUtf16(std::basic_string_view<Unit>& text) {
  char32_t code = text[0];
  text.remove_prefix(1);
  if (code < 0xD800 || code > 0xDFFF) return code;
  if (code > 0xDBFF || text.empty() || text[0] < 0xDC00 || text[0] > 0xDFFF) return 0xFFFD;
  code = 0x10000 + (code - 0xD800) * 0x400 + (text[0] - 0xDC00u);
  text.remove_prefix(1);
  return code;
}

int convert(char const* source, int length, Unit* target, int size) {
  return MultiByteToWideChar(kCodePageUtf8, 0, source, length, target, size);
}

int convert(Unit const* source, int length, char* target, int size) {
  return WideCharToMultiByte(kCodePageUtf8, 0, source, length, target, size, nullptr, nullptr);
}

// Through a target of `room` units, of which a text that doesn't fit gets the characters that leave
// room for a terminator.
template <class Source, class Target>
void checkRoom(Source const* source, int length,
               std::vector<std::basic_string<Target>> const& characters, std::size_t room) {
  std::basic_string<Target> whole;
  std::size_t fitting = 0;
  for (auto const& character : characters) {
    whole += character;
    if (whole.size() < room) fitting = whole.size();
  }
  auto const wanted = static_cast<int>(whole.size());
  require(convert(source, length, static_cast<Target*>(nullptr), 0) == wanted);
  std::unique_ptr<Target[]> const target(new Target[room]);
  int const result = convert(source, length, target.get(), static_cast<int>(room));
  if (whole.size() <= room) fitting = whole.size();
  require(whole.size() <= room ? result == wanted : result == 0 && target[fitting] == 0);
  require(std::memcmp(target.get(), whole.data(), fitting * sizeof(Target)) == 0);
}

template <class Source, class Target>
void check(std::string_view bytes, std::size_t less,
           char32_t (*take)(std::basic_string_view<Source>&),
           std::basic_string<Target> (*encode)(char32_t)) {
  std::size_t const length = bytes.size() / sizeof(Source);
  std::unique_ptr<Source[]> const source(new Source[length]);
  std::memcpy(source.get(), bytes.data(), length * sizeof(Source));
  std::vector<std::basic_string<Target>> characters;
  std::size_t total = 0;
  for (std::basic_string_view<Source> rest(source.get(), length); !rest.empty();) {
    characters.push_back(encode(take(rest)));
    total += characters.back().size();
  }
  checkRoom(source.get(), static_cast<int>(length), characters, total);
  checkRoom(source.get(), static_cast<int>(length), characters, total - less % total);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 3) return 0;
  std::string const bytes = bytesOf(data, size, 1);
  check(bytes, data[0], takeUtf8, toUtf16);
  check(bytes, data[0], takeUtf16, toUtf8);
  return 0;
}
