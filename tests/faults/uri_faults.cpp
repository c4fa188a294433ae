// SPDX-License-Identifier: MIT
//
// URIs of every family: parsed, composed, escaped, changed.

#include <algorithm>
#include <string_view>

#include "fault_run.h"
#include "ztbcpp31.h"

namespace faults {
namespace {

void showNative(Trace& trace, ZtURI* uri) {
  ZtbString native;
  trace.needs(getNativePath(uri, &native));
  std::string_view const shown = native.asCstr();
  bool const isWhole = !uri->asDataURI() || std::count(shown.begin(), shown.end(), '\\') > 3;
  trace.require(native.isNull() || isWhole, "a native path without its path");
  trace.text(native);
}

// The texts that a URI gives, which are whole or null.
void show(Trace& trace, ZtURI* uri) {
  trace.text(uri->getURIString());
  trace.text(uri->getEscapedURIString());
  trace.text(uri->getScheme());
  showNative(trace, uri);
}

// A URI that is parsed or made from components without memory for one of them lacks it, or has it
// with its escapes; what is composed from the rest is whole all the same.
SCENARIO(Faults, URIsParsed) {
  trace.mayLack({Kind::kMemory});
  trace.mayThrow();
  for (char const* const text :
       {"abc://host/a/pf\u00e4d%20x", "ztr://sales/2026/pf\u00e4d%20orders(Table)",
        "ztd://sour%20ce.ODBC/p\u00e4rt/b/c/d", "ztf:///source/part1/part2/part3/part4",
        "ztwt://orders\u00e4?id=Integer'7',name=String'it%27s'#start=5,count=10"}) {
    Owned<ZtURI> const uri(getURIFromURIString(lit(text)));
    trace.needs(uri != nullptr);
    showNative(trace, uri.get());  // before a text is null for want of memory, and ends the run
    show(trace, uri.get());
    if (ZtReposURI* const object = uri->asReposURI()) {
      Owned<ZtReposURI> const parent(object->getParentFolder());
      trace.needs(parent != nullptr);
      trace.require(!parent->isRootFolder(), "a parent that became the root folder");
      trace.text(parent->getURIString());
    }
  }
}

SCENARIO(Faults, URIsBuilt) {
  trace.mayLack({Kind::kMemory});
  trace.mayThrow();
  ZtbString const none;
  ZtbString const special = lit("\u00e4%201");
  Owned<ZtURI> const plain(getFullURI(lit("abc"), lit("host"), lit("a\\b"), special, special));
  trace.needs(plain != nullptr);
  show(trace, plain.get());
  Owned<ZtURI> const object(getReposURIFromComponents(lit("sales"), special, lit("Table")));
  show(trace, object.get());
  Owned<ZtURI> const data(getDataURIFromComponents(lit("ztf"), lit("server"), lit("source"),
                                                   lit("T"), special, none, none, special));
  show(trace, data.get());
}

SCENARIO(Faults, URIsOfWorkTables) {
  Owned<ZtWorkTableURI> const table(getWorkTableURIFromComponents(lit("orders"), 0, 100));
  trace.needs(table != nullptr);
  ZtbString error;
  ZtbString const marked = lit("it's a longer value, with marks");
  trace.needs(table->addColumn(lit("id"), lit("7"), ztbTypeInteger, &error), error);
  trace.needs(table->addColumn(lit("name"), marked, ztbTypeString, &error), error);
  bool const isTwice = table->addColumn(lit("ID"), lit("8"), ztbTypeInteger, &error);
  trace.require(!isTwice && !error.isNull(), "a name stands twice, or a refusal has no text");
  trace.needs(table->setRange(5, 10, &error), error);
  table->setTableName(lit("other"));
  ZtbString name;
  ZtbString value;
  ztbType type = ztbTypeUnknown;
  for (int i = 0; table->getColumn(i, &name, &value, &type); ++i) {
    trace.text(name);
    trace.text(value);
  }
  trace.text(table->getQuery());
  trace.text(table->getFragment());
  show(trace, table.get());
}

SCENARIO(Faults, URIEscapes) {
  ZtbString out;
  ZtbString error;
  ZtbString plain;
  char listed[] = {'/', '%'};
  trace.needs(getEscapeStringForURI(lit("a/b%\u00e4"), listed, 2, &out, &error));
  trace.text(out);
  trace.needs(getUnEscapeStringFromURI(out, &plain));
  trace.text(plain);
  trace.needs(convertSlashesToBackSlashes(plain, &out));
  trace.text(out);
  trace.needs(convertBackSlashesToSlashes(out, &plain));
  trace.text(plain);
}

}  // namespace
}  // namespace faults
