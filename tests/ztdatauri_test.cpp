// SPDX-License-Identifier: MIT

#include "ztdatauri.h"

#include <algorithm>
#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::Owned;
using uritest::shown;
using uritest::str;

using ZtDataURITest = ztbtest::LibraryTest;

// In the order of the factory.
struct Components {
  std::string server, source, type, part1, part2, part3, part4;

  bool operator==(Components const&) const = default;
  std::string asText() const {
    return server + "|" + source + "|" + type + "|" + part1 + "|" + part2 + "|" + part3 + "|" +
           part4;
  }
};

Components componentsOf(ZtDataURI& uri) {
  return {shown(uri.getServer()), shown(uri.getSource()), shown(uri.getSourceType()),
          shown(uri.getPart1()),  shown(uri.getPart2()),  shown(uri.getPart3()),
          shown(uri.getPart4())};
}

Owned<ZtDataURI> data(std::string const& text) {
  return Owned<ZtDataURI>(uritest::parsed(text).release()->asDataURI());
}

Owned<ZtDataURI> made(std::string const& scheme, Components const& c) {
  return Owned<ZtDataURI>(getDataURIFromComponents(str(scheme), str(c.server), str(c.source),
                                                   str(c.type), str(c.part1), str(c.part2),
                                                   str(c.part3), str(c.part4)));
}

TEST_F(ZtDataURITest, TextIsSplitIntoServerSourceTypeAndParts) {
  constexpr char kNone[] = "(null)|(null)|(null)|(null)";
  struct {
    char const* text;
    std::string components;
    char const* host;
    char const* path;
  } const rows[] = {
      {"ztd://s.ODBC/a/b/c/d", "|s|ODBC|a|b|c|d", "s.ODBC", "a/b/c/"},
      {"ztd://s/a/b/c/", "|s|ODBC|a|b|c|(null)", "s.ODBC", "a/b/c/"},
      {"ztd://s.T/a/b/c/d/e", "|s|T|a|b|c/d|e", "s.T", "a/b/c/d/"},
      {"ztd://.T/abc", "|.T|ODBC|" + std::string(kNone), ".T.ODBC", "///"},
      {"ztd://s./abc", "|s||" + std::string(kNone), "s", "///"},
      {"ztd://s.T", std::string("||ODBC|") + kNone, ".ODBC", "///"},
      {"ztd://%73.%54/%61bcd/%2F", "|s|%54|abcd|(null)|(null)|/", "s.%54", "abcd///"},
      // The limit counts characters.
      {"ztd://s.T/\xC3\xA9\xC3\xA9\xC3\xA9", std::string("|s|T|") + kNone, "s.T", "///"},
      {"ztd://s.T/ab/c", "|s|T|ab|(null)|(null)|c", "s.T", "ab///"},
      {"ztd://s.T//abc", "|s|T|(null)|(null)|(null)|abc", "s.T", "///"},
      {"ztd://s.T////d", "|s|T|(null)|(null)|(null)|d", "s.T", "///"},
      {"ztf://srv.T/s/a/b/c/d", "srv|s|T|a|b|c|d", "srv.T", "s/a/b/c/"},
      {"ztf://srv/s/a/b/c/", "srv|s||a|b|c|(null)", "srv.", "s/a/b/c/"},
      {"ztf://srv.T/abc/", std::string("srv|(null)|T|") + kNone, "srv.T", "////"},
      {"ztf://srv.T/a/bcd", "srv|a|T|(null)|(null)|(null)|bcd", "srv.T", "a////"},
      {"ztf://srv.T/a/b/c", "srv|a|T|b|(null)|(null)|c", "srv.T", "a/b///"},
      {"ztf:///s/a/b/c/d", "|s||a|b|c|d", "", "s/a/b/c/"},
  };
  for (auto const& row : rows) {
    Owned<ZtDataURI> const uri = data(row.text);
    EXPECT_EQ(row.components, componentsOf(*uri).asText()) << row.text;
    EXPECT_EQ(row.host, shown(uri->getHost())) << row.text;
    EXPECT_EQ(row.path, shown(uri->getPath())) << row.text;
    EXPECT_EQ(row.text, shown(uri->getURIString()));
    EXPECT_TRUE(uri->asDataURI() == uri.get() && !uri->asReposURI());
  }
}

