// SPDX-License-Identifier: MIT

#include "ztbinit.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ztbconfigoptions.h"
#include "ztbstartup.h"
#include "ztbstring.h"
#include "ztbtest.h"

namespace {

constexpr char kGoodPath[] = "/opt/suite/bin/server";

std::string initialize(std::string const& path) {
  char const* error = "untouched";
  int const result = ztbInitialize(path.c_str(), &error);
  EXPECT_EQ(result == 0, std::string(error) == "untouched");
  return result == 0 ? "" : error;
}

TEST(ZtbInitialize, RefusesPathsItCannotUse) {
  std::string const folder = "/" + std::string(200, 'f') + "/";
  struct {
    std::string path;
    std::string error;
  } const rows[] = {
      {folder + std::string(260 - folder.size(), 'x'), ""},
      {folder + std::string(261 - folder.size(), 'x'),
       "Executable path exceeds maximum path length."},
      {"server", "Path to executable could not be determined."},
      {"", "Path to executable could not be determined."},
      {kGoodPath, ""},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.error, initialize(row.path)) << row.path;
    EXPECT_EQ(row.error.empty(), ztbGetConfigOptions(ZtbString()) != nullptr) << row.path;
    ztbShutdown();
    EXPECT_EQ(nullptr, ztbGetConfigOptions(ZtbString())) << row.path;
  }
  EXPECT_EQ(1, ztbInitialize(nullptr, nullptr)) << "neither pointer is needed to fail";
}

TEST(ZtbInitialize, NestedCallsOnlyCount) {
  ASSERT_EQ("", initialize(kGoodPath));
  ASSERT_EQ(0, ztbInitialize(nullptr, nullptr));
  ztbStartupSetUserPath("/home/user");
  ASSERT_EQ(0, ztbInitialize("nonsense", nullptr));
  EXPECT_STREQ("/home/user", ztbStartupGetUserPath());
  ZtbString text("kept", false);
  ztbShutdown();
  ztbShutdown();
  EXPECT_STREQ("kept", text.asCstr());
  EXPECT_NE(nullptr, ztbGetConfigOptions(ZtbString()));
  text.setNull();
  ztbShutdown();
  ztbShutdown();
  ASSERT_EQ("", initialize(kGoodPath));
  EXPECT_STREQ("", ztbStartupGetUserPath()) << "an outermost start forgets the user path";
  ztbShutdown();
}

std::string handlerCalls;

void noteCall(void* argument) {
  handlerCalls += static_cast<char const*>(argument);
  EXPECT_NE(nullptr, ztbGetConfigOptions(ZtbString("stores still work", true)));
  EXPECT_EQ(3u, ZtbString("abc", false).length()) << "the pool still works";
}

TEST(ZtbShutdown, RunsHandlersLastFirstInEveryCycle) {
  ASSERT_EQ("", initialize(kGoodPath));
  static char a[] = "A";  // every later shutdown calls the handlers again
  static char b[] = "B";
  ztbRegisterShutdownHandler(noteCall, a);
  ztbRegisterShutdownHandler(noteCall, b);
  ztbRegisterShutdownHandler(noteCall, a);
  ztbRegisterShutdownHandler(nullptr, nullptr);
  ASSERT_EQ("", initialize("x"));
  ztbShutdown();
  EXPECT_EQ("", handlerCalls) << "only the outermost call runs them";
  ztbShutdown();
  EXPECT_EQ("ABA", handlerCalls);
  EXPECT_NE("", initialize("refused"));
  EXPECT_EQ("ABA", handlerCalls) << "a failed start runs none";
  ASSERT_EQ("", initialize(kGoodPath));
  ztbShutdown();
  EXPECT_EQ("ABAABA", handlerCalls);
}

TEST(ZtbShutdown, StringsMayBeDestroyedAfterwards) {
  ASSERT_EQ("", initialize(kGoodPath));
  ZtbString text("a text of its own", false);
  ZtbString const copy = text;
  ztbShutdown();
}

TEST(ZtbInitialize, DerivesTheMessageFolderOnlyIfNobodySetIt) {
  setenv("ZTEXEC_HOME", "/some/home", 1);
  setenv("MARLOVEN_ERROR_LOCATION", "/my/messages", 1);
  ASSERT_EQ("", initialize(kGoodPath));
  EXPECT_STREQ("/my/messages", getenv("MARLOVEN_ERROR_LOCATION"));
  ztbShutdown();
  unsetenv("MARLOVEN_ERROR_LOCATION");
  ASSERT_EQ("", initialize(kGoodPath));
  EXPECT_STREQ("/some/home/share/msg", getenv("MARLOVEN_ERROR_LOCATION"));
  ztbShutdown();
  unsetenv("MARLOVEN_ERROR_LOCATION");
  unsetenv("ZTEXEC_HOME");
}

TEST(ZtbProcess, PlugInsShareOneState) {
  ASSERT_EQ("", initialize(kGoodPath));
  for (char const* const name : {"/plugin_a", "/plugin_b"}) {
    std::string const path = std::string(ZTB_TEST_MODULES) + name + "/ztbdeps31.so";
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, module) << dlerror();
    auto const mainStore =
        reinterpret_cast<ZtbConfigOptions* (*)()>(dlsym(module, "mainStoreOfPlugin"));
    EXPECT_EQ(ztbGetConfigOptions(ZtbString()), mainStore()) << name;
    dlclose(module);
  }
  ztbShutdown();
}

// A child that is forked while other threads are busy in the pool and the stores can go on.
TEST(ZtbProcess, SurvivesForkBesideBusyThreads) {
  ASSERT_EQ("", initialize(kGoodPath));
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&stop] {
      ZtbConfigOptions* const store = ztbGetConfigOptions(ZtbString("busy", true));
      while (!stop) store->setOption(ZtbString("key", false), ZtbString("value", false));
    });
  }
  for (int i = 0; i < 30; ++i) {
    pid_t const child = fork();
    if (child == 0) {
      ZtbString value;
      ZtbConfigOptions* const store = ztbGetConfigOptions(ZtbString("child", true));
      store->setOption(ZtbString("key", false), ZtbString("of the child", false));
      _exit(store->getOption(ZtbString("KEY", true), &value) ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(0, status);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  ztbShutdown();
}

// Comes up before main and goes down while static objects are destroyed.
struct StaticUser {
  StaticUser() {
    if (ztbInitialize(kGoodPath, nullptr) == 0) text.assign("before main");
    good = text.length() == 11;
    ztbShutdown();
  }
  ~StaticUser() {
    if (ztbInitialize(kGoodPath, nullptr) != 0) abort();
    ZtbString late("after main", false);
    if (late.length() != 10) abort();
    late.setNull();
    ztbShutdown();
  }
  bool good = false;
  ZtbString text;
};
StaticUser staticUser;

TEST(ZtbProcess, WorksBeforeMain) {
  EXPECT_TRUE(staticUser.good);
}

}  // namespace
