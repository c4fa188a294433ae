// SPDX-License-Identifier: MIT
//
// Runs an external program, directly or through the shell, and waits for it.

#ifndef ZTBEXECUTE_H
#define ZTBEXECUTE_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbExecute {
 public:
  ZtbExecute();
  ZtbExecute(ZtbExecute const&) = delete;
  ZtbExecute& operator=(ZtbExecute const&) = delete;
  ~ZtbExecute();

  void setCommand(ZtbString const& command);
  void addOption(ZtbString const& option);
  void addEnvironment(ZtbString const& entry);
  bool run(bool useShell, bool captureOutput, int waitLimit);
  ZtbString getErrorMessage();
  ZtbString getOutputLog();

 private:
  struct Record;
  Record* mRecord;
};

#endif
