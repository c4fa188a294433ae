// SPDX-License-Identifier: MIT
#include "ztbconfigfile.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ztbtest.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

ZtbString text(std::string const& bytes) {
  return ZtbString(bytes.c_str(), false);
}

Pairs entriesOf(ZtbConfigFile& file) {
  Pairs pairs;
  ZtbString key, value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    pairs.emplace_back(key.asCstr(), value.asCstr());
  }
  return pairs;
}

class ZtbConfigFileTest : public ztbtest::LibraryTest {
 protected:
  void read(ZtbConfigFile& file, std::string const& bytes) {
    std::string const path = mFolder.write("in.cfg", bytes);
    ASSERT_TRUE(file.read(text(path))) << file.getErrorMessage().asCstr();
  }
  std::string written(ZtbConfigFile& file) {
    std::string const path = mFolder.path("out.cfg");
    EXPECT_TRUE(file.write(text(path))) << file.getErrorMessage().asCstr();
    return ztbtest::readFile(path);
  }
  std::string value(ZtbConfigFile& file, char const* key) {
    ZtbString const value = file.getEntry(text(key));
    return value.isNull() ? "(null)" : value.asCstr();
  }

  struct Edit {
    std::string what;
    char const* key;  // or the lines to read
    char const* text = nullptr;
  };
  void carryOut(ZtbConfigFile& file, Edit const& edit) {
    ZtbString const key(edit.key, false), text(edit.text, false);
    if (edit.what == "read") read(file, edit.key);
    if (edit.what == "set") file.setEntry(key, text);
    if (edit.what == "delete") file.deleteEntry(key);
    if (edit.what == "comment") file.setEntryComment(key, text);
  }

  ztbtest::TempFolder mFolder;
};

TEST_F(ZtbConfigFileTest, EveryFormOfLineIsReadAndWrittenBack) {
  std::string const longText(5000, 'x');
  std::string const longLine = "k=" + longText + "\n";
  struct {
    std::string in;
    Pairs entries;
    std::string out;
  } const rows[] = {
      {"", {}, ""},
      {"a=b", {{"a", "b"}}, "a=b\n"},
      {"\xc2\xa0 a\xe2\x80\x83=\xe3\x80\x80 \xc3\xa9 \xc2\x85\r\n", {{"a", "é"}}, "a=é\n"},
      {" a = \n", {{"a", ""}}, "a=\n"},
      {"=b\n", {{"", "b"}}, "=b\n"},
      {"=\n", {{"", ""}}, "=\n"},
      {"a=b=c #d\n", {{"a", "b=c #d"}}, "a=b=c #d\n"},
      {"ab\n", {}, "ab\n"},
      {"[title]\n[a=b]\n", {{"[a", "b]"}}, "[title]\n[a=b]\n"},
      {"  \n\n\t\n # a=b \n#\n", {}, "\n\n\n# a=b\n#\n"},
      {"a=1\ra=2\r\nb=3\n\r", {{"a", "2"}, {"b", "3"}}, "a=1\na=2\nb=3\n\n"},
      {"b=2\nB=3\na=1\n", {{"a", "1"}, {"b", "3"}}, "B=2\nB=3\na=1\n"},
      {"# one\nk=1\n\n#two\nK=2\n", {{"k", "2"}}, "# one\nK=1\n\n#two\nK=2\n"},
      {"_=1\nZ=2\n[=3\n", {{"[", "3"}, {"_", "1"}, {"Z", "2"}}, "_=1\nZ=2\n[=3\n"},
      {"\ufeffa=1\n", {{"a", "1"}}, "a=1\n"},
      {"SS=1\nss=2\nÄ=3\nä=4\n", {{"SS", "2"}, {"Ä", "4"}}, "ss=1\nss=2\nä=3\nä=4\n"},
      {longLine, {{"k", longText}}, longLine},
  };
  for (auto const& [in, entries, out] : rows) {
    SCOPED_TRACE(in);
    ZtbConfigFile file;
    read(file, in);
    EXPECT_EQ(entries, entriesOf(file));
    EXPECT_EQ(static_cast<int>(entries.size()), file.getEntryCount());
    EXPECT_EQ(out, written(file));
    EXPECT_EQ(out, written(file)) << "a second write differs";
  }
}

