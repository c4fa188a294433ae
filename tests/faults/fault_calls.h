// SPDX-License-Identifier: MIT
//
// Calls that fail on demand: allocations, and whatever the platform layer asks of the system. Each
// kind of failure counts the calls that can fail in its way, and the plan says which one does.
//
// The linker leads the calls of this program's objects here; operator new and the standard streams
// are replaced for the shared libraries as well. One plan holds for all threads; a thread that is
// paused sees none.

#ifndef FAULT_CALLS_H
#define FAULT_CALLS_H

namespace faults {

enum class Kind {
  kNone,
  kMemory,       // no memory: operator new, the memory pool, what the system allocates
  kLocks,        // no lock, no event
  kFiles,        // EIO from every operation on files and folders
  kDiskFull,     // ENOSPC from what writes or creates
  kDescriptors,  // EMFILE from what opens
  kInterrupted,  // EINTR from what may be tried again
  kShort,        // reads and writes that take a single byte
  kProcesses,    // what starts, watches and ends programs, loads modules, and gives random bytes
};

// Whether the n-th call fails alone, or each from there on.
enum class Reach { kOne, kFromThere };

struct Plan {
  Kind kind = Kind::kNone;
  long nth = 0;
  Reach reach = Reach::kOne;
};

// How many calls failed, and the name of the first that did.
struct Tally {
  long given = 0;
  char const* first = nullptr;
  bool leavesFiles = false;  // a file couldn't be removed
};

void arm(Plan const& plan);
Tally disarm();

// Keeps the plan away from this thread for the length of a block: for what a test does itself.
class Pause {
 public:
  Pause();
  Pause(Pause const&) = delete;
  Pause& operator=(Pause const&) = delete;
  ~Pause();
};

// The blocks of operator new and of the library's locked memory that nobody has given back.
long liveBlocks();

}  // namespace faults

#endif
