// SPDX-License-Identifier: MIT
//
// The vocabulary of the tests of URIs: texts, and URIs that are released when the test ends.

#ifndef URITEST_H
#define URITEST_H

#include <memory>
#include <string>

#include "zturi.h"

namespace uritest {

struct Release {
  void operator()(ZtURI* uri) const { uri->release(); }
};
template <class Interface>
using Owned = std::unique_ptr<Interface, Release>;

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
