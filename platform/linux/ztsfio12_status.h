// SPDX-License-Identifier: MIT
//
// How the system's account of a file becomes ours.

#ifndef ZTSFIO12_STATUS_H
#define ZTSFIO12_STATUS_H

#include <sys/stat.h>

#include "ztsfio12.h"

// The type for the file-type bits of a mode.
NpFileType npFileType(mode_t mode);

NpStatus npStatus(struct stat const& status);

#endif