TEST_F(ZtbConfigFileTest, CommentBelongsToTheEntryDirectlyBelow) {
  std::pair<char const*, char const*> const rows[] = {
      {"# c \n a=1\n", " c"},
      {"#c\n\na=1\n", nullptr},  // a null string
      {"#c\nother\na=1\n", nullptr},
      {"#1\n#2\na=1\n", "2"},
      {"#1\n#\na=1\n", nullptr},
      {"#c\nb=0\na=1\n", nullptr},
      {"#old\na=0\na=1\n", nullptr},
      {"##\na=1\n", "#"},
      {"#-DELETED k=v\na=1\n", "-DELETED k=v"},
  };
  for (auto const& [in, comment] : rows) {
    ZtbConfigFile file;
    read(file, in);
    EXPECT_EQ(comment == nullptr, file.getEntryComment(text("A")).isNull()) << in;
    EXPECT_STREQ(comment == nullptr ? "" : comment, file.getEntryComment(text("A")).asCstr());
  }
}

TEST_F(ZtbConfigFileTest, EditsKeepTheRestOfTheFile) {
  struct {
    char const* in;
    std::vector<Edit> edits;
    char const* out;
  } const rows[] = {
      {"a=1\nb=2\n", {{"set", "A", "3"}}, "a=3\nb=2\n"},
      {"a=1\n", {{"set", "a", nullptr}}, "a=\n"},
      {"x\n", {{"set", "b", "1"}, {"set", "a", "2"}, {"set", "B", "3"}}, "x\n\na=2\n\nb=3\n"},
      {"", {{"set", nullptr, "null"}, {"set", "", "empty"}}, "\n=null\n\n=empty\n"},
      {"x\n", {{"set", "a", "1"}, {"comment", "a", "c"}, {"delete", "A"}}, "x\n"},
      {"", {{"set", "a", "1"}, {"comment", "a", "c"}, {"read", "A=2\n"}}, "A=2\n"},
      {"a=1\n", {{"delete", "A"}, {"set", "a", "2"}}, "#-DELETED A=1\n\na=2\n"},
      {"a=1\n", {{"delete", "x"}, {"comment", "x", "c"}}, "a=1\n"},
      {"#c\na=1\nb=2\n", {{"delete", "a"}}, "#c\n#-DELETED a=1\nb=2\n"},
      {"a=1\nb=2\n", {{"comment", "a", "c"}, {"delete", "a"}}, "#c\n#-DELETED a=1\nb=2\n"},
      {"#c\na=1\n", {{"comment", "A", "d"}, {"set", "a", "2"}}, "#d\na=2\n"},
      {"#c\na=1\nb=2\n", {{"comment", "a", ""}, {"delete", "a"}}, "#-DELETED a=1\nb=2\n"},
      {"#c\na=1\n", {{"read", "#d\nA=2\n"}}, "#c\nA=1\n#d\nA=2\n"},
      {"a=1\n", {{"comment", "a", "c"}, {"read", "a=2\n"}}, "#c\na=1\na=2\n"},
      {"#c\n", {{"read", "a=1\n"}, {"comment", "a", "d"}}, "#c\n#d\na=1\n"},
      {"a=1\n", {{"set", "a", "p\nb=q"}, {"read", "a=3\n"}}, "a=p b=q\na=3\n"},
      {"a=1\n", {{"comment", "a", "1\r\n2=3\n\n4\r"}}, "#1\n#2=3\n#\n#4\n#\na=1\n"},
      {"a=1\n", {{"set", "a", "p\nq=1"}, {"delete", "a"}}, "#-DELETED a=p q=1\n"},
  };
  for (auto const& [in, edits, out] : rows) {
    ZtbConfigFile file, again;
    read(file, in);
    for (Edit const& edit : edits) carryOut(file, edit);
    EXPECT_EQ(out, written(file));
    read(again, out);
    EXPECT_EQ(out, written(again));
  }
}

