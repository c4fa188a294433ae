// SPDX-License-Identifier: MIT
//
// Composing mails and handing them to a command. Commands are shell lines that keep what they get.

#include "ztbemail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ztbtest.h"

namespace {

using ztbtest::contains;
using ztbtest::readFile;
using ztbtest::TempFolder;

ZtbString str(std::string const& text) {
  return {text.c_str(), false};
}

std::size_t entries(std::string const& folder) {
  std::filesystem::directory_iterator const all(folder);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// The message as it is while no texts are loaded: its number and its arguments.
std::string said(ZtbEmail& mail) {
  std::string const message = mail.getErrorMessage().asCstr();
  std::string const group = "[Base Services ";
  std::string const noText = "] no text in the message database";
  std::size_t const end = message.find(noText);
  if (end == std::string::npos) return message;
  return message.substr(group.size(), end - group.size()) + message.substr(end + noText.size());
}

// Mails go through the folder `temp`, and commands leave what they have to say beside it. Only a
// program that still runs may keep two files there, and a descriptor; no test leaves a zombie.
class ZtbEmailTest : public ztbtest::LibraryTest {
 protected:
  ZtbEmailTest() { std::filesystem::create_directory(temp); }
  void TearDown() override {
    EXPECT_GE(mDescriptors + running, entries("/proc/self/fd"));
    EXPECT_EQ(2 * running, entries(temp));
    EXPECT_GE(0, waitpid(-1, nullptr, WNOHANG));
    LibraryTest::TearDown();
  }

  void prepare(ZtbEmail& mail, std::string const& command) {
    ASSERT_TRUE(mail.initialize(str(temp), str(command))) << mail.getErrorMessage().asCstr();
    mail.setTo(ZtbString("ops@example.com", true));
    mail.setSubject(ZtbString("Load", true));
  }
  // The command that keeps the mail, and the mail that it kept.
  std::string keep() const { return "cat '%B' > " + folder.path("sent"); }
  std::string sent(ZtbEmail& mail) const {
    EXPECT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
    return readFile(folder.path("sent"));
  }

  std::string random(std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(mRandom() >> 7);
    return bytes;
  }

  TempFolder const folder;
  std::string const temp = folder.path("temp");
  std::size_t running = 0;

 private:
  std::minstd_rand mRandom{11};
  std::size_t const mDescriptors = entries("/proc/self/fd");
};

// A mail of header lines only.
constexpr char kPlain[] = "To: ops@example.com\r\nSubject: Load\r\n";
constexpr char kHead[] =
    "Content-Type: multipart/mixed; boundary=\"ZT_EMAIL_00\"\r\n"
    "MIME-version: 1.0\r\n"
    "This is a multi-part message in MIME format.\r\n\r\n";
constexpr char kAscii[] =
    "--ZT_EMAIL_00\r\nContent-Type: text/plain; charset=US-ASCII\r\n"
    "Content-Transfer-Encoding: 7bit\r\n\r\n";
constexpr char kUtf8[] =
    "--ZT_EMAIL_00\r\nContent-Type: text/plain; charset=UTF-8\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\n";
constexpr char kEnd[] = "--ZT_EMAIL_00--\r\n";

std::string attached(std::string const& name) {
  return "--ZT_EMAIL_00\r\nContent-Type: application/octet-stream\r\n"
         "Content-Transfer-Encoding: base64\r\n"
         "Content-Disposition: attachment; filename=\"" +
         name + "\"\r\n\r\n";
}

TEST_F(ZtbEmailTest, TheTextIsExactlyThis) {
  std::string const to = "To: ops@example.com\r\n", longValue(2000, 'x');
  ZtbEmail mail;
  prepare(mail, keep());
  EXPECT_EQ(kPlain, sent(mail));
  mail.setFrom(ZtbString("", true));
  mail.setSubject(str(longValue));
  EXPECT_EQ(to + "From: \r\nSubject: " + longValue + "\r\n", sent(mail));
  mail.setFrom(ZtbString());
  mail.setSubject(str("Läuft"));
  for (char const* text : {"a\nb\r\n.", "", "ä\n"}) mail.addMessage(str(text));
  EXPECT_EQ(to + "Subject: =?UTF-8?B?TMOkdWZ0?=\r\n" + kHead + kAscii + "a\nb\r\n.\r\n" + kAscii +
                "\r\n" + kUtf8 + "w6QK\r\n" + kEnd,
            sent(mail));
  mail.clearMessages();
  mail.setSubject(str("\xFF"));
  mail.addMessage(str("\x80"));
  EXPECT_EQ(to + "Subject: =?UTF-8?B?/w==?=\r\n" + kHead + kUtf8 + "gA==\r\n" + kEnd, sent(mail));
  mail.clearMessages();
  mail.setSubject(str(""));
  mail.addAttachment(str(folder.write("empty", "")));
  mail.addAttachment(str(folder.write("a/b/deep.bin", std::string("\0\1\2", 3))));
  mail.addAttachment(str(folder.write("q\"b\\ \tä; name=x", "?")));
  EXPECT_EQ(to + "Subject: \r\n" + kHead + attached("empty") + attached("deep.bin") + "AAEC\r\n" +
                attached("q\\\"b\\\\ \tä; name=x") + "Pw==\r\n" + kEnd,
            sent(mail));
}

// Around one line and around the block of lines that is made at once, from files and from a pipe
// that gives its bytes in crumbs: only the last line may be short.
TEST_F(ZtbEmailTest, AttachmentsAreLinesOf76Characters) {
  std::string const pipe = folder.path("file-pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  for (std::size_t const size : {1u, 56u, 57u, 58u, 58'367u, 58'368u, 58'369u, 200'000u}) {
    SCOPED_TRACE(size);
    std::string const bytes = random(size);
    std::string const path = folder.write("file", bytes);
    std::string lines = ztbtest::shell("base64 -w 76 " + path + " | sed 's/$/\\r/'").output;
    ZtbEmail mail;
    prepare(mail, keep());
    mail.addAttachment(str(path));
    mail.addAttachment(str(pipe));
    std::thread writing([&] {
      int const fd = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
      for (std::size_t at = 0; at < size; at += 999) {
        EXPECT_LT(0, write(fd, bytes.data() + at, std::min<std::size_t>(999, size - at)));
      }
      close(fd);
    });
    EXPECT_EQ(std::string(kPlain) + kHead + attached("file") + lines + attached("file-pipe") +
                  lines + kEnd,
              sent(mail));
    writing.join();
  }
}

TEST_F(ZtbEmailTest, WhatCantBeComposedRunsNoCommandAndIsWrittenAnewOnceItIsMended) {
  std::string const badName = folder.write("two\nlines", "");
  struct {
    std::function<void(ZtbEmail&)> spoil;
    char const* message;
  } const rows[] = {
      {[](ZtbEmail& mail) { mail.setTo(ZtbString()); }, "450"},
      {[](ZtbEmail& mail) { mail.setSubject(ZtbString()); }, "451"},
      {[](ZtbEmail& mail) { mail.setTo(str("a@b\r\nBcc: c@d")); },
       "449: \"To\", \"a@b\r\nBcc: c@d\""},
      {[](ZtbEmail& mail) { mail.setFrom(str("a@b\n")); }, "449: \"From\", \"a@b\n\""},
      {[](ZtbEmail& mail) { mail.setSubject(str("ä\r")); }, "449: \"Subject\", \"ä\r\""},
      {[&](ZtbEmail& mail) { mail.addAttachment(str(badName)); }, "452"},
      {[](ZtbEmail& mail) { mail.addAttachment(str("/no/file")); }, "471: \"No such file"},
      {[](ZtbEmail& mail) { mail.addAttachment(mail.getEmailFile()); }, "471: \"It is the text"},
      {[](ZtbEmail& mail) { mail.addAttachment(str("/etc/")); }, "471: \"Is a directory"},
      {[](ZtbEmail& mail) { mail.addAttachment(ZtbString()); }, "471: \"No such file"},
      {[](ZtbEmail& mail) { mail.addAttachment(str("/proc/self/mem")); }, "97"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.message);
    ZtbEmail mail;
    prepare(mail, keep());
    mail.addMessage(str(std::string(100, 'x')));
    row.spoil(mail);
    EXPECT_FALSE(mail.sendMail());
    EXPECT_TRUE(contains(said(mail), row.message));
    EXPECT_FALSE(std::filesystem::exists(folder.path("sent")));
    mail.clearMessages();
    mail.clearAttachments();
    mail.setTo(str("ops@example.com"));
    mail.setFrom(ZtbString());
    mail.setSubject(str("Load"));
    EXPECT_EQ(kPlain, sent(mail));
    std::filesystem::remove(folder.path("sent"));
  }
}

TEST_F(ZtbEmailTest, WithoutFilesOrACommandNothingIsSent) {
  ZtbEmail mail;
  mail.setTo(str("a@b"));
  mail.setSubject(str("s"));
  EXPECT_FALSE(mail.sendMail());
  EXPECT_TRUE(contains(said(mail), "449: \"To\", \"a@b\""));
  EXPECT_STREQ("", mail.getEmailFile().asCstr());
  EXPECT_FALSE(mail.initialize(str("/proc/no"), str(keep())));
  EXPECT_TRUE(contains(said(mail), "332: 1002, \"/proc/no\", \"No such file"));
  EXPECT_FALSE(mail.sendMail());
  for (ZtbString const& command : {ZtbString(), ZtbString("", true)}) {
    ASSERT_TRUE(mail.initialize(str(temp), command));
    EXPECT_FALSE(mail.sendMail());
    EXPECT_TRUE(contains(said(mail), "380"));
  }
}

TEST_F(ZtbEmailTest, TheTemplateTakesRecipientsAndFileWhereverTheyStand) {
  std::string const spoken = folder.path("spoken");
  ZtbEmail mail;
  prepare(mail, "exit 0");
  mail.addMessage(str("gone with the next pair"));
  prepare(mail, "echo '%T %B %T %B %t %%B' > " + spoken);
  mail.setTo(str("a,b"));
  EXPECT_TRUE(mail.sendMail());
  std::string file = mail.getEmailFile().asCstr();
  EXPECT_EQ(temp + "/cmd_email", file.substr(0, file.size() - 6));
  EXPECT_EQ("a,b " + file + " a,b " + file + " %t %" + file + "\n", readFile(spoken));
  // Sent again: a fresh file, the recipients of now, and the old file is gone.
  mail.setTo(str("%B"));
  EXPECT_TRUE(mail.sendMail());
  EXPECT_NE(file, mail.getEmailFile().asCstr());
  EXPECT_FALSE(std::filesystem::exists(file));
  file = mail.getEmailFile().asCstr();
  EXPECT_EQ(file + " " + file + " " + file + " " + file + " %t %" + file + "\n", readFile(spoken));
  EXPECT_EQ("To: %B\r\nSubject: Load\r\n", readFile(file));
  EXPECT_EQ(2u, entries(temp));
}

TEST_F(ZtbEmailTest, WhatTheCommandDoesDecides) {
  std::string const longLine(5000, 'x');
  struct {
    std::string command;
    bool isSent;
    int exitCode;
    std::string message;  // a part of it
    bool isSilent = false;
  } const rows[] = {
      {"exit 3", true, 3, ""},
      {"kill -9 $$", false, 9, "378: 9"},
      {"echo one; echo 'two \t ' >&2; echo; echo ' three'; exit 4", false, 4,
       ", \"one two   three\""},
      {"printf 'half'; kill -9 $$", false, 9, ", \"half\""},
      {"printf 'a\\000b\\351c'", false, 0, ", \"a b\351c\""},
      {"echo '" + longLine + "'", false, 0, ""},
      {"head -c 30000000 /dev/zero", false, 0, ""},
      {"yes '' | head -c 3000000", false, 0, ""},
      {"echo", false, 0, "", true},
      {"/no/program", false, 127, "not found"},
      {"( exec >&- 2>&-; sleep 30 ) & exit 0", true, 0, ""},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.command.substr(0, 80));
    ZtbEmail mail;
    prepare(mail, row.command);
    EXPECT_EQ(0, mail.getExitCode());
    EXPECT_EQ(row.isSent, mail.sendMail());
    EXPECT_EQ(row.exitCode, mail.getExitCode());
    std::string const message = said(mail);
    EXPECT_TRUE(contains(message, row.message));
    EXPECT_TRUE(row.isSent || row.isSilent || !message.empty());
    EXPECT_GT(2048u, message.size());
  }
}

TEST_F(ZtbEmailTest, AReportIsNeitherBrokenNorCutInsideACharacter) {
  ZtbEmail mail;
  std::string umlauts;
  for (int i = 0; i < 9000; ++i) umlauts += "ä";
  prepare(mail, "cat " + folder.write("output", std::string(1500, 'x') + "\n" + umlauts));
  EXPECT_FALSE(mail.sendMail());
  std::string message = said(mail);
  message.erase(0, message.find(", \"") + 3);
  EXPECT_EQ(std::string(1500, 'x') + " ", message.substr(0, 1501));
  message.erase(0, 1501);
  EXPECT_LT(400u, message.size());
  for (std::size_t at = 0; at < message.size(); at += 2) {
    ASSERT_EQ("ä", message.substr(at, 2)) << at;
  }
}

// The command sleeps longer than the wait, the first time only.
TEST_F(ZtbEmailTest, AProgramThatStillRunsKeepsItsFilesAndOnlyThose) {
  std::string const mark = folder.path("mark");
  std::string file;
  {
    ZtbEmail mail;
    prepare(mail, "test -e " + mark + " || { touch " + mark + "; sleep 11; }");
    EXPECT_TRUE(mail.sendMail()) << "after ten seconds it counts as sent";
    EXPECT_EQ(0, mail.getExitCode());
    file = mail.getEmailFile().asCstr();
    EXPECT_TRUE(mail.sendMail());
    EXPECT_EQ(4u, entries(temp));
  }
  EXPECT_EQ(kPlain, readFile(file));
  running = 1;
}

// Through a mail program and an SMTP server, which another implementation reads.
TEST_F(ZtbEmailTest, ARealServerReceivesWhatWasGiven) {
  if (ztbtest::shell("msmtp --version && " ZTB_TEST_PYTHON " -c 'import aiosmtpd'").exitCode != 0) {
    GTEST_SKIP() << "skipped: msmtp or Python's aiosmtpd isn't there; scripts/setup installs both";
  }
  std::string const bytes = random(100'000);
  std::string const name = "Lauf \"7\" \\ ä.bin";
  std::string const found = folder.path("found");
  std::filesystem::create_directory(found);
  FILE* const sink =
      popen((ZTB_TEST_PYTHON " " ZTB_TEST_SOURCES "/mail_sink.py " + found).c_str(), "re");
  ASSERT_NE(nullptr, sink);
  int port = 0;
  ASSERT_EQ(1, fscanf(sink, "%d", &port));
  {
    ZtbEmail mail;
    prepare(mail, "msmtp --file=/dev/null --auth=off --tls=off --host=127.0.0.1 --port=" +
                      std::to_string(port) + " --from=load@example.com --read-recipients < '%B'");
    mail.setTo(str("ops@example.com, b@example.com"));
    mail.setFrom(str("load@example.com"));
    mail.setSubject(str("Nächtlicher Lauf: 日本語 \xF0\x9F\x9A\x80 = ok?"));
    mail.addMessage(str("Größe: 3 €\n.\n\n.. Ende"));
    mail.addAttachment(str(folder.write(name, bytes)));
    EXPECT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
    EXPECT_EQ(0, mail.getExitCode());
  }
  EXPECT_EQ(0, pclose(sink));
  std::pair<char const*, std::string> const rows[] = {
      {"recipients", "ops@example.com b@example.com"},
      {"to", "ops@example.com, b@example.com"},
      {"from", "load@example.com"},
      {"subject", "Nächtlicher Lauf: 日本語 \xF0\x9F\x9A\x80 = ok?"},
      {"body", "Größe: 3 €\n.\n\n.. Ende"},
      {"name", name},
      {"attachment", bytes},
  };
  for (auto const& [what, expected] : rows)
    EXPECT_EQ(expected, readFile(found + "/" + what)) << what;
}

}  // namespace
