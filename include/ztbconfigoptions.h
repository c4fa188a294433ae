// SPDX-License-Identifier: MIT
//
// Option stores: named, process-wide tables of text options.
//
// The store with the empty name holds the effective configuration of the process, which ztbStartup
// fills (see ztbstartup.h). Applications may keep stores of their own under other names. Options
// live in memory alone. A value is plain text, never expanded; a key such as "BASE/TEMP" is one
// flat key.
//
//   ZtbString folder;
//   if (ztbGetConfigOptions(ZtbString())->getOption(ZtbString("BASE/TEMP", true), &folder)) ...
//
// Names of stores are compared byte by byte; keys are compared without regard to case, and keep
// the spelling under which they were first set.
//
// Threads: one lock with a shared and an exclusive mode guards the registry and all stores, so
// every operation may be called from any thread, but getErrorMessage. The operations that set many
// options lock for each one: other threads may see a half-applied file. A walk by getOptionAt
// beside a thread that removes options can miss or repeat some. No operation works while the
// library is down.

#ifndef ZTBCONFIGOPTIONS_H
#define ZTBCONFIGOPTIONS_H

#include "ztbconfigfile.h"
#include "ztbdefs.h"
#include "ztbstring.h"

// An option store. Belongs to the library; callers only hold a pointer, which is good until
// ztbClearConfigOptions of its name or ztbShutdown.
class ZTB_API ZtbConfigOptions {
 public:
  // Replaces the value of an existing key, or adds the option behind the others. A null value is
  // kept as null. True; false, with the store unchanged, only when memory ran out.
  virtual bool setOption(ZtbString const& key, ZtbString const& value) = 0;

  // The option at position `index`, counted from 0 in the order in which keys were first set. False
  // at or beyond the count, with the outputs untouched. Either output may be a null pointer. Cost
  // doesn't depend on `index`.
  virtual bool getOptionAt(unsigned int index, ZtbString* key, ZtbString* value) = 0;

  // True with the value of `key`; false with `*value` made null when the key is absent. A key with
  // an empty value is there. `value` may be a null pointer. Logarithmic in the number of options.
  virtual bool getOption(ZtbString const& key, ZtbString* value) = 0;

  // Removes an option; later ones move up by one position. An absent key does nothing. Walks the
  // whole store.
  virtual void removeOption(ZtbString const& key) = 0;

  // The number of options.
  virtual int getOptionCount() = 0;

  // Sets an option for every variable of the process environment, split at its first "="; an entry
  // without one is left out, and so is one that memory doesn't reach for. An entry that is valid
  // UTF-8 is taken as it is, any other is converted from the character set of the user's locale
  // settings. Entries of any length are taken whole.
  virtual void applyEnvironment() = 0;

  // Sets an option for every entry of `file`, in the order of its keys, and moves the file's
  // cursor. False when memory ran out on the way.
  virtual bool applyConfigFile(ZtbConfigFile& file) = 0;

  // Reads every file of `directory` whose name ends in "." plus `extension`, in any case (every
  // file, if `extension` is empty), in bytewise order of their names, and sets an option for each
  // key; the last file that has a key gives its value. An unreadable file is left out, or taken as
  // far as it could be read. False, with a reason in getErrorMessage, when the directory can't be
  // listed, which leaves the store unchanged, and when memory ran out: what was applied stays.
  virtual bool readConfigDirectory(ZtbString const& directory, ZtbString const& extension) = 0;

  // Why the last readConfigDirectory failed; null if none has. Success doesn't clear it. Read
  // without the lock: not beside a readConfigDirectory of the same store.
  virtual ZtbString getErrorMessage() = 0;

 protected:
  // Stores end through ztbClearConfigOptions.
  ~ZtbConfigOptions() = default;
};

// The store of this name, created empty if there is none; the same pointer on every call until the
// store is cleared. A null name is the empty name. Null when the library is down or memory ran out.
ZTB_API ZtbConfigOptions* ztbGetConfigOptions(ZtbString const& name);

// Destroys the store of this name, if there is one. Whoever still holds its pointer holds a dead
// store; it must not run beside users of that store.
ZTB_API void ztbClearConfigOptions(ZtbString const& name);

#endif
