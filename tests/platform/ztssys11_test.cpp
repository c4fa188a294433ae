// SPDX-License-Identifier: MIT
//
// The system layer: environment, character set of the locale, local time, unique text, modules.

#include "ztssys11.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ztbtest.h"

namespace {

namespace fs = std::filesystem;
using ztbtest::Variable;

std::string getVariable(char const* name, unsigned size = 64) {
  std::vector<char> buffer(size, 'x');
  np_env_get(name, buffer.data(), size);
  return buffer.data();
}

std::vector<std::string> walk() {
  using Entries = std::vector<std::string>;
  Entries entries;
  np_env_walk([](void* to, char const* entry) { static_cast<Entries*>(to)->push_back(entry); },
              &entries);
  return entries;
}

TEST(Environment, ValueIsDeliveredWholeOrNotAtAll) {
  Variable const variable("ZTB_TEST_VALUE", "1234567");
  char buffer[9] = "xxxxxxxx";
  EXPECT_EQ(np_env_found, np_env_get("ZTB_TEST_VALUE", buffer, 8));
  EXPECT_STREQ("1234567", buffer);
  EXPECT_EQ(np_env_too_long, np_env_get("ZTB_TEST_VALUE", buffer, 7));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(np_env_too_long, np_env_get("ZTB_TEST_VALUE", nullptr, 0));
  EXPECT_EQ(0, np_env_set("ZTB_TEST_VALUE", ""));
  EXPECT_EQ(np_env_found, np_env_get("ZTB_TEST_VALUE", buffer, 8));
  EXPECT_EQ(0, np_env_set("ZTB_TEST_VALUE", nullptr));
  EXPECT_EQ(np_env_unset, np_env_get("ZTB_TEST_VALUE", buffer, 8));
}

TEST(Environment, WhatIsNoNameIsRefused) {
  for (char const* name : {static_cast<char const*>(nullptr), "", "A=B"}) {
    char buffer[4] = "xxx";
    EXPECT_NE(0, np_env_set(name, "value"));
    EXPECT_EQ(np_env_unset, np_env_get(name, buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
  }
}

TEST(Environment, WalkDeliversLongEntriesWholeAndLetsTheVisitorChangeThem) {
  std::string const value(100'000, '\xE4');
  Variable const variable("ZTB_TEST_LONG", value.c_str());
  std::vector<std::string> const entries = walk();
  EXPECT_EQ(1, std::count(entries.begin(), entries.end(), "ZTB_TEST_LONG=" + value));
  np_env_walk([](void*, char const*) { np_env_set("ZTB_TEST_LONG", "changed"); }, nullptr);
  EXPECT_EQ("changed", getVariable("ZTB_TEST_LONG"));
}

TEST(EnvironmentThreads, SettingAndReadingAreSafeBesideEachOther) {
  Variable const variable("ZTB_TEST_SHARED", "a");
  ztbtest::inThreads(2, [](int thread) {
    for (int i = 0; thread == 0 && i < 2000; ++i) {
      np_env_set("ZTB_TEST_SHARED", std::string(static_cast<std::size_t>(i % 50), 'a').c_str());
      np_env_set(("ZTB_TEST_" + std::to_string(i % 20)).c_str(), i % 3 == 0 ? nullptr : "x");
    }
    for (int i = 0; thread == 1 && i < 500; ++i) {
      EXPECT_EQ(std::string::npos, getVariable("ZTB_TEST_SHARED").find_first_not_of('a'));
      EXPECT_FALSE(walk().empty());
      char charset[64];
      EXPECT_EQ(0, np_lcinfo_charset(charset, sizeof charset));
    }
  });
}

TEST(Charset, FollowsTheUsersSettingsInTheirOrder) {
  char const* const rows[][4] = {
      {"", "", "", "ANSI_X3.4-1968"},
      {"", "", "C.UTF-8", "UTF-8"},
      {"", "C.UTF-8", "xx_XX.KOI8-R", "UTF-8"},
      {"xx_XX.KOI8-R@euro", "C.UTF-8", "C.UTF-8", "KOI8-R"},
      {"xx_XX", "C.UTF-8", "C.UTF-8", "ANSI_X3.4-1968"},
  };
  for (auto const& [all, type, language, expected] : rows) {
    Variable const lcAll("LC_ALL", all), lcType("LC_CTYPE", type), lang("LANG", language);
    char charset[64];
    EXPECT_EQ(0, np_lcinfo_charset(charset, sizeof charset));
    EXPECT_STREQ(expected, charset);
    EXPECT_NE(0, np_lcinfo_charset(charset, 5));
    EXPECT_STREQ("", charset);
  }
}

TEST(LocalTime, FollowsTheZoneOfTheMoment) {
  struct {
    char const* zone;
    long long seconds;
    char const* local;
  } const rows[] = {
      {"EST5", 0, "1969-12-31 19:0:0"},
      {"XYZ-5:30", -1, "1970-1-1 5:29:59"},
      {"UTC0", 0xFFFFFFFFLL, "2106-2-7 6:28:15"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1'719'835'200, "2024-7-1 14:0:0"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.zone);
    Variable const zone("TZ", row.zone);
    np_stamp_zone();
    int e[6];
    ASSERT_EQ(0, np_stamp_local(row.seconds, &e[0], &e[1], &e[2], &e[3], &e[4], &e[5]));
    char text[64];
    std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", e[0], e[1], e[2], e[3], e[4], e[5]);
    EXPECT_STREQ(row.local, text);
  }
  int e = 7;
  EXPECT_NE(0, np_stamp_local(1LL << 62, &e, &e, &e, &e, &e, &e));
  EXPECT_EQ(7, e);
}

struct UnloadModule {
  void operator()(NpModule* module) const { np_dso_unload(module); }
};
using Module = std::unique_ptr<NpModule, UnloadModule>;

int load(char const* path, Module& module) {
  NpModule* handle = nullptr;
  int const result = np_dso_load(path, np_dso_now, &handle);
  module.reset(handle);
  return result;
}

TEST(Module, HasAFileNameAndAPlaceBesideTheLibrary) {
  // Here the library is part of the test program.
  std::string const bin = fs::canonical("/proc/self/exe").parent_path();
  struct {
    int (*tell)(char const* name, char* buffer, unsigned size);
    char const* name;
    std::string expected;
  } const rows[] = {{np_dso_mkfname, "ztbdeps31", "ztbdeps31.so"},
                    {np_dso_installed, "x.so", bin + "/ztbcpp31/x.so"}};
  for (auto const& [tell, name, expected] : rows) {
    auto const length = static_cast<unsigned>(expected.size());
    char buffer[4096];
    EXPECT_EQ(0, tell(name, buffer, length + 1));
    EXPECT_EQ(expected, buffer);
    EXPECT_NE(0, tell(name, buffer, length));
    EXPECT_STREQ("", buffer);
    EXPECT_NE(0, tell("", buffer, sizeof buffer));
  }
}

TEST(Module, LoadedModuleGivesItsSymbols) {
  Dl_info info{};
  ASSERT_NE(0, dladdr(dlsym(RTLD_DEFAULT, "qsort"), &info));
  Module module;
  ASSERT_EQ(np_dso_loaded, load(info.dli_fname, module));
  EXPECT_EQ(nullptr, np_dso_loaderr(module.get()));
  EXPECT_NE(nullptr, np_dso_getsym(module.get(), "qsort"));
  EXPECT_EQ(nullptr, np_dso_getsym(module.get(), "ztb_no_such_symbol"));
  EXPECT_EQ(nullptr, np_dso_getsym(module.get(), nullptr));
}

TEST(Module, WhatIsNoModuleIsRefusedWithAReasonThatNamesIt) {
  ztbtest::TempFolder const folder;
  std::string const rubbish = folder.write("rubbish.so", "not a module\n");
  struct {
    std::string path, named;
  } const rows[] = {
      {folder.path("none.so"), folder.path("none.so")},
      {rubbish, rubbish},
      {folder.path(), folder.path()},
      {"libc.so.6", fs::current_path().string() + "/libc.so.6"},  // not of the search path
      {"", "path"},
  };
  for (auto const& [path, named] : rows) {
    Module module;
    EXPECT_EQ(np_dso_refused, load(path.c_str(), module));
    ASSERT_NE(nullptr, np_dso_loaderr(module.get())) << path;
    EXPECT_TRUE(ztbtest::contains(np_dso_loaderr(module.get()), named));
    EXPECT_EQ(nullptr, np_dso_getsym(module.get(), "qsort"));
  }
}

std::string uniqueText() {
  char buffer[np_uniq_size];
  std::memset(buffer, 'x', sizeof buffer);
  np_uniq_s64(buffer);
  return buffer;
}

TEST(UniqueText, ParentAndChildrenNeverMeet) {
  ztbtest::TempFolder const folder;
  for (int child = 0; child < 3; ++child) {
    ASSERT_EQ(0, ztbtest::inChild([&] {
                if (child == 0) ztbtest::refuseSystemCall(SYS_getrandom);
                std::string texts;
                for (int i = 0; i < 100; ++i) texts += uniqueText();
                folder.write(std::to_string(child), texts);
                return 0;
              }));
  }
  std::set<std::string> seen;
  for (char const* const child : {"0", "1", "2"}) {
    std::string const texts = ztbtest::readFile(folder.path(child));
    for (std::size_t at = 0; at < 1600; at += 16) seen.insert(texts.substr(at, 16));
  }
  for (int i = 0; i < 10'000; ++i) seen.insert(uniqueText());
  EXPECT_EQ(10'300u, seen.size());
  for (std::string const& text : seen) {
    ASSERT_EQ(16u, text.size());
    ASSERT_EQ(std::string::npos,
              text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789-_"))
        << text;
  }
}

}  // namespace
