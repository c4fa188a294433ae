// SPDX-License-Identifier: MIT
//
// A URI as the tool shows it: its family, its components, its texts.

#ifndef ZTB_URI_VIEW_H
#define ZTB_URI_VIEW_H

#include <utility>

#include "tool.h"
#include "ztbdatavar.h"
#include "zturi.h"

class ZtReposURI;
class ZtWorkTableURI;

namespace tool {

// What a URI holds. Its strings must go before the library does.
class UriView {
 public:
  explicit UriView(ZtURI& uri);

  // One component or text a line.
  std::string lines() const;
  void addTo(JsonObject& object) const;

  // What differs in the other, a component for example; empty if nothing does. A null text is as
  // good as an empty one.
  std::string differenceTo(UriView const& other) const;

 private:
  struct Row {
    std::string name;
    ZtbString value;
  };
  struct Column {
    ZtbString name;
    ZtbString value;
    ztbType type = ztbTypeUnknown;
  };

  static std::string shown(Column const& column);
  template <class Interface, class Getters>
  void addRows(Interface& uri, Getters const& getters);
  void addRepository(ZtReposURI& uri);
  void addWorkTable(ZtWorkTableURI& uri);

  // Names and texts of what makes the URI.
  std::vector<std::pair<std::string, std::string>> content() const;

  char const* mFamily = "generic";
  std::vector<Row> mComponents;
  std::vector<Row> mTexts;

  bool mIsWorkTable = false;
  std::vector<Column> mColumns;
  bool mHasRange = false;
  __int64 mStart = 0;
  __int64 mCount = 0;

  bool mIsRepository = false;
  bool mIsRootFolder = false;
  std::vector<ZtbString> mParents;
  bool mAreParentsCut = false;
};

}  // namespace tool

#endif
