// SPDX-License-Identifier: MIT
//
// Any bytes as UTF-8 and as UTF-16, through targets of their size and of a smaller one, against a
// transcription of the definitions: tables of well-formed sequences, one character at a time. The
// first byte chooses the smaller size.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "winnls.h"

namespace {

using Unit = unsigned short;

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "convert_fuzz: %s\n", what);
  std::abort();
}

// The well-formed sequences: lead bytes, second bytes, and how many follow the second.
struct Row {
  unsigned char lead[2];
  unsigned char second[2];
  unsigned rest;
};
constexpr Row kRows[] = {
    {{0xC2, 0xDF}, {0x80, 0xBF}, 0}, {{0xE0, 0xE0}, {0xA0, 0xBF}, 1},
    {{0xE1, 0xEC}, {0x80, 0xBF}, 1}, {{0xED, 0xED}, {0x80, 0x9F}, 1},
    {{0xEE, 0xEF}, {0x80, 0xBF}, 1}, {{0xF0, 0xF0}, {0x90, 0xBF}, 2},
    {{0xF1, 0xF3}, {0x80, 0xBF}, 2}, {{0xF4, 0xF4}, {0x80, 0x8F}, 2},
};

bool isWithin(unsigned char byte, unsigned char const (&range)[2]) {
  return byte >= range[0] && byte <= range[1];
}

// Takes one character or one maximal ill-formed part off the front.
char32_t takeUtf8(std::string_view& text) {
  auto const byteAt = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  std::size_t taken = 1;
  char32_t code = byteAt(0) < 0x80 ? byteAt(0) : 0xFFFD;
  for (Row const& row : kRows) {
    if (!isWithin(byteAt(0), row.lead) || text.size() < 2 || !isWithin(byteAt(1), row.second)) {
      continue;
    }
    std::size_t const whole = 2 + row.rest;
    for (taken = 2; taken < whole && taken < text.size() && (byteAt(taken) & 0xC0) == 0x80;) {
      ++taken;
    }
    if (taken < whole) break;
    code = byteAt(0) & (0x3Fu >> (row.rest + 1));
    for (std::size_t i = 1; i < whole; ++i) code = code * 64 + (byteAt(i) - 0x80u);
  }
  text.remove_prefix(taken);
  return code;
}

char32_t takeUtf16(std::basic_string_view<Unit>& text) {
  char32_t code = text[0];
  std::size_t taken = 1;
  bool const isHigh = code >= 0xD800 && code <= 0xDBFF;
  bool const isPair = isHigh && text.size() > 1 && text[1] >= 0xDC00 && text[1] <= 0xDFFF;
  if (isPair) {
    code = 0x10000 + (code - 0xD800) * 0x400 + (text[1] - 0xDC00u);
    taken = 2;
  } else if (code >= 0xD800 && code <= 0xDFFF) {
    code = 0xFFFD;
  }
  text.remove_prefix(taken);
  return code;
}

std::vector<Unit> unitsOf(char32_t code) {
  if (code < 0x10000) return {static_cast<Unit>(code)};
  code -= 0x10000;
  return {static_cast<Unit>(0xD800 + code / 0x400), static_cast<Unit>(0xDC00 + code % 0x400)};
}

std::vector<char> bytesOf(char32_t code) {
  std::vector<char> bytes;
  constexpr unsigned kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::size_t const count = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  for (std::size_t i = 1; i < count; ++i, code /= 64) {
    bytes.insert(bytes.begin(), static_cast<char>(0x80 + code % 64));
  }
  bytes.insert(bytes.begin(), static_cast<char>(kLeads[count] + code));
  return bytes;
}

int convert(char const* source, int length, Unit* target, int size) {
  return MultiByteToWideChar(kCodePageUtf8, 0, source, length, target, size);
}

int convert(Unit const* source, int length, char* target, int size) {
  return WideCharToMultiByte(kCodePageUtf8, 0, source, length, target, size, nullptr, nullptr);
}

// `characters` are the converted characters in their units. A target of `size` units, of which a
// text that doesn't fit gets what leaves room for a terminator.
template <class Source, class Target>
void check(Source const* source, int length, std::vector<std::vector<Target>> const& characters,
           std::size_t size) {
  std::vector<Target> whole;
  std::size_t fitting = 0;
  for (auto const& character : characters) {
    whole.insert(whole.end(), character.begin(), character.end());
    if (whole.size() < size) fitting = whole.size();
  }
  auto const wanted = static_cast<int>(whole.size());
  Target* const none = nullptr;
  require(convert(source, length, none, 0) == wanted, "the size differs");
  std::unique_ptr<Target[]> const target(new Target[size]);
  int const result = convert(source, length, target.get(), static_cast<int>(size));
  if (whole.size() <= size) {
    require(result == wanted, "the result differs");
    fitting = whole.size();
  } else {
    require(result == 0 && target[fitting] == 0, "a cut text has no terminator");
  }
  require(std::memcmp(target.get(), whole.data(), fitting * sizeof(Target)) == 0,
          "the text differs");
}

void checkUtf8(std::uint8_t const* data, std::size_t size, std::size_t less) {
  std::unique_ptr<char[]> const source(new char[size]);
  std::memcpy(source.get(), data, size);
  std::vector<std::vector<Unit>> characters;
  std::size_t total = 0;
  for (std::string_view rest(source.get(), size); !rest.empty();) {
    characters.push_back(unitsOf(takeUtf8(rest)));
    total += characters.back().size();
  }
  check(source.get(), static_cast<int>(size), characters, total);
  check(source.get(), static_cast<int>(size), characters, total - less % total);
}

void checkUtf16(std::uint8_t const* data, std::size_t size, std::size_t less) {
  std::size_t const units = size / sizeof(Unit);
  std::unique_ptr<Unit[]> const source(new Unit[units]);
  std::memcpy(source.get(), data, units * sizeof(Unit));
  std::vector<std::vector<char>> characters;
  std::size_t total = 0;
  for (std::basic_string_view<Unit> rest(source.get(), units); !rest.empty();) {
    characters.push_back(bytesOf(takeUtf16(rest)));
    total += characters.back().size();
  }
  check(source.get(), static_cast<int>(units), characters, total);
  check(source.get(), static_cast<int>(units), characters, total - less % total);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 3) return 0;
  checkUtf8(data + 1, size - 1, data[0]);
  checkUtf16(data + 1, size - 1, data[0]);
  return 0;
}
