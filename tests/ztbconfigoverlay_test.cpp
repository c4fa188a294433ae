// SPDX-License-Identifier: MIT

#include "ztbconfigoverlay.h"

#include <cstdlib>
#include <optional>
#include <string>

#include "ztbtest.h"

using ztbtest::readFile;

namespace {

ZtbString text(std::string const& bytes) {
  return ZtbString(bytes.c_str(), false);
}

class ZtbConfigOverlayTest : public ztbtest::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    config.emplace();
    EXPECT_TRUE(config->readBase(text(folder.write("base", kBase))));
    EXPECT_TRUE(config->readOverlay(text(folder.write("overlay", kOverlay))));
  }
  void TearDown() override {
    config.reset();
    LibraryTest::TearDown();
  }

  // The rows as "key:base:overlay", with "-" for a value that isn't touched and "0" for a null one.
  static std::string rowsOf(ZtbConfigOverlay& config) {
    std::string rows;
    for (int i = 0; i < config.getEntryCount(); ++i) {
      ZtbString key, base("-", true), overlay("-", true);
      EXPECT_TRUE(config.getEntry(i, &key, &base, &overlay));
      for (ZtbString const* part : {&key, &base, &overlay}) {
        rows += part->isNull() ? "0:" : std::string(part->asCstr()) + ":";
      }
      rows.back() = ' ';
    }
    return rows;
  }

  std::string written(ZtbConfigOverlay& from) {
    EXPECT_TRUE(from.writeOverlay(text(folder.path("out"))));
    return readFile(folder.path("out"));
  }

  static constexpr char kBase[] = "#of a\na=1\n#of b\nB=2\n";
  static constexpr char kOverlay[] = "# kept\nb=3\n#of c\nc=4\n";

  ztbtest::TempFolder folder;
  std::optional<ZtbConfigOverlay> config;
};

TEST_F(ZtbConfigOverlayTest, ShowsBothFilesInOneOrder) {
  EXPECT_EQ("a:1:- B:2:3 c:-:4 ", rowsOf(*config));
  EXPECT_STREQ("of a", config->getEntryComment(text("A")).asCstr());
  EXPECT_STREQ(" kept", config->getEntryComment(text("b")).asCstr());
  EXPECT_TRUE(config->getEntryComment(text("d")).isNull());
  ZtbString key("k", true), base("b", true), overlay("o", true);
  for (int const index : {-1, 3}) {
    EXPECT_FALSE(config->getEntry(index, &key, &base, &overlay));
    EXPECT_TRUE(key.isNull() && base.isNull() && overlay.isNull());
    EXPECT_FALSE(config->getEntry(index, nullptr, nullptr, nullptr));
  }
  EXPECT_TRUE(config->getEntry(1, nullptr, nullptr, nullptr));
  EXPECT_TRUE(config->readBase(text(folder.write("more", "d=5\n"))));
  EXPECT_EQ("a:1:- B:2:- d:5:- ", rowsOf(*config)) << "without the overlay until it is read again";
}

TEST_F(ZtbConfigOverlayTest, ChangesTheOverlayAlone) {
  struct {
    char const* key;
    char const* value;
    char const* rows;
    char const* file;
  } const steps[] = {
      {"new", "5", "a:1:- B:2:3 c:-:4 new:-:5 ", "# kept\nb=3\n#of c\nc=4\n\nnew=5\n"},
      {"NEW", "", "a:1:- B:2:3 c:-:4 ", "# kept\nb=3\n#of c\nc=4\n"},
      {"A", "", "a:1:- B:2:3 c:-:4 ", "# kept\nb=3\n#of c\nc=4\n"},
      {"A", "6", "a:1:6 B:2:3 c:-:4 ", "# kept\nb=3\n#of c\nc=4\n\n#of a\nA=6\n"},
      {"b", "", "a:1:6 B:2:0 c:-:4 ", "# kept\n#-DELETED b=3\n#of c\nc=4\n\n#of a\nA=6\n"},
      {"c", "", "a:1:6 B:2:0 ", "# kept\n#-DELETED b=3\n#of c\n#-DELETED c=4\n\n#of a\nA=6\n"},
  };
  std::string const base = readFile(folder.path("base"));
  for (auto const& [key, value, rows, file] : steps) {
    config->setOverlayEntry(text(key), text(value));
    EXPECT_EQ(rows, rowsOf(*config)) << key;
    EXPECT_EQ(file, written(*config)) << key;
  }
  config->setEntryComment(text("b"), text("lost"));
  config->setOverlayEntry(text("b"), text("7"));
  EXPECT_EQ("a:1:6 B:2:7 ", rowsOf(*config));
  EXPECT_EQ(std::string::npos, written(*config).find("lost"));
  EXPECT_EQ(base, readFile(folder.path("base")));
}

