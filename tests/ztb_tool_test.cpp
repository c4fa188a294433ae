// SPDX-License-Identifier: MIT
//
// The command-line tool as its users call it, beside what the pages of docs/ show.

#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ztbtest.h"
#include "zturi.h"

namespace {

namespace fs = std::filesystem;

struct Row {
  std::string arguments;
  int exitCode;
  std::string output;  // a part of it
};

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
    return ztbtest::shell("cd " + mFolder.path() + " && PATH=" ZTB_TEST_BIN ":$PATH; ztb " +
                          arguments);
  }
  void expect(std::vector<Row> const& rows) {
    for (Row const& row : rows) {
      ztbtest::Outcome const outcome = ztb(row.arguments);
      EXPECT_EQ(row.exitCode, outcome.exitCode) << row.arguments << "\n" << outcome.output;
      EXPECT_TRUE(ztbtest::contains(outcome.output, row.output)) << row.arguments;
    }
  }

  ztbtest::TempFolder mFolder;
};

TEST_F(ZtbTool, ExitCodesAndOutputs) {
  mFolder.write("f.cfg", "# first\nA=1\nno entry\nB = two = 2\n");
  mFolder.write("latin.txt", "caf\xe9\r\nx\r");
  mFolder.write("wide.txt", std::string("\xff\xfe\x61\x00\x0a\x00", 6));
  mFolder.write("column.txt", "\uFEFF12\r\n\n-7\r\n1.5\nn/a\xff\n" + std::string(2 << 20, '1'));
  mFolder.write("r.dat", std::string("caf\xe9 \0\0 7\n\0\"a\0b,c\t \n", 20) + "cut");
  mFolder.write("wide.dat", std::string("\xFE\xFF\0a\0 \0\xE9\0b\0\0\xD8\0", 14));
  mFolder.write("long.txt", std::string(59, 'x') + "\u00fc\n");
  mFolder.write("t.txt", "1: {a}\n2: {{[C]}}\n");
  mFolder.write("uris.txt", std::string("x\n\nztr://h/(Folder)\r\na\0b\n", 25));
  expect({
      {"--help", 0, "options"},
      {"", 2, "subcommand"},
      {"nonsense", 2, "Unknown subcommand or option: nonsense"},
      {"options --help", 0, "--filter"},
      {"options --filter 'a/*' --set A/x=1 --json", 0, R"("1", "origin": "the command"})"},
      {"options --filter P --set P=x,PASS=one/y,pass=two", 0, "x,PASS=********/y,pass=********  ["},
      {"options --user $(printf 'u%.0s' $(seq 260))", 2, "longer than 259 bytes"},
      {"options --filter C --set C=$(printf '\\033[31m')", 0, "\\x1b[31m"},
      {"options --set X", 2, "KEY=VALUE"},
      {"options --home /no/such/home", 2, "/no/such/home"},
      {"options --set BASE/PLUGIN_PATH=/nowhere", 1, "/nowhere/ztbdeps31.so"},
      {"options --set DEPS/LOG_PATH=/no/such/f", 1, "DEPS/LOG_PATH. The file \"/no/such/f\""},
      {"options >/dev/full", 1, "output can't be written"},
      {"--version >/dev/full", 1, "ztb --version: the output"},
      {"date --help >/dev/full", 1, "ztb date: the output"},
      {"config get f.cfg b", 0, "two = 2\n"},
      {"config get f.cfg b --json", 0, "{\"key\": \"b\", \"value\": \"two = 2\"}"},
      {"config list f.cfg", 0, "A=1\nB=two = 2\n"},
      {"config list f.cfg --json", 0, "\"comment\": \" first\""},
      {"config get absent.cfg a", 1, "absent.cfg"},
      {"config set f.cfg 'a=b' c", 1, "\"f.cfg\" stays as it was"},
      {"date now; for i in 1 2 3 4; do ztb config set n.cfg $i x & done; wait; cat n.cfg | sort -u",
       0, "\n1=x\n2=x\n3=x\n4=x\n"},
      {"overlay f.cfg f.cfg", 1, "are one file"},
      {"overlay f.cfg absent.cfg", 1, "absent.cfg"},
      {"overlay f.cfg o.cfg set B ''", 1, "use unset"},
      {"overlay f.cfg o.cfg unset B", 1, "the overlay has no entry \"B\""},
      {"overlay f.cfg o.cfg comment c x", 1, "no entry \"c\" in either file"},
      {"overlay f.cfg o.cfg --json unset B", 2, "--json"},
      {"buffers --rows 1000 --columns 3", 0, "1000 rows of 3 values there and back in "},
      {"buffers --rows 300 --columns 0 --json", 0, "{\"rows\": 300, \"columns\": 0, \"mill"},
      {"buffers --rows 0", 0, ": 0 rows a second"},
      {"message --locale de --level 1 'Base Services' 446 x", 0, " 446] \u201ex\u201c"},
      {"message 'Base Services' 1352 x notanumber", 1, "give a number instead of: notanumber"},
      {"message --json 'Base Services' 446 x", 0, "\"number\": 446, \"text\": \"\\\"x\\\" isn't"},
      {"message 'Base Services' 446", 1, "that the message takes: 1"},
      {"message 'base services' 446 x", 1, "no message 446 with arguments in \"base services\""},
      {"--version; LC_ALL=de_DE.UTF-8 ztb date '1989-02-03 19:05:06' --json", 0,
       R"("03.02.1989 19:05:06", "weekday": "Friday", "seconds": "602535906.000"})"},
      {"date 1989-02-03", 0, "weekday  Friday\nseconds  602467200.000 since"},
      {"date 2001-02-29", 1, "calendar"},
      {"convert 1e98305 --to Real", 0, "Infinity\nztb convert: not exact: a Real has 52 digits"},
      {"convert '3 Feb 1989' --to Date --json", 0, "\"result\": \"1989-02-03 00:00:00\""},
      {"convert " + std::string(40, '7') + "E17 --to Real", 1, "can't be written out"},
      {"convert x --to Date --from integer", 1, "\"x\" is no Integer"},
      {"convert x --to 'Date (DMY)'", 2, "LC_TIME"},
      {"convert x --to Text", 2, "the types are Boolean, Integer"},
      {"dir", 0, "  -rw            33  f.cfg\n"},
      {"dir . --json", 0, "\"name\": \"f.cfg\""},
      {"dir absent", 1, "absent"},
      {"calc '1/3*3' --json 2>&-", 0, "\"exact\": false, \"cut\": false, \"lossColumn\": 2}"},
      {"calc '-(2 + 3*4) mod -5'", 0, "1\n"},
      {"calc 7 mod 2 - 2/-8", 0, "-0.75\n"},
      {"calc 'round(2.25,1) + round(-14,-1) + floor(-1.5) + ceiling(1.2) + sqrt(0.25)'", 0, "-6.2"},
      {"calc 0.000000000123456789012345678901234567890123456789012345678901", 0,
       "1.23456789012345678901234567890123456789012345678901E-10\n"},
      {"calc 1E59/9", 0, "1.111111111111111111111111111111111111111111111111111E+58\n"},
      {"calc 22/7 --width 4", 0, "3.14\n"},
      {"calc 12345 --width 4", 1, "doesn't fit into a width of 4"},
      {"calc", 2, "EXPRESSION"},
      {"calc 'gr\u00fcn + 1'", 1, "column 1: unknown name"},
      {"calc '(1 + 2'", 1, "column 7: expected \")\"\n  (1 + 2\n        ^\n"},
      {"calc '1 / (2-2)'", 1, "column 3: division by zero"},
      {"calc 'sqrt(1-2)'", 1, "column 1: square root of a negative number"},
      {"calc '1 2'", 1, "column 3: expected an operator"},
      {"calc '2 * 1.2.3'", 1, "column 5: this is no number"},
      {"calc '9e98304 * 10'", 1, "column 9: the result is out of range"},
      {"calc '1e60 mod 7'", 1, "column 6: 52 digits are too few for this"},
      {"calc 'round(1, .5)'", 1, "column 10: expected a whole number of places"},
      {"calc $(printf '(%.0s' $(seq 100000))", 1, "column 251: nested deeper than 250"},
      {"type '[a,b]' yes -- --json", 0, "String   [a,b]\nBoolean  yes\nString   --json\n"},
      {"type 12 --json", 0, "{\"text\": \"12\", \"type\": \"Integer\"}"},
      {"type ++ 1", 0, "String   ++\nInteger  1\n"},
      {"type --jsn", 2, "--jsn"},
      {"type <column.txt", 0, "2  first in line 5: \"n/a\\xff\"\nempty            1\n"},
      {"type --json <column.txt", 0,
       R"("lines": 6, "empty": 1, "types": [{"type": "Integer", "count": 2, "line": 1, )"},
      {"type --json </dev/null", 0, "{\"column\": null, \"lines\": 0"},
      {"type <long.txt", 0, std::string(59, 'x') + "...\"\n"},
      {"type <.", 1, "can't be read"},
      {"text latin.txt --from UTF-8", 0, "note        1 characters are U+FFFD"},
      {"text latin.txt --to UTF-8 --output absent/x", 1, "absent/x"},
      {"text wide.txt --json", 0, "\"encoding\": \"UTF-16LE\", \"mark\": true"},
      {"text latin.txt --to US-ASCII", 1, "US-ASCII lacks"},
      {"text latin.txt --to UTF-8 >&-", 1, "can't be written"},
      {"text latin.txt --to UTF-8 --output ./latin.txt", 1, "another one"},
      {"text latin.txt --to UTF-8 >o; echo more >>o; ztb text latin.txt --to UTF-8 >>o; cat o", 0,
       "caf\u00e9\nx\nmore\ncaf\u00e9\n"},
      {"text latin.txt", 0, "CR LF (1), CR (1)"},  // as it was
      {"text latin.txt --to Klingon", 2, "unknown encoding \"Klingon\""},
      {"text .", 1, "ztb text: "},
      {"text /dev/stdin </dev/null", 1, "save it to a file"},
      {"text f.cfg --to UTF-8 --output /dev/full", 1, "no room"},
      {"records r.dat --length 10 --fields 'a:6,b,:3,:1'", 2, "\"b\" isn't a field"},
      {"records r.dat --length 10 --fields a:x,:1", 2, "has no width in bytes"},
      {"records r.dat --length 10 --fields a:5,a:5", 2, "the name \"a\" stands twice"},
      {"records r.dat --length 10 --fields :10", 2, "no field has a name"},
      {"records r.dat --length 0 --fields a:0", 2, "--length"},
      {"records r.dat --length 10 --fields a:10 --encoding x", 2, "unknown encoding \"x\""},
      {"records r.dat --length 10 --fields a:10 --from 3", 1, "has 2 records, and --from 3"},
      {"records r.dat --length 10 --fields a:10 --from 2", 1, "in the middle of record 2"},
      {"records r.dat --length 10 --fields a:10 --from -1", 2, "-1 not in range 0 to 1000"},
      {"records r.dat --length 10 --fields a:10 --count 99999999999999999999", 2, "not in range"},
      {"records r.dat --length 10 --fields a:5,b:4,:1 --count 2 --encoding latin1", 0,
       "a,b\ncaf\u00E9,7\n\"\"\"a\uFFFDb\",\",c\t\"\n"},
      {"records r.dat --length 10 --fields a:5,:5 --from 1 --json", 1, "\"\\\"a\uFFFDb\"}\n"},
      {"records r.dat --length 10 --fields a:1,:9 --padded --from 1", 1,
       "a\n\uFFFD\nztb records: \"r.dat\" ends in the middle of record 2, behind 3 of its 10 "},
      {"records wide.dat --length 4 --fields a:4", 0, "a\na\n\u00E9b\n\uFFFD\n"},
      {"records wide.dat --length 4 --fields a:1,b:3", 1, "but a character of UTF-16BE has 2"},
      {"records absent.dat --length 4 --fields a:4", 1, "\"absent.dat\": The file"},
      {"records /dev/stdin --length 1 --fields a:1 </dev/null", 1, "is a pipe or a device"},
      {"uri nope 'a://b/c'", 1, "a://b/c\n  family      generic\n"},
      {"uri --json <uris.txt", 1, "[\n{\"text\": \"x\", \"error\": \"\\\"x\\\" is no URI: "},
      {"uri <uris.txt", 1, "line 4: the text holds a NUL"},
      {"uri --json \"ztwt://t?a=Integer'5',b#start=2\"", 0,
       R"("5"}, {"name": "b", "type": "Unknown", "value": null}], "start": 2, "count": null})"},
      {"uri --json 'ztr://h/a/b(T)'", 0,
       R"-([{"uri": "ztr://h/a(Folder)"}, {"uri": "ztr://h/(Folder)"}], "parentsCut": false})-"},
      {"uri \"ztr://h$(printf '/a%.0s' $(seq 1500))(T)\"", 0,
       "  parent      ...\n  parent      ztr://h/(Folder)\n"},
      {"uri build ztr --repository h --path gr\u00fcn --type T --escaped", 0, "h/gr%C3%BCn(T)\n"},
      {"uri build ztd --source s --part1 a%2Fb --part4 d --json", 0,
       "\"readsBack\": false, \"difference\": \"part1"},
      {"uri build ztwt --table t --column a=Integer:x", 1, "\"x\" isn't of the type integer"},
      {"uri build ztwt --table t --column a=String:x,y --column b=:z:1", 0, "'x%2Cy',b='z:1'\n"},
      {"uri build ztwt --table t --count 9223372036854775808", 2, "not in range 0 to 9223"},
      {"uri build ztwt --table t --start 010", 2, "without zeros in front"},
      {"uri build ztwt --table t --column a=5", 2, "write a=TYPE:VALUE, or a=:VALUE"},
      {"uri build ztwt --table t --column a=Text:5", 2, "\"Text\" is no type"},
      {"uri build ztr --table t", 2, "a ztr URI has no such component"},
      {"attributes 'a=1;b' --json", 0, "\"value\": \"1\"}, {\"name\": null, \"value\": \"b\"}]}"},
      {"attributes <uris.txt", 1, "x\n  (null) = \"x\"\n\nztr://h/(Folder)\n"},
      {"template t.txt --set A=1 --set a='[x,y]' --set c=", 0, "1: [x,y]\n2: {}\n"},
      {"template - --missing=empty --set zz=1 <t.txt", 0, "no variable \"zz\""},
      {"--version; LC_ALL=de_DE.ISO-8859-1 ztb template t.txt --json --set a=$(printf '\\374') "
       "--set C= --set z=",
       0, "{\"text\": \"1: \u00fc\\n2: {}\\n\", \"unused\": [{\"name\": \"z\"}]}"},
      {"template t.txt --set a=$(printf '\\374')", 1, "\"a\" is neither UTF-8 nor"},
      {"template t.txt", 1, "no value for: a, C; give"},
      {"template t.txt --missing=empty >/dev/full", 1, "output can't be written"},
      {"template t.txt --list --json", 0, "{\"name\": \"C\", \"bracketed\": true}"},
      {"template latin.txt", 1, "isn't UTF-8; convert it"},
      {"template wide.txt", 1, "holds a NUL"},
      {"template .", 1, "\".\" can't be read"},
      {"run -- printf '[%s]' '' '[a,b]' -- --json", 0, "[][[a,b]][--][--json]"},
      {"run printf %s --wait", 0, "--wait"},
      {"run --capture -- printf 'a\\tb\\033\\n'", 0, "a b\\x1b \n"},
      {"run --json -- false", 0, "{\"done\": true, \"output\": null, \"error\": null}"},
      {"run --json -- /nosuch", 1, "{\"done\": false, \"output\": \"Failed to execute command /no"},
      {"run --capture -- echo x <&- 2>&-", 0, "x \n"},
      {"run --env A=1 -- env", 0, "A=1\n"},
      {"run --wait 0 -- sleep 1", 0, ""},
      {"run --wait 1", 2, "CMD"},
      {"run --waite 1 true", 2, "--waite"},
      {"mail --to a --subject= --from '' --text= --dry-run", 0, "To: a\r\nFrom: \r\nSubject: \r\n"},
      {"mail --to a --subject s --text - --attach t.txt --dry-run --json <f.cfg", 0, "d\\n# first"},
      {"--version; LC_ALL=de_DE.ISO-8859-1 ztb mail --to a --subject $(printf '\\374') --dry-run",
       0, "Subject: =?UTF-8?B?w7w=?=\r\n"},
      {"mail --to a --subject s --text - --text - --dry-run", 2, "standard input"},
      {"mail --to a --subject s --text - --dry-run <uris.txt", 1, "holds a NUL"},
      {"mail --to a --subject s", 2, "--command is required"},
      {"mail --to a --subject s --attach absent --dry-run", 1, "\"absent\" can't be read: No such"},
      {"mail --to a --subject s --attach . --dry-run", 1, "\".\" can't be read: Is a directory"},
      {"mail --to a --subject s --command 'cp \"%B\" %T.eml'; cat a.eml", 0, "To: a\r\n"},
      {"mail --to a --subject s --command 'exit 67' --json", 1, R"(": 67, "running": false, "f)"},
      // The files of a mail program that still runs stay.
      {"--version; TMPDIR=$PWD ztb mail --to a --subject s --command 'sleep 11' && ls ztbmail-*/*",
       0, "remove its files: " + mFolder.path("ztbmail-")},
  });
}

TEST_F(ZtbTool, UsersAndTheirLogins) {
  std::pair<char const*, char const*> const files[] = {
      {"one", "1\n"}, {"two", "2\r\n"},  {"pw", "pw"},    {"key", "key"},
      {"none", ""},   {"lines", "a\nb"}, {"bad", "\xff"}, {"others", "ztb-users 1\n"},
  };
  for (auto const& [name, text] : files) mFolder.write(name, text);
  fs::permissions(mFolder.path("others"), fs::perms{0660});
  expect({
      {"users add u kim --domain HQ --resolved k.lee --password-fd 3 3<one", 0, ""},
      {"users credential u kim SALES --as kim_s --credential-fd 3 3<pw", 0, ""},
      {"users add u kim --password-fd 3 3<two", 1, "in the file already; ztb users password"},
      {"users add u ann --password-fd 3 --secret-fd 4 3<one 4<key", 0, ""},
      {"users credential u ann SALES --credential-fd 3 3<pw", 0, ""},
      {"users list u", 0, "k.lee     SALES\nann   -       -         SALES (secret)\n"},
      {"users list u --json", 0, "\"secret\": true, \"credentials\": [{\"domain\": \"SALES\"}]}"},
      {"login kim --location file:u --password-fd 3 --domain SALES --json 3<one", 0,
       R"("connected": true, "credentials": [{"domain": "SALES", "user": "kim_s"}]})"},
      {"login kim --location file:u --password-fd 3 3<two", 1, "user name or the password is wr"},
      {"login bob --location file:u --password-fd 3 3<one", 1, "user name or the password is wr"},
      {"login ann --location file:u --password-fd 3 --domain SALES 3<one", 1, "with a secret"},
      {"login ann --location file:u --password-fd 3 --secret-fd 4 --domain SALES 3<one 4<key", 0,
       "SALES as ann\n"},
      {"login ann --location file:u,PASS=key --password-fd 3 3<one", 2, "use --secret-fd"},
      {"login ann --password-fd 3 --secret-fd 4 3<one 4<key", 1, "--secret-fd needs a location"},
      {"users password u kim --present-fd 3 --password-fd 4 3<two 4<one", 1, "isn't the present"},
      {"users password u kim --present-fd 3 --password-fd 4 3<one 4<two", 0, ""},
      {"login kim --location file:u --password-fd 3 --domain SALES 3<two", 0, "SALES as kim_s"},
      {"users password u kim --reset --password-fd 4 4<one", 0, "credentials are gone"},
      {"users password u ann --present-fd 3 --password-fd 4 3<one 4<two", 1, "--secret-fd"},
      {"users password u ann --present-fd 3 --password-fd 4 --secret-fd 5 3<one 4<two 5<key", 0,
       ""},
      {"--version; cp u dup; tail -1 u >>dup; ztb users list dup", 1,
       "\"ann\" is in the file more"},
      {"users credential u ann SALES --remove", 0, ""},
      {"users credential u ann SALES --remove", 1, "has no credentials for domain \"SALES\""},
      {"users remove u ann; stat -c %a u", 0, "600\n"},
      {"users remove u ann", 1, "no user \"ann\""},
      {"users list u", 0, "kim   HQ      k.lee     -\n"},
      {"users list one", 1, "this is something else"},
      {"users remove absent kim", 1, "no file \"absent\""},
      {"users add others kim --password-fd 3 3<one", 1, "chmod go-w"},
      {"users add u bob --password-fd 3 3<none", 1, "is empty"},
      {"users add u bob --password-fd 3 3<lines", 1, "more than one line"},
      {"users add u bob --password-fd 3 3<bad", 1, "isn't UTF-8"},
      {"users add u bob --password-fd 3 3</dev/zero", 1, "longer than 1048576 bytes"},
      {"users add u bob --password-fd 9", 1, "descriptor 9: Bad file"},
      {"--version; setsid ztb users add u bob", 1, "no terminal to ask"},
      // Users who are added at once are all there.
      {"--version; for i in 1 2 3 4 5 6; do ztb users add v u$i --password-fd 3 3<pw & done; wait; "
       "ztb users list v | wc -l",
       0, "\n7\n"},
  });
}

// What the terminal shows while a command asks `count` times and `typed` is the answer, and how
// the command ends, as waitpid tells.
std::pair<std::string, int> askedAtTerminal(std::vector<char const*> command, int count,
                                            std::string const& typed) {
  int terminal = -1;
  pid_t const child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    signal(SIGINT, SIG_DFL);  // where a shell has put the tests into the background
    command.push_back(nullptr);
    execv(command[0], const_cast<char**>(command.data()));
    _exit(127);
  }
  std::string shown;
  char buffer[256];
  for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) {
    shown.append(buffer, static_cast<std::size_t>(n));
    bool const isQuestion = shown.size() > 2 && shown.compare(shown.size() - 2, 2, ": ") == 0;
    if (!isQuestion || count-- <= 0) continue;
    EXPECT_LT(0, write(terminal, typed.data(), typed.size()));
  }
  termios settings{};
  EXPECT_EQ(0, tcgetattr(terminal, &settings));
  EXPECT_NE(0u, settings.c_lflag & ECHO) << "the terminal stays dumb";
  close(terminal);
  int status = -1;
  waitpid(child, &status, 0);
  return {shown, status};
}

