// SPDX-License-Identifier: MIT
//
// Rows of ten integers there and back between two threads, and how long a wake-up takes. The peers
// carry the same values in batches of the same size through the same loops: a deque behind a mutex
// with new batches, as one writes it first, and with batches that are used again; and lock-free
// queues of pointers to batches, in which a waiting thread yields.

#include "sssharedbuffer.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#ifdef ZTB_HAVE_BOOST
#include <boost/lockfree/spsc_queue.hpp>
#endif

namespace {

constexpr int kColumns = 10;
constexpr int kBuffers = 4;
constexpr int kRowsOfABuffer = 256;
constexpr int kRows = 100'000;

// A peer's batch, with the interface of a buffer. A batch without rows ends the worker.
class Batch {
 public:
  explicit Batch(int rows) : mValues(static_cast<std::size_t>(rows) * kColumns) {}
  void prepare(bool forWriting) {
    mLimit = forWriting ? mValues.size() : mPosition;
    mPosition = 0;
  }
  ZtbDatavar* nextRow() {
    if (mPosition == mLimit) return nullptr;
    mPosition += kColumns;
    return mValues.data() + (mPosition - kColumns);
  }

 private:
  std::vector<ZtbDatavar> mValues;
  std::size_t mPosition = 0;
  std::size_t mLimit = 0;
};

enum Way { kThere, kBack };

// Who carries batches offers: what the client waits for, what the worker waits for, and where both
// hand a batch on that was written or read.
class Buffers {
 public:
  using Rows = SharedBuffer;
  explicit Buffers(int rows)
      : mManager(ssSharedBufferManager(kBuffers, rows, kColumns, kBuffers, rows, kColumns)) {
    if (mManager == nullptr) std::abort();
  }
  Buffers(Buffers const&) = delete;
  Buffers& operator=(Buffers const&) = delete;
  ~Buffers() { mManager->destroy(); }
  void wait(Rows** free, Rows** filled) { mManager->waitForBuffers(nullptr, free, filled); }
  Rows* filledInput() { return mManager->acquireFilledInput(nullptr); }
  Rows* freeOutput() { return mManager->acquireFreeOutput(nullptr); }
  void written(Rows* rows, Way) { rows->release(); }
  void read(Rows* rows, Way) { rows->release(); }

 private:
  SharedBufferManager* mManager;
};

// A bounded deque each way; free batches are new ones or the ones that were read.
template <bool kUsedAgain>
class Deques {
 public:
  using Rows = Batch;
  explicit Deques(int rows) : mRows(rows) {}
  Deques(Deques const&) = delete;
  Deques& operator=(Deques const&) = delete;
  ~Deques() {
    for (auto& queue : mFilled) clear(queue);
    for (auto& queue : mFree) clear(queue);
  }
  void wait(Rows** free, Rows** filled) {
    bool isNew = false;
    {
      std::unique_lock<std::mutex> lock(mMutex);
      mChanged.wait(lock, [&] {
        return (free != nullptr && mOpen[kThere] < kBuffers) || !mFilled[kBack].empty();
      });
      if (!mFilled[kBack].empty()) *filled = take(mFilled[kBack]);
      if (free != nullptr) isNew = !getFree(free, kThere);
    }
    if (isNew) *free = make();
  }
  Rows* filledInput() {
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [&] { return !mFilled[kThere].empty(); });
    Rows* const rows = take(mFilled[kThere]);
    rows->prepare(false);
    return rows;
  }
  Rows* freeOutput() {
    Rows* rows = nullptr;
    bool isNew;
    {
      std::unique_lock<std::mutex> lock(mMutex);
      mChanged.wait(lock, [&] { return mOpen[kBack] < kBuffers; });
      isNew = !getFree(&rows, kBack);
    }
    return isNew ? make() : rows;
  }
  void written(Rows* rows, Way way) {
    {
      std::lock_guard<std::mutex> const lock(mMutex);
      mFilled[way].push_back(rows);
    }
    mChanged.notify_one();
  }
  void read(Rows* rows, Way way) {
    {
      std::lock_guard<std::mutex> const lock(mMutex);
      --mOpen[way];
      if (kUsedAgain) mFree[way].push_back(rows);
    }
    mChanged.notify_one();
    if (!kUsedAgain) delete rows;
  }

 private:
  static void clear(std::deque<Rows*>& queue) {
    for (Rows* const rows : queue) delete rows;
  }
  Rows* make() const {
    auto* const rows = new Rows(mRows);
    rows->prepare(true);
    return rows;
  }
  Rows* take(std::deque<Rows*>& queue) {
    Rows* const rows = queue.front();
    queue.pop_front();
    if (&queue == &mFilled[kBack]) rows->prepare(false);
    return rows;
  }
  // False if there is room for one more, but it has to be made.
  bool getFree(Rows** rows, Way way) {
    if (mOpen[way] == kBuffers) return true;
    ++mOpen[way];
    if (mFree[way].empty()) return false;
    *rows = take(mFree[way]);
    (*rows)->prepare(true);
    return true;
  }

  int mRows;
  std::mutex mMutex;
  std::condition_variable mChanged;
  std::deque<Rows*> mFilled[2];
  std::deque<Rows*> mFree[2];
  int mOpen[2] = {0, 0};
};

