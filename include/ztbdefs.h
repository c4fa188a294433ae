// SPDX-License-Identifier: MIT
//
// Definitions that every public header shares. Compiles as C++17 and later.

#ifndef ZTBDEFS_H
#define ZTBDEFS_H

// Marks what the shared library exports.
#define ZTB_API __attribute__((visibility("default")))

// Takes a private part of an exported class out of what the shared library exports.
#define ZTB_LOCAL __attribute__((visibility("hidden")))

// A signed 64-bit integer in every interface. A macro, so that `unsigned __int64` works too.
#define __int64 long long

#endif
