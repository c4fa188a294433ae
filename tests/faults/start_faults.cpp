// SPDX-License-Identifier: MIT
//
// Bringing a process up on a home and taking it down, and the way of a typical one.

#include <cstdlib>
#include <filesystem>

#include "fault_scope.h"
#include "ztbcpp31.h"
#include "ztlog11.h"

namespace faults {

namespace {

// Beside the module that does nothing, which is loaded also if the option for it isn't taken.
constexpr char kProgram[] = ZTB_TEST_FAULT_MODULES "/test";

// A library that is up for the length of a scenario.
class Library {
 public:
  Library() : mIsUp(ztbInitialize(kProgram, &mReason) == 0) {}
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;
  ~Library() {
    if (mIsUp) ztbShutdown();
  }
  bool isUp() const { return mIsUp; }
  char const* reason() const { return mReason; }

 private:
  char const* mReason = nullptr;
  bool mIsUp;
};

// The queuing calls tell nobody that memory ran out, so a success may lack what was queued: then
// the scenario leaves it at that.
bool configure(Trace& trace) {
  static std::string const kLogging = pathOf("home/etc/log.cfg");
  char const* error = nullptr;
  ztbStartupAddConfigFile("extra.cfg", &error);
  ztbStartupAddOption("BASE/LOGCONFIG_PATH", kLogging.c_str(), &error);
  ztbStartupAddOption("BASE/PLUGIN_PATH", ZTB_TEST_FAULT_MODULES, &error);
  if (ztbStartup(&error) != 0) return trace.refused(error);
  return true;
}

bool isQueued() {
  ZtbConfigOptions* const files = ztbGetConfigOptions(lit(".@=Files=@."));
  ZtbConfigOptions* const options = ztbGetConfigOptions(lit(".@=CommandArgs=@."));
  return files != nullptr && options != nullptr && files->getOptionCount() == 2 &&
         options->getOptionCount() == 2;
}

bool startUp(Trace& trace) {
  Library library;
  if (!library.isUp()) return trace.refused(library.reason());
  if (!configure(trace)) return false;
  if (!isQueued()) return trace.refused();
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  if (options == nullptr) return trace.refused();
  trace.note(static_cast<long long>(options->getOptionCount()));
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; options->getOptionAt(i, &key, &value); ++i) {
    trace.require(!key.isNull(), "there is an option without a name");
    if (!trace.text(key) || !trace.text(value)) return trace.refused();
    if (!trace.text(ztbStartupGetOptionOrigin(key))) return trace.refused();
  }
  return trace.text(ztb_get_message("test", 1, "Base Services", 1353, "a", "b"));
}

// Up, an option, a file of numbers read to rows, their sum written, a program told, down.
bool typicalRoad(Trace& trace) {
  static std::string const kIn = pathOf("prices.txt");
  static std::string const kOut = pathOf("sum.txt");
  writeFile("prices.txt", "12.50\n0.1\n3 apples\n1e3\n");
  Library library;
  if (!library.isUp()) return trace.refused(library.reason());
  if (!configure(trace)) return false;
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  ZtbString rows;
  if (options == nullptr || !options->getOption(lit("report/page_rows"), &rows)) {
    return trace.refused();
  }
  if (!trace.text(rows)) return trace.refused();
  try {
    ZtbTxtFile in;
    if (!in.open(kIn.c_str(), ZtbTxtFile::ModeRead, -1, 1)) {
      return trace.refused(in.getErrorMessage());
    }
    char line[100];
    ZtbReal sum(0LL);
    int n = 0;
    while ((n = in.readln(line, sizeof line, nullptr)) >= 0) {
      ZtbDatavar value;
      if (value.assign(line).isNull()) return trace.refused();
      bool error = false;
      ZtbReal const number = value.asReal(&error);
      if (!error) sum += number;
    }
    if (n == -1) return trace.refused(in.getErrorMessage());
    ZtbString const text = sum.asString();
    ZtbString const report = ztbStringFormat("sum %S, page %S", &text, &rows);
    if (text.isNull() || report.isNull() || !trace.text(report)) return trace.refused();
    ZtbTxtFile out;
    if (!out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 0, 0)) {
      return trace.refused(out.getErrorMessage());
    }
    if (!out.writeln(report.asCstr())) return trace.refused();
  } catch (std::bad_alloc const&) {  // as the files' constructors may
    return trace.refused();
  }
  ZtbExecute program;
  program.setCommand(lit("cat"));
  program.addOption(lit(kOut.c_str()));
  if (!program.run(false, true, 30)) return refusedRun(trace, program);
  ZtbString const log = program.getOutputLog();
  if (log.isNull() || log.compare("Failed to allocate memory to read program output", true) == 0) {
    return trace.refused();
  }
  return trace.text(log);
}

// A log that is rotated while it is written. A record that can't be written is lost, and so is one
// without memory; the log goes on.
bool rotateLog(Trace& trace) {
  static std::string const kConfig = pathOf("rotate.cfg");
  writeFile("rotate.cfg", "sink all rotating path=rotated.log size=1K keep=2\nlevel * info\n");
  if (ztlogConfigure(kConfig.c_str()) != 0) return trace.refused(ztlogConfigureError());
  ZtLogger* const logger = ztlogGetLogger("ZT.Faults");
  for (int i = 0; i < 30; ++i) {
    logger->operations->logFormat(logger, 3, "faults", __LINE__, "record %d of a log", i);
  }
  Pause const pause;
  ztlogConfigure(nullptr);
  return true;
}

TEST(Faults, RotatingLog) {
  makeHome();
  tryFaults("rotating log", rotateLog);
}
TEST(Faults, StartUpAndShutdown) {
  makeHome();
  tryFaults("start-up and shutdown", startUp, {Kind::kMemory, Kind::kFiles, Kind::kDescriptors});
}

TEST(Faults, TypicalRoad) {
  makeHome();
  tryFaults("typical road", typicalRoad, {Kind::kMemory, Kind::kFiles, Kind::kDescriptors});
}

}  // namespace

void makeHome() {
  namespace fs = std::filesystem;
  static bool const once = [] {
    fs::create_directories(pathOf("home/etc"));
    fs::create_directories(pathOf("home/log"));
    fs::create_directory_symlink(ZTB_TEST_HOME "/share", pathOf("home/share"));
    fs::copy(ZTB_TEST_HOME "/etc", pathOf("home/etc"), fs::copy_options::recursive);
    writeFile("home/etc/extra.cfg", "# more\nEXTRA/ONE=1\nEXTRA/TWO=zwei\n");
    writeFile("home/etc/log.cfg", "sink all file path=../log/app.log\npattern * %l %n: %v\n");
    writeFile("home/log/app.log", "");
    setenv("ZTEXEC_HOME", pathOf("home").c_str(), 1);
    unsetenv("MARLOVEN_ERROR_LOCATION");
    return true;
  }();
  static_cast<void>(once);
}

void WithLibrary::SetUp() {
  makeHome();
  char const* error = nullptr;
  ASSERT_EQ(0, ztbInitialize(kProgram, &error)) << error;
  Trace trace;
  ASSERT_TRUE(configure(trace));
}

void WithLibrary::TearDown() {
  ztbShutdown();
}

}  // namespace faults
