// SPDX-License-Identifier: MIT
//
// Resource identifiers: the interface of every URI, the factories that make them from a text or
// from components, and operations on the text of URIs.
//
// A URI's text is scheme://host/path, and its beginning says which family it belongs to. Schemes
// are compared byte by byte, so "ZTR://" begins a generic URI:
//
//   begins with           family       interface
//   "ztr://"              repository   ZtReposURI (ztreposuri.h)
//   "ztd://" and "ztf://" data         ZtDataURI (ztdatauri.h)
//   "ztwt://"             work table   ZtWorkTableURI (ztwturi.h)
//   anything else         generic      ZtURI alone
//
// Nothing here opens a file or a connection, and what a URI refers to is the application's affair.
//
// Escapes. "%41" stands for the byte 0x41. The repository and the data family give components
// without escapes, except the type; the generic one gives them as they stand, and so does the
// work-table family, which has an escape of its own for the values of columns. What is composed
// from components is otherwise escaped only by getEscapedURIString, and there only characters of
// several bytes are, so a "%", a "/" or a blank in a component comes out as it is.
//
// Ownership. Every URI that a factory or an operation gives belongs to the caller, who ends it by
// `release`, never by `delete`. Nothing in the library keeps a reference to one. Strings that are
// given are values of their own and outlive the URI. URIs hold strings, so they too must be gone
// before the last ztbShutdown.
//
//   ZtURI* const uri = getURIFromURIString(text);
//   if (!uri) return report("not a URI");
//   if (ZtReposURI* const object = uri->asReposURI()) open(object->getRepository());
//   uri->release();
//
// Null and empty. A component that a text doesn't have is null or empty, as its operation says; no
// operation tells the two apart in an argument but where it says so.
//
// Threads. The functions have no state and may be called from any thread. One URI belongs to one
// thread at a time, since the texts that it composes are kept on first use; it isn't tied to the
// thread that made it.
//
// Failure. No message is written or logged, but by the work-table family. When memory for an object
// runs out, whatever makes one throws std::bad_alloc, or gives null for a work-table URI; nothing
// else throws. When it runs out for a text, that text is null, or its escapes are as they
// were; a text that is composed is whole or null. Parsing, composing and both ways of escaping are
// linear in the text.

#ifndef ZTURI_H
#define ZTURI_H

#include "ztbdefs.h"
#include "ztbstring.h"

class ZtDataURI;
class ZtReposURI;

// Any URI. The order of the operations is part of the contract; there is no destructor for clients.
class ZTB_API ZtURI {
 public:
  // Destroys and frees the URI, which must not be used any more.
  virtual void release() = 0;

  // The components, as the family defines them. A generic URI has, from its text:
  //
  //   scheme     in front of the first ":"; null if that is missing or the first character
  //   host       between the first "//" behind that and the next "/"; null if nothing is there
  //   path       all behind that "/", a "?" and a "#" included; null if there is no such "/"
  //
  // so "abc://h" has neither host nor path, "abc://h/" has the host "h" and an empty path, and
  // "abc:///p" has the path "p" and a null host. Its query and fragment are what getFullURI was
  // given, and never read from a text; a repository or data URI has none, and they are null.
  virtual ZtbString getScheme() = 0;
  virtual ZtbString getHost() = 0;
  virtual ZtbString getPath() = 0;
  virtual ZtbString getQuery() = 0;
  virtual ZtbString getFragment() = 0;

  // The text that the URI was parsed from, exactly as it came, or the text composed from its
  // components, without escapes, which is kept; a work-table URI always composes, and keeps
  // nothing. A generic URI composes
  //
  //   with             a host                 no host
  //   a scheme         scheme://host/path     scheme:///path
  //   no scheme        //host/path            /path
  //
  // and shows neither query nor fragment.
  virtual ZtbString getURIString() = 0;

  // The text composed from the components, with every character of several bytes escaped byte by
  // byte; in a generic URI only those of the path. Made anew at each call, and not influenced by
  // the text that the URI was parsed from. An ill-formed byte ends the component that it stands in,
  // or leaves all of it without escapes, as getEscapeStringForURI tells.
  virtual ZtbString getEscapedURIString() = 0;

  // This URI by the interface of its family, or null if it is of another. The same object: only
  // one of the two pointers is released. A work-table URI answers null to both, and is told by
  // dynamic_cast<ZtWorkTableURI*>(uri): "ztwt:x://y" has that scheme too, and is a generic one.
  virtual ZtReposURI* asReposURI() = 0;
  virtual ZtDataURI* asDataURI() = 0;

 protected:
  // URIs end by release.
  ~ZtURI() = default;
};

// A new URI of the family that the text's beginning says. Null if the text is none: if "://" isn't
// in it or is its beginning, as in a plain path, an empty or a null text. A text with "ztwt://" can
// be refused by its family, and gives null then too; the other families read every text.
[[nodiscard]] ZTB_API ZtURI* getURIFromURIString(ZtbString const& text);

