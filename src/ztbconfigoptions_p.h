// SPDX-License-Identifier: MIT
//
// What the option stores share with the lifecycle and with start-up: their start and stop, and the
// account of where each option came from.

#ifndef ZTBCONFIGOPTIONS_P_H
#define ZTBCONFIGOPTIONS_P_H

#include <map>
#include <vector>

#include "ztbconfigoptions.h"
#include "ztbdir.h"

// Creates the lock and the registry; false, with nothing left behind, when memory ran out.
bool ztbConfigOptionsStart();
// Destroys every store, the registry and the lock.
void ztbConfigOptionsStop();

// Where the value of an option came from: a file's path with the line, or a fixed text with line 0.
struct ZtbOptionOrigin {
  ZtbString source;
  int line = 0;

  // The text must live for ever; it isn't copied.
  static ZtbOptionOrigin named(char const* literal);

  // "PATH:LINE", or the source alone.
  ZtbString asString() const;
};

// Which of the files that were read into one ZtbConfigFile an entry came from.
class ZtbOptionSources {
 public:
  // Says that the lines read since the last call came from `path`.
  void add(ZtbConfigFile const& file, ZtbString const& path);
  // "the application" for an entry that none of the files has.
  ZtbOptionOrigin originOf(ZtbConfigFile const& file, ZtbString const& key) const;

 private:
  struct Range {
    int lastLine;
    ZtbString path;
  };
  std::vector<Range> mRanges;
};

class ZtbConfigOptionsImpl final : public ZtbConfigOptions {
 public:
  bool setOption(ZtbString const& key, ZtbString const& value) override;
  bool getOptionAt(unsigned int index, ZtbString* key, ZtbString* value) override;
  bool getOption(ZtbString const& key, ZtbString* value) override;
  void removeOption(ZtbString const& key) override;
  int getOptionCount() override;
  void applyEnvironment() override;
  bool applyConfigFile(ZtbConfigFile& file) override;
  bool readConfigDirectory(ZtbString const& directory, ZtbString const& extension) override;
  ZtbString getErrorMessage() override;

  // The operations above, with the origin of the values told.
  bool setOptionFrom(ZtbString const& key, ZtbString const& value, ZtbOptionOrigin const& origin);
  bool applyConfigFileFrom(ZtbConfigFile& file, ZtbOptionSources const& sources);
  // Null if the key is absent.
  ZtbString getOptionOrigin(ZtbString const& key);
  // Whether an option has found no memory since this was last asked; what sets many options goes on
  // without it.
  bool takeLoss();
  void noteLoss();

 private:
  struct Option {
    ZtbString key;
    ZtbString value;
    ZtbOptionOrigin origin;
  };
  using Index = std::map<ZtbString, std::size_t, ZtbStringLessInsensitive>;

  // False if an option found no memory; std::bad_alloc if something else did.
  bool applyListed(ZtbDirectoryListing& listing, ZtbString const& suffix);
  void insertOption(ZtbString const& key, ZtbString const& value, ZtbOptionOrigin const& origin);
  // Keeps the message and gives false.
  bool fail(ZtbString const& message);

  std::vector<Option> options;
  Index optionIndex;
  bool mHasLost = false;
  ZtbString errorMessage;
};

// The store of this name, as ztbGetConfigOptions gives it.
ZtbConfigOptionsImpl* ztbGetConfigOptionsImpl(ZtbString const& name);

#endif