TEST_F(ZtbConfigFileTest, WriteRefusesWhatWouldReadBackAsSomethingElse) {
  char const* const rows[][2] = {{"a", "1\nb=2"}, {"a", "1\r"}, {"a\nb", "1"},
                                 {"a=b", "1"},    {"#a", "1"},  {" #a", "1"}};
  for (auto const& [key, entry] : rows) {
    SCOPED_TRACE(key);
    std::string const path = mFolder.write("kept.cfg", "old=1\n");
    ZtbConfigFile file;
    file.setEntry(text(key), text(entry));
    EXPECT_EQ(entry, value(file, key)) << "held in memory all the same";
    EXPECT_FALSE(file.write(text(path)));
    EXPECT_TRUE(ztbtest::contains(file.getErrorMessage().asCstr(), "can't be written"));
    EXPECT_EQ("old=1\n", ztbtest::readFile(path));
  }
}

TEST_F(ZtbConfigFileTest, EntriesByPlaceKeepTheFirstSpelling) {
  ZtbConfigFile file;
  read(file, "b=2\nA=1\na=3\n");
  ZtbString key, entry;
  EXPECT_TRUE(file.getEntry(0, &key, &entry));
  EXPECT_STREQ("A", key.asCstr());
  EXPECT_STREQ("3", entry.asCstr());
  EXPECT_TRUE(file.getEntry(1, nullptr, &entry));
  for (int index : {-1, 2, INT_MAX, INT_MIN}) {
    key = entry = text("x");
    EXPECT_FALSE(file.getEntry(index, &key, &entry));
    EXPECT_TRUE(key.isNull() && entry.isNull());
    EXPECT_FALSE(file.getEntry(index, nullptr, nullptr));
  }
}

TEST_F(ZtbConfigFileTest, StaleWalkIsAtItsEndUntilItStartsAgain) {
  ZtbConfigFile file;
  ZtbString key = text("x");
  EXPECT_FALSE(file.getNextEntry(false, &key, nullptr));
  read(file, "a=1\nb=2\nc=3\n");
  ASSERT_TRUE(file.getNextEntry(true, &key, nullptr));
  file.deleteEntry(text("b"));
  file.setEntry(text("aa"), text("4"));
  ASSERT_TRUE(file.getNextEntry(false, &key, nullptr));
  EXPECT_STREQ("aa", key.asCstr());
  file.deleteEntry(text("aa"));
  EXPECT_FALSE(file.getNextEntry(false, &key, nullptr));
  EXPECT_STREQ("aa", key.asCstr()) << "outputs stay at the end";
  ASSERT_TRUE(file.getNextEntry(true, &key, nullptr));
  file.clear();
  EXPECT_FALSE(file.getNextEntry(false, &key, nullptr));
  EXPECT_FALSE(file.getNextEntry(true, &key, nullptr));
}

TEST_F(ZtbConfigFileTest, CopiesShareNothing) {
  ZtbConfigFile file;
  read(file, "#c\nKey=1\nKEY=2\nb=2\nx\n");
  file.setEntry(text("n"), text("new"));
  ZtbString key;
  file.getNextEntry(true, &key, nullptr);
  std::string const before = written(file);
  ZtbConfigFile copy(file), assigned;
  assigned = copy;
  copy.deleteEntry(text("key"));
  copy.clear();
  EXPECT_EQ("", written(copy));
  EXPECT_EQ(before, written(file));
  EXPECT_EQ(before, written(assigned));
  EXPECT_TRUE(assigned.getNextEntry(false, &key, nullptr)) << "the walk is copied too";
  EXPECT_STREQ("Key", key.asCstr());
  assigned = *&assigned;
  EXPECT_EQ(before, written(assigned));
}

