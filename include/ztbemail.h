// SPDX-License-Identifier: MIT
//
// Composes a mail as a MIME text in a temporary file and hands that file to an external mail
// program. The library speaks no mail protocol: the caller names the program by a command template,
// which runs through the shell, and whatever the program writes to its output is taken for a report
// of failure.
//
//   ZtbEmail mail;
//   if (!mail.initialize(ZtbString(), ZtbString("msmtp --read-recipients < '%B'", true)))
//     return report(mail.getErrorMessage());
//   mail.setTo(ZtbString("ops@example.com", true));
//   mail.setSubject(ZtbString("Nightly load", true));
//   mail.addMessage(ZtbString("All tables are loaded.", true));
//   mail.addAttachment(ZtbString("/var/log/load.log", true));
//   if (!mail.sendMail()) report(mail.getErrorMessage());
//
// The command is a shell's. "%T" and "%B" are put in as they are, without quotes and without a
// check: recipients from outside that stand in a template by "%T" are a program that somebody else
// writes ("x; rm -rf ~"). Leave "%T" out and let the mail program take the recipients from the mail
// (msmtp --read-recipients, sendmail -t), or check them first. Put quotes around "%B", as the
// folder's name may have a blank.
//
// Threads: an object belongs to one thread at a time. It needs the library up.

#ifndef ZTBEMAIL_H
#define ZTBEMAIL_H

#include <vector>

#include "ztbdefs.h"
#include "ztbstring.h"

struct NpFile;
struct NpProcess;

// One mail, or several one after the other. All failures are told by the result and by
// getErrorMessage. Can't be copied: it owns two files.
//
// Two temporary files serve each mail: its text, and the command's output. They are made by
// `initialize`, only the user of the process may read them, and they are removed when the object
// is destroyed, initialised again or sends again. A pair whose program was still running when
// sendMail stopped waiting stays for good, since the program may yet read the one and write to the
// other; the pair that follows it is removed as usual.
//
// The text that is made, each line ended by CR LF:
//
//   To: RECIPIENTS
//   From: SENDER                                            left out if `from` is null
//   Subject: SUBJECT
//   Content-Type: multipart/mixed; boundary="ZT_EMAIL_00"   from here on only if there is a message
//   MIME-version: 1.0                                       or an attachment
//   This is a multi-part message in MIME format.
//
//   --ZT_EMAIL_00                                           each message
//   Content-Type: text/plain; charset=US-ASCII
//   Content-Transfer-Encoding: 7bit
//
//   TEXT
//   --ZT_EMAIL_00                                           each attachment
//   Content-Type: application/octet-stream
//   Content-Transfer-Encoding: base64
//   Content-Disposition: attachment; filename="NAME"
//
//   BASE64, in lines of 76 characters
//   --ZT_EMAIL_00--
//
// A header value with a character outside ASCII becomes one encoded word, whole and of any length:
// "=?UTF-8?B?", the base64 of its bytes, "?=" (RFC 2047); a recipient's address therefore has to be
// ASCII. A message with such a character has the charset UTF-8 and goes as one line of base64.
// Texts of ASCII go as they are, with the line ends and the line lengths that they have; one that
// holds the boundary as a line divides the mail there. Strings can't hold a NUL, so there is none
// in headers and messages; what attachments hold doesn't matter.
class ZTB_API ZtbEmail {
 public:
  // All values null, no messages, no attachments, no files.
  ZtbEmail();
  ZtbEmail(ZtbEmail const&) = delete;
  ZtbEmail& operator=(ZtbEmail const&) = delete;
  // Closes the files, and removes those that aren't to stay.
  ~ZtbEmail();

  // Makes the two files in the folder `tempDirectory`; null or empty is the system's: the one that
  // the variable TMPDIR names, if that is an absolute path of a folder in which this process may
  // make files, or else "/tmp". A relative folder must still be the same when the object is
  // destroyed. `command` is the template that sendMail runs.
  //
  // Empties both lists and sets the exit code to 0; to, from and subject stay. May be called again:
  // the files of before are closed, and removed unless they are to stay.
  //
  // False with message 332 if a file can't be made. There are none then.
  bool initialize(ZtbString tempDirectory, ZtbString command);

  // The values of the header lines. A null `from`, the initial one, leaves its line out; to and
  // subject must be there, and may be empty. None may hold a line end: sendMail refuses it, so that
  // no value brings in header lines of its own.
  void setTo(ZtbString to);
  void setFrom(ZtbString from);
  void setSubject(ZtbString subject);

  // Adds a text part, or the path of a file to attach, behind those that are there. A file is first
  // looked at by sendMail. It is called by the last component of its path; a double quote and a
  // backslash in that name get a backslash in front, as quoted texts of a mail have them, and other
  // characters go as they are, also outside ASCII. A pipe may be attached: it is
  // waited for, and read to its end, without a limit.
  void addMessage(ZtbString text);
  void addAttachment(ZtbString path);

