// SPDX-License-Identifier: MIT
//
// The dependency module that ztbStartup loads and ztbShutdown stops: the place where an
// installation hooks in what has to come up with every process. This minimal one logs its start and
// stop as lines of the text file that the option DEPS/LOG_PATH names, and does nothing without that
// option.
//
// Both entry points take one pointer, which is null. The start runs with start-up's lock held, and
// so does the stop when a second ztbStartup replaces the module: they may use the library, but not
// queue start-up input or register shutdown handlers.

#include <cstdio>

#include "ztbconfigoptions.h"
#include "ztbdate.h"
#include "ztbstring.h"
#include "ztbstringformat.h"
#include "ztbtxtfile.h"

namespace {

bool isStarted = false;

// Whether the line was written, or none was wanted. What start-up says of a failure names no
// reason, so that stands on standard error.
bool logLine(char const* event) {
  ZtbString path;
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  if (options == nullptr || !options->getOption(ZtbString("DEPS/LOG_PATH", true), &path)) {
    return true;
  }
  ZtbTxtFile file;
  ZtbString const now = ZtbDate::currentDate().asString(true);
  if (file.open(path.asCstr(), ZtbTxtFile::ModeAppend, 0, 0) &&
      file.writeln(ztbStringFormat("%S ztbdeps31 %s", &now, event).asCstr())) {
    return true;
  }
  ZtbString const reason = file.getErrorMessage();
  std::fprintf(stderr, "ztbdeps31: can't write to the file of DEPS/LOG_PATH. %s\n",
               reason.isNull() ? "Look whether its disk is full." : reason.asCstr());
  return false;
}

}  // namespace

// 0 on success; anything else makes ztbStartup fail, and the stop still follows.
extern "C" ZTB_API int ZtbDepsStartup(void* /*reserved*/) {
  isStarted = logLine("started");
  return isStarted ? 0 : 1;
}

extern "C" ZTB_API void ZtbDepsShutdown(void* /*reserved*/) {
  if (isStarted) logLine("stopped");
}
