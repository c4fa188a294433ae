// SPDX-License-Identifier: MIT
//
// Reading text: bytes come into one buffer of a fixed size and leave it as slices of well-formed
// UTF-8. For UTF-8 files a slice lies in that buffer itself, so that a line is validated, searched
// for its end and copied once.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "ztschr12.h"
#include "ztschr12_utf8.h"
#include "ztsfio12_text_p.h"
#include "ztssys11.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Longer marks first: that of UTF-32 little-endian begins like that of UTF-16.
constexpr int kMarkedEncodings[] = {np_enc_utf32le, np_enc_utf32be, np_enc_utf8, np_enc_utf16be,
                                    np_enc_utf16le};

constexpr bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

bool isAscii(std::string_view text) {
  unsigned bits = 0;
  for (char const byte : text) bits |= static_cast<unsigned char>(byte);
  return bits < 0x80;
}

// Whether a text that doesn't begin with a character may still do so with more bytes.
bool isCut(std::string_view text) {
  return text.empty() || np_utf8_part(text.data(), text.size(), false).bytes == 0;
}

// The first `room` bytes of a well-formed text, less a character that doesn't fit whole.
std::size_t fitting(char const* text, std::size_t bytes, std::size_t room) {
  if (bytes <= room) return bytes;
  while (room > 0 && isContinuation(text[room])) --room;
  return room;
}

struct CharacterRun {
  std::size_t bytes;
  int characters;
};

// The first `limit` characters of a well-formed text, or all of it.
CharacterRun firstCharacters(char const* text, std::size_t bytes, int limit) {
  CharacterRun run = {0, 0};
  while (run.bytes < bytes) {
    if (!isContinuation(text[run.bytes])) {
      if (run.characters == limit) break;
      ++run.characters;
    }
    ++run.bytes;
  }
  return run;
}

// Not cleared: the system or a decoder writes into it first.
std::unique_ptr<char[]> newBuffer() {
  return std::make_unique_for_overwrite<char[]>(NpTextReader::kBufferBytes);
}

// The set for text that turned out not to be UTF-8: the locale's, unless that couldn't hold the
// text either.
int localeEncoding() {
  char name[256] = "";
  np_lcinfo_charset(name, sizeof name);
  int const encoding = np_uchar_getenc(name);
  bool const isUseless = encoding < 0 || encoding == np_enc_utf8 || encoding == np_enc_ascii;
  return isUseless ? static_cast<int>(np_enc_windows1252) : encoding;
}

// Room for text in a caller's buffer of `size` bytes, which isn't 0; counts are of type int.
std::size_t roomIn(unsigned size) {
  return std::min<std::size_t>(size - 1, INT_MAX);
}

int addSaturated(int a, int b) {
  return a > INT_MAX - b ? INT_MAX : a + b;
}

}  // namespace

std::string_view npByteOrderMark(int encoding) {
  int bytes = 0;
  char const* mark = np_uchar_encmark(encoding, &bytes);
  return {mark, static_cast<std::size_t>(bytes)};
}

NpTextReader::NpTextReader(NpDescriptor descriptor)
    : mDescriptor(std::move(descriptor)), mRaw(newBuffer()) {}

int NpTextReader::start(int encoding, bool looksForMark) {
  mIsDetecting = encoding == np_enc_detect;
  int code = useEncoding(mIsDetecting ? static_cast<int>(np_enc_utf8) : encoding);
  if (code == 0 && looksForMark) code = takeMark();
  if (code != 0 || !mIsDetecting) return code;
  std::size_t got = 0;
  if (raw().empty()) code = readMore(got);
  return code != 0 ? code : settleEncoding();
}

// Reads as far as the bytes can still become a mark, and takes it out of the text.
int NpTextReader::takeMark() {
  auto const canBecome = [this](int encoding) {
    std::string_view const mark = npByteOrderMark(encoding);
    return mark.size() > raw().size() && mark.starts_with(raw());
  };
  for (std::size_t got = 1; got > 0;) {
    if (std::none_of(std::begin(kMarkedEncodings), std::end(kMarkedEncodings), canBecome)) break;
    if (int const code = readMore(got)) return code;
  }
  for (int const encoding : kMarkedEncodings) {
    std::string_view const mark = npByteOrderMark(encoding);
    if (!raw().starts_with(mark)) continue;
    mMarkBytes = mark.size();
    mRawBegin += mMarkBytes;
    mIsDetecting = false;
    return useEncoding(encoding);
  }
  return 0;
}

