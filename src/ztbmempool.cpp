// SPDX-License-Identifier: MIT
//
// The memory pool: four classes of fixed-size blocks on free stacks, and the heap beyond them.
//
//   chunk of a class:  | header | blockSize bytes | header | blockSize bytes | ...
//   heap block:        | header | size bytes |
//
// The header in front of each block is the address of the owning size class, or null for a block
// from the heap. The caller gets the address behind it.

#include "ztbmempool.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>

#include "ztbb10.h"
#include "ztbmempool_p.h"

#if defined(__SANITIZE_ADDRESS__)
#define ZTB_POOL_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZTB_POOL_POISON 1
#endif
#endif
#ifdef ZTB_POOL_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace {

constexpr unsigned kClassCount = 4;
constexpr unsigned kGrowBy = 1024;
constexpr unsigned kBlockSizes[kClassCount] = {16, 64, 256, 1024};
constexpr unsigned kLargestBlock = kBlockSizes[kClassCount - 1];

struct SizeClass;

struct Header {
  SizeClass* owner;
};
static_assert(sizeof(Header) == sizeof(void*), "the header is one pointer wide");
static_assert(kBlockSizes[0] % alignof(Header) == 0, "every header of a chunk is aligned");

struct ChunkNode {
  char* chunk;
  ChunkNode* next;
};

struct SizeClass {
  std::uint32_t growBy;
  std::uint32_t stackCapacity;
  std::uint32_t blockSize;
  std::uint32_t freeBlocks;
  ChunkNode* chunkHead;
  ChunkNode* chunkTail;
  void** freeStack;
};

// Changed under the lock alone, read without it.
using Counter = std::atomic<std::uint32_t>;

struct Pool {
  SizeClass classes[kClassCount];
  Counter requests[kClassCount];  // tinyCount, smallCount, medCount, largeCount
  Counter unmanagedCount;
  Counter freeCount;
};

constinit int nestingCount = 0;
constinit ZtLock poolLock = nullptr;
constinit Pool* pool = nullptr;
constinit char statsText[256] = {};
constexpr char kPoolIsDown = 0;

