// SPDX-License-Identifier: MIT
//
// Generic URIs, the dispatch to the families, escapes, native paths and the repository splitter.

#include "zturi.h"

#include <string>

#include "uritest.h"
#include "ztbtest.h"
#include "ztdatauri.h"
#include "ztreposuri.h"

namespace {

using uritest::Owned;
using uritest::parsed;
using uritest::Row;
using uritest::shown;
using uritest::str;

using ZtURITest = ztbtest::LibraryTest;

// r, d, w, g: the family that a URI belongs to; "none" for no URI.
std::string familyOf(Owned<ZtURI> const& uri) {
  if (!uri) return "none";
  if (uri->asReposURI()) return uri->asDataURI() ? "both" : "r";
  if (uri->asDataURI()) return "d";
  return shown(uri->getScheme()) == "ztwt" ? "w" : "g";
}

TEST_F(ZtURITest, TextIsDispatchedByItsExactBeginning) {
  Row const rows[] = {
      {"ztr://h/p(t)", "r"}, {"ztd://", "d"},       {"ztf://x", "d"},
      {"ztwt://t", "w"},     {"ZTR://h/p(t)", "g"}, {"abc://ztr://h/p", "g"},
      {"\xFF://x", "g"},     {"://x", "none"},      {"a:/b", "none"},
      {"", "none"},
  };
  for (auto const& row : rows) EXPECT_EQ(row.expected, familyOf(parsed(row.text))) << row.text;
  EXPECT_EQ(nullptr, getURIFromURIString(ZtbString()));
}

TEST_F(ZtURITest, GenericTextIsSplitAtItsFirstSlashesAndKept) {
  struct {
    char const* text;
    char const* components;
    char const* escaped;
  } const rows[] = {
      {"abc://h", "abc (null) (null)", "abc:///"},
      {"abc://h/", "abc h ", "abc://h/"},
      {"abc:///p", "abc (null) p", "abc:///p"},
      {"abc://h/p/?q#f%20", "abc h p/?q#f%20", "abc://h/p/?q#f%20"},
      {"a:b://h/p", "a h p", "a://h/p"},
      {"a:b//c://h/p", "a c: /h/p", "a://c://h/p"},
      {"\xC3\xA9://\xC3\xA9/\xC3\xA9 %", "\xC3\xA9 \xC3\xA9 \xC3\xA9 %",
       "\xC3\xA9://\xC3\xA9/%C3%A9 %"},
      // An ill-formed byte ends the path, or leaves all of it as it stands.
      {"a://h/\xC3\xA9\xC3\xA9zzzzz\xFF", "a h \xC3\xA9\xC3\xA9zzzzz\xFF",
       "a://h/%C3%A9%C3%A9zzzzz"},
      {"a://h/z\xFF\xC3\xA9", "a h z\xFF\xC3\xA9", "a://h/z\xFF\xC3\xA9"},
  };
  for (auto const& row : rows) {
    Owned<ZtURI> const uri = parsed(row.text);
    EXPECT_EQ(row.components,
              shown(uri->getScheme()) + " " + shown(uri->getHost()) + " " + shown(uri->getPath()));
    EXPECT_EQ(row.escaped, shown(uri->getEscapedURIString()));
    EXPECT_EQ(row.text, shown(uri->getURIString()));
    EXPECT_TRUE(uri->getQuery().isNull() && uri->getFragment().isNull());
  }
}

TEST_F(ZtURITest, ComponentsComposeByWhatIsSetAndReachTheirFamily) {
  struct {
    char const* scheme;
    char const* host;
    char const* path;
    char const* family;
    char const* text;
  } const rows[] = {
      {"abc", "h", "a\\b", "g", "abc://h/a/b"},
      {"abc", "", "", "g", "abc:///"},
      {"", "h", "p", "g", "//h/p"},
      {"", "", "p", "g", "/p"},
      {"ZTD", "h", "p", "g", "ZTD://h/p"},
      {"ZtR", "h", "p", "r", "ztr://h/p()"},
      {"ZTWT", "h", "p", "w", "ztwt://p"},
      {"ztd", "h", "p", "d", "ztd://p./"},
      {"ztf", "h", "p", "d", "ztf://h./p/"},
  };
  for (auto const& row : rows) {
    Owned<ZtURI> const uri(getURI(str(row.scheme), str(row.host), str(row.path)));
    EXPECT_EQ(row.family, familyOf(uri)) << row.scheme;
    EXPECT_EQ(row.text, shown(uri->getURIString()));
  }
  Owned<ZtURI> const uri(getFullURI(str("abc"), str("h"), ZtbString("", true), str("q"), str("f")));
  EXPECT_EQ("q f", shown(uri->getQuery()) + " " + shown(uri->getFragment()));
  EXPECT_TRUE(uri->getPath().isNull());
  EXPECT_EQ("abc://h/", shown(uri->getURIString()));
}

TEST_F(ZtURITest, NativePathHasTheHostAndSlashesTurnBothWays) {
  Row const rows[] = {
      {"abc://h/a/b%2F", "\\\\h\\a\\b%2F"},
      {"abc:///a/b", "a\\b"},
      {"abc://h/", "\\\\h\\"},
      {"abc://h", "(null)"},
      {"ztr://h/a/b(t)", "\\\\h\\a\\b"},
      {"ztd://s.T/a/b/c/d", "\\\\s.T\\a\\b\\c\\"},
  };
  for (auto const& row : rows) {
    ZtbString native;
    EXPECT_TRUE(getNativePath(parsed(row.text).get(), &native));
    EXPECT_EQ(row.expected, shown(native)) << row.text;
  }
  ZtbString kept("kept", true);
  EXPECT_FALSE(getNativePath(nullptr, &kept));
  EXPECT_EQ("kept", shown(kept));
  ZtbString text("/a\\b/\xC3\xA9", true);
  EXPECT_TRUE(convertSlashesToBackSlashes(text, &text));
  EXPECT_EQ("\\a\\b\\\xC3\xA9", shown(text));
  EXPECT_TRUE(convertBackSlashesToSlashes(text, &text));
  EXPECT_EQ("/a/b/\xC3\xA9", shown(text));
  EXPECT_FALSE(convertSlashesToBackSlashes(ZtbString("", true), &text));
  EXPECT_TRUE(text.isNull());
}

TEST_F(ZtURITest, EscapingTakesListedAndMultiByteCharacters) {
  char list[] = {'/', '%', '\xC3', '\x7F'};
  struct {
    char const* text;
    int listed;
    char const* escaped;
    bool done;
  } const rows[] = {
      {"a/b% \xC3\xA9\x7F", 0, "a/b% %C3%A9\x7F", true},
      {"a/b", 1, "a%2Fb", true},
      {"a/b", -1, "a/b", true},
      {"a/b% \xC3\xA9\xF0\x9F\x98\x80\x7F", 4, "a%2Fb%25 %C3%A9%F0%9F%98%80%7F", true},
      // It stops at an ill-formed byte, and tells so unless enough bytes were in front.
      {"\xFF", 0, "", false},
      {"ab\xC3z", 4, "ab", false},
      {"\xC3\xA9\xFF", 0, "%C3%A9", true},
  };
  for (auto const& row : rows) {
    ZtbString out("=", true);
    EXPECT_EQ(row.done, getEscapeStringForURI(str(row.text), list, row.listed, &out, nullptr));
    EXPECT_EQ(std::string("=") + row.escaped, shown(out)) << "appended";
  }
  ZtbString out;
  EXPECT_FALSE(getEscapeStringForURI(str("\xFF"), nullptr, 0, &out, nullptr));
  EXPECT_TRUE(out.isNull()) << "nothing is appended";
  out = str("\xC3\xA9");
  EXPECT_TRUE(getEscapeStringForURI(out, nullptr, 3, &out, nullptr)) << "a null list is none";
  EXPECT_EQ("\xC3\xA9%C3%A9", shown(out));
  EXPECT_TRUE(getEscapeStringForURI(ZtbString(), nullptr, 0, &out, nullptr));
  EXPECT_EQ("", shown(out)) << "an empty text replaces";
  EXPECT_FALSE(getEscapeStringForURI(out, nullptr, 0, nullptr, nullptr));
  EXPECT_FALSE(getEscapeStringForURI(out, nullptr, 0, nullptr, &out));
  EXPECT_EQ("The output variable is not allocated or defined to be used.", shown(out));
}

TEST_F(ZtURITest, UnescapingReadsBothCasesAndKeepsWhatIsNoEscape) {
  Row const rows[] = {
      {"%41%4a%4A", "AJJ"}, {"%zz1", "%zz1"},   {"100%", "100%"},       {"%4", "%4"},
      {"%%41", "%%41"},     {"%4g%41", "%4gA"}, {"a%00b", "ab"},        {"%00", ""},
      {"%25%34%31", "%41"}, {"", ""},           {"%C3%A9", "\xC3\xA9"}, {"%FF", "\xFF"},
  };
  for (auto const& row : rows) {
    ZtbString out = str(row.text);
    EXPECT_TRUE(getUnEscapeStringFromURI(out, &out));
    EXPECT_EQ(row.expected, shown(out)) << row.text;
  }
  EXPECT_FALSE(getUnEscapeStringFromURI(str("x"), nullptr));
}

// Long runs are taken by words, short texts on the stack: every length on both sides of the limits.
TEST_F(ZtURITest, EscapesRoundTripAtEveryLength) {
  char list[] = {'/'};
  for (std::size_t n = 0; n < 600; ++n) {
    std::string const run(n, 'a');
    std::string const plain = run + "\xC3\xA9" + std::string(n % 19, 'b') + "/";
    std::string const escaped = run + "%C3%A9" + std::string(n % 19, 'b');
    ZtbString const source(plain.c_str(), true);
    ZtbString some, all, back;
    EXPECT_TRUE(getEscapeStringForURI(source, nullptr, 0, &some, nullptr));
    EXPECT_EQ(escaped + "/", shown(some));
    EXPECT_TRUE(getEscapeStringForURI(source, list, 1, &all, nullptr));
    EXPECT_EQ(escaped + "%2F", shown(all));
    EXPECT_TRUE(getUnEscapeStringFromURI(all, &back));
    EXPECT_EQ(plain, shown(back));
    EXPECT_EQ(source.length(), back.length());
    EXPECT_TRUE(getUnEscapeStringFromURI(source, &back));
    EXPECT_EQ(plain, shown(back));
  }
}

TEST_F(ZtURITest, SplitterTakesTheLastBracketsForTheType) {
  Row const rows[] = {
      {"ztr://h/a/b(Table)", "h|a/b|Table"},
      {"ztr://h/(Table)", "h||Table"},
      {"ztr://h/a/b", "h||Folder"},
      {"ztr://h/x(a)(b)", "h|x(a)|b"},
      {"ztr://h/a)b(c", "h|a)b|c"},
      {"ztr://h/)b(c", "h||Folder"},
      {"ztr://h/a(b", "h||Folder"},
      {"ztr://h/a()", "h|a|"},
      {"ztr://h/", "h||Folder"},
      {"ztr://h", "||Folder"},
      {"ztr:///a(T)", "|a|T"},
      {"ztr://%68%zz/%61%28(%54)", "h%zz|a(|%54"},
      {"ztr://\xC3\xA9/\xC3\xA9\xFF(\xC3\xA9)", "\xC3\xA9|\xC3\xA9\xFF|\xC3\xA9"},
  };
  for (auto const& row : rows) {
    ZtbString scheme, host, path, type = str(row.text);
    EXPECT_TRUE(getPathURLComponentsFromString(type, &scheme, &host, &path, &type));
    EXPECT_EQ(row.expected, shown(host) + "|" + shown(path) + "|" + shown(type)) << row.text;
  }
}

TEST_F(ZtURITest, SplitterRefusesOtherSchemesAndLeavesTheRest) {
  for (auto const& [text, scheme] :
       {std::pair("ZTR://h/a(t)", "ZTR"), {"ztrx://h/a(t)", "ztrx"}, {"no", "(null)"}}) {
    ZtbString read("x", true), host("h", true), path("p", true), type("t", true);
    EXPECT_FALSE(getPathURLComponentsFromString(str(text), &read, &host, &path, &type));
    EXPECT_EQ(scheme, shown(read));
    EXPECT_EQ("hpt", shown(host) + shown(path) + shown(type));
    EXPECT_FALSE(getPathURLComponentsFromString(str("ztr://h/a"), nullptr, &host, &path, &type));
  }
}

}  // namespace
