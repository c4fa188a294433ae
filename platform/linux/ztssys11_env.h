// SPDX-License-Identifier: MIT
//
// What the parts of the system layer share: the lock of the environment, and texts into buffers.

#ifndef ZTSSYS11_ENV_H
#define ZTSSYS11_ENV_H

#include "ztbb10.h"

// The lock under which this layer reads (shared) and changes (exclusive) the environment. It must
// be held around every call of the C library that looks at a variable (getenv, tzset, newlocale).
// Null on a system that can't create one; then nothing is guarded.
ZtLock npEnvironmentLock();

// Copies `text` into a buffer of `size` bytes that takes all of it or the empty text; false if it
// doesn't fit.
bool npTextDeliver(char const* text, char* buffer, unsigned size);

#endif
