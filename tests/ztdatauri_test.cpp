// SPDX-License-Identifier: MIT
//
// Data URIs, beside what the tables of docs/uris.md show.

#include "ztdatauri.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::Owned;
using uritest::shown;
using uritest::str;

using ZtDataURITest = ztbtest::LibraryTest;

// Server, source, type and the four parts: the order of the factory.
using Components = std::array<std::string, 7>;

Components componentsOf(ZtDataURI& uri, std::string const& null = "(null)") {
  Components components;
  std::size_t i = 0;
  for (ZtbString const& one : {uri.getServer(), uri.getSource(), uri.getSourceType(),
                               uri.getPart1(), uri.getPart2(), uri.getPart3(), uri.getPart4()}) {
    components[i++] = one.isNull() ? null : one.asCstr();
  }
  return components;
}

std::string asText(Components const& components) {
  std::string text;
  for (std::string const& one : components) text += (&one == &components[0] ? "" : "|") + one;
  return text;
}

Owned<ZtDataURI> data(std::string const& text) {
  return Owned<ZtDataURI>(uritest::parsed(text).release()->asDataURI());
}

Owned<ZtDataURI> made(std::string const& scheme, Components const& c) {
  return Owned<ZtDataURI>(getDataURIFromComponents(str(scheme), str(c[0]), str(c[1]), str(c[2]),
                                                   str(c[3]), str(c[4]), str(c[5]), str(c[6])));
}

TEST_F(ZtDataURITest, TextIsSplitIntoServerSourceTypeAndParts) {
  char const* const rows[][4] = {
      {"ztd://s/a/b/c/", "|s|ODBC|a|b|c|-", "s.ODBC", "a/b/c/"},
      {"ztd://.T/abc", "|.T|ODBC|-|-|-|-", ".T.ODBC", "///"},
      {"ztd://s./abc", "|s||-|-|-|-", "s", "///"},
      {"ztd://s.T", "||ODBC|-|-|-|-", ".ODBC", "///"},
      {"ztd://%73.%54/%61bcd/%2F", "|s|%54|abcd|-|-|/", "s.%54", "abcd///"},
      // The limit counts characters.
      {"ztd://s.T/\xC3\xA9\xC3\xA9\xC3\xA9", "|s|T|-|-|-|-", "s.T", "///"},
      {"ztd://s.T//abc", "|s|T|-|-|-|abc", "s.T", "///"},
      {"ztf://srv/s/a/b/c/", "srv|s||a|b|c|-", "srv.", "s/a/b/c/"},
      {"ztf://srv.T/abc/", "srv|-|T|-|-|-|-", "srv.T", "////"},
      {"ztf://srv.T/a/bcd", "srv|a|T|-|-|-|bcd", "srv.T", "a////"},
      {"ztf://srv.T/a/b/c", "srv|a|T|b|-|-|c", "srv.T", "a/b///"},
      {"ztf:///s/a/b/c/d", "|s||a|b|c|d", "", "s/a/b/c/"},
  };
  for (auto const& [text, components, host, path] : rows) {
    Owned<ZtDataURI> const uri = data(text);
    EXPECT_EQ(components, asText(componentsOf(*uri, "-"))) << text;
    EXPECT_EQ(host, shown(uri->getHost())) << text;
    EXPECT_EQ(path, shown(uri->getPath())) << text;
    EXPECT_EQ(text, shown(uri->getURIString()));
    EXPECT_TRUE(uri->asDataURI() == uri.get() && !uri->asReposURI());
  }
}

// All paths of up to 9 bytes, slashes wherever they can stand, read and composed and read again.
TEST_F(ZtDataURITest, NoTextIsLostOrAppearsTwice) {
  for (std::string const scheme : {"ztd", "ztf"}) {
    std::size_t const limit = scheme == "ztd" ? 3 : 4;
    for (unsigned shape = 1; shape < 1024; ++shape) {
      std::string path, letters;
      for (unsigned bits = shape; bits != 1; bits >>= 1) {
        path += (bits & 1) != 0 ? '/' : static_cast<char>('a' + path.size());
        if (path.back() != '/') letters += path.back();
      }
      Components const components = componentsOf(*data(scheme + "://n.T/" + path), "");
      std::string read = asText(components);
      std::erase_if(read, [](char c) { return std::strchr("n|T/", c) != nullptr; });
      EXPECT_EQ(path.size() > limit ? letters : "", read) << scheme << " " << path;
      std::string const composed = shown(made(scheme, components)->getURIString());
      if (composed.size() <= std::strlen("ztd://n.T/") + limit) continue;
      EXPECT_EQ(components, componentsOf(*data(composed), "")) << path << " is " << composed;
    }
  }
}

