// SPDX-License-Identifier: MIT
//
// What variants share with the library's lifecycle.

#ifndef ZTBDATAVAR_P_H
#define ZTBDATAVAR_P_H

// Gets ready to keep track of the numbers of Real variants. False when memory ran out.
bool ztbDatavarStart();

// Frees the numbers of those Real variants that are still alive. For the library's lifecycle alone,
// after the pool has gone and taken the variants' bodies with it. Without a start it does nothing.
void ztbDatavarStop();

#endif
