// SPDX-License-Identifier: MIT
//
// Random bytes through the walk and every codec. The first byte chooses the encoding, the second
// where the text is cut, the third the room for output; converted in pieces it must come out as in
// one, and every way to count must agree.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ztschr12.h"
#include "ztschr12_codec.h"
#include "ztschr12_utf8.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// The characters of [text, text + nBytes), all of which must be well-formed.
std::size_t requireWellFormed(char const* text, std::size_t nBytes) {
  std::size_t chars = 0;
  for (std::size_t at = 0; at < nBytes; ++chars) {
    NpPart const part = np_utf8_part(text + at, nBytes - at, true);
    require(part.codePoint != np_uchar_illformed);
    at += part.bytes;
  }
  return chars;
}

void checkRun(std::string const& bytes, NpUtf8Run run) {
  require(requireWellFormed(bytes.data(), run.bytes) == run.chars);
}

void checkWalk(std::string const& bytes) {
  char const* const text = bytes.c_str();
  unsigned chars = 0;
  int width = 0;
  char const* p = text;
  for (; np_uchar_toint(p, &width) != 0; p += width) ++chars;
  require(p == text + std::strlen(text));
  require(np_uchar_length(text) == chars && np_uchar_tell(text, p) == chars);
  char* const middle = np_uchar_seek(text, static_cast<int>(chars / 2));
  require(np_uchar_tell(text, middle) == chars / 2);
  require(np_uchar_seek(text, static_cast<int>(chars) + 1) == nullptr);
  checkRun(bytes, np_utf8_run(bytes.data(), bytes.size()));
  checkRun(bytes, np_utf8_run_portable(bytes.data(), bytes.size()));
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

// All of the input, the first `cut` bytes in a piece of their own.
template <class Convert>
std::string converted(Convert convert, std::string const& input, std::size_t cut,
                      std::size_t room) {
  std::string output, out(room, 'x');
  std::size_t at = 0;
  bool isOpen = true;
  while (isOpen) {
    std::size_t const end = at < cut ? cut : input.size();
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

void checkDecoder(int encoding, std::string const& input, std::size_t cut, std::size_t room) {
  auto const decoder = NpDecoder::create(encoding);
  auto const convert = [&](auto... piece) { return decoder->convert(piece...); };
  std::string const whole = converted(convert, input, 0, 16 * input.size() + 64);
  decoder->reset();
  require(whole == converted(convert, input, cut, room));
  requireWellFormed(whole.data(), whole.size());
}

void checkEncoder(int encoding, std::string const& input, std::size_t cut, std::size_t room) {
  auto const encoder = NpEncoder::create(encoding);
  bool isAbsent = false;
  auto const convert = [&](char const* in, std::size_t inBytes, char* out, std::size_t outBytes,
                           bool last) {
    if (isAbsent) return NpCodecStep{inBytes, 0};
    return encoder->convert(in, inBytes, out, outBytes, last, &isAbsent);
  };
  std::string const whole = converted(convert, input, 0, 16 * input.size() + 64);
  bool const wasAbsent = isAbsent;
  isAbsent = false;
  encoder->reset();
  require(whole == converted(convert, input, cut, room) && wasAbsent == isAbsent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 3) return 0;
  std::string const bytes(reinterpret_cast<char const*>(data) + 3, size - 3);
  int const encoding = data[0] % (np_enc_gbk + 1);
  std::size_t const cut = std::min<std::size_t>(data[1], bytes.size());
  std::size_t const room = 4u + data[2];
  checkWalk(bytes);
  checkCase(bytes);
  checkDecoder(encoding, bytes, cut, room);
  checkEncoder(encoding, bytes, cut, room);
  return 0;
}
