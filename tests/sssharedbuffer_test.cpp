// SPDX-License-Identifier: MIT
//
// Shared buffers in a single thread; the tests of all families and of delays have two.

#include "sssharedbuffer.h"

#include <climits>

#include "ztbstringformat.h"
#include "ztbtest.h"

namespace {

struct GivesUp final : SharedBufferWaitCallback {
  unsigned char poll() override { return ++polls < 2 ? 0 : 1; }
  int polls = 0;
};

class SharedBufferTest : public ztbtest::LibraryTest {
 protected:
  void TearDown() override {
    if (manager != nullptr) manager->destroy();
    LibraryTest::TearDown();
  }
  void make(int inputs, int inputRows, int inputColumns, int outputs, int rows, int columns) {
    if (manager != nullptr) manager->destroy();
    manager = ssSharedBufferManager(inputs, inputRows, inputColumns, outputs, rows, columns);
    ASSERT_NE(nullptr, manager);
  }
  // Filled and free buffers of both pools, such as "0+2 1+1".
  std::string counts() const {
    int a = -1, b = -1, c = -1, d = -1;
    manager->getInputCounts(&a, &b);
    manager->getOutputCounts(&c, &d);
    return ztbStringFormat("%d+%d %d+%d", a, b, c, d).asCstr();
  }

  SharedBufferManager* manager = nullptr;
  GivesUp callback;
};

TEST_F(SharedBufferTest, NoBuffersAreValid) {
  for (int const number : {0, INT_MIN}) {
    make(number, number, number, number, number, number);
    EXPECT_EQ("0+0 0+0", counts());
    EXPECT_TRUE(manager->acquireFreeInput() == nullptr &&
                manager->acquireFilledOutput() == nullptr);
    EXPECT_TRUE(manager->waitForOutputDrained(nullptr));
    EXPECT_FALSE(manager->waitForBuffers(nullptr, nullptr, nullptr));
    manager->getInputCounts(nullptr, nullptr);
  }
}

TEST_F(SharedBufferTest, CapacitiesAtTheEdge) {
  struct {
    int rows, columns, capacity, valuesOfARow;
  } const cases[] = {{3, 2, 3, 2}, {0, 2, 0, 2}, {-5, 2, 0, 2}, {3, 0, 1, 0}, {3, -1, 1, 0}};
  for (auto const& [rows, columns, capacity, valuesOfARow] : cases) {
    make(1, rows, columns, 0, 0, 0);
    SharedBuffer* const buffer = manager->acquireFreeInput();
    EXPECT_EQ(capacity, buffer->getRowCapacity()) << rows << " rows of " << columns;
    EXPECT_EQ(valuesOfARow, buffer->getColumnCount());
    for (int i = 0; i < capacity; ++i) EXPECT_NE(nullptr, buffer->nextRow());
    EXPECT_TRUE(buffer->nextRow() == nullptr && buffer->getRowCount() == capacity);
  }
}

TEST_F(SharedBufferTest, RowsGoRoundAndAreUsedAgain) {
  make(2, 3, 1, 1, 1, 1);
  EXPECT_EQ("0+2 0+1", counts());
  SharedBuffer* const first = manager->acquireFreeInput();
  for (int i = 0; i < 2; ++i) first->nextRow()->assign(i);
  EXPECT_EQ(2, first->getRowCount());
  SharedBuffer* const second = manager->acquireFreeInput();
  EXPECT_EQ("0+0 0+1", counts());
  EXPECT_EQ(nullptr, manager->acquireFreeInput()) << "all are held";
  first->release();
  second->release();
  EXPECT_EQ("2+0 0+1", counts());
  EXPECT_EQ(nullptr, manager->acquireFreeInput()) << "all are filled";

  ASSERT_EQ(first, manager->acquireFilledInput(nullptr));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(2 - i, first->getRowCount());
    EXPECT_EQ(i, first->nextRow()->asInt(nullptr));
  }
  EXPECT_EQ(nullptr, first->nextRow());
  ASSERT_EQ(second, manager->acquireFilledInput(nullptr));
  EXPECT_EQ(nullptr, second->nextRow()) << "no rows are handed over, too";
  first->release();
  second->release();
  EXPECT_EQ("0+2 0+1", counts());
  ASSERT_EQ(first, manager->acquireFreeInput());
  EXPECT_EQ(0, first->nextRow()->asInt(nullptr)) << "of the last use";
}

TEST_F(SharedBufferTest, GivingUpHoldsNothingAndAForeignBufferChangesNothing) {
  make(1, 1, 1, 1, 1, 1);
  EXPECT_EQ(nullptr, manager->acquireFilledInput(&callback));
  SharedBuffer* input = manager->acquireFreeInput();
  SharedBuffer* const output = manager->acquireFreeOutput(nullptr);
  for (bool const wasReading : {false, true}) {
    manager->returnBuffer(nullptr, true, wasReading);
    manager->returnBuffer(nullptr, false, wasReading);
    manager->returnBuffer(output, true, wasReading);
    manager->returnBuffer(input, false, wasReading);
  }
  SharedBuffer* filled = input;
  EXPECT_EQ(nullptr, manager->acquireFreeOutput(&callback));
  EXPECT_FALSE(manager->waitForOutputDrained(&callback));
  EXPECT_FALSE(manager->waitForBuffers(&callback, &input, &filled));
  EXPECT_TRUE(input == nullptr && filled == nullptr);
  EXPECT_EQ(5, callback.polls) << "asked twice, then once a wait";
  EXPECT_EQ("0+0 0+0", counts());
  output->release();
  EXPECT_EQ(output, manager->acquireFilledOutput());
}

TEST_F(SharedBufferTest, AWaitGivesWhatIsThere) {
  make(1, 1, 1, 1, 1, 1);
  manager->acquireFreeOutput(nullptr)->release();
  SharedBuffer* input = nullptr;
  SharedBuffer* output = nullptr;
  EXPECT_TRUE(manager->waitForBuffers(nullptr, &input, &output)) << "both at once";
  EXPECT_TRUE(input != nullptr && output != nullptr);
  input->release();
  manager->acquireFilledInput(nullptr)->release();
  EXPECT_TRUE(manager->waitForBuffers(nullptr, &input, nullptr));
}

}  // namespace
