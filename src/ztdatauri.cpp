// SPDX-License-Identifier: MIT
//
// Data URIs. The two schemes differ in which component stands where; one row of a table says it for
// each, and parsing and composing both go by that row.

#include "ztdatauri.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "ztbstringformat_p.h"
#include "ztdatauri_p.h"
#include "ztschr12.h"
#include "zturi_p.h"

namespace {

// Null is what a text didn't say.
struct DataComponents {
  ZtbString source;
  ZtbString sourceType;
  ZtbString part1;
  ZtbString part2;
  ZtbString part3;
  ZtbString part4;
  ZtbString server;
};

using Component = ZtbString DataComponents::*;

constexpr std::size_t kMostSegments = 5;

// scheme://name.type/segment/segment/.../last
struct Grammar {
  char const* scheme;
  Component name;            // stands in the host position, in front of the type
  Component typedHost;       // getHost shows the type if this is set
  char const* defaultType;   // the type of a host without a dot
  std::size_t leastUnnamed;  // segments that a text without a name shows even if they are empty
  std::size_t count;
  Component segments[kMostSegments];
};

constexpr Grammar kGrammars[] = {
    {"ztd",
     &DataComponents::source,
     &DataComponents::sourceType,
     "ODBC",
     0,
     4,
     {&DataComponents::part1, &DataComponents::part2, &DataComponents::part3,
      &DataComponents::part4}},
    {"ztf",
     &DataComponents::server,
     &DataComponents::server,
     "",
     1,
     5,
     {&DataComponents::source, &DataComponents::part1, &DataComponents::part2,
      &DataComponents::part3, &DataComponents::part4}},
};

Grammar const* findGrammar(std::string_view scheme) {
  auto const* const row = std::find_if(std::begin(kGrammars), std::end(kGrammars),
                                       [&](Grammar const& one) { return scheme == one.scheme; });
  return row != std::end(kGrammars) ? row : nullptr;
}

// Parsing.

// Whether the rest of a text, `piece`, has more than `count` characters.
bool isLonger(std::string_view piece, std::size_t count) {
  constexpr std::size_t kMostBytesOfACharacter = 4;
  return piece.size() > count * kMostBytesOfACharacter || np_uchar_length(piece.data()) > count;
}

// The first dot ends the name, unless it is the first character.
void parseHost(Grammar const& grammar, std::string_view host, DataComponents* out) {
  if (grammar.name != &DataComponents::server) out->server = ZtbString("", true);
  std::size_t const dot = host.find('.');
  bool const isTyped = dot != std::string_view::npos && dot > 0;
  ztURIUnescape(isTyped ? host.substr(0, dot) : host, &(out->*grammar.name));
  std::string_view const type = isTyped ? host.substr(dot + 1) : grammar.defaultType;
  if (type == grammar.defaultType) {
    out->sourceType = ZtbString(grammar.defaultType, true);
  } else {
    ztURIAssign(type, &out->sourceType);
  }
}

void parseSegment(Component segment, std::string_view text, DataComponents* out) {
  if (!text.empty()) ztURIUnescape(text, &(out->*segment));
}

// The last slash begins the last segment. What stands in front of it is cut at its first slashes,
// and the segment before the last takes all the rest, further slashes included.
void parsePath(Grammar const& grammar, std::string_view path, DataComponents* out) {
  std::size_t const lastSegment = grammar.count - 1;
  if (!path.data() || !isLonger(path, lastSegment)) return;
  std::size_t const last = path.rfind('/');
  bool const isOneSegment = last == std::string_view::npos;
  parseSegment(grammar.segments[lastSegment], isOneSegment ? path : path.substr(last + 1), out);
  if (isOneSegment) return;
  std::string_view front = path.substr(0, last);
  for (std::size_t i = 0; i < lastSegment; ++i) {
    std::size_t const slash = i + 1 < lastSegment ? front.find('/') : std::string_view::npos;
    parseSegment(grammar.segments[i], front.substr(0, slash), out);
    if (slash == std::string_view::npos) return;
    front.remove_prefix(slash + 1);
  }
}

// Gives null, with the components untouched, for another scheme.
Grammar const* parse(ZtURIPieces const& pieces, DataComponents* out) {
  Grammar const* const grammar = findGrammar(pieces.scheme);
  if (!grammar) return nullptr;
  parseHost(*grammar, pieces.host, out);
  parsePath(*grammar, pieces.path, out);
  return grammar;
}

void putFound(ZtbString const& component, ZtbString* out) {
  if (!component.isNull()) *out = component;
}

// Composing.

// The first segments, each but the very last with a slash behind it. Makes `out` null when memory
// ran out.
void appendSegments(Grammar const& grammar, DataComponents const& components, std::size_t count,
                    ZtbString* out) {
  bool failed = false;
  for (std::size_t i = 0; i < count && !failed; ++i) {
    out->append(components.*grammar.segments[i], &failed);
    if (i + 1 < grammar.count && !failed) out->append("/", 1, &failed);
  }
  if (failed) out->setNull();
}

std::size_t countToLastSet(Grammar const& grammar, DataComponents const& components) {
  std::size_t count = grammar.count;
  while (count > 0 && !ztURIIsSet(components.*grammar.segments[count - 1])) --count;
  return count;
}

ZtbString composeDataURIText(Grammar const& grammar, DataComponents const& components) {
  ZtbString const& name = components.*grammar.name;
  std::size_t const count = countToLastSet(grammar, components);
  if (!ztURIIsSet(name)) {
    ZtbString text = ztbWholeFormat("%s:///", grammar.scheme);
    if (text.isNull()) return text;
    appendSegments(grammar, components, std::max(count, grammar.leastUnnamed), &text);
    return text;
  }
  ZtbString text = ztbWholeFormat("%s://%S.%S/", grammar.scheme, &name, &components.sourceType);
  if (text.isNull()) return text;
  appendSegments(grammar, components, count, &text);
  return text;
}

class ZtDataURIImpl : public ZtURIBase<ZtDataURI> {
 public:
  explicit ZtDataURIImpl(ZtbString const& text);
  ZtDataURIImpl(ZtbString const& ofScheme, DataComponents const& ofComponents)
      : components(ofComponents) {
    scheme = ofScheme;
  }

