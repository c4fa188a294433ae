// SPDX-License-Identifier: MIT
//
// The command-line tool as its users call it.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "ztbtest.h"

namespace {

namespace fs = std::filesystem;

class ZtbTool : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("ZTEXEC_HOME", ZTB_TEST_HOME, 1);
    unsetenv("MARLOVEN_ERROR_LOCATION");
    unsetenv("MARLOVEN_ERROR_LOCALE");
    setenv("LC_ALL", "C.UTF-8", 1);
  }
  // Runs `ztb ARGUMENTS` in the temporary folder.
  ztbtest::Outcome ztb(std::string const& arguments) {
    return ztbtest::shell("cd " + mFolder.path() + " && " ZTB_TEST_BIN "/ztb " + arguments);
  }

  ztbtest::TempFolder mFolder;
};

TEST_F(ZtbTool, ExitCodesAndOutputs) {
  mFolder.write("f.cfg", "# first\nA=1\nno entry\nB = two = 2\n");
  mFolder.write("latin.txt", "caf\xe9\r\nx\r");
  mFolder.write("wide.txt", std::string("\xff\xfe\x61\x00\x0a\x00", 6));
  mFolder.write("column.txt",
                "\xEF\xBB\xBF"
                "12\r\n\n-7\r\n1.5\nn/a\xff\n" +
                    std::string(2 << 20, '1'));
  struct {
    char const* arguments;
    int exitCode;
    char const* output;  // a part of it
  } const rows[] = {
      {"--help", 0, "options"},
      {"--version", 0, "ztb 31"},
      {"", 2, "subcommand"},
      {"nonsense", 2, "Unknown subcommand or option: nonsense"},
      {"options --help", 0, "--filter"},
      {"options --filter ZTEXEC_HOME", 0, "[the environment]"},
      {"options --filter 'a/*' --set A/x=1 --json", 0,
       "{\"key\": \"A/x\", \"value\": \"1\", \"origin\": \"the command\"}"},
      {"options --filter P --set P=x,PASS=one/y,pass=two", 0, "x,PASS=********/y,pass=********  ["},
      {"options --user $(printf 'u%.0s' $(seq 260))", 2, "longer than 259 bytes"},
      {"options --filter C --set C=$(printf '\\033[31m')", 0, "\\x1b[31m"},
      {"options --set X", 2, "KEY=VALUE"},
      {"options --home /no/such/home", 2, "/no/such/home"},
      {"options --set BASE/PLUGIN_PATH=/nowhere", 1, "/nowhere/ztbdeps31.so"},
      {"config get f.cfg b", 0, "two = 2\n"},
      {"config get f.cfg b --json", 0, "{\"key\": \"b\", \"value\": \"two = 2\"}"},
      {"config get f.cfg c", 1, "no entry \"c\""},
      {"config list f.cfg --json", 0, "\"comment\": \" first\""},
      {"config get absent.cfg a", 1, "absent.cfg"},
      {"config get f.cfg", 2, "key"},
      {"config set f.cfg 'a=b' c", 1, ""},
      {"message 'Base Services' 446 x", 0, "\"x\" isn't a folder."},
      {"message --locale de --level 1 'Base Services' 446 x", 0,
       "[Base Services 446] \u201ex\u201c"},
      {"message 'Base Services' 1352 x notanumber", 1, "give a number instead of: notanumber"},
      {"message 'Base Services' 446", 1, "that the message takes: 1"},
      {"message 'Base Services' x", 2, ""},
      {"--version; LC_ALL=de_DE.UTF-8 " ZTB_TEST_BIN "/ztb date '1989-02-03 19:05:06' --json", 0,
       "{\"iso\": \"1989-02-03 19:05:06\", \"locale\": \"03.02.1989 19:05:06\", "
       "\"weekday\": \"Friday\", \"seconds\": \"602535906.000\"}"},
      {"date 2001-02-29", 1, "calendar"},
      {"convert 2.7 --to Integer", 1, "with --from Real it is 2"},
      {"convert 2.7 -2.7 --from real --to Integer", 0, "2\n-3\n"},
      {"convert '3 Feb 1989' --to Date --json", 0, "\"result\": \"1989-02-03 00:00:00\""},
      {"convert x --to Date --from Integer", 1, "\"x\" is no Integer"},
      {"convert x --to 'Date (DMY)'", 2, "LC_TIME"},
      {"convert x --to Text", 2, "the types are Boolean, Integer"},
      {"dir . --json", 0, "\"name\": \"f.cfg\""},
      {"dir absent", 1, "absent"},
      {"calc '1/3*3'", 0,
       "0.9999999999999999999999999999999999999999999999999999\nnot exact: digits were lost, first "
       "at column 2\n  1/3*3\n   ^\n"},
      {"calc '1/3*3' --json 2>&-", 0, "\"exact\": false, \"cut\": false, \"lossColumn\": 2}"},
      {"calc '-(2 + 3*4) mod -5'", 0, "1\n"},
      {"calc 7 mod 2 - 2/-8", 0, "-0.75\n"},
      {"calc 'round(2.25, 1) + round(-14, -1) + floor(-1.5) + ceiling(1.2) + sqrt(0.25)'", 0,
       "-6.2\n"},
      {"calc 0.000000000123456789012345678901234567890123456789012345678901", 0,
       "1.23456789012345678901234567890123456789012345678901E-10\n"},
      {"calc 1E59/9", 0, "1.111111111111111111111111111111111111111111111111111E+58\n"},
      {"calc 22/7 --width 4", 0, "3.14\n"},
      {"calc 12345 --width 4", 1, "doesn't fit into a width of 4"},
      {"calc 1 --width 0", 2, "--width"},
      {"calc", 2, "EXPRESSION"},
      {"calc 'gr\u00fcn + 1'", 1, "column 1: unknown name"},
      {"calc '1.5 * (2 - x'", 1, "column 12: unknown name"},
      {"calc '(1 + 2'", 1, "column 7: expected \")\"\n  (1 + 2\n        ^\n"},
      {"calc '1 / (2-2)'", 1, "column 3: division by zero"},
      {"calc '5 mod 0'", 1, "column 3: division by zero"},
      {"calc 'sqrt(1-2)'", 1, "column 1: square root of a negative number"},
      {"calc '1 2'", 1, "column 3: expected an operator"},
      {"calc '2 * 1.2.3'", 1, "column 5: this is no number"},
      {"calc '9e98304 * 10'", 1, "column 9: the result is out of range"},
      {"calc '1e60 mod 7'", 1, "column 6: 52 digits are too few for this"},
      {"calc 'round(1, .5)'", 1, "column 10: expected a whole number of places"},
      {"calc $(printf '(%.0s' $(seq 100000))", 1, "column 251: nested deeper than 250"},
      {"type 12 -.5 '[a,b]' yes 'Feb 3, 1989' -- --json", 0,
       "Integer  12\nReal     -.5\nString   [a,b]\nBoolean  yes\nDate     Feb 3, 1989\n"
       "String   --json\n"},
      {"type 12 --json", 0, "{\"text\": \"12\", \"type\": \"Integer\"}"},
      {"type ++ 1", 0, "String   ++\nInteger  1\n"},
      {"type --jsn", 2, "--jsn"},
      {"type <column.txt", 0,
       "Integer          2  first in line 1: \"12\"\n"
       "Real             1  first in line 4: \"1.5\"\n"
       "String           2  first in line 5: \"n/a\\xff\"\n"
       "empty            1\nlines            6\ncolumn   String\n"
       "         line 4 is the first that is no Integer: \"1.5\" is Real\n"
       "         line 5 is the first that is no Real: \"n/a\\xff\" is String\n"},
      {"type --json <column.txt", 0,
       "{\"column\": \"String\", \"lines\": 6, \"empty\": 1, \"types\": [{\"type\": \"Integer\", "
       "\"count\": 2, \"line\": 1, \"text\": \"12\"}, "},
      {"type --json </dev/null", 0, "{\"column\": null, \"lines\": 0"},
      {"type <.", 1, "can't be read"},
      {"text latin.txt", 0, "CR LF (1), CR (1)"},
      {"text latin.txt --to UTF-8", 0, "caf\u00e9\nx\n"},
      {"text wide.txt --json", 0, "\"encoding\": \"UTF-16LE\", \"mark\": true"},
      {"text latin.txt --to US-ASCII", 1, "US-ASCII lacks"},
      {"text latin.txt --to UTF-8 >&-", 1, "can't be written"},
      {"text latin.txt --to UTF-8 --output ./latin.txt", 1, "another one"},
      {"text latin.txt --to UTF-8 >out; echo more >>out; " ZTB_TEST_BIN
       "/ztb text latin.txt --to UTF-8 >>out; cat out",
       0, "caf\u00e9\nx\nmore\ncaf\u00e9\n"},
      {"text latin.txt", 0, "CR LF (1), CR (1)"},  // as it was
      {"text latin.txt --to Klingon", 1, "unknown encoding \"Klingon\""},
      {"text .", 1, "ztb text: "},
      {"text /dev/stdin </dev/null", 1, "save it to a file"},
      {"text f.cfg --to UTF-8 --output /dev/full", 1, "no room"},
      {"options >/dev/full", 1, "output can't be written"},
  };
  for (auto const& row : rows) {
    ztbtest::Outcome const outcome = ztb(row.arguments);
    EXPECT_EQ(row.exitCode, outcome.exitCode) << row.arguments << "\n" << outcome.output;
    EXPECT_NE(std::string::npos, outcome.output.find(row.output)) << row.arguments << "\n"
                                                                  << outcome.output;
  }
}

