// SPDX-License-Identifier: MIT
//
// Encodings: their names, conversion of whole texts and of texts in pieces.

#include "ztschr12_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "ztschr12.h"
#include "ztschr12_encodings.h"
#include "ztschr12_utf8.h"

using namespace std::string_literals;

namespace {

int encodingCount() {
  int count = 0;
  while (np_uchar_encname(count) != nullptr) ++count;
  return count;
}

constexpr std::size_t kWhole = std::string::npos;

// The whole of `input`, in pieces that end at `split` and a byte behind it, through an output of
// `room` bytes a call.
template <class Convert>
std::string inPieces(Convert convert, std::string const& input, std::size_t split,
                     std::size_t room) {
  std::string output;
  std::size_t calls = 0;
  for (std::size_t at = 0, free = 0; at < input.size() || free < 4;) {
    std::string const in = input.substr(at, at < split ? split - at : at == split ? 1 : kWhole);
    // A split at the end leaves a last call without input.
    bool const last = at + in.size() == input.size() && (at >= split || split > input.size());
    // Blocks of exactly their size, so that the address sanitizer sees a byte too far.
    std::vector<char> const exact(in.begin(), in.end());
    std::vector<char> out(room);
    NpCodecStep const step = convert(exact.data(), exact.size(), out.data(), room, last);
    output.append(out.data(), step.produced);
    at += step.consumed;
    free = last ? room - step.produced : 0;
    if (++calls > 16 * input.size() + 64) return "endless: " + output;
  }
  return output;
}

std::string decoded(int encoding, std::string const& input, std::size_t split = kWhole,
                    std::size_t room = 4096) {
  auto const decoder = NpDecoder::create(encoding);
  return inPieces([&](auto... step) { return decoder->convert(step...); }, input, split, room);
}

std::string encoded(int encoding, std::string const& input, std::size_t split = kWhole,
                    std::size_t room = 4096) {
  auto const encoder = NpEncoder::create(encoding);
  bool isAbsent = false;
  return inPieces([&](auto... step) { return encoder->convert(step..., &isAbsent); }, input, split,
                  room);
}

std::string utf8(unsigned c) {
  char bytes[4];
  return {bytes, np_utf8_put(c, bytes)};
}

// A text that the encoding has: the characters of a sample that it can represent.
std::string sampleFor(int encoding) {
  static unsigned const kSample[] = {'a',    0x5B8,  0x7E,   0xE9,   0xDF,    0x153,  0x20AC,
                                     0x416,  0x3B1,  0x5D0,  0x627,  0xE01,   0x1EA5, 0x3042,
                                     0x65E5, 0xAC00, 0xFF71, 0xFFFD, 0x1F600, 'z'};
  std::string sample;
  char target[64];
  for (unsigned const c : kSample) {
    if (np_uchar_decode(encoding, utf8(c).c_str(), target, sizeof target) > 0) sample += utf8(c);
  }
  return sample;
}

}  // namespace

TEST(Encodings, NamesLeadToNumbersAndBack) {
  std::pair<int, std::vector<char const*>> const rows[] = {
      {0, {"UTF-8", "utf8"}},
      {7, {"UTF-16BE"}},
      {8, {"utf_16le"}},
      {24, {"windows-1252", "CP1252"}},
      {2, {"latin1"}},
      {1, {"ANSI_X3.4-1968"}},
      {np_enc_iso8859_15, {"iso8859-15"}},
      {np_enc_koi8_r, {"koi8r"}},
      {np_enc_wide, {"WCHAR_T"}},
      {-1, {nullptr, "", "-_", "UTF", "UTF-88", "UTF-8 CP65001"}}};
  for (auto const& [number, names] : rows) {
    for (char const* name : names) EXPECT_EQ(number, np_uchar_getenc(name)) << number;
  }
  EXPECT_EQ(np_enc_gbk + 1, encodingCount());
  for (int e = 0; e < encodingCount(); ++e) EXPECT_EQ(e, np_uchar_getenc(np_uchar_encname(e)));
  EXPECT_EQ(nullptr, np_uchar_encname(-1));
}

TEST(Encodings, MarksAreTheCharacterFeff) {
  for (int e = 0; e < encodingCount(); ++e) {
    int bytes = -1;
    char const* const mark = np_uchar_encmark(e, &bytes);
    ASSERT_EQ(mark == nullptr, bytes == 0);
    if (mark == nullptr) continue;
    EXPECT_EQ(encoded(e, "\uFEFF"), std::string(mark, static_cast<std::size_t>(bytes)));
  }
}

