// SPDX-License-Identifier: MIT

#include "ztbconfigoverlay.h"

#include <iterator>
#include <map>
#include <new>

#include "ztbconfigfile.h"
#include "ztbmessage.h"

namespace {

// Where a row's key is to be looked up; at least one is set.
struct OverlayFlags {
  bool inBase;
  bool inOverlay;
};

bool hasText(ZtbString const& text) {
  return text.length() > 0;
}

}  // namespace

struct ZtbConfigOverlay::Body {
  using Index = std::map<ZtbString, OverlayFlags, ZtbStringLessInsensitive>;

  ZtbConfigFile baseFile;
  ZtbConfigFile overlayFile;
  Index entryIndex;
  ZtbString errorMessage;

  OverlayFlags* find(ZtbString const& key) {
    auto const row = entryIndex.find(key);
    return row != entryIndex.end() ? &row->second : nullptr;
  }

  bool fail(ZtbString const& text) {
    errorMessage = text;
    return false;
  }

  bool failWithoutMemory() {
    return fail(ztb_get_message("ztbconfigoverlay", __LINE__, "Base Services", 29, "(rows)"));
  }

  void override(ZtbString const& key, ZtbString const& value);
  void removeOverride(ZtbString const& key);
};

// Gives a key a value in the overlay.
void ZtbConfigOverlay::Body::override(ZtbString const& key, ZtbString const& value) {
  OverlayFlags& row = entryIndex.try_emplace(key, OverlayFlags{false, true}).first->second;
  bool const isNewToBase = !row.inOverlay;
  row.inOverlay = true;
  overlayFile.setEntry(key, value);
  if (!isNewToBase) return;
  ZtbString const comment = baseFile.getEntryComment(key);
  if (hasText(comment)) overlayFile.setEntryComment(key, comment);
}

void ZtbConfigOverlay::Body::removeOverride(ZtbString const& key) {
  auto const row = entryIndex.find(key);
  if (row == entryIndex.end() || !row->second.inOverlay) return;
  // `key` may be the row's own.
  ZtbString const removed = key;
  if (!row->second.inBase) entryIndex.erase(row);
  overlayFile.deleteEntry(removed);
}

ZtbConfigOverlay::ZtbConfigOverlay() : mBody(new (std::nothrow) Body) {}

ZtbConfigOverlay::ZtbConfigOverlay(ZtbConfigOverlay const& other) : mBody(nullptr) {
  if (other.mBody == nullptr) return;
  try {
    mBody = new Body(*other.mBody);
  } catch (std::bad_alloc const&) {
    mBody = new (std::nothrow) Body;
  }
}

ZtbConfigOverlay& ZtbConfigOverlay::operator=(ZtbConfigOverlay const& other) {
  if (this == &other || other.mBody == nullptr) return *this;
  try {
    Body* const copy = new Body(*other.mBody);
    delete mBody;
    mBody = copy;
  } catch (std::bad_alloc const&) {
    // The target stays as it was.
  }
  return *this;
}

ZtbConfigOverlay::~ZtbConfigOverlay() {
  delete mBody;
}

bool ZtbConfigOverlay::readBase(ZtbString const& path) {
  if (mBody == nullptr) return false;
  ZtbConfigFile& file = mBody->baseFile;
  if (!file.read(path)) return mBody->fail(file.getErrorMessage());
  mBody->entryIndex.clear();
  try {
    ZtbString key;
    for (bool more = file.getNextEntry(true, &key, nullptr); more;
         more = file.getNextEntry(false, &key, nullptr)) {
      mBody->entryIndex.emplace(key, OverlayFlags{true, false});
    }
  } catch (std::bad_alloc const&) {
    return mBody->failWithoutMemory();
  }
  return true;
}

bool ZtbConfigOverlay::readOverlay(ZtbString const& path) {
  if (mBody == nullptr) return false;
  ZtbConfigFile& file = mBody->overlayFile;
  if (!file.read(path)) return mBody->fail(file.getErrorMessage());
  try {
    ZtbString key;
    for (bool more = file.getNextEntry(true, &key, nullptr); more;
         more = file.getNextEntry(false, &key, nullptr)) {
      auto const [row, isNew] = mBody->entryIndex.try_emplace(key, OverlayFlags{false, true});
      if (!isNew) row->second = {true, true};
    }
  } catch (std::bad_alloc const&) {
    return mBody->failWithoutMemory();
  }
  return true;
}

bool ZtbConfigOverlay::writeOverlay(ZtbString const& path) {
  if (mBody == nullptr) return false;
  ZtbConfigFile& file = mBody->overlayFile;
  return file.write(path) || mBody->fail(file.getErrorMessage());
}

int ZtbConfigOverlay::getEntryCount() {
  return mBody != nullptr ? static_cast<int>(mBody->entryIndex.size()) : 0;
}

bool ZtbConfigOverlay::getEntry(int index, ZtbString* key, ZtbString* baseValue,
                                ZtbString* overlayValue) {
  if (index < 0 || index >= getEntryCount()) {
    for (ZtbString* output : {key, baseValue, overlayValue}) {
      if (output != nullptr) output->setNull();
    }
    return false;
  }
  auto const& [rowKey, row] = *std::next(mBody->entryIndex.begin(), index);
  if (key != nullptr) *key = rowKey;
  if (row.inBase && baseValue != nullptr) *baseValue = mBody->baseFile.getEntry(rowKey);
  if (row.inOverlay && overlayValue != nullptr) *overlayValue = mBody->overlayFile.getEntry(rowKey);
  return true;
}

ZtbString ZtbConfigOverlay::getEntryComment(ZtbString const& key) {
  OverlayFlags const* const row = mBody != nullptr ? mBody->find(key) : nullptr;
  ZtbString comment;
  if (row == nullptr) return comment;
  if (row->inOverlay) comment = mBody->overlayFile.getEntryComment(key);
  if (!hasText(comment) && row->inBase) comment = mBody->baseFile.getEntryComment(key);
  return comment;
}

void ZtbConfigOverlay::setOverlayEntry(ZtbString const& key, ZtbString const& value) {
  if (mBody == nullptr) return;
  if (!hasText(value)) return mBody->removeOverride(key);
  try {
    mBody->override(key, value);
  } catch (std::bad_alloc const&) {
    // No row, no value.
  }
}

void ZtbConfigOverlay::setEntryComment(ZtbString const& key, ZtbString const& comment) {
  OverlayFlags* const row = mBody != nullptr ? mBody->find(key) : nullptr;
  if (row == nullptr) return;
  if (!row->inOverlay) mBody->overlayFile.setEntry(key, mBody->baseFile.getEntry(key));
  *row = {row->inBase, true};
  mBody->overlayFile.setEntryComment(key, comment);
}

ZtbString ZtbConfigOverlay::getErrorMessage() {
  return mBody != nullptr ? mBody->errorMessage : ZtbString();
}
