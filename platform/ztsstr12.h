// SPDX-License-Identifier: MIT
//
// Strings to values and back: number parsing, date operations, base64.
//
// Rules for all functions: no function throws, allocates memory, or keeps anything between two
// calls. All may be called from any thread at once, also beside np_env_set. Only
// zts_get_date_format, zts_format_time, and zts_string_to_date with the format 0, read the process
// locale; only zts_timetoday and zts_format_time read the TZ setting. A pointer that takes a result
// must not be null, that of zts_b64_encode excepted. Results are written on success only; after a
// failure they hold what they held before. How success is told differs by function and stands with
// each.

#ifndef ZTSSTR12_H
#define ZTSSTR12_H

#include <ctime>

// Numbers
//
// Read a whole text as one number:
//
//   integer = [space] [sign] digit+ [space]
//   real    = [space] [sign] (digit+ ["." digit*] | "." digit+) [("e" | "E") [sign] digit+] [space]
//   sign    = "+" | "-"
//   space   = (blank | tab | line feed | vertical tab | form feed | carriage return)+
//
// Only the ASCII digits count, and the decimal point is "." under every locale. Hexadecimal
// numbers, digit grouping, infinities, NaNs and anything behind the number are refused; so is an
// integer with a point or an exponent. Reals are rounded to the nearest double; one whose
// magnitude overflows, or underflows to zero, is out of range.
// Result: 1 a number was read; 0 the text, or a null pointer, is no number; -1 it is a number that
// the type can't hold. The reserved arguments are 0 and not looked at.
int zts_numparse(char const* text, int* result, int reserved1, int reserved2);
int zts_numparse64(char const* text, long long* result, int reserved1, int reserved2);
int zts_numparsedbl(char const* text, double* result);

// Moments
//
// A moment is a double that counts seconds since 1970-01-01 00:00:00 on the proleptic Gregorian
// calendar, with the milliseconds as its fraction. It carries no time zone, and every day has
// 86,400 seconds. The elements are year 1 to 9999, month 1 to 12, day 1 to the last of the month,
// hour 0 to 23, minute and second 0 to 59 (so there is no leap second), milli 0 to 999. Later
// moments have larger doubles, and each moment of whole milliseconds has exactly one.

// Compose a moment from its elements. Non-zero on success; zero for elements that are out of range
// or name a day that the calendar doesn't have.
int zts_compose_date(int year, int month, int day, int hour, int minute, int second, double* value);
int zts_compose_date_milli(int year, int month, int day, int hour, int minute, int second,
                           int milli, double* value);

// Decompose a moment into its elements: the inverse of the above. The value is first rounded to
// the nearest millisecond, half a millisecond away from 1970, with carries into every element up
// to the year; the form without milliseconds then leaves those out. Non-zero on success; zero for
// a NaN, an infinity and what rounds to a moment outside the years 1 to 9999.
int zts_decompose_date(double value, int* year, int* month, int* day, int* hour, int* minute,
                       int* second);
int zts_decompose_date_milli(double value, int* year, int* month, int* day, int* hour, int* minute,
                             int* second, int* milli);

// The order of the elements in a numeric date text: one of the values below. Callers only pass it
// from zts_get_date_format to zts_string_to_date.
using ZtsDateFormat = int;
enum ZtsDateOrder : ZtsDateFormat {
  zts_date_locale = 0,  // what zts_get_date_format gives, looked up if the text needs it
  zts_date_dmy = 1,
  zts_date_ymd = 2,
  zts_date_mdy = 3,
};

// Reads a whole text as a date, a time or both:
//
//   text    = [space] (date [("T" | [","] space) time] | time) [space]
//   date    = numeric | named
//   numeric = year4 s n s n          year, month, day, whatever the format says
//           | n s n s year           month, day, year    with zts_date_mdy
//           | n s n s year           day, month, year    with zts_date_dmy
//           | year2 s n s n          year, month, day    with zts_date_ymd
//   s       = "-" | "/" | "."        the same in both places
//   named   = n gap month gap year | month gap n gap year | year4 gap month gap n
//   gap     = "-" | "/" | ("," | ".") [space] | space
//   month   = an English month name in full or its first three letters
//   time    = n ":" d d [":" d d [("." | ",") d+]] [[space] ("AM" | "PM")]
//   year    = year4 | year2;  year4 = d d d d;  year2 = d d;  n = d [d];  d = "0" to "9"
//
// Letters count in either case; `space` is as for numbers. A year of two digits is 19xx from 69 on
// and 20xx below. With AM or PM the hour is 1 to 12. A fraction of a second is checked and left
// out. A date without a time is its midnight; a time without a date lies on 1970-01-01, so that its
// moment is the seconds since midnight. There are no time zones: "Z" or an offset is refused, as it
// would have to be dropped. Nothing that is a number, with sign, exponent or blanks, is a date.
// Result: zero on success; non-zero for a null pointer, a text that doesn't fit the grammar, a
// moment that doesn't exist, and a numeric text without a year of four digits in front under a
// format that isn't in the list.
int zts_string_to_date(char const* text, int* year, int* month, int* day, int* hour, int* minute,
                       int* second, ZtsDateFormat format);

