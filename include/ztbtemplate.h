// SPDX-License-Identifier: MIT
//
// Templates: a text with named variables, expanded with values that a callback gives. There are no
// expressions, no conditions and no loops.
//
//   {name}   a variable
//   [name]   a variable with the mark `bracketed`, which the caller gives a meaning; it expands in
//            the same way
//   {{ [[    a literal "{", "["
//   }} ]]    a literal "}", "]"; a single closing bracket outside a variable is an error
//   else     literal text, byte by byte, ill-formed UTF-8 included
//
// A name reaches to the next closing bracket of its kind. It isn't empty and holds neither white
// space (Unicode White_Space, so U+00A0 and U+3000 too) nor a further opening bracket of its kind;
// the other kind is allowed, so "{a]b}" is the variable "a]b". Each name stands once in a template,
// compared as ZtbString compares without regard to case. docs/templates.md has the whole grammar.
//
// Errors. Each operation with an `error`, which must not be null, sets it null when it succeeds,
// and otherwise to a message of the group "Base Services", or to "Out of memory" where the message
// finds no memory either: after a failure it is never null, but for a callback that gives no
// reason. Texts are strings, which end at a NUL, so a template can't hold one.
//
// Exceptions. The library throws none, also when memory runs out: that is message 444. One that the
// callback throws goes through `expand` to its caller; the variable counts as not fetched, and the
// template stays usable.
//
// Threads. A template is for one thread at a time, reading included: getVariable may order the
// variables. The callback runs on the thread that called `expand`.
//
// Cost. `parse` and `expand` take time in the length of the text, and the same time for each
// variable however many there are and whoever chose their names. The first getVariable after a
// parse orders the variables by their names; each further one takes constant time.
//
// Log. At level 2, each expansion tells its steps, with the values: to
// "ZT.Base.Template.TokenConstant" and "ZT.Base.Template.TokenVariable".

#ifndef ZTBTEMPLATE_H
#define ZTBTEMPLATE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Implemented by the caller: where the values of a template's variables come from.
//
//   class Fields final : public ZtbTemplateValueCB {
//    public:
//     bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) override {
//       auto const field = mFields.find(name.asCstr());
//       if (field == mFields.end()) {
//         error->assign("no such field");
//         return false;
//       }
//       value->assign(field->second.c_str());
//       return true;
//     }
//     ...
//   };
class ZTB_API ZtbTemplateValueCB {
 public:
  // Puts the value of the variable `name`, which is spelled as in the template, into `value`, and
  // gives true; what it leaves in `error` is then dropped. A `value` left null expands to nothing.
  // One in the static form must outlive the template's next parse and what was expanded from it.
  //
  // False makes the expansion fail with what is in `error`, so put a reason there: without one, the
  // caller of `expand` can't tell a failure from an empty result. Neither pointer is null, and both
  // strings are null at first; but a call that fails leaves to the next one what it put into
  // `value`.
  //
  // It may ask the template that is being expanded for its variables, but must not parse, expand or
  // release it.
  virtual bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) = 0;

 protected:
  // Not virtual, so that getValue has the first slot: a callback isn't deleted through this class.
  ~ZtbTemplateValueCB() = default;
};

// The operations' slots stand in this order, with nothing in front.
class ZTB_API ZtbTemplate {
 public:
  // For the library's own templates: there is no data, so nothing is copied.
  ZtbTemplate();
  ZtbTemplate(ZtbTemplate const& other);

  // The name of the variable at `index`, as the template spells it. Variables are counted from 0 in
  // the order of their names without regard to case, not in that of the text. `*bracketed`, which
  // must not be null, tells whether it is written with square brackets.
  //
  // A null string with message 1420 for an index below 0 or from getVariableCount on; `*bracketed`
  // is then untouched.
  virtual ZtbString getVariable(int index, bool* bracketed, ZtbString* error) = 0;

  // The number of variables; 0 before the first parse.
  virtual int getVariableCount() = 0;

  // Ends the template, which must not be used any more.
  virtual void release() = 0;

  // The text with all values in it. The callback is asked for each value once, in the order of the
  // text; its answers stand until the next parse, while a value that it refused is asked for again
  // by the next expand. A text without tokens gives a null string, and so may one whose values are
  // all null.
  //
  // A null string, with the callback's own text in `error`, when it refuses a value, and with
  // message 444 when memory ran out. So it is `error` that tells a failure from an empty result.
  virtual ZtbString expand(ZtbString* error) = 0;

  // Forgets what the template holds, reads `text` and gives true. Null and empty are a text without
  // tokens; a text in the static form must outlive the call only. Otherwise false with one of these
  // messages:
  //   1758  a single closing bracket: which one was expected again, what stands there, line, 1
  //   1760  an opening bracket or white space in a name: the variable's opening bracket, line, 1
  //   1763  an empty name: line, 1
  //   1666  a variable stands twice: its name, as the second one spells it
  //   1759  the text ends inside a variable or behind a single bracket: what was expected
  //   444   memory ran out
  // Lines are counted from 1, by line feeds; the column is always given as 1.
  //
  // After a failure the template holds nothing, except where the failure was at the end of the text
  // (1759, or 444 for what stands behind the last bracket): it then holds the variables and the
  // text so far, which expand and getVariable still give.
  virtual bool parse(ZtbString const& text, ZtbString* error) = 0;

 protected:
  // Templates end by release.
  ~ZtbTemplate() = default;
};

// A template that holds nothing yet. Belongs to the caller, who ends it with release. `callback`
// isn't owned and must outlive it; if it is null, every variable expands to nothing. Null with
// message 444 when memory ran out.
//
//   ZtbTemplate* letter = ztbCreateBasicTemplate(&fields, &error);
//   if (letter && letter->parse(ZtbString("Dear {name}, ...", true), &error)) {
//     ZtbString text = letter->expand(&error);
//     if (error.isNull()) send(text);
//   }
//   if (letter) letter->release();
ZTB_API ZtbTemplate* ztbCreateBasicTemplate(ZtbTemplateValueCB* callback, ZtbString* error);

#endif
