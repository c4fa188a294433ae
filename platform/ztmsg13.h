// SPDX-License-Identifier: MIT
//
// The message database: the texts of the library's error messages by group and number, in the
// language that the process was set up for.
//
// What holds for all functions here:
// - They work at any time: before main, before the database is opened and after it is closed, and
//   while static objects are destroyed. They are safe beside each other from any thread and across
//   fork, opening and closing included. No exception leaves them.
// - Texts are NUL-terminated UTF-8. A buffer named `buffer` has ztmsg13_buffer_size bytes, the
//   terminator among them; it holds a terminated text after every call. A text that doesn't fit is
//   cut at the border of a character. A null buffer is refused.
// - An `int` result is 0 on success, where nothing else is said.
// - Getting a message or a fragment takes no memory from the heap.
//
// The environment is read once, when the database is opened:
//
// - MARLOVEN_ERROR_LOCATION: the folder of the catalogs, with a file LOCALE/messages.cat for each
//   locale.
// - MARLOVEN_ERROR_LOCALE: the locale, such as "de_DE.UTF-8": letters, digits, "_" and "-"; what
//   stands behind a "." or "@" isn't looked at. A name of any other form is refused, so that no
//   file outside the folder is ever read. The catalogs "de_DE", "de" and "en" are tried in this
//   order. Unset or empty: the first of LC_ALL, LC_MESSAGES and LANG that isn't empty takes its
//   place, and there a name of another form means English.
// - MARLOVEN_ERROR_LEVEL: 0, the default: the text. 1: "[group number] " in front of it.
//   2: "[group number, source:line] ". A higher number is as 2, anything else is refused. Fragments
//   have nothing in front of them.
//
// A text's directives are checked against the arguments that ztmsg13_messages.h declares for its
// number: "%s" and "%2$s" for a text, "%d" and "%1$02d" for an int, "%%". A text whose directives
// don't fit, that isn't well-formed UTF-8 or that isn't there is replaced by the default text,
// which names group, number and arguments:
//
//   [Base Services 1353] no text in the message database: "/etc/app.cfg", "Permission denied"
//
// Nobody knows the types of the arguments of a number that isn't declared. Its text is given if it
// has no directives but "%%"; otherwise the default text stands in, without arguments. They are
// never touched.

#ifndef ZTMSG13_H
#define ZTMSG13_H

#include <cstdarg>

inline constexpr unsigned ztmsg13_buffer_size = 2048;

// Opens the database as the variables above say, in place of one that is open. On failure nothing
// is changed: an open database stays open. `*errorText` is then the reason, naming the folder or
// file and the variable, in English; static text, good until the next failure. `errorText` may be
// null.
int ztmsg13_initialize(char const** errorText);

// Closes the database; texts are default texts from then on. Harmless when it isn't open.
void ztmsg13_terminate();

// Writes the fragment `number` as it stands. On failure, that is when the database isn't open or
// has no such fragment that does without arguments, the buffer holds the reason, which names the
// catalog's file if one is open.
int ztmsg13_get_fragment(int number, char* buffer);

// Writes the message with its arguments filled in, or its default text. `arguments` must hold what
// the message's row in ztmsg13_messages.h says; a null text among them counts as empty. Null for
// `source` or `group` counts as empty. Blanks at the end are dropped, so that a catalog's text can
// end in an argument that may be empty. Non-zero if it is the default text.
int ztmsg13_get_vmessage(char const* source, int line, char const* group, int number, char* buffer,
                         va_list arguments);

// The same for a fragment; blanks at its end stay.
int ztmsg13_get_vfragment(int number, char* buffer, va_list arguments);

// Formats as a catalog's text is filled in, whatever the locale: "%s", "%d" and "%i", "%%", with
// positions from 1 to 9 ("%3$d-%1$02d") or in turn, not both in one format; "%d" with a width of up
// to 99, padded with zeros behind a "0". Writes at most `targetSize` bytes with the terminator, cut
// at the border of a UTF-8 character, and gives the bytes written without it. Arguments behind the
// last one named are ignored. -1 with an empty target for a null format, any other directive, or a
// position that is skipped over.
int ztmsg13_util_printf(char* target, unsigned targetSize, char const* format, ...);

#endif
