// SPDX-License-Identifier: MIT
//
// Files: configuration, text, records, folders, messages.

#include <unistd.h>

#include <cstring>

#include "fault_run.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

constexpr char kConfig[] =
    "# a comment\nBASE/TEMP=/tmp\nno entry\n# another\nA=1\nA=2\nLONG=a value that needs more "
    "room\n";

// Notes what a call that was `done` has written, and removes it. Gives `done`.
bool takeWritten(Trace& trace, std::string const& path, bool done) {
  Pause const pause;
  if (done) trace.note(readFile(path));
  ::unlink(path.c_str());
  return done;
}

// Reads a file, edits it, and puts it in place of the old one, which is whole until then. Edits
// that found no memory change nothing.
SCENARIO(Faults, ConfigurationFile) {
  static std::string const kPath = writeFile("edit.cfg", kConfig);
  static std::string const kNew = pathOf("edit.cfg.new");
  ZtbConfigFile file;
  trace.needs(file.read(lit(kPath)), file);
  file.setEntry(lit("base/temp"), lit("/var/tmp"));
  file.setEntry(lit("NEW"), lit("a new value"));
  file.deleteEntry(lit("LONG"));
  file.setEntryComment(lit("A"), lit(" changed"));
  ZtbConfigFile const copy(file);
  ZtbConfigFile assigned;
  assigned = copy;
  trace.needs(file.getEntry(lit("BASE/TEMP")).compare("/var/tmp", true) == 0);
  trace.needs(file.getEntry(lit("new")).compare("a new value", true) == 0);
  trace.needs(file.getEntry(lit("long")).isNull());
  trace.needs(file.getEntryComment(lit("a")).compare(" changed", true) == 0);
  trace.needs(assigned.getEntryCount() == file.getEntryCount());
  ZtbString key;
  ZtbString value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    trace.text(key);
    trace.text(value);
  }
  bool const done = file.write(lit(kNew));
  trace.require(readFile(kPath) == kConfig, "the old file isn't whole");
  trace.needs(takeWritten(trace, kNew, done), file);
}

// What memory didn't reach for stays as it was.
SCENARIO(Faults, ConfigurationOverlay) {
  trace.mayLack({Kind::kMemory});
  static std::string const kBase = writeFile("base.cfg", kConfig);
  static std::string const kOver = writeFile("over.cfg", "# mine\nA=3\n");
  static std::string const kNew = pathOf("over.cfg.new");
  ZtbConfigOverlay config;
  trace.needs(config.readBase(lit(kBase)) && config.readOverlay(lit(kOver)), config);
  config.setOverlayEntry(lit("BASE/TEMP"), lit("/scratch"));
  config.setOverlayEntry(lit("MINE"), lit("own"));
  config.setOverlayEntry(lit("A"), ZtbString());
  config.setEntryComment(lit("LONG"), lit(" copied"));
  ZtbConfigOverlay const copy(config);
  ZtbConfigOverlay assigned;
  assigned = copy;
  trace.needs(assigned.getEntryCount() == 4);
  ZtbString key;
  for (int i = 0; i < 4; ++i) {
    ZtbString base;
    ZtbString over;
    trace.needs(assigned.getEntry(i, &key, &base, &over));
    trace.text(key);
    trace.needs(base.isNull() == (i == 3));
    trace.needs(over.isNull() == (i == 0));
    trace.needs(i != 1 || over.compare("/scratch", true) == 0);
    trace.needs(i != 2 || config.getEntryComment(key).compare(" copied", true) == 0);
    trace.needs(i != 3 || over.compare("own", true) == 0);
    trace.note(base.asCstr());
    trace.note(over.asCstr());
  }
  bool const done = assigned.writeOverlay(lit(kNew));
  trace.needs(takeWritten(trace, kNew, done), assigned);
}

SCENARIO(Faults, OptionStores) {
  trace.mayLack({Kind::kFiles, Kind::kDescriptors});
  static std::string const kPath = writeFile("stores/one.cfg", "A=1\nB=2\n");
  static std::string const kFolder = pathOf("stores");
  writeFile("stores/two.cfg", "B=3\n");
  struct Store {
    ZtbConfigOptions* const options = ztbGetConfigOptions(lit("faults"));
    ~Store() {
      Pause const pause;  // clearing a store that memory is lacking to name has no result
      ztbClearConfigOptions(lit("faults"));
    }
  } const store;
  trace.needs(store.options != nullptr);
  ZtbConfigFile file;
  trace.needs(store.options->setOption(lit("KEY"), lit("value")) && file.read(lit(kPath)));
  trace.needs(store.options->applyConfigFile(file));
  trace.needs(store.options->readConfigDirectory(lit(kFolder), lit("cfg")), *store.options);
  ZtbString key;
  ZtbString value;
  for (unsigned i = 0; store.options->getOptionAt(i, &key, &value); ++i) {
    trace.text(key);
    trace.text(value);
  }
  store.options->removeOption(lit("key"));
  trace.note(store.options->getOptionCount());
}

