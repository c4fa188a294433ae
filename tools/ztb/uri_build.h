// SPDX-License-Identifier: MIT
//
// ztb uri build: the half of "ztb uri" that makes URIs.

#ifndef ZTB_URI_BUILD_H
#define ZTB_URI_BUILD_H

#include "tool.h"

namespace tool {

Run declareUriBuild(CLI::App& app);

}  // namespace tool

#endif
