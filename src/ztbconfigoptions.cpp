// SPDX-License-Identifier: MIT
//
// Option stores and their registry. optionsLock guards all of it; it may be taken inside the global
// lock, never the other way round.

#include "ztbconfigoptions.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "ztbb10.h"
#include "ztbconfigfile_p.h"
#include "ztbconfigoptions_p.h"
#include "ztbdir.h"
#include "ztbstring_p.h"
#include "ztbstringformat_p.h"
#include "ztschr12.h"
#include "ztssys11.h"

namespace {

using Registry = std::map<ZtbString, std::unique_ptr<ZtbConfigOptionsImpl>>;

constexpr char kRegistryPrefix[] = "ZTB_CONF_OPT/";
constexpr char kApplication[] = "the application";
constexpr unsigned kInvalidCodePoint = ~0u;

constinit ZtLock optionsLock = nullptr;
constinit Registry* storeRegistry = nullptr;

// Null when memory ran out: a key without its name would be that of the main store, which takes no
// memory.
ZtbString registryKey(ZtbString const& name) {
  ZtbString key(kRegistryPrefix, true);
  if (name.length() == 0) return key;
  bool failed = false;
  key.append(name, &failed);
  return failed ? ZtbString() : key;
}

bool isWellFormed(char const* text) {
  while (*text != '\0') {
    int bytes = 0;
    if (np_uchar_toint(text, &bytes) == kInvalidCodePoint) return false;
    text += bytes;
  }
  return true;
}

int environmentEncoding() {
  char charset[4096];
  np_lcinfo_charset(charset, sizeof charset);
  int const encoding = np_uchar_getenc(charset);
  return encoding != -1 ? encoding : np_enc_windows1252;
}

// The entry in UTF-8. The usual entry fits a small buffer; the bound for a longer one is the widest
// growth, four bytes of UTF-8 for each byte.
ZtbString toUtf8(char const* entry, int encoding) {
  if (isWellFormed(entry)) return ZtbString(entry, false);
  constexpr std::size_t kGrowth = 4;
  std::vector<char> buffer(std::max<std::size_t>(4096, std::strlen(entry) * kGrowth + 1));
  np_uchar_encode(encoding, entry, buffer.data(), static_cast<int>(buffer.size()));
  return ZtbString(buffer.data(), false);
}

struct EnvironmentVisit {
  ZtbConfigOptionsImpl* store;
  int encoding;
};

void applyVariable(void* context, char const* entry) {
  auto const* const visit = static_cast<EnvironmentVisit*>(context);
  try {
    ZtbString const text = ztbOrThrow(toUtf8(entry, visit->encoding));
    int const equals = text.find(ZtbString("=", true), 0);
    if (equals < 0) return;
    ZtbString const value = ztbOrThrow(text.mid(static_cast<unsigned>(equals) + 1, -1));
    visit->store->setOptionFrom(ztbOrThrow(text.mid(0, equals)), value,
                                ZtbOptionOrigin::named("the environment"));
  } catch (std::bad_alloc const&) {
    visit->store->noteLoss();
  }
}

ZtbString suffixOf(ZtbString const& extension) {
  ZtbString suffix;
  if (extension.length() == 0) return suffix;
  suffix.assign(".");
  bool failed = suffix.isNull();
  if (!failed) suffix.append(extension, &failed);
  if (failed) throw std::bad_alloc();
  return suffix;
}

bool endsWith(ZtbString const& path, ZtbString const& suffix) {
  if (suffix.length() == 0) return true;
  ZtbString const end = ztbOrThrow(path.right(static_cast<int>(suffix.length())));
  return end.compare(suffix, false) == 0;
}

}  // namespace

bool ztbConfigOptionsStart() {
  optionsLock = ztLockCreate(1, 1);
  if (optionsLock == nullptr) return false;
  storeRegistry = new (std::nothrow) Registry;
  ztLockRelease(optionsLock);
  if (storeRegistry != nullptr) return true;
  ztLockDestroy(optionsLock);
  optionsLock = nullptr;
  return false;
}

void ztbConfigOptionsStop() {
  if (optionsLock == nullptr) return;
  {
    ZtLockHold const hold(optionsLock);
    delete storeRegistry;
    storeRegistry = nullptr;
  }
  ztLockDestroy(optionsLock);
  optionsLock = nullptr;
}

