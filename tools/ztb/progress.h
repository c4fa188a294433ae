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
// In a terminal that is too narrow for it the bar is left out, so that the line is still one.
// It shows only where standard error is a terminal, and not where it would fall into lines of
// standard output.
class Progress {
 public:
  // Whether the command prints lines meanwhile.
  enum Place { kBesideLines, kAlone };

  // `what` is counted, up to `total`.
  Progress(std::string what, long long total, Place place = kBesideLines);
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
