// SPDX-License-Identifier: MIT
//
// How far a long command has come, as a bar on standard error.

#ifndef ZTB_PROGRESS_H
#define ZTB_PROGRESS_H

#include <chrono>
#include <string>

namespace tool {

// A line that is drawn over itself, at most ten times a second, and wiped at the end:
//   [########----------------------]  27 %  271,000 records
// It shows only where standard error is a terminal and standard output isn't, whose lines it would
// fall into.
class Progress {
 public:
  // `what` is counted, up to `total`.
  Progress(std::string what, long long total);
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  ~Progress() { wipe(); }

  // `done` of the total are done. Costs a look at the clock.
  void show(long long done);

  // Frees the line for other messages.
  void wipe();

 private:
  using Clock = std::chrono::steady_clock;

  std::string mWhat;
  long long mTotal;
  bool mIsOn;
  bool mIsDrawn = false;
  Clock::time_point mNext;
};

}  // namespace tool

#endif