TEST_F(ZtbTool, TerminalEndsATextAtOnce) {
  char const* const command =
      "printf 'text: '; exec timeout --foreground 20 " ZTB_TEST_BIN "/ztb template -";
  EXPECT_EQ(std::pair(std::string("text: seven\r\nseven\r\n"), 0),
            askedAtTerminal({"/bin/sh", "-c", command}, 1, "seven\n\x04"));
}

TEST_F(ZtbTool, PasswordsAreAskedForWithoutEcho) {
  std::string const file = mFolder.path("u");
  std::vector<char const*> const add = {ZTB_TEST_BIN "/ztb", "users", "add", file.c_str(), "kim"};
  // The system throws away what a terminal hasn't shown yet when ^C comes, so the line end may
  // lack.
  auto const [shown, status] = askedAtTerminal(add, 1, "hid\x03");
  EXPECT_EQ(0u, shown.find("The new password of user \"kim\": "));
  EXPECT_EQ(std::string::npos, shown.find("hid"));
  EXPECT_EQ(SIGINT, status);
  EXPECT_FALSE(fs::exists(file));
  EXPECT_TRUE(ztbtest::contains(askedAtTerminal(add, 1, std::string(5000, 'x') + "\n").first,
                                "longer than a terminal takes"));
  EXPECT_TRUE(ztbtest::contains(
      askedAtTerminal({add[0], "users", "add", file.c_str(), "kim", "--password-fd", "0"}, 0, "")
          .first,
      "is a terminal, which would show"));
  EXPECT_EQ(std::pair(std::string("The new password of user \"kim\": \r\nOnce more: \r\n"), 0),
            askedAtTerminal(add, 2, "hidden\n"));
  mFolder.write("pw", "hidden\r\n");
  EXPECT_EQ(0, ztb("login kim --location file:u --password-fd 3 3<pw").exitCode);
}

