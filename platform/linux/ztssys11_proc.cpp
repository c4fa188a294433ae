// SPDX-License-Identifier: MIT
//
// Processes: started by posix_spawn, which doesn't copy the parent's memory, and waited for by
// their descriptor, which can't come to mean another process as a number can.

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "ztsfio12_handle.h"
#include "ztssys11.h"
#include "ztssys11_env.h"

struct NpProcess {
  enum State { kFailed, kRunning, kEnded };

  State state = kFailed;  // kFailed also if the exit code got lost
  int status = 0;         // of NpProcessStatus once it has ended, with its code
  int code = 0;
  pid_t pid = -1;
  NpDescriptor watch;  // the process's descriptor; none where the kernel doesn't give it
  std::string program;
  std::string reason;
  NpProcess* next = nullptr;  // in the list of abandoned processes
};

namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr char kNoMemory[] = "There is no memory for a process";

// What all processes share, guarded by childrenLock().
struct Children {
  pid_t owner = 0;               // whose they are: a forked child begins with none
  int counted = 0;               // programs whose exit code is wanted and not yet collected
  bool isSignalChanged = false;  // SIGCHLD was `hostAction` before this layer changed it
  struct sigaction hostAction {};
  NpProcess* abandoned = nullptr;  // running, and nobody wants their exit codes
};
constinit Children gChildren;
constinit std::atomic<ZtLock> gChildrenLock{nullptr};

ZtLock childrenLock() {
  return ztLockAtFirstUse(gChildrenLock, 0);
}

// --- The end of a process ---

enum class Found { kRunning, kEnd, kNothing };

// Takes the end of the process from the system, waiting for it unless `options` has WNOHANG.
// kNothing if somebody else has taken it.
Found collect(NpProcess const& process, int options, siginfo_t& end) {
  idtype_t const type = process.watch ? P_PIDFD : P_PID;
  auto const id = static_cast<id_t>(process.watch ? process.watch.get() : process.pid);
  int result = 0;
  do {
    end = {};
    result = waitid(type, id, &end, WEXITED | options);
  } while (result != 0 && errno == EINTR);
  if (result != 0) return Found::kNothing;
  return end.si_pid == 0 ? Found::kRunning : Found::kEnd;
}

// Collects abandoned processes that have ended. Under the lock.
void sweepAbandoned() {
  siginfo_t end;
  for (NpProcess** at = &gChildren.abandoned; *at != nullptr;) {
    NpProcess* const process = *at;
    if (collect(*process, WNOHANG, end) == Found::kRunning) {
      at = &process->next;
      continue;
    }
    *at = process->next;
    delete process;
  }
}

// --- SIGCHLD ---

// Flipped in a default action that this layer sets, where it has no effect: nothing else tells it
// from one that the host sets. A flag, as the thread sanitizer changes masks.
constexpr int kMark = SA_NODEFER;

// Sees to it that the system keeps exit codes until they are collected. Under the lock.
void keepExitCodes() {
  struct sigaction action {};
  sigaction(SIGCHLD, nullptr, &action);
  bool const isIgnored = action.sa_handler == SIG_IGN;
  if (!isIgnored && (action.sa_flags & SA_NOCLDWAIT) == 0) return;
  gChildren.hostAction = action;
  gChildren.isSignalChanged = true;
  if (isIgnored) action.sa_handler = SIG_DFL;
  action.sa_flags &= ~SA_NOCLDWAIT;
  if (action.sa_handler == SIG_DFL) action.sa_flags ^= kMark;
  sigaction(SIGCHLD, &action, nullptr);
}

// Puts SIGCHLD back to what the host had, unless the host has changed it since, and collects the
// children of the host that the system would have collected meanwhile. Under the lock.
void giveSignalBack() {
  if (!gChildren.isSignalChanged) return;
  gChildren.isSignalChanged = false;
  struct sigaction const& host = gChildren.hostAction;
  auto* const changedTo = host.sa_handler == SIG_IGN ? SIG_DFL : host.sa_handler;
  struct sigaction action {};
  sigaction(SIGCHLD, nullptr, &action);
  bool const isMarked = ((action.sa_flags ^ host.sa_flags) & kMark) != 0;
  if (action.sa_handler != changedTo || isMarked != (changedTo == SIG_DFL)) return;
  sigaction(SIGCHLD, &host, nullptr);
  siginfo_t end{};
  while (waitid(P_ALL, 0, &end, WEXITED | WNOHANG) == 0 && end.si_pid != 0) end = {};
}

// In a forked child, lets go of what was the parent's. Under the lock.
void forgetParents() {
  pid_t const self = getpid();
  if (gChildren.owner == self) return;
  gChildren.owner = self;
  gChildren.counted = 0;
  giveSignalBack();
}

// Begins the time in which an exit code is wanted.
void countIn() {
  ZtLockHold const guard(childrenLock());
  forgetParents();
  sweepAbandoned();
  ++gChildren.counted;
  keepExitCodes();
}

