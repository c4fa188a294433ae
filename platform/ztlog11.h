// SPDX-License-Identifier: MIT
//
// Logging: loggers in a tree by the dots of their names, over sinks that a file configures.
//
// Rules for all of it:
// 1. Everything works at any time: before ztlogInitialize, before main, while static objects are
//    destroyed, in a child after fork(). There is no shutdown; loggers and sinks are never
//    destroyed, and each record is handed to the system before the call that made it returns, so
//    that a crash loses none.
// 2. Everything may be called from any thread, but not from a signal handler. One lock stands
//    around the sinks; it is innermost (nothing is called under it that takes another), and it is
//    taken around fork().
// 3. Nothing throws, aborts or changes errno. A record for which there is no memory is dropped.
// 4. A sink that can't be written (a full disk, a pipe that nobody reads, a file at the user's
//    limit; no signal comes of it) is told of once on standard error. It is tried again once a
//    second, and what it lost in between is counted there in a record of its own.
//
// Levels of records: 1 trace (the profiler's report), 2 step of the work, 3 information, 4 warning,
// 5 error; smaller ones are taken as 1, greater ones as 5. A logger lets through what is at its
// level or above. It has the level that setLevel gave it, or else what the configuration says for
// its name, or else its parent's. The root's level is 4 if nobody gives it one.
//
// Before the first successful ztlogConfigure, records of level 4 and 5 go to standard error at
// once, and the last 1,000 records that passed their loggers (at most 1 MiB of text; the oldest go
// first) are kept. A configuration from a file then gets them first, with their own times, wherever
// it sends records of such level and logger; what was on standard error already isn't repeated
// there, and a number of records that couldn't be kept is told.
//
// Whatever a record's text, source or logger name holds, it is one line of printable text: control
// characters, line and paragraph separators, bidirectional embeddings, overrides and isolates are
// written as \n, \r, \t, \xNN (bytes) or \uNNNN, and so are bytes that aren't well-formed UTF-8, as
// \xNN. A backslash stays as it is. No text is ever cut.

#ifndef ZTLOG11_H
#define ZTLOG11_H

struct ZtLogger;

// The operations of a logger, in this order; each takes the logger first, as ztlogGetLogger gave
// it.
struct ZtLoggerOperations {
  // The effective level, 1 to 5, or 6 for a silent logger. One relaxed atomic load.
  int (*getLevel)(ZtLogger* logger);

  // A record with a text made as printf would. `source` is the name of the source without folder
  // and extension and may be null, as may `format` (an empty text). What is below the logger's
  // level costs a load and a comparison. A format that can't be carried out (such as %ls with text
  // that the locale doesn't have) is logged as it stands. Fractions follow the process's locale.
  void (*logFormat)(ZtLogger* logger, int level, char const* source, int line, char const* format,
                    ...) __attribute__((format(printf, 5, 6)));

  // A record with the text of a message of the group "Base Services"; the arguments are those that
  // the message declares. The text has at most 2047 bytes.
  void (*logMessage)(ZtLogger* logger, int level, char const* source, int line, int number, ...);

  // Gives the logger a level of its own, and with it those below that have none. 0 or less takes it
  // away again; above 5 the logger is silent. Costs time in the number of all loggers.
  void (*setLevel)(ZtLogger* logger, int level);
};

// A logger. Lives as long as the process and belongs to nobody.
struct ZtLogger {
  ZtLoggerOperations const* operations;
};

// Starts logging; 0, or 1 when memory ran out. May be called again. If standard error is closed, it
// is opened on the null device, so that no file opened later gets its number and with it the log.
int ztlogInitialize();

// Configures logging from the file at `path` (docs/logging.md has the format), or for null in the
// default way: warnings and errors on standard error, kept records below that are dropped. 0 on
// success: the new sinks take the place of all former ones, and loggers with a level of their own
// keep it. 1 on failure: the former configuration stays in every detail, ztlogConfigureError has
// the reason, and a record of level 5 says so, on standard error in any case.
int ztlogConfigure(char const* path);

// The logger of a name, always the same for a name, never null. The dots of the name make the tree:
// "A" is the parent of "A.B", and the root, which null, "" and "." give, of "A". Empty parts don't
// count ("A..B" is "A.B"), case does, and only the first 255 bytes of a name are looked at. Each
// name costs memory for the life of the process, so names shouldn't come from input. When memory
// runs out the root is given. Costs a lookup under the lock: keep the handle where it is hot.
ZtLogger* ztlogGetLogger(char const* name);

// Why the last ztlogConfigure failed, as "PATH:LINE:COLUMN: reason", or "PATH: reason" where it has
// no place in the text (lines and characters are counted from 1); an empty text if it succeeded or
// none was made. Stands until the next ztlogConfigure, beside which it must not be read.
char const* ztlogConfigureError();

#endif
