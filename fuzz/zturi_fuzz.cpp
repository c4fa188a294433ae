// SPDX-License-Identifier: MIT
//
// Any text as a URI. All that it can be asked is asked; made again from its components, its text
// reads back into the same ones wherever no component holds what the grammar would take for its
// own.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "ztbmempool_p.h"
#include "ztdatauri.h"
#include "ztreposuri.h"
#include "zturi.h"
#include "ztwturi.h"

namespace {

struct Release {
  void operator()(ZtURI* uri) const { uri->release(); }
};
template <class URI>
using Owned = std::unique_ptr<URI, Release>;

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "zturi_fuzz: %s\n", what);
  std::abort();
}

// Null and empty texts are the same here.
using Components = std::vector<std::string>;

std::string bytesOf(ZtbString const& text) {
  return text.asCstr();
}

bool holdsAny(ZtbString const& text, char const* bytes) {
  return std::strpbrk(text.asCstr(), bytes) != nullptr;
}

// The factories undo escapes; what is none must come through them unchanged.
ZtbString withoutEscapes(ZtbString const& text) {
  return text.replace(ZtbString("%", true), ZtbString("%25", true), 0, -1);
}

Components componentsOf(ZtURI& uri);

void requireSame(ZtbString const& text, Components const& expected, char const* what) {
  Owned<ZtURI> const again(getURIFromURIString(text));
  require(again && componentsOf(*again) == expected, what);
}

// Generic URIs.

bool isFamily(ZtbString const& scheme) {
  for (char const* const name : {"ztr", "ztd", "ztf", "ztwt"}) {
    if (scheme.compare(name, false) == 0) return true;
  }
  return false;
}

void checkGeneric(ZtURI& uri) {
  ZtbString const scheme = uri.getScheme(), path = uri.getPath();
  if (scheme.length() == 0 || isFamily(scheme) || holdsAny(path, "\\")) return;
  Owned<ZtURI> const made(getURI(scheme, uri.getHost(), path));
  requireSame(made->getURIString(), componentsOf(uri), "a generic URI reads back differently");
}

// Repository URIs.

void checkParents(ZtReposURI& uri) {
  std::size_t length = uri.getPath().length();
  for (Owned<ZtReposURI> folder(uri.getParentFolder()); folder;
       folder.reset(folder->getParentFolder())) {
    require(folder->getPath().length() < length, "a parent isn't above its child");
    length = folder->getPath().length();
    require(length != 0 || folder->isRootFolder(), "the last parent is no root");
  }
  require(Owned<ZtReposURI>(uri.getRootFolder())->isRootFolder(), "the root is none");
}

void checkRepository(ZtReposURI& uri) {
  checkParents(uri);
  ZtbString const repository = uri.getRepository(), path = uri.getPath();
  if (holdsAny(repository, "/%") || holdsAny(path, "\\%")) return;
  Owned<ZtURI> const made(getReposURIFromComponents(repository, path, uri.getType()));
  requireSame(made->getURIString(), componentsOf(uri), "a repository URI reads back differently");
}

// Data URIs.

// Whether the text of a URI keeps all components: none holds what parts them, the type has a name
// to stand behind, and the path is long enough to be read.
bool isDataProtected(ZtDataURI& uri, ZtURI& made) {
  bool const isServed = bytesOf(uri.getScheme()) == "ztf";
  ZtbString const name = isServed ? uri.getServer() : uri.getSource();
  if (name.length() == 0 || holdsAny(name, "./%") || holdsAny(uri.getSourceType(), "/%")) {
    return false;
  }
  for (ZtbString const& part : {uri.getPart1(), uri.getPart2(), uri.getPart4()}) {
    if (holdsAny(part, "/%")) return false;
  }
  if (holdsAny(uri.getPart3(), "%") || (isServed && holdsAny(uri.getSource(), "/%"))) return false;
  std::string const text = bytesOf(made.getURIString());
  std::string const path = text.substr(text.find('/', std::strlen("ztd://")) + 1);
  std::size_t const mostUnread = isServed ? 4 : 3;
  return path.empty() || ZtbString(path.c_str(), true).length() > mostUnread;
}