TEST_F(ZtbTool, LongWorkShowsABarOnTheTerminal) {
  std::string const shown =
      askedAtTerminal({ZTB_TEST_BIN "/ztb", "buffers", "--rows", "3000000"}, 0, "").first;
  EXPECT_TRUE(ztbtest::contains(shown, "\r[")) << shown;
  EXPECT_TRUE(ztbtest::contains(shown, " rows\r\033[K3000000 rows of"));
}

TEST_F(ZtbTool, ProtectedTextsComeBackAsTheyWere) {
  std::string const text = "gr\u00fcn\n" + std::string(300, 'x') + "\n\n";
  std::string const cut = "ztb unprotect: the text was changed or is cut: only its first 87 bytes";
  mFolder.write("text", text);
  mFolder.write("bad", "\xff");
  mFolder.write("nul", std::string("a\0b", 3));
  mFolder.write("pw", "s3cret\n");
  expect({
      {"protect <text >form", 0, "without ZTB_KEY_FILE"},
      {"unprotect <form | cmp - text && head -c 216 form >cut && head -c 230 form >cut2", 0, ""},
      {"unprotect <cut", 1, cut},
      {"unprotect <cut2", 1, cut},
      {"unprotect --partial <cut 2>&-", 1, text.substr(0, 87)},
      {"unprotect </dev/null", 1, "this isn't a protected text"},
      {"unprotect <nul", 1, "this is no protected text: it holds a NUL"},
      {"protect <nul", 1, "the text holds a NUL"},
      {"protect <bad", 1, "the text isn't UTF-8"},
      {"--version; ZTB_KEY_FILE=/absent ztb unprotect <form", 1, "must be there"},
      {"encode --password-fd 3 3<pw >encoded", 0, "ztb encode: note"},
      {"--version; grep '^{ztb}' encoded | cut -c6- | ztb unprotect", 0, "\ns3cret"},
  });
}

