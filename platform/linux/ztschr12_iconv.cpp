// SPDX-License-Identifier: MIT
//
// Codecs over iconv. It says where something is ill-formed or cut; how far that goes, what stands
// for it, and how bytes are kept between calls is decided here.

#include "ztschr12_iconv.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>

#include "ztschr12.h"
#include "ztschr12_utf8.h"

namespace {

enum class Outcome { done, cut, illFormed, full };

// One conversion descriptor.
class Iconv {
 public:
  Iconv(char const* to, char const* from) : mHandle(iconv_open(to, from)) {}
  Iconv(Iconv const&) = delete;
  Iconv& operator=(Iconv const&) = delete;
  ~Iconv() {
    if (isOpen()) iconv_close(mHandle);
  }

  bool isOpen() const { return mHandle != reinterpret_cast<iconv_t>(-1); }

  // Converts what it can; `step` gets what that was.
  Outcome convert(char const* in, std::size_t inBytes, char* out, std::size_t outBytes,
                  NpCodecStep& step) {
    char* from = const_cast<char*>(in);
    char* to = out;
    std::size_t inLeft = inBytes, outLeft = outBytes;
    std::size_t const result = iconv(mHandle, &from, &inLeft, &to, &outLeft);
    step = {inBytes - inLeft, outBytes - outLeft};
    if (result != static_cast<std::size_t>(-1)) return Outcome::done;
    if (errno == E2BIG) return Outcome::full;
    return errno == EINVAL ? Outcome::cut : Outcome::illFormed;
  }

  // Writes what the conversion holds back, and returns it to its initial state.
  std::size_t finish(char* out, std::size_t outBytes) {
    std::size_t outLeft = outBytes;
    iconv(mHandle, nullptr, nullptr, &out, &outLeft);
    return outBytes - outLeft;
  }

  void reset() { iconv(mHandle, nullptr, nullptr, nullptr, nullptr); }

 private:
  iconv_t mHandle;
};

// The output of one call, behind a store for what was converted but didn't fit: iconv may make
// several characters at once, and a character must not be split.
class Output {
 public:
  void begin(char* out, std::size_t outBytes) {
    mOut = out;
    mLeft = outBytes;
    mProduced = 0;
  }
  void reset() { mStoreBegin = mStoreEnd = 0; }

  // Where the next conversion writes: into the output if there is room for any character.
  char* target() { return isDirect() ? mOut + mProduced : mStore + mStoreEnd; }
  std::size_t room() const { return isDirect() ? mLeft : kStore - mStoreEnd; }
  // The room for a conversion, which leaves some in the store for what comes behind it.
  std::size_t conversionRoom() const { return isDirect() ? mLeft : kStore - kReserve; }
  void add(std::size_t bytes) {
    if (isDirect()) {
      take(bytes);
    } else {
      mStoreEnd += bytes;
    }
  }

  void put(char const* bytes, std::size_t count) {
    std::memcpy(target(), bytes, count);
    add(count);
  }

  // Moves whole characters of the store into the output. False if some don't fit.
  bool deliver() {
    while (mStoreBegin < mStoreEnd) {
      char const* const p = mStore + mStoreBegin;
      std::size_t const bytes = np_utf8_part(p, mStoreEnd - mStoreBegin, true).bytes;
      if (bytes > mLeft) return false;
      std::memcpy(mOut + mProduced, p, bytes);
      take(bytes);
      mStoreBegin += bytes;
    }
    reset();
    return true;
  }

  std::size_t produced() const { return mProduced; }

 private:
  static constexpr std::size_t kStore = 64;
  static constexpr std::size_t kReserve = 24;

  bool isDirect() const { return mStoreEnd == 0 && mLeft >= kStore; }
  void take(std::size_t bytes) {
    mProduced += bytes;
    mLeft -= bytes;
  }

  char* mOut = nullptr;
  std::size_t mLeft = 0;
  std::size_t mProduced = 0;
  std::size_t mStoreBegin = 0;
  std::size_t mStoreEnd = 0;
  char mStore[kStore];
};

class IconvDecoder final : public NpDecoder {
 public:
  explicit IconvDecoder(char const* systemName) : mIconv("UTF-8", systemName) {}
  bool isOpen() const { return mIconv.isOpen(); }

  NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                      std::size_t outputBytes, bool last) override {
    mOutput.begin(output, outputBytes);
    std::size_t used = 0;
    while (mOutput.deliver()) {
      if (mKept > 0) {
        if (!convertKept() && !takeByte(input, inputBytes, used, last)) break;
      } else if (used < inputBytes) {
        used += convertPiece(input + used, inputBytes - used);
      } else if (last && mHolds) {
        finish();
      } else {
        break;
      }
    }
    mOutput.deliver();
    return {used, mOutput.produced()};
  }

  void reset() override {
    mIconv.reset();
    mOutput.reset();
    mKept = 0;
    mHolds = false;
  }

 private:
  // More than the longest sequence of any set.
  static constexpr std::size_t kMost = 8;

  // One call of iconv, and what follows from its outcome. Gives the bytes that are dealt with; a
  // sequence that is cut is taken into mKept.
  std::size_t convertPiece(char const* in, std::size_t inBytes) {
    NpCodecStep step;
    Outcome const outcome =
        mIconv.convert(in, inBytes, mOutput.target(), mOutput.conversionRoom(), step);
    mOutput.add(step.produced);
    mHolds = true;
    in += step.consumed;
    inBytes -= step.consumed;
    if (outcome == Outcome::illFormed) return step.consumed + replace(in, inBytes);
    if (outcome != Outcome::cut) return step.consumed;
    mKept = std::min(inBytes, kMost);
    std::memcpy(mKeptBytes, in, mKept);
    return step.consumed + mKept;
  }

  // The same for what is kept. False if it's still cut.
  bool convertKept() {
    char bytes[kMost];
    std::size_t const count = mKept;
    std::memcpy(bytes, mKeptBytes, count);
    mKept = 0;
    std::size_t const used = convertPiece(bytes, count);
    if (mKept > 0 && used == count) return false;
    mKept = count - used;
    std::memcpy(mKeptBytes, bytes + used, mKept);
    return true;
  }

  // One more byte for what is kept, or its replacement if there is none. False to wait for more.
  bool takeByte(char const* input, std::size_t inputBytes, std::size_t& used, bool last) {
    if (used < inputBytes && mKept < kMost) {
      mKeptBytes[mKept++] = input[used++];
      return true;
    }
    if (used == inputBytes && !last) return false;
    mKept = 0;
    putReplacement();
    return true;
  }

  // Puts U+FFFD for the ill-formed part at the front of the input, and gives its bytes.
  std::size_t replace(char const* in, std::size_t inBytes) {
    putReplacement();
    bool const pair = inBytes > 1 && static_cast<unsigned char>(in[1]) >= 0x80;
    return pair && isLead(in) ? 2 : 1;
  }

  // Whether the byte by itself is the start of a longer sequence.
  bool isLead(char const* in) {
    char ignored[16];
    NpCodecStep step;
    return mIconv.convert(in, 1, ignored, sizeof ignored, step) == Outcome::cut;
  }

  void putReplacement() {
    // What iconv holds back to combine it with what follows comes first.
    finish();
    mOutput.put("\xEF\xBF\xBD", 3);
  }

  void finish() {
    mOutput.add(mIconv.finish(mOutput.target(), mOutput.room()));
    mHolds = false;
  }

  Iconv mIconv;
  Output mOutput;
  std::size_t mKept = 0;
  char mKeptBytes[kMost];
  bool mHolds = false;  // iconv may hold a character back
};

class IconvEncoder final : public NpEncoder {
 public:
  explicit IconvEncoder(char const* systemName) : mIconv(systemName, "UTF-8") {}
  bool isOpen() const { return mIconv.isOpen(); }

  NpCodecStep convert(char const* input, std::size_t inputBytes, char* output,
                      std::size_t outputBytes, bool last, bool* unrepresentable) override {
    *unrepresentable = false;
    mOut = output;
    mLeft = outputBytes;
    mMissing = false;
    std::size_t used = 0;
    bool goesOn = finishKept(input, inputBytes, used, last);
    while (goesOn && used < inputBytes) {
      goesOn = convertNext(input + used, inputBytes - used, used, last);
    }
    *unrepresentable = mMissing;
    return {used, outputBytes - mLeft};
  }

