// SPDX-License-Identifier: MIT
//
// Incremental conversion between UTF-8 and the encodings of ztschr12, for text that comes or goes
// in pieces: the text files stand on it.

#ifndef ZTSCHR12_CODEC_H
#define ZTSCHR12_CODEC_H

#include <cstddef>
#include <memory>

struct NpCodecStep {
  std::size_t consumed;  // bytes taken from the input
  std::size_t produced;  // bytes put into the output
};

// Bytes in an encoding to well-formed UTF-8. Ill-formed input becomes U+FFFD, one for each maximal
// ill-formed part. A character is never split in the output. An incomplete sequence at the end of
// the input is kept inside for the next call, or becomes U+FFFD when `last` is set.
class NpDecoder {
 public:
  // Null if the encoding is unknown or the system can't convert from it.
  static std::unique_ptr<NpDecoder> create(int encoding);
  virtual ~NpDecoder() = default;
  // Converts until the input is consumed or the output is full; with 4 bytes of output or more it
  // always makes progress.
  virtual NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                              std::size_t outputBytes, bool last) = 0;
  // Forgets what is kept, to start again at the beginning of a text.
  virtual void reset() = 0;
};

// UTF-8 to an encoding. Ill-formed UTF-8 goes out as U+FFFD, or as "?" where the encoding has none.
class NpEncoder {
 public:
  static std::unique_ptr<NpEncoder> create(int encoding);
  virtual ~NpEncoder() = default;
  // As in NpDecoder. A well-formed character that the encoding doesn't have stops the conversion
  // in front of it: `unrepresentable` is then set, and `consumed` is its place.
  virtual NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                              std::size_t outputBytes, bool last, bool* unrepresentable) = 0;
  virtual void reset() = 0;
};

#endif
