// SPDX-License-Identifier: MIT
//
// Where the time of a small job goes. The totals go to the log, at level trace: the option
// BASE/LOGCONFIG_PATH has to name a logging file that says "level ZT.RTProfiler trace".
//
//   ZTEXEC_HOME=HOME ./profiler
//   ZTEXEC_HOME=HOME env BASE/LOGCONFIG_PATH=trace.cfg ./profiler

#include <rtprofiler.h>
#include <ztbinit.h>
#include <ztbreal.h>
#include <ztbstartup.h>

#include <cstdio>

namespace {

// A section for the length of a block, also where the block is left early.
class Section {
 public:
  Section(RTProfiler& profiler, char const* name) : mProfiler(profiler), mName(name) {
    mProfiler.enter();
  }
  Section(Section const&) = delete;
  Section& operator=(Section const&) = delete;
  ~Section() { mProfiler.exit(mName); }

 private:
  RTProfiler& mProfiler;
  char const* mName;
};

ZtbReal sumOfRoots(RTProfiler& profiler, int count) {
  Section const section(profiler, "sum");
  ZtbReal sum(0LL);
  for (__int64 i = 1; i <= count; ++i) {
    ZtbReal root(i);
    {
      Section const inner(profiler, "root");
      root = root.sqrt(nullptr);
    }
    sum = sum + root;
  }
  return sum;
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "profiler: %s\n", error);
    ztbShutdown();
    return 1;
  }
  {
    RTProfiler profiler;
    std::printf("%s\n", sumOfRoots(profiler, 10000).asString(20).asCstr());
    profiler.dump("roots");
  }
  ztbShutdown();
  return 0;
}
