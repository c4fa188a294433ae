// SPDX-License-Identifier: MIT
//
// All families at once: threads that each use objects of their own and, beside that, share strings,
// variants, stores, singletons, buffers, the user, the log, the messages and the children of one
// process. Every step looks at what it got, and at the end nothing may be left.
//
// ZTB_THREADS_SECONDS says for how long; with it, the test tells how many steps there were.

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <iterator>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "uritest.h"
#include "ztbcpp31.h"
#include "ztbtest.h"

namespace {

using uritest::shown;
using uritest::str;

constexpr int kThreads = 6;
constexpr int kSlots = 8;
// A user "kim" with the password "hush", by a hash that costs nearly nothing, and a credential.
constexpr char kUsers[] =
    "ztb-users 1\nkim:OFFICE:kim.x:argon2id,1,8,bmazLYmevHQBjrHqtjqAjw,"
    "h5AS6lvG_IVQ0T8CReNTzvGvT95e2S_jGZpw0jo2VfU:x25519,"
    "8H1J2KBacvf1E40S_gEn1_vFV8BZRRgPR1EA7mttjmI:SALES="
    "b6bngM4loEhocdOij5eFwFPWvF0K2Ulqut3G_I_Z9U0UKLhqvqiCMD5f_lMbCwDeY96wzs542Mz9bPI_5_LSP8JxWqR_F-"
    "mFOjBUwWtkJ3EHamcT6atQfFHFXjGh8SyWKVBcCNLS5cevmS46pAYE0yqqXn7i8GSTdMt9LSewb6OSKyDGf5JsRUpF6vYX"
    "sbSOIYm3ImG_lDyW6HusFmBcq76rWLSWeXhZESFEMoAWV-8\n";

ZtbString lit(char const* text) {
  return {text, true};
}

// What all threads work on. A lock stands around one object, which is nobody else's to guard; the
// bodies and blocks behind it wander from thread to thread.
struct Shared {
  struct Slot {
    std::mutex lock;
    ZtbString text = str("0:");
    ZtbDatavar value;
    void* block = nullptr;
  } slots[kSlots];
  ZtbDatavar readByAll;
  std::mutex tableLock;
  std::mutex statsLock;
  std::mutex uniqueLock;
  std::set<std::string> unique;
  std::atomic<int> dumps = 0;
  std::atomic<int> appended = 0;
  std::atomic<int> instances = 0;
  std::atomic<bool> isWrong = false;
};
Shared* shared = nullptr;

// A text that tells by itself whether it is whole, of a length that `seed` chooses.
std::string proof(unsigned seed) {
  std::size_t const length = seed % 16 == 0 ? seed % 3000 : seed % 70;
  return std::to_string(seed) + ":" + std::string(length, static_cast<char>('a' + seed % 26));
}
bool isProof(ZtbString const& text) {
  return proof(static_cast<unsigned>(std::strtoul(text.asCstr(), nullptr, 10))) == text.asCstr();
}

// A thread, with a folder of its own.
struct Worker {
  int number;
  std::string folder;
  char const* step = "";
  std::minstd_rand random{static_cast<unsigned>(number) + 1};

  unsigned below(unsigned limit) { return static_cast<unsigned>(random()) % limit; }
  std::string path(char const* name) const { return folder + "/" + name; }
  // A name that no other thread uses.
  std::string own(char const* name) const { return name + std::to_string(number); }

