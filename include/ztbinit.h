// SPDX-License-Identifier: MIT
//
// The library's lifecycle: up, down, and what runs on the way down.
//
// A process calls ztbInitialize with the path of its executable, may give configuration input (see
// ztbstartup.h), calls ztbStartup, works, and calls ztbShutdown as often as it called
// ztbInitialize. Only the outermost pair does any work, so several components of one process can
// each bring the library up:
//
//   char const* error = nullptr;
//   if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
//     std::fprintf(stderr, "%s\n", error);
//     ztbShutdown();
//     return 2;
//   }
//
// Threads: ztbInitialize and ztbShutdown count without a lock. Call them from one thread at a time,
// and not beside other calls into the library. ztbRegisterShutdownHandler may be called from any
// thread while the library is up.
//
// Nothing happens when the library is loaded: no static constructor of its own does any work. Once
// loaded it stays until the process ends; dlclose doesn't unload it. After a fork in a process with
// threads, the library goes on working in the child.

#ifndef ZTBINIT_H
#define ZTBINIT_H

#include "ztbdefs.h"

// Brings the library up, or only counts if it is up (the arguments are ignored then).
//
// `executablePath` is at most 260 bytes and has a folder part, as "/opt/suite/bin/server" or
// "./server"; a bare file name and a null pointer are refused. (argv[0] is bare in a program
// started through PATH; the target of /proc/self/exe never is.) The folder becomes the default of
// BASE/PLUGIN_PATH and BASE/EXE_PATH. If MARLOVEN_ERROR_LOCATION is unset or empty and ZTEXEC_HOME
// is neither, the former is set to share/msg below the latter. A user path that was set before
// is forgotten.
//
// 0 on success. 1 on failure: the library is as down as before, and `*errorMessage` (if the pointer
// isn't null) is the reason, in a static buffer that stays good until the next failure. On success
// `*errorMessage` is untouched.
ZTB_API int ztbInitialize(char const* executablePath, char const** errorMessage);

// Has `handler(argument)` called by the outermost ztbShutdown, after the dependency library has
// gone, while option stores, memory pool, messages and logging still work, and with none of the
// library's locks held. The handler registered last is called first; one registered twice is called
// twice. Registrations are never removed: they are called again at the end of each later cycle, so
// handler and argument must stay good until the process ends. A handler that is registered while
// handlers run is called in the next cycle only. A handler must not throw, nor bring the library up
// again. A null `handler`, and a registration for which there is no memory, are silently left out.
// Needs the library up.
ZTB_API void ztbRegisterShutdownHandler(void (*handler)(void*), void* argument);

// Ends one ztbInitialize; without one it does nothing. The outermost call stops, in this order: the
// dependency library, the registered handlers, the option stores, the memory pool, the message
// database, the locks. All strings with text of their own must be gone by then or only be
// destroyed afterwards: their memory goes with the pool. The library can be brought up again.
ZTB_API void ztbShutdown(void);

#endif
