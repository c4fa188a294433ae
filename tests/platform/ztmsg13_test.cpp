// SPDX-License-Identifier: MIT
//
// The message database: which catalog is opened, what a damaged one does, how texts are filled in.

#include "ztmsg13.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "ztbtest.h"
#include "ztmsg13_catalog.h"
#include "ztmsg13_format.h"
#include "ztmsg13_messages.h"
#include "ztschr12.h"
#include "ztssys11.h"

namespace {

using ztmsg13::Catalog;

constexpr char const* kCatalogs = ZTB_TEST_HOME "/share/msg";

// Unsets the variables that the database reads, and puts them back afterwards.
class Variables {
 public:
  Variables() {
    for (char const* name : kNames) {
      char const* const value = std::getenv(name);
      if (value != nullptr) mValues[name] = value;
      np_env_set(name, nullptr);
    }
  }
  ~Variables() {
    for (char const* name : kNames) {
      np_env_set(name, mValues.count(name) > 0 ? mValues[name].c_str() : nullptr);
    }
  }

 private:
  static constexpr char const* kNames[] = {"MARLOVEN_ERROR_LOCATION",
                                           "MARLOVEN_ERROR_LOCALE",
                                           "MARLOVEN_ERROR_LEVEL",
                                           "LC_ALL",
                                           "LC_MESSAGES",
                                           "LANG"};
  std::map<std::string, std::string> mValues;
};

class ZtMsg13 : public ::testing::Test {
 protected:
  void TearDown() override { ztmsg13_terminate(); }

  // The reason of a failure, or the empty text.
  std::string open(std::string const& location, char const* locale = "en",
                   char const* level = nullptr) {
    np_env_set("MARLOVEN_ERROR_LOCATION", location.c_str());
    np_env_set("MARLOVEN_ERROR_LOCALE", locale);
    np_env_set("MARLOVEN_ERROR_LEVEL", level);
    char const* reason = "";
    int const result = ztmsg13_initialize(&reason);
    EXPECT_EQ(result != 0, *reason != '\0');
    return reason;
  }
  // Compiles a catalog below the test's folder.
  void compile(std::string const& locale, std::string const& source) {
    std::string const text = mFolder.write(locale + "/source.msg", "$ codeset=UTF-8\n" + source);
    std::string const catalog = mFolder.path(locale + "/messages.cat");
    ASSERT_EQ(0, std::system((ZTB_TEST_GENCAT " " + catalog + " " + text).c_str()));
  }
  static std::string message(char const* group, int number, ...) {
    auto const buffer = std::make_unique<char[]>(ztmsg13_buffer_size);
    va_list arguments;
    va_start(arguments, number);
    ztmsg13_get_vmessage("reader", 12, group, number, buffer.get(), arguments);
    va_end(arguments);
    return buffer.get();
  }
  static std::string fragment() {
    auto const buffer = std::make_unique<char[]>(ztmsg13_buffer_size);
    ztmsg13_get_fragment(444, buffer.get());
    return buffer.get();
  }

  Variables mVariables;
  ztbtest::TempFolder mFolder;
};

using ZtMsg13Catalogs = ZtMsg13;

TEST_F(ZtMsg13Catalogs, HaveAFittingTextForEveryMessageInEveryLocale) {
  std::size_t locales = 0;
  std::map<int, std::string> types;  // what the texts of a row name, the same in every language
  for (auto const& locale : std::filesystem::directory_iterator(kCatalogs)) {
    ++locales;
    Catalog catalog;
    std::string reason;
    ASSERT_EQ(ztmsg13::CatalogFile::kRead,
              readCatalog(locale.path() / "messages.cat", catalog, reason))
        << reason;
    int rowNumber = 0;
    for (ZtMessage const& row : kZtMessages) {
      SCOPED_TRACE(locale.path().string() + " " + std::string(row.group) + " " +
                   std::to_string(row.number));
      char const* const text = catalog.find(row.group, row.number);
      ASSERT_NE(nullptr, text);
      EXPECT_TRUE(ztmsg13::fits(text, row.arguments));
      ztmsg13::Signature signature;
      ASSERT_TRUE(ztmsg13::readSignature(text, signature));
      std::string const named(signature.types, ztmsg13::kMaxArguments);
      EXPECT_EQ(types.emplace(rowNumber++, named).first->second, named);
    }
  }
  EXPECT_LE(2u, locales);
}

TEST_F(ZtMsg13, LevelAddsWhereAMessageComesFrom) {
  struct {
    char const* level;
    char const* head;
  } const rows[] = {
      {nullptr, ""},
      {"", ""},
      {"0", ""},
      {"1", "[Base Services 445] "},
      {"2", "[Base Services 445, reader:12] "},
      {"007", "[Base Services 445, reader:12] "},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.level ? row.level : "unset");
    ASSERT_EQ("", open(kCatalogs, "en", row.level));
    EXPECT_EQ(std::string(row.head) + "The folder \"/a\" doesn't exist. Check the path.",
              message("Base Services", 445, "/a"));
    EXPECT_EQ("out of memory", fragment());
  }
  for (char const* level : {"-1", "x", "1 ", "2.0"}) {
    EXPECT_NE(std::string::npos, open(kCatalogs, "en", level).find("MARLOVEN_ERROR_LEVEL"))
        << level;
  }
}

