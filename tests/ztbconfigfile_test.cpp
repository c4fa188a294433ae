// SPDX-License-Identifier: MIT
#include "ztbconfigfile.h"

#include <algorithm>
#include <map>
#include <random>
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

// The plain edits are the random model's; these are the rest.
TEST_F(ZtbConfigFileTest, EditsWithLineBreaksNullsAndClearingKeepTheRestOfTheFile) {
  struct {
    char const* in;
    void (*edit)(ZtbConfigFile& file);
    char const* out;
  } const rows[] = {
      {"a=1\n", [](ZtbConfigFile& f) { f.setEntry(text("a"), ZtbString()); }, "a=\n"},
      {"a=1\n", [](ZtbConfigFile& f) { f.setEntryComment(text("x"), text("c")); }, "a=1\n"},
      {"a=1\n",
       [](ZtbConfigFile& f) { f.setEntryComment(text("a"), text("one\r\ntwo=2\n\nfour\r")); },
       "#one\n#two=2\n#\n#four\n#\na=1\n"},
      {"a=1\nb=2\n",
       [](ZtbConfigFile& f) {
         f.setEntryComment(text("a"), text("x\ny=1"));
         f.setEntry(text("a"), text("p\nq=1"));
         f.deleteEntry(text("a"));
       },
       "#x\n#y=1\n#-DELETED a=p q=1\nb=2\n"},
      {"a=1\n#c\n",
       [](ZtbConfigFile& f) {
         f.setEntry(text("b"), text("2"));
         f.clear();
       },
       ""},
      {"",
       [](ZtbConfigFile& f) {
         f.setEntry(ZtbString(), text("null"));
         f.setEntry(text(""), text("empty"));
       },
       "\n=null\n\n=empty\n"},
  };
  for (auto const& [in, edit, out] : rows) {
    ZtbConfigFile file, again;
    read(file, in);
    edit(file);
    EXPECT_EQ(out, written(file));
    read(again, out);
    EXPECT_EQ(out, written(again));
  }
  ZtbConfigFile merged;
  read(merged, "a=1\nb=2\n");
  merged.setEntry(text("a"), text("p\nb=q"));
  read(merged, "a=3\n");
  EXPECT_EQ("a=p b=q\nb=2\na=3\n", written(merged));
}

TEST_F(ZtbConfigFileTest, WriteRefusesWhatWouldReadBackAsSomethingElse) {
  struct {
    char const* why;
    std::string key, value;
  } const rows[] = {
      {"line feed in the value", "a", "1\nb=2"}, {"return in the value", "a", "1\r"},
      {"line feed in the key", "a\nb", "1"},     {"equals sign in the key", "a=b", "1"},
      {"comment sign first", "#a", "1"},         {"comment sign behind blanks", " #a", "1"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.why);
    std::string const path = mFolder.write("kept.cfg", "old=1\n");
    ZtbConfigFile file;
    file.setEntry(text(row.key), text(row.value));
    EXPECT_EQ(row.value, value(file, row.key.c_str())) << "held in memory all the same";
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
  std::string many;
  for (int i = 1000; i < 3000; ++i) many += std::to_string(i) + "=" + std::to_string(i) + "\n";
  read(file, many);
  EXPECT_TRUE(file.getEntry(1999, &key, nullptr));
  EXPECT_STREQ("2999", key.asCstr());
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
  for (std::string const& path : {mFolder.path("absent.cfg"), mFolder.path(), std::string()}) {
    EXPECT_FALSE(file.read(text(path))) << path;
    EXPECT_FALSE(file.getErrorMessage().isNull()) << path;
    EXPECT_FALSE(file.write(text(mFolder.path("absent/out.cfg"))));
  }
  EXPECT_EQ("a=1\n", written(file));
  EXPECT_FALSE(file.getErrorMessage().isNull()) << "success doesn't clear the text";
  file.clear();
  EXPECT_TRUE(file.getErrorMessage().isNull());
}

TEST_F(ZtbConfigFileTest, FullDiskIsReported) {
  for (int entries : {1, 100000}) {
    ZtbConfigFile file;
    for (int i = 0; i < entries; ++i) file.setEntry(text("k" + std::to_string(i)), text("v"));
    EXPECT_FALSE(file.write(text("/dev/full")));
    EXPECT_FALSE(file.getErrorMessage().isNull());
    EXPECT_EQ(entries, file.getEntryCount());
  }
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
  Pairs const pairs = entriesOf(file);
  EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end()));
  EXPECT_EQ(lines, written(file));
}