  // A parsed URI composes its host and its path when they are first asked for.
  ZtbString getHost() override {
    if (ztURIIsSet(uriText)) composeHostAndPath();
    return host;
  }
  ZtbString getPath() override {
    if (ztURIIsSet(uriText)) composeHostAndPath();
    return path;
  }
  ZtDataURI* asDataURI() override { return this; }
  ZtbString getURIString() override;
  ZtbString getEscapedURIString() override;

  ZtbString getSource() override { return components.source; }
  ZtbString getSourceType() override { return components.sourceType; }
  ZtbString getPart1() override { return components.part1; }
  ZtbString getPart2() override { return components.part2; }
  ZtbString getPart3() override { return components.part3; }
  ZtbString getPart4() override { return components.part4; }
  ZtbString getServer() override { return components.server; }

 private:
  Grammar const* composeHostAndPath();

  DataComponents components;
};

ZtDataURIImpl::ZtDataURIImpl(ZtbString const& text) {
  Grammar const* const grammar = parse(ztURISplit(text), &components);
  if (!grammar) return;
  scheme = ZtbString(grammar->scheme, true);
  uriText = text;
}

// Gives the grammar that it went by, or null for another scheme.
Grammar const* ZtDataURIImpl::composeHostAndPath() {
  Grammar const* const grammar = findGrammar(scheme.asCstr());
  if (!grammar) return nullptr;
  if (!ztURIIsSet(path)) appendSegments(*grammar, components, grammar->count - 1, &path);
  if (ztURIIsSet(host)) return grammar;
  host = components.*grammar->name;
  if (!ztURIIsSet(components.*grammar->typedHost)) return grammar;
  host = ztbWholeFormat("%S.%S", &host, &components.sourceType);
  return grammar;
}

ZtbString ZtDataURIImpl::getURIString() {
  if (ztURIIsSet(uriText)) return uriText;
  Grammar const* const grammar = composeHostAndPath();
  if (grammar) uriText = composeDataURIText(*grammar, components);
  return uriText;
}

ZtbString ZtDataURIImpl::getEscapedURIString() {
  Grammar const* const grammar = composeHostAndPath();
  if (!grammar) return ZtbString();
  DataComponents escaped = components;
  for (Component const component :
       {&DataComponents::source, &DataComponents::part1, &DataComponents::part2,
        &DataComponents::part3, &DataComponents::part4}) {
    escaped.*component = ztURIEscaped(escaped.*component);
  }
  return composeDataURIText(*grammar, escaped);
}

}  // namespace

ZtURI* parseDataURI(ZtbString const& text) {
  return new ZtDataURIImpl(text);
}

ZtDataURI* getDataURIFromComponents(ZtbString const& scheme, ZtbString const& server,
                                    ZtbString const& source, ZtbString const& sourceType,
                                    ZtbString const& part1, ZtbString const& part2,
                                    ZtbString const& part3, ZtbString const& part4) {
  return new ZtDataURIImpl(
      scheme, {ztURIUnescaped(source), ztURIUnescaped(sourceType), ztURIUnescaped(part1),
               ztURIUnescaped(part2), ztURIUnescaped(part3), ztURIUnescaped(part4),
               ztURIUnescaped(server)});
}

bool getDataURIComponentsFromString(ZtbString const& text, ZtbString* scheme, ZtbString* source,
                                    ZtbString* sourceType, ZtbString* part1, ZtbString* part2,
                                    ZtbString* part3, ZtbString* part4, ZtbString* server) {
  ZtbString const whole = text;  // an output may be the text itself
  ZtURIPieces const pieces = ztURISplit(whole);
  ztURIAssign(pieces.scheme, scheme);
  DataComponents found;
  if (!parse(pieces, &found)) return false;
  putFound(found.source, source);
  putFound(found.sourceType, sourceType);
  putFound(found.part1, part1);
  putFound(found.part2, part2);
  putFound(found.part3, part3);
  putFound(found.part4, part4);
  putFound(found.server, server);
  return true;
}