// Ends it. Under the lock.
void countOut() {
  if (--gChildren.counted == 0) giveSignalBack();
}

// --- Starting ---

int refuse(NpProcess& process, std::string reason) {
  process.reason = std::move(reason);
  return 1;
}

std::string describe(int systemError) {
  char const* const text = np_fio_errdesc(npFioCode(systemError));
  return text != nullptr ? text : "System error " + std::to_string(systemError);
}

// Moves a descriptor that took the place of one that the host closed out of the range of the
// standard ones, which the program's own are put into. 0, or a value of errno.
int moveAboveStandard(NpDescriptor& descriptor) {
  if (!descriptor || descriptor.get() > STDERR_FILENO) return 0;
  int const moved = fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (moved < 0) return errno;
  descriptor = NpDescriptor(moved);
  return 0;
}

int openForProgram(char const* path, int openBits, NpDescriptor& result) {
  int const code = npOpenDescriptor(path, openBits, result);
  return code != 0 ? code : npFioCode(moveAboveStandard(result));
}

// Whether the program would find this descriptor closed.
bool isClosedForProgram(int fd) {
  int const flags = fcntl(fd, F_GETFD);
  return flags < 0 || (flags & FD_CLOEXEC) != 0;
}

// What posix_spawn is told about descriptors and signals.
class SpawnPlan {
 public:
  SpawnPlan() {
    mFailure = posix_spawn_file_actions_init(&mActions);
    sigset_t signals;
    posix_spawnattr_init(&mAttributes);
    posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&mAttributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&mAttributes, &signals);
  }
  SpawnPlan(SpawnPlan const&) = delete;
  SpawnPlan& operator=(SpawnPlan const&) = delete;
  ~SpawnPlan() {
    posix_spawnattr_destroy(&mAttributes);
    posix_spawn_file_actions_destroy(&mActions);
  }

  void put(NpDescriptor const& source, int target) {
    note(posix_spawn_file_actions_adddup2(&mActions, source.get(), target));
  }
  void closeAllButStandard() {
    note(posix_spawn_file_actions_addclosefrom_np(&mActions, STDERR_FILENO + 1));
  }
  // 0 with the process in `pid`, or a value of errno. A null `environment` is the parent's.
  int run(char const* const* argv, char** environment, pid_t& pid) const {
    if (mFailure != 0) return mFailure;
    ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);  // PATH is looked at too
    return posix_spawnp(&pid, argv[0], &mActions, &mAttributes, const_cast<char**>(argv),
                        environment != nullptr ? environment : environ);
  }

 private:
  void note(int failure) {
    if (mFailure == 0) mFailure = failure;
  }

  posix_spawn_file_actions_t mActions;
  posix_spawnattr_t mAttributes;
  int mFailure;
};

// The files of a program: standard input, and output if it has a file.
struct ProgramFiles {
  NpDescriptor nothing;
  NpDescriptor output;

  void arrange(SpawnPlan& plan) const {
    plan.put(nothing, STDIN_FILENO);
    for (int fd : {STDOUT_FILENO, STDERR_FILENO}) {
      if (output) plan.put(output, fd);
      if (!output && isClosedForProgram(fd)) plan.put(nothing, fd);
    }
    plan.closeAllButStandard();
  }
};

int openFiles(NpProcess& process, char const* outputFile, ProgramFiles& files) {
  constexpr char kNothing[] = "/dev/null";
  if (int const code = openForProgram(kNothing, O_RDWR, files.nothing); code != 0) {
    return refuse(process, process.program + ": No standard input from " + kNothing + ": " +
                               np_fio_errdesc(code));
  }
  if (outputFile == nullptr) return 0;
  constexpr int kBits = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
  if (int const code = openForProgram(outputFile, kBits, files.output); code != 0) {
    return refuse(process,
                  process.program + ": No output to " + outputFile + ": " + np_fio_errdesc(code));
  }
  return 0;
}

// By its number: the C library's own header isn't made for C++ in all its versions.
void watchProcess(NpProcess& process) {
  process.state = NpProcess::kRunning;
  process.watch = NpDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0)));
  if (moveAboveStandard(process.watch) != 0) process.watch.reset();
}

int spawn(NpProcess& process, char const* const* argv, char const* outputFile, char** environment) {
  ProgramFiles files;
  if (int const result = openFiles(process, outputFile, files); result != 0) return result;
  SpawnPlan plan;
  files.arrange(plan);
  countIn();
  int const failure = plan.run(argv, environment, process.pid);
  if (failure == 0) {
    watchProcess(process);
    return 0;
  }
  {
    ZtLockHold const guard(childrenLock());
    countOut();
  }
  return refuse(process, process.program + ": " + describe(failure));
}

