// SPDX-License-Identifier: MIT
//
// Repository URIs: objects and folders of a repository, scheme "ztr".
//
//   ztr://repository/folder/folder/name(type)
//
// Folders are objects of the type "Folder", and the root folder of a repository is the one with an
// empty path. Repository and path are read without their escapes and the type as it stands; a text
// without brackets names the root folder, whatever its path says. getPathURLComponentsFromString in
// zturi.h has the rules, and zturi.h what holds for all URIs: ownership, threads and failure.

#ifndef ZTREPOSURI_H
#define ZTREPOSURI_H

#include "zturi.h"

// An object or a folder of a repository. Of the operations of ZtURI, getScheme gives "ztr", getHost
// the repository, and getPath folders and name without brackets; getQuery and getFragment are null.
// getURIString composes scheme://repository/path(type), with the brackets around an empty type too.
// getEscapedURIString escapes the path alone.
//
// A URI from a text has an empty repository and an empty path where the text has none. One from
// components has an empty repository and a null path where the argument is null or empty.
class ZTB_API ZtReposURI : public ZtURI {
 public:
  // The text between the brackets.
  virtual ZtbString getType() = 0;

  // The same as getHost.
  virtual ZtbString getRepository() = 0;

  // A new URI for the folder that holds this object, or for the root folder of its repository. Both
  // belong to the caller and share nothing with this one. The parent is null if the path is empty:
  // the root folder has none. Without memory for its path it is never another folder: then
  // std::bad_alloc is thrown.
  //   ztr://h/a/b(Table)    parent ztr://h/a(Folder)    root ztr://h/(Folder)
  [[nodiscard]] virtual ZtReposURI* getParentFolder() = 0;
  [[nodiscard]] virtual ZtReposURI* getRootFolder() = 0;

  // Always an empty text, not null.
  virtual ZtbString getReservedText() = 0;

  // The text without the repository, ztr:///path(type), composed without escapes at each call.
  virtual ZtbString getLocalURIString() = 0;

  // What stands behind the last slash of the path; the whole path if there is none, or if its only
  // one is the first character. Null for an empty path.
  virtual ZtbString getName() = 0;

  // Whether the path is empty and the type is exactly "Folder".
  virtual bool isRootFolder() = 0;

 protected:
  // URIs end by release.
  ~ZtReposURI() = default;
};

// A new URI for an object of a repository. Escapes in `host` and `path` are undone first, and
// backslashes of the path made slashes; `type` is taken as it stands. Any argument may be null or
// empty, so the result need not name anything. Never null.
//   getReposURIFromComponents("h", "a\\b", "Table")    // ztr://h/a/b(Table)
// What is composed reads back into the same components, unless the repository holds a "/", the type
// a bracket, or one of repository and path a "%" with two hexadecimal digits behind it; escaped,
// also unless a character of several bytes begins within two bytes behind a "%" of the path.
[[nodiscard]] ZTB_API ZtReposURI* getReposURIFromComponents(ZtbString const& host,
                                                            ZtbString const& path,
                                                            ZtbString const& type);

#endif
