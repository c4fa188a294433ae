// SPDX-License-Identifier: MIT
//
// A set of names, compared without regard to case, that many thousand names don't make slow,
// whoever chose them. It owns none of them: each must stay where it is, unchanged.

#ifndef ZTBNAMEINDEX_P_H
#define ZTBNAMEINDEX_P_H

#include <cstddef>

#include "ztbstring.h"

class ZtbNameIndex {
 public:
  ZtbNameIndex() = default;
  ZtbNameIndex(ZtbNameIndex const&) = delete;
  ZtbNameIndex& operator=(ZtbNameIndex const&) = delete;
  ~ZtbNameIndex() { freeSlots(mSlots); }

  // What the other operations take for `name`.
  static unsigned long long hashOf(ZtbString const& name);

  bool has(ZtbString const& name, unsigned long long hash) const;
  // Makes room for one more name; false, with nothing changed, when memory ran out.
  bool reserve();
  // Adds a name that isn't there, once there is room.
  void add(ZtbString const* name, unsigned long long hash);

 private:
  // A name has the first free slot from the one that its hash asks for, and half of the slots stay
  // free; they hold the hashes too, since a name that is looked at is mostly a cache miss.
  struct Slot {
    unsigned long long hash;
    ZtbString const* name;
  };
  static constexpr std::size_t kFirstSlots = 16;

  // Calls use(slot) for the slots that `hash` may have, until it gives true.
  template <class Use>
  void probe(unsigned long long hash, Use use) const {
    for (std::size_t i = hash & (mSlotCount - 1); !use(mSlots[i]);) i = (i + 1) & (mSlotCount - 1);
  }
  void freeSlots(Slot* slots) {
    if (slots != mFirstSlots) delete[] slots;
  }

  std::size_t mCount = 0;
  std::size_t mSlotCount = kFirstSlots;  // a power of two
  Slot* mSlots = mFirstSlots;
  Slot mFirstSlots[kFirstSlots] = {};
};

#endif
