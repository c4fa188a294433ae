// SPDX-License-Identifier: MIT
//
// Orders go to a worker thread, which answers with their totals. A buffer without rows says that no
// more come.
//
//   ./shared_buffers

#include <sssharedbuffer.h>
#include <ztbinit.h>

#include <cstdio>
#include <thread>

namespace {

constexpr int kOrders = 5000;

// The worker: an order has a number, a quantity and a price, a total the number and their product.
void work(SharedBufferManager& manager) {
  for (;;) {
    SharedBuffer* const orders = manager.acquireFilledInput(nullptr);
    bool const isLast = orders->getRowCount() == 0;
    SharedBuffer* const totals = manager.acquireFreeOutput(nullptr);
    while (ZtbDatavar const* const order = orders->nextRow()) {
      ZtbDatavar* const total = totals->nextRow();  // both pools have buffers of 100 rows
      total[0] = order[0];
      total[1].assign(order[1].asInt64(nullptr) * order[2].asInt64(nullptr));
    }
    orders->release();
    totals->release();
    if (isLast) return;
  }
}

// Fills a buffer with the next orders, or leaves it empty once all are sent.
void write(SharedBuffer* orders, int* sent) {
  while (*sent < kOrders) {
    ZtbDatavar* const order = orders->nextRow();
    if (order == nullptr) break;
    order[0].assign(++*sent);
    order[1].assign(3);
    order[2].assign(*sent % 100);
  }
  orders->release();
}

__int64 sumOf(SharedBuffer* totals) {
  __int64 sum = 0;
  while (ZtbDatavar const* const total = totals->nextRow()) sum += total[1].asInt64(nullptr);
  totals->release();
  return sum;
}

// The client: whichever buffer comes first, one to fill or one to read.
__int64 totalOfAll(SharedBufferManager& manager) {
  __int64 sum = 0;
  int sent = 0;
  bool hasEnded = false;
  for (bool isDone = false; !isDone;) {
    SharedBuffer* orders = nullptr;
    SharedBuffer* totals = nullptr;
    manager.waitForBuffers(nullptr, hasEnded ? nullptr : &orders, &totals);
    if (orders != nullptr) {
      hasEnded = sent == kOrders;
      write(orders, &sent);
    }
    if (totals == nullptr) continue;
    isDone = totals->getRowCount() == 0;
    sum += sumOf(totals);
  }
  return sum;
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "shared_buffers: %s\n", error);
    return 1;
  }
  // Buffers, rows in each and values in a row: of the orders, then of the totals.
  SharedBufferManager* const manager = ssSharedBufferManager(4, 100, 3, 4, 100, 2);
  if (manager == nullptr) {
    std::fprintf(stderr, "shared_buffers: not enough memory for the buffers\n");
    ztbShutdown();
    return 1;
  }
  std::thread worker([manager] { work(*manager); });
  __int64 const sum = totalOfAll(*manager);
  worker.join();
  manager->destroy();
  ztbShutdown();
  std::printf("%d orders, in all %lld\n", kOrders, sum);
  return sum == 3LL * (kOrders / 100) * (99 * 100 / 2) ? 0 : 1;
}
