// SPDX-License-Identifier: MIT
//
// Program execution, with the real programs of the system.

#include "ztbexecute.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
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

// What is run, by the shell or not, and the log of it.
struct Row {
  bool byShell;
  std::vector<char const*> words;
  std::string log;
};

TEST_F(ZtbExecuteTest, PartsArriveAsTheyAreOrAsTheShellTakesThem) {
  Row const rows[] = {
      {false, {"printf", "[%s]", "a b", "", "\"q", "$HOME;*", ""}, "[a b][][\"q][$HOME;*][]"},
      {false, {"true"}, ""},
      {true, {"printf", "[%s]", "a b", "", "c"}, "[a b][c]"},
      {true, {"printf", "\"[%s]\"", "\"x y\" z"}, "[x y][z]"},
      {true, {"\"printf\" '<%s>'", "a"}, "<a>"},
      {true, {"printf", "'[%s]'", "a\tb"}, "[a][b]"},
      {true, {"exit", "3"}, ""},
  };
  for (auto const& [byShell, words, log] : rows) EXPECT_EQ(log, run(byShell, words));
  EXPECT_TRUE(contains(run(true, {"echo a"}), "echo a: not found"));
}

TEST_F(ZtbExecuteTest, OutputBecomesOneLineOfWholeCharacters) {
  std::string characters;
  while (characters.size() < 9000) characters += "\xC3\xA9";
  std::string const shifted = "x" + characters;
  std::string const half = shifted.substr(0, 8190);  // fits, with half a character at its end
  Row const rows[] = {
      {false, {"printf", "a\\tb\\r\\n\\302\\240\\342\\200\\250c\\n"}, "a b       c "},
      {false, {"printf", " \\n\\n"}, "   "},
      {false, {"printf", "\\351\\377 \\303"}, "\xE9\xFF \xC3"},
      {false, {"printf", "before\\000behind"}, "before"},
      {false, {"printf", "\\000behind"}, ""},
      {false, {"printf", "%s", characters.c_str()}, characters.substr(0, 8190)},
      {false, {"printf", "%s", shifted.c_str()}, shifted.substr(0, 8191)},
      {false, {"printf", "%s", half.c_str()}, half},
  };
  for (auto const& [byShell, words, log] : rows) EXPECT_EQ(log, run(byShell, words));
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
  for (bool const isCaptured : {true, true, false}) {
    EXPECT_TRUE(program.run(false, isCaptured, -1));
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
  EXPECT_TRUE(contains(errorOf(program), "/bin/sh: Its exit code is lost"));
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

}  // namespace
