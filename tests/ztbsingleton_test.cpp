// SPDX-License-Identifier: MIT

#include "ztbsingleton.h"

#include <stdexcept>
#include <string>

#include "ztbtest.h"

namespace {

using ZtbSingletonTable = ztbtest::LibraryTest;
using ZtbAutoSingletonTest = ztbtest::LibraryTest;

TEST_F(ZtbSingletonTable, CountsReferencesByName) {
  ZtbSingleton table;
  int first = 1;
  int second = 2;
  table.createRef("a", &first);
  table.createRef("a", &second);
  table.createRef("", &first);
  table.createRef(nullptr, &first);
  EXPECT_EQ(nullptr, table.getRef(""));
  EXPECT_EQ(&first, table.getRef("a"));
  ZtbSingleton other;
  EXPECT_EQ(&first, (other = table).getRef("a")) << "one table for all objects";
  EXPECT_FALSE(table.decRef("A"));
  EXPECT_FALSE(table.decRef("a"));
  EXPECT_FALSE(table.decRef("a"));
  table.createRef("b", &second);
  EXPECT_TRUE(table.decRef("a"));
  EXPECT_EQ(nullptr, table.getRef("a"));
  table.createRef("c", nullptr);
  EXPECT_TRUE(table.decRef("c"));
  EXPECT_TRUE(table.decRef("b"));
  EXPECT_FALSE(table.decRef("b"));
}

TEST_F(ZtbSingletonTable, KnowsANameByItsFirst255Bytes) {
  ZtbSingleton table;
  int value = 1;
  std::string const name(255, 'n');
  table.createRef((name + "x").c_str(), &value);
  table.createRef(name.c_str(), nullptr);
  EXPECT_EQ(&value, table.getRef((name + "y").c_str()));
  EXPECT_EQ(nullptr, table.getRef(name.substr(1).c_str()));
  EXPECT_FALSE(table.decRef(name.c_str()));
  EXPECT_TRUE(table.decRef(name.c_str()));
}

// Shares a number under a name, and counts what is done to it.
class Shared : public ZtbAutoSingleton {
 public:
  explicit Shared(std::string name) : mName(std::move(name)) {}
  char const* getSingletonName() override { return mName.c_str(); }
  void* createInstance() override {
    if (throws) throw std::runtime_error("no instance");
    ++created;
    return new int(created);
  }
  void destroyInstance(void* instance) override {
    ++destroyed;
    delete static_cast<int*>(instance);
  }
  int* get() { return static_cast<int*>(mInstance); }

  static inline int created = 0;
  static inline int destroyed = 0;
  bool throws = false;

 private:
  std::string mName;
};

TEST_F(ZtbAutoSingletonTest, MakesOneInstanceForAllOfAName) {
  Shared a("one");
  Shared b("one");
  Shared other(std::string(254, 'o') + "1");
  Shared another(std::string(254, 'o') + "2");
  bool created = false;
  int const before = Shared::created;
  ASSERT_TRUE(a.initialize(&created));
  EXPECT_TRUE(created);
  EXPECT_FALSE(a.initialize(&created));
  EXPECT_FALSE(created);
  ASSERT_TRUE(b.initialize(&created));
  EXPECT_FALSE(created);
  EXPECT_EQ(a.get(), b.get());
  Shared copy(a), assigned("one");
  assigned = b;
  EXPECT_TRUE(copy.get() == a.get() && assigned.get() == a.get() && !copy.initialize(nullptr));
  ASSERT_TRUE(other.initialize(nullptr));
  ASSERT_TRUE(another.initialize(&created));
  EXPECT_FALSE(created) << "names are known by their first 254 bytes";
  EXPECT_NE(a.get(), other.get());
  EXPECT_EQ(before + 2, Shared::created);
  for (Shared* shared : {&a, &b, &other, &another}) shared->terminate();
  EXPECT_EQ(Shared::created, Shared::destroyed);
  EXPECT_EQ(nullptr, b.get());
  b.terminate();
  b.lock();
  b.unlock();
  EXPECT_FALSE(Shared("").initialize(&created));
}

TEST_F(ZtbAutoSingletonTest, CleansUpForObjectsThatAreGone) {
  EXPECT_TRUE(Shared("two").cleanupOnly()) << "nothing to give up";
  EXPECT_FALSE(Shared("").cleanupOnly());
  Shared kept("two");
  ASSERT_TRUE(Shared("two").initialize(nullptr));
  ASSERT_TRUE(kept.initialize(nullptr));
  EXPECT_FALSE(kept.cleanupOnly());
  int const destroyed = Shared::destroyed;
  EXPECT_TRUE(Shared("two").cleanupOnly());
  EXPECT_EQ(destroyed, Shared::destroyed);
  kept.terminate();
  EXPECT_EQ(destroyed + 1, Shared::destroyed);
}

TEST_F(ZtbAutoSingletonTest, StaysWithoutAnInstanceThatThrows) {
  Shared shared("three");
  shared.throws = true;
  EXPECT_THROW(shared.initialize(nullptr), std::runtime_error);
  shared.throws = false;
  bool created = false;
  EXPECT_TRUE(shared.initialize(&created));
  EXPECT_TRUE(created);
  shared.terminate();
}

}  // namespace
