// SPDX-License-Identifier: MIT
//
// Where a thread's time goes: sections of code, timed by name and without the time of the sections
// inside them.
//
//   RTProfiler profiler;
//   profiler.enter();
//   readFile();
//   profiler.enter();
//   parse();
//   profiler.exit("parse");
//   profiler.exit("load");  // without the time of "parse"
//   profiler.dump("nightly load");
//
// The totals go to the log, by the logger "ZT.RTProfiler":
//
//   Profiler dump nightly load
//   load,310,1
//   parse,1204,1
//
// A line is name, milliseconds and number of sections, in the order of the names' bytes. Names are
// case-sensitive; of a longer one the first 254 bytes count, less what they cut of a character. A
// null name or label counts as the empty one.
//
// Sections are paired by their nesting alone: `exit` closes the innermost open one, and names it.
//
// A profiler and its copies belong to one thread at a time; give each thread its own. Out of memory
// is std::bad_alloc: a section isn't opened then, or is closed but not booked.

#ifndef RTPROFILER_H
#define RTPROFILER_H

#include "ztbdefs.h"

// The open sections of a thread, and the totals of its names.
class ZTB_API RTProfiler {
 public:
  // Without sections and totals. Profilers work at any time, also while the library is down.
  RTProfiler();

  // A copy shares open sections and totals with the original.
  RTProfiler(RTProfiler const& other);
  RTProfiler& operator=(RTProfiler const& other);

  // Sections and totals go with the last object that shares them; nothing is written.
  ~RTProfiler();

  // Opens a section. The clock is read first, and the time of what follows is the section's.
  void enter();

  // Closes the innermost open section and adds its time to `name`. The clock is read first: what is
  // booked here counts for the section around it. Without an open section nothing is booked, and
  // the log gets an error.
  //
  // The two cost together about two readings of the clock and a lookup among the names.
  void exit(char const* name);

  // Forgets all open sections and all totals, with a record for the log (level trace).
  void reset(char const* label);

  // Writes the totals to the log, at level trace; nothing at all if the logger is set above it.
  // They stay, and go on growing. Milliseconds are whole; they and the count are cut to 32 bits.
  void dump(char const* label);

 private:
  struct ProfileStore;
  ProfileStore* mStore;
};

#endif