TEST_F(ZtbTool, ConfigEditsAreFaithful) {
  std::string const path =
      mFolder.write("f.cfg", "# a comment\nA=1\n\nsomething else\n# two\nb=2\n");
  struct {
    char const* arguments;
    char const* content;
  } const rows[] = {
      {"config set f.cfg a 9", "# a comment\nA=9\n\nsomething else\n# two\nb=2\n"},
      {"config unset f.cfg B", "# a comment\nA=9\n\nsomething else\n# two\n#-DELETED B=2\n"},
      {"config comment f.cfg A ' new'", "# new\nA=9\n\nsomething else\n# two\n#-DELETED B=2\n"},
      {"config set f.cfg C 'gr\u00fcn'",
       "# new\nA=9\n\nsomething else\n# two\n#-DELETED B=2\n\nC=gr\u00fcn\n"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(0, ztb(row.arguments).exitCode) << row.arguments;
    EXPECT_EQ(row.content, ztbtest::readFile(path)) << row.arguments;
  }
}

TEST_F(ZtbTool, ConfigKeepsModeAndFollowsLinks) {
  std::string const path = mFolder.write("d/real.cfg", "A=1\n");
  fs::permissions(path, fs::perms{0640});
  fs::create_symlink("d/real.cfg", mFolder.path("link.cfg"));
  EXPECT_EQ(0, ztb("config set link.cfg A 2").exitCode);
  EXPECT_TRUE(fs::is_symlink(mFolder.path("link.cfg")));
  EXPECT_EQ("A=2\n", ztbtest::readFile(path));
  EXPECT_EQ(fs::perms{0640}, fs::status(path).permissions());
  EXPECT_EQ(0, ztb("config set new.cfg A 1").exitCode);
  EXPECT_EQ("\nA=1\n", ztbtest::readFile(mFolder.path("new.cfg")));
}

// A rename would put a file where a pipe or a device is.
TEST_F(ZtbTool, ConfigRefusesWhatIsNoRegularFile) {
  ASSERT_EQ(0, mkfifo(mFolder.path("pipe").c_str(), 0600));
  fs::create_symlink("pipe", mFolder.path("link"));
  fs::create_symlink("loop", mFolder.path("loop"));
  for (char const* name : {"pipe", "link", ".", "loop"}) {
    for (char const* edit : {"set %s A 1", "unset %s A", "comment %s A c"}) {
      std::string arguments = edit;
      arguments.replace(arguments.find("%s"), 2, name);
      EXPECT_EQ(1, ztb("config " + arguments).exitCode) << arguments;
    }
  }
  EXPECT_TRUE(fs::is_fifo(mFolder.path("pipe")));
}

TEST_F(ZtbTool, AFullDiskLeavesTheOldBytes) {
  std::string const disk = mFolder.path("disk");
  fs::create_directories(disk);
  if (ztbtest::shell("mount -t tmpfs -o size=64k ztbtest " + disk).exitCode != 0) {
    GTEST_SKIP() << "no right to mount a small file system";
  }
  std::string const content = "A=" + std::string(40000, 'x') + "\n";
  std::string const path = mFolder.write("disk/f.cfg", content);
  ztbtest::Outcome const outcome = ztb("config set disk/f.cfg B 1");
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.output.find("ztb config: ")) << outcome.output;
  EXPECT_EQ(content, ztbtest::readFile(path));
  auto const entries = std::distance(fs::directory_iterator(disk), fs::directory_iterator());
  EXPECT_EQ(1, entries) << "nothing is left beside the file";
  ztbtest::shell("umount " + disk);
}

}  // namespace
