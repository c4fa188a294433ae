// SPDX-License-Identifier: MIT
//
// Named objects that a process has once: a plain table of pointers with reference counts, and a
// base class for objects that share one instance, made when it is first wanted.
//
// The two share nothing: a name of the one means nothing to the other. Names are compared byte by
// byte.

#ifndef ZTBSINGLETON_H
#define ZTBSINGLETON_H

#include "ztbdefs.h"

// A table from names to pointers of the caller, with a reference count each. All objects of the
// class see the same table; the class never looks behind a pointer and never frees one.
//
// A name is known by its first 255 bytes. A null or empty name is none: nothing is found under it,
// and nothing is changed. Every operation costs time in the number of names.
//
// Threads: there is no lock. Callers must keep all calls apart, getRef included.
//
//   ZtbSingleton table;
//   table.createRef("journal", openJournal());    // count 1
//   auto* journal = static_cast<Journal*>(table.getRef("journal"));  // count 2
//   table.decRef("journal");                      // count 1, false
//   if (table.decRef("journal")) close(journal);  // the last one
class ZTB_API ZtbSingleton {
 public:
  // Access to the table. Objects hold nothing of their own: whichever one is used, and however they
  // are copied, the table is the same.
  ZtbSingleton();
  ZtbSingleton& operator=(ZtbSingleton const& other);
  ZtbSingleton(ZtbSingleton const& other) = default;

  // Enters `name` with the pointer `ref`, which may be null, and a count of 1. If the name is there
  // already, nothing changes. Throws std::bad_alloc without memory, with the table as it was; the
  // only operation that throws.
  void createRef(char const* name, void* ref);

  // Adds 1 to the count of `name` and gives its pointer; null if the name isn't there.
  void* getRef(char const* name);

  // Takes 1 off the count of `name`. True if that was the last reference: the name is gone. False
  // if references remain or the name isn't there. With its last name the table gives back all its
  // memory.
  bool decRef(char const* name);

 private:
  struct ZTB_API SingleItem {
    SingleItem();

    char name[256];  // empty: the slot is free
    int refCount;
    void* ref;
  };

  void resize(int count);
  static SingleItem* find(char const* name);

  static SingleItem* mPool;
  static int mCount;
};

struct AutoSingletonRecord;

// The base of objects that share one instance under a name. A subclass tells the name and how the
// instance is made and destroyed; this class makes it at the first `initialize` of the name in the
// process, counts the references, gives the name a lock, and has the instance destroyed when the
// last reference goes. A later `initialize` of the name starts all over.
//
//   class SharedCache : public ZtbAutoSingleton {
//    public:
//     Cache* get() { return static_cast<Cache*>(mInstance); }
//     char const* getSingletonName() override { return "MyApp.Cache"; }
//     void* createInstance() override { return new (std::nothrow) Cache; }
//     void destroyInstance(void* instance) override { delete static_cast<Cache*>(instance); }
//   };
//
//   SharedCache cache;
//   if (cache.initialize(nullptr)) {
//     cache.lock();
//     cache.get()->put(key, value);
//     cache.unlock();
//     cache.terminate();
//   }
//
// An object that goes out of scope leaves its reference standing, until somebody calls `terminate`
// or `cleanupOnly` for it. An object whose reference somebody else gave up so, and with it the
// last one, must not be used again. A copy holds what the original holds but no reference of its
// own.
//
// Works between ztbInitialize and ztbShutdown only. Threads: one object belongs to one thread at a
// time; any number of objects may attach to one name and leave it from any threads at once.
class ZTB_API ZtbAutoSingleton {
 public:
  // Detached.
  ZtbAutoSingleton();

  // What the original holds, but no reference of its own. Whichever of the two gives up the last
  // reference is detached; the other must not be used any more.
  ZtbAutoSingleton(ZtbAutoSingleton const& other);
  ZtbAutoSingleton& operator=(ZtbAutoSingleton const& other);

  // Attaches the object to the instance of its name, which is made if the name has none, and counts
  // a reference. `*created`, unless `created` is null, tells whether it was made here. False, with
  // `*created` false, if the object is attached already, if it has no name, and without memory. A
  // createInstance that fails doesn't make this fail: it tells so by the value that it gives.
  virtual bool initialize(bool* created);

  // Gives up a reference. If others remain the object stays attached, though the instance lives
  // only as long as they do. With the last one the object is detached and the instance destroyed.
  // Does nothing for a detached object.
  virtual void terminate();

  // The name, known by its first 254 bytes; null or empty for an object that can't attach. Called
  // with the library's singleton lock held.
  virtual char const* getSingletonName() = 0;

  // Makes the instance; any value will do, null too. Called with the library's singleton lock held,
  // so that it is made once however many threads ask: it must attach no other singleton, and other
  // threads wait until it returns. If it throws, the name stays without an instance, and the
  // exception goes through `initialize`.
  virtual void* createInstance() = 0;

  // Destroys an instance that createInstance gave. No lock is held, and the name is free by then.
  virtual void destroyInstance(void* instance) = 0;

  // Takes and gives back the lock of the name, which is the subclass's to use; this class never
  // does. Not recursive. Nothing happens for a detached object. Nobody may hold the lock when the
  // last reference goes.
  void lock();
  void unlock();

  // Gives up a reference for an object that is gone or belongs elsewhere, as this one isn't
  // attached itself. True also if the name has no instance. False, with nothing given up, if this
  // object is attached or has no name.
  bool cleanupOnly();

 private:
  AutoSingletonRecord* mRecord;

 protected:
  // The shared instance, good once `initialize` has given true; null while detached.
  void* mInstance;
};

#endif
