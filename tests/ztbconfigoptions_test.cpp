// SPDX-License-Identifier: MIT

#include "ztbconfigoptions.h"

#include <string>

#include "ztbstartup.h"
#include "ztbtest.h"

namespace {

ZtbString text(std::string const& value) {
  return ZtbString(value.c_str(), false);
}

class ZtbConfigOptionsTest : public ztbtest::LibraryTest {
 protected:
  ZtbConfigOptions* store(char const* name = "test") { return ztbGetConfigOptions(text(name)); }

  std::string get(std::string const& key) {
    ZtbString value;
    return store()->getOption(text(key), &value) ? value.asCstr() : "(absent)";
  }

  // "key=value" of all options in their order, with blanks between.
  std::string all() {
    std::string result;
    ZtbString key, value;
    for (unsigned i = 0; store()->getOptionAt(i, &key, &value); ++i) {
      result += std::string(i == 0 ? "" : " ") + key.asCstr() + "=" + value.asCstr();
    }
    return result;
  }

  void set(std::string const& key, std::string const& value) {
    EXPECT_TRUE(store()->setOption(text(key), text(value)));
  }

  ztbtest::TempFolder mFolder;
};

TEST_F(ZtbConfigOptionsTest, StoresAreKnownByTheirExactNameAndEmptyAfterClearing) {
  EXPECT_EQ(store("x"), store("x"));
  EXPECT_NE(store("x"), store("X"));
  EXPECT_EQ(store(""), ztbGetConfigOptions(ZtbString()));
  ztbClearConfigOptions(text("never there"));
  set("a", "1");
  ztbClearConfigOptions(text("test"));
  EXPECT_EQ(0, store()->getOptionCount());
}

TEST_F(ZtbConfigOptionsTest, KeysIgnoreCaseAndKeepTheirFirstSpelling) {
  set("Base/Ä", "1");
  set("BASE/ä", "2");
  EXPECT_EQ("Base/Ä=2", all());
  EXPECT_EQ("2", get("base/Ä"));
}

TEST_F(ZtbConfigOptionsTest, RemovalClosesTheGap) {
  for (char const* const key : {"a", "b", "c", "d"}) set(key, key);
  store()->removeOption(text("B"));
  store()->removeOption(text("absent"));
  EXPECT_EQ("a=a c=c d=d", all());
  set("c", "new");
  EXPECT_EQ("a=a c=new d=d", all());
  EXPECT_EQ("d", get("d"));
}

TEST_F(ZtbConfigOptionsTest, AbsentEmptyAndNullDiffer) {
  ZtbString key("kept", true), value("kept", true);
  EXPECT_FALSE(store()->getOptionAt(0, &key, &value));
  EXPECT_STREQ("kept", value.asCstr());
  EXPECT_FALSE(store()->getOption(text("absent"), &value));
  EXPECT_TRUE(value.isNull());
  set("empty", "");
  store()->setOption(text("null"), ZtbString());
  EXPECT_TRUE(store()->getOption(text("empty"), &value));
  EXPECT_FALSE(value.isNull());
  EXPECT_TRUE(store()->getOption(text("null"), &value));
  EXPECT_TRUE(value.isNull());
  EXPECT_TRUE(store()->getOptionAt(1, nullptr, nullptr));
  EXPECT_FALSE(store()->getOptionAt(2, &key, &value));
}

TEST_F(ZtbConfigOptionsTest, FilesApplyInKeyOrder) {
  ZtbConfigFile file;
  ASSERT_TRUE(file.read(text(mFolder.write("f.cfg", "b=1\na=2\n"))));
  EXPECT_TRUE(store()->applyConfigFile(file));
  EXPECT_EQ("a=2 b=1", all());
}

TEST_F(ZtbConfigOptionsTest, EnvironmentIsTakenWholeAndInUtf8) {
  std::string const longValue(100000, 'v');
  struct {
    char const* name;
    std::string value, expected;
  } const rows[] = {
      {"ZTB_TEST_PLAIN", "a=b", "a=b"},
      {"ZTB_TEST_LONG", longValue, longValue},
      {"ZTB_TEST_UTF8", "\u00e4\u20ac", "\u00e4\u20ac"},
      {"ZTB_TEST_LATIN", "\xe4", "\u00e4"},
  };
  setenv("LC_ALL", "de_DE.ISO-8859-1", 1);
  for (auto const& row : rows) setenv(row.name, row.value.c_str(), 1);
  store()->applyEnvironment();
  unsetenv("LC_ALL");
  for (auto const& row : rows) {
    EXPECT_EQ(row.expected, get(row.name)) << row.name;
    unsetenv(row.name);
  }
}

TEST_F(ZtbConfigOptionsTest, EnvironmentEntriesMayHaveAnEmptyKeyOrNone) {
  char emptyKey[] = "=empty key";
  char noEquals[] = "ZTB_TEST_NO_EQUALS";
  char* entries[] = {emptyKey, noEquals, nullptr};
  char** const saved = environ;
  environ = entries;
  store()->applyEnvironment();
  environ = saved;
  EXPECT_EQ("=empty key", all());
}

TEST_F(ZtbConfigOptionsTest, FoldersGiveTheirMatchingFilesInNameOrder) {
  mFolder.write("d/b.cfg", "key=from b\nonly/b=1\n");
  mFolder.write("d/a.CFG", "key=from a\nonly/a=1\n");
  mFolder.write("d/c.cfg.bak", "key=from c\n");
  mFolder.write("d/sub.cfg/inner.cfg", "key=from a folder\n");
  EXPECT_TRUE(store()->readConfigDirectory(text(mFolder.path("d")), text("CFG")));
  EXPECT_EQ("key=from b only/a=1 only/b=1", all());
  EXPECT_TRUE(store()->readConfigDirectory(text(mFolder.path("d")), ZtbString()));
  EXPECT_EQ("from c", get("key")) << "without an extension every file matches";
}

TEST_F(ZtbConfigOptionsTest, AMissingFolderIsRefusedWithAReason) {
  set("a", "1");
  EXPECT_TRUE(store()->getErrorMessage().isNull());
  EXPECT_FALSE(store()->readConfigDirectory(text(mFolder.path("absent")), text("cfg")));
  EXPECT_TRUE(ztbtest::contains(store()->getErrorMessage().asCstr(), "absent"));
  EXPECT_EQ("a=1", all());
}

}  // namespace