TEST_F(ZtDataURITest, FormIsChosenByTheLastComponentThatIsSet) {
  struct {
    char const* scheme;
    Components components;
    char const* text;
  } const rows[] = {
      {"ztd", {"v", "s", "T", "1", "2", "3", "4"}, "ztd://s.T/1/2/3/4"},
      {"ztd", {"v", "s", "T", "", "2", "", ""}, "ztd://s.T//2/"},
      {"ztd", {"", "", "T", "", "", "c", ""}, "ztd://///c/"},
      {"ztd", {"v", "", "T", "", "", "", ""}, "ztd:///"},
      {"ztf", {"v", "s", "T", "1", "2", "3", "4"}, "ztf://v.T/s/1/2/3/4"},
      {"ztf", {"v", "", "T", "1", "", "", ""}, "ztf://v.T//1/"},
      {"ztf", {"", "", "", "", "", "", ""}, "ztf:////"},
      {"ZTD", {"v", "s", "T", "1", "2", "3", "4"}, "(null)"},
  };
  for (auto const& row : rows) {
    Owned<ZtDataURI> const uri = made(row.scheme, row.components);
    EXPECT_TRUE(uri->getHost().isNull() && uri->getPath().isNull()) << "until a text is composed";
    EXPECT_EQ(row.text, shown(uri->getEscapedURIString()));
    EXPECT_EQ(row.text, shown(uri->getURIString()));
    EXPECT_EQ(std::string(row.text) == "(null)", uri->getPath().isNull());
    EXPECT_EQ(row.scheme, shown(uri->getScheme()));
  }
}

TEST_F(ZtDataURITest, ArgumentsAreUnescapedAndTextsEscapeSourceAndParts) {
  Owned<ZtDataURI> const uri =
      made("ztf", {"%C3%A9 ", "%C3%A9 %zz", "%54", "%2F", "é", "é", "é%25"});
  EXPECT_EQ("é |é %zz|T|/|é|é|é%", asText(componentsOf(*uri)));
  EXPECT_EQ("ztf://é .T/%C3%A9 %zz///%C3%A9/%C3%A9/%C3%A9%", shown(uri->getEscapedURIString()));
  EXPECT_EQ("é .T", shown(uri->getHost()));
  EXPECT_EQ("é %zz///é/é/", shown(uri->getPath()));
  EXPECT_EQ("ztf://é .T/é %zz///é/é/é%", shown(uri->getURIString()));
}

TEST_F(ZtDataURITest, SplitterLeavesWhatTheTextDoesNotHave) {
  struct {
    char const* text;
    bool isData;
    char const* components;
  } const rows[] = {
      {"ztf://v.T/abc/", true, "ztf v o T o o o o"},
      {"ztd://s/abc//d", true, "ztd  s ODBC abc o o d"},
      {"ztr://s/a(b)", false, "ztr o o o o o o o"},
      {"plain", false, "(null) o o o o o o o"},
  };
  for (auto const& row : rows) {
    ZtbString const o("o", true);
    ZtbString scheme = str(row.text);
    ZtbString source = o, type = o, part1 = o, part2 = o, part3 = o, part4 = o, server = o;
    EXPECT_EQ(row.isData, getDataURIComponentsFromString(scheme, &scheme, &source, &type, &part1,
                                                         &part2, &part3, &part4, &server));
    std::string read = shown(scheme);
    for (ZtbString const& one : {server, source, type, part1, part2, part3, part4}) {
      read += " " + shown(one);
    }
    EXPECT_EQ(row.components, read);
  }
}

}  // namespace
