// SPDX-License-Identifier: MIT
//
// Time stamps of the monotonic clock.

#include <ctime>

#include "ztssys11.h"

void np_stamp_current(ProfileTime* now) {
  timespec time;
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  auto const microseconds = static_cast<std::uint32_t>(time.tv_nsec) / 1000;
  *now = {time.tv_sec, static_cast<std::int16_t>(microseconds / 1000),
          static_cast<std::int16_t>(microseconds % 1000)};
}

void np_stamp_diff(ProfileTime const* a, ProfileTime const* b, ProfileTime* out) {
  std::int64_t seconds = a->seconds - b->seconds;
  int milliseconds = a->milliseconds - b->milliseconds;
  int microseconds = a->microseconds - b->microseconds;
  if (microseconds < 0) {
    microseconds += 1000;
    --milliseconds;
  }
  if (milliseconds < 0) {
    milliseconds += 1000;
    --seconds;
  }
  *out = {seconds, static_cast<std::int16_t>(milliseconds),
          static_cast<std::int16_t>(microseconds)};
}