TEST_F(ZtbTool, ConfigEditsKeepLinesModeAndLinks) {
  std::string const path = mFolder.write("d/f.cfg", "# a comment\nA=1\n\nsomething else\nb=2\n");
  fs::permissions(path, fs::perms{0640});
  fs::create_symlink("d/f.cfg", mFolder.path("link"));
  expect({
      {"config set link a 9; cat link", 0, "# a comment\nA=9\n\nsomething else\nb=2\n"},
      {"config unset link B; cat link", 0, "A=9\n\nsomething else\n#-DELETED B=2\n"},
      {"config comment link A ' new'; cat link", 0, "# new\nA=9\n\nsomething else\n"},
      {"config set new C 'gr\u00fcn'; cat new", 0, "\nC=gr\u00fcn\n"},
  });
  EXPECT_EQ("# new\nA=9\n\nsomething else\n#-DELETED B=2\n", ztbtest::readFile(path));
  EXPECT_EQ(fs::perms{0640}, fs::status(path).permissions());
  EXPECT_TRUE(fs::is_symlink(mFolder.path("link")));
}

TEST_F(ZtbTool, OverlayShowsBothFilesAndEditsTheSecond) {
  std::string const base = mFolder.write("base.cfg", "# one\nA=1\nB=2\nC=3\n");
  fs::create_symlink("real.cfg", mFolder.path("o.cfg"));
  std::string const overlay = "overlay base.cfg o.cfg ", thenCat = " && cat real.cfg";
  expect({
      {overlay + "set a 9" + thenCat, 0, "\n# one\na=9\n"},
      {overlay + "set D '\u00fc'" + thenCat, 0, "\n# one\na=9\n\nD=\u00fc\n"},
      {overlay + "comment B ' two'" + thenCat, 0, "a=9\n\nD=\u00fc\n\n# two\nB=2\n"},
      {overlay + "unset A" + thenCat, 0, "\n# one\n#-DELETED A=9\n\nD=\u00fc\n\n# two\nB=2\n"},
      {overlay + "set A 8" + thenCat, 0,
       "# one\n#-DELETED A=9\n\nD=\u00fc\n\n# two\nB=2\n\n# one\nA=8\n"},
      {overlay, 0,
       "  key  base  overlay\n* A    1     8\n= B    2     2\n  C    3\n+ D          \u00fc\n"},
      {overlay + "list --json", 0,
       "{\"key\": \"C\", \"base\": \"3\", \"overlay\": null, \"state\": \"base\", \"comment\": "
       "null}"},
  });
  EXPECT_EQ("# one\nA=1\nB=2\nC=3\n", ztbtest::readFile(base));
}

