// SPDX-License-Identifier: MIT
//
// Codecs of UTF-8, UTF-16, UTF-32 and wide text, and the conversion of whole texts.

#include "ztschr12_codec.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "ztschr12.h"
#include "ztschr12_encodings.h"
#include "ztschr12_iconv.h"
#include "ztschr12_utf8.h"

namespace {

// A form tells how one encoding cuts bytes into parts (`next`, as np_utf8_part does) and how it
// writes a code point (`put`, which gives the bytes written, at most 4).

struct Utf8Form {
  static NpPart next(char const* p, std::size_t available, bool last) {
    return np_utf8_part(p, available, last);
  }
  static std::size_t put(unsigned c, char* out) { return np_utf8_put(c, out); }
};

template <std::endian Order, class Unit>
Unit loadUnit(char const* p) {
  Unit unit;
  std::memcpy(&unit, p, sizeof unit);
  if constexpr (Order == std::endian::native) return unit;
  if constexpr (sizeof unit == 2) return __builtin_bswap16(unit);
  return static_cast<Unit>(__builtin_bswap32(unit));
}

template <std::endian Order, class Unit>
void storeUnit(Unit unit, char* out) {
  if constexpr (Order != std::endian::native) {
    char bytes[sizeof unit];
    std::memcpy(bytes, &unit, sizeof unit);
    std::reverse_copy(bytes, bytes + sizeof unit, out);
  } else {
    std::memcpy(out, &unit, sizeof unit);
  }
}

template <std::endian Order>
struct Utf16Form {
  static NpPart next(char const* p, std::size_t available, bool last) {
    if (available < 2) return {np_uchar_illformed, last ? available : 0};
    unsigned const unit = loadUnit<Order, std::uint16_t>(p);
    if ((unit & 0xF800) != 0xD800) return {unit, 2};
    if (unit >= 0xDC00) return {np_uchar_illformed, 2};
    if (available < 4) return {np_uchar_illformed, last ? 2u : 0u};
    unsigned const low = loadUnit<Order, std::uint16_t>(p + 2);
    if ((low & 0xFC00) != 0xDC00) return {np_uchar_illformed, 2};
    return {0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF)), 4};
  }
  static std::size_t put(unsigned c, char* out) {
    if (c < 0x10000) {
      storeUnit<Order>(static_cast<std::uint16_t>(c), out);
      return 2;
    }
    storeUnit<Order>(static_cast<std::uint16_t>(0xD7C0 + (c >> 10)), out);
    storeUnit<Order>(static_cast<std::uint16_t>(0xDC00 | (c & 0x3FF)), out + 2);
    return 4;
  }
};

template <std::endian Order>
struct Utf32Form {
  static NpPart next(char const* p, std::size_t available, bool last) {
    if (available < 4) return {np_uchar_illformed, last ? available : 0};
    unsigned const c = loadUnit<Order, std::uint32_t>(p);
    bool const isScalar = c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF);
    return {isScalar ? c : np_uchar_illformed, 4};
  }
  static std::size_t put(unsigned c, char* out) {
    storeUnit<Order>(static_cast<std::uint32_t>(c), out);
    return 4;
  }
};

