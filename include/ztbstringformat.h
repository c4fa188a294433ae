// SPDX-License-Identifier: MIT
#ifndef ZTBSTRINGFORMAT_H
#define ZTBSTRINGFORMAT_H

#include "ztbdefs.h"
#include "ztbstring.h"

ZTB_API ZtbString ztbStringFormat(char const* format, ...);
ZTB_API ZtbString ztbGetUUID();

#endif
