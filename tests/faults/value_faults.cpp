// SPDX-License-Identifier: MIT
//
// Texts, numbers, dates, variants, converters, and what is kept by name: all in memory.

#include <sys/stat.h>

#include <cstdlib>
#include <vector>

#include "fault_scope.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

constexpr char kLong[] = "Grüße aus Köln, wo noch Platz ist für mehr als einen kleinen Block";

bool strings(Trace& trace) {
  ZtbString text;
  text.assign(kLong);
  if (!trace.text(text)) return trace.refused();
  ZtbString shared = text;
  bool failed = false;
  shared.append(" und mehr", &failed);
  if (failed) {
    trace.require(shared.compare(text, true) == 0, "a failed append changes the string");
    return trace.refused();
  }
  shared.append(lit(" davon"), &failed);
  if (failed || !trace.text(shared)) return trace.refused();
  if (!trace.text(text.mid(2, 9)) || !trace.text(text.right(7))) return trace.refused();
  if (!trace.text(text.replace(lit("e"), lit("EEE"), 0, -1))) return trace.refused();
  if (!shared.uppercase() || !trace.text(shared)) return trace.refused();
  if (!shared.lowercase() || !trace.text(shared)) return trace.refused();
  shared.truncate(20);
  if (!trace.text(shared)) return trace.refused();
  ZtbString spaced("  \t blank \n ", true);
  if (spaced.trim(true, true) == 0) return trace.refused();
  if (!trace.text(spaced)) return trace.refused();
  ZtbString number;
  if (!trace.text(number.assign(-1234567890123LL)) || !trace.text(number.assign(0.1))) {
    return trace.refused();
  }
  ZtUtf8ToUC* const wide = text.asUCS2();
  if (wide == nullptr) return trace.refused();
  ZtbString back = text;
  back.fromUCS2(wide->ucString());
  wide->release();
  return trace.text(back);
}

bool formatting(Trace& trace) {
  ZtbString const name(kLong, false);
  if (name.isNull()) return trace.refused();
  if (!trace.text(
          ztbStringFormat("%s: %d of %S, %lld and %g%%", "line", 7, &name, 1LL << 40, 2.5))) {
    return trace.refused();
  }
  ZtbString const unique = ztbGetUUID();
  if (unique.isNull()) return trace.refused();
  trace.note(static_cast<long long>(unique.length()));
  return true;
}

bool numbersAndDates(Trace& trace) {
  ZtbReal real;
  real.assign("12345678901234567890.5");
  ZtbReal const third = real.divide(ZtbReal(3LL), nullptr);
  if (!trace.text(third.asString())) return trace.refused();
  ZtbDate const date("3 Feb 1989 7:05:06 PM");
  if (!trace.text(date.asString(true)) || !trace.text(date.asString(false))) return trace.refused();
  trace.note(static_cast<long long>(determineType(lit("3 Feb 1989"))));
  return trace.text(ZtbDate(1850, 2, 3, 4, 5, 6).asString(false));
}

bool variants(Trace& trace) {
  std::vector<ZtbDatavar> row;
  {
    Pause const pause;
    row.resize(6);
  }
  row[0].assign(true);
  row[1].assign(4711LL);
  row[2].assign(ZtbReal(12.75));
  row[3].assign(kLong);
  row[4].assign(ZtbDate(2026, 11, 23, 6, 30, 0));
  row[5].assign(ztbTypeUnknown, "raw", 3, false);
  for (ZtbDatavar& value : row) {
    if (value.isNull()) return trace.refused();
    trace.note(static_cast<long long>(value.type()));
    if (value.type() == ztbTypeUnknown) continue;
    if (!trace.text(value.asString())) return trace.refused();
  }
  ZtbDatavar copy = row[3];
  copy.truncate(5, -1);
  if (copy.isNull() || !trace.text(copy.asString())) return trace.refused();
  copy.assign("4711.5");
  if (copy.isNull()) return trace.refused();
  if (!trace.text(copy.asString())) return trace.refused();
  if (!copy.setType(ztbTypeReal)) return trace.refused();
  if (!trace.text(copy.asString())) return trace.refused();
  if (!copy.setType(ztbTypeInteger)) return trace.refused();
  trace.note(copy.asInt64(nullptr));
  if (!copy.setType(ztbTypeString) || copy.isNull()) return trace.refused();
  return trace.text(copy.asString());
}

bool converters(Trace& trace) {
  ZtUtf8ToUC wide;
  if (!wide.set(kLong)) return trace.refused();
  trace.note(static_cast<long long>(wide.bufLength()));
  ZtUCToUtf8 narrow;
  if (!narrow.set(wide.bufLength() - 1)) return trace.refused();
  for (int i = 0; i < narrow.bufLength(); ++i) narrow.getUCBuffer()[i] = wide.ucString()[i];
  char const* const text = narrow.utf8String();
  if (text == nullptr) return trace.refused();
  trace.note(text);
  return true;
}

