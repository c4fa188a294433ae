// SPDX-License-Identifier: MIT
//
// The process subject: references beside a shared pointer under a mutex, and logins beside the bare
// hash of a password.

#include "ztbsubject.h"

#include <benchmark/benchmark.h>
#include <sodium.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "ztauth_userfile.h"
#include "ztbconfigoptions.h"

namespace {

std::string lineOf(std::string const& name, ztauth::HashCost cost) {
  ztauth::UserRecord record;
  record.name = name;
  record.domain = "OFFICE";
  bool good = ztauth::setPassword(record, "hush", "", cost).empty();
  for (char const* domain : {"SALES", "ORDERS"}) {
    good = good && ztauth::sealCredential(record, domain, "seller", "secret").empty();
  }
  return good ? ztauth::composeUserLine(record) + "\n" : "";
}

// A file of 1,000 users: "kim" with the usual hash, "quick" with one that costs next to nothing.
class UserFile {
 public:
  UserFile() {
    std::string text = std::string(ztauth::kUserFileHead) + "\n";
    for (int i = 0; i < 998; ++i) text += lineOf("user" + std::to_string(i), ztauth::kLeastCost);
    text += lineOf("kim", {}) + lineOf("quick", ztauth::kLeastCost);
    int const fd = mkstemp(mPath);
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      std::abort();
    }
    ::close(fd);
    ztbGetConfigOptions(ZtbString())
        ->setOption(ZtbString("BASE/AUTH_SERVER_LOC", true),
                    ZtbString((std::string("file:") + mPath).c_str(), false));
  }
  UserFile(UserFile const&) = delete;
  UserFile& operator=(UserFile const&) = delete;
  ~UserFile() { std::remove(mPath); }

 private:
  char mPath[32] = "/tmp/ztb-bench-users-XXXXXX";
};

void logIn(char const* user) {
  static UserFile const file;
  ZtbString error;
  if (!ztbSubjectAuthenticate(ZtbString(user, true), ZtbString("hush", true), nullptr, &error)) {
    std::fprintf(stderr, "%s\n", error.asCstr());
    std::abort();
  }
}

void accessRelease(benchmark::State& state) {
  if (state.thread_index() == 0) logIn("quick");
  for (auto _ : state) {
    benchmark::DoNotOptimize(ztbSubjectAccess());
    ztbSubjectRelease();
  }
  if (state.thread_index() == 0) ztbSubjectRelease();
}

std::mutex peerLock;
std::shared_ptr<int> peerSubject;

void copySharedPointer(benchmark::State& state) {
  if (state.thread_index() == 0) peerSubject = std::make_shared<int>(1);
  for (auto _ : state) {
    std::shared_ptr<int> reference;
    {
      std::lock_guard const hold(peerLock);
      reference = peerSubject;
    }
    benchmark::DoNotOptimize(reference.get());
  }
}

void logInAndRelease(benchmark::State& state, char const* user) {
  for (auto _ : state) {
    logIn(user);
    ztbSubjectRelease();
  }
}

void hash(benchmark::State& state) {
  unsigned char key[32];
  unsigned char const salt[crypto_pwhash_SALTBYTES] = {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        crypto_pwhash(key, sizeof key, "hush", 4, salt, crypto_pwhash_OPSLIMIT_INTERACTIVE,
                      crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13));
  }
}

BENCHMARK(accessRelease)->Name("subject/access_release/ztbcpp31");
BENCHMARK(copySharedPointer)->Name("subject/access_release/shared_ptr");
BENCHMARK_CAPTURE(logInAndRelease, usual, "kim")
    ->Name("subject/login_1000_users/ztbcpp31")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(hash)->Name("subject/login_1000_users/argon2id")->Unit(benchmark::kMillisecond);
// What a login costs beside its hash.
BENCHMARK_CAPTURE(logInAndRelease, quick, "quick")
    ->Name("subject/login_but_for_the_hash_1000_users/ztbcpp31")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(hash)
    ->Name("subject/login_but_for_the_hash_1000_users/argon2id")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(accessRelease)
    ->Name("subject_threads/access_release_by_2/ztbcpp31")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(copySharedPointer)
    ->Name("subject_threads/access_release_by_2/shared_ptr")
    ->Threads(2)
    ->UseRealTime();

}  // namespace