// The current date format: the order in which the process locale (LC_TIME) writes day, month and
// year by its short date form; zts_date_mdy if that tells none. Never zts_date_locale.
ZtsDateFormat zts_get_date_format();

// The present moment to the millisecond, as local time or as GMT. Local time follows the TZ
// variable as it stands at the call, or else the system's zone. A leap second, where the zone
// tells one, shows as the second before it. NaN if the clock tells a year outside 1 to 9999.
double zts_timetoday();
double zts_gmtimetoday();

// Writes a broken-down time as wcsftime does under the process locale, and gives the wide
// characters written without the terminator; 0, with the target unspecified, if `targetChars` of
// them with the terminator are too few. For locales whose form of a time ends in the zone's name:
// the C library then looks at TZ, which alone isn't safe beside a change of the environment.
unsigned zts_format_time(wchar_t* target, unsigned targetChars, wchar_t const* format,
                         std::tm const* time);

// Base64
//
// Writes `count` bytes, whatever they are, as base64 by RFC 4648, section 4: with "+", "/" and the
// padding "=", in one line without breaks, and a terminator behind. Result: the length of the text
// without its terminator, 4 for each 3 bytes begun; 0 bytes make the empty text. With a null
// `target` that is all: nothing is written, and `bytes` isn't looked at.
// `targetSize` is in bytes and counts the terminator. -1, with the target left alone, for a text
// that doesn't fit it or is longer than INT_MAX (from 1,610,612,734 bytes on), a negative count,
// and null `bytes` with a count above 0. The two may not overlap.
int zts_b64_encode(char const* bytes, int count, char* target, int targetSize);

// The line coder
//
// Turns bytes into lines of text that nobody can read or change without the key, and back:
// XChaCha20-Poly1305 in the secret-stream form of libsodium, one message a line. A line is 54 bytes
// in base64, 72 characters; the last one is shorter or just as long. The first begins with the
// header of the stream (24 bytes). Each message has 17 bytes for its tag, so that the first line
// carries 13 bytes of the input and the others 37. The last message is marked as the last.
//
// The key is in the file that ZTB_KEY_FILE names: 64 hexadecimal digits, with nothing but up to 16
// bytes of white space behind them, in a regular file that belongs to this user or to root and that
// nobody else may read or write. Without the variable, or with an empty one, it is a built-in one:
// obfuscation only.
//
// A state belongs to one thread at a time; it is the caller's memory, needs no alignment, and is
// used for writing or for reading, not both.

inline constexpr int zts_xc_state_bytes = 340;
inline constexpr int zts_xc_line_bytes = 72;   // the characters of a full line
inline constexpr int zts_xc_input_bytes = 37;  // what a line carries at most

// What zts_xc_reset tells about the key. Frozen.
enum ZtsCoderKey : int {
  zts_xc_key_ready = 0,
  zts_xc_key_unreadable = 1,  // there is no such file, or it can't be read
  zts_xc_key_exposed = 2,     // others may read or write it, or it is someone else's
  zts_xc_key_form = 3,        // it isn't a regular file of 64 hexadecimal digits
  zts_xc_key_system = 4,      // the system gives no random bytes
};

// Starts a run in `state`, and gives a ZtsCoderKey, in `*info` too. Without a key the run codes
// nothing: zts_xc_write takes all input and never has a line, zts_xc_read gives nothing. The file
// is read at each call.
int zts_xc_reset(void* state, int* info);

// The text of a ZtsCoderKey, in English; static. Empty for zts_xc_key_ready.
char const* zts_xc_keytext(int info);

// Takes bytes of `input`, at least one if there is any, and gives their number. If a line is ready,
// it goes into `line` (75 bytes) with CR LF and a terminator, and `*lineReady` is 1, else 0. With a
// null `input` and a count of 0 it gives the rest, a line a call, until `*lineReady` is 0; the run
// is over then. No input at all gives one line too. An `input` of no bytes changes nothing.
int zts_xc_write(void* state, char const* input, int inputBytes, char* line, int* lineReady);

// Decodes the line at the start of `text`, which ends behind 72 characters or before CR, LF or the
// terminator, and gives the bytes that it puts into `out` (zts_xc_input_bytes + 1) with a
// terminator. 0 for a line that isn't authentic, isn't the next one, or is under another key, and
// for everything behind such a line or behind the last one.
int zts_xc_read(void* state, char const* text, char* out);

// Whether the last line of a run has been read, so that nothing is missing behind.
int zts_xc_complete(void const* state);

// Ends a run, and overwrites the state and what the run left on the stack of this thread.
void zts_xc_end(void* state);

#endif
