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
#include <vector>

#include "ztbtest.h"
#include "ztmsg13_catalog.h"
#include "ztmsg13_format.h"
#include "ztmsg13_messages.h"
#include "ztssys11.h"

namespace {

using namespace std::string_literals;
using ztbtest::contains;
using ztmsg13::Catalog;

constexpr char const* kCatalogs = ZTB_TEST_HOME "/share/msg";

class ZtMsg13 : public ::testing::Test {
 protected:
  void SetUp() override {
    for (char const* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) np_env_set(name, nullptr);
  }
  void TearDown() override {
    ztmsg13_terminate();
    np_env_set("MARLOVEN_ERROR_LOCATION", nullptr);
  }

  // The reason of a failure, or the empty text.
  static std::string open(std::string const& location, char const* locale = "en",
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
  static std::string formattedFragment(int number, ...) {
    auto const buffer = std::make_unique<char[]>(ztmsg13_buffer_size);
    va_list arguments;
    va_start(arguments, number);
    ztmsg13_get_vfragment(number, buffer.get(), arguments);
    va_end(arguments);
    return buffer.get();
  }

  ztbtest::TempFolder mFolder;
};

using ZtMsg13Catalogs = ZtMsg13;

TEST_F(ZtMsg13Catalogs, HaveAFittingTextForEveryMessageInEveryLocale) {
  std::map<ZtMessage const*, std::string> types;  // the texts name the same in every language
  for (auto const& locale : std::filesystem::directory_iterator(kCatalogs)) {
    Catalog catalog;
    std::string reason;
    auto const found = readCatalog(locale.path() / "messages.cat", catalog, reason);
    ASSERT_EQ(ztmsg13::CatalogFile::kRead, found) << reason;
    for (ZtMessage const& row : kZtMessages) {
      SCOPED_TRACE(testing::Message() << locale.path() << row.group << row.number);
      char const* const text = catalog.find(row.group, row.number);
      ASSERT_NE(nullptr, text);
      ztmsg13::Signature signature;
      EXPECT_TRUE(ztmsg13::readSignature(text, signature) && ztmsg13::fits(text, row.arguments));
      std::string const named(signature.types, ztmsg13::kMaxArguments);
      EXPECT_EQ(types.emplace(&row, named).first->second, named);
    }
  }
  EXPECT_EQ(kZtMessageCount, types.size());
}

TEST_F(ZtMsg13, VariablesChooseLocaleAndLevel) {
  for (std::string const locale : {"en", "de", "de_AT"}) {
    compile(locale, "$set 1\n2 Base Services\n4 Fragments\n$set 2\n445 " + locale +
                        " %s\n$set 4\n444 " + locale + "\n");
  }
  struct {
    char const *named, *level, *lcAll, *lcMessages, *lang;
    std::string head, text;
  } const rows[] = {
      {"de_AT.UTF-8@euro", nullptr, nullptr, nullptr, nullptr, "", "de_AT"},
      {"de-CH", "0", nullptr, nullptr, nullptr, "", "de"},
      {"fr_FR", "1", nullptr, nullptr, "de", "[Base Services 445] ", "en"},
      {nullptr, "007", nullptr, nullptr, nullptr, "[Base Services 445, reader:12] ", "en"},
      {nullptr, "", "de", "en", "en", "", "de"},
      {"", nullptr, "", "de_AT", "en", "", "de_AT"},
      {"", nullptr, "", "", "de_DE.UTF-8", "", "de"},
      {"", nullptr, "../de", "de", "de", "", "en"},
  };
  for (auto const& row : rows) {
    np_env_set("LC_ALL", row.lcAll);
    np_env_set("LC_MESSAGES", row.lcMessages);
    np_env_set("LANG", row.lang);
    EXPECT_EQ("", open(mFolder.path(), row.named, row.level));
    EXPECT_EQ(row.head + row.text + " /a", message("Base Services", 445, "/a"));
    EXPECT_EQ(row.text, fragment());
    EXPECT_EQ(row.text, formattedFragment(444)) << "at any level";
  }
}

TEST_F(ZtMsg13, VariableThatCannotServeIsNamedInTheReason) {
  compile("en", "$set 1\n4 Fragments\n$set 4\n444 still here\n");
  ASSERT_EQ("", open(mFolder.path()));
  mFolder.write("en/messages.cat", "");
  mFolder.write("rubbish/de/messages.cat", "not a catalog at all, but long enough for one");
  std::filesystem::create_directories(mFolder.path("folder/de/messages.cat"));
  std::filesystem::create_directories(mFolder.path("pipe/de"));
  ASSERT_EQ(0, mkfifo(mFolder.path("pipe/de/messages.cat").c_str(), 0600));
  for (char const* name : {"rubbish/de", "folder/de", "pipe/de", "missing/en"}) {
    std::string const place = mFolder.path(name);
    EXPECT_TRUE(contains(open(place.substr(0, place.size() - 3), "de"), place + "/messages.cat"));
  }
  for (std::string const& location : {""s, std::string(5000, 'x')}) {
    EXPECT_TRUE(contains(open(location), "MARLOVEN_ERROR_LOCATION"));
  }
  for (char const* locale : {"../de", "de/../../de", ".", "/de", "de de", "de\n", "d\xC3\xA9",
                             ".UTF-8", "de.UTF-8/x", "de@.."}) {
    EXPECT_EQ(0u, open(kCatalogs, locale).find("MARLOVEN_ERROR_LOCALE is ")) << locale;
  }
  for (char const* level : {"-1", "x", "1 ", "2.0"}) {
    EXPECT_TRUE(contains(open(kCatalogs, "en", level), "MARLOVEN_ERROR_LEVEL")) << level;
  }
  EXPECT_EQ("still here", fragment()) << "the open database stays as it was read";
}

TEST_F(ZtMsg13Catalogs, ThatAreDamagedAreRefused) {
  std::string const good = ztbtest::readFile(kCatalogs + "/en/messages.cat"s);
  ASSERT_TRUE(Catalog().assign(good));
  for (std::size_t part = 0; part < 50; ++part) {
    EXPECT_FALSE(Catalog().assign(good.substr(0, good.size() * part / 50))) << part;
  }
  EXPECT_FALSE(Catalog().assign(good.substr(0, good.size() - 1))) << "no end of the last text";
  struct {
    std::size_t offset;
    std::uint32_t word;
    char const* why;
  } const rows[] = {{0, 0x950412DE, "another magic number"},
                    {4, 0, "no width"},
                    {8, 0, "no depth"},
                    {4, 0xFFFFFFFF, "wider than the file"},
                    {8, 0x40000000, "product beyond 32 bits"},
                    {20, static_cast<std::uint32_t>(good.size()), "a text behind the end"}};
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
    EXPECT_TRUE(contains(message("Base Services", number, "/a"), missing + ": \"/a\"")) << number;
  }
  EXPECT_EQ("tail", message("Base Services", 97, "")) << "blanks at the end are dropped";
  EXPECT_EQ("twice /a, /a", message("Base Services", 454, "/a"));
  EXPECT_EQ("why <- /a", message("Base Services", 1353, "/a", "why"));
  EXPECT_EQ("-0042 /a", message("Base Services", 467, "/a", -42));
  EXPECT_EQ("[Base Services 1352" + missing + ": \"\", 5",
            message("Base Services", 1352, nullptr, 5));
  std::string const cut = message("Base Services", 97, std::string(5000, 'x').c_str());
  EXPECT_EQ(ztmsg13_buffer_size - 1, cut.size());