TEST_F(ZtbConfigOverlayTest, CommentsMakeAnOverride) {
  config->setEntryComment(text("none"), text("nothing"));
  config->setEntryComment(text("a"), text("mine"));
  EXPECT_EQ("a:1:1 B:2:3 c:-:4 ", rowsOf(*config));
  EXPECT_STREQ("mine", config->getEntryComment(text("a")).asCstr());
  EXPECT_TRUE(ztbtest::contains(written(*config), "#mine\na=1\n"));
  config->setEntryComment(text("b"), text(""));
  EXPECT_STREQ("of b", config->getEntryComment(text("b")).asCstr());
}

TEST_F(ZtbConfigOverlayTest, TellsWhyAFileIsRefused) {
  EXPECT_FALSE(config->readBase(text(folder.path("missing"))));
  EXPECT_TRUE(ztbtest::contains(config->getErrorMessage().asCstr(), "missing"));
  EXPECT_FALSE(config->readOverlay(text(folder.path())));
  EXPECT_TRUE(ztbtest::contains(config->getErrorMessage().asCstr(), folder.path()));
  EXPECT_EQ("a:1:- B:2:3 c:-:4 ", rowsOf(*config));
  EXPECT_FALSE(config->writeOverlay(text(folder.path("no/such"))));
  EXPECT_TRUE(ztbtest::contains(config->getErrorMessage().asCstr(), "no/such"));
}

TEST_F(ZtbConfigOverlayTest, CopiesShareNothing) {
  ZtbConfigOverlay copy(*config);
  ZtbConfigOverlay assigned;
  assigned = copy;
  ZtbConfigOverlay const& itself = assigned;
  assigned = itself;
  copy.setOverlayEntry(text("a"), text("8"));
  EXPECT_EQ("a:1:8 B:2:3 c:-:4 ", rowsOf(copy));
  EXPECT_EQ("a:1:- B:2:3 c:-:4 ", rowsOf(*config));
  EXPECT_EQ("a:1:- B:2:3 c:-:4 ", rowsOf(assigned));
}

TEST_F(ZtbConfigOverlayTest, RowsOutliveTheKeysThatMadeThem) {
  char key[] = "key";
  config->setOverlayEntry(ZtbString(key, true), text("5"));
  key[0] = 'a';
  EXPECT_EQ("a:1:- B:2:3 c:-:4 key:-:5 ", rowsOf(*config));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ZtbConfigOverlayTest, NothingIsDoneByHalfWithoutMemory) {
  auto const tryAll = [this] {
    // Larger than any heap of a thread, which may have the room without asking the system.
    ZtbString const large = text(std::string(std::size_t{80} << 20, 'x'));
    config->setOverlayEntry(text("c"), large);
    ZtbConfigOverlay assigned;
    {
      ztbtest::Limit const limit(RLIMIT_AS, 1 << 20);
      assigned = *config;
      EXPECT_EQ(0, assigned.getEntryCount());
      EXPECT_EQ(0, ZtbConfigOverlay(*config).getEntryCount());
      config->setOverlayEntry(text("new"), large);
      EXPECT_EQ(3, config->getEntryCount()) << "no row without a value";
      config->setOverlayEntry(text("c"), ZtbString());
      EXPECT_EQ(3, config->getEntryCount()) << "there is no room for its marker";
    }
    config->setOverlayEntry(text("a"), text("6"));
    EXPECT_STREQ("of a", config->getEntryComment(text("a")).asCstr());
    return HasFailure() ? 1 : 0;
  };
  // In a program started anew, whose pool has nothing left from other tests.
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(std::_Exit(tryAll()), ::testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
