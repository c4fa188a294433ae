// SPDX-License-Identifier: MIT
//
// URIs of every family: parsed, composed, escaped, changed.

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "fault_scope.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

struct Release {
  template <class URI>
  void operator()(URI* uri) const {
    uri->release();
  }
};
template <class URI>
using Owned = std::unique_ptr<URI, Release>;

// The texts that a URI gives, which are whole or null.
bool show(Trace& trace, ZtURI* uri) {
  ZtbString native;
  return trace.text(uri->getURIString()) && trace.text(uri->getEscapedURIString()) &&
         getNativePath(uri, &native) && trace.text(native) && trace.text(uri->getScheme());
}

// A URI that is parsed or made from components without memory for one of them lacks it, or has it
// with its escapes; what is composed from the rest is whole all the same.
bool parsed(Trace& trace) {
  constexpr char const* kTexts[] = {
      "abc://host/a/pf\u00e4d%20x", "ztr://sales/2026/pf\u00e4d%20orders(Table)",
      "ztd://sour%20ce.ODBC/p\u00e4rt/b/c/d", "ztf:///source/part1/part2/part3/part4",
      "ztwt://orders\u00e4?id=Integer'7',name=String'it%27s'#start=5,count=10"};
  try {
    for (char const* const text : kTexts) {
      Owned<ZtURI> const uri(getURIFromURIString(lit(text)));
      if (uri == nullptr) return trace.refused();
      ZtbString native;
      if (!getNativePath(uri.get(), &native)) return trace.refused();
      std::string_view const shown = native.asCstr();
      bool const isWhole = !uri->asDataURI() || std::count(shown.begin(), shown.end(), '\\') > 3;
      trace.require(native.isNull() || isWhole, "a native path without its path");
      if (!show(trace, uri.get())) return trace.refused();
      if (ZtReposURI* const object = uri->asReposURI()) {
        Owned<ZtReposURI> const parent(object->getParentFolder());
        if (parent == nullptr) return trace.refused();
        trace.require(!parent->isRootFolder(), "a parent that became the root folder");
        if (!trace.text(parent->getURIString())) return trace.refused();
      }
    }
  } catch (std::bad_alloc const&) {
    return trace.refused();
  }
  return true;
}

bool built(Trace& trace) {
  ZtbString const none;
  try {
    Owned<ZtURI> const plain(
        getFullURI(lit("abc"), lit("host"), lit("a\\b"), lit("query"), lit("fragment")));
    if (plain == nullptr) return trace.refused();
    if (!show(trace, plain.get())) return trace.refused();
    Owned<ZtURI> const object(
        getReposURIFromComponents(lit("sales"), lit("a%20b/\u00e4"), lit("Table")));
    if (!show(trace, object.get())) return trace.refused();
    Owned<ZtURI> const data(getDataURIFromComponents(lit("ztf"), lit("server"), lit("source"),
                                                     lit("T"), lit("p%201"), none, none,
                                                     lit("\u00e4")));
    if (!show(trace, data.get())) return trace.refused();
  } catch (std::bad_alloc const&) {
    return trace.refused();
  }
  return true;
}

bool workTable(Trace& trace) {
  Owned<ZtWorkTableURI> const table(getWorkTableURIFromComponents(lit("orders"), 0, 100));
  if (table == nullptr) return trace.refused();
  ZtbString error;
  if (!table->addColumn(lit("id"), lit("7"), ztbTypeInteger, &error) ||
      !table->addColumn(lit("name"), lit("it's a longer value, with marks"), ztbTypeString,
                        &error)) {
    return trace.refused(error);
  }
  if (table->addColumn(lit("ID"), lit("8"), ztbTypeInteger, &error)) {
    trace.require(false, "a name stands twice");
  }
  trace.require(!error.isNull(), "a refusal without a text");
  if (!table->setRange(5, 10, &error)) return trace.refused(error);
  table->setTableName(lit("other"));
  ZtbString name;
  ZtbString value;
  ztbType type = ztbTypeUnknown;
  for (int i = 0; table->getColumn(i, &name, &value, &type); ++i) {
    if (!trace.text(name) || !trace.text(value)) return trace.refused();
  }
  if (!trace.text(table->getQuery()) || !trace.text(table->getFragment())) return trace.refused();
  return show(trace, table.get());
}

bool escapes(Trace& trace) {
  ZtbString out;
  ZtbString error;
  char listed[] = {'/', '%'};
  if (!getEscapeStringForURI(lit("a/b%\u00e4"), listed, 2, &out, &error)) return trace.refused();
  if (!trace.text(out)) return trace.refused();
  ZtbString plain;
  if (!getUnEscapeStringFromURI(out, &plain) || !trace.text(plain)) return trace.refused();
  if (!convertSlashesToBackSlashes(plain, &out) || !trace.text(out)) return trace.refused();
  return convertBackSlashesToSlashes(out, &plain) && trace.text(plain);
}

using FaultsInURIs = WithLibrary;

TEST_F(FaultsInURIs, Parsed) {
  tryFaults("URIs, parsed", parsed, {Kind::kMemory});
}
TEST_F(FaultsInURIs, Built) {
  tryFaults("URIs, built", built, {Kind::kMemory});
}
TEST_F(FaultsInURIs, WorkTables) {
  tryFaults("work-table URIs", workTable);
}
TEST_F(FaultsInURIs, Escapes) {
  tryFaults("URI escapes", escapes);
}

}  // namespace
}  // namespace faults
