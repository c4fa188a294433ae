// SPDX-License-Identifier: MIT
//
// The calls that can fail. Each either fails as the plan says, without doing anything, or goes on
// to the real one; close and the like do their work and fail all the same, as the system's do.

#include "fault_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <iconv.h>
#include <locale.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <new>

#include "ztbb10.h"
#include "ztbmempool_p.h"

namespace faults {
namespace {

constinit std::atomic<Kind> gKind{Kind::kNone};
constinit Reach gReach = Reach::kOne;
constinit long gNth = 0;
constinit std::atomic<long> gCalls{0};
constinit std::atomic<long> gGiven{0};
constinit std::atomic<char const*> gFirst{nullptr};
constinit std::atomic<bool> gLeavesFiles{false};
constinit std::atomic<long> gLive{0};
constinit thread_local int gPaused = 0;

// With ZTB_FAULT_TRACE, where the first fault hit, for addr2line.
void showPlace(char const* call) {
  Pause const pause;
  static bool const wanted = std::getenv("ZTB_FAULT_TRACE") != nullptr;
  if (!wanted) return;
  void* frames[24];
  std::fprintf(stderr, "-- %s fails\n", call);
  backtrace_symbols_fd(frames, backtrace(frames, 24), STDERR_FILENO);
}

// Whether this call, which can fail in the way of `kind`, has to.
bool hits(Kind kind, char const* call) {
  if (gKind.load(std::memory_order_relaxed) != kind || gPaused > 0) return false;
  long const n = gCalls.fetch_add(1) + 1;
  if (gReach == Reach::kOne ? n != gNth : n < gNth) return false;
  if (gGiven.fetch_add(1) == 0) {
    gFirst = call;
    showPlace(call);
  }
  return true;
}

struct Way {
  Kind kind;
  int error;
};

// The errno that the call has to fail with, which is set too; 0 lets it go on.
int fault(char const* call, std::initializer_list<Way> ways) {
  for (Way const& way : ways) {
    if (hits(way.kind, call)) return errno = way.error;
  }
  return 0;
}

constexpr Way kBroken{Kind::kFiles, EIO};
constexpr Way kFull{Kind::kDiskFull, ENOSPC};
constexpr Way kTooMany{Kind::kDescriptors, EMFILE};
constexpr Way kInterruption{Kind::kInterrupted, EINTR};
constexpr Way kNoMemory{Kind::kMemory, ENOMEM};
constexpr Way kNoLock{Kind::kLocks, ENOMEM};
constexpr Way kNever{Kind::kNone, 0};

constexpr Way process(int error) {
  return {Kind::kProcesses, error};
}

// The bytes that the call moves. One is the fewest that isn't the end of the file.
std::size_t some(char const* call, std::size_t bytes) {
  return bytes > 1 && hits(Kind::kShort, call) ? 1 : bytes;
}

// A block that is given out is counted, and one that comes back.
void* given(void* block) {
  if (block != nullptr) ++gLive;
  return block;
}

void* returned(void* block) {
  if (block != nullptr) --gLive;
  return block;
}

void* get(std::size_t bytes, std::align_val_t alignment = {}) {
  if (fault("operator new", {kNoMemory}) != 0) return nullptr;
  auto const unit = static_cast<std::size_t>(alignment);
  return given(unit == 0 ? std::malloc(bytes > 0 ? bytes : 1)
                         : std::aligned_alloc(unit, (bytes + unit - 1) & ~(unit - 1)));
}

void* getOrThrow(std::size_t bytes, std::align_val_t alignment = {}) {
  void* const block = get(bytes, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) {
  std::free(returned(block));
}

}  // namespace

void arm(Plan const& plan) {
  gReach = plan.reach;
  gNth = plan.nth;
  gCalls = 0;
  gGiven = 0;
  gFirst = nullptr;
  gLeavesFiles = false;
  gKind = plan.kind;
}

Tally disarm() {
  gKind = Kind::kNone;
  return {gGiven, gFirst, gLeavesFiles};
}

Pause::Pause() {
  ++gPaused;
}

Pause::~Pause() {
  --gPaused;
}

long liveBlocks() {
  return gLive;
}

}  // namespace faults

using namespace faults;

// --- Allocation, for the shared libraries too ---

using std::align_val_t;
using std::nothrow_t;

// Every form, since the address sanitizer's runtime has each of them on its own.
// clang-format off
#define REPLACE(form)                                                                             \
  void* operator new form(size_t n) { return getOrThrow(n); }                                     \
  void* operator new form(size_t n, align_val_t a) { return getOrThrow(n, a); }                   \
  void* operator new form(size_t n, nothrow_t const&) noexcept { return get(n); }                 \
  void* operator new form(size_t n, align_val_t a, nothrow_t const&) noexcept { return get(n, a); }\
  void operator delete form(void* block) noexcept { giveBack(block); }                            \
  void operator delete form(void* block, size_t) noexcept { giveBack(block); }                    \
  void operator delete form(void* block, align_val_t) noexcept { giveBack(block); }               \
  void operator delete form(void* block, size_t, align_val_t) noexcept { giveBack(block); }
// clang-format on
REPLACE()
REPLACE([])

extern "C" {

// The linker leads every call of NAME to __wrap_NAME, and __real_NAME to what it was: see
// CMakeLists.txt for the names.
#define REAL(result, name, ...)      \
  result __real_##name(__VA_ARGS__); \
  result __wrap_##name(__VA_ARGS__)

// Such a call that does nothing and gives `failure` if it has to fail in one of the ways behind.
#define CALL(result, name, parameters, arguments, failure, ...)                  \
  result __real_##name parameters;                                               \
  result __wrap_##name parameters {                                              \
    return fault(#name, {__VA_ARGS__}) != 0 ? failure : __real_##name arguments; \
  }

// A call of the log's library, which is a shared one.
#define STREAM(result, name, parameters, arguments, failure, ...)                               \
  result name parameters {                                                                      \
    static auto const real = reinterpret_cast<decltype(&name)>(__real_dlsym(RTLD_NEXT, #name)); \
    return fault(#name, {__VA_ARGS__}) != 0 ? failure : real arguments;                         \
  }

// --- Memory that isn't operator new's, and locks ---

REAL(bool, _ZN10ZtbMemPool8getBytesEjPPv, unsigned size, void** result) {
  *result = nullptr;
  bool const fails = fault("ZtbMemPool::getBytes", {kNoMemory}) != 0;
  bool const isGiven = !fails && __real__ZN10ZtbMemPool8getBytesEjPPv(size, result);
  given(*result);
  return isGiven;
}

REAL(void, _ZN10ZtbMemPool9freeBytesEPv, void* block) {
  __real__ZN10ZtbMemPool9freeBytesEPv(ztbMemPoolIsUp() ? returned(block) : block);
}

REAL(void*, sodium_malloc, std::size_t bytes) {
  return fault("sodium_malloc", {kNoMemory}) != 0 ? nullptr : given(__real_sodium_malloc(bytes));
}

REAL(void, sodium_free, void* block) {
  __real_sodium_free(returned(block));
}

// clang-format off
CALL(int, crypto_pwhash,
     (unsigned char* out, unsigned long long bytes, char const* password, unsigned long long length,
      unsigned char const* salt, unsigned long long operations, std::size_t memory, int algorithm),
     (out, bytes, password, length, salt, operations, memory, algorithm), -1, kNoMemory)
CALL(int, setenv, (char const* name, char const* value, int overwrite), (name, value, overwrite),
     -1, kNoMemory)
CALL(locale_t, newlocale, (int mask, char const* name, locale_t base), (mask, name, base),
     nullptr, kNoMemory)
CALL(iconv_t, iconv_open, (char const* to, char const* from), (to, from),
     reinterpret_cast<iconv_t>(-1), kNoMemory, kTooMany)
CALL(ZtLock, _Z12ztLockCreateii, (int shared, int held), (shared, held), nullptr, kNoLock)
CALL(ZtEvent, _Z13ztEventCreatei, (int reserved), (reserved), nullptr, kNoLock)

// --- Files ---

CALL(int, mkostemp, (char* path, int flags), (path, flags), -1,
     kBroken, kFull, kTooMany, kInterruption)
CALL(ssize_t, read, (int fd, void* buffer, std::size_t bytes), (fd, buffer, some("read", bytes)),
     -1, kBroken, kInterruption)
CALL(ssize_t, pread, (int fd, void* buffer, std::size_t bytes, off_t offset),
     (fd, buffer, some("pread", bytes), offset), -1, kBroken, kInterruption)
CALL(ssize_t, write, (int fd, void const* bytes, std::size_t count),
     (fd, bytes, some("write", count)), -1, kBroken, kFull, kInterruption)
CALL(off_t, lseek, (int fd, off_t offset, int origin), (fd, offset, origin), -1, kBroken)
CALL(int, ftruncate, (int fd, off_t length), (fd, length), -1, kBroken, kFull, kInterruption)
CALL(int, stat, (char const* path, struct stat* status), (path, status), -1, kBroken)
CALL(int, fstat, (int fd, struct stat* status), (fd, status), -1, kBroken)
CALL(int, fstatat, (int folder, char const* path, struct stat* status, int flags),
     (folder, path, status, flags), -1, kBroken)
CALL(int, faccessat, (int folder, char const* path, int mode, int flags),
     (folder, path, mode, flags), -1, kBroken)
CALL(int, access, (char const* path, int mode), (path, mode), -1, kBroken)
CALL(int, unlink, (char const* path), (path), (gLeavesFiles = true, -1), kBroken)
CALL(DIR*, fdopendir, (int fd), (fd), nullptr, kBroken, kNoMemory)
CALL(dirent*, readdir, (DIR* stream), (stream), nullptr, kBroken)
// clang-format on

int __real_open(char const* path, int flags, ...);
int __wrap_open(char const* path, int flags, ...) {
  bool const creates = (flags & O_CREAT) != 0;
  va_list more;
  va_start(more, flags);
  auto const mode = creates ? va_arg(more, mode_t) : mode_t{0};
  va_end(more);
  int const error = fault("open", {kBroken, kTooMany, kInterruption, creates ? kFull : kNever});
  return error != 0 ? -1 : __real_open(path, flags, mode);
}

REAL(int, close, int fd) {
  int const error = fault("close", {kBroken});
  int const result = __real_close(fd);
  if (error == 0) return result;
  errno = error;
  return -1;
}

REAL(ssize_t, pwritev, int fd, iovec const* parts, int count, off_t offset) {
  if (fault("pwritev", {kBroken, kFull, kInterruption}) != 0) return -1;
  iovec const first{parts->iov_base, some("pwritev", parts->iov_len)};
  bool const isShort = first.iov_len < parts->iov_len;
  return __real_pwritev(fd, isShort ? &first : parts, isShort ? 1 : count, offset);
}

REAL(ssize_t, writev, int fd, iovec const* parts, int count) {
  if (fault("writev", {kBroken, kFull, kInterruption}) != 0) return -1;
  iovec const first{parts->iov_base, some("writev", parts->iov_len)};
  bool const isShort = first.iov_len < parts->iov_len;
  return __real_writev(fd, isShort ? &first : parts, isShort ? 1 : count);
}

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
  va_list more;
  va_start(more, command);
  long const argument = va_arg(more, long);
  va_end(more);
  if (command == F_DUPFD_CLOEXEC && fault("fcntl", {kTooMany}) != 0) return -1;
  return __real_fcntl(fd, command, argument);
}

// --- Programs, modules, chance; those of posix_spawn give the error itself ---

// clang-format off
CALL(int, posix_spawnp,
     (pid_t* pid, char const* file, posix_spawn_file_actions_t const* actions,
      posix_spawnattr_t const* attributes, char* const* argv, char* const* environment),
     (pid, file, actions, attributes, argv, environment), errno, process(EAGAIN), kNoMemory)
CALL(int, posix_spawn_file_actions_init, (posix_spawn_file_actions_t* actions), (actions),
     (*actions = posix_spawn_file_actions_t(), errno), process(ENOMEM))
CALL(int, posix_spawn_file_actions_adddup2,
     (posix_spawn_file_actions_t* actions, int from, int to), (actions, from, to),
     errno, process(ENOMEM), kNoMemory)
CALL(int, posix_spawn_file_actions_addclosefrom_np,
     (posix_spawn_file_actions_t* actions, int from), (actions, from),
     errno, process(ENOMEM), kNoMemory)
CALL(int, sigaction, (int number, struct sigaction const* action, struct sigaction* former),
     (number, action, former), -1, process(EINVAL))
CALL(int, sigtimedwait, (sigset_t const* signals, siginfo_t* info, timespec const* limit),
     (signals, info, limit), -1, kInterruption)
CALL(int, ppoll, (pollfd* entries, nfds_t count, timespec const* limit, sigset_t const* mask),
     (entries, count, limit, mask), -1, process(ENOMEM), kInterruption)
CALL(void*, dlopen, (char const* path, int flags), (path, flags),
     __real_dlopen("/no/such/module.so", flags), process(ENOENT), kNoMemory, kTooMany)
CALL(void*, dlsym, (void* library, char const* name), (library, name), nullptr, process(ENOENT))
CALL(ssize_t, getrandom, (void* buffer, std::size_t bytes, unsigned flags),
     (buffer, some("getrandom", bytes), flags), -1, process(ENOSYS), kInterruption)
// clang-format on

// The child is still taken, so that it doesn't stay behind when the scenario is over.
REAL(int, waitid, idtype_t type, id_t id, siginfo_t* end, int options) {
  if (fault("waitid", {kInterruption}) != 0) return -1;
  int const error = fault("waitid", {process(ECHILD)});
  int const result = __real_waitid(type, id, end, error != 0 ? options & ~WNOHANG : options);
  if (error == 0) return result;
  errno = error;
  return -1;
}

// Reads more arguments than there may be.
long __real_syscall(long number, ...);
__attribute__((no_sanitize("address"))) long __wrap_syscall(long number, ...) {
  long arguments[6];
  va_list more;
  va_start(more, number);
  for (long& argument : arguments) argument = va_arg(more, long);
  va_end(more);
  auto const& [a, b, c, d, e, f] = arguments;
  bool const isPidfd = number == SYS_pidfd_open;
  if (isPidfd && fault("pidfd_open", {process(ENOSYS), kTooMany}) != 0) return -1;
  return __real_syscall(number, a, b, c, d, e, f);
}

// --- The streams of the log's library ---

// clang-format off
STREAM(FILE*, fopen, (char const* path, char const* mode), (path, mode), nullptr,
       kBroken, kTooMany, kNoMemory, *mode != 'r' ? kFull : kNever)
STREAM(std::size_t, fwrite, (void const* items, std::size_t size, std::size_t count, FILE* file),
       (items, size, count, file), 0, kBroken, kFull)
STREAM(int, fflush, (FILE* file), (file), EOF, kBroken, kFull)
STREAM(int, rename, (char const* from, char const* to) noexcept, (from, to), -1, kBroken, kFull)
STREAM(int, remove, (char const* path) noexcept, (path), -1, kBroken)
// clang-format on

}  // extern "C"