TEST(Encodings, EveryCodePointGoesThroughEveryUnicodeCodec) {
  std::string all;
  for (unsigned c = 0; c <= 0x10FFFF; ++c) {
    // Without surrogates, and the private use that GB18030 has only in part.
    if (c < 0xD800 || c > 0xF8FF) all += utf8(c);
  }
  std::size_t const room = 2 * all.size();
  static int const kEncodings[] = {np_enc_utf8,    np_enc_utf16be, np_enc_utf16le, np_enc_wide,
                                   np_enc_utf32be, np_enc_utf32le, np_enc_gb18030};
  for (int const e : kEncodings) {
    EXPECT_TRUE(decoded(e, encoded(e, all, kWhole, room), kWhole, room) == all)
        << np_uchar_encname(e);
  }
  EXPECT_EQ("\xD8\x3D\xDE\x00\x00\x41"s, encoded(np_enc_utf16be, "😀A"));
  EXPECT_EQ("\x00\xF6\x01\x00"s, encoded(np_enc_utf32le, "\U0001F600"));
}

TEST(Encodings, EveryByteOfAnEightBitSetComesBack) {
  for (int e = 0; e < encodingCount(); ++e) {
    NpEncodingRow const& row = *np_encoding_row(e);
    if (row.systemName == nullptr || (e >= np_enc_shift_jis && e <= np_enc_gbk)) continue;
    for (unsigned byte = 0; byte < 256; ++byte) {
      std::string const one(1, static_cast<char>(byte));
      std::string const text = decoded(e, one);
      EXPECT_TRUE(byte >= 0x80 || text == one) << row.name << ' ' << byte;
      if (text == "\uFFFD") continue;
      EXPECT_EQ(one, encoded(e, text)) << row.name << ' ' << byte;
    }
  }
}

