// SPDX-License-Identifier: MIT
//
// Type detection: which kind of value a text holds, for callers that are handed texts without
// types, such as the cells of a text file. It's a cheap scan by a few rules and not a parser: it
// tells what a text looks like, and whoever converts it finds out whether it really is such a
// value. So "12e" counts as an integer though it's no number, and a text of 80 digits does though
// no integer type holds it. What looks like text is text in any case.
//
// The library must be up. The function keeps nothing and may be called from any thread.

#ifndef ZTBDETERMINETYPE_H
#define ZTBDETERMINETYPE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// What a text holds. Numbers are frozen.
enum determinedType : int {
  determinedBoolean = 0,  // one of the six boolean words
  determinedInteger = 1,  // a number without a point
  determinedReal = 2,     // a number with a point
  determinedDate = 3,     // a date, a time, or both
  determinedString = 4    // anything else, also an empty text and null
};

// The type of `text`. Never fails. The first of these rules that fits decides:
//
// 1. Boolean: "yes", "no", "true", "false", "y" or "n", in any case, and nothing around it.
// 2. Date: a text that ZtbDate reads, unless it consists of white space, digits and a point alone:
//    "20010203" is an integer. Numeric dates are read in the order of the process locale. As a time
//    without a date lies on 1970-01-01, its date is complete, and every time is a date: "19:05:06",
//    and also "12:00" and "00:00:00". (A platform that left the year, month or day of such a text 0
//    would have to tell an hour, a minute and a second other than 0.)
// 3. Integer or real: digits "0" to "9", at least one, with
//      - at most one exponent letter "E" or "e", directly behind a digit,
//      - "+" or "-" at the very start and directly behind the exponent letter, nowhere else,
//      - at most one point, which alone makes the difference: with it the number is real, without
//        it an integer, whatever the exponent,
//      - blanks anywhere ("1 000 000" is an integer), but a sign behind a blank isn't at the start,
//        and no other white space, not even at the ends.
// 4. String: everything else. Ill-formed UTF-8 and digits of other scripts make a text a string,
//    as no conversion of the library reads them as numbers.
//
//   determineType(ZtbString("1.5E3", true))       // determinedReal
//   determineType(ZtbString("15E2", true))        // determinedInteger
//   determineType(ZtbString("3 Feb 1989", true))  // determinedDate
//   determineType(ZtbString("3 apples", true))    // determinedString
//
// Cost: a pass or two over the text and no allocation; a text that is neither number nor date is
// mostly left at the first character that shows it.
ZTB_API determinedType determineType(ZtbString text);

#endif
