// SPDX-License-Identifier: MIT
//
// A plain text file of key=value lines, read into memory, changed by its entries and written back
// with every comment, every line that isn't an entry and the order of the lines as they were: a
// rewrite is a faithful edit and not a dump. The format has no sections, no quoting and no
// continuation lines; docs/configuration-file.md gives its grammar.
//
// One object is used by one thread at a time; distinct objects are independent. The library must be
// up, since all texts are ZtbString. No file stays open between calls. This isn't the effective
// configuration of the process: that is the option store of ztbconfigoptions.h.

#ifndef ZTBCONFIGFILE_H
#define ZTBCONFIGFILE_H

#include "ztbdefs.h"
#include "ztbstring.h"

// The model of one file, or of several read one after the other.
//
// Keys are found without regard to case, by ZtbString::compare(other, false): temp, Temp and TEMP
// are one key. A key keeps the spelling that first created it, and each line of the file keeps its
// own. "Key order" below is the order of ZtbStringLessInsensitive.
//
// Null and empty: a null key is a key of its own that comes before the empty one; both are written
// as an empty key. A null value is delivered as null and written as an empty one.
//
// Look-ups and edits take time in proportion to the logarithm of the number of entries. Memory is
// the texts plus some 60 bytes an entry.
//
//   ZtbConfigFile file;
//   if (!file.read(path)) return complain(file.getErrorMessage());
//   file.setEntry(ZtbString("BASE/TEMP", true), ZtbString("/var/tmp", true));
//   if (!file.write(path)) return complain(file.getErrorMessage());
class ZTB_API ZtbConfigFile {
 public:
  // An empty model: no lines, no entries, a null error text. If there is no memory for it, the
  // object stays empty, read and write give false and getErrorMessage says why.
  ZtbConfigFile();

  // A deep copy: lines, entries, error text, the count of lines read and the place of getNextEntry.
  // The two objects share nothing afterwards. If memory runs out, the copy is empty, and an
  // assignment leaves its target as it was. Assigning an object to itself changes nothing.
  ZtbConfigFile(ZtbConfigFile const& other);
  ZtbConfigFile& operator=(ZtbConfigFile const& other);

  // Writes nothing: changes that `write` hasn't saved are lost.
  ~ZtbConfigFile();

  // Adds the lines and entries of the file at `path` to what is already there. The encoding is
  // detected, and a byte-order mark isn't part of the text. Each line is trimmed of white space at
  // both ends; lines have no upper length, and no line is wrong: what isn't an entry is kept.
  //
  // The last definition of a key wins. An earlier one stays where it stood as a plain line: its
  // comment, then the key in the later spelling, "=" and the earlier value. This holds over several
  // files read into one object too, so that reading a second file merges it. An earlier value that
  // setEntry created and that has no line of its own leaves nothing behind: the entry then stands
  // where the file defines it, and is written once, there.
  //
  // False if the file can't be opened or read, with the reason in getErrorMessage. A file that
  // can't be opened changes nothing; when reading fails later, what was read up to there stays.
  // When memory runs out the result is false, and the model may hold a part of the file: clear it.
  bool read(ZtbString const& path);

  // Replaces the content of the file at `path` by the model, as UTF-8 with LF at each line's end;
  // what is ill-formed in a text that was set becomes U+FFFD.
  // The lines come in their order, each entry as "key=value" in its line's spelling, under
  // "#comment" if its comment has text. Then each entry without a line of its own comes in key
  // order, behind a blank line. The model doesn't change, so that a second call writes the same.
  //
  // The file is rewritten in place: while the call runs, and after a failure of the medium, it
  // holds a part of the model. Who can't have that writes beside the file and renames. False at the
  // first failure, a full disk included, with the reason in getErrorMessage.
  //
  // An entry whose line would read back as something else isn't written: if a key holds "=", or
  // begins with "#", or if a key or value holds a line break, the result is false, the text names
  // the entry, and the file isn't touched. Only setEntry can create such entries. (White space at
  // the ends of key, value and comment is written, and trimmed by the next read.) A comment of
  // several lines is written as several comment lines.
  bool write(ZtbString const& path);

  // Forgets all lines and entries and the error text, but not how many lines were read.
  void clear();

  // The number of entries, not of lines.
  int getEntryCount();

  // The value of the key; a null string if the key is absent.
  ZtbString getEntry(ZtbString const& key);

  // The entry at place `index`, from 0, in key order; costs time in proportion to `index`, so that
  // a walk over all entries belongs to getNextEntry. An index below 0 or not below getEntryCount
  // gives false and makes both outputs null. An output that isn't wanted may be a null pointer.
  bool getEntry(int index, ZtbString* key, ZtbString* value);

  // Walks the entries in key order: `first` true goes to the first entry, false to the next one.
  // True with the entry's key and value; false at the end, with the outputs unchanged. On a fresh
  // object, after clear and after deleteEntry of the entry where the walk stands, the walk is at
  // its end until it starts again with `first` true. Other edits, and read, leave it where it is.
  // An output that isn't wanted may be a null pointer; one that memory doesn't reach for is null.
  bool getNextEntry(bool first, ZtbString* key, ZtbString* value);

  // Changes the value of an entry, which keeps its comment, its line and its spelling; or creates
  // an entry without a line, which write puts at the end of the file. Any text is held and
  // delivered as it is; write says which ones a file can't hold. Out of memory: nothing changes.
  void setEntry(ZtbString const& key, ZtbString const& value);

  // Removes an entry; an absent key does nothing. An entry of the file leaves its comment, if it
  // has text, and "#-DELETED key=value" in its place, in the caller's spelling of the key; nothing
  // reads that back as a deletion. If the entry was read without a comment and got one afterwards,
  // both lines stand at its one place, so that no other line of the file is overwritten. A line
  // break that was set in the value becomes a blank there. An entry without a line leaves no trace.
  // Out of memory: nothing changes.
  void deleteEntry(ZtbString const& key);

  // The comment of the entry, without its "#" and untrimmed on the left; a null string if the key
  // is absent or the entry never had a comment.
  ZtbString getEntryComment(ZtbString const& key);

  // Sets the comment of an existing entry; an absent key does nothing. A null or empty comment
  // takes the comment line away. Out of memory: nothing changes.
  void setEntryComment(ZtbString const& key, ZtbString const& comment);

  // The text of the last failure; null if there was none since construction or clear. Success
  // doesn't clear it.
  ZtbString getErrorMessage();

 private:
  friend struct ZtbConfigFileLines;
  struct ZTB_LOCAL Body;
  Body* mBody;
};

#endif