// Edits that leave megabytes of old texts behind make the model rebuild itself.
TEST_F(ZtbConfigFileTest, ManyEditsOfOneEntryKeepModelAndWalk) {
  ZtbConfigFile file;
  read(file, "a=1\n#c\nB=2\nb=3\nz=4\n");
  ZtbString key;
  file.getNextEntry(true, &key, nullptr);
  std::string const filler(1000, 'v');
  for (int i = 0; i < 5000; ++i) {
    file.setEntry(text("a"), text(filler + std::to_string(i)));
    file.setEntry(text("new"), text(filler));
    file.deleteEntry(text("new"));
  }
  ASSERT_TRUE(file.getNextEntry(false, &key, nullptr));
  EXPECT_STREQ("B", key.asCstr());
  EXPECT_EQ("a=" + filler + "4999\n#c\nb=2\nb=3\nz=4\n", written(file));
}

TEST_F(ZtbConfigFileTest, FailuresHaveATextAndKeepTheModel) {
  ZtbConfigFile file;
  EXPECT_TRUE(file.getErrorMessage().isNull());
  read(file, "a=1\n");
  for (std::string const& path : {mFolder.path("absent/x.cfg"), mFolder.path(), std::string()}) {
    EXPECT_FALSE(file.read(text(path))) << path;
    EXPECT_FALSE(file.write(text(path))) << path;
    EXPECT_FALSE(file.getErrorMessage().isNull()) << path;
  }
  EXPECT_EQ("a=1\n", written(file));
  EXPECT_FALSE(file.getErrorMessage().isNull()) << "success doesn't clear the text";
  file.clear();
  EXPECT_TRUE(file.getErrorMessage().isNull());
}

// Larger than what is written at once; faults/file_faults.cpp has the disk that is full at the end.
TEST_F(ZtbConfigFileTest, FullDiskIsReported) {
  ZtbConfigFile file;
  for (int i = 0; i < 9000; ++i) file.setEntry(text("k" + std::to_string(i)), text("v"));
  EXPECT_FALSE(file.write(text("/dev/full")));
  EXPECT_FALSE(file.getErrorMessage().isNull());
  EXPECT_EQ(9000, file.getEntryCount());
}

TEST_F(ZtbConfigFileTest, HugeInputIsReadWhole) {
  std::string const upper(1 << 20, 'K'), lower(1 << 20, 'k');
  ZtbConfigFile huge;
  read(huge, upper + "=1\n" + lower + "=2\n" + std::string(30 << 20, '='));
  EXPECT_EQ(2, huge.getEntryCount());
  EXPECT_EQ("2", value(huge, upper.c_str()));
  EXPECT_EQ((30u << 20) - 1, huge.getEntry(text("")).length());
}

TEST_F(ZtbConfigFileTest, AMillionEntriesInAnyOrder) {
  std::string lines;
  int const count = 1000000;
  for (int i = 0; i < count; ++i) {
    lines += "Key/" + std::to_string((i * 7919LL) % count) + "=" + std::to_string(i) + "\n";
  }
  ZtbConfigFile file;
  read(file, lines);
  EXPECT_EQ(count, file.getEntryCount());
  EXPECT_EQ("1", value(file, "KEY/7919"));
  EXPECT_EQ(lines, written(file));
  for (int i = 0; i < 2000; ++i) file.setEntry(text("Key/5!" + std::to_string(i)), text("new"));
  Pairs const pairs = entriesOf(file);
  EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end()));
  ZtbString key;
  EXPECT_TRUE(file.getEntry(count + 1999, &key, nullptr));
  EXPECT_EQ("Key/999999", pairs.back().first);
  EXPECT_STREQ("Key/999999", key.asCstr());
}

}  // namespace
