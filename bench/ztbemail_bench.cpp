// SPDX-License-Identifier: MIT
//
// Base64 of a text of 1 MB, and composing a mail with an attachment of 100 MB beside the base64
// program over the same file.

#include "ztbemail.h"

#include <benchmark/benchmark.h>
#include <sodium.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#ifdef ZTB_HAVE_GLIB
#include <glib.h>
#endif
#ifdef ZTB_HAVE_QT
#include <QByteArray>
#endif

namespace {

constexpr std::size_t kTextBytes = 1'000'000;
constexpr std::size_t kFileBytes = 100'000'000;

// The steps of the composition are there for derived classes.
class Mail : public ZtbEmail {
 public:
  using ZtbEmail::encodeBody;
  using ZtbEmail::writeEmailTextFile;
};

// Bytes without a NUL, so that they are a string, too.
std::string randomBytes(std::size_t size) {
  std::minstd_rand random(3);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(1 + random() % 255);
  return bytes;
}

// A file of the size to attach in a folder with room for the mails, gone at the end of the program.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "ztbbench-XXXXXX").string();
    mPath = mkdtemp(name.data());
    std::ofstream(file(), std::ios::binary) << randomBytes(kFileBytes);
  }
  ~Folder() { std::filesystem::remove_all(mPath); }
  std::string const& path() const { return mPath; }
  std::string file() const { return mPath + "/attachment"; }

 private:
  std::string mPath;
};

Folder const& folder() {
  static Folder const theFolder;
  return theFolder;
}

void composeOurs(benchmark::State& state) {
  ZtbString const path(folder().file().c_str(), false);
  for (auto _ : state) {
    Mail mail;
    bool isDone = mail.initialize(ZtbString(folder().path().c_str(), false), ZtbString());
    mail.setTo(ZtbString("ops@example.com", true));
    mail.setSubject(ZtbString("Load", true));
    mail.addAttachment(path);
    isDone = isDone && mail.writeEmailTextFile();
    if (!isDone) state.SkipWithError(mail.getErrorMessage().asCstr());
  }
}

void composeProgram(benchmark::State& state) {
  std::string const target = folder().path() + "/encoded";
  std::string const command = "base64 -w 76 " + folder().file() + " > " + target;
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("base64 failed");
    std::filesystem::remove(target);
  }
}

// With the string that it makes, as a body needs it.
void encodeOurs(benchmark::State& state) {
  ZtbString const text(randomBytes(kTextBytes).c_str(), false);
  Mail mail;
  for (auto _ : state) benchmark::DoNotOptimize(mail.encodeBody(text));
}

void encodeSodium(benchmark::State& state) {
  constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;
  std::string const text = randomBytes(kTextBytes);
  std::size_t const size = sodium_base64_encoded_len(text.size(), kVariant);
  for (auto _ : state) {
    std::vector<char> encoded(size);
    sodium_bin2base64(encoded.data(), size, reinterpret_cast<unsigned char const*>(text.data()),
                      text.size(), kVariant);
    benchmark::DoNotOptimize(encoded.data());
  }
}
BENCHMARK(encodeSodium)->Name("email/base64_1mb/libsodium");

#ifdef ZTB_HAVE_GLIB
void encodeGlib(benchmark::State& state) {
  std::string const text = randomBytes(kTextBytes);
  for (auto _ : state) {
    gchar* const encoded =
        g_base64_encode(reinterpret_cast<guchar const*>(text.data()), text.size());
    benchmark::DoNotOptimize(encoded);
    g_free(encoded);
  }
}
BENCHMARK(encodeGlib)->Name("email/base64_1mb/glib");
#endif

#ifdef ZTB_HAVE_QT
void encodeQt(benchmark::State& state) {
  QByteArray const text = QByteArray::fromStdString(randomBytes(kTextBytes));
  for (auto _ : state) benchmark::DoNotOptimize(text.toBase64());
}
BENCHMARK(encodeQt)->Name("email/base64_1mb/QByteArray");
#endif

BENCHMARK(encodeOurs)->Name("email/base64_1mb/ztbcpp31");
BENCHMARK(composeOurs)
    ->Name("email/compose_100mb/ztbcpp31")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(composeProgram)
    ->Name("email/compose_100mb/base64_program")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
