// SPDX-License-Identifier: MIT
//
// Work that the keyboard, or somebody who ends the process, must not cut in two.

#ifndef ZTB_HELD_SIGNALS_H
#define ZTB_HELD_SIGNALS_H

#include <signal.h>

namespace tool {

// Holds the signals back that end or stop the process, unless it ignores them; they come when the
// block ends. For processes with one thread.
class HeldSignals {
 public:
  HeldSignals() {
    sigemptyset(&mHeld);
    for (int const number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
      struct sigaction action = {};
      sigaction(number, nullptr, &action);
      if (action.sa_handler != SIG_IGN) sigaddset(&mHeld, number);
    }
    sigprocmask(SIG_BLOCK, &mHeld, &mBefore);
  }
  HeldSignals(HeldSignals const&) = delete;
  HeldSignals& operator=(HeldSignals const&) = delete;
  ~HeldSignals() { sigprocmask(SIG_SETMASK, &mBefore, nullptr); }

  sigset_t const& signals() const { return mHeld; }

 private:
  sigset_t mHeld;
  sigset_t mBefore;
};

}  // namespace tool

#endif
