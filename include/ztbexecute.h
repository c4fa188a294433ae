// SPDX-License-Identifier: MIT
//
// Runs an external program, directly or through the shell, waits for it, and collects what it
// writes:
//
//   ZtbExecute program;
//   program.setCommand(ZtbString("sort", true));
//   program.addOption(ZtbString("-u", true));
//   program.addOption(path);
//   if (!program.run(false, true, 60)) report(program.getErrorMessage());
//   show(program.getOutputLog());
//
// What every program is started with: standard input is empty (/dev/null); no open file of this
// process is passed on but its standard output and error output; no signal is blocked or ignored;
// the current folder is that of this process. The start doesn't copy this process's memory.
//
// A process that ignores SIGCHLD works too: while a program of this class runs, that signal has its
// default action.
//
// Threads: an object belongs to one thread at a time; different objects may run programs side by
// side. Needs the library up. Nothing throws.

#ifndef ZTBEXECUTE_H
#define ZTBEXECUTE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// One program with its options and its environment, to be run any number of times. Can't be
// copied.
class ZTB_API ZtbExecute {
 public:
  // An object that couldn't get its memory stays inert: `run` gives false, and both texts are null.
  ZtbExecute();
  ZtbExecute(ZtbExecute const&) = delete;
  ZtbExecute& operator=(ZtbExecute const&) = delete;

  // Doesn't wait for a program that the last `run` left running, and doesn't stop it.
  ~ZtbExecute();

  // The program: a path, or a name without "/" that is looked for in the folders of PATH. The PATH
  // is that of this process, also if the program gets an environment of its own. A null or empty
  // one can't be started: `run` without the shell fails with message 380.
  void setCommand(ZtbString const& command);

  // Adds an argument behind those that are there. A null string is an empty argument. If memory
  // runs out for it, every later `run` fails with message 29: nothing runs with options missing.
  void addOption(ZtbString const& option);

  // Adds an entry "NAME=value" to the program's environment, in the order given. The first entry
  // replaces the whole environment: the program gets these entries and no others. Without any it
  // gets that of this process. Memory as for addOption.
  void addEnvironment(ZtbString const& entry);

  // Starts the program and waits until it has ended, or for `waitLimit` seconds: 0 only looks, and
  // a negative limit is none. True when it was started and waited for, whatever its exit code is;
  // also when the limit came first. A program that still runs then goes on; nothing here stops it,
  // and it is collected by a later run of any program (or by the end of this process). What it has
  // started itself isn't waited for.
  //
  // False with a message, and with what the log then holds:
  //
  //   message  condition                            getOutputLog
  //   29       no memory for options, environment   as it was
  //            or command line
  //   332      no temporary file for the output     as it was
  //   380      the program can't be started         "Failed to execute command %s. Error: %s"
  //   377      its end can't be told                "Failed to get status of command %s. Error: %s"
  //   378      a signal ended it                    "Command aborted with error: %d"
  //
  // Neither text is cleared by a run: after a success the message is still that of the last
  // failure, and the log that of the last run that had something to log.
  //
  // useShell false: the command and each option reach the program as they are, byte for byte. What
  // can't be started (a missing program, a folder, a file for another machine, an option of more
  // than 128 KiB) is message 380 with the system's reason.
  //
  // useShell true: command and options are joined with blanks to one line for "/bin/sh -c". A part
  // with a blank in it that doesn't begin with a double quote gets double quotes around it, and
  // that is all: nothing inside is escaped, so quotes, "$", "`", ";", "|" and the like do what they
  // do in a shell. NEVER pass a text of unknown origin this way. What goes wrong in the line is
  // told by the shell, as output and exit code (127: no such program), and isn't a failure here.
  //
  // captureOutput: output and error output go to a temporary file of mode 0600, in their order; it
  // is removed before `run` returns. Its first 8191 bytes, cut at a character's border and at a
  // NUL, become the log, each byte of white space a blank, so that the log is one line. They
  // replace a failure line of 377 and 378; a program without output leaves the log as it was. A
  // byte that isn't UTF-8 stays as it is. If memory runs out for it, the log is "Failed to allocate
  // memory to read program output" and the result stays. The file takes all that the program
  // writes, so the folder for temporary files needs the room: the one that the variable TMPDIR
  // names, if that is an absolute path of a folder in which this process may make files, or else
  // "/tmp". Without captureOutput the program writes to where this process writes.
  bool run(bool useShell, bool captureOutput, int waitLimit);

  // The message of the last `run` that failed; null if none has.
  ZtbString getErrorMessage();

  // The output, or the failure line; null before there was any.
  ZtbString getOutputLog();

 private:
  struct ZTB_LOCAL Record;
  Record* mRecord;
};

#endif
