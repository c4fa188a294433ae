// SPDX-License-Identifier: MIT
//
// Templates: a text with named variables, expanded with values that a callback gives.

#ifndef ZTBTEMPLATE_H
#define ZTBTEMPLATE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Implemented by the caller: where the values of a template's variables come from.
class ZTB_API ZtbTemplateValueCB {
 public:
  virtual bool getValue(ZtbString const& name, ZtbString* value, ZtbString* error) = 0;

 protected:
  ~ZtbTemplateValueCB() = default;
};

class ZTB_API ZtbTemplate {
 public:
  ZtbTemplate();
  ZtbTemplate(ZtbTemplate const& other);

  virtual ZtbString getVariable(int index, bool* bracketed, ZtbString* error) = 0;
  virtual int getVariableCount() = 0;
  virtual void release() = 0;
  virtual ZtbString expand(ZtbString* error) = 0;
  virtual bool parse(ZtbString const& text, ZtbString* error) = 0;

 protected:
  ~ZtbTemplate() = default;
};

ZTB_API ZtbTemplate* ztbCreateBasicTemplate(ZtbTemplateValueCB* callback, ZtbString* error);

#endif
