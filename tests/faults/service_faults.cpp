// SPDX-License-Identifier: MIT
//
// Templates, programs, mails, users, and rows between two threads.

#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "fault_scope.h"
#include "ztauth.h"
#include "ztauth_userfile.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

class Values final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
    value->assign(name.compare("customer", true) == 0 ? "Ada" : "a longer value than the other");
    if (value->isNull()) *error = lit("no value");
    return !value->isNull();
  }
};

bool expandTemplate(Trace& trace) {
  Values values;
  ZtbString error;
  struct Release {
    void operator()(ZtbTemplate* one) const { one->release(); }
  };
  std::unique_ptr<ZtbTemplate, Release> const letter(ztbCreateBasicTemplate(&values, &error));
  if (letter == nullptr) return trace.refused(error);
  if (!letter->parse(lit("Dear {customer}, order [number] {{is}} on its way."), &error)) {
    return trace.refused(error);
  }
  bool bracketed = false;
  ZtbString const name = letter->getVariable(1, &bracketed, &error);
  if (name.isNull()) return trace.refused(error);
  trace.note(name.asCstr());
  ZtbString const text = letter->expand(&error);
  if (text.isNull() || !error.isNull()) return trace.refused(error);
  trace.note(text.asCstr());
  trace.require(!letter->parse(lit("{a} {a}"), &error), "a variable stands twice");
  return !error.isNull();
}

// Output that couldn't be read to memory is replaced by a text of its own.
bool showOutput(Trace& trace, ZtbExecute& program) {
  ZtbString const log = program.getOutputLog();
  bool const isThere =
      !log.isNull() && log.compare("Failed to allocate memory to read program output", true) != 0;
  return isThere && trace.text(log);
}

bool runProgram(Trace& trace) {
  ZtbExecute program;
  program.setCommand(lit("/bin/echo"));
  program.addOption(lit("one"));
  program.addOption(lit("an option that is longer than a small block"));
  program.addEnvironment(lit("LANG=C"));
  if (!program.run(false, true, 30)) return refusedRun(trace, program);
  if (!showOutput(trace, program)) return trace.refused();
  ZtbExecute shell;
  shell.setCommand(lit("echo"));
  shell.addOption(lit("from a shell"));
  if (!shell.run(true, true, -1)) return refusedRun(trace, shell);
  return showOutput(trace, shell);
}

// The program puts the mail where it can be looked at.
bool sendMail(Trace& trace) {
  static std::string const kAttached = pathOf("attached.txt");
  static std::string const kSent = pathOf("sent.txt");
  static std::string const kCommand = "cp '%B' '" + kSent + "'";
  writeFile("attached.txt", "an attachment\nof two lines\n");
  writeFile("sent.txt", "");
  ZtbEmail mail;
  if (!mail.initialize(ZtbString(), lit(kCommand.c_str()))) {
    return trace.refused(mail.getErrorMessage());
  }
  mail.setTo(lit("ops@example.com"));
  mail.setFrom(lit("me@example.com"));
  mail.setSubject(lit("Gr\u00f6\u00dfe"));
  mail.addMessage(lit("All tables are loaded."));
  mail.addMessage(lit("Gr\u00fc\u00dfe"));
  mail.addAttachment(lit(kAttached.c_str()));
  if (!mail.sendMail()) return trace.refused(mail.getErrorMessage());
  Pause const pause;
  trace.note(readFile(kSent));
  return true;
}

// A file with a single user, whose password is "secret".
std::string usersFile() {
  ztauth::UserRecord record;
  record.name = "kim";
  record.domain = "OFFICE";
  record.resolved = "kim.x";
  EXPECT_EQ("", ztauth::setPassword(record, "secret", "", ztauth::kLeastCost));
  EXPECT_EQ("", ztauth::sealCredential(record, "SALES", "seller", "s\u00e9cret"));
  std::string const text =
      std::string(ztauth::kUserFileHead) + "\n" + ztauth::composeUserLine(record) + "\n";
  writeFile("users", text.c_str());
  chmod(pathOf("users").c_str(), 0600);
  return pathOf("users");
}

bool logIn(Trace& trace) {
  ZtbString error;
  ASSubject* subject = nullptr;
  if (!ztbSubjectAuthenticate(lit("kim"), lit("secret"), &subject, &error)) {
    return trace.refused(error);
  }
  ZtbString user;
  ZtbString password;
  ZtbSubjectInfoParm info;
  bool done = ztbSubjectCredentials(lit("SALES"), user, password, &error);
  done = done ? trace.text(user) && trace.text(password) : trace.refused(error);
  if (done) done = ztbSubjectInfo(true, &info, &error) || trace.refused(error);
  if (done)
    done = trace.text(info.name) && trace.text(info.authDomain) && trace.text(info.resolved);
  ZtbString published;
  ztbGetConfigOptions(ZtbString())->getOption(lit("ZTINTL_DIS_USER"), &published);
  trace.require(published.compare("kim", true) == 0, "the subject's name isn't published");
  trace.require(ztbSubjectAccess() == subject, "the process has another subject");
  ztbSubjectRelease();
  ztbSubjectRelease();
  trace.require(ztbSubjectAccess() == nullptr, "the subject outlives its last reference");
  return done;
}