  void reset() override {
    mIconv.reset();
    mKept = 0;
  }

 private:
  static constexpr std::size_t kMost = 4;

  // The next stretch of characters, or one part that isn't one. False if the conversion stops.
  bool convertNext(char const* in, std::size_t inBytes, std::size_t& used, bool last) {
    // No set takes fewer than one byte for four, so what is beyond can't be needed.
    std::size_t const bytes = np_uchar_wellformed(in, std::min(inBytes, mLeft * 4 + kMost));
    if (bytes > 0) return convertCharacters(in, bytes, used);
    NpPart const part = np_utf8_part(in, inBytes, last);
    if (part.bytes == 0) {
      std::memcpy(mKeptBytes, in, inBytes);
      mKept = inBytes;
      used += inBytes;
      return false;
    }
    if (!putReplacement()) return false;
    used += part.bytes;
    return true;
  }

  // Well-formed characters, in front of a language tag or one tag by itself. False if the
  // conversion stops. iconv drops tags without a word where the set doesn't have them.
  bool convertCharacters(char const* in, std::size_t inBytes, std::size_t& used) {
    std::size_t const beforeTag = std::min(inBytes, tagPlace(in, inBytes));
    std::size_t const bytes = beforeTag == 0 ? kTagBytes : beforeTag;
    NpCodecStep step;
    Outcome const outcome = mIconv.convert(in, bytes, mOut, mLeft, step);
    bool const isDropped = beforeTag == 0 && outcome == Outcome::done && step.produced == 0;
    mMissing = isDropped || outcome == Outcome::illFormed;
    mOut += step.produced;
    mLeft -= step.produced;
    used += isDropped ? 0 : step.consumed;
    return outcome == Outcome::done && !mMissing;
  }

  static constexpr std::size_t kTagBytes = 4;
  static std::size_t tagPlace(char const* in, std::size_t inBytes) {
    std::string_view const text(in, inBytes);
    return std::min(text.find("\xF3\xA0\x80"), text.find("\xF3\xA0\x81"));
  }

  bool putReplacement() {
    std::size_t ignored = 0;
    if (convertCharacters("\xEF\xBF\xBD", 3, ignored)) return true;
    if (!mMissing) return false;
    mMissing = false;
    return convertCharacters("?", 1, ignored);
  }

  // Completes the character that an earlier call left. False if the conversion stops here.
  bool finishKept(char const* input, std::size_t inputBytes, std::size_t& used, bool last) {
    if (mKept == 0) return true;
    char joined[2 * kMost];
    std::size_t const more = std::min(inputBytes, kMost);
    std::memcpy(joined, mKeptBytes, mKept);
    if (more > 0) std::memcpy(joined + mKept, input, more);
    NpPart const part = np_utf8_part(joined, mKept + more, last);
    if (part.bytes == 0) {
      std::memcpy(mKeptBytes, joined, mKept += more);
      used += more;
      return false;
    }
    std::size_t ignored = 0;
    bool const done = part.codePoint == np_uchar_illformed
                          ? putReplacement()
                          : convertCharacters(joined, part.bytes, ignored);
    if (done) used += part.bytes - mKept;
    if (done || mMissing) mKept = 0;
    return done;
  }

  Iconv mIconv;
  char* mOut = nullptr;
  std::size_t mLeft = 0;
  bool mMissing = false;
  std::size_t mKept = 0;
  char mKeptBytes[kMost];
};

template <class Interface, class Codec>
std::unique_ptr<Interface> opened(char const* systemName) {
  std::unique_ptr<Codec> codec(new (std::nothrow) Codec(systemName));
  if (codec == nullptr || !codec->isOpen()) return nullptr;
  return codec;
}

}  // namespace

std::unique_ptr<NpDecoder> np_iconv_decoder(char const* systemName) {
  return opened<NpDecoder, IconvDecoder>(systemName);
}

std::unique_ptr<NpEncoder> np_iconv_encoder(char const* systemName) {
  return opened<NpEncoder, IconvEncoder>(systemName);
}