  // Empty one of the two lists; a failure to add to it is forgotten.
  void clearMessages();
  void clearAttachments();

  // Writes the mail's text and runs the command: the template with every "%T" replaced by `to`, and
  // then every "%B" by the path of the text. Waits 10 seconds for its end, whatever it does.
  //
  // True if the command ended by itself, with whatever exit code, or is still running after the
  // wait, and has written nothing to its output and error output. One without "%B" just runs.
  //
  // False with a message otherwise:
  //   450, 451           there is no recipient, no subject
  //   449, 448, 452      a header line, a boundary, a part couldn't be written: the disk is full, a
  //                      header value or an attachment's name holds a line end, or there was no
  //                      successful `initialize`
  //   471, 97            an attachment can't be opened, or is this mail's own text; can't be read
  //                      to its end
  //   444                no memory: for a message or attachment when it was added, for base64
  //   332, 453, 454      the files couldn't be made or prepared
  //   380                the command couldn't be started, or the template is null or empty
  //   377, 378           its state is unknown; a signal ended it
  //   333                it wrote something: the words, as one line, as far as the message
  //                      holds them
  // Up to 454 no command runs. Output of nothing but line ends fails too, maybe without a message.
  //
  // May be called again. After a failure before the command, the text is written anew; once the
  // command could run, the mail gets fresh files in the same folder, those of before go (but see
  // above), and the template is filled in anew with the recipients of now.
  //
  // Memory is constant for attachments and for the command's output. Disk: the mail's text, 4/3 of
  // the attachments and a little.
  bool sendMail();

  // What the wait for the last command reported: the exit code, or the number of the signal that
  // ended it. 0 before.
  int getExitCode();

  // The path of the mail's text; empty before a successful `initialize`.
  ZtbString getEmailFile();

  // The message of the last failure; null if there was none. Success doesn't clear it.
  ZtbString getErrorMessage();

 protected:
  // Writes the whole text; then closes the mail's file and empties that of the output. This and the
  // next operations are the steps of the composition, for classes that write a mail of their own
  // making. Each writes to the mail's file where the one before stopped, and gives false with the
  // message told at sendMail.
  bool writeEmailTextFile();
  // Write a header line. writeFrom gives true without one if `from` is null.
  bool writeTo();
  bool writeFrom();
  bool writeSubject();
  // Writes all from Content-Type to the closing boundary; nothing if both lists are empty.
  bool writeBody();
  // Writes the three lines behind the header values, and the empty line.
  bool writeMultipartHeader();
  // Writes the line of the boundary, with two hyphens more at its end if it is the closing one.
  bool writeBoundary(bool closing);
  // Write one part with the boundary in front, by its index in the list from 0. Another index is
  // refused.
  bool writeMessage(int index);
  bool writeAttachment(int index);
  // Writes one header line, encoded if need be. Neither text may hold a line end.
  bool writeValue(ZtbString name, ZtbString value);

  // Gives the bytes of `text`, and in `*nonAscii` 1 if one of its characters isn't ASCII, which
  // ill-formed bytes aren't either, otherwise 0. `nonAscii` must not be null.
  int scanStr(ZtbString text, int* nonAscii);
  // The base64 of the text's bytes as an encoded word, and by itself, in one line. Null with
  // message 444 if there isn't the memory.
  ZtbString encodeHeaderValue(ZtbString value);
  ZtbString encodeBody(ZtbString text);

 private:
  ZTB_LOCAL bool makeFile(char* path, NpFile** file);
  ZTB_LOCAL bool makeFiles();
  ZTB_LOCAL void dropFiles();
  ZTB_LOCAL bool prepareMailFile();
  ZTB_LOCAL bool writeAttachmentHeader(ZtbString const& path);
  ZTB_LOCAL bool writeAttachmentContent(NpFile* attachment);
  ZTB_LOCAL ZtbString encode(char const* before, ZtbString const& text, char const* behind);
  ZTB_LOCAL bool runCommand();
  ZTB_LOCAL bool awaitCommand(NpProcess* process);
  ZTB_LOCAL bool takeReport();
  // Keeps the message and gives false.
  ZTB_LOCAL bool fail(ZtbString const& message);

  bool removeFiles;
  ZtbString errorMessage;
  ZtbString command;
  ZtbString to;
  ZtbString from;
  ZtbString subject;
  // Null if there was no memory for the list or for what was added to it.
  std::vector<ZtbString>* messages;
  std::vector<ZtbString>* attachments;
  ZtbString boundary;
  ZtbString tempDirectory;
  char mailFilePath[1024];
  char outputFilePath[1024];
  NpFile* mailFile;
  NpFile* outputFile;
  int exitCode;
  // The command as it was given: `command` is what the last sendMail made of it.
  ZtbString mTemplate;
};

#endif
