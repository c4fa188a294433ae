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
// included: no lock is held, and what it changes doesn't show in this walk. Visits nothing if there
// is no memory for the copy.
void np_env_walk(void (*visit)(void* context, char const* entry), void* context);

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

// --- Processes ---

struct NpProcess;

// Bits of the flags word of a start. Frozen.
enum NpProcessFlags : int {
  np_proc_output = 4,        // standard output and error output go to `outputFile`
  np_proc_environment = 32,  // `environment` is the program's environment
  np_proc_base = 128,        // part of every word
};

// How a program is started. Four words.
struct NpProcessStart {
  std::uintptr_t reserved0;  // 0
  std::uintptr_t reserved1;  // 0
  char const* outputFile;    // null without np_proc_output
  char** environment;        // ends in a null pointer; null without np_proc_environment
};

// What np_proc_wait tells. Frozen.
enum NpProcessStatus : int {
  np_proc_ended = 0,    // it has ended; the code is its exit code
  np_proc_running = 1,  // the limit was reached first
  np_proc_aborted = 3,  // a signal ended it; the code is the signal's number
};

int np_proc_shellexec(char const* commandLine, int flags, NpProcessStart const* start,
                      NpProcess** result);
int np_proc_execute(char const** argv, int flags, NpProcessStart const* start, NpProcess** result);
int np_proc_wait(NpProcess* process, int waitLimit, int* status, int* code);
char const* np_proc_geterr(NpProcess* process);
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
