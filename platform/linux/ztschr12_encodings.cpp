// SPDX-License-Identifier: MIT
//
// Names and properties of encodings.

#include "ztschr12_encodings.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "ztschr12.h"

namespace {

constexpr std::string_view kMark8 = "\xEF\xBB\xBF";
constexpr std::string_view kMark16be = "\xFE\xFF";
constexpr std::string_view kMark16le = "\xFF\xFE";
constexpr std::string_view kMark32be{"\x00\x00\xFE\xFF", 4};
constexpr std::string_view kMark32le{"\xFF\xFE\x00\x00", 4};

// In the order of their numbers. Aliases that differ from a name only in case, "-" and "_" are left
// out.
constexpr NpEncodingRow kRows[] = {
    {np_enc_utf8, "UTF-8", "CP65001 csUTF8", nullptr, 1, kMark8},
    {np_enc_ascii,
     "US-ASCII",
     "ASCII ANSI_X3.4-1968 ANSI_X3.4-1986 ISO646-US ISO_646.IRV:1991 IBM367 CP367 646",
     "US-ASCII",
     1,
     {}},
    {np_enc_iso8859_1,
     "ISO-8859-1",
     "latin1 l1 IBM819 CP819 8859_1 ISO_8859-1:1987",
     "ISO-8859-1",
     1,
     {}},
    {np_enc_iso8859_2, "ISO-8859-2", "latin2 l2 8859_2 ISO_8859-2:1987", "ISO-8859-2", 1, {}},
    {np_enc_iso8859_5, "ISO-8859-5", "cyrillic 8859_5 ISO_8859-5:1988", "ISO-8859-5", 1, {}},
    {np_enc_iso8859_7, "ISO-8859-7", "greek greek8 8859_7 ISO_8859-7:1987", "ISO-8859-7", 1, {}},
    {np_enc_iso8859_9, "ISO-8859-9", "latin5 l5 8859_9 ISO_8859-9:1989", "ISO-8859-9", 1, {}},
    {np_enc_utf16be, "UTF-16BE", "UCS-2BE", nullptr, 2, kMark16be},
    {np_enc_utf16le, "UTF-16LE", "UTF-16 UCS-2LE UCS-2 unicode", nullptr, 2, kMark16le},
    {np_enc_iso8859_15, "ISO-8859-15", "latin9 8859_15", "ISO-8859-15", 1, {}},
    {np_enc_wide, "WCHAR_T", "wide", nullptr, 4, {}},
    {np_enc_utf32be, "UTF-32BE", "UCS-4BE", nullptr, 4, kMark32be},
    {np_enc_utf32le, "UTF-32LE", "UTF-32 UCS-4LE UCS-4", nullptr, 4, kMark32le},
    {np_enc_iso8859_3, "ISO-8859-3", "latin3 l3 8859_3 ISO_8859-3:1988", "ISO-8859-3", 1, {}},
    {np_enc_iso8859_4, "ISO-8859-4", "latin4 l4 8859_4 ISO_8859-4:1988", "ISO-8859-4", 1, {}},
    {np_enc_iso8859_6, "ISO-8859-6", "arabic 8859_6 ISO_8859-6:1987", "ISO-8859-6", 1, {}},
    {np_enc_iso8859_8, "ISO-8859-8", "hebrew 8859_8 ISO_8859-8:1988", "ISO-8859-8", 1, {}},
    {np_enc_iso8859_10, "ISO-8859-10", "latin6 l6 8859_10", "ISO-8859-10", 1, {}},
    {np_enc_iso8859_13, "ISO-8859-13", "latin7 l7 8859_13", "ISO-8859-13", 1, {}},
    {np_enc_iso8859_14, "ISO-8859-14", "latin8 l8 8859_14", "ISO-8859-14", 1, {}},
    {np_enc_iso8859_16, "ISO-8859-16", "latin10 l10 8859_16", "ISO-8859-16", 1, {}},
    {np_enc_koi8_r, "KOI8-R", "csKOI8R", "KOI8-R", 1, {}},
    {np_enc_windows1250, "windows-1250", "CP1250 ms-ee 1250", "CP1250", 1, {}},
    {np_enc_windows1251, "windows-1251", "CP1251 ms-cyrl 1251", "CP1251", 1, {}},
    {np_enc_windows1252, "windows-1252", "CP1252 ms-ansi 1252", "CP1252", 1, {}},
    {np_enc_windows1253, "windows-1253", "CP1253 ms-greek 1253", "CP1253", 1, {}},
    {np_enc_windows1254, "windows-1254", "CP1254 ms-turk 1254", "CP1254", 1, {}},
    {np_enc_windows1255, "windows-1255", "CP1255 ms-hebr 1255", "CP1255", 1, {}},
    {np_enc_windows1256, "windows-1256", "CP1256 ms-arab 1256", "CP1256", 1, {}},
    {np_enc_windows1257, "windows-1257", "CP1257 winbaltrim 1257", "CP1257", 1, {}},
    {np_enc_windows1258, "windows-1258", "CP1258 1258", "CP1258", 1, {}},
    {np_enc_windows874, "windows-874", "CP874 874 TIS-620 ISO-8859-11", "CP874", 1, {}},
    {np_enc_koi8_u, "KOI8-U", "csKOI8U", "KOI8-U", 1, {}},
    {np_enc_shift_jis, "Shift_JIS", "SJIS CP932 MS932 ms_kanji windows-31J 932", "CP932", 1, {}},
    {np_enc_euc_jp, "EUC-JP", "UJIS csEUCPkdFmtJapanese", "EUC-JP", 1, {}},
    {np_enc_euc_kr, "EUC-KR", "csEUCKR KS_C_5601-1987", "EUC-KR", 1, {}},
    {np_enc_big5, "Big5", "Big-Five csBig5 CN-Big5 CP950 950", "BIG5", 1, {}},
    {np_enc_gb18030, "GB18030", "csGB18030 54936 GB18030-2000", "GB18030", 1, {}},
    {np_enc_gbk, "GBK", "CP936 MS936 windows-936 936 GB2312 EUC-CN csGB2312", "GBK", 1, {}},
};

constexpr bool isInOrder() {
  for (int i = 0; i < static_cast<int>(std::size(kRows)); ++i) {
    if (kRows[i].number != i) return false;
  }
  return true;
}
static_assert(isInOrder(), "the rows are found by their number");

std::string_view withoutDashes(std::string_view text) {
  std::size_t const first = text.find_first_not_of("-_");
  return first == std::string_view::npos ? std::string_view{} : text.substr(first);
}

char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool isSameName(std::string_view a, std::string_view b) {
  for (;;) {
    a = withoutDashes(a);
    b = withoutDashes(b);
    if (a.empty() || b.empty()) return a.empty() && b.empty();
    if (asciiLower(a.front()) != asciiLower(b.front())) return false;
    a.remove_prefix(1);
    b.remove_prefix(1);
  }
}

bool isAmong(std::string_view words, std::string_view name) {
  while (!words.empty()) {
    std::size_t const end = std::min(words.find(' '), words.size());
    if (isSameName(words.substr(0, end), name)) return true;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}

}  // namespace

NpEncodingRow const* np_encoding_row(int encoding) {
  bool const known = encoding >= 0 && encoding < static_cast<int>(std::size(kRows));
  return known ? &kRows[encoding] : nullptr;
}

int np_uchar_getenc(char const* name) {
  if (name == nullptr || withoutDashes(name).empty()) return -1;
  for (NpEncodingRow const& row : kRows) {
    if (isSameName(row.name, name) || isAmong(row.aliases, name)) return row.number;
  }
  return -1;
}

char const* np_uchar_encname(int encoding) {
  NpEncodingRow const* const row = np_encoding_row(encoding);
  return row == nullptr ? nullptr : row->name;
}

int np_uchar_encunit(int encoding) {
  NpEncodingRow const* const row = np_encoding_row(encoding);
  return row == nullptr ? 0 : row->unitBytes;
}

char const* np_uchar_encmark(int encoding, int* markBytes) {
  NpEncodingRow const* const row = np_encoding_row(encoding);
  bool const none = row == nullptr || row->mark.empty();
  *markBytes = none ? 0 : static_cast<int>(row->mark.size());
  return none ? nullptr : row->mark.data();
}