int NpTextReader::useEncoding(int encoding) {
  std::unique_ptr<NpDecoder> decoder;
  if (encoding != np_enc_utf8) {
    decoder = NpDecoder::create(encoding);
    if (decoder == nullptr) return -np_fio_err_encoding;
    mText = newBuffer();
  }
  mDecoder = std::move(decoder);
  mEncoding = encoding;
  return 0;
}

// Decides between UTF-8 and the locale's set as soon as the bytes ahead aren't all ASCII. Where
// they end inside a character it reads on: at the end of the file that is a sign of the other set.
// At the end of a full buffer it is none, and if nothing else speaks for either set, what comes
// next decides.
int NpTextReader::settleEncoding() {
  if (isAscii(raw())) return 0;
  bool isUtf8 = false;
  for (std::size_t got = 1; !isUtf8;) {
    std::size_t const good = np_uchar_wellformed(raw().data(), raw().size());
    std::string_view const rest = raw().substr(good);
    bool const isFull = raw().size() == kBufferBytes;
    isUtf8 = rest.empty() || (isFull && isCut(rest));
    if (isUtf8 && isAscii(raw().substr(0, good))) return 0;
    if (isUtf8 || got == 0 || !isCut(rest)) break;
    if (int const code = readMore(got)) return code;
  }
  mIsDetecting = false;
  // If the system converts neither, the text stays UTF-8 with replacement characters.
  if (!isUtf8 && useEncoding(localeEncoding()) != 0) {
    static_cast<void>(useEncoding(np_enc_windows1252));
  }
  return 0;
}

// Moves what is left in the buffer to its front and reads behind it; 0 bytes are the file's end.
int NpTextReader::readMore(std::size_t& got) {
  std::string_view const left = raw();
  std::memmove(mRaw.get(), left.data(), left.size());
  mRawBegin = 0;
  mRawEnd = left.size();
  ssize_t n = 0;
  do {
    n = ::read(mDescriptor.get(), mRaw.get() + mRawEnd, kBufferBytes - mRawEnd);
  } while (n < 0 && errno == EINTR);
  if (n < 0) return -npFioCode(errno);
  got = static_cast<std::size_t>(n);
  mRawEnd += got;
  return 0;
}

int NpTextReader::moveTo(std::int64_t offset, int origin) {
  if (::lseek(mDescriptor.get(), offset, origin) < 0) return -npFioCode(errno);
  mRawBegin = mRawEnd = 0;
  mReady = {};
  mHere = mEnd = mNextLf = mNextCr = nullptr;
  mIsAfterCr = false;
  if (mDecoder != nullptr) mDecoder->reset();
  return 0;
}

int NpTextReader::rewind() {
  return moveTo(static_cast<std::int64_t>(mMarkBytes), SEEK_SET);
}

int NpTextReader::unwind() {
  return moveTo(0, SEEK_END);
}

// Fills mReady from a UTF-8 file; it stays empty at the end.
int NpTextReader::validate() {
  std::size_t good = 0;
  for (std::size_t got = 1; got > 0;) {
    good = np_uchar_wellformed(raw().data(), raw().size());
    if (good > 0 || !isCut(raw())) break;
    if (int const code = readMore(got)) return code;
    if (!mIsDetecting) continue;
    if (int const code = settleEncoding()) return code;
    if (mDecoder != nullptr) return decode();
  }
  if (raw().empty()) return 0;
  mReady = good > 0 ? raw().substr(0, good) : kReplacement;
  mRawBegin += good > 0 ? good : np_utf8_part(raw().data(), raw().size(), true).bytes;
  return 0;
}

// Fills mReady through the decoder; it stays empty at the end.
int NpTextReader::decode() {
  for (std::size_t got = 1; mReady.empty() && got > 0;) {
    if (raw().empty()) {
      if (int const code = readMore(got)) return code;
    }
    NpCodecStep const step =
        mDecoder->convert(raw().data(), raw().size(), mText.get(), kBufferBytes, got == 0);
    mRawBegin += step.consumed;
    mReady = {mText.get(), step.produced};
  }
  return 0;
}

// Takes the next slice; it stays empty at the end of the file. A NUL becomes U+FFFD.
int NpTextReader::fetch() {
  if (mReady.empty()) {
    int const code = mDecoder == nullptr ? validate() : decode();
    if (code != 0 || mReady.empty()) return code;
  }
  std::size_t const bytes = std::min(mReady.find('\0'), mReady.size());
  takeSlice(bytes > 0 ? mReady.substr(0, bytes) : kReplacement);
  mReady.remove_prefix(std::max<std::size_t>(bytes, 1));
  return 0;
}

