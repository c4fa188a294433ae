// SPDX-License-Identifier: MIT
//
// An object that a process has once: made when it is first wanted, gone with its last user.

#include <cstdio>

#include "ztbinit.h"
#include "ztbsingleton.h"

namespace {

class Counter : public ZtbAutoSingleton {
 public:
  int next() {
    lock();
    int const number = ++*static_cast<int*>(mInstance);
    unlock();
    return number;
  }

  char const* getSingletonName() override { return "Example.Counter"; }
  void* createInstance() override {
    std::puts("made");
    return new int(0);
  }
  void destroyInstance(void* instance) override {
    std::puts("gone");
    delete static_cast<int*>(instance);
  }
};

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "%s\n", error);
    return 1;
  }
  Counter here;
  Counter there;
  if (!here.initialize(nullptr) || !there.initialize(nullptr)) return 1;
  int const first = here.next();
  int const second = there.next();
  std::printf("%d, %d\n", first, second);
  here.terminate();
  there.terminate();
  ztbShutdown();
  return first == 1 && second == 2 ? 0 : 1;
}
