// SPDX-License-Identifier: MIT
//
// The system: environment, the locale's character set, local time, processes, loadable modules,
// unique text.
//
// What holds for all functions here:
// - Texts are NUL-terminated bytes; a size is in bytes and counts the terminator.
// - A result buffer of `size` bytes either takes the whole text with its terminator, or holds the
//   empty text; a text is never cut. A null buffer or a size of 0 is a buffer that takes nothing.
// - An `int` result is 0 on success.
// - They work at any time, also before the library is up and after it is down, and from any thread.
//   No exception leaves them.

#ifndef ZTSSYS11_H
#define ZTSSYS11_H

#include <cstdint>

// --- Environment ---
//
// Names and values are the bytes that the process has, in no particular character set. The
// functions of this group, np_lcinfo_charset and np_stamp_… are safe beside each other and across
// `fork`. They are not safe beside code outside the library that changes the environment
// with the C library's own functions.

// Results of np_env_get.
enum NpEnvResult : int {
  np_env_found = 0,
  np_env_unset = 1,
  np_env_too_long = 2,
};

// Writes the value of the variable `name` into the buffer. Gives an NpEnvResult: np_env_found with
// the value; np_env_unset with the empty text, also for a null or empty name and for one with "=";
// np_env_too_long with the empty text if the variable is set and the buffer can't take its value,
// so that a path is missing rather than wrong.
int np_env_get(char const* name, char* buffer, unsigned size);

// Sets the variable `name` to a copy of `value`, for this process and those that it starts
// afterwards. An empty value sets the variable to the empty text; a null value removes it. Non-zero
// if the name is null, empty or holds "=", or if there is no memory; nothing is changed then.
int np_env_set(char const* name, char const* value);

// Calls `visit(context, entry)` for each entry of the environment as it stood at the call, in its
// order, as raw bytes of any length ("NAME=value", in a broken environment also without "=").
// The entry is good until `visit` returns. `visit` may call every function here, np_env_set
// included: no lock is held, and what it changes doesn't show in this walk. 0; 1, with nothing
// visited, if there is no memory for the copy.
int np_env_walk(void (*visit)(void* context, char const* entry), void* context);

// --- Locale and local time ---

// Writes the name of the character set of the user's locale, such as "UTF-8" or "ISO-8859-1". The
// locale is named by the first of the variables LC_ALL, LC_CTYPE and LANG that isn't empty; the
// locale that the process has set is neither used nor changed. If the system doesn't know the
// locale, the name is what the variable itself says behind ".", and otherwise that of the "C"
// locale, which is also the answer without any of the variables: "ANSI_X3.4-1968", the registered
// name of ASCII. Non-zero, with the empty text, if the buffer can't take the name.
int np_lcinfo_charset(char* buffer, unsigned size);

// Reads the zone of local time for the whole process: what the variable TZ says now, or else the
// system's zone. Costs a few microseconds where TZ isn't set, as the system's file is looked at.
void np_stamp_zone();

// Turns seconds since 1970-01-01 00:00:00 UTC, of either sign, into the elements of local time:
// the year as it is, the month from 1, the day from 1, hour, minute, and second (60 in a leap
// second where the zone's rules have them). The zone is that of the last np_stamp_zone; without
// one it is read at the first call. Costs some ten nanoseconds. Non-zero, with the outputs
// untouched, if the year doesn't fit an `int`. No output may be null.
int np_stamp_local(long long seconds, int* year, int* month, int* day, int* hour, int* minute,
                   int* second);

// --- Time stamps ---

// A moment or a span of time. The fractions are 0 to 999, also of a negative span: -1 us is -1 s,
// 999 ms and 999 us.
struct ProfileTime {
  std::int64_t seconds;
  std::int16_t milliseconds;
  std::int16_t microseconds;
};

// The present moment, by a clock that starts anywhere and never runs backwards; nobody sets it.
// Fractions of a microsecond are dropped.
void np_stamp_current(ProfileTime* now);

// The span from `b` to `a`, or the difference of two spans, in `*out`, which may be one of them.
void np_stamp_diff(ProfileTime const* a, ProfileTime const* b, ProfileTime* out);