ZtbConfigOptionsImpl* ztbGetConfigOptionsImpl(ZtbString const& name) {
  ZtbString const key = registryKey(name);
  ZtLockHold const hold(optionsLock);
  if (storeRegistry == nullptr || key.isNull()) return nullptr;
  auto const found = storeRegistry->find(key);
  if (found != storeRegistry->end()) return found->second.get();
  try {
    auto store = std::make_unique<ZtbConfigOptionsImpl>();
    return storeRegistry->emplace(key, std::move(store)).first->second.get();
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

ZtbConfigOptions* ztbGetConfigOptions(ZtbString const& name) {
  return ztbGetConfigOptionsImpl(name);
}

void ztbClearConfigOptions(ZtbString const& name) {
  ZtbString const key = registryKey(name);
  ZtLockHold const hold(optionsLock);
  if (storeRegistry != nullptr) storeRegistry->erase(key);
}

ZtbOptionOrigin ZtbOptionOrigin::named(char const* literal) {
  return {ZtbString(literal, true), 0};
}

ZtbString ZtbOptionOrigin::asString() const {
  return line > 0 ? ztbWholeFormat("%S:%d", &source, line) : source;
}

void ZtbOptionSources::add(ZtbConfigFile const& file, ZtbString const& path) {
  mRanges.push_back({ZtbConfigFileLines::count(file), path});
}

ZtbOptionOrigin ZtbOptionSources::originOf(ZtbConfigFile const& file, ZtbString const& key) const {
  int const line = ZtbConfigFileLines::ofEntry(file, key);
  auto const range =
      std::lower_bound(mRanges.begin(), mRanges.end(), line,
                       [](Range const& one, int wanted) { return one.lastLine < wanted; });
  if (line < 0 || range == mRanges.end()) return ZtbOptionOrigin::named(kApplication);
  int const linesBefore = range == mRanges.begin() ? 0 : std::prev(range)->lastLine;
  return {range->path, line - linesBefore};
}

void ZtbConfigOptionsImpl::insertOption(ZtbString const& key, ZtbString const& value,
                                        ZtbOptionOrigin const& origin) {
  auto const [row, isNew] = optionIndex.try_emplace(key, options.size());
  if (!isNew) {
    Option& option = options[row->second];
    option.value = value;
    option.origin = origin;
    return;
  }
  try {
    options.push_back({key, value, origin});
  } catch (...) {
    optionIndex.erase(row);
    throw;
  }
}

bool ZtbConfigOptionsImpl::setOptionFrom(ZtbString const& key, ZtbString const& value,
                                         ZtbOptionOrigin const& origin) {
  ZtLockHold const hold(optionsLock);
  try {
    insertOption(key, value, origin);
    return true;
  } catch (std::bad_alloc const&) {
    mHasLost = true;
    return false;
  }
}

bool ZtbConfigOptionsImpl::takeLoss() {
  ZtLockHold const hold(optionsLock);
  return std::exchange(mHasLost, false);
}

void ZtbConfigOptionsImpl::noteLoss() {
  ZtLockHold const hold(optionsLock);
  mHasLost = true;
}

bool ZtbConfigOptionsImpl::fail(ZtbString const& message) {
  ZtLockHold const hold(optionsLock);
  errorMessage = message;
  return false;
}

bool ZtbConfigOptionsImpl::setOption(ZtbString const& key, ZtbString const& value) {
  return setOptionFrom(key, value, ZtbOptionOrigin::named(kApplication));
}

bool ZtbConfigOptionsImpl::getOptionAt(unsigned int index, ZtbString* key, ZtbString* value) {
  ZtLockHold const hold(optionsLock, ZtLockHold::kShared);
  if (index >= options.size()) return false;
  if (key != nullptr) *key = options[index].key;
  if (value != nullptr) *value = options[index].value;
  return true;
}

bool ZtbConfigOptionsImpl::getOption(ZtbString const& key, ZtbString* value) {
  ZtLockHold const hold(optionsLock, ZtLockHold::kShared);
  auto const row = optionIndex.find(key);
  bool const found = row != optionIndex.end();
  if (value != nullptr) *value = found ? options[row->second].value : ZtbString();
  return found;
}

ZtbString ZtbConfigOptionsImpl::getOptionOrigin(ZtbString const& key) {
  ZtLockHold const hold(optionsLock, ZtLockHold::kShared);
  auto const row = optionIndex.find(key);
  return row != optionIndex.end() ? options[row->second].origin.asString() : ZtbString();
}

void ZtbConfigOptionsImpl::removeOption(ZtbString const& key) {
  ZtLockHold const hold(optionsLock);
  auto const row = optionIndex.find(key);
  if (row == optionIndex.end()) return;
  std::size_t const position = row->second;
  optionIndex.erase(row);
  options.erase(options.begin() + static_cast<std::ptrdiff_t>(position));
  for (auto& [other, place] : optionIndex) {
    if (place > position) --place;
  }
}

int ZtbConfigOptionsImpl::getOptionCount() {
  ZtLockHold const hold(optionsLock, ZtLockHold::kShared);
  return static_cast<int>(options.size());
}

void ZtbConfigOptionsImpl::applyEnvironment() {
  EnvironmentVisit visit{this, environmentEncoding()};
  if (np_env_walk(applyVariable, &visit) != 0) noteLoss();
}

bool ZtbConfigOptionsImpl::applyConfigFileFrom(ZtbConfigFile& file,
                                               ZtbOptionSources const& sources) {
  ZtbString key;
  ZtbString value;
  for (bool more = file.getNextEntry(true, &key, &value); more;
       more = file.getNextEntry(false, &key, &value)) {
    if (!ZtbConfigFileLines::isWhole(file, &key, &value)) {
      noteLoss();
      return false;
    }
    if (!setOptionFrom(key, value, sources.originOf(file, key))) return false;
  }
  return true;
}

bool ZtbConfigOptionsImpl::applyConfigFile(ZtbConfigFile& file) {
  return applyConfigFileFrom(file, ZtbOptionSources());
}

bool ZtbConfigOptionsImpl::readConfigDirectory(ZtbString const& directory,
                                               ZtbString const& extension) {
  ZtbDirectoryListing listing;
  if (!listing.init(directory, 1)) return fail(listing.getErrorMessage());
  try {
    if (applyListed(listing, suffixOf(extension))) return true;
  } catch (std::bad_alloc const&) {
    noteLoss();
  }
  return fail(ZtbString(kNoMemoryText, true));
}

bool ZtbConfigOptionsImpl::applyListed(ZtbDirectoryListing& listing, ZtbString const& suffix) {
  ZtbConfigFile file;
  ZtbOptionSources sources;
  while (listing.next()) {
    ZtbString const path = ztbOrThrow(listing.getFullPathName());
    if (!endsWith(path, suffix)) continue;
    if (!file.read(path) && ZtbConfigFileLines::lacksMemory(file)) throw std::bad_alloc();
    sources.add(file, path);
  }
  return applyConfigFileFrom(file, sources);
}

ZtbString ZtbConfigOptionsImpl::getErrorMessage() {
  return errorMessage;
}