// From one form to another, part by part. Well-formed UTF-8 stays as it is, so it goes by blocks.
template <class From, class To>
class Transcoder {
 public:
  NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                      std::size_t outputBytes, bool last) {
    mIn = {input, inputBytes, 0};
    mOut = {output, outputBytes, 0};
    if (finishKept(last)) convertRest(last);
    return {mIn.used, mOut.used};
  }

  void reset() { mKept = 0; }

 private:
  static constexpr bool kIsCopy = std::is_same_v<From, To>;
  static constexpr std::size_t kMost = 4;

  template <class Pointer>
  struct Buffer {
    Pointer bytes;
    std::size_t size;
    std::size_t used;
    Pointer here() const { return bytes + used; }
    std::size_t left() const { return size - used; }
  };

  bool put(unsigned codePoint) {
    unsigned const c = codePoint == np_uchar_illformed ? kNpReplacement : codePoint;
    if (mOut.left() >= kMost) {
      mOut.used += To::put(c, mOut.here());
      return true;
    }
    char bytes[kMost];
    std::size_t const count = To::put(c, bytes);
    if (count > mOut.left()) return false;
    std::memcpy(mOut.here(), bytes, count);
    mOut.used += count;
    return true;
  }

  // Completes what an earlier call left, with bytes of this one. False if the conversion stops
  // here.
  bool finishKept(bool last) {
    while (mKept > 0) {
      char joined[2 * kMost];
      std::size_t const more = std::min(mIn.left(), kMost);
      std::memcpy(joined, mKeptBytes, mKept);
      if (more > 0) std::memcpy(joined + mKept, mIn.here(), more);
      bool const isAll = more == mIn.left();
      NpPart const part = From::next(joined, mKept + more, last && isAll);
      if (part.bytes == 0) return keep(more);
      if (!put(part.codePoint)) return false;
      std::size_t const fromKept = std::min(part.bytes, mKept);
      mIn.used += part.bytes - fromKept;
      mKept -= fromKept;
      std::memmove(mKeptBytes, mKeptBytes + fromKept, mKept);
    }
    return true;
  }

  // Takes the next `count` bytes of the input inside, which is then at its end.
  bool keep(std::size_t count) {
    if (count > 0) std::memcpy(mKeptBytes + mKept, mIn.here(), count);
    mKept += count;
    mIn.used += count;
    return false;
  }

  void convertRest(bool last) {
    while (mIn.left() > 0) {
      if constexpr (kIsCopy) copyRun();
      // Behind something ill-formed it goes on by parts for the length of a block.
      std::size_t const pause = mIn.used + std::min(mIn.left(), kNpUtf8Block);
      while (mIn.used < pause) {
        if (!convertPart(last)) return;
      }
    }
  }

  void copyRun() {
    std::size_t const bytes = np_utf8_run(mIn.here(), std::min(mIn.left(), mOut.left())).bytes;
    if (bytes > 0) std::memcpy(mOut.here(), mIn.here(), bytes);
    mIn.used += bytes;
    mOut.used += bytes;
  }

  bool convertPart(bool last) {
    if (kIsCopy && copyAscii8()) return true;
    NpPart const part = From::next(mIn.here(), mIn.left(), last);
    if (part.bytes == 0) return keep(mIn.left());
    if (!put(part.codePoint)) return false;
    mIn.used += part.bytes;
    return true;
  }

  bool copyAscii8() {
    if (mIn.left() < 8 || mOut.left() < 8 || !np_utf8_isAscii8(mIn.here())) return false;
    std::memcpy(mOut.here(), mIn.here(), 8);
    mIn.used += 8;
    mOut.used += 8;
    return true;
  }

  Buffer<char const*> mIn{};
  Buffer<char*> mOut{};
  std::size_t mKept = 0;
  char mKeptBytes[kMost];
};

template <class Form>
class UnicodeDecoder final : public NpDecoder {
 public:
  NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                      std::size_t outputBytes, bool last) override {
    return mTranscoder.convert(input, inputBytes, output, outputBytes, last);
  }
  void reset() override { mTranscoder.reset(); }

 private:
  Transcoder<Form, Utf8Form> mTranscoder;
};

template <class Form>
class UnicodeEncoder final : public NpEncoder {
 public:
  NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                      std::size_t outputBytes, bool last, bool* unrepresentable) override {
    *unrepresentable = false;
    return mTranscoder.convert(input, inputBytes, output, outputBytes, last);
  }
  void reset() override { mTranscoder.reset(); }

 private:
  Transcoder<Utf8Form, Form> mTranscoder;
};

// A codec of our own for an encoding, null if it has none.
template <class Codec, template <class> class Of>
std::unique_ptr<Codec> unicodeCodec(int encoding) {
  Codec* codec = nullptr;
  switch (encoding) {
    case np_enc_utf8:
      codec = new (std::nothrow) Of<Utf8Form>;
      break;
    case np_enc_utf16be:
      codec = new (std::nothrow) Of<Utf16Form<std::endian::big>>;
      break;
    case np_enc_utf16le:
      codec = new (std::nothrow) Of<Utf16Form<std::endian::little>>;
      break;
    case np_enc_wide:
      codec = new (std::nothrow) Of<Utf32Form<std::endian::native>>;
      break;
    case np_enc_utf32be:
      codec = new (std::nothrow) Of<Utf32Form<std::endian::big>>;
      break;
    case np_enc_utf32le:
      codec = new (std::nothrow) Of<Utf32Form<std::endian::little>>;
      break;
    default:
      break;
  }
  return std::unique_ptr<Codec>(codec);
}

