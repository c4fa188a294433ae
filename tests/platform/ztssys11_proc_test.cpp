// SPDX-License-Identifier: MIT
//
// The system layer: processes, with the real programs of the system.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ztbtest.h"
#include "ztssys11.h"

namespace {

using ztbtest::contains;
using ztbtest::readFile;
using ztbtest::TempFolder;

// A program of the test: its handle, and what the last wait told.
class Program {
 public:
  Program() = default;
  Program(Program const&) = delete;
  Program& operator=(Program const&) = delete;
  ~Program() { np_proc_destroy(mHandle); }

  int execute(std::vector<std::string> const& words, std::string const& output = "") {
    std::vector<char const*> argv;
    for (std::string const& word : words) argv.push_back(word.c_str());
    argv.push_back(nullptr);
    NpProcessStart const start{0, 0, output.c_str(), nullptr};
    return np_proc_execute(argv.data(), flags(output), &start, &mHandle);
  }
  int shell(std::string const& line, std::string const& output = "") {
    NpProcessStart const start{0, 0, output.c_str(), nullptr};
    return np_proc_shellexec(line.c_str(), flags(output), &start, &mHandle);
  }
  // The status and the code of a wait, "0 127", or the reason of its failure.
  std::string wait(int limit = -1) {
    int status = -1;
    int code = -1;
    if (np_proc_wait(mHandle, limit, &status, &code) != 0) return reason();
    return std::to_string(status) + " " + std::to_string(code);
  }
  std::string reason() { return np_proc_geterr(mHandle); }
  void destroy() { np_proc_destroy(std::exchange(mHandle, nullptr)); }

