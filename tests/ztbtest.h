// SPDX-License-Identifier: MIT
//
// The vocabulary that tests share: a library that is up; an object, a folder, a variable, a limit
// and a locale that go with the test; work in threads and in a child.

#ifndef ZTBTEST_H
#define ZTBTEST_H

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <locale.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ztbinit.h"
#include "ztbstring.h"

namespace ztbtest {

// An object of the library that goes by release().
struct Release {
  template <class Object>
  void operator()(Object* object) const {
    object->release();
  }
};
template <class Object>
using Owned = std::unique_ptr<Object, Release>;

// A folder of the test's own, gone with everything in it when the test ends.
class TempFolder {
 public:
  TempFolder() {
    // Not the standard library's choice: that looks at TEMP, which tests set.
    char const* const folder = getenv("TMPDIR");
    std::string name = std::string(folder != nullptr ? folder : "/tmp") + "/ztbtest-XXXXXX";
    mPath = mkdtemp(name.data());
  }
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  std::string path(std::string const& name = "") const {
    return name.empty() ? mPath : mPath + "/" + name;
  }
  // Writes a file, with the folders above it, and gives its path.
  std::string write(std::string const& name, std::string const& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }

 private:
  std::string mPath;
};

inline std::string readFile(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Whether `part` stands in `text`; the failure shows both.
inline testing::AssertionResult contains(std::string const& text, std::string const& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

// A message of the group "Base Services" as it is without catalogs: its number and arguments.
inline std::string reasonOf(ZtbString const& message) {
  std::string text = message.asCstr();
  for (std::string const around : {"[Base Services ", "] no text in the message database"}) {
    std::size_t const at = text.find(around);
    if (at != std::string::npos) text.erase(at, around.size());
  }
  return text;
}

// Does work(0) to work(count - 1) in a thread each, until all are done.
template <class Work>
void inThreads(int count, Work const& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back([&work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

// How a forked child ends whose exit code is the work's result; anything but 0 is a failure.
template <class Work>
int inChild(Work const& work) {
  pid_t const child = fork();
  if (child == 0) _exit(work());
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// Makes the kernel say for good that it doesn't have a call, as an old or a fenced-in one does. For
// children.
inline void refuseSystemCall(unsigned number) {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog const program{std::size(filter), filter};
  bool const isRefused = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
  if (!isRefused) _exit(1);
}

// What a shell command did: its output on stdout and stderr together, and its exit code.
struct Outcome {
  std::string output;
  int exitCode;
};

inline Outcome shell(std::string const& command) {
  Outcome outcome{"", -1};
  FILE* const pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  if (pipe == nullptr) return outcome;
  char buffer[4096];
  for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    outcome.output.append(buffer, n);
  }
  int const status = pclose(pipe);
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

// Sets a variable of the environment, until it goes.
class Variable {
 public:
  Variable(char const* name, char const* value) : mName(name) {
    char const* const old = getenv(name);
    mWasSet = old != nullptr;
    if (mWasSet) mOld = old;
    setenv(name, value, 1);
  }
  Variable(Variable const&) = delete;
  Variable& operator=(Variable const&) = delete;
  ~Variable() { mWasSet ? setenv(mName, mOld.c_str(), 1) : unsetenv(mName); }

 private:
  char const* mName;
  std::string mOld;
  bool mWasSet;
};

// Holds a resource of the process down, until it goes.
class Limit {
 public:
  Limit(__rlimit_resource resource, rlim_t limit) : mResource(resource) {
    EXPECT_EQ(0, getrlimit(resource, &mOld));
    rlimit const held{limit, mOld.rlim_max};
    EXPECT_EQ(0, setrlimit(resource, &held));
  }
  Limit(Limit const&) = delete;
  Limit& operator=(Limit const&) = delete;
  ~Limit() { setrlimit(mResource, &mOld); }

 private:
  __rlimit_resource mResource;
  rlimit mOld{};
};

// Makes a locale that of the process, until it goes. scripts/setup makes the locales of the tests.
class Locale {
 public:
  explicit Locale(char const* name) : mOld(setlocale(LC_ALL, nullptr)) {
    EXPECT_NE(nullptr, setlocale(LC_ALL, name)) << "no locale " << name;
  }
  Locale(Locale const&) = delete;
  Locale& operator=(Locale const&) = delete;
  ~Locale() { setlocale(LC_ALL, mOld.c_str()); }

 private:
  std::string mOld;
};

inline void initialize(std::string const& executable = ZTB_TEST_BIN "/test") {
  char const* error = nullptr;
  ASSERT_EQ(0, ztbInitialize(executable.c_str(), &error)) << error;
}

// Brings the library up for a test and takes it down afterwards.
class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override { initialize(); }
  void TearDown() override { ztbShutdown(); }
};

}  // namespace ztbtest

#endif
