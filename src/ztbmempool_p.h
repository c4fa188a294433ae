// SPDX-License-Identifier: MIT
//
// What the memory pool shares with the library's lifecycle and with the classes whose bodies live
// in it.

#ifndef ZTBMEMPOOL_P_H
#define ZTBMEMPOOL_P_H

bool ztbMemPoolStart();
void ztbMemPoolStop();

// Whether the pool is up. A string that is destroyed after the last stop asks this before it
// touches a body that went with the pool.
bool ztbMemPoolIsUp();

#endif
