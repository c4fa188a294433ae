// SPDX-License-Identifier: MIT
//
// The way of a typical process, which brings itself up on a home and goes down again, and its log.

#include "fault_run.h"
#include "ztbcpp31.h"
#include "ztlog11.h"

namespace faults {
namespace {

// The queuing calls tell nobody that memory ran out, so a success may lack what was queued: then
// the scenario leaves it at that.
void needQueued(Trace& trace) {
  for (char const* const name : {".@=Files=@.", ".@=CommandArgs=@."}) {
    ZtbConfigOptions* const store = ztbGetConfigOptions(lit(name));
    trace.needs(store != nullptr && store->getOptionCount() == 2);
  }
}

// Up, its options, a file of numbers, their sum written, a program told, down.
SCENARIO(FaultsAtStart, TypicalRoad) {
  trace.mayLack({Kind::kMemory, Kind::kFiles, Kind::kDescriptors});
  static std::string const kIn = writeFile("prices.txt", "12.50\n0.1\n3 apples\n1e3\n");
  static std::string const kOut = pathOf("sum.txt");
  struct Library {
    char const* reason = nullptr;
    bool const isUp = ztbInitialize(kProgram, &reason) == 0;
    ~Library() {
      if (isUp) ztbShutdown();
    }
  } const library;
  trace.needs(library.isUp, library.reason);
  startUp(trace);
  needQueued(trace);
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  trace.needs(options != nullptr);
  trace.note(options->getOptionCount());
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; options->getOptionAt(i, &key, &value); ++i) {
    trace.require(!key.isNull(), "there is an option without a name");
    trace.text(key);
    trace.text(value);
    trace.text(ztbStartupGetOptionOrigin(key));
  }
  trace.text(ztb_get_message("test", 1, "Base Services", 1353, "a", "b"));
  trace.needs(options->getOption(lit("report/page_rows"), &value));
  trace.mayThrow();  // as the files' constructors may
  ZtbTxtFile in;
  trace.needs(in.open(kIn.c_str(), ZtbTxtFile::ModeRead, -1, 1), in);
  char line[100];
  ZtbReal sum(0LL);
  int n = 0;
  while ((n = in.readln(line, sizeof line, nullptr)) >= 0) {
    ZtbDatavar cell;
    trace.needs(!cell.assign(line).isNull());
    bool error = false;
    ZtbReal const number = cell.asReal(&error);
    if (!error) sum += number;
  }
  trace.needs(n != -1, in);
  ZtbString const text = sum.asString();
  trace.needs(!text.isNull());
  ZtbString const report = ztbStringFormat("sum %S, page %S", &text, &value);
  trace.text(report);
  ZtbTxtFile out;
  trace.needs(out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 0, 0), out);
  trace.needs(out.writeln(report.asCstr()) && out.close());
  ZtbExecute program;
  program.setCommand(lit("cat"));
  program.addOption(lit(kOut));
  noteOutput(trace, program, false);
}

// A log that is rotated while it is written. A record that can't be written is lost, and so is one
// without memory; the log goes on.
SCENARIO(FaultsAtStart, RotatingLog) {
  static std::string const kConfig =
      writeFile("rotate.cfg", "sink all rotating path=rotated.log size=1K keep=2\nlevel * info\n");
  bool const isConfigured = ztlogConfigure(kConfig.c_str()) == 0;
  trace.needs(isConfigured, ztlogConfigureError());
  ZtLogger* const logger = ztlogGetLogger("ZT.Faults");
  for (int i = 0; i < 30; ++i) {
    logger->operations->logFormat(logger, 3, "faults", __LINE__, "record %d of a log", i);
  }
  Pause const pause;
  ztlogConfigure(nullptr);
}

}  // namespace
}  // namespace faults