  void same(std::string const& got, std::string const& wanted) {
    holds(got == wanted, got, wanted);
  }
  void holds(bool isGood, std::string const& got = "", std::string const& wanted = "") {
    if (isGood || shared->isWrong.exchange(true)) return;
    ADD_FAILURE() << step << ": \"" << got << "\", not \"" << wanted << "\"";
  }
};

void strings(Worker& me) {
  std::string const text = proof(me.below(100000));
  ZtbString string = str(text);
  string.append("\u00c4-", nullptr).append(lit("end "), nullptr);
  ZtbString copy = string;
  copy.lowercase();
  copy.trim(true, true);
  me.same(copy.asCstr(), text + "\u00e4-end");
  me.same(string.asCstr(), text + "\u00c4-end ");
  me.same(string.replace(lit("end"), lit("E"), 0, -1).right(3).asCstr(), "-E ");
  me.holds(copy.compare(string, false) < 0 && copy.assign(me.number).asInt(nullptr) == me.number);
}

void sharedStrings(Worker& me) {
  Shared::Slot& slot = shared->slots[me.below(kSlots)];
  ZtbString mine;
  {
    std::lock_guard const guard(slot.lock);
    mine = slot.text;
  }
  me.holds(isProof(mine), mine.asCstr(), "a proof");
  ZtbString changed = mine;
  ZtbString const kept = changed;
  changed.append("!", nullptr);
  me.same(changed.asCstr(), kept.asCstr() + std::string("!"));
  if (me.below(2) == 0) mine = str(proof(me.below(100000)));
  std::lock_guard const guard(slot.lock);
  slot.text = mine;
}

void pool(Worker& me) {
  unsigned const size = me.below(1500) + 1;
  void* block = nullptr;
  me.holds(ZtbMemPool::getBytes(size, &block));
  std::memset(block, me.number, size);
  std::string const wanted(size, static_cast<char>(me.number));
  me.holds(std::memcmp(block, wanted.data(), size) == 0);
  Shared::Slot& slot = shared->slots[me.below(kSlots)];
  {
    std::lock_guard const guard(slot.lock);
    std::swap(slot.block, block);
  }
  ZtbMemPool::freeBytes(block);
  std::lock_guard const guard(shared->statsLock);
  me.holds(std::strncmp(ZtbMemPool::getStats(), "Tiny: ", 6) == 0);
}

void reals(Worker& me) {
  auto const n = static_cast<__int64>(me.below(1000000)) + 1;
  ZtbReal third = ZtbReal(n) / ZtbReal(3LL);
  me.holds((third * 3.0).round(9) == (ZtbReal(n) * ZtbReal(n)).sqrt(nullptr));
  ZtbReal back;
  back.assign(third.asString().asCstr());
  me.holds(back == third && back.asInt64(nullptr) == n / 3);
  ZT_SQL_NUMERIC_STRUCT record;
  bool overflow = true;
  ZtbReal(n).asSQLNumeric(&record, &overflow, 38, 2);
  me.holds(!overflow && back.assign(&record) == ZtbReal(n));
}

void dates(Worker& me) {
  ZtbDate const date(static_cast<double>(me.below(2000000000)));
  ZtbDate const back(date.asString(true).asCstr());
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  ZtbDate(back).getElements(&year, &month, &day, &hour, &minute, &second);
  me.holds(ZtbDate(year, month, day, hour, minute, second).compare(date) == 0);
  me.holds(!ZtbDate::currentDate().isNull());
}

void variants(Worker& me) {
  std::string const text = proof(me.below(100000));
  ZtbDatavar value;
  value.assign(text.c_str());
  ZtbDatavar copy = value;
  copy.assign(static_cast<__int64>(me.number)).setType(ztbTypeReal);
  me.holds(copy.asInt(nullptr) == me.number && copy.type() == ztbTypeReal);
  me.same(value.asString().asCstr(), text);
  copy.assign(ZtbDate(86400.0));
  me.same(copy.asDate().asString(true).asCstr(), "1970-01-02 00:00:00");
  me.holds(ztbTypeFromString(ztbTypeToString(copy.type())) == ztbTypeDate);
}

void sharedVariants(Worker& me) {
  me.holds(shared->readByAll.asReal(nullptr) == ZtbReal(0.125));
  // Some are texts of any length, others integers, which are written in place if they can be.
  unsigned const place = me.below(kSlots);
  bool const isInteger = place % 2 == 0;
  Shared::Slot& slot = shared->slots[place];
  ZtbDatavar mine;
  {
    std::lock_guard const guard(slot.lock);
    mine = slot.value;
  }
  bool const isWhole = isInteger ? mine.asInt64(nullptr) % 1'000'000'007 == 0
                                 : mine.isNull() || isProof(mine.asString());
  me.holds(isWhole, mine.asString().asCstr(), "a proof");
  ZtbDatavar changed = mine;
  changed.assign(me.number);
  changed = shared->readByAll;
  unsigned const seed = me.below(100000);
  if (seed % 2 == 0) {
    isInteger ? mine.assign(seed * 1'000'000'007LL) : mine.assign(proof(seed).c_str());
  }
  std::lock_guard const guard(slot.lock);
  slot.value = mine;
}

void types(Worker& me) {
  char const* const texts[] = {"yes", "12", "1.5", "1989-02-03", "3 apples"};
  unsigned const type = me.below(5);
  me.holds(determineType(lit(texts[type])) == static_cast<determinedType>(type));
}

void formats(Worker& me) {
  ZtbString const name = str(proof(me.below(1000)));
  me.same(ztbStringFormat("%S=%d,%g", &name, me.number, 0.5).asCstr(),
          name.asCstr() + std::string("=") + std::to_string(me.number) + ",0.5");
  std::string const uuid = ztbGetUUID().asCstr();
  std::lock_guard const guard(shared->uniqueLock);
  if (shared->unique.size() > 100000) shared->unique.clear();
  me.holds(shared->unique.insert(uuid).second, uuid, "a text of its own");
}

void converters(Worker& me) {
  std::string const text = "\u00c4\U0001F600" + proof(me.below(1000));
  ZtUtf8ToUC* const wide = str(text).asUCS2();
  ZtUCToUtf8 narrow;
  me.holds(narrow.set(wide->bufLength() - 1));
  std::memcpy(narrow.getUCBuffer(), wide->ucString(),
              static_cast<std::size_t>(narrow.bufLengthBytes()));
  me.same(narrow.utf8String(), text);
  me.same(ZtbString().fromUCS2(wide->ucString()).asCstr(), text);
  wide->release();
  unsigned short units[8];
  char bytes[24];
  convertUtf8ToUC(const_cast<char*>("short"), units, 8);
  convertUCToUtf8(units, bytes, sizeof bytes);
  me.same(bytes, "short");
}

void configFiles(Worker& me) {
  std::string const value = proof(me.below(1000));
  ZtbConfigFile file;
  file.setEntry(lit("Key"), str(value));
  me.holds(file.write(str(me.path("base.cfg"))));
  ZtbConfigOverlay overlay;
  me.holds(overlay.readBase(str(me.path("base.cfg"))));
  overlay.setOverlayEntry(lit("other"), lit("1"));
  me.holds(ZtbConfigOverlay(overlay).writeOverlay(str(me.path("overlay.cfg"))));
  ZtbConfigFile back;
  me.holds(back.read(str(me.path("base.cfg"))) && back.read(str(me.path("overlay.cfg"))));
  me.same(back.getEntry(lit("KEY")).asCstr(), value);
  me.holds(back.getEntryCount() == 2);
}

void sharedStores(Worker& me) {
  ZtbConfigOptions* const store = ztbGetConfigOptions(me.below(2) ? lit("shared") : ZtbString());
  ZtbString const key = str(me.own("THREADS/KEY"));
  std::string const text = proof(me.below(1000));
  ZtbString value;
  store->setOption(key, str(text));
  store->setOption(lit("THREADS/ALL"), str(text));
  me.holds(store->getOption(lit("threads/all"), &value) && isProof(value), shown(value), "a proof");
  me.holds(store->getOption(key, &value));
  me.same(value.asCstr(), text);
  me.holds(!store->readConfigDirectory(str(me.path("absent")), lit("cfg")));
  for (unsigned i = 0; store->getOptionAt(i, &value, nullptr) && i < 8; ++i) {
    me.holds(!value.isNull());
  }
  if (me.below(8) > 0) return;
  store->removeOption(key);
  me.holds(!store->getOption(key, &value));
}

void ownStores(Worker& me) {
  ZtbString const name = str(me.own("store"));
  ZtbConfigOptions* const store = ztbGetConfigOptions(name);
  ZtbConfigFile file;
  file.setEntry(lit("A"), lit("1"));
  me.holds(store->applyConfigFile(file) && store->getOptionCount() == 1);
  if (me.below(8) == 0) {
    ZtbString zone;
    store->applyEnvironment();
    me.holds(store->getOption(lit("TZ"), &zone) && zone.compare("UTC", true) == 0);
  }
  me.holds(file.write(str(me.path("etc/own.cfg"))));
  me.holds(store->readConfigDirectory(str(me.path("etc")), lit("cfg")));
  me.holds(!store->readConfigDirectory(str(me.path("absent")), lit("cfg")));
  me.holds(!store->getErrorMessage().isNull());
  ztbClearConfigOptions(name);
}

void textFiles(Worker& me) {
  std::string const line = proof(me.below(500)) + "\u00c4";
  ZtbTxtFile file;
  me.holds(file.open(me.path("text").c_str(), ZtbTxtFile::ModeWrite, 7, 0));
  me.holds(file.writeln(line.c_str()) && file.writeln("second"));
  me.holds(file.open(me.path("text").c_str(), ZtbTxtFile::ModeRead, -1, 1));
  char buffer[4096];
  bool complete = false;
  me.holds(file.readln(buffer, sizeof buffer, &complete) >= 0 && complete);
  me.same(buffer, line);
  me.holds(file.readln(buffer, sizeof buffer, nullptr) == 6);
}

void sharedTextFile(Worker& me) {
  ZtbTxtFile file;
  me.holds(file.open((me.folder + "/../appended").c_str(), ZtbTxtFile::ModeAppend, 0, 0));
  me.holds(file.writeln(proof(me.below(100000)).c_str()));
  ++shared->appended;
}

void records(Worker& me) {
  char const bytes[] = "abcdefgh";
  ZtbTxtFileFW file;
  me.holds(file.open(me.path("records").c_str(), ZtbTxtFileFW::ModeWrite, 24, 2));
  me.holds(file.write(bytes, 8) && file.recseek(1, 4) && file.unread("xy", 2));
  char record[8] = {};
  me.holds(file.read(record, 6) == 6);
  me.same(record, "xyefgh");
  char field[8];
  me.holds(file.encode(field, sizeof field, "\xC4") == 2);
  me.same(field, "\u00c4");
}

void paths(Worker& me) {
  ZtbString name;
  me.same(ztbParsePath(str(me.path("x")), &name).asCstr(), me.folder);
  me.same(ztbConcatPath(str(me.folder), name).asCstr(), me.path("x"));
  ZtbDirectoryListing listing;
  me.holds(listing.init(str(me.folder), ZtbDirectoryListing::FlagDirectoriesOnly | 1));
  me.holds(listing.next() && listing.isDir() && !listing.getTimestamp().isNull());
  me.same(listing.getFullPathName().asCstr(), me.path("etc"));
}

void attributes(Worker& me) {
  std::string const value = proof(me.below(1000));
  ZtbParse parsed;
  parsed.parse(str("b=%3B;a=" + value));
  ZtbParse copy(parsed);
  ZtbString first, second;
  me.holds(copy.getAttribute(1, &first, &second) && !copy.getAttribute(2, &first, &first));
  me.same(second.asCstr(), value);
}

void uris(Worker& me) {
  std::string const name = proof(me.below(500)) + "\u00e4";
  ZtbString escaped, back;
  me.holds(getEscapeStringForURI(str(name), nullptr, 0, &escaped, nullptr));
  me.holds(getUnEscapeStringFromURI(escaped, &back));
  me.same(back.asCstr(), name);
  auto const generic = uritest::parsed("abc://h/" + name);
  me.same(generic->getPath().asCstr(), name);
  auto const object = uritest::parsed("ztr://h/a/" + name + "(Table)");
  me.same(object->asReposURI()->getName().asCstr(), name);
  uritest::Owned<ZtReposURI> const parent(object->asReposURI()->getParentFolder());
  me.same(parent->getURIString().asCstr(), "ztr://h/a(Folder)");
  auto const data = uritest::parsed("ztd://s.T/1/2/3/" + name);
  me.same(data->asDataURI()->getPart4().asCstr(), name);
  uritest::Owned<ZtWorkTableURI> const table(getWorkTableURIFromComponents(str(name), 0, 9));
  ZtbString error;
  me.holds(table->addColumn(lit("n"), lit("5"), ztbTypeInteger, &error));
  me.same(table->getURIString().asCstr(), "ztwt://" + name + "?n=Integer'5'#start=0,count=9");
}

class Doubled final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
    if (name.compare("bad", true) == 0) return error->assign("refused"), false;
    value->assign(name.asCstr());
    value->append(name, nullptr);
    return true;
  }
};