void poison([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size) {
#ifdef ZTB_POOL_POISON
  __asan_poison_memory_region(block, size);
#endif
}

void unpoison([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size) {
#ifdef ZTB_POOL_POISON
  __asan_unpoison_memory_region(block, size);
#endif
}

std::size_t strideOf(SizeClass const& sizeClass) {
  return sizeof(Header) + sizeClass.blockSize;
}

Header* headerOf(void* block) {
  return static_cast<Header*>(block) - 1;
}

// Two plain moves, where an increment by the atomic's own operator would take the bus lock.
void count(Counter& counter) {
  counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

unsigned classFor(unsigned size) {
  if (size <= kBlockSizes[1]) return size <= kBlockSizes[0] ? 0 : 1;
  return size <= kBlockSizes[2] ? 2 : 3;
}

// Carves a fresh chunk onto the stack, which is empty and large enough.
void carve(SizeClass& sizeClass, char* chunk) {
  for (std::uint32_t i = 0; i < sizeClass.growBy; ++i) {
    auto* const header = new (chunk + i * strideOf(sizeClass)) Header{&sizeClass};
    sizeClass.freeStack[i] = header + 1;
    poison(header + 1, sizeClass.blockSize);
  }
  sizeClass.freeBlocks = sizeClass.growBy;
}

void append(SizeClass& sizeClass, ChunkNode* node) {
  if (sizeClass.chunkTail != nullptr) {
    sizeClass.chunkTail->next = node;
  } else {
    sizeClass.chunkHead = node;
  }
  sizeClass.chunkTail = node;
}

// Adds a chunk to a class whose stack is empty. On failure the class stays as it was.
[[gnu::noinline]] bool grow(SizeClass& sizeClass) {
  if (sizeClass.stackCapacity > std::numeric_limits<std::uint32_t>::max() - sizeClass.growBy) {
    return false;
  }
  std::uint32_t const capacity = sizeClass.stackCapacity + sizeClass.growBy;
  char* const chunk = new (std::nothrow) char[sizeClass.growBy * strideOf(sizeClass)];
  void** const stack = chunk != nullptr ? new (std::nothrow) void*[capacity] : nullptr;
  ChunkNode* const node = stack != nullptr ? new (std::nothrow) ChunkNode{chunk, nullptr} : nullptr;
  if (node == nullptr) {
    delete[] stack;
    delete[] chunk;
    return false;
  }
  sizeClass.stackCapacity = capacity;
  delete[] sizeClass.freeStack;
  sizeClass.freeStack = stack;
  carve(sizeClass, chunk);
  append(sizeClass, node);
  return true;
}

void releaseClass(SizeClass& sizeClass) {
  for (ChunkNode* node = sizeClass.chunkHead; node != nullptr;) {
    ChunkNode* const next = node->next;
    unpoison(node->chunk, sizeClass.growBy * strideOf(sizeClass));
    delete[] node->chunk;
    delete node;
    node = next;
  }
  delete[] sizeClass.freeStack;
}

void releasePool() {
  for (unsigned i = kClassCount; i > 0; --i) releaseClass(pool->classes[i - 1]);
  delete pool;
  pool = nullptr;
}

bool growAllClasses() {
  for (unsigned i = 0; i < kClassCount; ++i) {
    SizeClass& sizeClass = pool->classes[i];
    sizeClass.growBy = kGrowBy;
    sizeClass.blockSize = kBlockSizes[i];
    if (!grow(sizeClass)) return false;
  }
  return true;
}

// Out of line, so that the way of the classes stays short.
[[gnu::noinline]] bool getUnmanaged(unsigned size, void** result) {
  char* const bytes = new (std::nothrow) char[sizeof(Header) + std::size_t{size}];
  if (bytes == nullptr) return false;
  *result = new (bytes) Header{nullptr} + 1;
  count(pool->unmanagedCount);
  return true;
}

bool getManaged(unsigned size, void** result) {
  unsigned const index = classFor(size);
  SizeClass& sizeClass = pool->classes[index];
  count(pool->requests[index]);
  if (sizeClass.freeBlocks == 0 && !grow(sizeClass)) return false;
  void* const block = sizeClass.freeStack[--sizeClass.freeBlocks];
  unpoison(block, sizeClass.blockSize);
  *result = block;
  return true;
}

}  // namespace

constinit char const* ZtbMemPool::soleThread = &kPoolIsDown;

bool ztbMemPoolStart() {
  if (nestingCount != 0) {
    ++nestingCount;
    return true;
  }
  poolLock = ztLockCreate(0, 0);
  if (poolLock == nullptr) return false;
  pool = new (std::nothrow) Pool{};
  if (pool != nullptr && growAllClasses()) {
    nestingCount = 1;
    ZtbMemPool::soleThread = ztSoleThreadFlag();
    return true;
  }
  if (pool != nullptr) releasePool();
  ztLockDestroy(poolLock);
  poolLock = nullptr;
  return false;
}

void ztbMemPoolStop() {
  if (nestingCount == 0) return;
  if (--nestingCount != 0) return;
  ZtbMemPool::soleThread = &kPoolIsDown;
  ztLockDestroy(poolLock);
  poolLock = nullptr;
  releasePool();
}

bool ztbMemPoolIsUp() {
  return pool != nullptr;
}

bool ZtbMemPool::getBytes(unsigned int size, void** result) {
  *result = nullptr;
  if (pool == nullptr) return false;
  ZtBriefHold const hold(poolLock);
  return size <= kLargestBlock ? getManaged(size, result) : getUnmanaged(size, result);
}

void ZtbMemPool::freeBytes(void* block) {
  if (pool == nullptr) return;
  ZtBriefHold const hold(poolLock);
  if (block == nullptr) return;
  Header* const header = headerOf(block);
  SizeClass* const owner = header->owner;
  if (owner == nullptr) {
    delete[] reinterpret_cast<char*>(header);
    return;
  }
  poison(block, owner->blockSize);
  owner->freeStack[owner->freeBlocks++] = block;
  count(pool->freeCount);
}

char* ZtbMemPool::getStats() {
  static constinit Pool const kNoPool{};
  Pool const& counts = pool != nullptr ? *pool : kNoPool;
  auto const read = [](Counter const& counter) -> unsigned long {
    return counter.load(std::memory_order_relaxed);
  };
  unsigned long const tiny = read(counts.requests[0]);
  unsigned long const small = read(counts.requests[1]);
  unsigned long const med = read(counts.requests[2]);
  unsigned long const large = read(counts.requests[3]);
  unsigned long const unmanaged = read(counts.unmanagedCount);
  std::snprintf(statsText, sizeof statsText,
                "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu Total: %lu Frees: %lu",
                tiny, small, med, large, unmanaged, tiny + small + med + large + unmanaged,
                read(counts.freeCount));
  return statsText;
}