  // Nothing is known of these numbers' arguments, so none is touched.
  EXPECT_EQ("Closed on day 1, 50% off", message("Shop", 1));
  for (int number : {2, 3, 4, 0}) {
    EXPECT_EQ("[Shop " + std::to_string(number) + missing, message("Shop", number, 1));
  }
  EXPECT_EQ("[ 335" + missing, message(nullptr, 335));
  EXPECT_TRUE(contains(fragment(), mFolder.path("en/messages.cat")));
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
      {"s", "another type", {"%d", "%1$d", "%1$d%1$s"}},
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
  char const* const rows[][2] = {
      {"%d/%02d/%02d ", "2/03/1850 "},
      {"%3$6d %2$d %1$06d|%4$s", "  1850 3 000002|tail"},
      {"%2$d", nullptr},  // refused: the first argument's type isn't known
      {"%f", nullptr},
      {nullptr, nullptr},
  };
  for (auto const& [format, expected] : rows) {
    char target[128] = "untouched";
    int const bytes = ztmsg13_util_printf(target, sizeof(target), format, 2, 3, 1850, "tail", "");
    EXPECT_STREQ(expected ? expected : "", target);
    EXPECT_EQ(expected ? static_cast<int>(std::strlen(expected)) : -1, bytes);
  }
}

TEST(ZtMsg13Format, PrintfKeepsToItsTargetAndToWholeCharacters) {
  char const* const expected[] = {"", "", "x", "x", "x", "x", "x😀", "x😀1", "x😀1", "x😀1", "x😀1年"};
  for (unsigned size = 0; size < std::size(expected); ++size) {
    std::string target(size, '~');
    int const bytes = ztmsg13_util_printf(target.data(), size, "x😀%d年", 1);
    EXPECT_STREQ(expected[size], target.c_str()) << size;
    EXPECT_EQ(static_cast<int>(std::strlen(target.c_str())), bytes) << size;
  }
  EXPECT_EQ(0, ztmsg13_util_printf(nullptr, 10, "%d", 1));
}

using ZtMsg13Threads = ZtMsg13;

TEST_F(ZtMsg13Threads, ReadWhileTheDatabaseIsOpenedAndClosed) {
  ASSERT_EQ("", open(kCatalogs, "de", "2"));
  std::atomic<bool> done{false};
  ztbtest::inThreads(4, [&done](int thread) {
    for (int i = 0; thread == 0 && i < 200; ++i) {
      char const* reason = nullptr;
      EXPECT_EQ(0, ztmsg13_initialize(&reason));
      if (i % 3 == 0) ztmsg13_terminate();
    }
    while (thread != 0 && !done) {
      EXPECT_TRUE(contains(message("Base Services", 1353, "/a", "gone"), "/a"));
      EXPECT_NE("", fragment());
    }
    done = true;
  });
}

}  // namespace
