// SPDX-License-Identifier: MIT
//
// Templates, programs, mails, users, and rows between two threads.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "fault_run.h"
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

SCENARIO(Faults, Templates) {
  Values values;
  ZtbString error;
  Owned<ZtbTemplate> const letter(ztbCreateBasicTemplate(&values, &error));
  trace.needs(letter != nullptr, error);
  ZtbString const source = lit("Dear {customer}, order [number] {{is}} on its way.");
  trace.needs(letter->parse(source, &error), error);
  bool bracketed = false;
  ZtbString const name = letter->getVariable(1, &bracketed, &error);
  trace.needs(!name.isNull(), error);
  trace.note(name.asCstr());
  ZtbString const text = letter->expand(&error);
  trace.needs(!text.isNull() && error.isNull(), error);
  trace.note(text.asCstr());
  trace.require(!letter->parse(lit("{a} {a}"), &error), "a variable stands twice");
  trace.needs(!error.isNull());
}

SCENARIO(Faults, Programs) {
  ZtbExecute program;
  program.setCommand(lit("/bin/echo"));
  program.addOption(lit("one"));
  program.addOption(lit("an option that is longer than a small block"));
  program.addEnvironment(lit("LANG=C"));
  noteOutput(trace, program, false);
  ZtbExecute shell;
  shell.setCommand(lit("echo"));
  shell.addOption(lit("from a shell"));
  noteOutput(trace, shell, true);
}

// The program puts the mail where it can be looked at.
SCENARIO(Faults, Mail) {
  static std::string const kAttached = writeFile("attached.txt", "an attachment\nof two lines\n");
  static std::string const kSent = pathOf("sent.txt");
  static std::string const kCommand = "cp '%B' '" + kSent + "'";
  writeFile("sent.txt", "");
  ZtbEmail mail;
  trace.needs(mail.initialize(ZtbString(), lit(kCommand)), mail);
  mail.setTo(lit("ops@example.com"));
  mail.setFrom(lit("me@example.com"));
  mail.setSubject(lit("Gr\u00f6\u00dfe"));
  mail.addMessage(lit("All tables are loaded."));
  mail.addMessage(lit("Gr\u00fc\u00dfe"));
  mail.addAttachment(lit(kAttached));
  trace.needs(mail.sendMail(), mail);
  Pause const pause;
  trace.note(readFile(kSent));
}

// A file with a single user, whose password is "secret".
std::string usersFile() {
  Pause const pause;
  ztauth::UserRecord record;
  record.name = "kim";
  record.domain = "OFFICE";
  record.resolved = "kim.x";
  EXPECT_EQ("", ztauth::setPassword(record, "secret", "", ztauth::kLeastCost));
  EXPECT_EQ("", ztauth::sealCredential(record, "SALES", "seller", "s\u00e9cret"));
  std::string const head(ztauth::kUserFileHead);
  std::string const path = writeFile("users", head + "\n" + ztauth::composeUserLine(record) + "\n");
  chmod(path.c_str(), 0600);
  return "file:" + path;
}

SCENARIO(Faults, Users) {
  static std::string const kLocation = usersFile();
  ZtbConfigOptions* const options = ztbGetConfigOptions(ZtbString());
  trace.needs(options->setOption(lit("BASE/AUTH_SERVER_LOC"), lit(kLocation)));
  ZtbString error;
  ASSubject* subject = nullptr;
  trace.needs(ztbSubjectAuthenticate(lit("kim"), lit("secret"), &subject, &error), error);
  struct Reference {
    Trace& trace;
    ~Reference() {
      ztbSubjectRelease();
      trace.require(ztbSubjectAccess() == nullptr, "the subject outlives its last reference");
    }
  } const reference{trace};
  trace.require(ztbSubjectAccess() == subject, "the process has another subject");
  ztbSubjectRelease();
  ZtbString published;
  options->getOption(lit("ZTINTL_DIS_USER"), &published);
  trace.require(published.compare("kim", true) == 0, "the subject's name isn't published");
  ZtbString user;
  ZtbString password;
  trace.needs(ztbSubjectCredentials(lit("SALES"), user, password, &error), error);
  trace.text(user);
  trace.text(password);
  ZtbSubjectInfoParm info;
  trace.needs(ztbSubjectInfo(true, &info, &error), error);
  trace.text(info.name);
  trace.text(info.authDomain);
  trace.text(info.resolved);
}

SCENARIO(Faults, EncodedPassword) {
  static std::string const kEncoded =
      std::string(as_encoded_prefix) + ztbEncryptString(lit("a password")).asCstr();
  ZtbString error;
  ZtbString decoded;
  trace.needs(ztbSubjectDecodePW(lit(kEncoded), decoded, &error), error);
  trace.text(decoded);
  trace.require(!ztbSubjectDecodePW(lit("nonsense"), decoded, &error), "nonsense is decoded");
  trace.needs(!error.isNull());
}

struct Impatient final : SharedBufferWaitCallback {
  std::atomic<bool> hasEnough = false;
  unsigned char poll() override { return hasEnough ? 1 : 0; }
};

// Doubles what the client sends, in a thread of its own. Without memory for a buffer's rows there
// is no buffer, and it gives up.
struct Worker {
  SharedBufferManager* const manager;
  Impatient client;
  std::atomic<bool> hasFailed = false;
  std::thread thread;

  explicit Worker(SharedBufferManager* one) : manager(one) {
    Pause const pause;
    thread = std::thread([this] { work(); });
  }
  ~Worker() {
    client.hasEnough = true;
    thread.join();
    manager->destroy();
  }
  void work() {
    Owned<SharedBuffer> const in(manager->acquireFilledInput(&client));
    Owned<SharedBuffer> const out(in != nullptr ? manager->acquireFreeOutput(&client) : nullptr);
    while (ZtbDatavar* const row = out != nullptr ? in->nextRow() : nullptr) {
      ZtbDatavar* const answer = out->nextRow();
      hasFailed = answer == nullptr || row[0].isNull();
      if (hasFailed) return;
      answer[0].assign(row[0].asInt64(nullptr) * 2);
      answer[1] = row[1];
    }
  }
};

SCENARIO(Faults, SharedBuffers) {
  SharedBufferManager* const manager = ssSharedBufferManager(2, 3, 2, 2, 3, 2);
  trace.needs(manager != nullptr);
  Worker const worker(manager);
  Owned<SharedBuffer> in(manager->acquireFreeInput());
  trace.needs(in != nullptr);
  long long sent = 0;
  for (; ZtbDatavar* const row = in->nextRow(); ++sent) {
    row[0].assign(sent);
    row[1].assign("a text that is longer than a small block of the pool");
  }
  trace.needs(sent == 3);
  in.reset();
  Owned<SharedBuffer> out;
  for (int i = 0; out == nullptr && i < 2000; ++i) {
    usleep(100);
    out.reset(manager->acquireFilledOutput());
  }
  trace.needs(out != nullptr);
  for (int i = 0; i < 3; ++i) {
    ZtbDatavar const* const row = out->nextRow();
    // A value that found no memory is null.
    trace.needs(row != nullptr && !row[0].isNull() && !row[1].isNull() && !worker.hasFailed);
    trace.note(row[0].asInt64(nullptr));
    trace.text(row[1].asString());
  }
}

}  // namespace
}  // namespace faults
