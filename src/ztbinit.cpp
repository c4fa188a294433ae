// SPDX-License-Identifier: MIT
//
// The library's lifecycle: the order in which everything starts and stops.

#include "ztbinit.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "ztbb10.h"
#include "ztbconfigoptions_p.h"
#include "ztbdir.h"
#include "ztbinit_p.h"
#include "ztbmempool_p.h"
#include "ztbstartup.h"
#include "ztbstartup_p.h"
#include "ztlog11.h"
#include "ztmsg13.h"
#include "ztsfio12.h"
#include "ztssys11.h"

namespace {

constexpr std::size_t kMaxPathBytes = 260;

struct ShutdownHandlerRecord {
  void (*handler)(void*);
  void* argument;
  ShutdownHandlerRecord* next;
};

// What a failed start has to take back.
struct Progress {
  bool poolStarted = false;
};

constinit std::int32_t nestingCount = 0;
constinit char executableDir[kMaxPathBytes + 1] = {};
constinit char initErrorText[256] = {};
constinit bool messageLocationDerived = false;
constinit ZtLock globalLock = nullptr;
constinit ZtLock singletonLock = nullptr;
constinit ShutdownHandlerRecord* shutdownHandlers = nullptr;

bool refuse(char const* text) {
  std::snprintf(initErrorText, sizeof initErrorText, "%s", text);
  return false;
}

bool findExecutableDir(char const* executablePath) {
  char const* const path = executablePath != nullptr ? executablePath : "";
  if (std::strlen(path) > kMaxPathBytes) {
    return refuse("Executable path exceeds maximum path length.");
  }
  char name[kMaxPathBytes];
  executableDir[0] = '\0';
  np_fio_pparse(path, executableDir, sizeof executableDir, name, sizeof name);
  return executableDir[0] != '\0' || refuse("Path to executable could not be determined.");
}

void destroyLock(ZtLock& lock) {
  ztLockDestroy(lock);
  lock = nullptr;
}

bool startAll(char const* executablePath, Progress& progress) {
  if (!findExecutableDir(executablePath)) return false;
  if (ztbbInitialize(executablePath, initErrorText, sizeof initErrorText) != 0) return false;
  if (ztlogInitialize() != 0) return refuse("Failed to initialize logging.");
  globalLock = ztLockCreate(0, 0);
  if (globalLock == nullptr) return refuse("Failed to create global mutex");
  singletonLock = ztLockCreate(0, 0);
  if (singletonLock == nullptr) return refuse("Failed to create singleton mutex");
  progress.poolStarted = ztbMemPoolStart();
  if (!progress.poolStarted) return refuse("Failed to initialize ZT mem pool");
  return ztbConfigOptionsStart() || refuse("Failed to create config options");
}

int undoStart(Progress const& progress, char const** errorMessage) {
  --nestingCount;
  if (progress.poolStarted) ztbMemPoolStop();
  destroyLock(globalLock);
  destroyLock(singletonLock);
  ztbbTerminate();
  if (errorMessage != nullptr) *errorMessage = initErrorText;
  return 1;
}

void deriveMessageLocation() {
  char value[kMaxPathBytes];
  // A value too long for the buffer is somebody's value all the same.
  int const found = np_env_get("MARLOVEN_ERROR_LOCATION", value, sizeof value);
  if (found == np_env_too_long || value[0] != '\0') return;
  np_env_get("ZTEXEC_HOME", value, sizeof value);
  if (value[0] == '\0') return;
  ZtbString const share = ztbConcatPath(ZtbString(value, true), ZtbString("share", true));
  ZtbString const location = ztbConcatPath(share, ZtbString("msg", true));
  // Without memory the variable is left to ztbStartup, rather than set to half a path.
  if (share.isNull() || location.isNull()) return;
  np_env_set("MARLOVEN_ERROR_LOCATION", location.asCstr());
  messageLocationDerived = true;
}

}  // namespace

int ztbInitialize(char const* executablePath, char const** errorMessage) {
  if (++nestingCount > 1) return 0;
  Progress progress;
  if (!startAll(executablePath, progress)) return undoStart(progress, errorMessage);
  deriveMessageLocation();
  ztbStartupSetUserPath("");
  return 0;
}

void ztbRegisterShutdownHandler(void (*handler)(void*), void* argument) {
  if (handler == nullptr) return;
  ZtbGlobalHold const hold;
  auto* const record =
      new (std::nothrow) ShutdownHandlerRecord{handler, argument, shutdownHandlers};
  if (record != nullptr) shutdownHandlers = record;
}

void ztbShutdown(void) {
  if (nestingCount == 0) return;
  if (--nestingCount != 0) return;
  ztbDependencyShutdown();
  for (auto* record = shutdownHandlers; record != nullptr; record = record->next) {
    record->handler(record->argument);
  }
  ztbConfigOptionsStop();
  ztbMemPoolStop();
  ztmsg13_terminate();
  destroyLock(globalLock);
  destroyLock(singletonLock);
  ztbbTerminate();
}

bool ztbIsInitialized() {
  return globalLock != nullptr;
}

void ztbLockGlobal() {
  ztLockGet(globalLock, 1, 1);
}

void ztbUnlockGlobal() {
  ztLockRelease(globalLock);
}

ZtLock ztbSingletonLock() {
  return singletonLock;
}

char const* ztbExecutableDir() {
  return executableDir;
}

bool ztbMessageLocationDerived() {
  return messageLocationDerived;
}
