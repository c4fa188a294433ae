// SPDX-License-Identifier: MIT
//
// Repository URIs, beside what the tables of docs/uris.md show.

#include "ztreposuri.h"

#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::Owned;
using uritest::Row;
using uritest::shown;
using uritest::str;

using ZtReposURITest = ztbtest::LibraryTest;

Owned<ZtReposURI> repos(std::string const& text) {
  return Owned<ZtReposURI>(uritest::parsed(text).release()->asReposURI());
}

std::string componentsOf(ZtReposURI& uri) {
  return shown(uri.getRepository()) + "|" + shown(uri.getPath()) + "|" + shown(uri.getType());
}

TEST_F(ZtReposURITest, TextIsReadAndEveryTextIsComposed) {
  char const* const rows[][5] = {
      {"ztr://h%20/a%2Fb(%20)", "h |a/b|%20", "b", "ztr:///a/b(%20)", "ztr://h /a/b(%20)"},
      {"ztr://é/%C3%A9(é)", "é|é|é", "é", "ztr:///é(é)", "ztr://é/%C3%A9(é)"},
      {"ztr://h//a(T)", "h|/a|T", "/a", "ztr:////a(T)", "ztr://h//a(T)"},
      {"ztr://h/a/(T)", "h|a/|T", "", "ztr:///a/(T)", "ztr://h/a/(T)"},
      {"ztr://h/a\\b(T)", "h|a\\b|T", "a\\b", "ztr:///a\\b(T)", "ztr://h/a\\b(T)"},
      {"ztr://h", "||Folder", "(null)", "ztr:///(Folder)", "ztr:///(Folder)"},
  };
  for (auto const& [text, components, name, local, escaped] : rows) {
    Owned<ZtReposURI> const uri = repos(text);
    EXPECT_EQ(components, componentsOf(*uri));
    EXPECT_EQ(name, shown(uri->getName()));
    EXPECT_EQ(local, shown(uri->getLocalURIString()));
    EXPECT_EQ(escaped, shown(uri->getEscapedURIString()));
    EXPECT_EQ(text, shown(uri->getURIString()));
    EXPECT_EQ("ztr", shown(uri->getScheme()));
    EXPECT_EQ("", shown(uri->getReservedText()));
    EXPECT_TRUE(uri->asReposURI() == uri.get() && !uri->asDataURI());
  }
}

TEST_F(ZtReposURITest, ParentsLeadUpToTheRoot) {
  Row const rows[] = {
      {"ztr://h/a/b/c(T)",
       "ztr://h/a/b(Folder) ztr://h/a(Folder) ztr://h/(Folder) root of ztr://h/(Folder)"},
      {"ztr://h/%C3%A9%28/c(T)",
       "ztr://h/\xC3\xA9((Folder) ztr://h/(Folder) root of ztr://h/(Folder)"},
      {"ztr://h//a(T)", "ztr://h/(Folder) root of ztr://h/(Folder)"},
      {"ztr://h/", "root of ztr://h/(Folder)"},
      {"ztr://h/(T)", "of ztr://h/(Folder)"},
  };
  for (auto const& row : rows) {
    Owned<ZtReposURI> uri = repos(row.text);
    std::string parents;
    while (ZtReposURI* const parent = uri->getParentFolder()) {
      parents += shown(parent->getURIString()) + " ";
      uri.reset(parent);
    }
    Owned<ZtReposURI> const root(uri->getRootFolder());
    EXPECT_TRUE(root->isRootFolder() && root->getPath().isNull());
    parents += (uri->isRootFolder() ? "root of " : "of ") + shown(root->getURIString());
    EXPECT_EQ(row.expected, parents);
  }
}

// That they read back, the seeds of the fuzz target show.
TEST_F(ZtReposURITest, ComponentsAreUnescapedAndMayBeMissing) {
  Owned<ZtReposURI> const uri(getReposURIFromComponents(str("%68"), str("%61\\b"), str("%41")));
  EXPECT_EQ("h|a/b|%41", componentsOf(*uri));
  EXPECT_EQ("ztr://h/a/b(%41)", shown(uri->getURIString()));
  Owned<ZtReposURI> const bare(getReposURIFromComponents(ZtbString(), ZtbString(), ZtbString()));
  EXPECT_EQ("|(null)|(null)", componentsOf(*bare));
  EXPECT_EQ("ztr:///()", shown(bare->getURIString()));
  EXPECT_FALSE(bare->isRootFolder());
}

}  // namespace
