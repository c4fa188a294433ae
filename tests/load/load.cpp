// SPDX-License-Identifier: MIT
//
// Loads the library as a plug-in's host does, without being linked with it, and holds it to what is
// promised of that: loading and closing does nothing to the process; a module that uses the library
// can be loaded, used and closed many times; nothing is left behind that a later fork, the end of a
// thread or the end of the process trips over.
//
//   load LIBRARY MODULE PROGRAM      PROGRAM is a path in the folder of the dependency module

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <locale.h>
#include <pthread.h>
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
#include <semaphore>
#include <string>
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

struct Range {
  std::string name;
  std::vector<std::pair<char*, char*>> parts;
};

int addParts(dl_phdr_info* info, std::size_t, void* argument) {
  auto& range = *static_cast<Range*>(argument);
  if (std::string_view(info->dlpi_name).find(range.name) == std::string_view::npos) return 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    auto const& part = info->dlpi_phdr[i];
    char* const start = reinterpret_cast<char*>(info->dlpi_addr + part.p_vaddr);
    if (part.p_type == PT_LOAD) range.parts.emplace_back(start, start + part.p_memsz);
  }
  return 0;
}

bool isCallerIn(char const* library) {
  Range range{library, {}};
  dl_iterate_phdr(addParts, &range);
  expect(!range.parts.empty(), "the library stays once it is loaded");
  return std::any_of(callers, callers + callerCount, [&](void* caller) {
    return std::any_of(range.parts.begin(), range.parts.end(), [&](auto const& part) {
      return caller >= part.first && caller < part.second;
    });
  });
}

// --- What a process can see of itself ---

std::vector<std::string> entriesOf(char const* folder) {
  std::vector<std::string> names;
  DIR* const listing = opendir(folder);
  while (dirent const* const entry = readdir(listing)) {
    char target[1024] = "";
    // A descriptor with what it is open on.
    std::string const path = std::string(folder) + "/" + entry->d_name;
    if (readlink(path.c_str(), target, sizeof target - 1) < 0) target[0] = '\0';
    names.push_back(std::string(entry->d_name) + " " + target);
  }
  closedir(listing);
  std::sort(names.begin(), names.end());
  return names;
}

std::string signalActions() {
  std::string text;
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0) continue;
    text.append(reinterpret_cast<char const*>(&action.sa_handler), sizeof action.sa_handler);
    text += std::to_string(action.sa_flags);
  }
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < NSIG; ++number) text += sigismember(&blocked, number) ? '1' : '0';
  return text;
}

std::string environment() {
  std::string text;
  for (char** entry = environ; *entry != nullptr; ++entry) text.append(*entry).push_back('\n');
  return text;
}

std::string workingFolder() {
  char path[4096] = "";
  return getcwd(path, sizeof path) == nullptr ? "" : path;
}

struct State {
  std::vector<std::string> descriptors = entriesOf("/proc/self/fd");
  std::vector<std::string> threads = entriesOf("/proc/self/task");
  std::vector<std::string> files = entriesOf(".");
  std::string signals = signalActions();
  std::string variables = environment();
  std::string locale = setlocale(LC_ALL, nullptr);
  std::string folder = workingFolder();
  mode_t mask = umask(0);

  State() { umask(mask); }
};

void expectSame(State const& before, State const& now) {
  expect(now.descriptors == before.descriptors, "the same descriptors are open");
  expect(now.threads == before.threads, "the same threads run");
  expect(now.files == before.files, "no file came or went");
  expect(now.signals == before.signals, "signals have their actions");
  expect(now.variables == before.variables, "the environment is as it was");
  expect(now.locale == before.locale, "the locale is as it was");
  expect(now.folder == before.folder && now.mask == before.mask,
         "folder and mask are as they were");
}

// --- The tests ---

void* open(char const* path) {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (handle != nullptr) return handle;
  std::printf("load: %s\n", dlerror());
  std::exit(1);
}

void loadAndClose(char const* library) {
  State const before;
  isWatching = true;
  void* const handle = open(library);
  dlclose(handle);
  isWatching = false;
  expect(!isCallerIn("libztbcpp31.so"), "loading the library allocates nothing");
  expectSame(before, State());
}

// A thread that has worked with the library, and ends after the module was closed.
struct Worker {
  char const* program;
  int (*work)(char const*) = nullptr;
  std::binary_semaphore hasWorked{0};
  std::binary_semaphore mayEnd{0};
  int result = -1;

  static void* run(void* argument) {
    auto& worker = *static_cast<Worker*>(argument);
    worker.result = worker.work(worker.program);
    worker.hasWorked.release();
    worker.mayEnd.acquire();
    return nullptr;
  }
};

void useAndClose(char const* module, char const* program) {
  void* const handle = open(module);
  Worker worker{program};
  worker.work = reinterpret_cast<int (*)(char const*)>(dlsym(handle, "client"));
  pthread_t thread;
  pthread_create(&thread, nullptr, Worker::run, &worker);
  worker.hasWorked.acquire();
  dlclose(handle);
  worker.mayEnd.release();
  pthread_join(thread, nullptr);
  expect(worker.result == 0, "the module does its work");
  expect(dlopen(module, RTLD_NOW | RTLD_NOLOAD) == nullptr, "the module goes when it is closed");
}

// In a process of its own, whose first sight of the library is through the module.
void useFirst(char const* module, char const* program) {
  std::fflush(stdout);
  pid_t const child = fork();
  if (child == 0) {
    useAndClose(module, program);
    std::exit(failures);
  }
  int status = -1;
  waitpid(child, &status, 0);
  expect(status == 0, "a module that brings the library can be closed");
}

void expectForkWorks() {
  std::fflush(stdout);
  pid_t const child = fork();
  if (child == 0) std::exit(0);
  int status = -1;
  waitpid(child, &status, 0);
  expect(WIFEXITED(status) && WEXITSTATUS(status) == 0, "a forked child ends well");
}

void useManyTimes(char const* module, char const* program) {
  useAndClose(module, program);
  useAndClose(module, program);
  State const before;
  long const blocks = liveBlocks;
  for (int i = 0; i < 4; ++i) useAndClose(module, program);
  expect(liveBlocks == blocks, "using the library again leaves no memory behind");
  expectSame(before, State());
  expectForkWorks();
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
  useFirst(arguments[2], arguments[3]);
  loadAndClose(arguments[1]);
  useManyTimes(arguments[2], arguments[3]);
  rmdir(folder);
  std::printf("load: %d failures; counted %d allocations while loading, %ld blocks at the end\n",
              failures, allocationCount, liveBlocks.load());
  return failures == 0 ? 0 : 1;
}
