// SPDX-License-Identifier: MIT

#include "sssharedbuffer.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "ztbb10.h"

namespace {

constexpr int kLookAgainMs = 250;

class SharedBufferManagerImpl;

class SharedBufferImpl final : public SharedBuffer {
 public:
  SharedBufferImpl(SharedBufferManagerImpl* owner, bool input, int capacity, int columns)
      : manager(owner), isInput(input), rowCapacity(capacity), columnCount(columns) {}

  int getColumnCount() override { return columnCount; }
  int getRowCapacity() override { return rowCapacity; }
  int getRowCount() override { return writing ? position : filledRows - position; }
  ZtbDatavar* nextRow() override;
  void release() override;
  bool prepare(bool forWriting) override;

 private:
  bool allocate();

  SharedBufferManagerImpl* manager;
  bool isInput;
  int rowCapacity;
  int columnCount;
  std::unique_ptr<ZtbDatavar[]> rows;  // row after row; null until the first use
  bool writing = false;
  int position = 0;
  int filledRows = 0;
};

// Rows for the capacity, or for a quarter of it, and so on; false if not even one can be had.
bool SharedBufferImpl::allocate() {
  int capacity = columnCount == 0 ? 1 : rowCapacity;
  std::size_t const columns = columnCount == 0 ? 1 : static_cast<std::size_t>(columnCount);
  for (; capacity > 0; capacity >>= 2) {
    rows.reset(new (std::nothrow) ZtbDatavar[static_cast<std::size_t>(capacity) * columns]);
    if (rows == nullptr) continue;
    rowCapacity = capacity;
    return true;
  }
  return false;
}

bool SharedBufferImpl::prepare(bool forWriting) {
  if (rows == nullptr && rowCapacity != 0 && !allocate()) return false;
  if (forWriting) {
    writing = true;
    filledRows = 0;
  }
  position = 0;
  return true;
}

ZtbDatavar* SharedBufferImpl::nextRow() {
  int const limit = writing ? rowCapacity : filledRows;
  if (position >= limit) return nullptr;
  auto const index = static_cast<std::size_t>(columnCount) * static_cast<std::size_t>(position);
  ++position;
  return rows.get() + index;
}

// Who waits for what is told by an event; it is posted only while somebody is about to wait.
class Waiter {
 public:
  Waiter() : mEvent(ztEventCreate(0)) {}
  Waiter(Waiter const&) = delete;
  Waiter& operator=(Waiter const&) = delete;
  ~Waiter() { ztEventDestroy(mEvent); }

  bool isGood() const { return mEvent != nullptr; }

  // Both under the manager's lock. Who takes the announcement has to post.
  void announce() { mWaiting = true; }
  bool takeAnnouncement() { return std::exchange(mWaiting, false); }

  // The rest is without the lock.
  void post() { ztEventPost(mEvent, 1); }

  // True if woken, false if it is time to look at the callback.
  bool wait() {
    int unused = 0;
    if (ztEventWait(1, &mEvent, 1, kLookAgainMs, 0, &unused) != 0) return false;
    ztEventClear(mEvent);
    return true;
  }

  // Whether the callback gives up; only a 1 takes the announcement back.
  bool givesUp(SharedBufferWaitCallback* callback, ZtLock lock) {
    unsigned char const answer = callback != nullptr ? callback->poll() : 0;
    if (answer == 0) return false;
    if (answer == 1) {
      ZtLockHold const hold(lock);
      mWaiting = false;
    }
    return true;
  }

 private:
  ZtEvent mEvent;
  bool mWaiting = false;
};

// The buffers of one direction. All of it is under the manager's lock.
class Pool {
 public:
  // Makes the buffers, or fewer if memory runs out; false if there is none of those wanted.
  bool create(SharedBufferManagerImpl* manager, bool isInput, int count, int rows, int columns);

  SharedBuffer* findFree();
  SharedBuffer* takeFilled();
  // False if the buffer isn't one of the pool.
  bool give(SharedBuffer const* buffer, bool wasReading);

  int filled() const { return mFilled; }
  int free() const { return static_cast<int>(std::count(mFree.get(), mFree.get() + mCount, true)); }
  bool isDrained() const { return free() == mCount; }

 private:
  using Buffer = std::unique_ptr<SharedBufferImpl>;

