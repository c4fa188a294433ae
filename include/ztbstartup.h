// SPDX-License-Identifier: MIT
//
// Start-up: from a library that is up to a process that is configured.
//
// ztbStartup fills the option store with the empty name (see ztbconfigoptions.h) from these
// sources, each stronger than the ones before it; ETC is the folder `etc` below the home, which
// ZTEXEC_HOME names, and USER the folder of ztbStartupSetUserPath:
//
//   1. ETC/app.cfg, then USER/app.cfg
//   2. the files of ztbStartupAddConfigFile in their order, each from ETC and then from USER
//   3. the files *.cfg (in any case) of BASE/MACROS_PATH (or else ETC/macros), then of USER/macros
//   4. ETC/macros.cfg, then USER/macros.cfg
//   5. the environment
//   6. the options of ztbStartupAddOption
//
// It then derives what nobody set (BASE/TEMP, BASE/MESSAGE_PATH, BASE/PLUGIN_PATH, BASE/EXE_PATH,
// BASE/LIBRARY_PATH, BASE/REPOS_USER_PATH, BASE/REPOS_SYS_PATH, and before the macros
// BASE/MACROS_PATH), always sets TEMP and ZTEXEC_HOME, opens the message database, configures
// logging and starts the dependency library ztbdeps31: that of BASE/PLUGIN_PATH, which is the
// program's folder unless somebody set it; where nobody did and none lies there, the one that is
// installed with the library. ZTEXEC_HOME has at most 259 bytes; a longer one counts as not set.
//
// Threads: the operations that queue input and ztbStartup may be called from any thread while the
// library is up; one lock orders them. The dependency library's start, and its stop when a second
// ztbStartup replaces it, run with that lock held and must not call back into them, nor into
// ztbRegisterShutdownHandler.

#ifndef ZTBSTARTUP_H
#define ZTBSTARTUP_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Runs the sequence above, once after ztbInitialize. 0 on success, with `*errorMessage` untouched.
// 1 on failure, with `*errorMessage` (if the pointer isn't null) set to the reason, in a static
// buffer that the next failure overwrites. When the library isn't up, the text is that of the
// start-up that failed before, at first empty. What was done until then stays done: the caller is
// expected to give up and to call ztbShutdown, which it still owes.
//
// A second call applies everything again, over what is in the store, and stops and unloads the
// dependency library before it loads it anew.
//
// Missing files, missing folders and lines without "=" are no failure, and a file that can't be
// read counts as missing. A missing home, lack of memory for an option or to read a file, an
// unusable message database, a logging file that is missing, empty or wrong, and a dependency
// library that can't be loaded or started are.
ZTB_API int ztbStartup(char const** errorMessage);

// Queues a configuration file: a path relative to ETC and USER, or an absolute path, which is read
// as it is (once for each of the two). A file queued twice is read twice. The queue is the store
// ".@=Files=@.", keeps 9999 files apart (later ones take the places of earlier ones), and lives
// until ztbShutdown or ztbClearConfigOptions of that name. A null pointer is queued as a null
// string, which names no file. Gives 0 and sets `*errorMessage` (if the pointer isn't null) to
// null, also when memory ran out or the library isn't up; nothing is queued then.
ZTB_API int ztbStartupAddConfigFile(char const* path, char const** errorMessage);

// Queues an option that overrides every other source. Queued again under the same name, the last
// value counts. The queue is the store ".@=CommandArgs=@." and lives as long. Null texts
// count as null strings. The result and `*errorMessage` are as for a file.
ZTB_API int ztbStartupAddOption(char const* name, char const* value, char const** errorMessage);

// Sets the user folder; an empty text or a null pointer means none. At most 259 bytes are kept, cut
// at a character's border. Every outermost ztbInitialize begins without a user folder.
ZTB_API void ztbStartupSetUserPath(char const* path);

// The user folder, in a static buffer; an empty text if there is none. Reads without the lock: not
// beside ztbStartupSetUserPath.
ZTB_API char const* ztbStartupGetUserPath();

// Where the value of an option of the main store came from: "PATH:LINE" for a configuration file,
// "the environment", "the command" (ztbStartupAddOption), "derived by start-up", or "the
// application" for one that was set through setOption. Null for a key that isn't there. A value
// that start-up derives, but finds in place already, keeps its origin. Any thread.
ZTB_API ZtbString ztbStartupGetOptionOrigin(ZtbString const& key);

#endif
