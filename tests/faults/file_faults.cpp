// SPDX-License-Identifier: MIT
//
// Files: configuration, text, records, folders.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "fault_scope.h"
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

// Reads a file, edits it, and puts it in place of the old one, which is whole until then.
bool editConfig(Trace& trace) {
  static std::string const kPath = pathOf("edit.cfg");
  static std::string const kNew = pathOf("edit.cfg.new");
  writeFile("edit.cfg", kConfig);
  ZtbConfigFile file;
  bool done = file.read(lit(kPath.c_str()));
  if (done) {
    file.setEntry(lit("base/temp"), lit("/var/tmp"));
    file.setEntry(lit("NEW"), lit("a new value"));
    file.deleteEntry(lit("LONG"));
    file.setEntryComment(lit("A"), lit(" changed"));
    ZtbConfigFile const copy(file);
    ZtbConfigFile assigned;
    assigned = copy;
    // Edits that found no memory change nothing.
    done = file.getEntry(lit("BASE/TEMP")).compare("/var/tmp", true) == 0 &&
           file.getEntry(lit("new")).compare("a new value", true) == 0 &&
           file.getEntry(lit("long")).isNull() &&
           file.getEntryComment(lit("a")).compare(" changed", true) == 0 &&
           assigned.getEntryCount() == file.getEntryCount();
    if (!done) return trace.refused();
    ZtbString key;
    ZtbString value;
    for (bool more = file.getNextEntry(true, &key, &value); more;
         more = file.getNextEntry(false, &key, &value)) {
      if (!trace.text(key) || !trace.text(value)) return trace.refused();
    }
    done = file.write(lit(kNew.c_str()));
  }
  trace.require(readFile(kPath) == kConfig, "the old file isn't whole");
  return takeWritten(trace, kNew, done) || trace.refused(file.getErrorMessage());
}

bool overlay(Trace& trace) {
  static std::string const kBase = pathOf("base.cfg");
  static std::string const kOver = pathOf("over.cfg");
  static std::string const kNew = pathOf("over.cfg.new");
  writeFile("base.cfg", kConfig);
  writeFile("over.cfg", "# mine\nA=3\n");
  ZtbConfigOverlay config;
  bool done = config.readBase(lit(kBase.c_str())) && config.readOverlay(lit(kOver.c_str()));
  if (!done) return trace.refused(config.getErrorMessage());
  config.setOverlayEntry(lit("BASE/TEMP"), lit("/scratch"));
  config.setOverlayEntry(lit("MINE"), lit("own"));
  config.setOverlayEntry(lit("A"), ZtbString());
  config.setEntryComment(lit("LONG"), lit(" copied"));
  ZtbConfigOverlay const copy(config);
  ZtbConfigOverlay assigned;
  assigned = copy;
  if (assigned.getEntryCount() != 4) return trace.refused();
  ZtbString key;
  for (int i = 0; i < 4; ++i) {
    ZtbString base;
    ZtbString over;
    if (!assigned.getEntry(i, &key, &base, &over) || key.isNull()) return trace.refused();
    // What memory didn't reach for stays as it was.
    if (i == 1 && over.compare("/scratch", true) != 0) return trace.refused();
    if (i == 3 && over.compare("own", true) != 0) return trace.refused();
    if (i == 0 && !over.isNull()) return trace.refused();
    if (i == 2 && (over.isNull() || config.getEntryComment(key).compare(" copied", true) != 0)) {
      return trace.refused();
    }
    if (i < 3 && base.isNull()) return trace.refused();
    trace.note(key.asCstr());
    trace.note(base.asCstr());
    trace.note(over.asCstr());
  }
  done = assigned.writeOverlay(lit(kNew.c_str()));
  return takeWritten(trace, kNew, done) || trace.refused(assigned.getErrorMessage());
}

bool optionStores(Trace& trace) {
  static std::string const kFolder = pathOf("stores");
  static std::string const kPath = pathOf("stores/one.cfg");
  {
    Pause const pause;
    std::filesystem::create_directories(kFolder);
  }
  writeFile("stores/one.cfg", "A=1\nB=2\n");
  writeFile("stores/two.cfg", "B=3\n");
  bool done = false;
  if (ZtbConfigOptions* const store = ztbGetConfigOptions(lit("faults"))) {
    ZtbConfigFile file;
    done = store->setOption(lit("KEY"), lit("value")) && file.read(lit(kPath.c_str())) &&
           store->applyConfigFile(file);
    if (done && !store->readConfigDirectory(lit(kFolder.c_str()), lit("cfg"))) {
      done = trace.refused(store->getErrorMessage());
    }
    ZtbString key;
    ZtbString value;
    for (unsigned i = 0; done && store->getOptionAt(i, &key, &value); ++i) {
      done = trace.text(key) && trace.text(value);
    }
    store->removeOption(lit("key"));
    if (done) trace.note(static_cast<long long>(store->getOptionCount()));
  }
  {
    Pause const pause;  // clearing a store that memory is lacking to name has no result
    ztbClearConfigOptions(lit("faults"));
  }
  return done;
}

