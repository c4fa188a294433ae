// SPDX-License-Identifier: MIT
#ifndef ZTBMESSAGE_H
#define ZTBMESSAGE_H

#include "ztbdefs.h"
#include "ztbstring.h"

ZTB_API ZtbString ztb_get_message(char const* source, int line, char const* group, int number, ...);
ZTB_API ZtbString ztb_get_fragment(int number, ...);

#endif
