// SPDX-License-Identifier: MIT
//
// A small formatter that builds a ZtbString of any length, and unique identifiers. There are no
// widths, no flags, no precision and no positional arguments. Both functions may be called from any
// thread.

#ifndef ZTBSTRINGFORMAT_H
#define ZTBSTRINGFORMAT_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The text of `format` with its directives replaced by the arguments, in their order:
//
//   directive     argument           what it gives
//   %%            none               a percent sign
//   %s            char const*        the text; nothing for a null pointer
//   %S            ZtbString const*   the string, passed by its address; nothing for a null string
//                                    or a null pointer
//   %d            int                decimal
//   %ld %li       int                decimal
//   %lu           unsigned int       decimal
//   %lld %lli     __int64            decimal; further l's change nothing
//   %llu          unsigned __int64   decimal; further l's change nothing
//   %I64i         __int64            decimal
//   %I64u         unsigned __int64   decimal
//   %g            double             up to 15 significant digits, with a "." in every locale
//
// Note that one `l` means 32 bits. Everything else takes no argument and is copied: "%x" and "%5d"
// come out as they stand, "%lx" and "%llx" both as "%lx". A "%I" that begins neither %I64i nor
// %I64u gives a percent sign, and what stands behind it is read like the rest of the format. A "%",
// "%l" or "%ll" that ends the format gives "%", "%l" and "%l".
//
// Null for an empty or null format, and if nothing but null strings of %S was added; a lone %S
// gives the string in the form that it has, so a static one stays static. A part that memory
// doesn't reach for is left out without a report: who needs the whole text appends its parts and
// looks at `failed`. The cost is linear in the result.
//   ztbStringFormat("%s: %d of %S", file, count, &total)
ZTB_API ZtbString ztbStringFormat(char const* format, ...);

// A text of at most 19 characters that no other call gives: not in this process, not in another one
// of this machine, not after the next boot. Null when memory ran out.
ZTB_API ZtbString ztbGetUUID();

#endif