 private:
  static int flags(std::string const& output) {
    return np_proc_base | (output.empty() ? 0 : np_proc_output);
  }
  NpProcess* mHandle = nullptr;
};

std::string runShell(std::string const& line, std::string const& output = "") {
  Program program;
  EXPECT_EQ(0, program.shell(line, output)) << program.reason();
  return program.wait();
}

bool hasChildren() {
  siginfo_t end{};
  return waitid(P_ALL, 0, &end, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// Sets what SIGCHLD does, until it goes.
class ChildSignal {
 public:
  ChildSignal(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &mOld);
  }
  ChildSignal(ChildSignal const&) = delete;
  ChildSignal& operator=(ChildSignal const&) = delete;
  ~ChildSignal() { sigaction(SIGCHLD, &mOld, nullptr); }
  static bool is(void (*handler)(int), int flag) {
    struct sigaction action {};
    sigaction(SIGCHLD, nullptr, &action);
    return action.sa_handler == handler && (action.sa_flags & SA_NOCLDWAIT) == flag;
  }

 private:
  struct sigaction mOld {};
};

TEST(Process, TellsHowItsProgramEnded) {
  char const* const rows[][2] = {
      {"exit 255", "0 255"}, {"kill -SEGV $$", "3 11"}, {"nosuch-program", "0 127"},
      {"", "0 0"},           {"-c; exit 3", "0 3"},     {"sleep 5 & exit 4", "0 4"},
  };
  TempFolder const folder;
  for (auto const& [line, expected] : rows) {
    Program program;
    ASSERT_EQ(0, program.shell(line, folder.path("out"))) << program.reason();
    EXPECT_EQ(expected, program.wait()) << line;
    EXPECT_EQ(expected, program.wait(0)) << "asked again: " << line;
    EXPECT_EQ("", program.reason());
  }
}

TEST(Process, FailedStartNamesProgramAndReason) {
  TempFolder const folder;
  std::string const text = folder.write("text", "no program");
  std::string const foreign = folder.write("foreign", "\x7F\x45LF\2\1\1 no machine has this");
  chmod(foreign.c_str(), 0755);
  std::string const away = folder.path("away/out");
  struct {
    std::vector<std::string> words;
    std::string output;
    std::string reason;
  } const rows[] = {
      {{}, "", "No program was named"},
      {{""}, "", "No program was named"},
      {{"nosuch"}, "", "nosuch: No such file or directory"},
      {{text}, "", text + ": Permission denied"},
      {{foreign}, "", foreign + ": Exec format error"},
      {{"true", std::string(200 * 1024, 'x')}, "", "true: Argument list too long"},
      {{"true"}, away, "true: No output to " + away + ": No such file or directory"},
  };
  for (auto const& row : rows) {
    Program program;
    EXPECT_NE(0, program.execute(row.words, row.output)) << row.reason;
    EXPECT_EQ(row.reason, program.reason());
    EXPECT_EQ(row.reason, program.wait(0));
  }
  char const* argv[] = {"true", nullptr};
  for (int flags :
       {0, np_proc_base | 1, np_proc_base | np_proc_output, np_proc_base | np_proc_environment}) {
    NpProcessStart const start{};
    NpProcess* handle = nullptr;
    EXPECT_NE(0, np_proc_execute(argv, flags, &start, &handle)) << flags;
    EXPECT_TRUE(contains(np_proc_geterr(handle), "flags"));
    np_proc_destroy(handle);
  }
  EXPECT_STRNE("", np_proc_geterr(nullptr));
}

TEST(Process, OutputFileTakesBothOutputsInTheirOrder) {
  TempFolder const folder;
  std::string const out = folder.write("out", "from before");
  EXPECT_EQ("0 0", runShell("cat; echo 1; echo 2 >&2; echo 3; echo 4 >> " + out + "; echo 5", out));
  EXPECT_EQ("1\n2\n3\n4\n5\n", readFile(out));
}

TEST(Process, ProgramGetsCleanDescriptorsAndSignals) {
  TempFolder const folder;
  std::string const out = folder.path("out");
  std::string const line = "ls -l /proc/$$/fd; kill -PIPE $$";
  EXPECT_EQ(0, ztbtest::inChild([&] {
              std::signal(SIGPIPE, SIG_IGN);
              sigset_t all;
              sigfillset(&all);
              sigprocmask(SIG_BLOCK, &all, nullptr);
              if (open("/dev/zero", O_RDONLY) < 0) return 1;  // not marked close-on-exec
              for (int fd : {0, 1, 2}) close(fd);
              if (runShell("{ " + line + "; } > " + out) != "3 13") return 2;
              return runShell(line, out + "2") == "3 13" ? 0 : 3;
            }));
  for (std::string const& file : {out, out + "2"}) {
    std::string const seen = readFile(file);
    EXPECT_TRUE(contains(seen, " 0 -> /dev/null\n"));
    EXPECT_TRUE(contains(seen, " 2 -> " + (file == out ? "/dev/null" : file) + "\n"));
    EXPECT_EQ(std::string::npos, seen.find("/dev/zero")) << seen;
  }
}

int waitWithLimits() {
  Program program;
  bool good = program.execute({"sleep", "2"}) == 0 && program.wait(0) == "1 0";
  good = good && program.wait(1) == "1 0" && program.wait(60) == "0 0";
  return good && runShell("kill -9 $$") == "3 9" ? 0 : 1;
}

TEST(Process, WaitKeepsItsLimitAlsoWithoutProcessDescriptors) {
  EXPECT_EQ(0, waitWithLimits());
  EXPECT_EQ(0, ztbtest::inChild([] {
              ztbtest::refuseSystemCall(SYS_pidfd_open);
              return waitWithLimits();
            }));
}

TEST(Process, IgnoredChildSignalLosesNoExitCode) {
  for (auto const& [handler, flag] : {std::pair{SIG_IGN, 0}, std::pair{SIG_DFL, SA_NOCLDWAIT}}) {
    ChildSignal const signal(handler, flag);
    Program first;
    Program second;
    EXPECT_EQ(0, first.shell("exit 7"));
    EXPECT_EQ(0, second.shell("sleep 0.1; exit 8"));
    EXPECT_TRUE(ChildSignal::is(SIG_DFL, 0));
    if (fork() == 0) _exit(1);  // nobody waits for this one
    EXPECT_EQ("0 8", second.wait());
    EXPECT_EQ("0 7", first.wait());
    EXPECT_TRUE(ChildSignal::is(handler, flag));
    while (hasChildren()) std::this_thread::yield();
  }
}

TEST(Process, ChildSignalThatTheHostChangesStaysSo) {
  for (auto [before, after] : {std::pair{SIG_DFL, SIG_IGN}, std::pair{SIG_IGN, SIG_DFL}}) {
    ChildSignal const signal(before, 0);
    Program program;
    EXPECT_EQ(0, program.shell("sleep 0.3; exit 7"));
    std::signal(SIGCHLD, after);
    EXPECT_EQ("0 7", program.wait());
    EXPECT_TRUE(ChildSignal::is(after, 0));
  }
}

TEST(Process, ForkedChildBeginsWithoutPrograms) {
  ChildSignal const signal(SIG_IGN, 0);
  Program parents;
  EXPECT_EQ(0, parents.shell("sleep 0.3; exit 7"));
  EXPECT_EQ(0, ztbtest::inChild([] {
              return runShell("exit 3") == "0 3" && ChildSignal::is(SIG_IGN, 0) ? 0 : 1;
            }));
  EXPECT_EQ("0 7", parents.wait());
}

TEST(Process, DestroyedHandleLeavesProgramRunningAndNoZombie) {
  TempFolder const folder;
  for (auto const handler : {SIG_IGN, SIG_DFL}) {
    ChildSignal const signal(handler, 0);
    std::string const out = folder.path(handler == SIG_IGN ? "ignored" : "collected");
    Program program;
    EXPECT_EQ(0, program.shell("sleep 0.1; echo done", out));
    program.destroy();
    EXPECT_TRUE(ChildSignal::is(handler, 0));
    while (readFile(out).empty()) std::this_thread::yield();
    while (hasChildren()) np_proc_destroy(nullptr);
    EXPECT_EQ("done\n", readFile(out));
  }
}

TEST(ProcessThreads, StartAndWaitSideBySide) {
  ChildSignal const signal(SIG_IGN, 0);
  ztbtest::inThreads(4, [](int thread) {
    for (int i = 0; i < 25; ++i) {
      Program abandoned;
      Program program;
      EXPECT_EQ(0, abandoned.execute({"true"}));
      EXPECT_EQ(0, program.shell("exit " + std::to_string(thread * 25 + i)));
      EXPECT_EQ("0 " + std::to_string(thread * 25 + i), program.wait(i % 2 == 0 ? -1 : 60));
      np_env_set("ZTB_TEST_PROCESS", i % 2 == 0 ? "x" : nullptr);
    }
  });
  EXPECT_TRUE(ChildSignal::is(SIG_IGN, 0));
}

}  // namespace
