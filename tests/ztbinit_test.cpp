// SPDX-License-Identifier: MIT

#include "ztbinit.h"

#include <dlfcn.h>

#include <string>
#include <utility>

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
  std::pair<std::string, std::string> const rows[] = {
      {folder + std::string(260 - folder.size(), 'x'), ""},
      {folder + std::string(261 - folder.size(), 'x'),
       "Executable path exceeds maximum path length."},
      {"server", "Path to executable could not be determined."},
      {"", "Path to executable could not be determined."},
      {kGoodPath, ""},
  };
  for (auto const& [path, error] : rows) {
    EXPECT_EQ(error, initialize(path)) << path;
    EXPECT_EQ(error.empty(), ztbGetConfigOptions(ZtbString()) != nullptr) << path;
    ztbShutdown();
    EXPECT_EQ(nullptr, ztbGetConfigOptions(ZtbString())) << path;
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

TEST(ZtbInitialize, DerivesTheMessageFolderOnlyIfNobodySetIt) {
  ztbtest::Variable const home("ZTEXEC_HOME", "/some/home");
  ztbtest::Variable const location("MARLOVEN_ERROR_LOCATION", "/my/messages");
  for (char const* const expected : {"/my/messages", "/some/home/share/msg"}) {
    ASSERT_EQ("", initialize(kGoodPath));
    EXPECT_STREQ(expected, getenv("MARLOVEN_ERROR_LOCATION"));
    ztbShutdown();
    unsetenv("MARLOVEN_ERROR_LOCATION");
  }
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
