// SPDX-License-Identifier: MIT
//
// Building blocks: their start and stop, locks, events, atomic counters.
//
// Rules for all of them:
// 1. Everything works at any time: before ztbbInitialize, before main, while static objects are
//    destroyed, and after ztbbTerminate.
// 2. Every lock survives fork() in a process with threads: before the fork each lock is taken, and
//    it is free again in parent and child afterwards. A lock that the forking thread itself holds
//    exclusively stays held in both. A thread must not fork while it holds a lock in shared mode,
//    and a fork handler (pthread_atfork) that was registered before the first ztbbInitialize or
//    ztLockCreate runs with all locks held: it must take none.
// 3. The uncontended way of an exclusive lock or a counter is a few inlined instructions. While the
//    process has one thread, none of them, shared mode included, takes the bus lock.
// 4. Nothing here allocates but ztbbInitialize, ztLockCreate and ztEventCreate, and nothing throws.

#ifndef ZTBB10_H
#define ZTBB10_H

#include <atomic>

struct ZtLockRecord;

// A lock, or null for none. Belongs to whoever created it.
using ZtLock = ZtLockRecord*;

// Starts the building blocks for the program at `executablePath` (not looked at on Linux).
// 0 on success; otherwise the reason, terminated and cut to `errorTextSize` bytes, is in
// `errorText`. May be called again after ztbbTerminate.
int ztbbInitialize(char const* executablePath, char* errorText, int errorTextSize);

// Stops the building blocks. Harmless at any time, also when ztbbInitialize was never reached;
// existing locks stay good.
void ztbbTerminate();

// A new lock: with `shared` 0 it is exclusive only, with 1 it has a shared and an exclusive mode.
// With `held` 1 the calling thread already holds it exclusively. Null when memory ran out.
ZtLock ztLockCreate(int shared, int held);

// The lock that is kept in `place`, made as by ztLockCreate(shared, 0) by whoever asks first: for
// what has to be guarded before `main` and while statics are destroyed, with a `place` that is
// constant-initialised to null and a lock that is never destroyed. Unlike a static with an
// initialiser, a child forked in the middle of it never waits for a thread that it doesn't have;
// the first lock of all is the exception, so a process with threads calls ztbbInitialize before it
// forks. Null as long as memory is out.
ZtLock ztLockAtFirstUse(std::atomic<ZtLock>& place, int shared);

// Takes the lock in `mode` 1 exclusive or 0 shared; a lock without a shared mode is always taken
// exclusively. Waits as long as it takes if `wait` is 1, and not at all if it is 0. 0 when the lock
// was taken; otherwise, as for a null lock, nothing was taken. Not recursive: a thread that takes a
// lock twice waits for ever. Waiting writers keep new readers out, so that they get their turn.
int ztLockGet(ZtLock lock, int mode, int wait);

// Gives back a lock that this thread holds, in whichever mode. A null lock does nothing.
void ztLockRelease(ZtLock lock);

// Ends a lock that nobody holds or waits for but, at most, the caller; who got it last may end it,
// even if the holder before is still on its way out of ztLockRelease. A null lock does nothing.
void ztLockDestroy(ZtLock lock);

// Holds a lock for the length of a block.
class ZtLockHold {
 public:
  enum Mode { kShared = 0, kExclusive = 1 };

  explicit ZtLockHold(ZtLock lock, Mode mode = kExclusive) : mLock(lock) {
    ztLockGet(mLock, mode, 1);
  }
  ZtLockHold(ZtLockHold const&) = delete;
  ZtLockHold& operator=(ZtLockHold const&) = delete;
  ~ZtLockHold() { ztLockRelease(mLock); }

 private:
  ZtLock mLock;
};

// Holds a lock exclusively for the length of a short block that starts no thread and no fork: while
// the process has one thread, there is nobody to keep out and nothing is taken.
class ZtBriefHold {
 public:
  explicit ZtBriefHold(ZtLock lock);
  ZtBriefHold(ZtBriefHold const&) = delete;
  ZtBriefHold& operator=(ZtBriefHold const&) = delete;
  ~ZtBriefHold();

 private:
  ZtLock mLock;
};

struct ZtEventRecord;

// An event, or null for none. Belongs to whoever created it.
using ZtEvent = ZtEventRecord*;

// A new event, cleared. The argument is 0. Null when memory ran out.
ZtEvent ztEventCreate(int reserved);

// Signals the event, which stays signalled until it is cleared, and wakes all who wait for it. What
// this thread did before is seen by those who find it signalled. `stay` is 1. A null event does
// nothing, here and below.
void ztEventPost(ZtEvent event, int stay);

// Clears the event: from now on ztEventWait waits again.
void ztEventClear(ZtEvent event);

// Waits until the event at `events` is signalled, and leaves it so; at most `timeoutMs`
// milliseconds, or as long as it takes if that is negative. 0 if it is signalled; non-zero when the
// time has run out, and at once for a null event. `count` and `all` are 1, `reserved` is 0, and
// `result` isn't looked at.
int ztEventWait(int count, ZtEvent const* events, int all, int timeoutMs, int reserved,
                int* result);

// Ends an event that nobody waits for or will post.
void ztEventDestroy(ZtEvent event);

// A counter that threads may change side by side. Plain data; ztAtomInit begins its life.
struct ZtAtom {
  int value;
};

// Sets the counter, with nobody else at it.
void ztAtomInit(ZtAtom* counter, int value);

// Adds 1. Orders nothing: a reference is only added by someone who has one.
void ztAtomAdd(ZtAtom* counter);

// Takes off 1 and gives the new value. What any thread did before its ztAtomSub is seen by the
// thread whose ztAtomSub comes last.
int ztAtomSub(ZtAtom* counter);

// The value now; sees what happened before the ztAtomSub calls that led to it.
int ztAtomGet(ZtAtom const* counter);

// A byte that is non-zero while the process has one thread, for code that can't include this header
// but may then change a counter by a plain addition. It changes only while the process has one
// thread, so a look at it holds until this thread starts another one.
char const* ztSoleThreadFlag();

// What the system inlines for the functions above.
#include "ztbb10_inline.h"

#endif
