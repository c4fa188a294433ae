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

void* allocate(std::size_t bytes, std::size_t alignment) {
  if (fault("operator new", {kNoMemory}) != 0) return nullptr;
  void* const block =
      alignment > 0 ? std::aligned_alloc(alignment, (bytes + alignment - 1) & ~(alignment - 1))
                    : std::malloc(bytes > 0 ? bytes : 1);
  if (block != nullptr) gLive.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
  void* const block = allocate(bytes, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) {
  if (block == nullptr) return;
  gLive.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
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
  return {gCalls, gGiven, gFirst, gLeavesFiles};
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

using faults::allocate;
using faults::allocateOrThrow;
using faults::fault;
using faults::giveBack;
using faults::Kind;

// --- Allocation, for the shared libraries too ---

void* operator new(std::size_t bytes) {
  return allocateOrThrow(bytes, 0);
}
void* operator new[](std::size_t bytes) {
  return allocateOrThrow(bytes, 0);
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, std::nothrow_t const&) noexcept {
  return allocate(bytes, 0);
}
void* operator new[](std::size_t bytes, std::nothrow_t const&) noexcept {
  return allocate(bytes, 0);
}
void* operator new(std::size_t bytes, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment,
                     std::nothrow_t const&) noexcept {
  return allocate(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
  giveBack(block);
}
void operator delete[](void* block) noexcept {
  giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
  giveBack(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  giveBack(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  giveBack(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  giveBack(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  giveBack(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  giveBack(block);
}

extern "C" {

// The linker leads every call of NAME to __wrap_NAME, and __real_NAME to what it was: see
// CMakeLists.txt for the names.
#define REAL(result, name, ...)      \
  result __real_##name(__VA_ARGS__); \
  result __wrap_##name(__VA_ARGS__)

// --- Memory that isn't operator new's ---

REAL(bool, _ZN10ZtbMemPool8getBytesEjPPv, unsigned size, void** result) {
  if (fault("ZtbMemPool::getBytes", {faults::kNoMemory}) == 0) {
    bool const given = __real__ZN10ZtbMemPool8getBytesEjPPv(size, result);
    if (given) ++faults::gLive;
    return given;
  }
  *result = nullptr;
  return false;
}

REAL(void, _ZN10ZtbMemPool9freeBytesEPv, void* block) {
  if (block != nullptr && ztbMemPoolIsUp()) --faults::gLive;
  __real__ZN10ZtbMemPool9freeBytesEPv(block);
}

REAL(void*, sodium_malloc, std::size_t bytes) {
  if (fault("sodium_malloc", {faults::kNoMemory}) != 0) return nullptr;
  void* const block = __real_sodium_malloc(bytes);
  if (block != nullptr) ++faults::gLive;
  return block;
}

REAL(void, sodium_free, void* block) {
  if (block != nullptr) --faults::gLive;
  __real_sodium_free(block);
}

REAL(int, crypto_pwhash, unsigned char* out, unsigned long long outBytes, char const* password,
     unsigned long long passwordBytes, unsigned char const* salt, unsigned long long operations,
     std::size_t memory, int algorithm) {
  if (fault("crypto_pwhash", {faults::kNoMemory}) != 0) return -1;
  return __real_crypto_pwhash(out, outBytes, password, passwordBytes, salt, operations, memory,
                              algorithm);
}

REAL(int, setenv, char const* name, char const* value, int overwrite) {
  if (fault("setenv", {faults::kNoMemory}) != 0) return -1;
  return __real_setenv(name, value, overwrite);
}

REAL(locale_t, newlocale, int mask, char const* name, locale_t base) {
  if (fault("newlocale", {faults::kNoMemory}) != 0) return nullptr;
  return __real_newlocale(mask, name, base);
}

REAL(iconv_t, iconv_open, char const* to, char const* from) {
  if (fault("iconv_open", {faults::kNoMemory, faults::kTooMany}) != 0) {
    return reinterpret_cast<iconv_t>(-1);
  }
  return __real_iconv_open(to, from);
}

// --- Locks ---

REAL(ZtLock, _Z12ztLockCreateii, int shared, int held) {
  if (fault("ztLockCreate", {{Kind::kLocks, ENOMEM}}) != 0) return nullptr;
  return __real__Z12ztLockCreateii(shared, held);
}

REAL(ZtEvent, _Z13ztEventCreatei, int reserved) {
  if (fault("ztEventCreate", {{Kind::kLocks, ENOMEM}}) != 0) return nullptr;
  return __real__Z13ztEventCreatei(reserved);
}

// --- Files ---

int __real_open(char const* path, int flags, ...);
int __wrap_open(char const* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  auto const mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
  va_end(more);
  if (fault("open", {faults::kBroken, faults::kTooMany, faults::kInterruption}) != 0) return -1;
  if ((flags & O_CREAT) != 0 && fault("open", {faults::kFull}) != 0) return -1;
  return __real_open(path, flags, mode);
}

REAL(int, mkostemp, char* path, int flags) {
  if (fault("mkostemp",
            {faults::kBroken, faults::kFull, faults::kTooMany, faults::kInterruption}) != 0) {
    return -1;
  }
  return __real_mkostemp(path, flags);
}

REAL(int, close, int fd) {
  int const error = fault("close", {faults::kBroken});
  int const result = __real_close(fd);
  if (error == 0) return result;
  errno = error;
  return -1;
}

// One byte is the shortest that isn't the end of the file.
REAL(ssize_t, read, int fd, void* buffer, std::size_t bytes) {
  if (fault("read", {faults::kBroken, faults::kInterruption}) != 0) return -1;
  if (bytes > 1 && faults::hits(Kind::kShort, "read")) bytes = 1;
  return __real_read(fd, buffer, bytes);
}

REAL(ssize_t, pread, int fd, void* buffer, std::size_t bytes, off_t offset) {
  if (fault("pread", {faults::kBroken, faults::kInterruption}) != 0) return -1;
  if (bytes > 1 && faults::hits(Kind::kShort, "pread")) bytes = 1;
  return __real_pread(fd, buffer, bytes, offset);
}

REAL(ssize_t, write, int fd, void const* bytes, std::size_t count) {
  if (fault("write", {faults::kBroken, faults::kFull, faults::kInterruption}) != 0) return -1;
  if (count > 1 && faults::hits(Kind::kShort, "write")) count = 1;
  return __real_write(fd, bytes, count);
}

REAL(ssize_t, writev, int fd, iovec const* parts, int count) {
  if (fault("writev", {faults::kBroken, faults::kFull, faults::kInterruption}) != 0) return -1;
  if (parts->iov_len > 0 && faults::hits(Kind::kShort, "writev")) {
    return __real_write(fd, parts->iov_base, 1);
  }
  return __real_writev(fd, parts, count);
}

REAL(ssize_t, pwritev, int fd, iovec const* parts, int count, off_t offset) {
  if (fault("pwritev", {faults::kBroken, faults::kFull, faults::kInterruption}) != 0) return -1;
  if (parts->iov_len > 0 && faults::hits(Kind::kShort, "pwritev")) {
    return pwrite(fd, parts->iov_base, 1, offset);
  }
  return __real_pwritev(fd, parts, count, offset);
}

REAL(off_t, lseek, int fd, off_t offset, int origin) {
  if (fault("lseek", {faults::kBroken}) != 0) return -1;
  return __real_lseek(fd, offset, origin);
}

REAL(int, ftruncate, int fd, off_t length) {
  if (fault("ftruncate", {faults::kBroken, faults::kFull, faults::kInterruption}) != 0) return -1;
  return __real_ftruncate(fd, length);
}

REAL(int, stat, char const* path, struct stat* status) {
  if (fault("stat", {faults::kBroken}) != 0) return -1;
  return __real_stat(path, status);
}

REAL(int, fstat, int fd, struct stat* status) {
  if (fault("fstat", {faults::kBroken}) != 0) return -1;
  return __real_fstat(fd, status);
}

REAL(int, fstatat, int folder, char const* path, struct stat* status, int flags) {
  if (fault("fstatat", {faults::kBroken}) != 0) return -1;
  return __real_fstatat(folder, path, status, flags);
}

REAL(int, faccessat, int folder, char const* path, int mode, int flags) {
  if (fault("faccessat", {faults::kBroken}) != 0) return -1;
  return __real_faccessat(folder, path, mode, flags);
}

REAL(int, access, char const* path, int mode) {
  if (fault("access", {faults::kBroken}) != 0) return -1;
  return __real_access(path, mode);
}

REAL(int, unlink, char const* path) {
  if (fault("unlink", {faults::kBroken}) == 0) return __real_unlink(path);
  faults::gLeavesFiles = true;
  return -1;
}

REAL(DIR*, fdopendir, int fd) {
  if (fault("fdopendir", {faults::kBroken, faults::kNoMemory}) != 0) return nullptr;
  return __real_fdopendir(fd);
}

REAL(dirent*, readdir, DIR* stream) {
  if (fault("readdir", {faults::kBroken}) != 0) return nullptr;
  return __real_readdir(stream);
}

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
  va_list more;
  va_start(more, command);
  long const argument = va_arg(more, long);
  va_end(more);
  if (command == F_DUPFD_CLOEXEC && fault("fcntl", {faults::kTooMany}) != 0) return -1;
  return __real_fcntl(fd, command, argument);
}

// --- Programs, modules, chance ---

REAL(int, posix_spawnp, pid_t* pid, char const* file, posix_spawn_file_actions_t const* actions,
     posix_spawnattr_t const* attributes, char* const* argv, char* const* environment) {
  int const error = fault("posix_spawnp", {{Kind::kProcesses, EAGAIN}, faults::kNoMemory});
  return error != 0 ? error
                    : __real_posix_spawnp(pid, file, actions, attributes, argv, environment);
}

REAL(int, posix_spawn_file_actions_init, posix_spawn_file_actions_t* actions) {
  int const error = fault("posix_spawn_file_actions_init", {{Kind::kProcesses, ENOMEM}});
  if (error != 0) *actions = {};
  return error != 0 ? error : __real_posix_spawn_file_actions_init(actions);
}

REAL(int, posix_spawn_file_actions_adddup2, posix_spawn_file_actions_t* actions, int from, int to) {
  int const error =
      fault("posix_spawn_file_actions_adddup2", {{Kind::kProcesses, ENOMEM}, faults::kNoMemory});
  return error != 0 ? error : __real_posix_spawn_file_actions_adddup2(actions, from, to);
}

REAL(int, posix_spawn_file_actions_addclosefrom_np, posix_spawn_file_actions_t* actions, int from) {
  int const error = fault("posix_spawn_file_actions_addclosefrom_np",
                          {{Kind::kProcesses, ENOMEM}, faults::kNoMemory});
  return error != 0 ? error : __real_posix_spawn_file_actions_addclosefrom_np(actions, from);
}

// The child is still taken, so that it doesn't stay behind when the scenario is over.
REAL(int, waitid, idtype_t type, id_t id, siginfo_t* end, int options) {
  if (fault("waitid", {faults::kInterruption}) != 0) return -1;
  int const error = fault("waitid", {{Kind::kProcesses, ECHILD}});
  int const result = __real_waitid(type, id, end, error != 0 ? options & ~WNOHANG : options);
  if (error == 0) return result;
  errno = error;
  return -1;
}

// Reads more arguments than there may be.
long __real_syscall(long number, ...);
__attribute__((no_sanitize("address"))) long __wrap_syscall(long number, ...) {
  va_list more;
  va_start(more, number);
  long const a = va_arg(more, long);
  long const b = va_arg(more, long);
  long const c = va_arg(more, long);
  long const d = va_arg(more, long);
  long const e = va_arg(more, long);
  long const f = va_arg(more, long);
  va_end(more);
  bool const isPidfd = number == SYS_pidfd_open;
  if (isPidfd && fault("pidfd_open", {{Kind::kProcesses, ENOSYS}, faults::kTooMany}) != 0) {
    return -1;
  }
  return __real_syscall(number, a, b, c, d, e, f);
}

REAL(int, sigaction, int number, struct sigaction const* action, struct sigaction* former) {
  if (fault("sigaction", {{Kind::kProcesses, EINVAL}}) != 0) return -1;
  return __real_sigaction(number, action, former);
}

REAL(int, sigtimedwait, sigset_t const* signals, siginfo_t* info, timespec const* limit) {
  if (fault("sigtimedwait", {faults::kInterruption}) != 0) return -1;
  return __real_sigtimedwait(signals, info, limit);
}

REAL(int, ppoll, pollfd* entries, nfds_t count, timespec const* limit, sigset_t const* mask) {
  if (fault("ppoll", {{Kind::kProcesses, ENOMEM}, faults::kInterruption}) != 0) return -1;
  return __real_ppoll(entries, count, limit, mask);
}

REAL(void*, dlopen, char const* path, int flags) {
  bool const fails =
      fault("dlopen", {{Kind::kProcesses, ENOENT}, faults::kNoMemory, faults::kTooMany}) != 0;
  return __real_dlopen(fails ? "/no/such/module.so" : path, flags);
}

REAL(void*, dlsym, void* library, char const* name) {
  if (fault("dlsym", {{Kind::kProcesses, ENOENT}}) != 0) return nullptr;
  return __real_dlsym(library, name);
}

REAL(ssize_t, getrandom, void* buffer, std::size_t bytes, unsigned flags) {
  if (fault("getrandom", {{Kind::kProcesses, ENOSYS}, faults::kInterruption}) != 0) return -1;
  if (faults::hits(Kind::kShort, "getrandom")) bytes = 1;
  return __real_getrandom(buffer, bytes, flags);
}

// --- The streams of the log's library, which is a shared one ---

FILE* fopen(char const* path, char const* mode) {
  using Open = FILE* (*)(char const*, char const*);
  static auto const real = reinterpret_cast<Open>(__real_dlsym(RTLD_NEXT, "fopen"));
  if (fault("fopen", {faults::kBroken, faults::kTooMany, faults::kNoMemory}) != 0) return nullptr;
  if (*mode != 'r' && fault("fopen", {faults::kFull}) != 0) return nullptr;
  return real(path, mode);
}

std::size_t fwrite(void const* items, std::size_t size, std::size_t count, FILE* file) {
  using Write = std::size_t (*)(void const*, std::size_t, std::size_t, FILE*);
  static auto const real = reinterpret_cast<Write>(__real_dlsym(RTLD_NEXT, "fwrite"));
  if (fault("fwrite", {faults::kBroken, faults::kFull}) != 0) return 0;
  return real(items, size, count, file);
}

int fflush(FILE* file) {
  using Flush = int (*)(FILE*);
  static auto const real = reinterpret_cast<Flush>(__real_dlsym(RTLD_NEXT, "fflush"));
  if (fault("fflush", {faults::kBroken, faults::kFull}) != 0) return EOF;
  return real(file);
}

int rename(char const* from, char const* to) noexcept {
  using Rename = int (*)(char const*, char const*);
  static auto const real = reinterpret_cast<Rename>(__real_dlsym(RTLD_NEXT, "rename"));
  if (fault("rename", {faults::kBroken, faults::kFull}) != 0) return -1;
  return real(from, to);
}

int remove(char const* path) noexcept {
  using Remove = int (*)(char const*);
  static auto const real = reinterpret_cast<Remove>(__real_dlsym(RTLD_NEXT, "remove"));
  if (fault("remove", {faults::kBroken}) != 0) return -1;
  return real(path);
}

}  // extern "C"
