// SPDX-License-Identifier: MIT
//
// Random bytes through the walk and every codec. The first byte chooses the encoding, the second
// the size of pieces, the third the room for output; converted in pieces a text must come out as in
// one, and every way to count must agree.
// Aimed at platform/linux/ztschr12.cpp platform/linux/ztschr12_codec.cpp
// Aimed at platform/linux/ztschr12_iconv.cpp platform/linux/ztschr12_utf8.cpp

#include <algorithm>
#include <cstring>
#include <utility>

#include "target.h"
#include "ztschr12.h"
#include "ztschr12_codec.h"
#include "ztschr12_utf8.h"

namespace {

// The characters of a text, all of which must be well-formed.
std::size_t requireWellFormed(std::string_view text) {
  std::size_t chars = 0;
  for (; !text.empty(); ++chars) {
    NpPart const part = np_utf8_part(text.data(), text.size(), true);
    require(part.codePoint != np_uchar_illformed);
    text.remove_prefix(part.bytes);
  }
  return chars;
}

void checkWalk(std::string const& bytes) {
  char const* const text = bytes.c_str();
  unsigned chars = 0;
  int width = 0;
  char const* p = text;
  for (; np_uchar_toint(p, &width) != 0; p += width) ++chars;
  require(p == text + std::strlen(text));
  require(np_uchar_length(text) == chars && np_uchar_tell(text, p) == chars);
  require(np_uchar_tell(text, np_uchar_seek(text, static_cast<int>(chars / 2))) == chars / 2);
  require(np_uchar_seek(text, static_cast<int>(chars) + 1) == nullptr);
  for (auto const run : {np_utf8_run, np_utf8_run_portable}) {
    NpUtf8Run const front = run(bytes.data(), bytes.size());
    require(requireWellFormed({bytes.data(), front.bytes}) == front.chars);
  }
}

void checkCase(std::string const& bytes) {
  char const* const text = bytes.c_str();
  std::string lower(np_uchar_lower(text, nullptr, ~0u) + std::size_t{1}, 'x');
  np_uchar_lower(text, lower.data(), static_cast<unsigned>(lower.size()));
  require(np_uchar_length(lower.c_str()) == np_uchar_length(text));
  int const order = np_uchar_icomp(text, lower.c_str());
  require(np_uchar_icomp(lower.c_str(), text) == -order && np_uchar_icomp(text, text) == 0);
  unsigned long long const seed = bytes.size() << 32;
  require(order != 0 || np_uchar_ihash(text, seed) == np_uchar_ihash(lower.c_str(), seed));
}

// All of the input, in pieces of `piece` bytes.
template <class Convert>
std::string converted(Convert convert, std::string const& input, std::size_t piece,
                      std::size_t room) {
  std::string output, out(room, 'x');
  std::size_t at = 0;
  for (bool isOpen = true; isOpen;) {
    std::size_t const end = std::min(at + piece, input.size());
    bool const last = end == input.size();
    NpCodecStep const step = convert(input.data() + at, end - at, out.data(), room, last);
    require(step.consumed <= end - at && step.produced <= room);
    output.append(out, 0, step.produced);
    at += step.consumed;
    require(output.size() <= 16 * input.size() + 16);
    isOpen = at < input.size() || !last || room - step.produced < 4;
  }
  return output;
}

void checkDecoder(int encoding, std::string const& input, std::size_t piece, std::size_t room) {
  auto const decoder = NpDecoder::create(encoding);
  auto const convert = [&](auto... step) { return decoder->convert(step...); };
  std::string const whole = converted(convert, input, input.size(), 16 * input.size() + 64);
  decoder->reset();
  require(whole == converted(convert, input, piece, room));
  requireWellFormed(whole);
}

void checkEncoder(int encoding, std::string const& input, std::size_t piece, std::size_t room) {
  auto const encoder = NpEncoder::create(encoding);
  bool isAbsent = false;
  auto const convert = [&](char const* in, std::size_t inBytes, auto... rest) {
    return isAbsent ? NpCodecStep{inBytes, 0} : encoder->convert(in, inBytes, rest..., &isAbsent);
  };
  std::string const whole = converted(convert, input, input.size(), 16 * input.size() + 64);
  bool const wasAbsent = std::exchange(isAbsent, false);
  encoder->reset();
  require(whole == converted(convert, input, piece, room) && wasAbsent == isAbsent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 3) return 0;
  std::string const bytes = bytesOf(data, size, 3);
  int const encoding = data[0] % (np_enc_gbk + 1);
  std::size_t const piece = data[1] == 0 ? bytes.size() : data[1];
  checkWalk(bytes);
  checkCase(bytes);
  checkDecoder(encoding, bytes, piece, 4u + data[2]);
  checkEncoder(encoding, bytes, piece, 4u + data[2]);
  return 0;
}