void NpTextReader::takeSlice(std::string_view text) {
  mHere = text.data();
  mEnd = mHere + text.size();
  mNextLf = find('\n');
  mNextCr = find('\r');
}

char const* NpTextReader::find(char wanted) const {
  void const* found = std::memchr(mHere, wanted, static_cast<std::size_t>(mEnd - mHere));
  return found == nullptr ? mEnd : static_cast<char const*>(found);
}

// Sees to it that the slice isn't empty unless the file is at its end.
int NpTextReader::ahead() {
  for (;;) {
    if (mHere == mEnd) {
      int const code = fetch();
      if (code != 0 || mHere == mEnd) return code;
    }
    if (!std::exchange(mIsAfterCr, false)) return 0;
    if (*mHere == '\n') ++mHere;
  }
}

char const* NpTextReader::lineEnd() {
  if (mNextLf < mHere) mNextLf = find('\n');
  if (mNextCr < mHere) mNextCr = find('\r');
  return std::min(mNextLf, mNextCr);
}

void NpTextReader::takeLineEnd() {
  mIsAfterCr = *mHere++ == '\r';
}

int NpTextReader::readLine(char* buffer, unsigned size, bool& complete) {
  complete = false;
  if (buffer == nullptr || size == 0) return -np_fio_err_small_buffer;
  std::size_t const room = roomIn(size);
  std::size_t count = 0;
  for (;;) {
    int const code = ahead();
    if (code != 0 && count == 0) return code;
    if (code != 0 || mHere == mEnd) break;
    auto const wanted = static_cast<std::size_t>(lineEnd() - mHere);
    std::size_t const taken = fitting(mHere, wanted, room - count);
    std::memcpy(buffer + count, mHere, taken);
    mHere += taken;
    count += taken;
    if (taken < wanted) {
      if (count == 0) return -np_fio_err_small_buffer;
      break;
    }
    if (mHere == mEnd) continue;
    takeLineEnd();
    complete = true;
    break;
  }
  buffer[count] = '\0';
  return static_cast<int>(count);
}

int NpTextReader::read(int limit, char* buffer, unsigned size) {
  if (buffer == nullptr || size == 0) return -np_fio_err_small_buffer;
  int charactersLeft = limit < 0 ? INT_MAX : limit;
  std::size_t const room = roomIn(size);
  std::size_t count = 0;
  while (charactersLeft > 0 && (count < room || count == 0)) {
    int const code = ahead();
    if (code != 0 && count == 0) return code;
    if (code != 0 || mHere == mEnd) break;
    std::string_view piece = "\n";
    if (!atLineEnd()) piece = {mHere, static_cast<std::size_t>(lineEnd() - mHere)};
    std::size_t taken = fitting(piece.data(), piece.size(), room - count);
    if (taken == 0) {
      if (count == 0) return -np_fio_err_small_buffer;
      break;
    }
    CharacterRun run = {taken, 0};
    if (limit >= 0) run = firstCharacters(piece.data(), taken, charactersLeft);
    charactersLeft -= run.characters;
    std::memcpy(buffer + count, piece.data(), run.bytes);
    count += run.bytes;
    if (atLineEnd()) {
      takeLineEnd();
    } else {
      mHere += run.bytes;
    }
  }
  buffer[count] = '\0';
  return static_cast<int>(count);
}

int NpTextReader::skip(int count) {
  int skipped = 0;
  while (skipped < count) {
    int const code = ahead();
    if (code != 0 && skipped == 0) return code;
    if (code != 0 || mHere == mEnd) break;
    if (atLineEnd()) {
      takeLineEnd();
      ++skipped;
      continue;
    }
    CharacterRun const run =
        firstCharacters(mHere, static_cast<std::size_t>(lineEnd() - mHere), count - skipped);
    mHere += run.bytes;
    skipped += run.characters;
  }
  return skipped;
}

int NpTextReader::skipLine() {
  int skipped = 0;
  for (;;) {
    int const code = ahead();
    if (code != 0 && skipped == 0) return code;
    if (code != 0 || mHere == mEnd) return skipped;
    if (atLineEnd()) {
      takeLineEnd();
      return addSaturated(skipped, 1);
    }
    CharacterRun const run =
        firstCharacters(mHere, static_cast<std::size_t>(lineEnd() - mHere), INT_MAX);
    mHere += run.bytes;
    skipped = addSaturated(skipped, run.characters);
  }
}
