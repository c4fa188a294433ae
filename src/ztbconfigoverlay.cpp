// SPDX-License-Identifier: MIT

#include "ztbconfigoverlay.h"

#include <iterator>
#include <map>
#include <memory>
#include <new>

#include "ztbconfigfile.h"
#include "ztbconfigfile_p.h"
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

// A row outlives its caller's key, which may be static.
ZtbString ownKey(ZtbString const& key) {
  ZtbString const own(key.isNull() ? nullptr : key.asCstr(), false);
  if (own.isNull() && !key.isNull()) throw std::bad_alloc();
  return own;
}

}  // namespace

struct ZtbConfigOverlay::Body {
  using Index = std::map<ZtbString, OverlayFlags, ZtbStringLessInsensitive>;

  ZtbConfigFile baseFile;
  ZtbConfigFile overlayFile;
  Index entryIndex;
  ZtbString errorMessage;
  // Where the last look at a row by its place was, so that a walk over all rows takes each step
  // once; forgotten when the rows change.
  Index::const_iterator lastRow;
  int lastPlace = -1;

  // A deep copy; null if memory runs out.
  static Body* copyOf(Body const& other);

  Index::const_iterator rowAt(int place) {
    bool const goesOn = lastPlace >= 0 && place >= lastPlace;
    lastRow =
        goesOn ? std::next(lastRow, place - lastPlace) : std::next(entryIndex.cbegin(), place);
    lastPlace = place;
    return lastRow;
  }

  void forgetPlace() { lastPlace = -1; }

  OverlayFlags* find(ZtbString const& key) {
    auto const row = entryIndex.find(key);
    return row != entryIndex.end() ? &row->second : nullptr;
  }

  bool fail(ZtbString const& text) {
    errorMessage = text;
    return false;
  }

  bool read(ZtbConfigFile& file, ZtbString const& path, OverlayFlags ofNewRow);
  void override(ZtbString const& key, ZtbString const& value);
  void removeOverride(ZtbString const& key);
};

ZtbConfigOverlay::Body* ZtbConfigOverlay::Body::copyOf(Body const& other) {
  try {
    auto copy = std::make_unique<Body>(other);
    copy->forgetPlace();
    bool const isWhole = ZtbConfigFileLines::isThere(copy->baseFile) &&
                         ZtbConfigFileLines::isThere(copy->overlayFile);
    return isWhole ? copy.release() : nullptr;
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

// Adds the keys of the file to the rows, which for the base are made anew. Rows stay as they were
// if there is no memory for all of them.
bool ZtbConfigOverlay::Body::read(ZtbConfigFile& file, ZtbString const& path,
                                  OverlayFlags ofNewRow) {
  if (!file.read(path)) return fail(file.getErrorMessage());
  try {
    Index rows;
    if (ofNewRow.inOverlay) rows = entryIndex;
    ZtbString key;
    for (bool more = file.getNextEntry(true, &key, nullptr); more;
         more = file.getNextEntry(false, &key, nullptr)) {
      if (!ZtbConfigFileLines::isWhole(file, &key, nullptr)) throw std::bad_alloc();
      auto const [row, isNew] = rows.try_emplace(key, ofNewRow);
      if (!isNew) row->second = {true, true};
    }
    entryIndex.swap(rows);
    forgetPlace();
    return true;
  } catch (std::bad_alloc const&) {
    return fail(ztb_get_message("ztbconfigoverlay", __LINE__, "Base Services", 29, "(rows)"));
  }
}

// Gives a key a value in the overlay.
void ZtbConfigOverlay::Body::override(ZtbString const& key, ZtbString const& value) {
  forgetPlace();
  auto const row = entryIndex.try_emplace(ownKey(key), OverlayFlags{false, false}).first;
  OverlayFlags& flags = row->second;
  overlayFile.setEntry(key, value);
  if (!ZtbConfigFileLines::holds(overlayFile, key)) {
    if (!flags.inBase && !flags.inOverlay) entryIndex.erase(row);
    return;
  }
  bool const isNewToBase = flags.inBase && !flags.inOverlay;
  flags.inOverlay = true;
  if (!isNewToBase) return;
  ZtbString const comment = baseFile.getEntryComment(key);
  if (hasText(comment)) overlayFile.setEntryComment(key, comment);
}

void ZtbConfigOverlay::Body::removeOverride(ZtbString const& key) {
  auto const row = entryIndex.find(key);
  if (row == entryIndex.end() || !row->second.inOverlay) return;
  forgetPlace();
  overlayFile.deleteEntry(key);
  bool const isGone = !ZtbConfigFileLines::holds(overlayFile, key);
  if (isGone && !row->second.inBase) entryIndex.erase(row);
}

ZtbConfigOverlay::ZtbConfigOverlay() : mBody(new (std::nothrow) Body) {}

ZtbConfigOverlay::ZtbConfigOverlay(ZtbConfigOverlay const& other) : mBody(nullptr) {
  if (other.mBody == nullptr) return;
  mBody = Body::copyOf(*other.mBody);
  if (mBody == nullptr) mBody = new (std::nothrow) Body;
}

ZtbConfigOverlay& ZtbConfigOverlay::operator=(ZtbConfigOverlay const& other) {
  if (this == &other || other.mBody == nullptr) return *this;
  Body* const copy = Body::copyOf(*other.mBody);
  if (copy == nullptr) return *this;
  delete mBody;
  mBody = copy;
  return *this;
}

ZtbConfigOverlay::~ZtbConfigOverlay() {
  delete mBody;
}

bool ZtbConfigOverlay::readBase(ZtbString const& path) {
  return mBody != nullptr && mBody->read(mBody->baseFile, path, {true, false});
}

bool ZtbConfigOverlay::readOverlay(ZtbString const& path) {
  return mBody != nullptr && mBody->read(mBody->overlayFile, path, {false, true});
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
  auto const& [rowKey, row] = *mBody->rowAt(index);
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
  ZtbConfigFile& overlay = mBody->overlayFile;
  if (!row->inOverlay) overlay.setEntry(key, mBody->baseFile.getEntry(key));
  row->inOverlay = row->inOverlay || ZtbConfigFileLines::holds(overlay, key);
  overlay.setEntryComment(key, comment);
}

ZtbString ZtbConfigOverlay::getErrorMessage() {
  if (mBody == nullptr) return ZtbString("There isn't enough memory for the overlay", true);
  return mBody->errorMessage;
}
