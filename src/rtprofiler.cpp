// SPDX-License-Identifier: MIT

#include "rtprofiler.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ztlog11.h"
#include "ztschr12.h"
#include "ztssys11.h"

namespace {

constexpr char kSource[] = "rtprofiler";
constexpr int kTrace = 1;
constexpr int kError = 5;
constexpr std::size_t kNameSize = 255;  // with the terminator

struct ProfileFrame {
  ProfileTime started;
  ProfileTime inner;  // the whole time of the sections directly inside
};

struct ProfileEntry {
  ProfileTime total;
  std::uint32_t count;
};

char const* textOf(char const* text) {
  return text != nullptr ? text : "";
}

void add(ProfileTime& sum, ProfileTime const& time) {
  constexpr int kUnit = 1000;
  int const microseconds = sum.microseconds + time.microseconds;
  int const carry = microseconds >= kUnit ? 1 : 0;
  int const milliseconds = sum.milliseconds + time.milliseconds + carry;
  int const nextCarry = milliseconds >= kUnit ? 1 : 0;
  sum.microseconds = static_cast<std::int16_t>(microseconds - carry * kUnit);
  sum.milliseconds = static_cast<std::int16_t>(milliseconds - nextCarry * kUnit);
  sum.seconds += time.seconds + nextCarry;
}

// Milliseconds, cut to 32 bits.
int millisecondsOf(ProfileTime const& time) {
  auto const milliseconds = static_cast<std::uint64_t>(time.seconds) * 1000 +
                            static_cast<std::uint64_t>(time.milliseconds);
  return static_cast<int>(static_cast<std::uint32_t>(milliseconds));
}

}  // namespace

struct RTProfiler::ProfileStore {
  ZtLogger* logger = ztlogGetLogger("ZT.RTProfiler");
  std::vector<ProfileFrame> frames;  // the innermost at the back
  std::map<std::string, ProfileEntry, std::less<>> entries;
  int owners = 1;

  void book(std::string_view name, ProfileTime const& own) {
    auto const found = entries.find(name);
    if (found == entries.end()) {
      entries.emplace(name, ProfileEntry{own, 1});
      return;
    }
    add(found->second.total, own);
    ++found->second.count;
  }

  // Out of line: names that have to be cut.
  void bookCut(char const* name, ProfileTime const& own) {
    char cut[kNameSize];
    book({cut, np_uchar_bufncopy(cut, name, kNameSize, UINT_MAX)}, own);
  }
};

RTProfiler::RTProfiler() : mStore(new ProfileStore) {}

RTProfiler::RTProfiler(RTProfiler const& other) : mStore(other.mStore) {
  ++mStore->owners;
}

RTProfiler& RTProfiler::operator=(RTProfiler const& other) {
  RTProfiler copy(other);
  std::swap(mStore, copy.mStore);
  return *this;
}

RTProfiler::~RTProfiler() {
  if (--mStore->owners == 0) delete mStore;
}

void RTProfiler::enter() {
  ProfileFrame frame{};
  np_stamp_current(&frame.started);
  mStore->frames.push_back(frame);
}

void RTProfiler::exit(char const* name) {
  ProfileTime now;
  np_stamp_current(&now);
  name = textOf(name);
  std::vector<ProfileFrame>& frames = mStore->frames;
  if (frames.empty()) {
    mStore->logger->operations->logFormat(mStore->logger, kError, kSource, __LINE__,
                                          "Inconsistent profile entry/exit count for %s.", name);
    return;
  }
  ProfileFrame const frame = frames.back();
  frames.pop_back();
  ProfileTime elapsed;
  np_stamp_diff(&now, &frame.started, &elapsed);
  if (!frames.empty()) add(frames.back().inner, elapsed);
  ProfileTime own;
  np_stamp_diff(&elapsed, &frame.inner, &own);
  std::size_t const length = std::strlen(name);
  length < kNameSize ? mStore->book({name, length}, own) : mStore->bookCut(name, own);
}

void RTProfiler::reset(char const* label) {
  mStore->logger->operations->logFormat(mStore->logger, kTrace, kSource, __LINE__,
                                        "Profiler reset %s", textOf(label));
  mStore->frames.clear();
  mStore->entries.clear();
}

void RTProfiler::dump(char const* label) {
  ZtLogger* const logger = mStore->logger;
  ZtLoggerOperations const* const operations = logger->operations;
  if (operations->getLevel(logger) > kTrace) return;
  operations->logFormat(logger, kTrace, kSource, __LINE__, "Profiler dump %s", textOf(label));
  for (auto const& [name, entry] : mStore->entries) {
    operations->logFormat(logger, kTrace, kSource, __LINE__, "%s,%d,%d", name.c_str(),
                          millisecondsOf(entry.total), static_cast<int>(entry.count));
  }
}