  int mCount = 0;
  int mFilled = 0;  // written and not yet taken
  int mHead = 0;    // the next to be read
  std::unique_ptr<Buffer[]> mBuffers;
  std::unique_ptr<bool[]> mFree;
};

bool Pool::create(SharedBufferManagerImpl* manager, bool isInput, int count, int rows,
                  int columns) {
  if (count <= 0) return true;
  auto const size = static_cast<std::size_t>(count);
  mBuffers.reset(new (std::nothrow) Buffer[size]);
  // In front of the buffers, which may take all the memory that is left.
  mFree.reset(new (std::nothrow) bool[size]);
  if (mBuffers == nullptr || mFree == nullptr) return false;
  while (mCount < count) {
    Buffer& buffer = mBuffers[static_cast<std::size_t>(mCount)];
    buffer.reset(new (std::nothrow) SharedBufferImpl(manager, isInput, rows, columns));
    if (buffer == nullptr) break;
    ++mCount;
  }
  std::fill_n(mFree.get(), mCount, true);
  return mCount > 0;
}

SharedBuffer* Pool::findFree() {
  if (mFilled >= mCount) return nullptr;
  auto const size = static_cast<std::size_t>(mCount);
  for (std::size_t i = 0; i < size; ++i) {
    std::size_t const at = (static_cast<std::size_t>(mHead) + i) % size;
    if (!mFree[at]) continue;
    if (!mBuffers[at]->prepare(true)) return nullptr;
    mFree[at] = false;
    return mBuffers[at].get();
  }
  return nullptr;
}

// Writers take buffers from the head on and hand them back in that order, so that the head stands
// on a filled one.
SharedBuffer* Pool::takeFilled() {
  if (mFilled == 0) return nullptr;
  SharedBufferImpl* const buffer = mBuffers[static_cast<std::size_t>(mHead)].get();
  mHead = (mHead + 1) % mCount;
  buffer->prepare(false);
  --mFilled;
  return buffer;
}

bool Pool::give(SharedBuffer const* buffer, bool wasReading) {
  Buffer const* const end = mBuffers.get() + mCount;
  Buffer const* const found =
      std::find_if(mBuffers.get(), mBuffers.get() + mCount,
                   [buffer](Buffer const& candidate) { return candidate.get() == buffer; });
  if (found == end) return false;
  if (wasReading) {
    mFree[static_cast<std::size_t>(found - mBuffers.get())] = true;
  } else {
    ++mFilled;
  }
  return true;
}

class SharedBufferManagerImpl final : public SharedBufferManager {
 public:
  SharedBufferManagerImpl() : mLock(ztLockCreate(0, 0)) {}
  SharedBufferManagerImpl(SharedBufferManagerImpl const&) = delete;
  SharedBufferManagerImpl& operator=(SharedBufferManagerImpl const&) = delete;

  bool create(int inputCount, int inputRows, int inputColumns, int outputCount, int outputRows,
              int outputColumns);

  SharedBuffer* acquireFreeInput() override;
  bool waitForBuffers(SharedBufferWaitCallback* callback, SharedBuffer** freeInput,
                      SharedBuffer** filledOutput) override;
  SharedBuffer* acquireFreeOutput(SharedBufferWaitCallback* callback) override;
  SharedBuffer* acquireFilledInput(SharedBufferWaitCallback* callback) override;
  SharedBuffer* acquireFilledOutput() override;
  void getInputCounts(int* filled, int* free) override { count(mInput, filled, free); }
  void getOutputCounts(int* filled, int* free) override { count(mOutput, filled, free); }
  void returnBuffer(SharedBuffer* buffer, bool isInput, bool wasReading) override;
  void destroy() override { delete this; }
  bool waitForOutputDrained(SharedBufferWaitCallback* callback) override;

 private:
  // Who hands a buffer back may still be on its way out when the last wait ends: it is seen out.
  ~SharedBufferManagerImpl() {
    ztLockGet(mLock, 1, 1);
    while (mPosting.load(std::memory_order_acquire) != 0) std::this_thread::yield();
    ztLockDestroy(mLock);
  }

  SharedBuffer* acquire(Pool& pool, SharedBuffer* (Pool::*take)(), Waiter& waiter,
                        SharedBufferWaitCallback* callback);
  bool find(SharedBuffer** freeInput, SharedBuffer** filledOutput);
  void count(Pool const& pool, int* filled, int* free);
  Waiter* give(SharedBuffer const* buffer, bool isInput, bool wasReading);
  Waiter& waiterFor(bool isInput, bool wasReading);

