// SPDX-License-Identifier: MIT
//
// Rows of values handed between two threads, without an allocation for a row.
//
// A manager owns two pools of buffers. In the input pool a client writes and a worker reads; in the
// output pool the worker writes and the client reads. A buffer is a block of rows that is handed
// over whole: while a party holds it, nobody else touches it.
//
//   client                                        worker
//   acquireFreeInput, nextRow…, release     -->   acquireFilledInput, nextRow…, release
//   acquireFilledOutput, nextRow…, release  <--   acquireFreeOutput, nextRow…, release
//
//   Stop callback;  // a SharedBufferWaitCallback of the application
//   while (SharedBuffer* const rows = manager->acquireFilledInput(&callback)) {
//     while (ZtbDatavar* const row = rows->nextRow()) use(row[0], row[1]);
//     rows->release();
//   }
//
// A buffer is free, being written, filled, or being read, and goes through these states in this
// order. A party takes several buffers at once if it likes, but hands them on in the order in which
// it took them. Each pool has one writer and one reader at a time.
//
// Nothing here says that no more rows will come: that is for the callback, or for a buffer of no
// rows, which is handed over like any other.
//
// Threads: the operations of a manager may run in any threads at once, under the rule above. A
// buffer belongs to who holds it. Nothing throws.

#ifndef SSSHAREDBUFFER_H
#define SSSHAREDBUFFER_H

#include "ztbdatavar.h"
#include "ztbdefs.h"

// A block of rows, held from an acquire to its release and owned by the manager.
class ZTB_API SharedBuffer {
 public:
  // Values of a row.
  virtual int getColumnCount() = 0;

  // Rows that the buffer can hold. Fewer than were asked for if memory was short at its first use:
  // a quarter, or a quarter of that, and so on. Without columns it has room for one row, if any.
  virtual int getRowCapacity() = 0;

  // While writing, the rows written so far; while reading, the rows that nextRow will still give.
  virtual int getRowCount() = 0;

  // The next row, getColumnCount() values one behind the other; null behind the last one. A row
  // that is written holds the values of its last use until they are overwritten.
  virtual ZtbDatavar* nextRow() = 0;

  // Hands the buffer on: written rows to the reader, read ones back to the writer. The holder must
  // not touch it any more, nor call this again.
  virtual void release() = 0;

  // Makes the buffer ready to be written or read; the manager calls it. False without memory for a
  // single row.
  virtual bool prepare(bool forWriting) = 0;

 protected:
  // Buffers go with their manager.
  ~SharedBuffer() = default;
};

// Tells a waiting operation what to do. Asked by the thread that waits, without a lock held.
class ZTB_API SharedBufferWaitCallback {
 public:
  // 0 waits on, 1 gives up. Anything else gives up too, but leaves a mark that somebody waits: the
  // next wait of the same kind then looks at its pool once more than it has to.
  virtual unsigned char poll() = 0;

 protected:
  // Callbacks belong to the application, and aren't deleted through this class.
  ~SharedBufferWaitCallback() = default;
};

// Operations that wait are woken by what they wait for, and ask the callback every 250 ms;
// acquireFreeOutput and acquireFilledInput ask it after each wake-up that brought no buffer, too.
// A null callback waits on. Giving up holds no buffer.
class ZTB_API SharedBufferManager {
 public:
  // For the client: a buffer to write, or null if none is free. Doesn't wait.
  virtual SharedBuffer* acquireFreeInput() = 0;

  // For the client: waits for a buffer to write, or one to read, or both, whatever comes. A null
  // pointer isn't waited for, and two null pointers are false at once. True with one or both set;
  // false, with both null, when the callback gives up.
  virtual bool waitForBuffers(SharedBufferWaitCallback* callback, SharedBuffer** freeInput,
                              SharedBuffer** filledOutput) = 0;

  // For the worker: waits for a buffer to write. Null when the callback gives up.
  virtual SharedBuffer* acquireFreeOutput(SharedBufferWaitCallback* callback) = 0;

  // For the worker: waits for a buffer to read. Null when the callback gives up.
  virtual SharedBuffer* acquireFilledInput(SharedBufferWaitCallback* callback) = 0;

  // For the client: a buffer to read, or null if none is filled. Doesn't wait.
  virtual SharedBuffer* acquireFilledOutput() = 0;

  // The buffers of a pool that are filled and not yet taken, and those that are free. The rest is
  // held by somebody. A null pointer isn't filled in.
  virtual void getInputCounts(int* filled, int* free) = 0;
  virtual void getOutputCounts(int* filled, int* free) = 0;

  // Takes a buffer back; SharedBuffer::release calls it. A buffer that isn't one of the pool
  // changes nothing and wakes nobody.
  virtual void returnBuffer(SharedBuffer* buffer, bool isInput, bool wasReading) = 0;

  // Ends the manager and its buffers. Nobody may wait or hold a buffer.
  virtual void destroy() = 0;

  // For the worker: waits until all buffers of the output pool are free, so that every row has been
  // read. False when the callback gives up.
  virtual bool waitForOutputDrained(SharedBufferWaitCallback* callback) = 0;

 protected:
  // Managers end by `destroy`.
  ~SharedBufferManager() = default;
};

// A manager of two pools, with their numbers of buffers, rows in a buffer and values in a row; a
// number below 0 counts as 0. Rows take memory when a buffer is first used: a ZtbDatavar a value.
// If memory reaches for some of the buffers only, the pool is smaller; null if it reaches for none.
// To be ended with `destroy`.
[[nodiscard]] ZTB_API SharedBufferManager* ssSharedBufferManager(int inputCount, int inputRows,
                                                                 int inputColumns, int outputCount,
                                                                 int outputRows, int outputColumns);

#endif
