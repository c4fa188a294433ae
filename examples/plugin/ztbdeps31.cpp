// SPDX-License-Identifier: MIT
//
// A dependency module: what an installation wants to come up and go down with each of its
// processes. This one registers the process in the folder that the option RUN/FOLDER names: a file
// there, with the process id as its name, says since when and from where the process runs, until it
// stops. The option RUN/FILE then tells the application which file it is. README.md says how to
// build the module and bring it in.

#include <unistd.h>
#include <ztbconfigoptions.h>
#include <ztbdate.h>
#include <ztbdir.h>
#include <ztbstring.h>
#include <ztbstringformat.h>
#include <ztbtxtfile.h>

#include <cstdio>
#include <string>

namespace {

// Not a ZtbString: the module outlives the memory of the library's texts.
std::string registeredFile;

ZtbString optionOf(char const* key) {
  ZtbString value;
  ztbGetConfigOptions(ZtbString())->getOption(ZtbString(key, true), &value);
  return value;
}

// The reason of a failure goes to stderr: ztbStartup itself only tells that the module failed.
bool refuse(char const* reason) {
  std::fprintf(stderr, "ztbdeps31: RUN/FOLDER: %s\n", reason);
  return false;
}

bool registerProcess(ZtbString const& folder) {
  if (folder.isNull()) return refuse("no value; give it a folder in etc/app.cfg");
  ZtbString const path = ztbConcatPath(folder, ztbStringFormat("%d", static_cast<int>(getpid())));
  ZtbTxtFile file;
  if (!file.open(path.asCstr(), ZtbTxtFile::ModeWrite, -1, 0)) {
    return refuse(file.getErrorMessage().asCstr());
  }
  registeredFile = path.asCstr();
  ZtbString const now = ZtbDate::currentDate().asString(true);
  ZtbString const from = optionOf("BASE/EXE_PATH");
  if (!file.writeln(ztbStringFormat("since %S from %S", &now, &from).asCstr())) {
    return refuse(file.getErrorMessage().asCstr());
  }
  return ztbGetConfigOptions(ZtbString())->setOption(ZtbString("RUN/FILE", true), path);
}

}  // namespace

// 0 on success; anything else makes ztbStartup fail, and the stop below is called all the same. It
// runs with a lock of start-up held: no start-up input may be queued here, and no shutdown handler
// registered.
extern "C" ZTB_API int ZtbDepsStartup(void* /*reserved*/) {
  return registerProcess(optionOf("RUN/FOLDER")) ? 0 : 1;
}

extern "C" ZTB_API void ZtbDepsShutdown(void* /*reserved*/) {
  if (!registeredFile.empty()) std::remove(registeredFile.c_str());
  registeredFile.clear();
}