void templates(Worker& me) {
  Doubled doubled;
  ZtbString error;
  ZtbTemplate* const letter = ztbCreateBasicTemplate(&doubled, &error);
  std::string const name = me.own("n");
  me.holds(letter->parse(str("{" + name + "}-[b]{{"), &error) && letter->getVariableCount() == 2);
  me.same(letter->expand(&error).asCstr(), name + name + "-bb{");
  me.holds(!letter->parse(lit("}"), &error) && !error.isNull());
  letter->parse(lit("{bad}"), &error);
  me.holds(letter->expand(&error).isNull());
  me.same(error.asCstr(), "refused");
  letter->release();
}

void programs(Worker& me) {
  std::string const text = proof(me.below(1000));
  ZtbExecute program;
  program.setCommand(lit("printf"));
  program.addOption(lit("%s"));
  program.addOption(str(text));
  me.holds(program.run(me.below(2) == 0, true, -1), shown(program.getErrorMessage()));
  me.same(program.getOutputLog().asCstr(), text);
}

void mails(Worker& me) {
  ZtbEmail mail;
  me.holds(mail.initialize(ZtbString(), str("cp '%B' '" + me.path("sent") + "'")));
  mail.setTo(lit("ops@example.com"));
  mail.setSubject(str(me.own("Load ")));
  me.holds(mail.sendMail(), shown(mail.getErrorMessage()));
  me.same(ztbtest::readFile(me.path("sent")),
          "To: ops@example.com\r\nSubject: " + me.own("Load ") + "\r\n");
}

