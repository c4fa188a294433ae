// SPDX-License-Identifier: MIT
//
// The memory pool beside the C library's allocator.

#include "ztbmempool.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <thread>

namespace {

void poolGetFree(benchmark::State& state, unsigned size) {
  for (auto _ : state) {
    void* block = nullptr;
    ZtbMemPool::getBytes(size, &block);
    benchmark::DoNotOptimize(block);
    ZtbMemPool::freeBytes(block);
  }
}

void mallocFree(benchmark::State& state, unsigned size) {
  for (auto _ : state) {
    void* block = std::malloc(size);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}

void hadASecondThread(benchmark::State const&) {
  std::thread([] {}).join();
}

int const registered = [] {
  for (unsigned const size : {16u, 64u, 256u, 1024u}) {
    std::string const name = "mempool/get_free_" + std::to_string(size);
    benchmark::RegisterBenchmark((name + "/ztbcpp31").c_str(), poolGetFree, size);
    benchmark::RegisterBenchmark((name + "/malloc").c_str(), mallocFree, size);
  }
  // A process that ever had a second thread pays for the bus lock from then on.
  benchmark::RegisterBenchmark("mempool_threads/get_free_64/ztbcpp31", poolGetFree, 64u)
      ->Setup(hadASecondThread);
  benchmark::RegisterBenchmark("mempool_threads/get_free_64/malloc", mallocFree, 64u)
      ->Setup(hadASecondThread);
  benchmark::RegisterBenchmark("mempool_threads/get_free_64_by_2/ztbcpp31", poolGetFree, 64u)
      ->Threads(2)
      ->UseRealTime();
  benchmark::RegisterBenchmark("mempool_threads/get_free_64_by_2/malloc", mallocFree, 64u)
      ->Threads(2)
      ->UseRealTime();
  return 0;
}();

}  // namespace
