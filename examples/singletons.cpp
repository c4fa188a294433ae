// SPDX-License-Identifier: MIT
//
// An object that a process has once: made when it is first wanted, gone with its last user.
//
//   ./singletons

#include <ztbinit.h>
#include <ztbsingleton.h>

#include <cstdio>

namespace {

// Each user of the one counter has an object of this class, which finds it by its name.
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
    std::fprintf(stderr, "singletons: %s\n", error);
    return 1;
  }
  Counter here;
  Counter there;
  bool const isUp = here.initialize(nullptr) && there.initialize(nullptr);
  if (isUp) {
    int const first = here.next();
    std::printf("%d here, %d there\n", first, there.next());
  } else {
    std::fprintf(stderr, "singletons: not enough memory for the counter\n");
  }
  here.terminate();
  there.terminate();
  ztbShutdown();
  return isUp ? 0 : 1;
}