#ifdef ZTB_HAVE_BOOST
class Lockfree {
 public:
  using Rows = Batch;
  explicit Lockfree(int rows) {
    for (auto& queue : mFree) {
      for (int i = 0; i < kBuffers; ++i) {
        mBatches.push_back(std::make_unique<Batch>(rows));
        queue.push(mBatches.back().get());
      }
    }
  }
  void wait(Rows** free, Rows** filled) {
    for (;; std::this_thread::yield()) {
      if (free != nullptr && mFree[kThere].pop(*free)) (*free)->prepare(true);
      if (mFilled[kBack].pop(*filled)) (*filled)->prepare(false);
      if ((free != nullptr && *free != nullptr) || *filled != nullptr) return;
    }
  }
  Rows* filledInput() { return get(mFilled[kThere], false); }
  Rows* freeOutput() { return get(mFree[kBack], true); }
  void written(Rows* rows, Way way) { mFilled[way].push(rows); }
  void read(Rows* rows, Way way) { mFree[way].push(rows); }

 private:
  using Queue = boost::lockfree::spsc_queue<Rows*, boost::lockfree::capacity<kBuffers>>;
  static Rows* get(Queue& queue, bool forWriting) {
    Rows* rows = nullptr;
    while (!queue.pop(rows)) std::this_thread::yield();
    rows->prepare(forWriting);
    return rows;
  }
  std::vector<std::unique_ptr<Batch>> mBatches;
  Queue mFilled[2];
  Queue mFree[2];
};
#endif

// Answers each number with the next one.
template <class Carrier>
void work(Carrier& carrier) {
  for (;;) {
    auto* const input = carrier.filledInput();
    ZtbDatavar const* row = input->nextRow();
    if (row == nullptr) return carrier.read(input, kThere);
    auto* const output = carrier.freeOutput();
    for (; row != nullptr; row = input->nextRow()) {
      ZtbDatavar* const answer = output->nextRow();
      for (int i = 0; i < kColumns; ++i) answer[i].assign(row[i].asInt64(nullptr) + 1);
    }
    carrier.read(input, kThere);
    carrier.written(output, kBack);
  }
}

// Sends `rows` rows and reads the answers.
template <class Carrier>
void pass(Carrier& carrier, int rows) {
  long long sum = 0;
  int sent = 0;
  for (int received = 0; received < rows;) {
    typename Carrier::Rows* input = nullptr;
    typename Carrier::Rows* output = nullptr;
    carrier.wait(sent < rows ? &input : nullptr, &output);
    if (input != nullptr) {
      for (ZtbDatavar* row; sent < rows && (row = input->nextRow()) != nullptr; ++sent) {
        for (int i = 0; i < kColumns; ++i) row[i].assign(static_cast<__int64>(sent + i));
      }
      carrier.written(input, kThere);
    }
    if (output == nullptr) continue;
    for (ZtbDatavar const* row; (row = output->nextRow()) != nullptr; ++received) {
      for (int i = 0; i < kColumns; ++i) sum += row[i].asInt64(nullptr) - (received + i);
    }
    carrier.read(output, kBack);
  }
  if (sum != static_cast<long long>(rows) * kColumns) std::abort();
}

template <class Carrier>
void end(Carrier& carrier) {
  typename Carrier::Rows* input = nullptr;
  typename Carrier::Rows* output = nullptr;
  carrier.wait(&input, &output);
  carrier.written(input, kThere);
}

template <class Carrier>
void measure(benchmark::State& state, int rowsOfABuffer, int rows) {
  Carrier carrier(rowsOfABuffer);
  std::thread worker([&carrier] { work(carrier); });
  pass(carrier, rows);
  for (auto _ : state) pass(carrier, rows);
  end(carrier);
  worker.join();
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsIterationInvariantRate);
}

template <class Carrier>
void manyRows(benchmark::State& state) {
  measure<Carrier>(state, kRowsOfABuffer, kRows);
}

// A row there and back: two wake-ups.
template <class Carrier>
void oneRow(benchmark::State& state) {
  measure<Carrier>(state, 1, 1);
}

BENCHMARK(manyRows<Buffers>)->Name("sharedbuffer/rows_threads/ztbcpp31")->UseRealTime();
BENCHMARK(manyRows<Deques<false>>)->Name("sharedbuffer/rows_threads/mutex_deque")->UseRealTime();
BENCHMARK(manyRows<Deques<true>>)
    ->Name("sharedbuffer/rows_threads/mutex_deque_used_again")
    ->UseRealTime();
#ifdef ZTB_HAVE_BOOST
BENCHMARK(manyRows<Lockfree>)->Name("sharedbuffer/rows_threads/boost_spsc")->UseRealTime();
#endif
BENCHMARK(oneRow<Buffers>)->Name("sharedbuffer/round_trip_threads/ztbcpp31")->UseRealTime();
BENCHMARK(oneRow<Deques<true>>)
    ->Name("sharedbuffer/round_trip_threads/mutex_deque_used_again")
    ->UseRealTime();
#ifdef ZTB_HAVE_BOOST
BENCHMARK(oneRow<Lockfree>)->Name("sharedbuffer/round_trip_threads/boost_spsc")->UseRealTime();
#endif

}  // namespace
