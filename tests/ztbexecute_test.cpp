// SPDX-License-Identifier: MIT
//
// Program execution, with the real programs of the system.

#include "ztbexecute.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "ztbtest.h"

static bool isOutOfArrays = false;

void* operator new[](std::size_t bytes, std::nothrow_t const&) noexcept {
  return isOutOfArrays ? nullptr : ::operator new[](bytes);
}

namespace {

using ztbtest::contains;

// A library that is up, with a folder for temporary files in which no test may leave anything.
class ZtbExecuteTest : public ztbtest::LibraryTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(std::filesystem::is_empty(mFolder.path()));
    LibraryTest::TearDown();
  }

 private:
  ztbtest::TempFolder mFolder;
  ztbtest::Variable mVariable{"TMPDIR", mFolder.path().c_str()};
};

void describe(ZtbExecute& program, std::vector<char const*> const& words) {
  program.setCommand(ZtbString(words.front(), true));
  for (auto word = words.begin() + 1; word != words.end(); ++word) {
    program.addOption(ZtbString(*word, false));
  }
}

std::string logOf(ZtbExecute& program) {
  return program.getOutputLog().asCstr();
}
std::string errorOf(ZtbExecute& program) {
  return program.getErrorMessage().asCstr();
}

// The log of a program that runs without a failure.
std::string run(bool useShell, std::vector<char const*> const& words) {
  ZtbExecute program;
  describe(program, words);
  EXPECT_TRUE(program.run(useShell, true, -1)) << errorOf(program);
  EXPECT_TRUE(program.getErrorMessage().isNull());
  return logOf(program);
}

TEST_F(ZtbExecuteTest, DirectArgumentsArriveAsTheyAre) {
  EXPECT_EQ("[a b][][\"q][$HOME;*][]",
            run(false, {"printf", "[%s]", "a b", "", "\"q", "$HOME;*", ""}));
  EXPECT_EQ("", run(false, {"true"}));
}

TEST_F(ZtbExecuteTest, ShellPartsWithBlanksAreQuoted) {
  struct {
    std::vector<char const*> words;
    char const* log;
  } const rows[] = {
      {{"printf", "[%s]", "a b", "", "c"}, "[a b][c]"},
      {{"printf", "\"[%s]\"", "\"x y\" z"}, "[x y][z]"},
      {{"\"printf\" '<%s>'", "a"}, "<a>"},
      {{"printf", "'[%s]'", "a\tb"}, "[a][b]"},
      {{"exit", "3"}, ""},
  };
  for (auto const& row : rows) EXPECT_EQ(row.log, run(true, row.words));
  EXPECT_TRUE(contains(run(true, {"echo a"}), "echo a: not found"));
}

TEST_F(ZtbExecuteTest, OutputBecomesOneLine) {
  struct {
    char const* format;
    std::string log;
  } const rows[] = {
      {"a\\tb\\r\\n\\302\\240\\342\\200\\250c\\n", "a b       c "},
      {" \\n\\n", "   "},
      {"\\351\\377 \\303", "\xE9\xFF \xC3"},
      {"before\\000behind", "before"},
      {"\\000behind", ""},
  };
  for (auto const& row : rows) EXPECT_EQ(row.log, run(false, {"printf", row.format})) << row.format;
}

TEST_F(ZtbExecuteTest, LongOutputIsCutBetweenCharacters) {
  std::string characters;
  while (characters.size() < 9000) characters += "\xC3\xA9";
  EXPECT_EQ(characters.substr(0, 8190), run(false, {"printf", "%s", characters.c_str()}));
  characters = "x" + characters;
  EXPECT_EQ(characters.substr(0, 8191), run(false, {"printf", "%s", characters.c_str()}));
  characters.resize(8190);  // fits, with half a character at its end
  EXPECT_EQ(characters, run(false, {"printf", "%s", characters.c_str()}));
}

TEST_F(ZtbExecuteTest, OutputWithoutMemoryForItIsToldInTheLog) {
  isOutOfArrays = true;
  EXPECT_EQ("Failed to allocate memory to read program output", run(false, {"echo", "x"}));
  isOutOfArrays = false;
}

