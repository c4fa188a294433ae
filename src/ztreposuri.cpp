// SPDX-License-Identifier: MIT

#include "ztreposuri.h"

#include <memory>
#include <new>

#include "ztbstringformat_p.h"
#include "ztreposuri_p.h"
#include "zturi_p.h"

namespace {

constexpr char kFolder[] = "Folder";

class ZtReposURIImpl : public ZtURIBase<ZtReposURI> {
 public:
  ZtReposURIImpl() { scheme = ZtbString("ztr", true); }
  explicit ZtReposURIImpl(ZtbString const& text) {
    if (getPathURLComponentsFromString(text, &scheme, &host, &path, &type)) uriText = text;
  }

  ZtReposURI* asReposURI() override { return this; }
  ZtbString getURIString() override;
  ZtbString getEscapedURIString() override;

  ZtbString getType() override { return type; }
  ZtbString getRepository() override { return host; }
  ZtReposURI* getParentFolder() override;
  ZtReposURI* getRootFolder() override { return makeFolder(ZtbString()); }
  ZtbString getReservedText() override { return ZtbString("", true); }
  ZtbString getLocalURIString() override { return compose(ZtbString(), path); }
  ZtbString getName() override;
  bool isRootFolder() override;

  void setHost(ZtbString const& value) { host = value; }
  void setPath(ZtbString const& value) { convertBackSlashesToSlashes(value, &path); }
  void setType(ZtbString const& value) { type = value; }

 private:
  int lastSlash() const { return path.rfind(ZtbString("/", true)); }
  ZtReposURIImpl* makeFolder(ZtbString const& folderPath);
  ZtbString compose(ZtbString const& hostText, ZtbString const& pathText) const;

  ZtbString type;
};

ZtbString ZtReposURIImpl::compose(ZtbString const& hostText, ZtbString const& pathText) const {
  return ztbWholeFormat("%s://%S/%S(%S)", ztURIIsSet(scheme) ? scheme.asCstr() : "ztr", &hostText,
                        &pathText, &type);
}

ZtbString ZtReposURIImpl::getURIString() {
  if (!ztURIIsSet(uriText)) uriText = compose(host, path);
  return uriText;
}

ZtbString ZtReposURIImpl::getEscapedURIString() {
  return compose(host, ztURIIsSet(path) ? ztURIEscaped(path) : path);
}

ZtbString ZtReposURIImpl::getName() {
  if (!ztURIIsSet(path)) return ZtbString();
  int const slash = lastSlash();
  return slash >= 1 ? path.mid(static_cast<unsigned>(slash) + 1, -1) : path;
}

ZtReposURIImpl* ZtReposURIImpl::makeFolder(ZtbString const& folderPath) {
  auto* const folder = new ZtReposURIImpl;
  folder->setPath(folderPath);
  folder->setType(ZtbString(kFolder, true));
  folder->setHost(getRepository());
  return folder;
}

ZtReposURI* ZtReposURIImpl::getParentFolder() {
  if (!ztURIIsSet(path)) return nullptr;
  int const slash = lastSlash();
  if (slash < 1) return getRootFolder();
  std::unique_ptr<ZtReposURIImpl> folder(makeFolder(path.mid(0, slash)));
  if (folder->path.isNull()) throw std::bad_alloc();  // it would be the root folder
  return folder.release();
}

bool ZtReposURIImpl::isRootFolder() {
  return !ztURIIsSet(path) && type.compare(kFolder, true) == 0;
}

}  // namespace

ZtURI* parseReposURI(ZtbString const& text) {
  return new ZtReposURIImpl(text);
}

ZtReposURI* getReposURIFromComponents(ZtbString const& host, ZtbString const& path,
                                      ZtbString const& type) {
  auto* const uri = new ZtReposURIImpl;
  uri->setHost(ztURIUnescaped(host));
  uri->setPath(ztURIUnescaped(path));
  uri->setType(type);
  return uri;
}
