// SPDX-License-Identifier: MIT
//
// The entries of a configuration file in the order of their keys: how it is kept while entries come
// and go, and how those of a whole file are brought into it at once.

#ifndef ZTBCONFIGORDER_P_H
#define ZTBCONFIGORDER_P_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

// A text is NUL-terminated; a null pointer stands for the null string. Texts belong to the model of
// the file.
struct ConfigEntry {
  static constexpr int kNoLine = -1;

  char const* key = nullptr;
  char const* value = nullptr;
  char const* comment = nullptr;
  // The place among the lines where this entry is written, kNoLine if it was only set. If the file
  // has a comment above the entry, that is the comment's place, and the one behind it is absent.
  int line = kNoLine;
  bool underComment = false;
  bool isSet = false;  // by setEntry, so that it may be what no line can hold
};

// What is written at one place of the file. Exactly one of three: an entry, with `text` the key as
// spelled here; a plain text, which may be several lines; or absent, with neither.
struct ConfigLine {
  ConfigEntry* entry = nullptr;
  char const* text = nullptr;
};

// A deque grows without leaving its smaller selves behind in the heap.
using ConfigLines = std::deque<ConfigLine>;

// A sorted array in blocks, none of which is empty, so that an insertion moves no more than a
// block. It costs a pointer an entry, where a tree costs four words.
class ConfigOrder {
 public:
  struct Place {
    std::size_t block = 0;
    std::size_t at = 0;
  };

  std::size_t size() const { return mSize; }

  // Null at the end.
  ConfigEntry* entryAt(Place place) const {
    return place.block < mBlocks.size() ? mBlocks[place.block][place.at] : nullptr;
  }

  bool holds(Place place, ConfigEntry const* entry) const {
    return place.block < mBlocks.size() && place.at < mBlocks[place.block].size() &&
           mBlocks[place.block][place.at] == entry;
  }

  Place next(Place place) const {
    if (++place.at < mBlocks[place.block].size()) return place;
    return {place.block + 1, 0};
  }

  Place placeAt(std::size_t index) const;
  // The first entry whose key isn't less.
  Place lowerBound(char const* key) const;
  // True if the entry at what lowerBound gave for the key has that key.
  bool isAt(Place place, char const* key) const;
  Place end() const { return {mBlocks.size(), 0}; }
  ConfigEntry* last() const { return mBlocks.back().back(); }

  // Puts the entry behind all others.
  void append(ConfigEntry* entry);
  // Puts the entry in front of the one at `place`. If memory runs out, nothing changes.
  void insert(Place place, ConfigEntry* entry);
  void erase(Place place);
  void clear();

 private:
  static constexpr std::size_t kBlockSize = 512;
  using Block = std::vector<ConfigEntry*>;

  void split(std::size_t index);

  std::vector<Block> mBlocks;
  std::size_t mSize = 0;
};

// An entry that was read and isn't in the order yet.
struct ConfigDefinition {
  std::uint64_t rank;
  int line;
  unsigned keyBytes : 31;
  unsigned isRepeated : 1;  // its key is that of the one before, in order
};
static_assert(sizeof(ConfigDefinition) == 16);

// Brings entries of these lines into key order, equal keys by line, and sets `isRepeated`.
void ztbSortDefinitions(ConfigLines const& lines, std::span<ConfigDefinition> found);

#endif
