// SPDX-License-Identifier: MIT
#ifndef ZTBTXTFILE_H
#define ZTBTXTFILE_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbTxtFile {
 public:
  enum Mode { ModeRead = 0, ModeWrite = 1, ModeAppend = 2 };

  ZtbTxtFile();
  ZtbTxtFile(ZtbTxtFile const&) = delete;
  ZtbTxtFile& operator=(ZtbTxtFile const&) = delete;
  virtual ~ZtbTxtFile();

  bool open(char const* path, Mode mode, int encoding, int options);
  bool close();
  ZtbString getErrorMessage();
  int getencoding();
  int read(char* buffer, unsigned int size);
  int readln(char* buffer, unsigned int size, bool* complete);
  bool write(char const* text);
  bool write(char const* text, int count);
  bool writeln(char const* text);
  __int64 size();
  __int64 tell();
  int skip(int count);
  int skipline();
  int rewind();

 private:
  struct State;
  State* mState;
  ZtbString mErrorMessage;
};

#endif
