// SPDX-License-Identifier: MIT
//
// Generic URIs, composing, escapes, native paths and the repository splitter, beside what the
// tables of docs/uris.md show.

#include "zturi.h"

#include <string>

#include "uritest.h"
#include "ztbtest.h"

namespace {

using uritest::Owned;
using uritest::parsed;
using uritest::Row;
using uritest::shown;
using uritest::str;

using ZtURITest = ztbtest::LibraryTest;

TEST_F(ZtURITest, GenericTextIsSplitAtItsFirstSlashesAndKept) {
  char const* const rows[][3] = {
      {"abc://ztr://h/p", "abc ztr: /h/p", "abc://ztr://h/p"},
      {"a:b://h/p", "a h p", "a://h/p"},
      {"a:b//c://h/p", "a c: /h/p", "a://c://h/p"},
      {"\u00E9://\u00E9/\u00E9 %", "\u00E9 \u00E9 \u00E9 %", "\u00E9://\u00E9/%C3%A9 %"},
      // An ill-formed byte ends the path, or leaves all of it as it stands.
      {"\xFF://h/\u00E9\u00E9zzzzz\xFF", "\xFF h \u00E9\u00E9zzzzz\xFF",
       "\xFF://h/%C3%A9%C3%A9zzzzz"},
      {"a://h/z\xFF\u00E9", "a h z\xFF\u00E9", "a://h/z\xFF\u00E9"},
  };
  for (auto const& [text, components, escaped] : rows) {
    Owned<ZtURI> const uri = parsed(text);
    EXPECT_TRUE(!uri->asDataURI() && !uri->asReposURI()) << text;
    EXPECT_EQ(components,
              shown(uri->getScheme()) + " " + shown(uri->getHost()) + " " + shown(uri->getPath()));
    EXPECT_EQ(escaped, shown(uri->getEscapedURIString()));
    EXPECT_EQ(text, shown(uri->getURIString()));
    EXPECT_TRUE(uri->getQuery().isNull() && uri->getFragment().isNull());
  }
  EXPECT_TRUE(parsed("ztd://")->asDataURI() && parsed("ztf://x")->asDataURI());
  for (ZtbString const& none : {ZtbString(), str(""), str("a:/b")}) {
    EXPECT_EQ(nullptr, getURIFromURIString(none));
  }
}

TEST_F(ZtURITest, ComponentsComposeByWhatIsSetAndReachTheirFamily) {
  char const* const rows[][4] = {
      {"abc", "", "", "abc:///"},
      {"", "h", "p", "//h/p"},
      {"", "", "p", "/p"},
      {"ZTD", "h", "p", "ZTD://h/p"},
      {"ZtR", "h", "p", "ztr://h/p()"},
      {"ZTWT", "h", "p", "ztwt://p"},
      {"ztd", "h", "p", "ztd://p./"},
      {"ztf", "h", "p", "ztf://h./p/"},
  };
  for (auto const& [scheme, host, path, text] : rows) {
    Owned<ZtURI> const uri(getURI(str(scheme), str(host), str(path)));
    EXPECT_EQ(text, shown(uri->getURIString()));
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

// What escapes come to, the seeds of the fuzz target compare with a plain walk.
TEST_F(ZtURITest, EscapingAppendsAndUnescapingReplaces) {
  char list[] = {'/'};
  ZtbString out("=", true);
  EXPECT_TRUE(getEscapeStringForURI(str("a/b"), list, 1, &out, nullptr));
  EXPECT_TRUE(getEscapeStringForURI(str("c/d"), list, -1, &out, nullptr));
  EXPECT_EQ("=a%2Fbc/d", shown(out));
  out.setNull();
  EXPECT_FALSE(getEscapeStringForURI(str("\xFF"), nullptr, 0, &out, nullptr));
  EXPECT_TRUE(out.isNull()) << "nothing is appended";
  out = str("\u00E9");
  EXPECT_TRUE(getEscapeStringForURI(out, nullptr, 3, &out, nullptr)) << "a null list is none";
  EXPECT_EQ("\u00E9%C3%A9", shown(out));
  EXPECT_TRUE(getUnEscapeStringFromURI(out, &out));
  EXPECT_EQ("\u00E9\u00E9", shown(out));
  EXPECT_TRUE(getEscapeStringForURI(ZtbString(), nullptr, 0, &out, nullptr));
  EXPECT_EQ("", shown(out)) << "an empty text replaces";
  EXPECT_FALSE(getUnEscapeStringFromURI(out, nullptr));
  EXPECT_FALSE(getEscapeStringForURI(out, nullptr, 0, nullptr, nullptr));
  EXPECT_FALSE(getEscapeStringForURI(out, nullptr, 0, nullptr, &out));
  EXPECT_EQ("The output variable is not allocated or defined to be used.", shown(out));
}

// Long runs are taken by words, short texts on the stack: every length on both sides of the limits.
TEST_F(ZtURITest, EscapesRoundTripAtEveryLength) {
  char list[] = {'/'};
  for (std::size_t n = 0; n < 600; ++n) {
    std::string const run(n, 'a'), end(n % 19, 'b');
    ZtbString const source = str(run + "\u00E9" + end + "/");
    ZtbString some, all, back;
    EXPECT_TRUE(getEscapeStringForURI(source, nullptr, 0, &some, nullptr));
    EXPECT_EQ(run + "%C3%A9" + end + "/", shown(some));
    EXPECT_TRUE(getEscapeStringForURI(source, list, 1, &all, nullptr));
    EXPECT_EQ(run + "%C3%A9" + end + "%2F", shown(all));
    for (ZtbString const& text : {all, source}) {
      EXPECT_TRUE(getUnEscapeStringFromURI(text, &back));
      EXPECT_EQ(shown(source), shown(back));
      EXPECT_EQ(source.length(), back.length());
    }
  }
}

TEST_F(ZtURITest, SplitterTakesTheLastBracketsForTheType) {
  Row const rows[] = {
      {"ztr://h/a)b(c", "h|a)b|c"},
      {"ztr://h/)b(c", "h||Folder"},
      {"ztr://h/a(b", "h||Folder"},
      {"ztr://h/a()", "h|a|"},
      {"ztr://%68%zz/%61%28(%54)", "h%zz|a(|%54"},
      {"ztr://\u00E9/\u00E9\xFF(\u00E9)", "\u00E9|\u00E9\xFF|\u00E9"},
  };
  for (auto const& row : rows) {
    ZtbString scheme, host, path, type = str(row.text);
    EXPECT_TRUE(getPathURLComponentsFromString(type, &scheme, &host, &path, &type));
    EXPECT_EQ(row.expected, shown(host) + "|" + shown(path) + "|" + shown(type)) << row.text;
  }
  // Other schemes are refused, and leave the rest.
  for (auto const& [text, scheme] :
       {Row{"ZTR://h/a(t)", "ZTR"}, {"ztrx://h/a(t)", "ztrx"}, {"no", "(null)"}}) {
    ZtbString read("x", true), host("h", true), path("p", true), type("t", true);
    EXPECT_FALSE(getPathURLComponentsFromString(str(text), &read, &host, &path, &type));
    EXPECT_EQ(std::string(scheme) + "hpt", shown(read) + shown(host) + shown(path) + shown(type));
  }
  EXPECT_FALSE(getPathURLComponentsFromString(str("ztr://h"), nullptr, nullptr, nullptr, nullptr));
}

}  // namespace
