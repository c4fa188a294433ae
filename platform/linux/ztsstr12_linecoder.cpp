// SPDX-License-Identifier: MIT
//
// The line coder: libsodium's secret stream, a message a line of base64.

#include <fcntl.h>
#include <limits.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "ztsfio12_handle.h"
#include "ztsstr12.h"
#include "ztssys11.h"

namespace {

using Stream = crypto_secretstream_xchacha20poly1305_state;

constexpr int kHeaderBytes = crypto_secretstream_xchacha20poly1305_HEADERBYTES;
constexpr int kTagBytes = crypto_secretstream_xchacha20poly1305_ABYTES;
constexpr int kKeyBytes = crypto_secretstream_xchacha20poly1305_KEYBYTES;
constexpr unsigned char kMore = crypto_secretstream_xchacha20poly1305_TAG_MESSAGE;
constexpr unsigned char kLast = crypto_secretstream_xchacha20poly1305_TAG_FINAL;

constexpr std::size_t kMostKeyBlanks = 16;
constexpr std::size_t kCipherStackBytes = 4096;

constexpr int kRawLineBytes = 54;
constexpr int kFirstInputBytes = kRawLineBytes - kHeaderBytes - kTagBytes;
static_assert(kRawLineBytes - kTagBytes == zts_xc_input_bytes && kFirstInputBytes == 13);
static_assert(kRawLineBytes / 3 * 4 == zts_xc_line_bytes);

// What every copy of the library has.
constexpr char kBuiltInKey[] = "ztbcpp31 obfuscation, not secret";
static_assert(sizeof kBuiltInKey == kKeyBytes + 1);

enum Phase : unsigned char {
  kFirstLine,  // the key is there, the stream hasn't begun
  kFurtherLines,
  kComplete,  // behind the last line
  kStopped,   // no key, or a line that isn't authentic
};

// A run, of bytes alone, so that it may lie anywhere.
struct Run {
  Phase phase;
  unsigned char held;  // bytes of input that wait for their line
  unsigned char key[kKeyBytes];
  unsigned char input[zts_xc_input_bytes];
  Stream stream;
};
static_assert(alignof(Run) == 1 && sizeof(Run) <= zts_xc_state_bytes);

Run& runOf(void* state) {
  return *static_cast<Run*>(state);
}

// ---- The key ------------------------------------------------------------------------------------

bool isPrivate(struct stat const& status) {
  return (status.st_mode & 077) == 0 && (status.st_uid == ::geteuid() || status.st_uid == 0);
}

bool parseKey(std::string_view text, unsigned char* key) {
  text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  return text.size() == 2 * kKeyBytes &&
         sodium_hex2bin(key, kKeyBytes, text.data(), text.size(), nullptr, nullptr, nullptr) == 0;
}

ZtsCoderKey readKey(char const* path, unsigned char* key) {
  NpDescriptor file;
  // A pipe must not make the coder wait for its other end.
  if (npOpenDescriptor(path, O_RDONLY | O_NONBLOCK, file) != 0) return zts_xc_key_unreadable;
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return zts_xc_key_unreadable;
  if (!S_ISREG(status.st_mode)) return zts_xc_key_form;
  if (!isPrivate(status)) return zts_xc_key_exposed;
  // A buffer that is filled is more than a key and its white space.
  char text[2 * kKeyBytes + kMostKeyBlanks + 1];
  ssize_t const got = npReadFull(file, text, sizeof text);
  if (got < 0) return zts_xc_key_unreadable;
  auto const bytes = static_cast<std::size_t>(got);
  bool const good = bytes < sizeof text && parseKey({text, bytes}, key);
  sodium_memzero(text, sizeof text);
  return good ? zts_xc_key_ready : zts_xc_key_form;
}

ZtsCoderKey findKey(unsigned char* key) {
  if (sodium_init() < 0) return zts_xc_key_system;
  char path[PATH_MAX];
  int const found = np_env_get("ZTB_KEY_FILE", path, sizeof path);
  if (found == np_env_too_long) return zts_xc_key_unreadable;
  if (found == np_env_found && path[0] != '\0') return readKey(path, key);
  std::memcpy(key, kBuiltInKey, kKeyBytes);
  return zts_xc_key_ready;
}

// ---- Lines --------------------------------------------------------------------------------------

int roomOf(Run const& run) {
  return (run.phase == kFirstLine ? kFirstInputBytes : zts_xc_input_bytes) - run.held;
}

// Makes a line of the input that is held.
void writeLine(Run& run, unsigned char tag, char* line) {
  unsigned char raw[kRawLineBytes];
  unsigned char* end = raw;
  if (run.phase == kFirstLine) {
    crypto_secretstream_xchacha20poly1305_init_push(&run.stream, raw, run.key);
    end += kHeaderBytes;
  }
  crypto_secretstream_xchacha20poly1305_push(&run.stream, end, nullptr, run.input, run.held,
                                             nullptr, 0, tag);
  end += run.held + kTagBytes;
  int const length = zts_b64_encode(reinterpret_cast<char const*>(raw), static_cast<int>(end - raw),
                                    line, zts_xc_line_bytes + 1);
  std::memcpy(line + length, "\r\n", 3);
  run.held = 0;
  run.phase = tag == kLast ? kComplete : kFurtherLines;
}

// The message in the raw bytes of a line; -1 if it isn't authentic.
int openLine(Run& run, std::span<unsigned char const> raw, char* out) {
  if (run.phase == kFirstLine) {
    if (raw.size() < kHeaderBytes) return -1;
    crypto_secretstream_xchacha20poly1305_init_pull(&run.stream, raw.data(), run.key);
    raw = raw.subspan(kHeaderBytes);
  }
  if (raw.size() < kTagBytes) return -1;
  unsigned char tag = 0;
  unsigned long long length = 0;
  if (crypto_secretstream_xchacha20poly1305_pull(&run.stream, reinterpret_cast<unsigned char*>(out),
                                                 &length, &tag, raw.data(), raw.size(), nullptr,
                                                 0) != 0) {
    return -1;
  }
  run.phase = tag == kLast ? kComplete : kFurtherLines;
  return static_cast<int>(length);
}

bool endsLine(char character) {
  return character == '\r' || character == '\n' || character == '\0';
}

// The characters of the line at the start of a text, looking no further.
std::size_t lineLengthOf(char const* text) {
  std::size_t length = 0;
  while (length < zts_xc_line_bytes && !endsLine(text[length])) ++length;
  return length;
}

bool isAscii(std::string_view line) {
  return std::all_of(line.begin(), line.end(), [](char byte) { return byte >= 0; });
}

int readLine(Run& run, char const* text, char* out) {
  std::string_view const line(text, lineLengthOf(text));
  unsigned char raw[kRawLineBytes];
  std::size_t rawLength = 0;
  // libsodium 1.0.18 takes bytes beyond ASCII for "/".
  if (!isAscii(line) ||
      sodium_base642bin(raw, sizeof raw, line.data(), line.size(), nullptr, &rawLength, nullptr,
                        sodium_base64_VARIANT_ORIGINAL) != 0) {
    return -1;
  }
  return openLine(run, {raw, rawLength}, out);
}

}  // namespace

