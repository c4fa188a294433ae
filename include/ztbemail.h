// SPDX-License-Identifier: MIT
//
// Composes a mail as a MIME text and hands it to an external mail program.

#ifndef ZTBEMAIL_H
#define ZTBEMAIL_H

#include <vector>

#include "ztbdefs.h"
#include "ztbstring.h"

struct NpFile;

class ZTB_API ZtbEmail {
 public:
  ZtbEmail();
  ZtbEmail(ZtbEmail const&) = delete;
  ZtbEmail& operator=(ZtbEmail const&) = delete;
  ~ZtbEmail();

  bool initialize(ZtbString tempDirectory, ZtbString command);
  void setTo(ZtbString to);
  void setFrom(ZtbString from);
  void setSubject(ZtbString subject);
  void addMessage(ZtbString text);
  void addAttachment(ZtbString path);
  void clearMessages();
  void clearAttachments();
  bool sendMail();
  int getExitCode();
  ZtbString getEmailFile();
  ZtbString getErrorMessage();

 protected:
  bool writeEmailTextFile();
  bool writeTo();
  bool writeFrom();
  bool writeSubject();
  bool writeBody();
  bool writeMultipartHeader();
  bool writeBoundary(bool closing);
  bool writeMessage(int index);
  bool writeAttachment(int index);
  bool writeValue(ZtbString name, ZtbString value);
  int scanStr(ZtbString text, int* nonAscii);
  ZtbString encodeHeaderValue(ZtbString value);
  ZtbString encodeBody(ZtbString text);

 private:
  bool removeFiles;
  ZtbString errorMessage;
  ZtbString command;
  ZtbString to;
  ZtbString from;
  ZtbString subject;
  std::vector<ZtbString>* messages;
  std::vector<ZtbString>* attachments;
  ZtbString boundary;
  ZtbString tempDirectory;
  char mailFilePath[1024];
  char outputFilePath[1024];
  NpFile* mailFile;
  NpFile* outputFile;
  int exitCode;
};

#endif
