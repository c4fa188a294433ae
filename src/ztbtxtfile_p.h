// SPDX-License-Identifier: MIT
//
// What the library itself asks a text file.

#ifndef ZTBTXTFILE_P_H
#define ZTBTXTFILE_P_H

#include "ztbtxtfile.h"

// Whether the last `open` or `readln` that failed did so for lack of memory, and not of the file.
bool ztbTxtFileLacksMemory(ZtbTxtFile const& file);

#endif