  ZtLock mLock;
  Pool mInput;
  Pool mOutput;
  Waiter mClient;                // waitForBuffers
  Waiter mOutputFree;            // acquireFreeOutput, waitForOutputDrained
  Waiter mInputFilled;           // acquireFilledInput
  std::atomic<int> mPosting{0};  // grows under the lock
};

bool SharedBufferManagerImpl::create(int inputCount, int inputRows, int inputColumns,
                                     int outputCount, int outputRows, int outputColumns) {
  return mLock != nullptr && mClient.isGood() && mOutputFree.isGood() && mInputFilled.isGood() &&
         mInput.create(this, true, inputCount, std::max(inputRows, 0), std::max(inputColumns, 0)) &&
         mOutput.create(this, false, outputCount, std::max(outputRows, 0),
                        std::max(outputColumns, 0));
}

SharedBuffer* SharedBufferManagerImpl::acquireFreeInput() {
  ZtLockHold const hold(mLock);
  return mInput.findFree();
}

SharedBuffer* SharedBufferManagerImpl::acquireFilledOutput() {
  ZtLockHold const hold(mLock);
  return mOutput.takeFilled();
}

SharedBuffer* SharedBufferManagerImpl::acquire(Pool& pool, SharedBuffer* (Pool::*take)(),
                                               Waiter& waiter, SharedBufferWaitCallback* callback) {
  for (;;) {
    {
      ZtLockHold const hold(mLock);
      if (SharedBuffer* const buffer = (pool.*take)()) return buffer;
      waiter.announce();
    }
    waiter.wait();
    if (waiter.givesUp(callback, mLock)) return nullptr;
  }
}

SharedBuffer* SharedBufferManagerImpl::acquireFreeOutput(SharedBufferWaitCallback* callback) {
  return acquire(mOutput, &Pool::findFree, mOutputFree, callback);
}

SharedBuffer* SharedBufferManagerImpl::acquireFilledInput(SharedBufferWaitCallback* callback) {
  return acquire(mInput, &Pool::takeFilled, mInputFilled, callback);
}

// Both looks of waitForBuffers; announces the wait if they gave nothing.
bool SharedBufferManagerImpl::find(SharedBuffer** freeInput, SharedBuffer** filledOutput) {
  ZtLockHold const hold(mLock);
  bool found = false;
  if (freeInput != nullptr) found = (*freeInput = mInput.findFree()) != nullptr;
  if (filledOutput != nullptr && (*filledOutput = mOutput.takeFilled()) != nullptr) found = true;
  if (!found) mClient.announce();
  return found;
}

bool SharedBufferManagerImpl::waitForBuffers(SharedBufferWaitCallback* callback,
                                             SharedBuffer** freeInput,
                                             SharedBuffer** filledOutput) {
  if (freeInput == nullptr && filledOutput == nullptr) return false;
  while (!find(freeInput, filledOutput)) {
    if (!mClient.wait() && mClient.givesUp(callback, mLock)) return false;
  }
  return true;
}

bool SharedBufferManagerImpl::waitForOutputDrained(SharedBufferWaitCallback* callback) {
  for (;;) {
    {
      ZtLockHold const hold(mLock);
      if (mOutput.isDrained()) return true;
      mOutputFree.announce();
    }
    if (!mOutputFree.wait() && mOutputFree.givesUp(callback, mLock)) return false;
  }
}

Waiter& SharedBufferManagerImpl::waiterFor(bool isInput, bool wasReading) {
  if (isInput == wasReading) return mClient;
  return isInput ? mInputFilled : mOutputFree;
}

// The waiter to be woken, or null.
Waiter* SharedBufferManagerImpl::give(SharedBuffer const* buffer, bool isInput, bool wasReading) {
  ZtLockHold const hold(mLock);
  if (!(isInput ? mInput : mOutput).give(buffer, wasReading)) return nullptr;
  Waiter& waiter = waiterFor(isInput, wasReading);
  if (!waiter.takeAnnouncement()) return nullptr;
  mPosting.fetch_add(1, std::memory_order_relaxed);
  return &waiter;
}

// Posts without the lock, which the woken thread would only run into.
void SharedBufferManagerImpl::returnBuffer(SharedBuffer* buffer, bool isInput, bool wasReading) {
  Waiter* const waiter = give(buffer, isInput, wasReading);
  if (waiter == nullptr) return;
  waiter->post();
  mPosting.fetch_sub(1, std::memory_order_release);
}

void SharedBufferManagerImpl::count(Pool const& pool, int* filled, int* free) {
  ZtLockHold const hold(mLock);
  if (filled != nullptr) *filled = pool.filled();
  if (free != nullptr) *free = pool.free();
}

void SharedBufferImpl::release() {
  bool const wasReading = !writing;
  if (writing) {
    filledRows = position;
    writing = false;
  }
  manager->returnBuffer(this, isInput, wasReading);
}

}  // namespace

SharedBufferManager* ssSharedBufferManager(int inputCount, int inputRows, int inputColumns,
                                           int outputCount, int outputRows, int outputColumns) {
  auto* const manager = new (std::nothrow) SharedBufferManagerImpl;
  if (manager == nullptr) return nullptr;
  if (manager->create(inputCount, inputRows, inputColumns, outputCount, outputRows,
                      outputColumns)) {
    return manager;
  }
  manager->destroy();
  return nullptr;
}