void user(Worker& me) {
  ZtbString error, name, secret;
  bool const loggedIn = ztbSubjectAuthenticate(lit("kim"), lit("hush"), nullptr, &error);
  if (!loggedIn) me.same(error.asCstr(), "A process wide subject is already assigned.");
  if (!loggedIn && ztbSubjectAccess() == nullptr) return;
  ZtbSubjectInfoParm info;
  me.holds(ztbSubjectInfo(me.below(2) == 0, &info, &error), shown(error));
  me.same(info.resolved.asCstr(), "kim.x");
  me.holds(ztbSubjectCredentials(lit("SALES"), name, secret, &error), shown(error));
  me.same(secret.asCstr(), "secret");
  me.holds(!ztbSubjectSet(nullptr, &error));
  ztbGetConfigOptions(ZtbString())->getOption(lit("ZTINTL_DIS_USER"), &name);
  me.same(name.asCstr(), "kim");
  ztbSubjectRelease();
}

void protection(Worker& me) {
  std::string const text = proof(me.below(1000));
  ZtbString const form = ztbEncryptString(str(text));
  me.same(ztbDecryptString(form).asCstr(), text);
}

void buffers(Worker& me) {
  constexpr int kRows = 500;
  SharedBufferManager* const manager = ssSharedBufferManager(2, 7, 2, 2, 5, 1);
  ZtbString const text = str(proof(me.below(100000)));
  int read = 0;
  // Gives back the number of each row.
  std::thread worker([&] {
    for (int done = 0; done < kRows;) {
      SharedBuffer* const input = manager->acquireFilledInput(nullptr);
      while (ZtbDatavar* const row = input->nextRow()) {
        SharedBuffer* const output = manager->acquireFreeOutput(nullptr);
        if (row[1].asString().compare(text, true) == 0)
          output->nextRow()->assign(row[0].asInt(nullptr));
        output->release();
        ++done;
      }
      input->release();
    }
    manager->waitForOutputDrained(nullptr);
  });
  for (int written = 0; read < kRows;) {
    SharedBuffer* input = nullptr;
    SharedBuffer* output = nullptr;
    me.holds(manager->waitForBuffers(nullptr, written < kRows ? &input : nullptr, &output));
    for (; input != nullptr && written < kRows; ++written) {
      ZtbDatavar* const row = input->nextRow();
      if (row == nullptr) break;
      row[0].assign(written);
      row[1].assign(text);
    }
    if (input != nullptr) input->release();
    int filled = 0, free = 0;
    manager->getInputCounts(&filled, &free);
    me.holds(filled + free <= 2);
    if (output == nullptr) continue;
    ZtbDatavar const* const row = output->nextRow();
    me.holds(row != nullptr && row->asInt(nullptr) == read);
    output->release();
    ++read;
  }
  worker.join();
  manager->destroy();
}

