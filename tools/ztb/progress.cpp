// SPDX-License-Identifier: MIT

#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {

constexpr auto kPause = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;

std::string withCommas(long long number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
  return text;
}

// Those of the terminal, or as many as most have.
std::size_t columns() {
  winsize size{};
  bool const isTold = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isTold ? size.ws_col : 80;
}

}  // namespace

// The first bar waits too, so that a short command shows none.
Progress::Progress(std::string what, long long total, Place place)
    : mWhat(std::move(what)),
      mTotal(std::max(total, 1LL)),
      mIsOn(::isatty(STDERR_FILENO) == 1 && (place == kAlone || ::isatty(STDOUT_FILENO) == 0)),
      mNext(Clock::now() + kPause) {}

void Progress::show(long long done) {
  if (!mIsOn || Clock::now() < mNext) return;
  mNext = Clock::now() + kPause;
  double const share = std::clamp(static_cast<double>(done) / static_cast<double>(mTotal), 0., 1.);
  auto const filled = static_cast<std::size_t>(share * kBarWidth);
  std::string const bar = '[' + std::string(filled, '#') + std::string(kBarWidth - filled, '-');
  char percent[16];
  std::snprintf(percent, sizeof percent, "%3d %%  ", static_cast<int>(share * 100));
  std::string line = percent + withCommas(done) + ' ' + mWhat;
  std::size_t const room = columns() - 1;
  if (bar.size() + 2 + line.size() <= room) line = bar + "] " + line;
  std::fprintf(stderr, "\r%s", line.substr(0, room).c_str());
  mIsDrawn = true;
}

void Progress::wipe() {
  if (mIsDrawn) std::fputs("\r\033[K", stderr);
  mIsDrawn = false;
}

}  // namespace tool