int zts_xc_reset(void* state, int* info) {
  Run& run = runOf(state);
  std::memset(&run, 0, sizeof run);
  ZtsCoderKey const result = findKey(run.key);
  run.phase = result == zts_xc_key_ready ? kFirstLine : kStopped;
  *info = result;
  return result;
}

char const* zts_xc_keytext(int info) {
  switch (info) {
    case zts_xc_key_unreadable:
      return "The key file that ZTB_KEY_FILE names can't be read";
    case zts_xc_key_exposed:
      return "The key file that ZTB_KEY_FILE names isn't this user's alone: chmod 600 makes it so";
    case zts_xc_key_form:
      return "The key file that ZTB_KEY_FILE names isn't a file of 64 hexadecimal digits";
    case zts_xc_key_system:
      return "The system gives no random bytes";
    default:
      return "";
  }
}

int zts_xc_write(void* state, char const* input, int inputBytes, char* line, int* lineReady) {
  Run& run = runOf(state);
  *lineReady = 0;
  if (input != nullptr && inputBytes <= 0) return 0;
  if (run.phase >= kComplete) return inputBytes;
  if (input == nullptr) {
    writeLine(run, kLast, line);
    *lineReady = 1;
    return 0;
  }
  // A full line waits until there is more, since the last one is marked.
  if (roomOf(run) == 0) {
    writeLine(run, kMore, line);
    *lineReady = 1;
  }
  int const taken = inputBytes < roomOf(run) ? inputBytes : roomOf(run);
  std::memcpy(run.input + run.held, input, static_cast<std::size_t>(taken));
  run.held = static_cast<unsigned char>(run.held + taken);
  return taken;
}

int zts_xc_read(void* state, char const* text, char* out) {
  Run& run = runOf(state);
  out[0] = '\0';
  if (run.phase >= kComplete) return 0;
  int const length = readLine(run, text, out);
  if (length < 0) run.phase = kStopped;
  out[length < 0 ? 0 : length] = '\0';
  return length < 0 ? 0 : length;
}

int zts_xc_complete(void const* state) {
  return static_cast<Run const*>(state)->phase == kComplete ? 1 : 0;
}

void zts_xc_end(void* state) {
  sodium_memzero(state, sizeof(Run));
  // The cipher leaves the end of a line on the stack.
  sodium_stackzero(kCipherStackBytes);
}