// --- Processes ---
//
// External programs: started, waited for, let go. The parent's memory isn't copied for a start, so
// that its cost doesn't grow with it. What every program is started with:
//
// - Standard input is /dev/null. Standard output and error output are those of this process (a
//   closed one is /dev/null), or both go to one file. No other descriptor is passed on, whether or
//   not it is marked so. It works just as well when this process has closed its standard ones.
// - No signal is blocked, and all have their default action, also where this process ignores them.
// - The current folder, the process group, the limits and the file mask are those of this process.
//
// A handle belongs to the caller, who ends it with np_proc_destroy exactly once, and to one thread
// at a time; different handles may be used side by side. A handle isn't good in a forked child.
// Nothing here ends a program; a wait is for the program itself, and neither for what it has
// started nor for what still has its output file open.
//
// SIGCHLD. A system that is told to ignore this signal (SIG_IGN or SA_NOCLDWAIT) throws exit codes
// away. So while there is a program that was started here and neither its end was seen by
// np_proc_wait nor its handle destroyed, an ignored SIGCHLD is set to its default. With the last
// one it is ignored again, unless somebody has set it since (to its default, too), and all children
// that have ended meanwhile are collected, as the system would have done. A child that is forked in
// between ignores it again from its own first start on. A signal that the process begins to ignore
// in between is found by the next np_proc_wait, but not by one that waits already. An exit code
// that is lost all the same, as to that or a `waitpid(-1)` of the process's own, makes np_proc_wait
// fail with a reason that says so.
//
// A handle that is destroyed while its program runs lets it run. There is no thread that would
// collect it afterwards: each later np_proc_execute, np_proc_shellexec, np_proc_wait and
// np_proc_destroy does so for all that have ended by then, at the cost of a system call for each
// that was let go and still runs. Until then an ended one stays a zombie, and takes a descriptor.

struct NpProcess;

// Bits of the flags word of a start. Frozen.
enum NpProcessFlags : int {
  np_proc_output = 4,        // standard output and error output go to `outputFile`
  np_proc_environment = 32,  // `environment` is the program's environment
  np_proc_base = 128,        // part of every word
};

// How a program is started. Four words. A field whose flag isn't set isn't looked at; one whose
// flag is set must not be null.
//
// The output file is made if need be (mode 0666 less the file mask), and emptied, before the start
// and also if that fails. Output and error output share it in the order of their writes. All goes
// to its end, so that a program that opens it once more, or another one that writes to it,
// overwrites nothing. Opening a pipe waits for its reader.
struct NpProcessStart {
  std::uintptr_t reserved0;  // 0
  std::uintptr_t reserved1;  // 0
  char const* outputFile;    // a path, relative to the current folder
  char** environment;        // entries "NAME=value", a null pointer last: all that the program gets
};

// What np_proc_wait tells. Frozen.
enum NpProcessStatus : int {
  np_proc_ended = 0,    // it has ended; the code is its exit code
  np_proc_running = 1,  // the limit was reached first; the code is 0
  np_proc_aborted = 3,  // a signal ended it; the code is the signal's number
};

// Starts the program `argv[0]` with the arguments `argv`, which ends in a null pointer. A name
// without "/" is looked for in the folders of this process's PATH, also if the program gets an
// environment of its own; without PATH, in the system's standard folders. Nothing goes through a
// shell: no character of an argument has a meaning, and a script needs its "#!" line. `flags` is
// the sum of np_proc_base and what `start` holds; a null `start` holds nothing.
//
// 0 with the running program's handle in `*result`. Otherwise non-zero, with a handle that holds
// the reason, to be destroyed like any other, or with null if there was no memory for one. A
// program that can't be run at all is a failed start: it isn't there, may not be executed, isn't
// for this machine, has too many or too long arguments (on Linux 128 KiB each).
int np_proc_execute(char const** argv, int flags, NpProcessStart const* start, NpProcess** result);

// The same for a command line that "/bin/sh -c" interprets, with all that a shell does to
// characters in it: never put together a line from texts of unknown origin. What goes wrong in the
// line is the shell's to tell, on error output and by its exit code: 127 for a program that isn't
// there, 126 for one that can't be executed, 128 and the number for one that a signal ended. Only
// the shell itself is waited for. An empty line does nothing and ends with 0.
int np_proc_shellexec(char const* commandLine, int flags, NpProcessStart const* start,
                      NpProcess** result);

