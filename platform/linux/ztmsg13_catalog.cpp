// SPDX-License-Identifier: MIT
//
// Reads compiled message catalogs.

#include "ztmsg13_catalog.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "ztschr12.h"
#include "ztsfio12_handle.h"

namespace ztmsg13 {

namespace {

constexpr std::uint32_t kMagic = 0x960408DE;
constexpr std::size_t kHeaderBytes = 3 * sizeof(std::uint32_t);
constexpr std::size_t kSlotBytes = 3 * sizeof(std::uint32_t);
constexpr std::uint32_t kNameSet = 1;
// Far above any real catalog; keeps a wrong file from filling the memory.
constexpr off_t kMaxFileBytes = 16 * 1024 * 1024;

std::uint32_t wordAt(std::string const& bytes, std::size_t offset) {
  std::uint32_t word;
  std::memcpy(&word, bytes.data() + offset, sizeof(word));
  return word;
}

// The number of slots, or 0 if the bytes don't begin with a whole header and whole slots.
std::size_t countSlots(std::string const& bytes) {
  if (bytes.size() < kHeaderBytes || wordAt(bytes, 0) != kMagic) return 0;
  std::uint64_t const slots = std::uint64_t{wordAt(bytes, 4)} * wordAt(bytes, 8);
  return slots <= (bytes.size() - kHeaderBytes) / (2 * kSlotBytes) ? slots : 0;
}

bool isUtf8(char const* text) {
  int charBytes = 0;
  for (; *text != '\0'; text += charBytes) {
    if (np_uchar_toint(text, &charBytes) == ~0u) return false;
  }
  return true;
}

// Reads what the descriptor has, which must be a regular file of a sensible size.
int readAll(NpDescriptor const& file, std::string& bytes) {
  struct stat status;
  if (fstat(file.get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (status.st_size > kMaxFileBytes) return EFBIG;
  bytes.resize(static_cast<std::size_t>(status.st_size));
  ssize_t const got = npReadFull(file, bytes.data(), bytes.size());
  if (got < 0) return errno;
  bytes.resize(static_cast<std::size_t>(got));
  return 0;
}

}  // namespace

bool Catalog::assign(std::string bytes) {
  mEntries.clear();
  mBytes = std::move(bytes);
  std::size_t const slots = countSlots(mBytes);
  if (slots == 0) return false;
  // With a NUL as its last byte, a text that begins inside the file also ends there.
  std::size_t const texts = kHeaderBytes + slots * 2 * kSlotBytes;
  if (texts >= mBytes.size() || mBytes.back() != '\0') return false;

  std::vector<Entry> entries;
  for (std::size_t at = kHeaderBytes; at < kHeaderBytes + slots * kSlotBytes; at += kSlotBytes) {
    std::uint32_t const setPlusOne = wordAt(mBytes, at);
    if (setPlusOne == 0) continue;
    std::uint32_t const offset = wordAt(mBytes, at + 8);
    if (offset >= mBytes.size() - texts) return false;
    entries.push_back({setPlusOne - 1, wordAt(mBytes, at + 4), mBytes.data() + texts + offset});
  }
  std::stable_sort(entries.begin(), entries.end(), [](Entry const& a, Entry const& b) {
    return std::tie(a.set, a.number) < std::tie(b.set, b.number);
  });
  mEntries = std::move(entries);
  return true;
}

char const* Catalog::find(std::string_view group, int number) const {
  for (Entry const& name : mEntries) {
    if (name.set > kNameSet) break;
    if (name.set == kNameSet && name.number > kNameSet && group == name.text) {
      char const* const text = findInSet(name.number, static_cast<std::uint32_t>(number));
      return text != nullptr && isUtf8(text) ? text : nullptr;
    }
  }
  return nullptr;
}

char const* Catalog::findInSet(std::uint32_t set, std::uint32_t number) const {
  auto const place = std::lower_bound(
      mEntries.begin(), mEntries.end(), std::tie(set, number),
      [](Entry const& entry, auto const& key) { return std::tie(entry.set, entry.number) < key; });
  bool const found = place != mEntries.end() && place->set == set && place->number == number;
  return found ? place->text : nullptr;
}

CatalogFile readCatalog(std::string const& path, Catalog& catalog, std::string& reason) {
  // Without O_NONBLOCK a pipe of that name would hold the process until somebody writes to it.
  NpDescriptor file;
  std::string bytes;
  int error = 0;
  if (npOpenDescriptor(path.c_str(), O_RDONLY | O_NONBLOCK, file) != 0) {
    error = errno;
    if (error == ENOENT || error == ENOTDIR) return CatalogFile::kAbsent;
  } else {
    error = readAll(file, bytes);
  }
  if (error != 0) {
    reason = "The message catalog \"" + path +
             "\" can't be read: " + np_fio_errdesc(npFioCode(error)) + ".";
    return CatalogFile::kRefused;
  }
  if (catalog.assign(std::move(bytes))) return CatalogFile::kRead;
  reason = "The message catalog \"" + path +
           "\" is damaged or isn't a message catalog. Compile it again with gencat.";
  return CatalogFile::kRefused;
}

}  // namespace ztmsg13
