// SPDX-License-Identifier: MIT
//
// The process-wide memory pool under the library's strings and variants.
//
// Requests of up to 1024 bytes come from four classes of blocks of 16, 64, 256 and 1024 bytes, each
// with a stack of free blocks; the block that was freed last is the next one handed out. A larger
// request goes to the heap. The pool comes up with the outermost ztbInitialize and goes down with
// the last ztbShutdown. Blocks of its classes then go with it, whoever still holds them; a block
// from the heap that is still held then is lost to its owner.
//
// Threads: every operation may be called from any thread. One lock guards the pool.
//
// Not a general allocator: a class only grows, and gives nothing back to the system before the
// pool goes down. Under AddressSanitizer a free block is poisoned, so a use after free is seen.

#ifndef ZTBMEMPOOL_H
#define ZTBMEMPOOL_H

#include "ztbdefs.h"

// The one pool of the process. All operations are static; objects of the class hold nothing.
class ZTB_API ZtbMemPool {
 public:
  // Takes a block of at least `size` bytes, aligned to 8 bytes, its content unspecified; 0 bytes
  // give a block too. True with the block in `*result`; false with a null `*result` when the pool
  // isn't up or memory ran out. `result` must not be null. The caller gives the block back with
  // freeBytes, once.
  static bool getBytes(unsigned int size, void** result);

  // Gives back a block that getBytes gave. A null `block` does nothing, and so does any block when
  // the pool isn't up: its memory went with the pool.
  static void freeBytes(void* block);

  // The statistics text, such as
  //   Tiny: 12 Small 3 Med: 0 Large: 1 Unmanaged: 2 Total: 18 Frees: 9
  // Requests of each class are counted on entry, also when memory then ran out; unmanaged requests
  // (above 1024 bytes) only when they succeeded. Frees are those of the classes, so the total minus
  // the frees isn't the number of blocks in use. Zeros when the pool isn't up. The counts are 32
  // bits wide and wrap; they are read without the lock, so beside other threads they may be a
  // little out of step. The text stands in one static buffer, which each call overwrites: calls on
  // several threads must not overlap.
  static char* getStats();

 private:
  friend class ZtbDatavar;
  friend class ZtbString;
  friend bool ztbMemPoolStart();
  friend void ztbMemPoolStop();

  // Points at a byte that is non-zero only while the pool is up and the process has one thread:
  // strings and variants, whose copies are made inline, then count their references without a call.
  // It changes only while no other thread runs, so a look at it holds until this thread starts one.
  static char const* soleThread;
};

#endif