void profiles(Worker& me) {
  RTProfiler profiler;
  profiler.enter();
  profiler.enter();
  profiler.exit("inner");
  RTProfiler(profiler).exit("outer");
  profiler.dump(me.own("t").c_str());
  ++shared->dumps;
}

void messages(Worker& me) {
  std::string const path = "/" + proof(me.below(500));
  me.same(ztb_get_message("reader", 1, "Base Services", 445, path.c_str()).asCstr(),
          "Den Ordner \u201e" + path + "\u201c gibt es nicht. Pr\u00fcfen Sie den Pfad.");
  me.same(ztb_get_fragment(444).asCstr(), "zu wenig Speicher");
}

class Counter final : public ZtbAutoSingleton {
 public:
  char const* getSingletonName() override { return "counter"; }
  void* createInstance() override {
    ++shared->instances;
    return new int(0);
  }
  void destroyInstance(void* instance) override {
    --shared->instances;
    delete static_cast<int*>(instance);
  }
  int& get() { return *static_cast<int*>(mInstance); }
};

void singletons(Worker& me) {
  Counter counter;
  me.holds(counter.initialize(nullptr));
  counter.lock();
  int const before = counter.get();
  if (me.below(20) == 0) std::this_thread::yield();
  me.holds(++counter.get() == before + 1);
  counter.unlock();
  counter.terminate();

  ZtbSingleton table;
  std::lock_guard const guard(shared->tableLock);
  table.createRef("table", shared);
  me.holds(table.getRef("table") == shared && !table.decRef("table") && table.decRef("table"));
}

