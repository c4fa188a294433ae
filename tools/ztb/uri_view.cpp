// SPDX-License-Identifier: MIT

#include "uri_view.h"

#include <algorithm>

#include "ztdatauri.h"
#include "ztreposuri.h"
#include "ztwturi.h"

namespace tool {
namespace {

// How a component is named here, and how it is asked for.
template <class Interface>
struct Getter {
  char const* name;
  ZtbString (Interface::*get)();
};

constexpr Getter<ZtURI> kCommon[] = {
    {"scheme", &ZtURI::getScheme}, {"host", &ZtURI::getHost},         {"path", &ZtURI::getPath},
    {"query", &ZtURI::getQuery},   {"fragment", &ZtURI::getFragment},
};
constexpr Getter<ZtDataURI> kData[] = {
    {"server", &ZtDataURI::getServer},         {"source", &ZtDataURI::getSource},
    {"sourceType", &ZtDataURI::getSourceType}, {"part1", &ZtDataURI::getPart1},
    {"part2", &ZtDataURI::getPart2},           {"part3", &ZtDataURI::getPart3},
    {"part4", &ZtDataURI::getPart4},
};
constexpr Getter<ZtReposURI> kRepository[] = {
    {"repository", &ZtReposURI::getRepository},
    {"name", &ZtReposURI::getName},
    {"type", &ZtReposURI::getType},
};
constexpr Getter<ZtWorkTableURI> kWorkTable[] = {
    {"table", &ZtWorkTableURI::getTableName},
};

std::string shownText(ZtbString const& text) {
  if (text.isNull()) return "(null)";
  return text.length() == 0 ? "(empty)" : printable(text.asCstr());
}

// One line to a name.
class Rows {
 public:
  void add(std::string name, std::string const& text) {
    constexpr std::size_t kNameWidth = 11;
    name.resize(std::max(kNameWidth, name.size()), ' ');
    mLines += "  " + name + " " + text + "\n";
  }
  std::string const& lines() const { return mLines; }

 private:
  std::string mLines;
};

// The number of a range, of which -1 stands for none.
void addNumber(JsonObject& object, std::string_view name, bool isThere, __int64 number) {
  bool const isShown = isThere && number >= 0;
  isShown ? object.add(name, number) : object.addNull(name);
}

}  // namespace

std::string UriView::shown(Column const& column) {
  std::string text = printable(column.name.asCstr());
  if (column.type != ztbTypeUnknown) text += std::string(" ") + ztbTypeToString(column.type);
  if (column.value.length() != 0) text += " \"" + printable(column.value.asCstr()) + "\"";
  return text;
}

template <class Interface, class Getters>
void UriView::addRows(Interface& uri, Getters const& getters) {
  for (auto const& getter : getters) mComponents.push_back({getter.name, (uri.*getter.get)()});
}

void UriView::addRepository(ZtReposURI& uri) {
  mFamily = "repository";
  mIsRepository = true;
  mIsRootFolder = uri.isRootFolder();
  addRows(uri, kRepository);
  mTexts.push_back({"local", uri.getLocalURIString()});
  // The sum of all parents' texts grows with the square of the depth.
  std::size_t room = std::size_t{1} << 20;
  for (Owned<ZtReposURI> folder(uri.getParentFolder()); folder;
       folder.reset(folder->getParentFolder())) {
    ZtbString const text = folder->getURIString();
    mAreParentsCut = text.cStrSize() > room;
    if (mAreParentsCut) break;
    room -= text.cStrSize();
    mParents.push_back(text);
  }
  if (mAreParentsCut) mParents.push_back(Owned<ZtReposURI>(uri.getRootFolder())->getURIString());
}

void UriView::addWorkTable(ZtWorkTableURI& uri) {
  mFamily = "work table";
  mIsWorkTable = true;
  addRows(uri, kWorkTable);
  mHasRange = uri.getRange(&mStart, &mCount);
  mColumns.resize(static_cast<std::size_t>(uri.getColumnCount()));
  int index = 0;
  for (Column& column : mColumns) {
    uri.getColumn(index++, &column.name, &column.value, &column.type);
  }
}

UriView::UriView(ZtURI& uri) {
  // The texts come first: a URI that was made from components derives host and path with them.
  ZtbString native;
  mTexts.push_back({"uri", uri.getURIString()});
  mTexts.push_back({"escaped", uri.getEscapedURIString()});
  getNativePath(&uri, &native);
  mTexts.push_back({"native", native});
  addRows(uri, kCommon);
  if (ZtDataURI* const data = uri.asDataURI()) {
    mFamily = "data";
    addRows(*data, kData);
  }
  if (ZtReposURI* const repository = uri.asReposURI()) addRepository(*repository);
  if (auto* const table = dynamic_cast<ZtWorkTableURI*>(&uri)) addWorkTable(*table);
}

std::string UriView::lines() const {
  Rows rows;
  rows.add("family", mFamily);
  for (Row const& row : mComponents) rows.add(row.name, shownText(row.value));
  for (Column const& column : mColumns) rows.add("column", shown(column));
  if (mHasRange) rows.add("start", std::to_string(mStart));
  if (mHasRange && mCount >= 0) rows.add("count", std::to_string(mCount));
  for (Row const& row : mTexts) rows.add(row.name, shownText(row.value));
  if (mIsRepository) rows.add("root", mIsRootFolder ? "yes" : "no");
  for (ZtbString const& parent : mParents) {
    bool const isBehindGap = mAreParentsCut && &parent == &mParents.back();
    if (isBehindGap) rows.add("parent", "...");
    rows.add("parent", shownText(parent));
  }
  return rows.lines();
}

void UriView::addTo(JsonObject& object) const {
  object.add("family", mFamily);
  for (Row const& row : mComponents) object.add(row.name, row.value);
  for (Row const& row : mTexts) object.add(row.name, row.value);
  if (mIsWorkTable) {
    std::vector<JsonObject> columns;
    for (Column const& column : mColumns) {
      columns.emplace_back().add("name", column.name).add("type", ztbTypeToString(column.type));
      columns.back().add("value", column.value);
    }
    object.add("columns", columns);
    addNumber(object, "start", mHasRange, mStart);
    addNumber(object, "count", mHasRange, mCount);
  }
  if (mIsRepository) {
    std::vector<JsonObject> parents;
    for (ZtbString const& parent : mParents) parents.emplace_back().add("uri", parent);
    object.add("root", mIsRootFolder).add("parents", parents).add("parentsCut", mAreParentsCut);
  }
}

std::vector<std::pair<std::string, std::string>> UriView::content() const {
  std::vector<std::pair<std::string, std::string>> content{{"family", mFamily}};
  for (Row const& row : mComponents) content.emplace_back(row.name, row.value.asCstr());
  for (Column const& column : mColumns) {
    std::string const type = ztbTypeToString(column.type);
    content.emplace_back("column " + fromZtb(column.name), type + " " + fromZtb(column.value));
  }
  return content;
}

std::string UriView::differenceTo(UriView const& other) const {
  auto const ours = content();
  auto const theirs = other.content();
  for (std::size_t i = 0; i < ours.size(); ++i) {
    if (i < theirs.size() && ours[i] == theirs[i]) continue;
    bool const isThere = i < theirs.size() && ours[i].first == theirs[i].first;
    return printable(ours[i].first) + " \"" + printable(ours[i].second) + "\" becomes " +
           (isThere ? "\"" + printable(theirs[i].second) + "\"" : "something else");
  }
  return theirs.size() == ours.size() ? "" : "there are more columns";
}

}  // namespace tool
