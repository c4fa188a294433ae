// SPDX-License-Identifier: MIT
//
// A message catalog as gencat of the C library compiles it, read into memory and checked.
//
// catopen maps the file and trusts it from then on: a catalog that is damaged, or cut while a
// process has it open, would end the process. Here the file is read once, each place that it names
// is checked to lie inside it, and it may be replaced or removed at any time afterwards.
//
// Layout of the file, in 32-bit words of the machine's byte order:
//
//   magic 0x960408DE | width | depth | width * depth slots | the same slots in the other byte order
//   | texts, each with a NUL behind it
//
// A slot is three words: set number + 1 (0 for a free slot), message number, offset of the text in
// the texts.
//
// Set 1 names the other sets: its message n is the name of the group whose messages are in set n.

#ifndef ZTMSG13_CATALOG_H
#define ZTMSG13_CATALOG_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ztmsg13 {

// Immutable once assigned; reading it is safe from any thread.
class Catalog {
 public:
  Catalog() = default;
  Catalog(Catalog const&) = delete;
  Catalog& operator=(Catalog const&) = delete;

  // Takes over the bytes of a compiled catalog. False if they aren't a whole one, and the catalog
  // is empty then. May throw std::bad_alloc.
  [[nodiscard]] bool assign(std::string bytes);

  // The text of a message, or null if there is none or it isn't well-formed UTF-8. Belongs to the
  // catalog.
  char const* find(std::string_view group, int number) const;

 private:
  struct Entry {
    std::uint32_t set;
    std::uint32_t number;
    char const* text;
  };

  char const* findInSet(std::uint32_t set, std::uint32_t number) const;

  std::string mBytes;
  std::vector<Entry> mEntries;  // sorted by set and number
};

enum class CatalogFile { kRead, kAbsent, kRefused };

// Reads the catalog in a file: kAbsent if nothing is there, kRefused with a reason in `reason` if
// the file can't be read or isn't a whole catalog. May throw std::bad_alloc.
[[nodiscard]] CatalogFile readCatalog(std::string const& path, Catalog& catalog,
                                      std::string& reason);

}  // namespace ztmsg13

#endif