// The bytes of a text in front of its terminator of `unit` zero bytes.
std::size_t terminatedBytes(char const* text, int unit) {
  static constexpr char kZero[4] = {};
  if (unit == 1) return std::strlen(text);
  auto const step = static_cast<std::size_t>(unit);
  std::size_t bytes = 0;
  while (std::memcmp(text + bytes, kZero, step) != 0) bytes += step;
  return bytes;
}

int clear(char* target, int targetSize, int unit, int result) {
  if (target != nullptr && targetSize >= unit) {
    std::memset(target, 0, static_cast<std::size_t>(unit));
  }
  return result;
}

// `convert(input, bytes, output, bytes)` gives a step of the last piece, or what it consumed as
// SIZE_MAX if the text can't be converted. The result is np_uchar_encode's.
template <class Convert>
int convertText(char const* text, std::size_t textBytes, char* target, int targetSize, int unit,
                Convert convert) {
  if (target != nullptr) {
    if (targetSize < unit) return 0;
    auto const room = static_cast<std::size_t>(targetSize - unit);
    NpCodecStep const step = convert(text, textBytes, target, room);
    if (step.consumed == SIZE_MAX) return clear(target, targetSize, unit, np_conv_unrepresentable);
    std::memset(target + step.produced, 0, static_cast<std::size_t>(unit));
    return static_cast<int>(step.produced);
  }
  char piece[4096];
  std::size_t total = 0;
  for (bool isOpen = true; isOpen;) {
    NpCodecStep const step = convert(text, textBytes, piece, sizeof piece);
    if (step.consumed == SIZE_MAX) return np_conv_unrepresentable;
    text += step.consumed;
    textBytes -= step.consumed;
    total += step.produced;
    isOpen = textBytes > 0 || sizeof piece - step.produced < 4;
  }
  return static_cast<int>(std::min<std::size_t>(total, INT_MAX));
}

}  // namespace

std::unique_ptr<NpDecoder> NpDecoder::create(int encoding) {
  NpEncodingRow const* const row = np_encoding_row(encoding);
  if (row == nullptr) return nullptr;
  if (row->systemName != nullptr) return np_iconv_decoder(row->systemName);
  return unicodeCodec<NpDecoder, UnicodeDecoder>(encoding);
}

std::unique_ptr<NpEncoder> NpEncoder::create(int encoding) {
  NpEncodingRow const* const row = np_encoding_row(encoding);
  if (row == nullptr) return nullptr;
  if (row->systemName != nullptr) return np_iconv_encoder(row->systemName);
  return unicodeCodec<NpEncoder, UnicodeEncoder>(encoding);
}

int np_uchar_encode(int encoding, char const* source, char* target, int targetSize) {
  auto const decoder = NpDecoder::create(encoding);
  if (decoder == nullptr) return clear(target, targetSize, 1, np_conv_unknown);
  std::size_t const bytes = terminatedBytes(source, np_uchar_encunit(encoding));
  return convertText(source, bytes, target, targetSize, 1,
                     [&](char const* in, std::size_t inBytes, char* out, std::size_t outBytes) {
                       return decoder->convert(in, inBytes, out, outBytes, true);
                     });
}

int np_uchar_decode(int encoding, char const* text, char* target, int targetSize) {
  auto const encoder = NpEncoder::create(encoding);
  if (encoder == nullptr) return clear(target, targetSize, 1, np_conv_unknown);
  return convertText(text, std::strlen(text), target, targetSize, np_uchar_encunit(encoding),
                     [&](char const* in, std::size_t inBytes, char* out, std::size_t outBytes) {
                       bool unrepresentable = false;
                       auto step =
                           encoder->convert(in, inBytes, out, outBytes, true, &unrepresentable);
                       if (unrepresentable) step.consumed = SIZE_MAX;
                       return step;
                     });
}