SCENARIO(Faults, TextFile) {
  trace.mayThrow();
  static std::string const kIn =
      writeFile("in.txt", "caf\xe9\r\ncr\xe8me, and a line that is longer than the others\nlast");
  static std::string const kOut = pathOf("out.txt");
  ZtbTxtFile in;
  ZtbTxtFile out;
  trace.needs(in.open(kIn.c_str(), ZtbTxtFile::ModeRead, 24, 0), in);
  trace.needs(out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 7, 1), out);
  char line[64];
  int n = 0;
  while ((n = in.readln(line, sizeof line, nullptr)) >= 0) {
    trace.note(line);
    trace.needs(out.writeln(line));
  }
  trace.needs(n != -1, in);
  trace.needs(out.close() && in.close());
  trace.needs(in.open(kOut.c_str(), ZtbTxtFile::ModeRead, -1, 1), in);
  trace.note(in.getencoding());
  trace.needs(in.read(line, sizeof line) >= 0, in);
  trace.note(line);
  __int64 const size = in.size();
  trace.needs(size != 0);
  trace.note(size);
  // Through the system's converter.
  trace.needs(out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 25, 0), out);
  trace.needs(out.writeln("plain"));
}

SCENARIO(Faults, FixedWidthFile) {
  trace.mayThrow();
  static std::string const kPath = pathOf("stock.dat");
  ZtbTxtFileFW file;
  trace.needs(file.open(kPath.c_str(), ZtbTxtFileFW::ModeWrite, 24, 0), file);
  char record[11] = "";
  for (int i = 0; i < 5; ++i) {
    std::memset(record, 'a' + i, 10);
    trace.needs(file.write(record, 10));
  }
  trace.needs(file.recseek(3, 10));
  trace.needs(file.read(record, 4) == 4, file);
  trace.note(record);
  trace.needs(file.unread("xy", 2));
  int const n = file.read(record, 10);
  trace.needs(n >= 0, file);
  trace.note(n);
  trace.note(record);
  char text[32];
  trace.needs(file.encode(text, sizeof text, "caf\xe9") >= 0);
  trace.note(text);
  trace.needs(file.decode(record, sizeof record, "caf\u00e9") >= 0);
  __int64 const size = file.size();
  trace.needs(size != 0);
  trace.note(size);
  file.close();
  trace.needs(file.open(kPath.c_str(), ZtbTxtFileFW::ModeAppend, -1, 0), file);
  trace.needs(file.write("tail", 4));
}

SCENARIO(Faults, FoldersAndPaths) {
  trace.mayLack({Kind::kFiles});
  static std::string const kFolder = pathOf("listed");
  writeFile("listed/sub/c.txt", "");
  writeFile("listed/b.txt", "bb");
  writeFile("listed/a.txt", "a");
  ZtbDirectoryListing listing;
  trace.needs(listing.init(lit(kFolder), ZtbDirectoryListing::FlagNoDots), listing);
  while (listing.next()) {
    trace.text(listing.getName());
    trace.note(listing.isDir());
    if (!listing.isDir()) trace.note(listing.getSize());
    ZtbString const path = listing.getFullPathName();
    trace.needs(!path.isNull());
    ZtbString name;
    ZtbString const folder = ztbParsePath(path, &name);
    trace.needs(!folder.isNull());
    trace.text(name);
    ZtbString const joined = ztbConcatPath(folder, name);
    trace.needs(!joined.isNull());
    trace.note(joined.compare(path, true));
  }
}

SCENARIO(Faults, Messages) {
  trace.mayLack({Kind::kMemory});
  trace.text(ztb_get_message("test", 7, "Base Services", 1353, "file", "reason"));
  trace.text(ztb_get_message("test", 7, "No Group", 1));
  trace.text(ztb_get_fragment(444));
}

}  // namespace
}  // namespace faults
