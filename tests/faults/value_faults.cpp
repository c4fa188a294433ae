// SPDX-License-Identifier: MIT
//
// Texts, numbers, dates, variants, converters, and what is kept by name: all in memory.

#include <sys/stat.h>

#include <cstdlib>

#include "fault_run.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

constexpr char kLong[] = "Grüße aus Köln, wo noch Platz ist für mehr als einen kleinen Block";

SCENARIO(Faults, Strings) {
  ZtbString text;
  trace.text(text.assign(kLong));
  ZtbString shared = text;
  bool failed = false;
  shared.append(" und mehr", &failed);
  trace.require(!failed || shared.compare(text, true) == 0, "a failed append changes the string");
  trace.needs(!failed);
  shared.append(lit(" davon"), &failed);
  trace.needs(!failed);
  trace.text(text.mid(2, 9));
  trace.text(text.replace(lit("e"), lit("EEE"), 0, -1));
  trace.needs(shared.uppercase());
  trace.text(shared);
  trace.needs(shared.lowercase());
  shared.truncate(20);
  trace.text(shared);
  ZtbString spaced("  \t blank \n ", true);
  trace.needs(spaced.trim(true, true) != 0);
  trace.text(spaced);
  ZtbString number;
  trace.text(number.assign(-1234567890123LL));
  trace.text(number.assign(0.1));
  ZtUtf8ToUC* const wide = text.asUCS2();
  trace.needs(wide != nullptr);
  ZtbString back = text;
  back.fromUCS2(wide->ucString());
  wide->release();
  trace.text(back);
}

SCENARIO(Faults, Formatting) {
  ZtbString const name(kLong, false);
  trace.text(name);
  trace.mayLack({Kind::kMemory});
  trace.text(ztbStringFormat("%s: %d of %S, %lld and %g%%", "line", 7, &name, 1LL << 40, 2.5));
  trace.needs(!ztbGetUUID().isNull());
}

SCENARIO(Faults, NumbersAndDates) {
  ZtbReal real;
  real.assign("12345678901234567890.5");
  trace.text(real.divide(ZtbReal(3LL), nullptr).asString());
  ZtbDate const date("3 Feb 1989 7:05:06 PM");
  trace.text(date.asString(true));
  trace.text(date.asString(false));
  trace.note(determineType(lit("3 Feb 1989")));
  trace.text(ZtbDate(1850, 2, 3, 4, 5, 6).asString(false));
}

SCENARIO(Faults, Variants) {
  ZtbDatavar row[5];
  row[0].assign(true);
  row[1].assign(4711LL);
  row[2].assign(ZtbReal(12.75));
  row[3].assign(kLong);
  row[4].assign(ZtbDate(2026, 11, 23, 6, 30, 0));
  for (ZtbDatavar& value : row) {
    trace.needs(!value.isNull());
    trace.note(value.type());
    trace.text(value.asString());
  }
  trace.needs(!row[0].assign(ztbTypeUnknown, "raw", 3, false).isNull());
  ZtbDatavar copy = row[3];
  copy.truncate(5, -1);
  trace.needs(!copy.isNull());
  trace.text(copy.asString());
  trace.needs(!copy.assign("4711.5").isNull());
  for (ztbType const type : {ztbTypeReal, ztbTypeInteger, ztbTypeString}) {
    trace.needs(copy.setType(type) && !copy.isNull());
    trace.text(copy.asString());
  }
}

SCENARIO(Faults, Converters) {
  ZtUtf8ToUC wide;
  trace.needs(wide.set(kLong));
  trace.note(wide.bufLength());
  ZtUCToUtf8 narrow;
  trace.needs(narrow.set(wide.bufLength() - 1));
  for (int i = 0; i < narrow.bufLength(); ++i) narrow.getUCBuffer()[i] = wide.ucString()[i];
  char const* const text = narrow.utf8String();
  trace.needs(text != nullptr);
  trace.note(text);
}

SCENARIO(Faults, Attributes) {
  ZtbString const text("user=kim; path=a%3Bb; (x=1)=2; a value without a name", false);
  trace.needs(!text.isNull());
  ZtbParse parse;
  parse.parse(text);
  ZtbParse const copy(parse);
  // Attributes that memory didn't reach for are missing, or have null texts.
  trace.needs(parse.getAttributeCount() == 4 && copy.getAttributeCount() == 4);
  ZtbString name;
  ZtbString value;
  for (int i = 0; parse.getAttribute(i, &name, &value); ++i) {
    trace.needs(name.isNull() == (i == 3));
    trace.note(name.asCstr());
    trace.text(value);
  }
  parse.getAttribute(17, &name, &value);
  trace.text(parse.getErrorMessage());
}

class Counter : public ZtbAutoSingleton {
 public:
  ~Counter() {
    if (isUp) terminate();
  }
  char const* getSingletonName() override { return "Faults.Counter"; }
  void* createInstance() override { return this; }
  void destroyInstance(void*) override {}
  bool isUp = false;
};

SCENARIO(Faults, Singletons) {
  ZtbSingleton table;
  int journal = 7;
  try {
    table.createRef("journal", &journal);
  } catch (std::bad_alloc const&) {
    trace.require(table.getRef("journal") == nullptr, "a failed entry is there all the same");
    trace.mayThrow();
    throw;
  }
  trace.note(table.getRef("journal") == &journal && table.decRef("journal"));
  trace.note(table.decRef("journal"));
  Counter counters[2];
  for (Counter& counter : counters) {
    bool created = false;
    counter.isUp = counter.initialize(&created);
    trace.needs(counter.isUp);
    trace.note(created);
  }
}

SCENARIO(Faults, Profiler) {
  trace.mayThrow();
  RTProfiler profile;
  profile.enter();
  profile.enter();
  profile.exit("inside");
  profile.exit("outside");
  RTProfiler const copy(profile);
  profile.dump("faults");
  profile.reset("faults");
}

SCENARIO(Faults, ProtectedTexts) {
  ZtbString const hidden = ztbEncryptString(lit(kLong));
  trace.needs(!hidden.isNull());
  trace.text(ztbDecryptString(hidden));
}

// Under a key of its own. A key that can't be read protects nothing, and opens nothing.
SCENARIO(Faults, TextsProtectedByAKey) {
  static std::string const kPath =
      writeFile("suite.key", "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff\n");
  {
    Pause const pause;
    chmod(kPath.c_str(), 0600);
    setenv("ZTB_KEY_FILE", kPath.c_str(), 1);
  }
  ZtbString const hidden = ztbEncryptString(lit(kLong));
  ZtbString const plain = hidden.isNull() ? ZtbString() : ztbDecryptString(hidden);
  unsetenv("ZTB_KEY_FILE");
  trace.needs(plain.length() > 0);
  trace.text(plain);
}

}  // namespace
}  // namespace faults
