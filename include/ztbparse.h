// SPDX-License-Identifier: MIT
//
// Attributes: a text of the form name=value;name=value.
//
//   ZtbParse attributes;
//   attributes.parse(text);                                      // "user=kim; path=a%3Bb"
//   for (int i = 0; attributes.getAttribute(i, &name, &value); ++i) use(name, value);
//
// The text is cut at every ";": there is no quoting, and brackets don't protect one. A value holds
// a semicolon as its escape "%3B". A piece of no bytes is skipped. Any other is trimmed on both
// sides (Unicode White_Space) and has its escapes undone, as by getUnEscapeStringFromURI; a piece
// of white space alone gives an empty attribute.
//
// An attribute is cut at its first "=" that stands in no brackets, once its escapes are undone, so
// "%3D" cuts like "=". "(" and ")" count one depth up and down, "{" and "}" another, and an "="
// cuts where both depths are 0. A closing bracket that nothing opened makes its depth negative, and
// no "=" cuts until an opening one makes it 0 again.
//
// One object belongs to one thread at a time. Nothing throws. Should memory run out, the attributes
// end there, or getAttribute gives null texts.

#ifndef ZTBPARSE_H
#define ZTBPARSE_H

#include <vector>

#include "ztbdefs.h"
#include "ztbstring.h"

// The attributes of one text, by their index.
class ZTB_API ZtbParse {
 public:
  // Without attributes, and with a null error message.
  ZtbParse();

  // Copies are deep: neither object sees what is done to the other.
  ZtbParse(ZtbParse const& other);
  ZtbParse& operator=(ZtbParse const& other);

  // Frees the attributes; the strings that were given stay.
  ~ZtbParse();

  // Replaces the attributes by those of `text` and makes the error message null. Always true: every
  // text is one of attributes, and an empty or null one, or one of semicolons, has none. Linear in
  // the text.
  bool parse(ZtbString const& text);

  // The attributes of the last text; 0 before the first.
  int getAttributeCount() const;

  // Gives the attribute at `index`, from 0 on, in the order of the text:
  //
  //   attribute     *name     *value
  //   a = b         "a"       " b"       the name is trimmed, the value isn't
  //   a=            "a"       null
  //   =b            null      "b"
  //   =             null      null
  //   b             null      "b"        "" for the empty attribute
  //   f(x=1)=b=c    "f(x=1)"  "b=c"
  //
  // False with both null for an index out of range, with the message "Invalid index in array".
  // Neither pointer may be null.
  bool getAttribute(int index, ZtbString* name, ZtbString* value);

  // The message of the last getAttribute that failed since the last `parse`, or null.
  ZtbString getErrorMessage() const;

 private:
  ZtbString errorMessage;
  ZtbString parseText;
  std::vector<ZtbString>* attributes;
};

#endif
