// SPDX-License-Identifier: MIT

#include "ztbsingleton.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "ztbb10.h"
#include "ztbinit_p.h"

struct AutoSingletonRecord {
  ZtLock lock = nullptr;
  char name[256] = {};
  int refCount = 0;
  void* instance = nullptr;
};

namespace {

constexpr std::size_t kItemNameBytes = 255;
constexpr std::size_t kRecordNameBytes = 254;

// A name of any length against one that a record holds.
struct NameLess {
  bool operator()(char const* a, char const* b) const {
    return std::strncmp(a, b, kRecordNameBytes) < 0;
  }
};

using Records = std::map<char const*, AutoSingletonRecord*, NameLess>;

// Guarded by the singleton lock. Null while there is no record.
constinit Records* records = nullptr;

bool isEmpty(char const* name) {
  return name == nullptr || *name == '\0';
}

AutoSingletonRecord* findRecord(char const* name) {
  if (records == nullptr) return nullptr;
  auto const found = records->find(name);
  return found != records->end() ? found->second : nullptr;
}

// A new record in the registry, without lock and instance; null without memory.
AutoSingletonRecord* addRecord(char const* name) try {
  if (records == nullptr) records = new Records;
  auto record = std::make_unique<AutoSingletonRecord>();
  std::strncpy(record->name, name, kRecordNameBytes);
  records->emplace(record->name, record.get());
  return record.release();
} catch (std::bad_alloc const&) {
  if (records != nullptr && records->empty()) delete std::exchange(records, nullptr);
  return nullptr;
}

void removeRecord(AutoSingletonRecord* record) {
  ztLockDestroy(record->lock);
  auto const found = std::find_if(records->begin(), records->end(),
                                  [record](auto const& entry) { return entry.second == record; });
  if (found != records->end()) records->erase(found);
  if (records->empty()) delete std::exchange(records, nullptr);
  delete record;
}

// Takes one reference off. True if it was the last one: the record is gone then, and `*instance`
// is what is left to destroy.
bool dropReference(AutoSingletonRecord* record, void** instance) {
  if (record->refCount >= 2) {
    --record->refCount;
    return false;
  }
  *instance = record->instance;
  removeRecord(record);
  return true;
}

}  // namespace

// ---- ZtbSingleton -------------------------------------------------------------------------------

ZtbSingleton::SingleItem* ZtbSingleton::mPool = nullptr;
int ZtbSingleton::mCount = 0;

ZtbSingleton::SingleItem::SingleItem() : refCount(0), ref(nullptr) {}

ZtbSingleton::ZtbSingleton() = default;

ZtbSingleton& ZtbSingleton::operator=(ZtbSingleton const&) {
  return *this;
}

ZtbSingleton::SingleItem* ZtbSingleton::find(char const* name) {
  if (isEmpty(name)) return nullptr;
  SingleItem* const end = mPool + mCount;
  SingleItem* const found = std::find_if(mPool, end, [name](SingleItem const& item) {
    return std::strncmp(item.name, name, kItemNameBytes) == 0;
  });
  return found != end ? found : nullptr;
}

void ZtbSingleton::createRef(char const* name, void* ref) {
  if (isEmpty(name) || find(name) != nullptr) return;
  SingleItem* slot = std::find_if(mPool, mPool + mCount,
                                  [](SingleItem const& item) { return isEmpty(item.name); });
  if (slot == mPool + mCount) {
    resize(mCount + 1);
    slot = mPool + mCount;
    ++mCount;
  }
  std::strncpy(slot->name, name, kItemNameBytes);
  slot->name[kItemNameBytes] = '\0';
  slot->refCount = 1;
  slot->ref = ref;
}

void* ZtbSingleton::getRef(char const* name) {
  SingleItem* const item = find(name);
  if (item == nullptr) return nullptr;
  ++item->refCount;
  return item->ref;
}

bool ZtbSingleton::decRef(char const* name) {
  SingleItem* const item = find(name);
  if (item == nullptr || --item->refCount > 0) return false;
  item->name[0] = '\0';
  if (std::all_of(mPool, mPool + mCount, [](SingleItem const& i) { return i.refCount == 0; })) {
    delete[] std::exchange(mPool, nullptr);
    mCount = 0;
  }
  return true;
}

void ZtbSingleton::resize(int count) {
  auto* const pool = new SingleItem[static_cast<std::size_t>(count)];
  std::copy(mPool, mPool + mCount, pool);
  delete[] mPool;
  mPool = pool;
}

// ---- ZtbAutoSingleton ---------------------------------------------------------------------------

ZtbAutoSingleton::ZtbAutoSingleton() : mRecord(nullptr), mInstance(nullptr) {}

ZtbAutoSingleton::ZtbAutoSingleton(ZtbAutoSingleton const& other) = default;

ZtbAutoSingleton& ZtbAutoSingleton::operator=(ZtbAutoSingleton const& other) = default;

bool ZtbAutoSingleton::initialize(bool* created) {
  if (created != nullptr) *created = false;
  if (mRecord != nullptr) return false;
  ZtLockHold const hold(ztbSingletonLock());
  char const* const name = getSingletonName();
  if (isEmpty(name)) return false;
  AutoSingletonRecord* record = findRecord(name);
  bool const isNew = record == nullptr;
  if (isNew) {
    record = addRecord(name);
    if (record == nullptr) return false;
    try {
      record->lock = ztLockCreate(0, 0);
      record->instance = createInstance();
    } catch (...) {
      removeRecord(record);
      throw;
    }
  }
  ++record->refCount;
  if (created != nullptr) *created = isNew;
  mInstance = record->instance;
  mRecord = record;
  return true;
}

void ZtbAutoSingleton::terminate() {
  void* instance = nullptr;
  {
    ZtLockHold const hold(ztbSingletonLock());
    if (mRecord == nullptr || !dropReference(mRecord, &instance)) return;
    mRecord = nullptr;
    mInstance = nullptr;
  }
  destroyInstance(instance);
}

bool ZtbAutoSingleton::cleanupOnly() {
  if (mRecord != nullptr) return false;
  void* instance = nullptr;
  {
    ZtLockHold const hold(ztbSingletonLock());
    char const* const name = getSingletonName();
    if (isEmpty(name)) return false;
    AutoSingletonRecord* const record = findRecord(name);
    if (record == nullptr || !dropReference(record, &instance)) return true;
  }
  destroyInstance(instance);
  return true;
}

void ZtbAutoSingleton::lock() {
  if (mRecord != nullptr) ztLockGet(mRecord->lock, 1, 1);
}

void ZtbAutoSingleton::unlock() {
  if (mRecord != nullptr) ztLockRelease(mRecord->lock);
}
