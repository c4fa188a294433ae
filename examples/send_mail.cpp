// SPDX-License-Identifier: MIT
//
// A mail with a text and an attachment, and one that the mail program refuses. The argument is the
// command that takes the mail, with "%B" for the file that it lies in; without one, a shell that
// counts its lines stands in for a mail program.
//
//   ZTEXEC_HOME=HOME ./send_mail
//   ZTEXEC_HOME=HOME ./send_mail 'msmtp --read-recipients <"%B"'

#include <ztbemail.h>
#include <ztbinit.h>
#include <ztbstartup.h>

#include <cstdio>
#include <fstream>

namespace {

constexpr char kStandIn[] = "wc -l <\"%B\" >send_mail.lines";
constexpr char kAttachment[] = "send_mail.log";

bool fail(ZtbEmail& mail) {
  std::fprintf(stderr, "send_mail: %s\n", mail.getErrorMessage().asCstr());
  return false;
}

bool send(char const* command) {
  ZtbEmail mail;
  if (!mail.initialize(ZtbString(), ZtbString(command, true))) return fail(mail);
  mail.setTo(ZtbString("ops@example.com", true));
  mail.setSubject(ZtbString("Nächtlicher Lauf", true));
  mail.addMessage(ZtbString("All is well. The log is attached.", true));
  mail.addAttachment(ZtbString(kAttachment, true));
  if (!mail.sendMail()) return fail(mail);
  std::printf("handed over, with the exit code %d\n", mail.getExitCode());
  return mail.getExitCode() == 0;
}

// What a mail program writes is its report of a failure.
bool isReported() {
  ZtbEmail mail;
  if (!mail.initialize(ZtbString(), ZtbString("echo relay denied", true))) return fail(mail);
  mail.setTo(ZtbString("ops@example.com", true));
  mail.setSubject(ZtbString("", true));
  if (mail.sendMail()) return false;
  std::printf("reported: %s\n", mail.getErrorMessage().asCstr());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "send_mail: %s\n", error);
    ztbShutdown();
    return 1;
  }
  std::ofstream(kAttachment) << "03:00 begun\n03:41 done\n";
  bool const isDone = send(argc > 1 ? argv[1] : kStandIn) && isReported();
  std::remove(kAttachment);
  ztbShutdown();
  return isDone ? 0 : 1;
}
