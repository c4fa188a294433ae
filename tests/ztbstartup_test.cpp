// SPDX-License-Identifier: MIT

#include "ztbstartup.h"

#include <filesystem>
#include <string>
#include <utility>

#include "ztbconfigoptions.h"
#include "ztbtest.h"

namespace {

namespace fs = std::filesystem;
using ztbtest::contains;

// A home of the test's own below a temporary folder, with the real message catalogs.
class ZtbStartupTest : public ztbtest::LibraryTest {
 protected:
  void SetUp() override {
    for (char const* const name : {"MARLOVEN_ERROR_LOCATION", "MARLOVEN_ERROR_LOCALE",
                                   "MARLOVEN_ERROR_LEVEL", "A", "TEMP"}) {
      unsetenv(name);
    }
    setenv("ZTEXEC_HOME", mFolder.path().c_str(), 1);
    fs::create_directory_symlink(ZTB_TEST_HOME "/share", path("share"));
    LibraryTest::SetUp();
  }
  void startAnew() {
    ztbShutdown();
    ztbtest::initialize();
  }

  // The reason, or an empty text for success.
  std::string startup() {
    char const* error = nullptr;
    int const result = ztbStartup(&error);
    EXPECT_EQ(result != 0, error != nullptr);
    return error != nullptr ? error : "";
  }

  void write(std::string const& name, std::string const& bytes) { mFolder.write(name, bytes); }
  std::string path(std::string const& name) { return mFolder.path(name); }
  void addOption(char const* name, std::string const& value) {
    char const* error = "";
    EXPECT_EQ(0, ztbStartupAddOption(name, value.c_str(), &error));
    EXPECT_EQ(nullptr, error);
  }
  void addFile(std::string const& file) {
    char const* error = "";
    EXPECT_EQ(0, ztbStartupAddConfigFile(file.c_str(), &error));
    EXPECT_EQ(nullptr, error);
  }
  std::string get(char const* key) {
    ZtbString value;
    bool const found = ztbGetConfigOptions(ZtbString())->getOption(ZtbString(key, true), &value);
    return !found ? "(absent)" : value.isNull() ? "(null)" : value.asCstr();
  }
  std::string origin(char const* key) {
    return ztbStartupGetOptionOrigin(ZtbString(key, true)).asCstr();
  }
  // The log of a whole start-up at level 2; of a process of its own, since records from before the
  // first configuration are kept for it.
  std::string logged(std::string const& setting = "A=1") {
    write("log.cfg", "sink all file path=" + path("start.log") + "\nlevel ZT.Base 2\n");
    EXPECT_EQ(0, ztbtest::shell(ZTB_TEST_BIN "/ztb options --home " + path("") + " --set " +
                                setting + " --set BASE/LOGCONFIG_PATH=" + path("log.cfg"))
                     .exitCode);
    return ztbtest::readFile(path("start.log"));
  }

