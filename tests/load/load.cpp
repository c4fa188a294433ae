// SPDX-License-Identifier: MIT
//
// Loads the library as a plug-in's host does, without being linked with it, and holds it to what is
// promised of that: loading and closing does nothing to the process; a module that uses the library
// can be loaded, used and closed many times; nothing is left behind that a later fork, the end of a
// thread or the end of the process trips over.
//
//   load LIBRARY MODULE PROGRAM      PROGRAM is a path in the folder of the dependency module

#include <dlfcn.h>
#include <execinfo.h>
#include <locale.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <semaphore>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

int failures = 0;

void expect(bool isTrue, char const* text) {
  if (isTrue) return;
  std::printf("load: not so: %s\n", text);
  ++failures;
}

// --- Who allocates ---

constexpr int kMaxFrames = 48;

std::atomic<long> liveBlocks{0};
std::atomic<bool> isWatching{false};

// All callers of all allocations while isWatching. In static storage, as this is about the heap.
void* callers[1 << 17];
int callerCount = 0;
int allocationCount = 0;

#ifdef ZTB_COUNT_ALLOCATIONS
// Only one thread allocates while isWatching. backtrace allocates itself, when it is first called.
void note() {
  ++liveBlocks;
  if (!isWatching.exchange(false)) return;
  ++allocationCount;
  if (callerCount + kMaxFrames <= static_cast<int>(std::size(callers))) {
    callerCount += backtrace(callers + callerCount, kMaxFrames);
  }
  isWatching = true;
}
#endif

bool isInLibrary(void* caller) {
  Dl_info info{};
  return dladdr(caller, &info) != 0 && std::strstr(info.dli_fname, "libztbcpp31.so") != nullptr;
}

// --- What a process can see of itself ---

// The names in a folder, each with what it leads to if it is a link, as descriptors are.
std::string entriesOf(char const* folder) {
  std::set<std::string> entries;
  for (auto const& entry : std::filesystem::directory_iterator(folder)) {
    std::error_code isNoLink;
    entries.insert(entry.path().string() + ' ' + read_symlink(entry, isNoLink).string() + '\n');
  }
  return std::accumulate(entries.begin(), entries.end(), std::string());
}

std::string signalActions() {
  std::string text;
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    text.append(reinterpret_cast<char const*>(&action.sa_handler), sizeof action.sa_handler);
    text += std::to_string(action.sa_flags) + (sigismember(&blocked, number) ? "b" : "-");
  }
  return text;
}

std::string environment() {
  std::string text;
  for (char** entry = environ; *entry != nullptr; ++entry) text.append(*entry).push_back('\n');
  return text;
}

std::string maskOfFiles() {
  mode_t const mask = umask(0);
  umask(mask);
  return std::to_string(mask);
}

using State = std::vector<std::pair<char const*, std::string>>;

State state() {
  return {{"the same descriptors are open", entriesOf("/proc/self/fd")},
          {"the same threads run", entriesOf("/proc/self/task")},
          {"no file came or went", entriesOf(".")},
          {"signals have their actions", signalActions()},
          {"the environment is as it was", environment()},
          {"the locale is as it was", setlocale(LC_ALL, nullptr)},
          {"the folder is as it was", std::filesystem::current_path()},
          {"the mask of new files is as it was", maskOfFiles()}};
}

void expectSame(State const& before) {
  State const now = state();
  for (std::size_t i = 0; i < now.size(); ++i) {
    expect(now[i].second == before[i].second, now[i].first);
  }
}

// --- The tests ---

void* open(char const* path) {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (handle != nullptr) return handle;
  std::printf("load: %s\n", dlerror());
  std::exit(1);
}

void loadAndClose(char const* library) {
  State const before = state();
  isWatching = true;
  void* const handle = open(library);
  dlclose(handle);
  isWatching = false;
  expect(dlopen(library, RTLD_NOW | RTLD_NOLOAD) != nullptr, "the library stays once it is loaded");
  expect(std::none_of(callers, callers + callerCount, isInLibrary),
         "loading the library allocates nothing");
  expectSame(before);
}

// The thread that has worked with the library ends after the module was closed.
void useAndClose(char const* module, char const* program) {
  void* const handle = open(module);
  auto const work = reinterpret_cast<int (*)(char const*)>(dlsym(handle, "client"));
  std::binary_semaphore hasWorked{0}, mayEnd{0};
  std::thread thread([&] {
    expect(work(program) == 0, "the module does its work");
    hasWorked.release();
    mayEnd.acquire();
  });
  hasWorked.acquire();
  dlclose(handle);
  mayEnd.release();
  thread.join();
  expect(dlopen(module, RTLD_NOW | RTLD_NOLOAD) == nullptr, "the module goes when it is closed");
}

template <class Work>
void expectChildEndsWell(Work const& work, char const* text) {
  std::fflush(stdout);
  pid_t const child = fork();
  if (child == 0) {
    failures = 0;
    work();
    std::exit(failures);
  }
  int status = -1;
  waitpid(child, &status, 0);
  expect(status == 0, text);
}

void useManyTimes(char const* module, char const* program) {
  useAndClose(module, program);
  useAndClose(module, program);
  State const before = state();
  long const blocks = liveBlocks;
  for (int i = 0; i < 4; ++i) useAndClose(module, program);
  expect(liveBlocks == blocks, "using the library again leaves no memory behind");
  expectSame(before);
  expectChildEndsWell([] {}, "a forked child ends well");
}

}  // namespace

#ifdef ZTB_COUNT_ALLOCATIONS
// In place of those of the C library, for all libraries.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
  note();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  note();
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  if (block == nullptr) note();
  return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  note();
  return __libc_memalign(alignment, size);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
  note();
  --liveBlocks;
  long const result = syscall(SYS_mmap, address, size, protection, flags, file, offset);
  return reinterpret_cast<void*>(result);
}

void free(void* block) {
  if (block != nullptr) --liveBlocks;
  __libc_free(block);
}

}  // extern "C"
#endif

int main(int, char** arguments) {
  // What the C library allocates once, for itself.
  backtrace(callers, kMaxFrames);
  char folder[] = "/tmp/ztbload-XXXXXX";
  if (mkdtemp(folder) == nullptr || chdir(folder) != 0) return 1;
  // In a process of its own, whose first sight of the library is through the module.
  expectChildEndsWell([&] { useAndClose(arguments[2], arguments[3]); },
                      "a module that brings the library can be closed");
  loadAndClose(arguments[1]);
  useManyTimes(arguments[2], arguments[3]);
  rmdir(folder);
  std::printf("load: %d failures; counted %d allocations while loading, %ld blocks at the end\n",
              failures, allocationCount, liveBlocks.load());
  return failures == 0 ? 0 : 1;
}
