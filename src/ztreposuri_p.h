// SPDX-License-Identifier: MIT
//
// The parser of repository URIs, for the factory of all URIs.

#ifndef ZTREPOSURI_P_H
#define ZTREPOSURI_P_H

#include "ztreposuri.h"

// A new URI from its text, which begins with "ztr://". Never null.
ZtURI* parseReposURI(ZtbString const& text);

#endif