// A rename would put a file where a pipe or a device is.
TEST_F(ZtbTool, ConfigRefusesWhatIsNoRegularFile) {
  ASSERT_EQ(0, mkfifo(mFolder.path("pipe").c_str(), 0600));
  fs::create_symlink("pipe", mFolder.path("link"));
  fs::create_symlink("loop", mFolder.path("loop"));
  for (std::string const name : {"pipe", "link", ".", "loop"}) {
    expect({{"config set " + name + " A 1", 1, ""},
            {"config unset " + name + " A", 1, ""},
            {"config comment " + name + " A c", 1, ""}});
  }
  EXPECT_TRUE(fs::is_fifo(mFolder.path("pipe")));
}

TEST_F(ZtbTool, AFullDiskLeavesTheOldBytes) {
  std::string const content = "A=" + std::string(40000, 'x') + "\n";
  mFolder.write("f.cfg", content);
  // A limit stands for the disk: 20 blocks of 512 bytes.
  expect({{"--version; trap '' XFSZ; ulimit -f 20; ztb config set f.cfg B 1", 1, "ztb config: "}});
  EXPECT_EQ(content, ztbtest::readFile(mFolder.path("f.cfg")));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(mFolder.path()), {})) << "nothing is left";
}

// The keyboard's signal reaches ztb and the program; a signal for ztb alone can't be waited for.
TEST_F(ZtbTool, AnInterruptionLeavesNoFile) {
  expect({
      {"--version; TMPDIR=$PWD timeout -s INT 0.5 ztb run --capture -- sleep 30", 124, ""},
      {"--version; TMPDIR=$PWD timeout -s INT 0.5 ztb mail --to a --subject s --command 'sleep 30'",
       124, ""},
  });
  EXPECT_TRUE(fs::is_empty(mFolder.path()));
}