void checkData(ZtDataURI& uri) {
  Owned<ZtURI> const made(
      getDataURIFromComponents(uri.getScheme(), withoutEscapes(uri.getServer()),
                               withoutEscapes(uri.getSource()), withoutEscapes(uri.getSourceType()),
                               withoutEscapes(uri.getPart1()), withoutEscapes(uri.getPart2()),
                               withoutEscapes(uri.getPart3()), withoutEscapes(uri.getPart4())));
  if (!isDataProtected(uri, *made)) return;
  requireSame(made->getURIString(), componentsOf(uri), "a data URI reads back differently");
}

// Work-table URIs.

struct Column {
  ZtbString name;
  ZtbString value;
  ztbType type = ztbTypeUnknown;
};

std::vector<Column> columnsOf(ZtWorkTableURI& uri) {
  std::vector<Column> columns(static_cast<std::size_t>(uri.getColumnCount()));
  int index = 0;
  for (Column& column : columns) {
    require(uri.getColumn(index++, &column.name, &column.value, &column.type), "no column");
  }
  Column none;
  require(!uri.getColumn(index, &none.name, &none.value, &none.type), "a column too many");
  return columns;
}

// Only strings protect quotes and commas; a "#" in the table's name needs a "?" behind it.
bool isWorkTableProtected(ZtWorkTableURI& uri, std::vector<Column> const& columns) {
  if (columns.empty()) return !holdsAny(uri.getTableName(), "#");
  for (Column const& column : columns) {
    bool const isProtected = column.type == ztbTypeUnknown || column.type == ztbTypeString;
    if (!isProtected && holdsAny(column.value, "',")) return false;
  }
  return true;
}

void checkWorkTable(ZtWorkTableURI& uri) {
  if (!isWorkTableProtected(uri, columnsOf(uri))) return;
  requireSame(uri.getURIString(), componentsOf(uri), "a work-table URI reads back differently");
}

// All families.

Components componentsOf(ZtURI& uri) {
  Components all{bytesOf(uri.getScheme())};
  if (ZtDataURI* const data = uri.asDataURI()) {
    for (ZtbString const& text :
         {data->getServer(), data->getSource(), data->getSourceType(), data->getPart1(),
          data->getPart2(), data->getPart3(), data->getPart4()}) {
      all.push_back(bytesOf(text));
    }
  }
  for (ZtbString const& text : {uri.getHost(), uri.getPath(), uri.getQuery(), uri.getFragment()}) {
    all.push_back(bytesOf(text));
  }
  if (ZtReposURI* const repository = uri.asReposURI())
    all.push_back(bytesOf(repository->getType()));
  if (auto* const table = dynamic_cast<ZtWorkTableURI*>(&uri)) {
    for (Column const& column : columnsOf(*table)) {
      // A type without a value isn't written.
      char const* const type = column.value.length() != 0 ? ztbTypeToString(column.type) : "";
      all.insert(all.end(), {bytesOf(column.name), type, bytesOf(column.value)});
    }
  }
  return all;
}

void askAll(ZtURI& uri) {
  ZtbString native;
  require(getNativePath(&uri, &native), "no native path");
  uri.getEscapedURIString();
  if (ZtReposURI* const repository = uri.asReposURI()) {
    repository->getName();
    repository->getLocalURIString();
    repository->getReservedText();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const isUp = ztbMemPoolStart();
  require(isUp, "no pool");
  std::string const text(reinterpret_cast<char const*>(data), size);
  Owned<ZtURI> const uri(getURIFromURIString(ZtbString(text.c_str(), false)));
  if (!uri) {
    std::size_t const mark = text.substr(0, std::strlen(text.c_str())).find("://");
    bool const isWorkTable = text.rfind("ztwt://", 0) == 0;
    require(isWorkTable || mark == 0 || mark == std::string::npos, "a URI is refused");
    return 0;
  }
  askAll(*uri);
  if (ZtDataURI* const place = uri->asDataURI()) {
    checkData(*place);
  } else if (ZtReposURI* const object = uri->asReposURI()) {
    checkRepository(*object);
  } else if (auto* const table = dynamic_cast<ZtWorkTableURI*>(uri.get())) {
    checkWorkTable(*table);
  } else {
    checkGeneric(*uri);
  }
  return 0;
}