// The model in the plainest containers, entered line by line.
class Reference {
 public:
  void read(std::vector<std::string> const& lines) {
    std::string pending;
    for (std::string const& line : lines) {
      int const number = ++mCount;
      std::size_t const equals = line.find('=');
      if (line[0] == '#' || equals == std::string::npos) {
        mLines[number] = line;
        pending = line[0] == '#' ? line.substr(1) : "";
        continue;
      }
      std::string const key = line.substr(0, equals);
      leave(key, key + "=");
      int const at = pending.empty() ? number : number - 1;
      mLines.erase(at);
      mEntries[fold(key)] = {pending, line.substr(equals + 1), at, key};
      pending.clear();
    }
  }
  void set(std::string const& key, std::string const& value) {
    mEntries.try_emplace(fold(key), Entry{"", "", -1, key}).first->second.value = value;
  }
  void comment(std::string const& key, std::string const& text) {
    auto const entry = mEntries.find(fold(key));
    if (entry != mEntries.end()) entry->second.comment = text;
  }
  void remove(std::string const& key) {
    leave(key, "#-DELETED " + key + "=");
    mEntries.erase(fold(key));
  }
  std::string written() const {
    std::map<int, std::string> lines = mLines;
    std::string set, out;
    for (auto const& [key, entry] : mEntries) {
      std::string const text = above(entry) + entry.spelling + "=" + entry.value;
      if (entry.line == -1) set += "\n" + text + "\n";
      if (entry.line != -1) lines[entry.line] = text;
    }
    for (auto const& [number, line] : lines) out += line + "\n";
    return out + set;
  }

 private:
  struct Entry {
    std::string comment, value;
    int line;  // -1 if it was set
    std::string spelling;
  };

  static std::string fold(std::string key) {
    for (char& c : key) c = static_cast<char>(std::tolower(c));
    return key;
  }
  static std::string above(Entry const& entry) {
    return entry.comment.empty() ? "" : "#" + entry.comment + "\n";
  }
  // The line of an entry goes on as a line that is no entry.
  void leave(std::string const& key, std::string const& text) {
    auto const entry = mEntries.find(fold(key));
    if (entry == mEntries.end() || entry->second.line == -1) return;
    mLines[entry->second.line] = above(entry->second) + text + entry->second.value;
  }

  int mCount = 0;
  std::map<int, std::string> mLines;  // those that are no entries
  std::map<std::string, Entry> mEntries;
};

TEST_F(ZtbConfigFileTest, RandomEditsAgreeWithThePlainModel) {
  char const* const keys[] = {"a", "A", "b", "bb", "B", "path/one", "PATH/one", "path_one", "zz"};
  char const* const others[] = {"", "other", "#", "#c", "# d", "#-DELETED x=1"};
  for (unsigned seed = 0; seed < 100; ++seed) {
    std::mt19937 random(seed);
    auto const below = [&](std::size_t limit) { return random() % limit; };
    ZtbConfigFile file;
    Reference reference;
    for (int step = 0; step < 40; ++step) {
      std::string const key = keys[below(std::size(keys))], number = std::to_string(step);
      std::size_t const what = below(8);
      if (what == 0) {
        std::vector<std::string> lines;
        std::string bytes;
        for (std::size_t n = below(8); n > 0; --n) {
          std::string const entry = keys[below(std::size(keys))] + ("=" + std::to_string(n));
          lines.push_back(below(2) ? entry : others[below(std::size(others))]);
          bytes += lines.back() + "\n";
        }
        read(file, bytes);
        reference.read(lines);
      } else if (what < 4) {
        file.setEntry(text(key), text(number));
        reference.set(key, number);
      } else if (what < 6) {
        file.deleteEntry(text(key));
        reference.remove(key);
      } else {
        std::string const comment = below(3) ? number : "";
        file.setEntryComment(text(key), text(comment));
        reference.comment(key, comment);
      }
      ASSERT_EQ(reference.written(), written(file)) << "seed " << seed << ", step " << step;
    }
  }
}

}  // namespace
