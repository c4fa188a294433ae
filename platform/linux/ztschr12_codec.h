// SPDX-License-Identifier: MIT
//
// Incremental conversion between UTF-8 and the encodings of ztschr12, for text that comes or goes
// in pieces: the text files stand on it. One object belongs to one thread at a time and serves one
// text at a time; objects are independent of each other.
//
// A text is converted piece by piece, and what comes out is the same for every way to cut it:
//
//   auto step = decoder->convert(in, inBytes, out, outBytes, last);
//
// takes `step.consumed` bytes of the input, and the caller offers the rest again with the next
// piece. A text is complete when a call with `last` set has consumed all its input and left 4
// bytes of output or more unused. NUL is a character like any other, and so is a byte-order mark.

#ifndef ZTSCHR12_CODEC_H
#define ZTSCHR12_CODEC_H

#include <cstddef>
#include <memory>

struct NpCodecStep {
  std::size_t consumed;  // bytes taken from the input
  std::size_t produced;  // bytes put into the output
};

// Bytes in an encoding to well-formed UTF-8. Ill-formed input becomes U+FFFD, one for each maximal
// ill-formed part: the longest start of a well-formed sequence, or else one byte; in UTF-16 and
// UTF-32 one code unit; in the multi-byte sets a lead byte together with the byte behind it, but
// without it if that is ASCII.
class NpDecoder {
 public:
  // Null if the encoding is unknown, if the system can't convert from it, or without memory.
  static std::unique_ptr<NpDecoder> create(int encoding);
  virtual ~NpDecoder() = default;
  // Converts until the input is consumed or the next character doesn't fit in the output; with 4
  // bytes of output or more it always makes progress. A character is never split in the output. An
  // incomplete sequence at the end of the input is kept inside for the next call, or becomes U+FFFD
  // when `last` is set. Either size may be 0, and its pointer may then be null.
  virtual NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                              std::size_t outputBytes, bool last) = 0;
  // Forgets what is kept, to start again at the beginning of a text.
  virtual void reset() = 0;
};

// UTF-8 to an encoding. Ill-formed UTF-8 goes out as U+FFFD, or as "?" where the encoding has none.
// The sets beyond Unicode's own take the C library's tables, which write a few characters as their
// likes: U+00A5 as 5C in Shift_JIS and EUC-JP, for one.
class NpEncoder {
 public:
  static std::unique_ptr<NpEncoder> create(int encoding);
  virtual ~NpEncoder() = default;
  // As in NpDecoder. A well-formed character that the encoding doesn't have stops the conversion
  // in front of it: `*unrepresentable` is then true, and `consumed` is its place, so that the
  // caller may put something else and go on behind it. If its first bytes came with an earlier
  // call, `consumed` is 0 and they are dropped. `unrepresentable` isn't null, and is false
  // otherwise.
  virtual NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                              std::size_t outputBytes, bool last, bool* unrepresentable) = 0;
  virtual void reset() = 0;
};

#endif
