// SPDX-License-Identifier: MIT
//
// Two configuration files seen as one: a base that is only read, such as the one that was shipped,
// and an overlay that holds what a site or a user changed. Changes go to the overlay alone.
//
//   ZtbConfigOverlay config;
//   if (!config.readBase(shipped) || !config.readOverlay(mine)) fail(config.getErrorMessage());
//   config.setOverlayEntry(ZtbString("BASE/TEMP", true), ZtbString("/scratch", true));
//   if (!config.writeOverlay(mine)) fail(config.getErrorMessage());
//
// Both files have the format of ztbconfigfile.h. Keys are found without regard to case; a row keeps
// the spelling that first made it, which is the base's for a key of both.
//
// One object belongs to one thread at a time. The library must be up. No file stays open between
// calls. Nothing throws: an object that there was no memory for has no rows and reads nothing, and
// says so by getErrorMessage.

#ifndef ZTBCONFIGOVERLAY_H
#define ZTBCONFIGOVERLAY_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The model of both files, as rows: a key with its value in the base and its value in the overlay.
class ZTB_API ZtbConfigOverlay {
 public:
  // Without rows, and with a null error text.
  ZtbConfigOverlay();

  // A deep copy: both files, the rows and the error text. If memory runs out, the copy is empty,
  // and an assignment leaves its target as it was.
  ZtbConfigOverlay(ZtbConfigOverlay const& other);
  ZtbConfigOverlay& operator=(ZtbConfigOverlay const& other);

  // Writes nothing: changes that writeOverlay hasn't saved are lost.
  ~ZtbConfigOverlay();

  // Adds the file at `path` to the base, as ZtbConfigFile::read does, and makes the rows anew from
  // the base alone: read the overlay behind it. Several calls merge several files. False if the
  // file can't be read, with the reason in getErrorMessage and the rows as they were; what was read
  // up to a failure in its middle counts as read, so that the next call may bring it up.
  bool readBase(ZtbString const& path);

  // Adds the file at `path` to the overlay, and its keys to the rows. A key that had a row counts
  // as one of the base from then on. False as for readBase.
  bool readOverlay(ZtbString const& path);

  // Writes the overlay, as ZtbConfigFile::write does: its lines and comments stay as they were, and
  // nothing of the base is in it but what was copied. False if that fails, with the reason.
  bool writeOverlay(ZtbString const& path);

  // The number of rows, that is of keys that the two files show together.
  int getEntryCount();

  // The row at place `index`, from 0, in the order of the keys without regard to case. A value that
  // the key doesn't have is left as the caller had it: make both null first. False for an index out
  // of range, with all three null. An output that isn't wanted may be a null pointer. A walk
  // from place to place costs one look-up a file and row; a step back, or behind a change, starts
  // from the first row.
  bool getEntry(int index, ZtbString* key, ZtbString* baseValue, ZtbString* overlayValue);

  // The comment of the overlay's entry, or that of the base's if there is no text in it; null for a
  // key without a row.
  ZtbString getEntryComment(ZtbString const& key);

  // Sets the overlay's value of `key`, which gets a row if it has none. An override that comes new
  // to a key of the base takes the base's comment along.
  //
  // An empty or null value takes the override away: the base's value shows again, and a key that
  // only the overlay has loses its row. What stood in the overlay's file becomes a comment there,
  // "#-DELETED key=value". A row of both files goes on counting as one of the overlay: a value set
  // later stands at the file's end, without the base's comment. Out of memory: the value, or the
  // comment that comes with it, stays as it was.
  void setOverlayEntry(ZtbString const& key, ZtbString const& value);

  // Sets the comment in the overlay. A key that only the base has becomes one of the overlay too,
  // with the base's value. Nothing happens for a key without a row, for one of both files whose
  // override was taken away, and without memory for the comment.
  void setEntryComment(ZtbString const& key, ZtbString const& comment);

  // Why the last failure was; null if there was none. Success doesn't clear it.
  ZtbString getErrorMessage();

 private:
  struct ZTB_LOCAL Body;
  Body* mBody;
};

#endif