TEST_F(ZtMsg13, LocaleFallsBackToItsLanguageAndThenToEnglish) {
  compile("en", "$set 1\n4 Fragments\n$set 4\n444 en\n");
  compile("de", "$set 1\n4 Fragments\n$set 4\n444 de\n");
  compile("de_AT", "$set 1\n4 Fragments\n$set 4\n444 de_AT\n");
  struct {
    char const* named;
    char const* lcAll;
    char const* lcMessages;
    char const* lang;
    char const* expected;
  } const rows[] = {
      {"de_AT.UTF-8@euro", nullptr, nullptr, nullptr, "de_AT"},
      {"de_DE.UTF-8", nullptr, nullptr, nullptr, "de"},
      {"de-CH", nullptr, nullptr, nullptr, "de"},
      {"fr_FR", nullptr, nullptr, "de", "en"},
      {"C", nullptr, nullptr, nullptr, "en"},
      {nullptr, nullptr, nullptr, nullptr, "en"},
      {nullptr, "de", "en", "en", "de"},
      {"", "", "de_AT", "en", "de_AT"},
      {"", "", "", "de_DE.UTF-8", "de"},
      {"", "../de", "de", "de", "en"},
  };
  for (auto const& row : rows) {
    np_env_set("LC_ALL", row.lcAll);
    np_env_set("LC_MESSAGES", row.lcMessages);
    np_env_set("LANG", row.lang);
    EXPECT_EQ("", open(mFolder.path(), row.named));
    EXPECT_EQ(row.expected, fragment());
  }
}

TEST_F(ZtMsg13, LocaleWithAPathInItsNameIsRefused) {
  compile("de", "$set 1\n4 Fragments\n$set 4\n444 outside\n");
  std::filesystem::create_directories(mFolder.path("inside/de"));
  std::string const absolute = mFolder.path("de");
  for (char const* locale : {"../de", "de/../../de", "..", ".", "/de", "de de", "de\n", "d\xC3\xA9",
                             ".UTF-8", "de.UTF-8/x", "de@..", absolute.c_str()}) {
    std::string const reason = open(mFolder.path("inside"), locale);
    EXPECT_EQ(0u, reason.find("MARLOVEN_ERROR_LOCALE is ")) << locale << ": " << reason;
  }
}

TEST_F(ZtMsg13, LocationThatCannotServeIsNamedInTheReason) {
  std::filesystem::create_directories(mFolder.path("empty"));
  std::filesystem::create_directories(mFolder.path("folder/en/messages.cat"));
  std::filesystem::create_directories(mFolder.path("pipe/en"));
  ASSERT_EQ(0, mkfifo(mFolder.path("pipe/en/messages.cat").c_str(), 0600));
  mFolder.write("rubbish/en/messages.cat", "not a catalog at all, but long enough for one");
  mFolder.write("nothing/en/messages.cat", "");
  ASSERT_EQ("", open(kCatalogs));
  EXPECT_NE(std::string::npos, open("").find("MARLOVEN_ERROR_LOCATION"));
  EXPECT_NE(std::string::npos, open(std::string(5000, 'x')).find("MARLOVEN_ERROR_LOCATION"));
  for (char const* name : {"missing", "empty", "folder", "pipe", "rubbish", "nothing"}) {
    std::string const reason = open(mFolder.path(name));
    EXPECT_NE(std::string::npos, reason.find(mFolder.path(name) + "/en/messages.cat")) << reason;
  }
  EXPECT_EQ("out of memory", fragment()) << "a failure must leave the open database alone";
}

