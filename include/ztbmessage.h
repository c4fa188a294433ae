// SPDX-License-Identifier: MIT
//
// Error texts from the message database, in the language that the process was set up for.
//
// A message is named by its group ("Base Services", "Event Plugin") and its number. The texts lie
// in catalogs below share/msg of the home, one for each locale; docs/messages.md describes them.
// ztbStartup opens the database; three environment variables, or the options that set them, say
// where it is and how it speaks:
//
// - MARLOVEN_ERROR_LOCATION, or BASE/MESSAGE_PATH: the folder of the catalogs.
// - MARLOVEN_ERROR_LOCALE, or BASE/MESSAGE_LOCALE: the locale, such as "de_DE"; English if there is
//   no catalog for it.
// - MARLOVEN_ERROR_LEVEL, or BASE/MESSAGE_LEVEL: 0 gives the text, 1 adds group and number, 2 adds
//   source and line too.
//
// Both functions may be called from any thread. A text has at most 2047 bytes; a longer one is cut
// at the border of a character.

#ifndef ZTBMESSAGE_H
#define ZTBMESSAGE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The text of a message with its arguments filled in. `source` and `line` say where it was raised;
// `source` is the name of a source file without its extension. Null for `source` or `group` counts
// as empty.
//
// The arguments behind `number` must be those that the message is declared with: a `char const*`
// for each text (null counts as empty), an `int` for each number. They are checked against the
// catalog's text, never against the call.
//
// Never fails. Without a text, that is before ztbStartup, or if the catalog has none that fits the
// arguments, the result names group, number and arguments in English. A number that isn't declared
// has a text only if that needs no arguments; arguments passed with it are ignored. When memory
// runs out the result is "Out of memory"; while the library is down it is a null string.
//
//   ZtbString text = ztb_get_message("myreader", __LINE__, "Base Services", 1353, path, reason);
ZTB_API ZtbString ztb_get_message(char const* source, int line, char const* group, int number, ...);

// The text of a fragment, a piece of text without group or source, in the same way. The level adds
// nothing to it.
ZTB_API ZtbString ztb_get_fragment(int number, ...);

#endif
