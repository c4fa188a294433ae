// SPDX-License-Identifier: MIT
//
// Data URIs: places in a data source, schemes "ztd" and "ztf".
//
//   ztd://source.type/part1/part2/part3/part4             ztd:///part1/part2/part3/part4
//   ztf://server.type/source/part1/part2/part3/part4      ztf:///source/part1/part2/part3/part4
//
// The library gives the components no meaning. What holds for all URIs stands in zturi.h:
// ownership, threads and failure.
//
// Composing. The text ends behind the last component that is set (neither null nor empty); those in
// between that aren't show as empty segments. Behind every segment but part4 stands a slash. The
// dot stands wherever the host position has a name, also in front of an empty type; without a name
// the type doesn't show. In full, with n for the name of the host position (the source of "ztd",
// the server of "ztf") and t for the type:
//
//   last set    ztd                    ztf                       the same without n
//   part4       ztd://n.t/1/2/3/4      ztf://n.t/s/1/2/3/4       ztd:///1/2/3/4   ztf:///s/1/2/3/4
//   part3       ztd://n.t/1/2/3/       ztf://n.t/s/1/2/3/        ztd:///1/2/3/    ztf:///s/1/2/3/
//   part2       ztd://n.t/1/2/         ztf://n.t/s/1/2/          ztd:///1/2/      ztf:///s/1/2/
//   part1       ztd://n.t/1/           ztf://n.t/s/1/            ztd:///1/        ztf:///s/1/
//   source      -                      ztf://n.t/s/              -                ztf:///s/
//   none        ztd://n.t/             ztf://n.t/                ztd:///          ztf:////
//
// Parsing. The first dot of the host position ends the name, unless it is the first character.
// Without such a dot the whole is the name, and the type is "ODBC" for "ztd" and empty for "ztf".
// The path is cut at its slashes. The last slash begins part4; what stands in front of it is cut
// at its first slashes into the other components in their order, and part3 takes the rest, further
// slashes included. So
//
//   behind ztd://s.T/    part1   part2   part3   part4
//   a/b/c/d/e            a       b       c/d     e
//   abcd                 -       -       -       abcd        no slash
//   ab/c                 ab      -       -       c           one slash
//   ab/c/                ab      c       -       -           two slashes
//
// and in "ztf" a path with two slashes, a/b/c, has the source a, part1 b and part4 c. In this
// reading no text is lost, none appears twice, and every composed text reads back into the
// components that it shows, escaped or not, with these exceptions:
//
//   - a path of 3 characters or fewer in "ztd", of 4 or fewer in "ztf", is not read at all: what is
//     composed from part1 "ab" alone, ztd://s.T/ab/, has no part1 when it is read;
//   - a "/" in a component and a "." in the name of the host position aren't protected;
//   - a "%" with two hexadecimal digits behind it is an escape when it is read;
//   - without a name, the type isn't in the text;
//   - escaped, a component with multi-byte characters may end at an ill-formed byte (zturi.h), and
//     one with a multi-byte character within two bytes behind a "%" reads back differently.
//
// A text without a slash behind the host position has neither name nor parts: ztd://s.T reads like
// ztd:///.
//
// Cost: one pass over the text; typical texts are parsed in the time of a few string copies.

#ifndef ZTDATAURI_H
#define ZTDATAURI_H

#include "zturi.h"

// A place in a data source. Of the operations of ZtURI, getHost gives the name and the type of the
// host position, and getPath the segments in front of part4, each with a slash behind it, empty
// ones too: "a/b/c/" for ztd://s.T/a/b/c/d. getHost is the name alone if in "ztd" the type, or in
// "ztf" the name, isn't set. A URI from components gives null for both until one of its texts has
// been asked for; a parsed URI composes them when they are first asked for. getQuery and
// getFragment are null.
//
// getEscapedURIString escapes source and parts; server and type are never escaped. Both texts are
// null if the scheme is neither "ztd" nor "ztf", byte by byte.
class ZTB_API ZtDataURI : public ZtURI {
 public:
  // The components, without escapes but for the type, which is parsed as it stands. A component
  // that a text doesn't have is null: the parts, and the source of a "ztf". The name of the host
  // position and the type are never null after parsing; getServer is empty for "ztd". A URI made
  // from components has none that is null.
  virtual ZtbString getSource() = 0;
  virtual ZtbString getSourceType() = 0;
  virtual ZtbString getPart1() = 0;
  virtual ZtbString getPart2() = 0;
  virtual ZtbString getPart3() = 0;
  virtual ZtbString getPart4() = 0;
  virtual ZtbString getServer() = 0;

 protected:
  // URIs end by release.
  ~ZtDataURI() = default;
};

// A new URI from components, all of which, the type too, have their escapes undone first. A null
// component is taken as an empty one. `scheme` is kept as it is, whatever it says. Never null.
// Mind that the server stands second here.
[[nodiscard]] ZTB_API ZtDataURI* getDataURIFromComponents(
    ZtbString const& scheme, ZtbString const& server, ZtbString const& source,
    ZtbString const& sourceType, ZtbString const& part1, ZtbString const& part2,
    ZtbString const& part3, ZtbString const& part4);

// Splits the text of a data URI as above. An output whose component the text doesn't have is left
// as it was: the parts, and the source of a "ztf". False if the scheme is neither "ztd" nor "ztf";
// only `*scheme` has changed then, and has what stands in front of the first ":", or null. No
// pointer may be null, and an output may be the address of `text` itself. Mind that the server
// stands last here.
ZTB_API bool getDataURIComponentsFromString(ZtbString const& text, ZtbString* scheme,
                                            ZtbString* source, ZtbString* sourceType,
                                            ZtbString* part1, ZtbString* part2, ZtbString* part3,
                                            ZtbString* part4, ZtbString* server);

#endif