bool attributes(Trace& trace) {
  ZtbString const text("user=kim; path=a%3Bb; (x=1)=2; a value without a name", false);
  if (text.isNull()) return trace.refused();
  ZtbParse parse;
  parse.parse(text);
  ZtbString name;
  ZtbString value;
  // Attributes that memory didn't reach for are missing, or have null texts.
  if (parse.getAttributeCount() != 4) return trace.refused();
  ZtbParse const copy(parse);
  if (copy.getAttributeCount() != 4) return trace.refused();
  for (int i = 0; parse.getAttribute(i, &name, &value); ++i) {
    if (i < 3 ? name.isNull() : !name.isNull()) return trace.refused();
    if (value.isNull()) return trace.refused();
    trace.note(name.asCstr());
    trace.note(value.asCstr());
  }
  parse.getAttribute(17, &name, &value);
  return trace.text(parse.getErrorMessage());
}

class Counter : public ZtbAutoSingleton {
 public:
  char const* getSingletonName() override { return "Faults.Counter"; }
  void* createInstance() override { return &value; }
  void destroyInstance(void*) override {}
  void step() {
    lock();
    ++*static_cast<int*>(mInstance);
    unlock();
  }

 private:
  inline static int value = 0;
};

bool singletons(Trace& trace) {
  ZtbSingleton table;
  int journal = 7;
  bool isThere = false;
  try {
    table.createRef("journal", &journal);
    isThere = true;
  } catch (std::bad_alloc const&) {
    trace.require(table.getRef("journal") == nullptr, "a failed entry is there all the same");
  }
  if (!isThere) return trace.refused();
  trace.note(static_cast<long long>(*static_cast<int*>(table.getRef("journal"))));
  table.decRef("journal");
  trace.note(static_cast<long long>(table.decRef("journal")));
  Counter first;
  Counter second;
  bool created = false;
  if (!first.initialize(&created)) return trace.refused();
  trace.note(static_cast<long long>(created));
  if (!second.initialize(&created)) {
    first.terminate();
    return trace.refused();
  }
  trace.note(static_cast<long long>(created));
  second.step();
  second.terminate();
  first.terminate();
  return true;
}

bool profiler(Trace& trace) {
  try {
    RTProfiler profile;
    profile.enter();
    profile.enter();
    profile.exit("inside");
    profile.exit("outside");
    RTProfiler const copy(profile);
    profile.dump("faults");
    profile.reset("faults");
  } catch (std::bad_alloc const&) {
    return trace.refused();
  }
  return true;
}

bool protectedTexts(Trace& trace) {
  ZtbString const hidden = ztbEncryptString(lit(kLong));
  if (hidden.isNull()) return trace.refused();
  trace.note(static_cast<long long>(hidden.length()));
  return trace.text(ztbDecryptString(hidden)) || trace.refused();
}

// Under a key of its own. A key that can't be read protects nothing, and opens nothing.
bool protectedByKey(Trace& trace) {
  static std::string const kPath = [] {
    writeFile("suite.key", "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff\n");
    chmod(pathOf("suite.key").c_str(), 0600);
    return pathOf("suite.key");
  }();
  {
    Pause const pause;
    setenv("ZTB_KEY_FILE", kPath.c_str(), 1);
  }
  ZtbString const hidden = ztbEncryptString(lit(kLong));
  ZtbString const plain = hidden.isNull() ? ZtbString() : ztbDecryptString(hidden);
  unsetenv("ZTB_KEY_FILE");
  return plain.length() > 0 && trace.text(plain);
}

using FaultsInMemory = WithLibrary;

TEST_F(FaultsInMemory, Strings) {
  tryFaults("strings", strings);
}
TEST_F(FaultsInMemory, Formatting) {
  tryFaults("formatting", formatting);
}
TEST_F(FaultsInMemory, NumbersAndDates) {
  tryFaults("numbers and dates", numbersAndDates);
}
TEST_F(FaultsInMemory, Variants) {
  tryFaults("variants", variants);
}
TEST_F(FaultsInMemory, Converters) {
  tryFaults("16-bit converters", converters);
}
TEST_F(FaultsInMemory, Attributes) {
  tryFaults("attributes", attributes);
}
TEST_F(FaultsInMemory, Singletons) {
  tryFaults("singletons", singletons);
}
TEST_F(FaultsInMemory, Profiler) {
  tryFaults("profiler", profiler);
}
TEST_F(FaultsInMemory, TextsProtectedByAKey) {
  tryFaults("texts protected by a key", protectedByKey);
}
TEST_F(FaultsInMemory, ProtectedTexts) {
  tryFaults("protected texts", protectedTexts);
}

}  // namespace
}  // namespace faults
