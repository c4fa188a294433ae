// SPDX-License-Identifier: MIT
//
// The memory pool: a block for a short-lived record, and what the pool says of itself.
//
//   ./memory_pool

#include <ztbinit.h>
#include <ztbmempool.h>

#include <cstdio>
#include <new>

namespace {

struct Order {
  int number;
  double total;
};

bool useABlock() {
  void* block = nullptr;
  if (!ZtbMemPool::getBytes(sizeof(Order), &block)) return false;
  Order* const order = new (block) Order{7, 84.03};
  std::printf("order %d: %.2f\n", order->number, order->total);
  ZtbMemPool::freeBytes(block);
  return true;
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "memory_pool: %s\n", error);
    return 1;
  }
  bool const isDone = useABlock();
  std::printf("%s\n", ZtbMemPool::getStats());
  ztbShutdown();
  return isDone ? 0 : 1;
}
