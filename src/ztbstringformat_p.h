// SPDX-License-Identifier: MIT
//
// Formatting for texts that name something: a path or a URI that lacks a part would name another.

#ifndef ZTBSTRINGFORMAT_P_H
#define ZTBSTRINGFORMAT_P_H

#include "ztbstringformat.h"

// As ztbStringFormat; null when memory ran out for a part of the text.
ZtbString ztbWholeFormat(char const* format, ...);

#endif
