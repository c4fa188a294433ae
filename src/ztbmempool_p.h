// SPDX-License-Identifier: MIT
//
// What the memory pool shares with the library's lifecycle and with the classes whose bodies live
// in it.

#ifndef ZTBMEMPOOL_P_H
#define ZTBMEMPOOL_P_H

// Brings the pool up with 1024 blocks in every class, or only counts if it is up. False, with
// nothing taken, when memory ran out. Not guarded: for the library's lifecycle alone.
bool ztbMemPoolStart();

// Ends one start. The last one releases everything, also blocks that are still in use. Without a
// start it does nothing.
void ztbMemPoolStop();

// Whether the pool is up. A string that is destroyed after the last stop asks this before it
// touches a body that went with the pool.
bool ztbMemPoolIsUp();

#endif
