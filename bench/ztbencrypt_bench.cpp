// SPDX-License-Identifier: MIT
//
// A text of 100 MB protected and back, beside what it is made of: libsodium's secret stream in
// messages of the same size, and a pass of libsodium's base64 over lines of the same length.

#include "ztbencrypt.h"

#include <benchmark/benchmark.h>
#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kTextBytes = 100'000'000;
constexpr std::size_t kMessageBytes = 37;
constexpr std::size_t kTagBytes = crypto_secretstream_xchacha20poly1305_ABYTES;
constexpr std::size_t kRawBytes = kMessageBytes + kTagBytes;
constexpr std::size_t kLineBytes = kRawBytes / 3 * 4;

std::string const& plainText() {
  static std::string const text = [] {
    std::string made(kTextBytes, ' ');
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<char>('a' + i % 26);
    return made;
  }();
  return text;
}

void count(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextBytes));
}

void protectOurs(benchmark::State& state) {
  ZtbString const text(plainText().c_str(), true);
  for (auto _ : state) benchmark::DoNotOptimize(ztbEncryptString(text));
  count(state);
}

void unprotectOurs(benchmark::State& state) {
  static ZtbString const form = ztbEncryptString(ZtbString(plainText().c_str(), true));
  for (auto _ : state) benchmark::DoNotOptimize(ztbDecryptString(form));
  count(state);
}

struct Stream {
  crypto_secretstream_xchacha20poly1305_state state;
  unsigned char header[crypto_secretstream_xchacha20poly1305_HEADERBYTES];
  unsigned char key[crypto_secretstream_xchacha20poly1305_KEYBYTES] = {1};
};

std::string protectPeer(Stream& stream) {
  std::string lines((kTextBytes / kMessageBytes + 1) * kLineBytes + 4, '\0');
  crypto_secretstream_xchacha20poly1305_init_push(&stream.state, stream.header, stream.key);
  char* end = lines.data();
  unsigned char raw[kRawBytes];
  for (std::size_t at = 0; at < kTextBytes; at += kMessageBytes) {
    std::size_t const bytes = std::min(kMessageBytes, kTextBytes - at);
    crypto_secretstream_xchacha20poly1305_push(
        &stream.state, raw, nullptr,
        reinterpret_cast<unsigned char const*>(plainText().data()) + at, bytes, nullptr, 0, 0);
    sodium_bin2base64(end, kLineBytes + 1, raw, bytes + kTagBytes, sodium_base64_VARIANT_ORIGINAL);
    end += kLineBytes;
  }
  return lines;
}

void protectSodium(benchmark::State& state) {
  Stream stream;
  for (auto _ : state) benchmark::DoNotOptimize(protectPeer(stream));
  count(state);
}

void unprotectSodium(benchmark::State& state) {
  static Stream stream;
  static std::string const lines = protectPeer(stream);
  std::string text(kTextBytes + kMessageBytes, '\0');
  for (auto _ : state) {
    crypto_secretstream_xchacha20poly1305_init_pull(&stream.state, stream.header, stream.key);
    char const* line = lines.data();
    auto* out = reinterpret_cast<unsigned char*>(text.data());
    for (std::size_t at = 0; at < kTextBytes; at += kMessageBytes, line += kLineBytes) {
      unsigned char raw[kRawBytes];
      std::size_t bytes = 0;
      sodium_base642bin(raw, sizeof raw, line, ::strnlen(line, kLineBytes), nullptr, &bytes,
                        nullptr, sodium_base64_VARIANT_ORIGINAL);
      unsigned long long opened = 0;
      unsigned char tag = 0;
      if (crypto_secretstream_xchacha20poly1305_pull(&stream.state, out, &opened, &tag, raw, bytes,
                                                     nullptr, 0) != 0) {
        state.SkipWithError("the stream doesn't open");
      }
      out += opened;
    }
    benchmark::DoNotOptimize(text);
  }
  count(state);
}

// Each takes seconds.
constexpr int kRepetitions = 3;

void add(char const* name, void (*run)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, run)->Unit(benchmark::kMillisecond)->Repetitions(kRepetitions);
}

[[maybe_unused]] bool const isRegistered = [] {
  add("encrypt/protect_100_mb/ztbcpp31", protectOurs);
  add("encrypt/protect_100_mb/libsodium", protectSodium);
  add("encrypt/unprotect_100_mb/ztbcpp31", unprotectOurs);
  add("encrypt/unprotect_100_mb/libsodium", unprotectSodium);
  return true;
}();

}  // namespace
