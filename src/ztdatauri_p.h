// SPDX-License-Identifier: MIT
//
// The parser of data URIs, for the factory of all URIs.

#ifndef ZTDATAURI_P_H
#define ZTDATAURI_P_H

#include "ztdatauri.h"

// A new URI from its text, which begins with "ztd://" or "ztf://". Never null.
ZtURI* parseDataURI(ZtbString const& text);

#endif
