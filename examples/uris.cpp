// SPDX-License-Identifier: MIT
//
// URIs: what a text holds, the folders above an object, and a work table that grows.
//
//   ZTEXEC_HOME=HOME ./uris

#include <ztbinit.h>
#include <ztbstartup.h>
#include <ztdatauri.h>
#include <ztreposuri.h>
#include <ztwturi.h>

#include <cstdio>
#include <initializer_list>

namespace {

void showPlace(ZtbString const& text) {
  ZtURI* const uri = getURIFromURIString(text);
  if (uri == nullptr) return;
  if (ZtDataURI* const data = uri->asDataURI()) {
    std::printf("%s of the source %s\n", data->getPart4().asCstr(), data->getSource().asCstr());
  }
  uri->release();
}

void walkUp() {
  ZtbString const repository("sales", true), path("2026/orders", true), type("Table", true);
  ZtReposURI* uri = getReposURIFromComponents(repository, path, type);
  while (uri != nullptr) {
    std::printf("%s\n", uri->getURIString().asCstr());
    ZtReposURI* const parent = uri->getParentFolder();
    uri->release();
    uri = parent;
  }
}

void growATable() {
  ZtWorkTableURI* const table = getWorkTableURIFromComponents(ZtbString("orders", true), 0, 100);
  ZtbString const name("id", true);
  ZtbString reason;
  for (char const* const value : {"seven", "7"}) {
    bool const isAdded = table->addColumn(name, ZtbString(value, true), ztbTypeInteger, &reason);
    if (!isAdded) std::printf("%s\n", reason.asCstr());
  }
  std::printf("%s\n", table->getURIString().asCstr());
  table->release();
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0 || ztbStartup(&error) != 0) {
    std::fprintf(stderr, "uris: %s\n", error);
    ztbShutdown();
    return 1;
  }
  showPlace(ZtbString("ztd://erp.ODBC/db/dbo/orders/id", true));
  walkUp();
  growATable();
  ztbShutdown();
  return 0;
}
