// SPDX-License-Identifier: MIT
//
// Type detection: which kind of value a text holds.

#ifndef ZTBDETERMINETYPE_H
#define ZTBDETERMINETYPE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// Numbers are frozen.
enum determinedType : int {
  determinedBoolean = 0,
  determinedInteger = 1,
  determinedReal = 2,
  determinedDate = 3,
  determinedString = 4
};

ZTB_API determinedType determineType(ZtbString text);

#endif
