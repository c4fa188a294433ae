// SPDX-License-Identifier: MIT
//
// The profiler on a clock that the tests turn by hand.

#include "rtprofiler.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "ztbtest.h"
#include "ztlog11.h"
#include "ztssys11.h"

// The clock of this program: the system's, or the tests' while they have one.
namespace {
long long const* gMicroseconds = nullptr;
}
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC || gMicroseconds == nullptr) {
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  }
  *time = {*gMicroseconds / 1'000'000, *gMicroseconds % 1'000'000 * 1000 + 999};
  return 0;
}

namespace {

class RTProfilerTest : public ztbtest::LibraryTest {
 protected:
  RTProfilerTest() {
    std::string const path = mFolder.write(
        "logging.cfg",
        "sink main file path=app.log\npattern main %L %v\nlevel ZT.RTProfiler trace\n");
    EXPECT_EQ(0, ztlogConfigure(path.c_str())) << ztlogConfigureError();
    gMicroseconds = &mNow;
  }
  ~RTProfilerTest() override {
    gMicroseconds = nullptr;
    ztlogConfigure(nullptr);
  }

  // The log since the last call.
  std::string log() {
    std::string const all = ztbtest::readFile(mFolder.path("app.log"));
    std::string const fresh = all.substr(mSeen);
    mSeen = all.size();
    return fresh;
  }

  // What a dump logs behind its headline.
  std::string dumped() {
    log();
    profiler.dump("now");
    std::string text = log(), head = "1 Profiler dump now\n";
    EXPECT_EQ(head, text.substr(0, head.size()));
    return text.substr(std::min(head.size(), text.size()));
  }
  // Does the steps of a text: "(" opens a section, ")x" closes one as "x", a digit spends that many
  // milliseconds and "." a microsecond.
  void run(std::string const& steps) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      char const step = steps[i];
      if (step == '(') profiler.enter();
      if (step == ')') profiler.exit(steps.substr(++i, 1).c_str());
      if (step >= '0' && step <= '9') mNow += (step - '0') * 1000;
      if (step == '.') ++mNow;
    }
  }

  long long mNow = 5'999'990;
  RTProfiler profiler;

 private:
  ztbtest::TempFolder mFolder;
  std::size_t mSeen = 0;
};

TEST_F(RTProfilerTest, BooksOwnTimeByName) {
  char const* const rows[][2] = {
      {"", ""},
      {"(6(4)i)o", "1 i,4,1\n1 o,6,1\n"},
      {"(1(2(4)c)b)a", "1 a,1,1\n1 b,2,1\n1 c,4,1\n"},
      {"(1(2)x3)x(4)x", "1 x,10,3\n"},
      {"(1)b(2)a(3)B", "1 B,3,1\n1 a,2,1\n1 b,1,1\n"},
      {"(...)f", "1 f,0,1\n"},
      {"(1(9)a(9)b1)o", "1 a,9,1\n1 b,9,1\n1 o,2,1\n"},
      {"((1)a", "1 a,1,1\n"},
  };
  for (auto const& [steps, totals] : rows) {
    profiler.reset("test");
    EXPECT_EQ("1 Profiler reset test\n", log());
    run(steps);
    EXPECT_EQ(totals, dumped()) << steps;
  }
  profiler.reset(nullptr);
  log();
  run("1)x");
  EXPECT_EQ("5 Inconsistent profile entry/exit count for x.\n", log());
}

TEST_F(RTProfilerTest, CarriesSmallTimesAndCutsLargeOnes) {
  for (int i = 0; i < 2500; ++i) run("(.)s");
  profiler.enter();
  mNow += 4'294'967'297'000;
  profiler.exit("large");
  EXPECT_EQ("1 large,1,1\n1 s,2,2500\n", dumped());
}

TEST_F(RTProfilerTest, CutsNamesBetweenCharacters) {
  std::string const start(253, 'n');
  for (std::string const& name : {start + "é", start + "éx", start, start + "xé", start + "xy"}) {
    profiler.enter();
    profiler.exit(name.c_str());
  }
  profiler.enter();
  profiler.exit(nullptr);
  EXPECT_EQ("1 ,0,1\n1 " + start + ",0,3\n1 " + start + "x,0,2\n", dumped());
}

TEST_F(RTProfilerTest, SharesItsTotalsWithCopies) {
  run("(1)a");
  {
    RTProfiler copy(profiler);
    RTProfiler other;
    other = copy;
    other = *&other;
    other.enter();
  }
  run("2)b");
  EXPECT_EQ("1 a,1,1\n1 b,2,1\n", dumped());
  ZtLogger* const logger = ztlogGetLogger("ZT.RTProfiler");
  logger->operations->setLevel(logger, 2);
  profiler.dump("quiet");
  logger->operations->setLevel(logger, 0);
  EXPECT_EQ("", log()) << "above its level";
}

TEST(ProfileTimes, DifferInWholeFractions) {
  ProfileTime const a{5, 0, 0}, b{3, 999, 1};
  ProfileTime out;
  np_stamp_diff(&a, &b, &out);
  EXPECT_TRUE(out.seconds == 1 && out.milliseconds == 0 && out.microseconds == 999);
  np_stamp_diff(&b, &a, &out);
  EXPECT_TRUE(out.seconds == -2 && out.milliseconds == 999 && out.microseconds == 1);
}

}  // namespace
