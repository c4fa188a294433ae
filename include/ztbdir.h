// SPDX-License-Identifier: MIT
//
// Paths as texts, and listings of directories.
//
// The separator is "/" alone; a backslash is a character like any other. Paths are bytes: what the
// system gives as a name is passed on unchanged, valid UTF-8 or not, and opens the same file again.
//
// Threads: the two functions have no state and may be called from any thread. A listing belongs to
// one thread at a time. All need the library up.

#ifndef ZTBDIR_H
#define ZTBDIR_H

#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbstring.h"

// Joins two paths with exactly one separator between them, however many `first` ends in. An
// absolute `second` is taken as it is, and where one is empty or null the result is the other; of
// two empty ones an empty string, not null. Neither path is looked up, and "." and ".." stay.
//
//   ztbConcatPath("/opt/suite", "etc")       "/opt/suite/etc"
//   ztbConcatPath("/opt/suite/", "etc")      "/opt/suite/etc"
//   ztbConcatPath("/opt/suite", "/etc/x")    "/etc/x"
//
// Null if memory ran out. Joined paths of up to about 250 bytes take memory for the result alone.
ZTB_API ZtbString ztbConcatPath(ZtbString const& first, ZtbString const& second);

// Splits `path` at its last separator: gives the directory part and, if `name` isn't null, the last
// component in `*name`. The separators between the two belong to neither, but the root keeps one.
// A part that isn't there is empty, not null. What is split and joined again names the same file.
//
//   "/a/b"  "/a" and "b"       "a/"   "a" and ""        "a//b"  "a" and "b"
//   "b"     ""   and "b"       "/b"   "/" and "b"       "/"     "/" and ""
//
// Null, with `*name` null too, if memory ran out. `name` may be the address of `path`'s own string.
ZTB_API ZtbString ztbParsePath(ZtbString const& path, ZtbString* name);

// Walks the entries of one directory, in the order of their names, compared byte by byte:
//
//   ZtbDirectoryListing listing;
//   if (!listing.init(path, 1)) report(listing.getErrorMessage());
//   while (listing.next()) use(listing.getFullPathName());
//
// The names are read when the listing is opened: what comes later doesn't show, and what goes
// before its turn is left out. Status (type, time, size) is read at each `next`, through links.
// The accessors tell about the entry of the last successful `next`, also after the end; where they
// differ from null, 0 and false before it, they say so.
//
// Can't be copied: a listing holds an open directory. Memory grows with the number of entries, by
// about 20 bytes and the name for each, and is kept until the listing is destroyed.
class ZTB_API ZtbDirectoryListing {
 public:
  // Bits of the flags of `init`.
  enum Flags {
    FlagNoDots = 1,          // leave out "." and ".."
    FlagDirectoriesOnly = 2  // only directories and links to directories
  };

  // Without a directory: `init` opens one.
  ZtbDirectoryListing();
  ZtbDirectoryListing(ZtbDirectoryListing const&) = delete;
  ZtbDirectoryListing& operator=(ZtbDirectoryListing const&) = delete;
  // Closes the directory.
  virtual ~ZtbDirectoryListing();

  // Opens the directory at `path` with a sum of Flags; other bits are ignored. False with a message
  // if it isn't there, isn't a directory, may not be listed, or the system fails; `init` may then
  // be tried again. Once it has succeeded a listing stays with its directory: a further call gives
  // false, sets no message and changes nothing.
  bool init(ZtbString const& path, int flags);

  // Moves to the next entry. False at the end, and before a successful `init`. An entry whose path
  // is longer than the system takes (4095 bytes) is skipped.
  bool next();

  // The entry's name, without its folder. Null if memory ran out in `next`.
  ZtbString getName();

  // The path given to `init` joined with the name. Empty between `init` and the first `next`. Null
  // if memory runs out.
  ZtbString getFullPathName();

  // Whether the entry is a directory or a link to one.
  bool isDir();

  // When the entry's content last changed, in local time. The zone is read by `init`: what the
  // variable TZ says, or else the system. Whether a change of TZ during the walk shows isn't said.
  ZtbDate getTimestamp();

  // The same moment in seconds since 1970-01-01 00:00:00 UTC. 32 bits wide: an earlier moment is 0,
  // and one after 2106-02-07 06:28:15 is 4294967295. getTimestamp has the same limits.
  unsigned long getTimestampLong();

  // Bytes in the entry. 32 bits wide: 4 GiB and more are 4294967295. 0 for a link to nowhere.
  unsigned long getSize();

  // Whether the entry can't be opened for writing by this process, as its permissions and its file
  // system are now. Nothing is opened, made or changed to find out. A directory can't be opened for
  // writing, so it is read-only in this sense; so is an entry that has gone, and none at all, as
  // between `init` and the first `next`.
  bool isReadOnly();

  // The message of the last `init` that failed; null if none has. Success doesn't clear it.
  ZtbString getErrorMessage();

 private:
  struct ZTB_LOCAL Record;

  Record* mRecord;
  ZtbString mErrorMessage;
};

#endif