bool textFile(Trace& trace) {
  static std::string const kIn = pathOf("in.txt");
  static std::string const kOut = pathOf("out.txt");
  writeFile("in.txt", "caf\xe9\r\ncr\xe8me, and a line that is longer than the others\nlast");
  try {
    ZtbTxtFile in;
    ZtbTxtFile out;
    if (!in.open(kIn.c_str(), ZtbTxtFile::ModeRead, 24, 0)) {
      return trace.refused(in.getErrorMessage());
    }
    if (!out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 7, 1)) {
      return trace.refused(out.getErrorMessage());
    }
    char line[64];
    bool complete = false;
    int n = 0;
    while ((n = in.readln(line, sizeof line, &complete)) >= 0) {
      trace.note(line);
      if (!out.writeln(line)) return trace.refused();
    }
    if (n == -1) return trace.refused(in.getErrorMessage());
    if (!out.close() || !in.close()) return trace.refused();
    if (!in.open(kOut.c_str(), ZtbTxtFile::ModeRead, -1, 1)) {
      return trace.refused(in.getErrorMessage());
    }
    trace.note(static_cast<long long>(in.getencoding()));
    if (in.read(line, sizeof line) < 0) return trace.refused(in.getErrorMessage());
    trace.note(line);
    __int64 const size = in.size();
    if (size == 0) return trace.refused();
    trace.note(size);
    // Through the system's converter.
    if (!out.open(kOut.c_str(), ZtbTxtFile::ModeWrite, 25, 0)) {
      return trace.refused(out.getErrorMessage());
    }
    return out.writeln("plain") || trace.refused();
  } catch (std::bad_alloc const&) {  // as the constructors may
    return trace.refused();
  }
}

bool records(Trace& trace) {
  static std::string const kPath = pathOf("stock.dat");
  try {
    ZtbTxtFileFW file;
    if (!file.open(kPath.c_str(), ZtbTxtFileFW::ModeWrite, 24, 0)) {
      return trace.refused(file.getErrorMessage());
    }
    char record[10];
    for (int i = 0; i < 5; ++i) {
      std::memset(record, 'a' + i, sizeof record);
      if (!file.write(record, sizeof record)) return trace.refused();
    }
    if (!file.recseek(3, sizeof record)) return trace.refused();
    int n = file.read(record, 4);
    if (n != 4) return trace.refused(file.getErrorMessage());
    trace.note(std::string_view(record, 4) == "dddd" ? "d" : "?");
    if (!file.unread("xy", 2)) return trace.refused();
    n = file.read(record, sizeof record);
    if (n < 0) return trace.refused(file.getErrorMessage());
    trace.note(static_cast<long long>(n));
    trace.note(std::string_view(record, 3) == "xyd" ? "xyd" : "?");
    char text[32];
    if (file.encode(text, sizeof text, "caf\xe9") < 0) return trace.refused();
    trace.note(text);
    if (file.decode(record, sizeof record, "caf\u00e9") < 0) return trace.refused();
    __int64 const size = file.size();
    if (size == 0) return trace.refused();
    trace.note(size);
    file.close();
    if (!file.open(kPath.c_str(), ZtbTxtFileFW::ModeAppend, -1, 0)) {
      return trace.refused(file.getErrorMessage());
    }
    return file.write("tail", 4) || trace.refused();
  } catch (std::bad_alloc const&) {
    return trace.refused();
  }
}

bool folders(Trace& trace) {
  static std::string const kFolder = pathOf("listed");
  {
    Pause const pause;
    std::filesystem::create_directories(kFolder + "/sub");
    writeFile("listed/b.txt", "bb");
    writeFile("listed/a.txt", "a");
  }
  ZtbDirectoryListing listing;
  if (!listing.init(lit(kFolder.c_str()), ZtbDirectoryListing::FlagNoDots)) {
    return trace.refused(listing.getErrorMessage());
  }
  while (listing.next()) {
    ZtbString const path = listing.getFullPathName();
    if (path.isNull() || !trace.text(listing.getName())) return trace.refused();
    trace.note(static_cast<long long>(listing.isDir()));
    ZtbString name;
    ZtbString const folder = ztbParsePath(path, &name);
    if (folder.isNull()) return trace.refused();
    if (!trace.text(name)) return trace.refused();
    ZtbString const joined = ztbConcatPath(folder, name);
    if (joined.isNull()) return trace.refused();
    trace.note(static_cast<long long>(joined.compare(path, true)));
    if (!listing.isDir()) trace.note(static_cast<long long>(listing.getSize()));
  }
  return true;
}

bool messages(Trace& trace) {
  return trace.text(ztb_get_message("test", 7, "Base Services", 1353, "file", "reason")) &&
         trace.text(ztb_get_message("test", 7, "No Group", 1)) && trace.text(ztb_get_fragment(444));
}

using FaultsInFiles = WithLibrary;

TEST_F(FaultsInFiles, EditConfiguration) {
  tryFaults("configuration file", editConfig);
}
TEST_F(FaultsInFiles, Overlay) {
  tryFaults("configuration overlay", overlay, {Kind::kMemory});
}
TEST_F(FaultsInFiles, OptionStores) {
  tryFaults("option stores", optionStores, {Kind::kFiles, Kind::kDescriptors});
}
TEST_F(FaultsInFiles, Text) {
  tryFaults("text file", textFile);
}
TEST_F(FaultsInFiles, Records) {
  tryFaults("fixed-width file", records);
}
TEST_F(FaultsInFiles, Folders) {
  tryFaults("folders and paths", folders, {Kind::kFiles});
}
TEST_F(FaultsInFiles, Messages) {
  tryFaults("messages", messages, {Kind::kMemory});
}

}  // namespace
}  // namespace faults