TEST_F(ZtbExecuteTest, EnvironmentReplacesTheProcesss) {
  ZtbExecute program;
  program.setCommand(ZtbString("env", true));
  for (char const* entry : {"A=x y", "B="}) program.addEnvironment(ZtbString(entry, false));
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(program.run(false, true, -1));
    EXPECT_EQ("A=x y B= ", logOf(program));
  }
}

TEST_F(ZtbExecuteTest, FailuresHaveTextAndLog) {
  ZtbExecute program;
  program.setCommand(ZtbString("nosuch", true));
  EXPECT_FALSE(program.run(false, true, -1));
  EXPECT_TRUE(contains(errorOf(program), "Event Plugin 380"));
  EXPECT_TRUE(contains(errorOf(program), "nosuch: No such file or directory"));
  EXPECT_EQ("Failed to execute command nosuch. Error: nosuch: No such file or directory",
            logOf(program));

  program.setCommand(ZtbString("true", true));
  EXPECT_TRUE(program.run(false, true, -1));
  EXPECT_TRUE(contains(errorOf(program), "Event Plugin 380")) << "kept by a success";
  EXPECT_TRUE(contains(logOf(program), "nosuch")) << "kept by a run without output";
  {
    ztbtest::Limit const noMoreFiles(RLIMIT_NOFILE, 3);
    EXPECT_FALSE(program.run(false, true, -1));
  }
  EXPECT_TRUE(contains(errorOf(program), "Event Plugin 332"));
  EXPECT_TRUE(contains(errorOf(program), "Too many open files"));

  program.setCommand(ZtbString("kill", true));
  for (char const* option : {"-9", "$$"}) program.addOption(ZtbString(option, true));
  EXPECT_FALSE(program.run(true, true, -1));
  EXPECT_TRUE(contains(errorOf(program), "Event Plugin 378"));
  EXPECT_EQ("Command aborted with error: 9", logOf(program));

  program.setCommand(ZtbString("\"echo\" last words; kill", true));
  EXPECT_FALSE(program.run(true, true, -1));
  EXPECT_EQ("last words ", logOf(program));
}

TEST_F(ZtbExecuteTest, LostExitCodeIsAFailureThatStillCollects) {
  ZtbExecute program;
  describe(program, {"echo", "seen;", "sleep", "1"});
  std::signal(SIGALRM, [](int) { std::signal(SIGCHLD, SIG_IGN); });
  ualarm(500'000, 0);  // in the middle of the wait
  EXPECT_FALSE(program.run(true, true, -1));
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_TRUE(contains(errorOf(program), "Event Plugin 377"));
  EXPECT_EQ("seen ", logOf(program));
}

TEST_F(ZtbExecuteTest, LimitLeavesTheProgramRunning) {
  ZtbExecute program;
  describe(program, {"echo", "begun;", "sleep", "2"});
  EXPECT_TRUE(program.run(true, true, 1));
  EXPECT_EQ("begun ", logOf(program));
  siginfo_t end{};
  EXPECT_EQ(0, waitid(P_ALL, 0, &end, WEXITED | WNOWAIT));
  EXPECT_EQ("", run(false, {"true"}));
  EXPECT_NE(0, waitid(P_ALL, 0, &end, WEXITED | WNOHANG | WNOWAIT)) << "left as a zombie";
}

TEST_F(ZtbExecuteTest, FiveHundredRunsLeakNothing) {
  auto const descriptors = [] {
    auto const entries = std::filesystem::directory_iterator("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
  };
  auto const runAll = [](int count) {
    for (int i = 0; i < count; ++i) {
      ZtbExecute program;
      program.addEnvironment(ZtbString("A=1", true));
      program.setCommand(ZtbString(i % 2 == 0 ? "true" : "nosuch", true));
      EXPECT_EQ(i % 2 == 0, program.run(false, i % 3 == 0, i % 4 == 0 ? 0 : 60));
    }
    // Collects those that weren't waited for.
    while (waitid(P_ALL, 0, nullptr, WEXITED | WNOWAIT) == 0) run(false, {"true"});
  };
  runAll(9);
  auto const before = descriptors();
  auto const memory = mallinfo2().uordblks;
  runAll(501);
  EXPECT_EQ(before, descriptors());
  EXPECT_GE(memory + 4096, mallinfo2().uordblks);
}

}  // namespace