// Waits until the program has ended, but no longer than `waitLimit` seconds, on the clock that
// nobody sets; 0 only looks, and a negative limit is none. Signals that this process handles don't
// shorten the wait. 0 with an NpProcessStatus and its code. After the end the answer stays the
// same, however often it is asked for.
//
// Non-zero, with the outputs left alone, for a null handle, one whose start failed, and a program
// whose exit code is lost; np_proc_geterr has the reason. No output may be null.
//
// The system's process descriptors (Linux 5.4) wake the wait at once. Without them a wait with a
// limit looks in growing steps of 1 to 50 ms.
int np_proc_wait(NpProcess* process, int waitLimit, int* status, int* code);

// Why the start or the wait failed, with the name of the program (the shell's for a command line)
// and the reason in the system's words: "nosuch: No such file or directory". The empty text if
// nothing has failed; for a null handle a text about memory, for that is how one comes about. Never
// null. Good until the handle is next used.
char const* np_proc_geterr(NpProcess* process);

// Ends a handle, also that of a failed start; a null handle does nothing. A program that still runs
// goes on, and is collected later as told above.
void np_proc_destroy(NpProcess* process);

// --- Loadable modules ---
//
// A handle belongs to the caller, who ends it with np_dso_unload exactly once. One handle may be
// used by several threads as long as none of them unloads it.

struct NpModule;

// Flags of np_dso_load.
enum NpModuleFlags : int {
  // Every symbol that the module needs is resolved at the load, so that one that is missing fails
  // here and not in the middle of the work. Without it, functions are resolved at their first call.
  np_dso_now = 4,
};

// Results of np_dso_load.
enum NpModuleResult : int {
  np_dso_loaded = 0,
  np_dso_failed = 1,   // there is no memory, or no current folder
  np_dso_refused = 3,  // np_dso_loaderr has the reason
};

// Writes the file name of the module with this base name: "ztbdeps31" gives "ztbdeps31.so".
// Non-zero, with the empty text, if the name is null or empty, or the buffer too small.
int np_dso_mkfname(char const* name, char* buffer, unsigned size);

// Writes the path of the module with this file name in the folder of modules that is installed with
// the library: `ztbcpp31` beside the library's own file, with the links to that resolved. The
// module needn't be there. Non-zero, with the empty text, if the name is null or empty, the
// library's file can't be told, or the buffer is too small.
int np_dso_installed(char const* fileName, char* buffer, unsigned size);

// Loads the module in the file `path` into the process and runs its initialisers. A relative path
// counts from the current folder; the system's search path is never used. The module's symbols
// don't serve to resolve those of other modules. A module that is loaded already is loaded once
// more by count only. Gives an NpModuleResult and sets `*handle` in every case: on np_dso_refused
// to a handle that holds the reason, on np_dso_failed to null.
int np_dso_load(char const* path, int flags, NpModule** handle);

// The reason of a failed load, in the system's words with the file's name; null for a loaded module
// and for a null handle. Good until the handle is unloaded.
char const* np_dso_loaderr(NpModule* handle);

// The address of the symbol that the module, or one that it depends on, exports under `name`; null
// if there is none, and for a null name, a null handle or the handle of a failed load.
void* np_dso_getsym(NpModule* handle, char const* name);

// Ends the handle, also that of a failed load; a null handle does nothing. The module leaves the
// process, after its finalisers, with the last handle on it: no address in it may be used then.
void np_dso_unload(NpModule* handle);

// --- Unique text ---

// The buffer that np_uniq_s64 needs.
inline constexpr unsigned np_uniq_size = 20;

// Fills the buffer of np_uniq_size bytes with a text that no other call gives, in this process, in
// any other or after a restart: 96 random bits from the system, in 16 characters of the URL-safe
// base64 alphabet of RFC 4648 (letters, digits, "-", "_"). Nothing is kept between calls, so a
// forked child gives texts of its own. A system that refuses random bytes still gets a unique text,
// though a guessable one: the same form, made of the time in nanoseconds, the process and a count.
void np_uniq_s64(char* buffer);

#endif
