// SPDX-License-Identifier: MIT
//
// Building blocks: their start and stop, locks, atomic counters.

#ifndef ZTBB10_H
#define ZTBB10_H

struct ZtLockRecord;
using ZtLock = ZtLockRecord*;

int ztbbInitialize(char const* executablePath, char* errorText, int errorTextSize);
void ztbbTerminate();

ZtLock ztLockCreate(int shared, int held);
int ztLockGet(ZtLock lock, int mode, int wait);
void ztLockRelease(ZtLock lock);
void ztLockDestroy(ZtLock lock);

struct ZtAtom {
  int value;
};

void ztAtomInit(ZtAtom* counter, int value);
void ztAtomAdd(ZtAtom* counter);
int ztAtomSub(ZtAtom* counter);
int ztAtomGet(ZtAtom const* counter);

#endif