TEST_F(ZtMsg13Catalogs, ThatAreCutAnywhereAreRefused) {
  std::string const bytes = ztbtest::readFile(std::string(kCatalogs) + "/de/messages.cat");
  ASSERT_LT(1000u, bytes.size());
  for (std::size_t part = 0; part < 50; ++part) {
    mFolder.write("en/messages.cat", bytes.substr(0, bytes.size() * part / 50));
    EXPECT_NE(std::string::npos, open(mFolder.path()).find("damaged")) << part;
  }
  EXPECT_FALSE(Catalog().assign(bytes.substr(0, bytes.size() - 1))) << "no end of the last text";
  // A catalog that is cut while it is open goes on serving what it had.
  mFolder.write("en/messages.cat", bytes);
  ASSERT_EQ("", open(mFolder.path()));
  mFolder.write("en/messages.cat", "");
  EXPECT_EQ("zu wenig Speicher", fragment());
}

TEST_F(ZtMsg13Catalogs, WithPlacesOutsideTheFileAreRefused) {
  std::string const good = ztbtest::readFile(std::string(kCatalogs) + "/en/messages.cat");
  EXPECT_TRUE(Catalog().assign(good));
  struct {
    std::size_t offset;
    std::uint32_t word;
    char const* why;
  } const rows[] = {{0, 0x950412DE, "another magic number"},
                    {4, 0, "no width"},
                    {8, 0, "no depth"},
                    {4, 0xFFFFFFFF, "wider than the file"},
                    {8, 0x40000000, "product beyond 32 bits"},
                    {20, 0x01000000, "a text behind the end"}};
  for (auto const& row : rows) {
    std::string bytes = good;
    std::memcpy(bytes.data() + row.offset, &row.word, sizeof(row.word));
    bytes[12] = 2;  // whatever the first slot was, it is in use
    EXPECT_FALSE(Catalog().assign(bytes)) << row.why;
  }
}

TEST_F(ZtMsg13Catalogs, TextsThatDoNotFitGiveWayToTheDefault) {
  compile("en",
          "$set 1\n2 Base Services\n9 Shop\n$set 2\n335 stray %s\n336 100%%\n445 %n\n446 %2$s\n"
          "447 %1$d\n453 QQQ %s\n454 twice %1$s, %1$s\n1353 %2$s <- %1$s\n467 %2$05d %1$s\n"
          "97 tail %s\n$set 9\n1 Closed on day 1, 50%% off\n2 %s\n3 %d\n");
  std::string bytes = ztbtest::readFile(mFolder.path("en/messages.cat"));
  bytes.replace(bytes.find("QQQ"), 3, "\xE2\x82 ");
  mFolder.write("en/messages.cat", bytes);
  ASSERT_EQ("", open(mFolder.path()));

  std::string const missing = "] no text in the message database";
  EXPECT_EQ("[Base Services 335" + missing, message("Base Services", 335));
  EXPECT_EQ("100%", message("Base Services", 336));
  for (int number : {445, 446, 447, 453}) {
    EXPECT_EQ("[Base Services " + std::to_string(number) + missing + ": \"/a\"",
              message("Base Services", number, "/a"));
  }
  EXPECT_EQ("tail", message("Base Services", 97, "")) << "blanks at the end are dropped";
  EXPECT_EQ("twice /a, /a", message("Base Services", 454, "/a"));
  EXPECT_EQ("why <- /a", message("Base Services", 1353, "/a", "why"));
  EXPECT_EQ("-0042 /a", message("Base Services", 467, "/a", -42));
  EXPECT_EQ("[Base Services 1352" + missing + ": \"\", 5",
            message("Base Services", 1352, nullptr, 5));

  // Nothing is known of these numbers' arguments, so none is touched.
  EXPECT_EQ("Closed on day 1, 50% off", message("Shop", 1));
  for (int number : {2, 3, 4, 0, -1}) {
    EXPECT_EQ("[Shop " + std::to_string(number) + missing, message("Shop", number, 1));
  }
  EXPECT_EQ("[ 335" + missing, message(nullptr, 335));
  EXPECT_NE(std::string::npos, fragment().find(mFolder.path("en/messages.cat")));
}

TEST_F(ZtMsg13, LongMessageIsCutBetweenCharacters) {
  ASSERT_EQ("", open(kCatalogs));
  for (std::size_t shift = 0; shift < 4; ++shift) {
    std::string argument(shift, 'x');
    while (argument.size() < 5000) argument += "\xF0\x9F\x98\x80";
    std::string const text = message("Base Services", 1353, argument.c_str(), "never seen");
    EXPECT_LE(text.size(), ztmsg13_buffer_size - 1);
    EXPECT_GE(text.size(), ztmsg13_buffer_size - 4);
    EXPECT_EQ("\xF0\x9F\x98\x80", text.substr(text.size() - 4));
  }
}