int startInto(NpProcess& process, char const* const* argv, int flags, NpProcessStart const* start) {
  constexpr int kKnown = np_proc_base | np_proc_environment | np_proc_output;
  if (argv == nullptr || argv[0] == nullptr || *argv[0] == '\0') {
    return refuse(process, "No program was named");
  }
  process.program = argv[0];
  if ((flags & ~kKnown) != 0 || (flags & np_proc_base) == 0) {
    return refuse(process, process.program + ": Unknown flags for starting a program");
  }
  bool const wantsOutput = (flags & np_proc_output) != 0;
  bool const wantsEnvironment = (flags & np_proc_environment) != 0;
  char const* const outputFile = start != nullptr && wantsOutput ? start->outputFile : nullptr;
  char** const environment = start != nullptr && wantsEnvironment ? start->environment : nullptr;
  if (wantsOutput != (outputFile != nullptr) || wantsEnvironment != (environment != nullptr)) {
    return refuse(process, process.program +
                               ": The flags tell of an output file or an environment "
                               "that isn't there");
  }
  return spawn(process, argv, outputFile, environment);
}

// --- Waiting ---

// Sleeps until the process has ended, a signal came or the time is over; without a descriptor to
// wait on, for a nap that doubles.
void sleepBesides(NpProcess const& process, nanoseconds left, nanoseconds& nap) {
  constexpr nanoseconds kLongestNap = std::chrono::milliseconds(50);
  if (process.watch) {
    timespec const limit{static_cast<time_t>(left.count() / std::nano::den),
                         static_cast<long>(left.count() % std::nano::den)};
    pollfd entry{process.watch.get(), POLLIN, 0};
    if (ppoll(&entry, 1, &limit, nullptr) >= 0 || errno == EINTR) return;
  }
  std::this_thread::sleep_for(std::min(left, nap));
  nap = std::min(nap * 2, kLongestNap);
}

Found collectWithin(NpProcess const& process, int limitSeconds, siginfo_t& end) {
  if (limitSeconds < 0) return collect(process, 0, end);
  auto const deadline = steady_clock::now() + std::chrono::seconds(limitSeconds);
  nanoseconds nap = std::chrono::milliseconds(1);
  for (;;) {
    Found const found = collect(process, WNOHANG, end);
    if (found != Found::kRunning) return found;
    nanoseconds const left = deadline - steady_clock::now();
    if (left.count() <= 0) return found;
    sleepBesides(process, left, nap);
  }
}

void takeEnd(NpProcess& process, Found found, siginfo_t const& end) {
  process.watch.reset();
  process.state = found == Found::kEnd ? NpProcess::kEnded : NpProcess::kFailed;
  process.status = end.si_code == CLD_EXITED ? np_proc_ended : np_proc_aborted;
  process.code = end.si_status;
  {
    ZtLockHold const guard(childrenLock());
    countOut();
  }
  if (found == Found::kEnd) return;
  process.reason =
      process.program +
      ": Its exit code is lost, as this process ignores SIGCHLD or collects its children elsewhere";
}

void waitForEnd(NpProcess& process, int limitSeconds) {
  {
    ZtLockHold const guard(childrenLock());
    sweepAbandoned();
    if (process.state == NpProcess::kRunning) keepExitCodes();
  }
  if (process.state != NpProcess::kRunning) return;
  siginfo_t end;
  Found const found = collectWithin(process, limitSeconds, end);
  if (found != Found::kRunning) takeEnd(process, found, end);
}

}  // namespace

int np_proc_execute(char const** argv, int flags, NpProcessStart const* start, NpProcess** result) {
  *result = new (std::nothrow) NpProcess;
  if (*result == nullptr) return 1;
  try {
    return startInto(**result, argv, flags, start);
  } catch (std::bad_alloc const&) {  // for a text: nothing was started
    return 1;
  }
}

int np_proc_shellexec(char const* commandLine, int flags, NpProcessStart const* start,
                      NpProcess** result) {
  // The line stands behind "--", so that one that begins with "-" isn't taken for an option.
  char const* argv[] = {"/bin/sh", "-c", "--", commandLine, nullptr};
  char const* nothing[] = {nullptr};
  return np_proc_execute(commandLine != nullptr ? argv : nothing, flags, start, result);
}

int np_proc_wait(NpProcess* process, int waitLimit, int* status, int* code) {
  if (process == nullptr) return 1;
  try {
    waitForEnd(*process, waitLimit);
  } catch (std::bad_alloc const&) {  // for the reason alone: its end is taken
  }
  if (process->state == NpProcess::kFailed) return 1;
  *status = process->state == NpProcess::kEnded ? process->status : np_proc_running;
  *code = process->code;
  return 0;
}

char const* np_proc_geterr(NpProcess* process) {
  if (process == nullptr) return kNoMemory;
  if (process->state == NpProcess::kFailed && process->reason.empty()) return kNoMemory;
  return process->reason.c_str();
}

void np_proc_destroy(NpProcess* process) {
  ZtLockHold const guard(childrenLock());
  std::unique_ptr<NpProcess> owned(process);
  if (process != nullptr && process->state == NpProcess::kRunning) {
    process->next = gChildren.abandoned;
    gChildren.abandoned = owned.release();
    countOut();
  }
  sweepAbandoned();
}
