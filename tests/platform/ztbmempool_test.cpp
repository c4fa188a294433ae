// SPDX-License-Identifier: MIT

#include "ztbmempool.h"

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ztbmempool_p.h"
#include "ztbtest.h"

namespace {

struct Counts {
  unsigned long tiny, small, med, large, unmanaged, total, frees;
  bool operator==(Counts const&) const = default;
};

Counts counts() {
  Counts c{};
  EXPECT_EQ(7, std::sscanf(ZtbMemPool::getStats(),
                           "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu Total: %lu "
                           "Frees: %lu",
                           &c.tiny, &c.small, &c.med, &c.large, &c.unmanaged, &c.total, &c.frees));
  return c;
}

void* get(unsigned size) {
  void* block = nullptr;
  EXPECT_TRUE(ZtbMemPool::getBytes(size, &block)) << size;
  EXPECT_NE(nullptr, block) << size;
  std::memset(block, 0x5A, size);
  return block;
}

class ZtbMemPoolTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(ztbMemPoolStart()); }
  void TearDown() override { ztbMemPoolStop(); }
};

TEST(ZtbMemPoolDown, RefusesBlocksAndTellsZeros) {
  int dummy = 0;
  void* block = &dummy;
  EXPECT_FALSE(ZtbMemPool::getBytes(16, &block));
  EXPECT_EQ(nullptr, block);
  EXPECT_EQ(Counts{}, counts());
  ztbMemPoolStop();
  EXPECT_FALSE(ztbMemPoolIsUp());
}

TEST_F(ZtbMemPoolTest, PicksTheClassBySize) {
  std::pair<unsigned, unsigned long Counts::*> const rows[] = {
      {0, &Counts::tiny},         {16, &Counts::tiny},
      {17, &Counts::small},       {64, &Counts::small},
      {65, &Counts::med},         {256, &Counts::med},
      {257, &Counts::large},      {1024, &Counts::large},
      {1025, &Counts::unmanaged}, {1u << 20, &Counts::unmanaged},
  };
  for (auto const& [size, counter] : rows) {
    Counts expected = counts();
    void* const block = get(size);
    ++(expected.*counter);
    ++expected.total;
    EXPECT_EQ(expected, counts()) << size;
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % 8) << size;
    ZtbMemPool::freeBytes(block);
    if (size <= 1024) ++expected.frees;
    EXPECT_EQ(expected, counts()) << size;
  }
}

TEST_F(ZtbMemPoolTest, HandsOutTheLastFreedBlockFirst) {
  void* const first = get(16);
  void* const second = get(16);
  EXPECT_EQ(static_cast<char*>(second) + 24, first) << "a fresh chunk goes from its end";
  ZtbMemPool::freeBytes(first);
  EXPECT_EQ(first, get(16));
}

TEST_F(ZtbMemPoolTest, GrowsBeyondAChunkAndKeepsEarlierBlocks) {
  constexpr unsigned kBlocks = 3000;
  for (unsigned const size : {16u, 64u, 256u, 1024u}) {
    std::vector<unsigned char*> blocks;
    for (unsigned i = 0; i < kBlocks; ++i) {
      blocks.push_back(static_cast<unsigned char*>(get(size)));
      std::memset(blocks.back(), static_cast<int>(i % 251), size);
    }
    for (unsigned i = 0; i < kBlocks; ++i) {
      EXPECT_EQ(i % 251, blocks[i][0]);
      EXPECT_EQ(i % 251, blocks[i][size - 1]);
      ZtbMemPool::freeBytes(blocks[i]);
    }
    std::set<void*> const before(blocks.begin(), blocks.end());
    for (unsigned i = 0; i < kBlocks; ++i) EXPECT_TRUE(before.count(get(size)));
  }
}

TEST_F(ZtbMemPoolTest, NestedStartOnlyCounts) {
  ASSERT_TRUE(ztbMemPoolStart());
  void* const block = get(100);
  ztbMemPoolStop();
  EXPECT_TRUE(ztbMemPoolIsUp());
  ZtbMemPool::freeBytes(block);
}

TEST_F(ZtbMemPoolTest, SizesNearTheLimitFailOrSucceedCleanly) {
  // Whether 4 GiB are there is the machine's matter; the header must not make the size wrap.
  void* block = nullptr;
  if (ZtbMemPool::getBytes(~0u, &block)) {
    static_cast<char*>(block)[~0u - 1] = 'x';
    ZtbMemPool::freeBytes(block);
  } else {
    EXPECT_EQ(nullptr, block);
  }
  ZtbMemPool::freeBytes(nullptr);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(ZtbMemPoolDeathTest, UseAfterFreeIsSeen) {
  ASSERT_TRUE(ztbMemPoolStart());
  void* const block = get(64);
  ZtbMemPool::freeBytes(block);
  EXPECT_DEATH(*static_cast<char volatile*>(block) = 1, "use-after-poison");
  ztbMemPoolStop();
}
#endif

}  // namespace
