// SPDX-License-Identifier: MIT
//
// Logging: loggers in a tree by the dots of their names, over sinks that a file configures.

#ifndef ZTLOG11_H
#define ZTLOG11_H

struct ZtLogger;

// The operations of a logger, in this order; each takes the logger first.
struct ZtLoggerOperations {
  int (*getLevel)(ZtLogger* logger);
  void (*logFormat)(ZtLogger* logger, int level, char const* source, int line, char const* format,
                    ...) __attribute__((format(printf, 5, 6)));
  void (*logMessage)(ZtLogger* logger, int level, char const* source, int line, int number, ...);
  void (*setLevel)(ZtLogger* logger, int level);
};

struct ZtLogger {
  ZtLoggerOperations const* operations;
};

int ztlogInitialize();
int ztlogConfigure(char const* path);
ZtLogger* ztlogGetLogger(char const* name);
// Why the last ztlogConfigure failed, with line and column; an empty text if none has.
char const* ztlogConfigureError();

#endif