bool decodePassword(Trace& trace) {
  static std::string const kEncoded = [] {
    ZtbString const hidden = ztbEncryptString(lit("a password"));
    return std::string(as_encoded_prefix) + hidden.asCstr();
  }();
  ZtbString error;
  ZtbString decoded;
  if (!ztbSubjectDecodePW(lit(kEncoded.c_str()), decoded, &error)) return trace.refused(error);
  if (!trace.text(decoded)) return trace.refused();
  trace.require(!ztbSubjectDecodePW(lit("nonsense"), decoded, &error), "nonsense is decoded");
  return !error.isNull();
}

struct Impatient final : SharedBufferWaitCallback {
  std::atomic<bool>* stop;
  unsigned char poll() override { return *stop ? 1 : 0; }
};

// The worker doubles what the client sends. Without memory for a buffer's rows there is no buffer,
// and both give up.
bool shareBuffers(Trace& trace) {
  SharedBufferManager* const manager = ssSharedBufferManager(2, 3, 2, 2, 3, 2);
  if (manager == nullptr) return trace.refused();
  std::atomic<bool> stop{false};
  Impatient callback;
  callback.stop = &stop;
  std::atomic<bool> failed{false};
  auto const work = [&] {
    SharedBuffer* const in = manager->acquireFilledInput(&callback);
    SharedBuffer* const out = in != nullptr ? manager->acquireFreeOutput(&callback) : nullptr;
    while (ZtbDatavar* const row = out != nullptr ? in->nextRow() : nullptr) {
      ZtbDatavar* const answer = out->nextRow();
      if (answer == nullptr || row[0].isNull()) {
        failed = true;
        break;
      }
      answer[0].assign(row[0].asInt64(nullptr) * 2);
      answer[1] = row[1];
    }
    if (out != nullptr) out->release();
    if (in != nullptr) in->release();
  };
  std::unique_ptr<std::thread> worker;
  {
    Pause const pause;
    worker = std::make_unique<std::thread>(work);
  }
  bool done = false;
  SharedBuffer* const in = manager->acquireFreeInput();
  if (in != nullptr) {
    long long sent = 0;
    for (; ZtbDatavar* const row = in->nextRow(); ++sent) {
      row[0].assign(sent);
      row[1].assign("a text that is longer than a small block of the pool");
    }
    done = sent == 3;
    in->release();
    SharedBuffer* out = nullptr;
    for (int i = 0; out == nullptr && i < 2000 && done; ++i) {
      out = manager->acquireFilledOutput();
      Pause const pause;
      if (out == nullptr) std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    done = done && out != nullptr && !failed;
    for (long long i = 0; done && i < sent; ++i) {
      ZtbDatavar* const row = out->nextRow();
      // A value that found no memory is null.
      done = row != nullptr && !row[0].isNull() && !row[1].isNull() && !failed;
      if (done) trace.note(row[0].asInt64(nullptr));
      if (done) done = trace.text(row[1].asString());
    }
    if (out != nullptr) out->release();
  }
  stop = true;
  {
    Pause const pause;
    worker->join();
    worker.reset();
  }
  manager->destroy();
  return done;
}

class FaultsInServices : public WithLibrary {
 protected:
  void SetUp() override {
    WithLibrary::SetUp();
    static std::string const location = "file:" + usersFile();
    ztbGetConfigOptions(ZtbString())->setOption(lit("BASE/AUTH_SERVER_LOC"), lit(location.c_str()));
  }
};

TEST_F(FaultsInServices, Templates) {
  tryFaults("templates", expandTemplate);
}
TEST_F(FaultsInServices, Programs) {
  tryFaults("programs", runProgram);
}
TEST_F(FaultsInServices, Mail) {
  tryFaults("mail", sendMail);
}
TEST_F(FaultsInServices, Users) {
  tryFaults("users", logIn);
}
TEST_F(FaultsInServices, EncodedPassword) {
  tryFaults("encoded password", decodePassword);
}
TEST_F(FaultsInServices, SharedBuffers) {
  tryFaults("shared buffers", shareBuffers);
}

}  // namespace

bool refusedRun(Trace& trace, ZtbExecute& program) {
  ZtbString const message = program.getErrorMessage();
  if (!message.isNull()) return trace.refused(message);
  trace.require(program.getOutputLog().isNull(), "a program that says nothing has a log");
  return trace.refused();
}

}  // namespace faults