// What a child may count on that is forked while every lock of the library may be held. Not with
// the address sanitizer, whose own allocator can't be used in such a child (that of GCC 12 hangs).
void children([[maybe_unused]] Worker& me) {
#ifndef __SANITIZE_ADDRESS__
  int const status = ztbtest::inChild([&me] {
    alarm(60);
    me.step = "a child";
    strings(me);
    ownStores(me);
    messages(me);
    profiles(me);
    return shared->isWrong ? 1 : 0;
  });
  me.holds(status == 0, std::to_string(status), "0");
  ++shared->dumps;
#endif
}

void startup(Worker& me) {
  std::string const name = me.own("THREADS/QUEUED");
  ztbStartupSetUserPath(me.folder.c_str());
  ztbStartupAddOption(name.c_str(), "1", nullptr);
  char const* error = "";
  me.holds(ztbStartup(&error) == 0, error);
  me.same(ztbStartupGetOptionOrigin(str(name)).asCstr(), "the command");
}

struct {
  char const* name;
  void (*step)(Worker&);
  unsigned oneIn;       // how seldom it comes, since it takes longer
  unsigned rounds = 1;  // how often in a row, so that threads meet at the same moment
} constexpr kSteps[] = {
    {"strings", strings, 1},
    {"shared strings", sharedStrings, 1, 50},
    {"pool", pool, 1, 10},
    {"reals", reals, 1},
    {"dates", dates, 1},
    {"variants", variants, 1},
    {"shared variants", sharedVariants, 1, 50},
    {"types", types, 1},
    {"formats", formats, 1},
    {"converters", converters, 1},
    {"configuration files", configFiles, 5},
    {"shared stores", sharedStores, 1},
    {"own stores", ownStores, 5},
    {"text files", textFiles, 5},
    {"a shared text file", sharedTextFile, 1},
    {"records", records, 1},
    {"paths", paths, 1},
    {"attributes", attributes, 1},
    {"URIs", uris, 1},
    {"templates", templates, 1},
    {"programs", programs, 10},
    {"mails", mails, 20},
    {"user", user, 3},
    {"protection", protection, 1},
    {"buffers", buffers, 10},
    {"profiles", profiles, 1},
    {"messages", messages, 1},
    {"singletons", singletons, 1},
    {"children", children, 20},
    {"start-up", startup, 20},
};

std::atomic<int> handled = 0;

// Blocks of the pool that somebody holds.
long blocksInUse() {
  unsigned tiny, small, med, large, unmanaged, total, frees;
  std::sscanf(ZtbMemPool::getStats(),
              "Tiny: %u Small %u Med: %u Large: %u Unmanaged: %u Total: %u Frees: %u", &tiny,
              &small, &med, &large, &unmanaged, &total, &frees);
  return static_cast<int>(total - unmanaged - frees);
}