TEST(ZtMsg13Format, FitsOnlyWhatTheArgumentsAllow) {
  struct {
    char const* declared;
    char const* why;  // null: they fit
    std::vector<char const*> formats;
  } const rows[] = {
      {"is", nullptr, {"", "100%%", "%2$s", "%1$02d %2$s %1$i", "%d%s", "%099d"}},
      {"sssssssss", nullptr, {"%9$s", "%s%s%s%s%s%s%s%s%s"}},
      {"s", "no such argument", {"%s%s", "%2$s", "%0$s"}},
      {"s", "another type", {"%d", "%1$d", "%1$s%1$d"}},
      {"ss", "positions and turns", {"%1$s%s", "%s%1$s"}},
      {"ssssssssss", "more than 9", {"%10$s", "%s%s%s%s%s%s%s%s%s%s"}},
      {"ii", "writes to memory", {"%n", "%1$n"}},
      {"ii", "bad width", {"%*d", "%1$*2$d", "%100d", "%99999999999999d", "%-5d"}},
      {"s", "a text has no width", {"%5s", "%.3s", "%0s"}},
      {"i", "unknown", {"%ld", "%x", "%f", "% d"}},
      {"i", "cut short", {"%", "a%", "%1", "%1$", "%0", "%%%"}},
  };
  for (auto const& row : rows) {
    for (char const* format : row.formats) {
      EXPECT_EQ(row.why == nullptr, ztmsg13::fits(format, row.declared)) << format;
    }
  }
}

TEST(ZtMsg13Format, PrintfTakesPositionsAndIgnoresTheArgumentsBehind) {
  struct {
    char const* format;
    char const* expected;  // null: refused
  } const rows[] = {
      {" %2$d-%1$02d-%3$d ", " 3-02-1850 "},
      {"%02d/%02d/%02d ", "02/03/1850 "},
      {"%d/%d/%d ", "2/3/1850 "},
      {"%3$d년 %1$02d월 %2$02d일 ", "1850년 02월 03일 "},
      {"%3$d年\t\t%1$02d月\t\t%2$02d日", "1850年\t\t02月\t\t03日"},
      {"%1$d%2$d%3$d|%4$s|", "231850|tail|"},
      {"%3$6d %2$d %1$06d", "  1850 3 000002"},
      {"", ""},
      {"%2$d", nullptr},  // the first argument's type isn't known
      {"%f", nullptr},
      {nullptr, nullptr},
  };
  for (auto const& row : rows) {
    char target[128] = "untouched";
    int const bytes =
        ztmsg13_util_printf(target, sizeof(target), row.format, 2, 3, 1850, "tail", "");
    EXPECT_STREQ(row.expected ? row.expected : "", target);
    EXPECT_EQ(row.expected ? static_cast<int>(std::strlen(row.expected)) : -1, bytes);
  }
}

TEST(ZtMsg13Format, PrintfKeepsToItsTarget) {
  char const* const expected[] = {"", "", "", "", "年", "年-", "年-1", "年-1", "年-1", "年-1年"};
  for (unsigned size = 0; size < 10; ++size) {
    std::string target(size, '~');
    int const bytes = ztmsg13_util_printf(target.data(), size, "年-%d年", 1);
    EXPECT_STREQ(expected[size], target.c_str()) << size;
    EXPECT_EQ(static_cast<int>(std::strlen(target.c_str())), bytes) << size;
  }
  EXPECT_EQ(0, ztmsg13_util_printf(nullptr, 10, "%d", 1));
}

using ZtMsg13Threads = ZtMsg13;

TEST_F(ZtMsg13Threads, ReadWhileTheDatabaseIsOpenedAndClosed) {
  ASSERT_EQ("", open(kCatalogs, "de", "2"));
  std::atomic<bool> done{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&done] {
      while (!done) {
        EXPECT_NE(std::string::npos, message("Base Services", 1353, "/a", "gone").find("/a"));
        EXPECT_NE("", fragment());
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    char const* reason = nullptr;
    EXPECT_EQ(0, ztmsg13_initialize(&reason));
    if (i % 3 == 0) ztmsg13_terminate();
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
}

}  // namespace