// One U+FFFD, here "?", for each maximal ill-formed part.
TEST(Encodings, IllFormedPartsAreReplacedOneByOne) {
  struct {
    int encoding;
    std::string bytes, text;
  } const rows[] = {
      {np_enc_utf8, "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
      {np_enc_utf8, "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
      {np_enc_utf8, "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B"},
      {np_enc_utf8, "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
      {np_enc_utf8, "a\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64", "a???b?c??d"},
      {np_enc_utf8, "\xFF/a long ASCII run into little room\xF0\x9F\x98",
       "?/a long ASCII run into little room?"},
      {np_enc_utf16be, "\xD8\x00\x00\x41\xDC\x00\xD8\x00\xD8\x00\xDC\x00\xD8"s, "?A??\U00010000?"},
      {np_enc_utf16le, "\x41\x00\x00\xD8"s, "A?"},
      {np_enc_utf16be, "\xDC\x00\xDC\x00\xD8\x00\xDC"s, "????"},
      {np_enc_utf32be, "\x00\x11\x00\x00\x00\x00\xD8\x00\x00\x00\x00\x41\x00\x00"s, "??A?"},
      {np_enc_ascii, "a\x80\xFF\x62", "a??b"},
      {np_enc_windows1252, "\x81\x80\x8D", "?\u20AC?"},
      {np_enc_shift_jis, "\x82\xA0\x82\x41\x82", "\u3042?A?"},
      {np_enc_euc_jp, "\xA4\xA2\xA4\x41\xFF\x8F\xA1\xA4\xA2", "\u3042?A??\u3042"},
      {np_enc_euc_kr, "\xB0\xA1\xB0\xFF\xB0\xA1", "\uAC00?\uAC00"},
      {np_enc_gb18030, "\x81\x30\xFF\x41\x81\x30\x81", "?0?A?"},
      {np_enc_windows1255, "\xE0\xFF\xE0", "\u05D0?\u05D0"},
  };
  for (auto const& [encoding, bytes, text] : rows) {
    std::string expected;
    for (char const c : text) expected += c == '?' ? "\uFFFD"s : std::string(1, c);
    SCOPED_TRACE(np_uchar_encname(encoding) + (" " + testing::PrintToString(bytes)));
    for (std::size_t i = 0; i <= bytes.size(); ++i) {
      EXPECT_EQ(expected, decoded(encoding, bytes, i, 4)) << "split at " << i;
    }
  }
  EXPECT_EQ("\xFF\xFD\0b"s, encoded(np_enc_utf16be, "\xE4\xB8\x62"));
  EXPECT_EQ("a?b?", encoded(np_enc_iso8859_1, "a\xE4\xB8\x62\xFF"));
}

TEST(Encodings, PiecesGiveWhatTheWholeGives) {
  for (int e = 0; e < encodingCount(); ++e) {
    SCOPED_TRACE(np_uchar_encname(e));
    std::string const text = "begin\n" + sampleFor(e) + sampleFor(e) + "\xE4\xB8 end";
    std::string const bytes = encoded(e, text);
    std::string const back = decoded(e, bytes);
    EXPECT_EQ(0u, back.find("begin\n" + sampleFor(e) + sampleFor(e)));
    for (std::size_t const room : {4u, 5u, 70u}) {
      for (std::size_t i = 0; i <= std::max(text.size(), bytes.size()); ++i) {
        ASSERT_EQ(bytes, encoded(e, text, i, room)) << "split at " << i;
        ASSERT_EQ(back, decoded(e, bytes, i, room)) << "split at " << i;
      }
    }
  }
}

TEST(Encodings, AnAbsentCharacterStopsTheEncoderInFrontOfIt) {
  for (std::string const absent : {"中", "\U000E0041"}) {
    auto const encoder = NpEncoder::create(np_enc_iso8859_1);
    std::string const text = "aé" + absent + "b";
    char out[16];
    bool isAbsent = false;
    NpCodecStep step = encoder->convert(text.data(), text.size(), out, sizeof out, true, &isAbsent);
    EXPECT_TRUE(isAbsent && step.consumed == 3 && step.produced == 2) << absent;
    step = encoder->convert("b", 1, out, sizeof out, true, &isAbsent);
    EXPECT_TRUE(!isAbsent && step.produced == 1) << absent;
  }
}

// Into every size of target, from too small to roomy.
TEST(Encodings, WholeTextsAreCutAtCharacters) {
  struct {
    int encoding;
    std::string bytes;  // without their terminator
    std::string text;
  } const rows[] = {
      {np_enc_utf8, "a\xC3\xA9\xE4\xB8\xAD", "aé中"},
      {np_enc_windows1252, "\x80\x61\xFC", "€aü"},
      {np_enc_utf16le, "a\0\x3D\xD8\x00\xDE\x2D\x4E"s, "a😀中"},
      {np_enc_shift_jis, "\x82\xA0\x5C", "あ\\"},
      {np_enc_wide, {reinterpret_cast<char const*>(L"a中😀"), 12}, "a中😀"},
  };
  for (auto const& [encoding, bytes, text] : rows) {
    std::string const source = bytes + "\0\0\0\0"s;
    int const textBytes = static_cast<int>(text.size());
    EXPECT_EQ(textBytes, np_uchar_encode(encoding, source.data(), nullptr, 0));
    for (int size = 1; size <= textBytes + 1; ++size) {
      std::vector<char> out(static_cast<std::size_t>(size)), expected(text.size() + 1);
      unsigned const fits =
          np_uchar_bufncopy(expected.data(), text.c_str(), static_cast<unsigned>(size), UINT_MAX);
      ASSERT_EQ(static_cast<int>(fits), np_uchar_encode(encoding, source.data(), out.data(), size));
      EXPECT_STREQ(expected.data(), out.data());
    }
    int const unit = np_uchar_encunit(encoding), byteCount = static_cast<int>(bytes.size());
    EXPECT_EQ(byteCount, np_uchar_decode(encoding, text.c_str(), nullptr, 0));
    std::string const end(static_cast<std::size_t>(unit), '\0');
    for (int size = unit; size <= byteCount + unit; ++size) {
      std::string out(static_cast<std::size_t>(size), 'x');
      int const got = np_uchar_decode(encoding, text.c_str(), out.data(), size);
      ASSERT_TRUE(got > size - unit - 4 && got <= size - unit) << got << ' ' << size;
      std::string const expected = bytes.substr(0, static_cast<std::size_t>(got)) + end;
      EXPECT_EQ(expected, out.substr(0, expected.size()));
    }
    char tooSmall = 'x';
    EXPECT_EQ(0, np_uchar_decode(encoding, text.c_str(), &tooSmall, unit - 1));
    EXPECT_EQ('x', tooSmall);
  }
}

TEST(Encodings, RefusedConversionsLeaveAnEmptyTarget) {
  char target[8] = "xxxxxxx";
  for (int const encoding : {-1, INT_MAX, INT_MIN}) {
    target[0] = 'x';
    EXPECT_EQ(np_conv_unknown, np_uchar_encode(encoding, "a", target, sizeof target));
    EXPECT_STREQ("", target);
    EXPECT_EQ(np_conv_unknown, np_uchar_decode(encoding, "a", nullptr, 0));
    EXPECT_EQ(nullptr, NpDecoder::create(encoding));
  }
  target[0] = 'x';
  EXPECT_EQ(np_conv_unrepresentable, np_uchar_decode(np_enc_koi8_r, "aü", target, sizeof target));
  EXPECT_STREQ("", target);
  EXPECT_EQ(np_conv_unrepresentable, np_uchar_decode(np_enc_koi8_r, "aü", nullptr, 0));
  EXPECT_EQ(0, np_uchar_encode(np_enc_utf8, "abc", target, -1));
}