  ztbtest::TempFolder mFolder;
};

TEST_F(ZtbStartupTest, EachSourceOverridesTheWeakerOnes) {
  fs::create_directories(path("etc"));
  ztbStartupSetUserPath(path("user").c_str());
  addFile("extra.cfg");
  char const* const files[] = {"etc/app.cfg",       "user/app.cfg",     "etc/extra.cfg",
                               "user/extra.cfg",    "etc/macros/m.cfg", "etc/macros/n.CFG",
                               "user/macros/u.cfg", "etc/macros.cfg",   "user/macros.cfg"};
  for (char const* const file : files) {
    write(file, "# a comment\nA=" + std::string(file) + "\n");
    ASSERT_EQ("", startup());
    EXPECT_EQ(file, get("a"));
    EXPECT_EQ(path(file) + ":2", origin("a"));
  }
  write("elsewhere/x.cfg", "B=absolute\n");
  addFile(path("elsewhere/x.cfg"));
  ASSERT_EQ("", startup());
  EXPECT_EQ(path("elsewhere/x.cfg") + ":1", origin("B"));
  ztbtest::Variable const variable("A", "from the environment");
  ASSERT_EQ("", startup());
  EXPECT_EQ("from the environment", get("A"));
  EXPECT_EQ("the environment", origin("A"));
  addOption("a", "from the command");
  ASSERT_EQ("", startup());
  EXPECT_EQ("from the command", get("A"));
  EXPECT_EQ("the command", origin("A"));
}

TEST_F(ZtbStartupTest, QueuesKeepOrderAndCount) {
  addFile("one.cfg");
  addFile("/two.cfg");
  addOption("x", "1");
  addOption("y", "2");
  addOption("X", "3");
  ZtbString key, value;
  std::string rows;
  for (char const* const name : {".@=Files=@.", ".@=CommandArgs=@."}) {
    ZtbConfigOptions* const queue = ztbGetConfigOptions(ZtbString(name, true));
    for (unsigned i = 0; queue->getOptionAt(i, &key, &value); ++i) {
      rows += std::string(key.asCstr()) + "=" + value.asCstr() + ";";
    }
  }
  EXPECT_EQ("FileCount=2;FilePrefix_0001=one.cfg;FilePrefix_0002=/two.cfg;x=3;y=2;", rows);
}

TEST_F(ZtbStartupTest, DerivesWhatNobodySet) {
  ztbStartupSetUserPath("/the/user");
  ASSERT_EQ("", startup());
  std::pair<char const*, std::string> const rows[] = {
      {"BASE/MACROS_PATH", path("etc/macros")},
      {"BASE/TEMP", "(null)"},
      {"TEMP", "(null)"},
      {"BASE/MESSAGE_PATH", path("share/msg")},
      {"BASE/PLUGIN_PATH", ZTB_TEST_BIN},
      {"BASE/EXE_PATH", ZTB_TEST_BIN},
      {"BASE/LIBRARY_PATH", fs::path(ZTB_TEST_BIN).parent_path().string() + "/lib"},
      {"BASE/REPOS_USER_PATH", "/the/user/repositories"},
      {"BASE/REPOS_SYS_PATH", path("etc/repositories")},
      {"ZTEXEC_HOME", path("")},
      {"BASE/LOGCONFIG_PATH", "(absent)"},
  };
  for (auto const& [key, value] : rows) EXPECT_EQ(value, get(key)) << key;
  EXPECT_EQ("derived by start-up", origin("BASE/MACROS_PATH"));
  EXPECT_EQ("the environment", origin("ZTEXEC_HOME")) << "equal values keep their origin";
  EXPECT_EQ("", origin("no such key"));
}

TEST_F(ZtbStartupTest, DerivesOneOptionFromAnother) {
  ztbtest::Variable const variable("TEMP", "/tmp/env");
  char const* const rows[][4] = {
      {"BASE/EXE_PATH", "/opt/suite/BIN/", "BASE/LIBRARY_PATH", "/opt/suite/lib"},
      {"BASE/EXE_PATH", "/opt/sbin", "BASE/LIBRARY_PATH", "/opt/sbin/lib"},
      {"BASE/EXE_PATH", "/bin", "BASE/LIBRARY_PATH", "/bin/lib"},
      {"BASE/EXE_PATH", "/a/bin", "BASE/LIBRARY_PATH", "/a/lib"},
      {"BASE/EXE_PATH", "", "BASE/LIBRARY_PATH", "lib"},
      {"no", "matter", "BASE/TEMP", "/tmp/env"},
      {"BASE/TEMP", "/tmp/base", "TEMP", "/tmp/base"},
  };
  for (auto const& [key, value, derivedKey, derived] : rows) {
    startAnew();
    addOption(key, value);
    ASSERT_EQ("", startup());
    EXPECT_EQ(derived, get(derivedKey)) << value;
  }
}

TEST_F(ZtbStartupTest, MessageVariablesOfTheUserWin) {
  write("etc/app.cfg",
        "BASE/MESSAGE_PATH=" + path("msg") + "\nBASE/MESSAGE_LOCALE=de\nBASE/MESSAGE_LEVEL=1\n");
  setenv("MARLOVEN_ERROR_LEVEL", "0", 1);
  fs::create_directory_symlink(ZTB_TEST_HOME "/share/msg", path("msg"));
  ASSERT_EQ("", startup());
  EXPECT_EQ(path("msg"), get("BASE/MESSAGE_PATH")) << "a file's value beats the derived one";
  EXPECT_EQ(path("msg"), getenv("MARLOVEN_ERROR_LOCATION"));
  EXPECT_STREQ("de", getenv("MARLOVEN_ERROR_LOCALE"));
  EXPECT_STREQ("0", getenv("MARLOVEN_ERROR_LEVEL"));
  // A process of its own, since the library remembers that it derived the variable.
  std::string const command = "MARLOVEN_ERROR_LOCATION=" ZTB_TEST_HOME "/share/msg " ZTB_TEST_BIN
                              "/ztb options --filter BASE/MESSAGE_PATH --home " +
                              path("");
  EXPECT_TRUE(contains(ztbtest::shell(command).output, ZTB_TEST_HOME "/share/msg"));
}

TEST_F(ZtbStartupTest, EveryFailureHasItsText) {
  std::string const modules = ZTB_TEST_MODULES;
  write("empty.cfg", "");
  write("rubbish.cfg", "this is no logging file\n");
  write("broken/ztbdeps31.so", "this is no module\n");
  std::string const absent = "Specified logging configuration file does not exist.";
  struct {
    char const* key;
    std::string value, error;
  } const rows[] = {
      {"BASE/LOGCONFIG_PATH", path("absent.cfg"), absent},
      {"BASE/LOGCONFIG_PATH", path("empty.cfg"), absent},
      {"BASE/LOGCONFIG_PATH", path("rubbish.cfg"), "Failed to configure logging."},
      {"BASE/PLUGIN_PATH", path("absent"), "absent/ztbdeps31.so"},
      {"BASE/PLUGIN_PATH", path("broken"), "broken/ztbdeps31.so"},
      {"BASE/PLUGIN_PATH", modules + "/no_entry_points",
       "Failed to find dependency startup/shutdown functions"},
      {"BASE/PLUGIN_PATH", modules + "/failing_start", "Dependency startup failed"},
      {"BASE/MESSAGE_PATH", path("no messages"), "no messages"},
  };
  unsetenv("ZTB_TEST_STOPPED");
  for (auto const& [key, value, error] : rows) {
    startAnew();
    addOption(key, value);
    EXPECT_TRUE(contains(startup(), error)) << value;
  }
  EXPECT_STREQ("yes", getenv("ZTB_TEST_STOPPED")) << "the module whose start failed";
  unsetenv("ZTEXEC_HOME");
  EXPECT_EQ("The 'ZTEXEC_HOME' environment variable is not set", startup());
  ztbShutdown();
  char const* error = nullptr;
  EXPECT_EQ(1, ztbStartup(&error)) << "the library isn't up";
  EXPECT_EQ(1, ztbStartup(nullptr));
}

TEST_F(ZtbStartupTest, ToleratesWhatIsNoFailure) {
  write("etc/app.cfg", std::string("\0\xff\xfe binary\n=\n===\n[x]\nA", 22));
  fs::create_directories(path("etc/macros"));
  fs::create_symlink("loop.cfg", path("etc/macros/loop.cfg"));
  fs::create_directory_symlink("..", path("etc/macros/up.cfg"));
  EXPECT_EQ("", startup());
}

TEST_F(ZtbStartupTest, TellsTheWholeStartInTheLog) {
  write("etc/macros.cfg",
        "BASE/DATE_FORMAT=iso8601\nBASE/TIME_BASE=gmt\n"
        "BASE/AUTH_SERVER_LOC=file:x,PASS=Secret/rest,pass=two\n");
  std::string const log = logged();
  char const* const expected[] = {"Expected file '",
                                  "Reading configuration file directory '",
                                  "Reading configuration file '",
                                  "Applying environment variables",
                                  "Effective options:",
                                  "BASE/AUTH_SERVER_LOC=file:x,PASS=********/rest,pass=two",
                                  "BASE/REPOS_SYS_PATH=",
                                  "ISO8601 date format will be used",
                                  "ZTEXEC_HOME=",
                                  "Extension specific startup",
                                  "Load ",
                                  "Run dep startup"};
  std::size_t at = 0;
  for (char const* const line : expected) {
    ASSERT_TRUE(contains(log.substr(at), line));
    at = log.find(line, at);
  }
  addOption("DEPS/LOG_PATH", path("deps.log"));
  for (int i = 0; i < 2; ++i) ASSERT_EQ("", startup());
  EXPECT_EQ("file:x,PASS=Secret/rest,pass=two", get("BASE/AUTH_SERVER_LOC"));
  ztbShutdown();
  std::string const depsLog = ztbtest::readFile(path("deps.log"));
  EXPECT_LT(depsLog.find(" started\n"), depsLog.find(" stopped\n")) << depsLog;
  EXPECT_LT(depsLog.find(" stopped\n"), depsLog.rfind(" started\n")) << "by the second start";
  std::string const atTheVeryStart = "BASE/AUTH_SERVER_LOC=pass=open";
  EXPECT_TRUE(contains(logged(atTheVeryStart), atTheVeryStart)) << "isn't masked";
}

TEST_F(ZtbStartupTest, UserPathsAreCutAtACharacter) {
  ztbStartupSetUserPath((std::string(258, 'u') + "\u00e4").c_str());
  EXPECT_EQ(std::string(258, 'u'), ztbStartupGetUserPath());
  ztbStartupSetUserPath(nullptr);
  EXPECT_STREQ("", ztbStartupGetUserPath());
}

}  // namespace
