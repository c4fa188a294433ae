// SPDX-License-Identifier: MIT
//
// Attributes: a text of the form name=value;name=value.

#ifndef ZTBPARSE_H
#define ZTBPARSE_H

#include <vector>

#include "ztbdefs.h"
#include "ztbstring.h"

class ZTB_API ZtbParse {
 public:
  ZtbParse();
  ZtbParse(ZtbParse const& other);
  ~ZtbParse();
  ZtbParse& operator=(ZtbParse const& other);

  bool parse(ZtbString const& text);
  int getAttributeCount() const;
  bool getAttribute(int index, ZtbString* name, ZtbString* value);
  ZtbString getErrorMessage() const;

 private:
  ZtbString errorMessage;
  ZtbString parseText;
  std::vector<ZtbString>* attributes;
};

#endif
