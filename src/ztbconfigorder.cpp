// SPDX-License-Identifier: MIT

#include "ztbconfigorder_p.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>
#include <utility>

#include "ztschr12.h"

namespace {

bool isLess(char const* a, char const* b) {
  if (a == nullptr || b == nullptr) return a == nullptr && b != nullptr;
  return np_uchar_icomp(a, b) < 0;
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

class DefinitionSort {
 public:
  explicit DefinitionSort(ConfigLines const& lines) : mLines(lines) {}

  void sort(std::span<ConfigDefinition> found) {
    bool const allAscii =
        std::all_of(found.begin(), found.end(), [this](ConfigDefinition const& one) {
          return std::all_of(keyOf(one), keyOf(one) + one.keyBytes, isAscii);
        });
    if (!allAscii) return byComparing(found);
    mScratch.resize(found.size());
    byRank(found, 0);
  }

 private:
  char const* keyOf(ConfigDefinition const& one) const {
    return mLines[static_cast<std::size_t>(one.line)].text;
  }

  // Eight characters of an ASCII key from character `depth` on; zeros behind the key's end.
  std::uint64_t charactersOf(ConfigDefinition const& one, std::size_t depth) const {
    std::uint64_t characters = 0;
    char const* const from = keyOf(one) + depth;
    if (one.keyBytes >= depth + sizeof characters) {
      std::memcpy(&characters, from, sizeof characters);
    } else {
      std::memcpy(&characters, from, one.keyBytes - depth);
    }
    return characters;
  }

  // The same, folded, as a number that orders like them.
  static std::uint64_t rankOf(std::uint64_t characters) {
    unsigned char bytes[sizeof characters];
    std::memcpy(bytes, &characters, sizeof characters);
    std::uint64_t rank = 0;
    for (unsigned const c : bytes) rank = rank << 8 | (c - 'A' < 26 ? c | 0x20 : c);
    return rank;
  }

  // Two loops, so that the processor waits for many keys at once: they lie all over memory.
  void setRanks(std::span<ConfigDefinition> found, std::size_t depth) const {
    for (ConfigDefinition& one : found) one.rank = charactersOf(one, depth);
    for (ConfigDefinition& one : found) one.rank = rankOf(one.rank);
  }

  void byComparing(std::span<ConfigDefinition> found) const {
    std::stable_sort(found.begin(), found.end(),
                     [this](ConfigDefinition const& a, ConfigDefinition const& b) {
                       return isLess(keyOf(a), keyOf(b));
                     });
    for (std::size_t i = 1; i < found.size(); ++i) {
      found[i].isRepeated = !isLess(keyOf(found[i - 1]), keyOf(found[i]));
    }
  }

  // Orders ASCII keys eight characters at a time, from character `depth` on. Keys that agree for
  // long are compared instead, which bounds the recursion.
  void byRank(std::span<ConfigDefinition> found, std::size_t depth) {
    constexpr std::size_t kDeepest = 64;
    if (depth == kDeepest) return byComparing(found);
    setRanks(found, depth);
    sortRanks(found);
    for (auto run = found.begin(); run != found.end();) {
      std::uint64_t const rank = run->rank;
      auto const end = std::find_if(
          run, found.end(), [rank](ConfigDefinition const& one) { return one.rank != rank; });
      bool const isWholeKey = (rank & 0xff) == 0;
      if (isWholeKey) {
        std::for_each(run + 1, end, [](ConfigDefinition& one) { one.isRepeated = 1; });
      } else if (end - run > 1) {
        byRank({run, end}, depth + sizeof rank);
      }
      run = end;
    }
  }

  // By rank, equal ranks as they stand: a radix sort by the bytes that aren't all the same.
  // Comparing would guess wrongly at every other step, and take three times as long.
  void sortRanks(std::span<ConfigDefinition> found) {
    constexpr std::size_t kFew = 64;
    auto const before = [](ConfigDefinition const& a, ConfigDefinition const& b) {
      return a.rank != b.rank ? a.rank < b.rank : a.line < b.line;
    };
    if (std::is_sorted(found.begin(), found.end(), before)) return;
    if (found.size() < kFew) return std::sort(found.begin(), found.end(), before);
    unsigned counts[8][256] = {};
    for (ConfigDefinition const& one : found) {
      for (unsigned byte = 0; byte < 8; ++byte) ++counts[byte][one.rank >> byte * 8 & 0xff];
    }
    std::span<ConfigDefinition> from = found, to = std::span(mScratch).first(found.size());
    for (unsigned byte = 0; byte < 8; ++byte) {
      if (counts[byte][found[0].rank >> byte * 8 & 0xff] == found.size()) continue;
      unsigned next[256];
      std::exclusive_scan(std::begin(counts[byte]), std::end(counts[byte]), next, 0u);
      for (ConfigDefinition const& one : from) to[next[one.rank >> byte * 8 & 0xff]++] = one;
      std::swap(from, to);
    }
    if (from.data() != found.data()) std::copy(from.begin(), from.end(), found.begin());
  }

  ConfigLines const& mLines;
  std::vector<ConfigDefinition> mScratch;
};

}  // namespace

ConfigOrder::Place ConfigOrder::placeAt(std::size_t index) const {
  Place place;
  for (; index >= mBlocks[place.block].size(); ++place.block) {
    index -= mBlocks[place.block].size();
  }
  place.at = index;
  return place;
}

ConfigOrder::Place ConfigOrder::lowerBound(char const* key) const {
  auto const block = std::partition_point(mBlocks.begin(), mBlocks.end(), [key](Block const& one) {
    return isLess(one.back()->key, key);
  });
  if (block == mBlocks.end()) return end();
  auto const at =
      std::partition_point(block->begin(), block->end(),
                           [key](ConfigEntry const* entry) { return isLess(entry->key, key); });
  return {static_cast<std::size_t>(block - mBlocks.begin()),
          static_cast<std::size_t>(at - block->begin())};
}

bool ConfigOrder::isAt(Place place, char const* key) const {
  ConfigEntry const* const entry = entryAt(place);
  return entry != nullptr && !isLess(key, entry->key);
}

void ConfigOrder::append(ConfigEntry* entry) {
  if (mBlocks.empty() || mBlocks.back().size() >= kBlockSize / 2) {
    Block block;
    block.reserve(kBlockSize / 2);
    mBlocks.push_back(std::move(block));
  }
  mBlocks.back().push_back(entry);
  ++mSize;
}

void ConfigOrder::insert(Place place, ConfigEntry* entry) {
  if (place.block == mBlocks.size()) return append(entry);
  if (mBlocks[place.block].size() == kBlockSize) {
    split(place.block);
    if (place.at > kBlockSize / 2) place = {place.block + 1, place.at - kBlockSize / 2};
  }
  Block& block = mBlocks[place.block];
  block.insert(block.begin() + static_cast<std::ptrdiff_t>(place.at), entry);
  ++mSize;
}

void ConfigOrder::erase(Place place) {
  Block& block = mBlocks[place.block];
  block.erase(block.begin() + static_cast<std::ptrdiff_t>(place.at));
  --mSize;
  if (block.empty()) mBlocks.erase(mBlocks.begin() + static_cast<std::ptrdiff_t>(place.block));
}

void ConfigOrder::clear() {
  std::vector<Block>().swap(mBlocks);
  mSize = 0;
}

void ConfigOrder::split(std::size_t index) {
  auto const middle = mBlocks[index].begin() + kBlockSize / 2;
  mBlocks.insert(mBlocks.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                 Block(middle, mBlocks[index].end()));
  mBlocks[index].resize(kBlockSize / 2);
}

void ztbSortDefinitions(ConfigLines const& lines, std::span<ConfigDefinition> found) {
  DefinitionSort(lines).sort(found);
}
