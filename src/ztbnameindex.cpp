// SPDX-License-Identifier: MIT

#include "ztbnameindex_p.h"

#include <atomic>
#include <new>
#include <utility>

#include "ztschr12.h"
#include "ztssys11.h"

namespace {

// Spreads what lies close together over all slots: the hashes of names that count up stand at equal
// distances, and neighbours would then fill whole stretches. (The last steps of MurmurHash3.)
unsigned long long mixed(unsigned long long hash) {
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCD;
  hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53;
  return hash ^ (hash >> 33);
}

// Random for each process, so that no text can be written whose names all ask for one slot. Not a
// static with a guard: a child forked while another thread draws it would wait for that thread.
unsigned long long seed() {
  static std::atomic<unsigned long long> drawn = 0;
  unsigned long long known = drawn.load(std::memory_order_relaxed);
  if (known != 0) return known;
  char randomText[np_uniq_size];
  np_uniq_s64(randomText);
  constexpr unsigned long long kAnyPoint = 0x9E3779B97F4A7C15;
  unsigned long long const mine = np_uchar_ihash(randomText, kAnyPoint) | 1;
  return drawn.compare_exchange_strong(known, mine, std::memory_order_relaxed) ? mine : known;
}

}  // namespace

unsigned long long ZtbNameIndex::hashOf(ZtbString const& name) {
  return mixed(np_uchar_ihash(name.asCstr(), seed()));
}

bool ZtbNameIndex::has(ZtbString const& name, unsigned long long hash) const {
  bool found = false;
  probe(hash, [&](Slot const& slot) {
    found = slot.name && slot.hash == hash && slot.name->compare(name, false) == 0;
    return found || !slot.name;
  });
  return found;
}

void ZtbNameIndex::add(ZtbString const* name, unsigned long long hash) {
  probe(hash, [&](Slot& slot) {
    if (slot.name) return false;
    slot = {hash, name};
    return true;
  });
  ++mCount;
}

bool ZtbNameIndex::reserve() {
  if (2 * mCount < mSlotCount) return true;
  auto* const wider = new (std::nothrow) Slot[2 * mSlotCount]();
  if (!wider) return false;
  Slot* const slots = std::exchange(mSlots, wider);
  std::size_t const count = std::exchange(mSlotCount, 2 * mSlotCount);
  mCount = 0;
  for (Slot const* slot = slots; slot < slots + count; ++slot) {
    if (slot->name) add(slot->name, slot->hash);
  }
  freeSlots(slots);
  return true;
}