// All paths of up to 9 bytes, slashes wherever they can stand.
TEST_F(ZtDataURITest, NoTextIsLostOrAppearsTwice) {
  for (std::string const scheme : {"ztd", "ztf"}) {
    std::size_t const limit = scheme == "ztd" ? 3 : 4;
    for (unsigned shape = 1; shape < 1024; ++shape) {
      std::string path, letters;
      for (unsigned bits = shape; bits != 1; bits >>= 1) {
        path += (bits & 1) != 0 ? '/' : static_cast<char>('a' + path.size());
        if (path.back() != '/') letters += path.back();
      }
      Owned<ZtDataURI> const uri = data(scheme + "://n.T/" + path);
      std::string read;
      for (ZtbString const& component :
           {uri->getSource(), uri->getPart1(), uri->getPart2(), uri->getPart3(), uri->getPart4()}) {
        read += component.asCstr();
      }
      std::erase(read, 'n');
      std::erase(read, '/');
      EXPECT_EQ(path.size() > limit ? letters : "", read) << scheme << " " << path;
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
      {"ztd", {"", "s", "", "", "", "", ""}, "ztd://s./"},
      {"ztd", {"", "", "T", "", "", "c", ""}, "ztd://///c/"},
      {"ztd", {"v", "", "T", "", "", "", ""}, "ztd:///"},
      {"ztf", {"v", "s", "T", "1", "2", "3", "4"}, "ztf://v.T/s/1/2/3/4"},
      {"ztf", {"v", "", "T", "1", "", "", ""}, "ztf://v.T//1/"},
      {"ztf", {"", "s", "T", "", "", "", ""}, "ztf:///s/"},
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
  char const* const e = "\xC3\xA9";
  Owned<ZtDataURI> const uri =
      made("ztf", {"%C3%A9 ", "%C3%A9 %zz", "%54", "%2F", e, e, std::string(e) + "%25"});
  EXPECT_EQ("\xC3\xA9 |\xC3\xA9 %zz|T|/|\xC3\xA9|\xC3\xA9|\xC3\xA9%", componentsOf(*uri).asText());
  EXPECT_EQ("ztf://\xC3\xA9 .T/%C3%A9 %zz///%C3%A9/%C3%A9/%C3%A9%",
            shown(uri->getEscapedURIString()));
  EXPECT_EQ("\xC3\xA9 .T \xC3\xA9 %zz///\xC3\xA9/\xC3\xA9/",
            shown(uri->getHost()) + " " + shown(uri->getPath()));
  EXPECT_EQ("ztf://\xC3\xA9 .T/\xC3\xA9 %zz///\xC3\xA9/\xC3\xA9/\xC3\xA9%",
            shown(uri->getURIString()));
}

// What the text of these components gives when it is read: no type without a name, and no path
// below the limit.
Components readBack(std::string const& scheme, Components c, std::string const& text) {
  bool const isZtd = scheme == "ztd";
  std::size_t const pathBytes = text.size() - text.find('/', scheme.size() + 3) - 1;
  if (isZtd) c.server.clear();
  if ((isZtd ? c.source : c.server).empty()) c.type = isZtd ? "ODBC" : "";
  if (pathBytes > (isZtd ? 3 : 4)) return c;
  if (!isZtd) c.source.clear();
  c.part1 = c.part2 = c.part3 = c.part4 = "";
  return c;
}

void expectReadsBack(std::string const& scheme, Components const& components) {
  Owned<ZtDataURI> const uri = made(scheme, components);
  for (std::string const& text : {shown(uri->getURIString()), shown(uri->getEscapedURIString())}) {
    Components read = componentsOf(*data(text));
    for (std::string* one : {&read.source, &read.part1, &read.part2, &read.part3, &read.part4}) {
      if (*one == "(null)") one->clear();
    }
    EXPECT_EQ(readBack(scheme, components, text), read) << text << " gave " << read.asText();
  }
}

TEST_F(ZtDataURITest, EveryComposedFormReadsBack) {
  Components const all[] = {
      {"server", "sourc\xC3\xA9", "type.x", "part1", "part\xC3\xA9", "part3", "\xC3\xA9part"},
      {"v", "s", "t", "1", "2", "3", "4"}};
  for (std::string const scheme : {"ztd", "ztf"}) {
    for (Components const& full : all) {
      for (unsigned set = 0; set < 128; ++set) {
        auto const pick = [set](unsigned bit, std::string const& text) {
          return (set >> bit & 1) != 0 ? text : "";
        };
        expectReadsBack(scheme, {pick(0, full.server), pick(1, full.source), pick(2, full.type),
                                 pick(3, full.part1), pick(4, full.part2), pick(5, full.part3),
                                 pick(6, full.part4)});
      }
    }
  }
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