// The lines of a page, as the cells of a table's row without the quotes of code; else without
// cells.
std::vector<std::vector<std::string>> rowsOf(char const* page) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream text(ztbtest::readFile(page));
  for (std::string line; std::getline(text, line);) {
    rows.emplace_back();
    std::istringstream cells(line.rfind("| ", 0) == 0 ? line.substr(1) : "");
    for (std::string cell; std::getline(cells, cell, '|');) {
      cell.erase(0, cell.find_first_not_of(" `"));
      rows.back().push_back(cell.erase(cell.find_last_not_of(" `") + 1));
    }
  }
  return rows;
}

// The tables of URIs: each cell is what the tool shows below the name at the head of its column.
TEST_F(ZtbTool, TablesOfURIsSayWhatTheToolShows) {
  std::vector<std::string> head;
  int rows = 0;
  for (std::vector<std::string> const& cells : rowsOf(ZTB_TEST_DOCS "/uris.md")) {
    if (cells.empty() || head.empty()) head = cells;
    if (cells == head || head[0] != "URI" || cells[0] == "---") continue;
    mFolder.write("uri.txt", cells[0]);
    std::string const shown = ztb("uri <uri.txt").output;
    for (std::size_t i = 1; i < cells.size(); ++i) {
      bool const isAbsent = cells[i] == "null" || cells[i] == "empty";
      std::string text = isAbsent ? "(" + cells[i] + ")" : cells[i];
      if (text.empty()) continue;
      if (text != "no URI") text = head[i] + std::string(12 - head[i].size(), ' ') + text + "\n";
      EXPECT_TRUE(ztbtest::contains(shown, text));
    }
    ++rows;
  }
  EXPECT_LT(30, rows);
}

TEST_F(ZtbTool, TablesOfEscapesHold) {
  ztbtest::initialize();
  int rows = 0;
  for (std::vector<std::string>& cells : rowsOf(ZTB_TEST_DOCS "/uris.md")) {
    if (cells.empty() || cells[0].find('%') == std::string::npos || cells.size() > 3) continue;
    ZtbString const text(cells[0].c_str(), false);
    ZtbString result;
    if (cells.size() == 2) {
      EXPECT_TRUE(getUnEscapeStringFromURI(text, &result));
    } else {
      auto const count = static_cast<__int64>(cells[1].size());
      EXPECT_TRUE(getEscapeStringForURI(text, cells[1].data(), count, &result, nullptr));
    }
    EXPECT_EQ(cells.back(), result.asCstr());
    ++rows;
  }
  EXPECT_LE(5, rows);
  ztbShutdown();
}

}  // namespace