// A new URI from components, by the scheme:
//
//   "ztr", in any case    getReposURIFromComponents(host, path, null)
//   "ztd", "ztf"          getDataURIFromComponents(scheme, host, path, null, ...): the host is the
//                         server and the path the source, so "ztd" shows the path in the host's
//                         place and the host not at all
//   "ztwt", in any case   getWorkTableURIFromComponents(path)
//   anything else         a generic URI, with the backslashes of the path made slashes; an empty
//                         path is null
//
// Only a generic URI keeps query and fragment. getURI gives null for both. Null only where the
// factory of the work tables gives it.
[[nodiscard]] ZTB_API ZtURI* getFullURI(ZtbString const& scheme, ZtbString const& host,
                                        ZtbString const& path, ZtbString const& query,
                                        ZtbString const& fragment);
[[nodiscard]] ZTB_API ZtURI* getURI(ZtbString const& scheme, ZtbString const& host,
                                    ZtbString const& path);

// Makes `*out` the native path of a URI of any family: its path with every slash made a backslash,
// behind two backslashes, the host and a backslash if it has a host. No escape is undone, and a
// drive has no meaning. False for a null `uri`, with `*out` as it was, and with `*out` null if
// memory ran out. `out` must not be null.
//   abc://h/a/b    \\h\a\b         abc:///a/b    a\b         abc://h/    \\h\ (nothing behind)
ZTB_API bool getNativePath(ZtURI* uri, ZtbString* out);

// Appends `text` to `*out`, escaped; an empty or null text makes `*out` empty instead. Escaped are
// the bytes of every character of several bytes, and the characters of one byte that stand among
// the first `escapeCount` bytes at `escapeChars`, each as "%" and two upper-case hexadecimal
// digits. All else stays, a "%" too unless it is listed. A null list, or a count below 1, lists
// nothing. The array isn't written, and needs no terminator.
//
//   char list[] = {'/', '%'};
//   getEscapeStringForURI(path, list, 2, &out, nullptr);    // "a/b%" gives "a%2Fb%25"
//
// An ill-formed byte ends the work, and what is in front of it is appended. False then, unless as
// many bytes were in front as the whole text has characters. False also if memory ran out for the
// result, or it is longer than a string can be, with nothing appended, and if `out` is null; the
// latter alone is told in `*errorText`, if that isn't null, by
// "The output variable is not allocated or defined to be used.".
// `out` may be the address of `text` itself.
ZTB_API bool getEscapeStringForURI(ZtbString const& text, char* escapeChars, __int64 escapeCount,
                                   ZtbString* out, ZtbString* errorText);

// Makes `*out` the text without its escapes, which are read in either case. Works on bytes: the
// result need not be well-formed. An empty or null text gives an empty one. "%00" gives nothing. A
// "%" with fewer than two bytes behind it is copied, and so are all three bytes of one with other
// bytes than hexadecimal digits behind it, without another look at them:
//   "%4a"  "J"      "%4"  "%4"      "100%"  "100%"      "%zz1"  "%zz1"      "%%41"  "%%41"
// False if `out` is null, or if memory ran out; `*out` is null then. Texts of up to 511 bytes take
// memory for the result alone. `out` may be the address of `text` itself.
ZTB_API bool getUnEscapeStringFromURI(ZtbString const& text, ZtbString* out);

// Splits the text of a repository URI, ztr://host/path(type), into its scheme, its host without
// escapes, its path without brackets and escapes, and its type as it stands:
//
//   text behind "ztr://h/"     path       type
//   a/b(Table)                 "a/b"      "Table"      the last "(" and the last ")" count
//   x(a)(b)                    "x(a)"     "b"
//   a)b(c                      "a)b"      "c"          up to the end, if the ")" isn't behind "("
//   (Table)                    ""         "Table"
//   a/b                        ""         "Folder"     a path without brackets is dropped
//   nothing                    ""         "Folder"
//
// A ")" that is the first character of the path doesn't count. False, with only `*scheme` changed,
// if the scheme isn't exactly "ztr"; false also, with nothing changed, if `scheme` is null. The
// other pointers must not be null. An output may be the address of `text` itself.
ZTB_API bool getPathURLComponentsFromString(ZtbString const& text, ZtbString* scheme,
                                            ZtbString* host, ZtbString* path, ZtbString* type);

// Make `*out` a copy of `in` with every "/" made a backslash, or every backslash a "/". For an
// empty or null `in`, false with `*out` null; the same if memory ran out. `out` must not be null,
// and may be the address of `in`.
ZTB_API bool convertSlashesToBackSlashes(ZtbString const& in, ZtbString* out);
ZTB_API bool convertBackSlashesToSlashes(ZtbString const& in, ZtbString* out);

#endif
