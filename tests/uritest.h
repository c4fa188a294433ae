// SPDX-License-Identifier: MIT
//
// The vocabulary of the tests of URIs: texts, and URIs that are released when the test ends.

#ifndef URITEST_H
#define URITEST_H

#include <string>

#include "ztbtest.h"
#include "zturi.h"

namespace uritest {

using ztbtest::Owned;

inline ZtbString str(std::string const& text) {
  return {text.c_str(), false};
}
inline std::string shown(ZtbString const& text) {
  return text.isNull() ? "(null)" : text.asCstr();
}

// A row of a table: a text, and what it comes to.
struct Row {
  char const* text;
  char const* expected;
};

inline Owned<ZtURI> parsed(std::string const& text) {
  return Owned<ZtURI>(getURIFromURIString(str(text)));
}

}  // namespace uritest

#endif
