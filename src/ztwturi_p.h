// SPDX-License-Identifier: MIT
//
// The parser of work-table URIs, for the factory of all URIs.

#ifndef ZTWTURI_P_H
#define ZTWTURI_P_H

#include "ztwturi.h"

// A new URI from its text, which begins with "ztwt://". Null if a column is refused, with a report
// to the logger ZT.Base.URI.WorkTable, and when memory runs out.
ZtURI* parseWorkTableURI(ZtbString const& text);

#endif