std::size_t openFiles() {
  std::filesystem::directory_iterator const all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

class ZtbThreads : public ztbtest::LibraryTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder.path("share"));
    std::filesystem::create_directory_symlink(ZTB_TEST_HOME "/share/msg", folder.path("share/msg"));
    folder.write("etc/app.cfg", "BASE/LOGCONFIG_PATH=" + folder.path("etc/log.cfg") + "\n");
    folder.write("etc/log.cfg",
                 "sink null file path=/dev/null\nroute * null\n"
                 "sink profile file path=../profile\npattern profile %v\n"
                 "level ZT.RTProfiler trace\nroute ZT.RTProfiler profile\n"
                 "level ZT.Base step\n");
    chmod(folder.write("etc/users", kUsers).c_str(), 0600);
    std::filesystem::create_directory(folder.path("temp"));
    LibraryTest::SetUp();
    shared = new Shared;
  }
  void TearDown() override {
    delete shared;
    int const before = handled;
    LibraryTest::TearDown();
    EXPECT_EQ(before + kThreads, handled) << "each thread registered a handler";
    unsetenv("MARLOVEN_ERROR_LOCATION");
  }

  ztbtest::TempFolder folder;
  ztbtest::Variable const home{"ZTEXEC_HOME", folder.path().c_str()};
  ztbtest::Variable const temp{"TMPDIR", folder.path("temp").c_str()};
  ztbtest::Variable const language{"MARLOVEN_ERROR_LOCALE", "de_DE.UTF-8"};
  // Without it the C library loads its zone anew for each date, under a lock that the thread
  // sanitizer doesn't see.
  ztbtest::Variable const zone{"TZ", "UTC"};
};

TEST_F(ZtbThreads, AllFamiliesAtOnce) {
  char const* error = nullptr;
  ASSERT_EQ(0, ztbStartup(&error)) << error;
  std::size_t const filesBefore = openFiles();
  shared->readByAll.assign(0.125);
  char const* const seconds = getenv("ZTB_THREADS_SECONDS");
  auto const end = std::chrono::steady_clock::now() +
                   std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 2);
  std::atomic<long> counts[std::size(kSteps)] = {};
  ztbtest::inThreads(kThreads, [&](int thread) {
    Worker me{thread, folder.path("thread" + std::to_string(thread))};
    std::filesystem::create_directories(me.path("etc"));
    ztbRegisterShutdownHandler([](void*) { ++handled; }, nullptr);
    ztbStartupAddConfigFile("app.cfg", nullptr);
    while (std::chrono::steady_clock::now() < end && !shared->isWrong) {
      unsigned const i = me.below(std::size(kSteps));
      if (me.below(kSteps[i].oneIn) > 0) continue;
      me.step = kSteps[i].name;
      for (unsigned n = 0; n < kSteps[i].rounds; ++n) kSteps[i].step(me);
      counts[i].fetch_add(kSteps[i].rounds, std::memory_order_relaxed);
    }
  });

  EXPECT_EQ(filesBefore, openFiles());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path("temp")));
  EXPECT_EQ(0, shared->instances);
  EXPECT_EQ(nullptr, ztbSubjectAccess());
  std::ifstream appended(folder.path("appended")), profile(folder.path("profile"));
  int lines = 0, dumps = 0, entries = 0;
  for (std::string line; std::getline(appended, line); ++lines) EXPECT_TRUE(isProof(str(line)));
  EXPECT_EQ(shared->appended, lines);
  for (std::string line; std::getline(profile, line);) {
    bool const isDump = line.compare(0, 15, "Profiler dump t") == 0;
    EXPECT_TRUE(isDump || line.compare(1, 4, "nner") == 0 || line.compare(1, 4, "uter") == 0)
        << line;
    ++(isDump ? dumps : entries);
  }
  EXPECT_EQ(shared->dumps, dumps);
  EXPECT_EQ(2 * dumps, entries) << "no record is lost beside start-ups that configure the log anew";

  for (Shared::Slot& slot : shared->slots) {
    slot.text.setNull();
    slot.value.setNull();
    ZtbMemPool::freeBytes(slot.block);
  }
  shared->readByAll.setNull();
  for (char const* const name : {"", "shared", ".@=Files=@.", ".@=CommandArgs=@."}) {
    ztbClearConfigOptions(lit(name));
  }
  EXPECT_EQ(0, blocksInUse());
  for (std::size_t i = 0; seconds != nullptr && i < std::size(kSteps); ++i) {
    std::printf("%9ld %s\n", counts[i].load(), kSteps[i].name);
  }
}

}  // namespace
