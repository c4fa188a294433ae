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

#include "ztbconfigoptions.h"
#include "ztbdate.h"
#include "ztbstring.h"
#include "ztbstringformat.h"
#include "ztbtxtfile.h"

namespace {

// Whether the line was written, or none was wanted.
bool logLine(char const* event) {
  ZtbString path;
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  if (options == nullptr || !options->getOption(ZtbString("DEPS/LOG_PATH", true), &path)) {
    return true;
  }
  ZtbTxtFile file;
  if (!file.open(path.asCstr(), ZtbTxtFile::ModeAppend, 0, 0)) return false;
  ZtbString const now = ZtbDate::currentDate().asString(true);
  return file.writeln(ztbStringFormat("%S ztbdeps31 %s", &now, event).asCstr());
}

}  // namespace

// 0 on success; anything else makes ztbStartup fail.
extern "C" ZTB_API int ZtbDepsStartup(void* /*reserved*/) {
  return logLine("started") ? 0 : 1;
}

extern "C" ZTB_API void ZtbDepsShutdown(void* /*reserved*/) {
  logLine("stopped");
}
