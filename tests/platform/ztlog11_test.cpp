// SPDX-License-Identifier: MIT
//
// Logging, from the parser of its configuration to the bytes in the files. What depends on nothing
// being configured yet runs in a process of its own.

#include "ztlog11.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ztbtest.h"
#include "ztlog11_config.h"

using ztbtest::contains;
using ztbtest::readFile;
using ztbtest::TempFolder;

// The system's log for this program: what comes to it, as text.
namespace {
std::string gSystemLog;
}
extern "C" void openlog(char const* ident, int, int facility) {
  gSystemLog += "open " + std::string(ident) + " " + std::to_string(facility >> 3) + "\n";
}
extern "C" void closelog() {
  gSystemLog += "close\n";
}
extern "C" void syslog(int priority, char const* format, ...) {
  char text[200];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  gSystemLog += std::to_string(priority) + " " + text;
}

namespace {

#define LOG(logger, level, ...) \
  (logger)->operations->logFormat(logger, level, "source", 7, __VA_ARGS__)

int levelOf(char const* name) {
  ZtLogger* const logger = ztlogGetLogger(name);
  return logger->operations->getLevel(logger);
}

void setLevel(char const* name, int level) {
  ZtLogger* const logger = ztlogGetLogger(name);
  logger->operations->setLevel(logger, level);
}

void configure(TempFolder const& folder, std::string const& text) {
  EXPECT_EQ(0, ztlogConfigure(folder.write("logging.cfg", text).c_str())) << ztlogConfigureError();
}

// Configures one file sink with nothing but level and text, and gives the file's path.
std::string configureFile(TempFolder const& folder, std::string const& more = "") {
  configure(folder, "sink main file path=app.log\npattern main %L %n %s:%# %v\n" + more);
  return folder.path("app.log");
}

// The errors of a text, as "LINE:COLUMN reason"; empty if it has none.
std::string errorOf(std::string const& text) {
  ztlog::Config config;
  ztlog::ParseError error;
  if (ztlog::parseConfig(text, &config, &error)) return "";
  return std::to_string(error.place.line) + ":" + std::to_string(error.place.column) + " " +
         error.reason;
}

std::size_t countLines(std::string const& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class ZtLogProcess : public ::testing::Test {
 protected:
  // The child starts the program anew, so that it has a log in its first state.
  void SetUp() override { ::testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

}  // namespace

TEST(ZtLogger, HandleIsTheSameForTheSameName) {
  char const* const rows[][2] = {
      {nullptr, ""}, {"", "."}, {"...", ""}, {"A.B", "A..B"}, {"A.B", ".A.B."}};
  for (auto const& [name, same] : rows) EXPECT_EQ(ztlogGetLogger(name), ztlogGetLogger(same));
  EXPECT_NE(ztlogGetLogger("A.B"), ztlogGetLogger("a.b"));
  EXPECT_NE(ztlogGetLogger("A"), ztlogGetLogger("A.B"));
  std::string const longName(255, 'n');
  EXPECT_EQ(ztlogGetLogger(longName.c_str()), ztlogGetLogger((longName + "x").c_str()));
}

TEST(ZtLogger, LevelComesFromItselfTheConfigurationOrTheParent) {
  TempFolder folder;
  EXPECT_EQ(4, levelOf("L"));
  configureFile(folder, "level L 3\nlevel L.A.B off\n");
  struct {
    char const* set;
    int to;
    std::vector<int> levels;                   // of the root, L, L.A and L.A.B
  } const rows[] = {{"L", 0, {4, 3, 3, 6}},    // as configured; L.A has its parent's
                    {"L.A", 1, {4, 3, 1, 6}},  // a level of its own beats the parent's
                    {"L", 2, {4, 2, 1, 6}},    // and the configuration's
                    {"L.A.B", 9, {4, 2, 1, 6}},  {"L.A.B", 5, {4, 2, 1, 5}},
                    {"L.A.B", -1, {4, 2, 1, 6}}, {"L.A", 0, {4, 2, 2, 6}},
                    {nullptr, 1, {1, 2, 2, 6}}};
  for (auto const& [set, to, levels] : rows) {
    setLevel(set, to);
    std::vector<int> const now{levelOf(nullptr), levelOf("L"), levelOf("L.A"), levelOf("L.A.B")};
    EXPECT_EQ(levels, now) << (set ? set : "root") << " set to " << to;
  }
  setLevel(nullptr, 0);
  setLevel("L", 0);
  ASSERT_EQ(0, ztlogConfigure(nullptr));
  EXPECT_EQ(4, levelOf("L.A.B"));
}

TEST(ZtLogger, RecordsAndMessagesBelowTheLevelAreDropped) {
  TempFolder folder;
  std::string const file = configureFile(folder, "level D 3\n");
  ZtLogger* const logger = ztlogGetLogger("D");
  for (int level = -1; level <= 7; ++level) LOG(logger, level, "record %d", level);
  logger->operations->logMessage(logger, 2, "source", 8, 29, "below the level");
  logger->operations->logMessage(logger, 3, "source", 8, 29, "argument");
  EXPECT_EQ(
      "3 D source:7 record 3\n4 D source:7 record 4\n5 D source:7 record 5\n"
      "5 D source:7 record 6\n5 D source:7 record 7\n"
      "3 D source:8 [Base Services 29] no text in the message database: \"argument\"\n",
      readFile(file));
}

TEST(ZtLogger, TextStaysOneWholeLineOfPrintableCharacters) {
  std::string const fits(510, 'x'), doesnt(511, 'x'), huge(3'000'000, 'x');
  std::pair<std::string, std::string> const rows[] = {
      {"plain {} %n \\ text", "plain {} %n \\ text"},
      {"a\nb\r\n\tc\x1b[2J\x07\x7f", "a\\nb\\r\\n\\tc\\x1b[2J\\x07\\x7f"},
      {"\u00e4\u20ac\U0001f600", "\u00e4\u20ac\U0001f600"},
      {"\xc2\x9b\x31", "\\u009b1"},                                 // an 8-bit control sequence
      {"\u2028\u202e\u2067\u200f", "\\u2028\\u202e\\u2067\u200f"},  // the last is a mere mark
      {"\x80 \xc0\xaf \xed\xa0\x80 \xe2\x82", "\\x80 \\xc0\\xaf \\xed\\xa0\\x80 \\xe2\\x82"},
      {"", ""},
      {fits, fits},
      {doesnt, doesnt},
      {huge, huge},
  };
  for (auto const& [text, line] : rows) {
    TempFolder folder;
    std::string const file = configureFile(folder);
    LOG(ztlogGetLogger("ZT\n"), 5, "%c%s", 0, text.c_str());
    EXPECT_EQ("5 ZT\\n source:7 \\x00" + line + "\n", readFile(file));
  }
}

TEST(ZtLogConfig, GoodTextsAreAccepted) {
  char const* const rows[] = {
      "sink a stderr",
      "\xef\xbb\xbf# comment\r\n\r\n\tsink a stderr level=off  \r\n",
      "sink a file path=\"my \\\"log\\\".txt\"\npattern a %% \"%v\" \u00e4\n",
      "sink a rotating path=%P-%%.log size=1K keep=999 level=2\nlevel * 1\nlevel .A. trace\n",
      "sink a syslog ident=\"\" facility=local7\nsink b stderr\nroute A.B a b a\nroute * b",
  };
  for (auto const& row : rows) EXPECT_EQ("", errorOf(row)) << row;
}

TEST(ZtLogConfig, BadTextsAreRefusedWithTheirPlace) {
  std::pair<std::string, char const*> const rows[] = {
      {"", "1:1 no sink"},
      {std::string("sink\0", 5), "1:5 control character \\x00"},
      {"\nsink \xc3\xa4\xff", "2:7 not UTF-8"},
      {"sink a stderr\nSink b stderr", "2:1 unknown statement 'Sink'"},
      {"sink", "1:5 the sink's name is missing"},
      {"sink a.b stderr", "1:6 a sink's name has"},
      {"sink a", "1:7 the sink's kind"},
      {"sink a tape", "1:8 unknown kind of sink 'tape'"},
      {"sink a stderr\n  sink a stderr", "2:8 sink 'a' is there already, in line 1"},
      {"sink a stderr path=x", "1:15 this kind of sink has no option 'path'"},
      {"sink a stderr level", "1:20 \"=\" is missing"},
      {"sink a stderr level=", "1:21 the value of 'level' is missing"},
      {"sink a stderr level=0", "1:21 unknown level '0'"},
      {"sink a stderr level=1 level=1", "1:23 'level' is given twice"},
      {"sink a stderr # why", "1:15 a comment stands"},
      {"sink a file", "1:12 path=FILE is missing"},
      {"sink a file path=\"x", "1:18 a closing quote is missing"},
      {"sink a file path=\"x\"y", "1:21 a blank is missing"},
      {"sink a file path=\u00e4%p", "1:19 unknown placeholder; there are %P %%"},
      {"sink a file path=log/", "1:18 the path names a folder"},
      {"sink a file path=x\nsink b file path=x", "2:19 sink 'a' writes to the same file"},
      {"sink a rotating path=x size=1023", "1:29 a size is"},
      {"sink a rotating path=x size=1025G", "1:29 a size is"},
      {"sink a rotating path=x keep=0", "1:29 keep is"},
      {"sink a syslog facility=kern", "1:24 unknown facility 'kern'"},
      {"sink a syslog\nsink b syslog", "2:14 a process has one way to syslog"},
      {"sink a stderr\npattern b %v", "2:9 no sink 'b' stands above"},
      {"pattern * %v", "1:9 no sink stands above"},
      {"sink a stderr\npattern a", "2:10 the pattern is missing"},
      {"sink a stderr\npattern a %v %", "2:14 unknown placeholder"},
      {"sink a stderr\npattern a %l %%v", "2:11 the pattern has no %v"},
      {"sink a stderr\nlevel X 3 4", "2:11 unexpected text"},
      {"sink a stderr\nlevel X 3\nlevel X. 4", "3:10 this logger has a level already"},
      {"sink a stderr\nlevel .. 4", "2:7 no logger has this name"},
      {"sink a stderr\nroute X", "2:8 a sink's name is missing"},
      {"sink a stderr\nroute X a\nroute X a", "3:8 this logger has a route already"},
  };
  for (auto const& [text, error] : rows) {
    EXPECT_TRUE(errorOf(text).starts_with(error)) << text << "\ngave " << errorOf(text);
  }
}

TEST(ZtLogConfigure, FailureNamesThePlaceAndLeavesTheFormerConfiguration) {
  TempFolder folder;
  std::string const file = configureFile(folder, "level F 1\npattern * %v\n");
  ASSERT_EQ(0, mkfifo(folder.path("pipe").c_str(), 0600));
  std::pair<std::string, std::string> const rows[] = {
      {folder.path("none.cfg"), folder.path("none.cfg") + ": No such file or directory"},
      {folder.path(), folder.path() + ": not a regular file"},
      {folder.write("bad.cfg", "sink a stderr\nlevel\n"),
       folder.path("bad.cfg") + ":2:6: a logger's name or * is missing"},
      {folder.write("big.cfg", std::string((1 << 20) + 1, '#')),
       folder.path("big.cfg") + ": larger than 1 MiB"},
      {folder.write("rubbish.cfg", std::string(1 << 20, '\xfe')),
       folder.path("rubbish.cfg") + ":1:1: not UTF-8"},
      {folder.write("sink.cfg", "sink a stderr\nsink b file path=../" +
                                    folder.path().substr(folder.path().rfind('/') + 1)),
       folder.path("sink.cfg") + ":2:6: " + folder.path() + " is a folder"},
      {folder.write("pipe.cfg", "sink a file path=pipe"),
       folder.path("pipe.cfg") + ":1:6: " + folder.path("pipe") + " is a pipe that nobody reads"},
  };
  for (auto const& [path, error] : rows) {
    errno = ENOTTY;
    EXPECT_EQ(1, ztlogConfigure(path.c_str()));
    EXPECT_EQ(ENOTTY, errno);
    EXPECT_EQ(error, ztlogConfigureError());
    EXPECT_EQ(1, levelOf("F"));
    EXPECT_TRUE(readFile(file).ends_with(error + "\n")) << readFile(file);
  }
  configureFile(folder);
  EXPECT_STREQ("", ztlogConfigureError());
}

TEST(ZtLogConfigure, RoutesAndSinkLevelsChooseTheFiles) {
  TempFolder folder;
  configure(folder,
            "sink all file path=log/all.log\nsink bad file path=log/bad.log level=error\n"
            "sink own file path=log/own-%P%%.log\npattern * %v\n"
            "route * all bad\nroute R.Own own\nlevel R trace\n");
  LOG(ztlogGetLogger("R"), 1, "trace");
  LOG(ztlogGetLogger("R"), 5, "error");
  LOG(ztlogGetLogger("R.Own.Child"), 5, "own");
  EXPECT_EQ("trace\nerror\n", readFile(folder.path("log/all.log")));
  EXPECT_EQ("error\n", readFile(folder.path("log/bad.log")));
  EXPECT_EQ("own\n", readFile(folder.path("log/own-" + std::to_string(getpid()) + "%.log")));
  EXPECT_EQ(1, ztbtest::shell("ls -l /proc/self/fd | grep -q " + folder.path("log")).exitCode)
      << "a log file was handed on to a program";
}

TEST(ZtLogConfigure, RotatingSinkKeepsItsFiles) {
  TempFolder folder;
  configure(folder, "sink a rotating path=app.log size=1K keep=2\npattern a %v\n");
  for (int i = 0; i < 5; ++i) {
    LOG(ztlogGetLogger("Rotate"), 4, "%d%s", i, std::string(900, '.').c_str());
  }
  EXPECT_EQ('4', readFile(folder.path("app.log"))[0]);
  EXPECT_EQ('3', readFile(folder.path("app.1.log"))[0]);
  EXPECT_EQ('2', readFile(folder.path("app.2.log"))[0]);
  EXPECT_FALSE(std::filesystem::exists(folder.path("app.3.log")));
}

TEST(ZtLogConfigure, SyslogSinkIsOpenedWhenTheFormerOneIsClosed) {
  TempFolder folder;
  gSystemLog.clear();
  for (char const* const ident : {"one", "two"}) {
    configure(folder, "sink a syslog facility=local0 ident=" + std::string(ident) + "\n");
    for (int level = 4; level <= 5; ++level) LOG(ztlogGetLogger("Sys"), level, "%%s\n");
  }
  ASSERT_EQ(0, ztlogConfigure(nullptr));
  std::string const records = "4 Sys: %s\\n (source:7)\n3 Sys: %s\\n (source:7)\n";
  EXPECT_EQ("open one 16\n" + records + "close\nopen two 16\n" + records + "close\n", gSystemLog);
}

TEST(ZtLogConfigure, ARecoveredSinkTellsWhatItLost) {
  TempFolder folder;
  std::string const file = configureFile(folder, "pattern * %v\n");
  ZtLogger* const logger = ztlogGetLogger("Recover");
  {
    ztbtest::Limit const twoBytes(RLIMIT_FSIZE, 2);
    for (int i = 0; i < 3; ++i) LOG(logger, 4, "lost");
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  LOG(logger, 4, "found");
  EXPECT_EQ("lo\n3 records were lost here, the last time for: Failed flush to file " + file +
                ": File too large\nfound\n",
            readFile(file));
  folder.write("app.log", "cut");
  configureFile(folder, "");
  EXPECT_EQ("cut\n", readFile(file)) << "before a record, so that no forked child writes it, too";
}

TEST(ZtLogConfigure, AFullDiskIsToldOnceAndSurvived) {
  TempFolder folder;
  configure(folder, "sink a file path=/dev/full\n");
  ::testing::internal::CaptureStderr();
  for (int i = 0; i < 100; ++i) LOG(ztlogGetLogger("Full"), 5, "record %d", i);
  std::string const told = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(1u, countLines(told)) << told;
  EXPECT_TRUE(contains(told, "No space left on device"));
  EXPECT_EQ(0, ztlogConfigure(nullptr));
}

TEST_F(ZtLogProcess, KeepsTheStartForTheFirstConfiguration) {
  auto const story = [] {
    TempFolder folder;
    ZtLogger* const logger = ztlogGetLogger("Start");
    logger->operations->setLevel(logger, 2);
    LOG(logger, 1, "trace");
    LOG(logger, 2, "step");
    LOG(logger, 4, "warning");
    LOG(ztlogGetLogger("Other"), 3, "below the default level");
    logger->operations->setLevel(logger, 0);
    ztlogConfigure(folder.path("missing.cfg").c_str());
    std::string const file =
        configureFile(folder, "sink console stderr\npattern console console %v\n");
    LOG(logger, 4, "configured");
    std::string const log = readFile(file);
    return log.starts_with("2 Start source:7 step\n4 Start source:7 warning\n5 ZT.Log") &&
           log.ends_with("\n4 Start source:7 configured\n");
  };
  EXPECT_EXIT(std::_Exit(story() ? 0 : 1), ::testing::ExitedWithCode(0),
              "^[^\n]* warning Start: warning .source:7.\n[^\n]* error ZT.Log: [^\n]*\n"
              "console step\nconsole configured\n$");
}

TEST_F(ZtLogProcess, KeepsTheLastThousandRecordsOfBoundedSize) {
  auto const story = [](int records, std::size_t bytes) {
    TempFolder folder;
    ZtLogger* const logger = ztlogGetLogger("Start");
    logger->operations->setLevel(logger, 2);
    std::string const text(bytes, 'x');
    for (int i = 0; i < records; ++i) LOG(logger, 2, "number %d %s", i, text.c_str());
    return readFile(configureFile(folder));
  };
  auto const hasAThousand = [](std::string const& log) {
    return countLines(log) == 1001 && log.ends_with("number 1233 \n") &&
           log.find(" 234 earlier records were not kept\n2 Start source:7 number 234 \n") < 20;
  };
  EXPECT_EXIT(std::_Exit(hasAThousand(story(1234, 0)) ? 0 : 1), ::testing::ExitedWithCode(0), "^$");
  EXPECT_EXIT(std::_Exit(countLines(story(9, 300'000)) == 4 ? 0 : 1), ::testing::ExitedWithCode(0),
              "^$");
}

TEST_F(ZtLogProcess, TheDefaultWayIsWarningsAndErrorsOnStandardError) {
  auto const story = [] {
    ZtLogger* const logger = ztlogGetLogger("Default");
    logger->operations->setLevel(logger, 1);
    LOG(logger, 3, "kept information");
    ztlogConfigure(nullptr);
    for (int level = 1; level <= 5; ++level) LOG(logger, level, "level %d", level);
    _exit(0);
  };
  EXPECT_EXIT(
      story(), ::testing::ExitedWithCode(0),
      "^[^\n]* warning Default: level 4 .source:7.\n[^\n]* error Default: level 5 [^\n]*\n$");
}

TEST_F(ZtLogProcess, ARefusedConfigurationIsToldWhereTheFormerOneSilencesStandardError) {
  auto const configureTwice = [] {
    TempFolder const folder;
    configure(folder, "sink console stderr level=off\n");
    return ztlogConfigure(folder.path("none.cfg").c_str());
  };
  EXPECT_EXIT(_exit(configureTwice()), ::testing::ExitedWithCode(1), "none.cfg: No such file");
}

TEST_F(ZtLogProcess, SurvivesAStandardErrorThatNobodyReadsOrThatIsClosed) {
  auto const story = [] {
    int ends[2];
    if (pipe(ends) != 0) _exit(2);
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    LOG(ztlogGetLogger("Pipe"), 5, "to nobody");
    close(STDERR_FILENO);
    LOG(ztlogGetLogger("Closed"), 5, "to nothing");
    ztlogInitialize();
    int const next = open("/dev/null", O_RDONLY);
    _exit(next == STDERR_FILENO ? 1 : 0);
  };
  EXPECT_EXIT(story(), ::testing::ExitedWithCode(0), "");
}

namespace {

// Has its logger before main, and logs while statics are destroyed.
struct EarlyAndLate {
  ZtLogger* logger = ztlogGetLogger("Early");
  bool isLate = false;
  ~EarlyAndLate() {
    if (isLate) LOG(logger, 4, "while statics are destroyed");
  }
} gEarlyAndLate;

}  // namespace

TEST_F(ZtLogProcess, WorksWhileStaticsAreDestroyed) {
  gEarlyAndLate.isLate = true;
  EXPECT_EXIT(std::exit(0), ::testing::ExitedWithCode(0), "while statics are destroyed");
}
