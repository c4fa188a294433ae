// SPDX-License-Identifier: MIT
//
// Passwords and other texts that nobody may see: they come from a file descriptor or from the
// terminal, without echo, and never from the command line or the environment, where others could
// read them.

#ifndef ZTB_SECRET_H
#define ZTB_SECRET_H

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <string_view>

#include "ztauth_userfile.h"
#include "ztbstring.h"

namespace tool {

// A text in memory that is kept out of swap and core files where the system grants it, and that is
// overwritten when it is given back.
class Secret {
 public:
  Secret() = default;
  std::string_view text() const { return {reinterpret_cast<char const*>(mBytes.data()), mLength}; }

  // The same text, good as long as this lives.
  ZtbString string() const { return {mLength > 0 ? text().data() : "", true}; }

  // Makes room for that many bytes behind the text, or more; what is written there becomes text by
  // `grow`. All behind the text stays zero. `spare` tells how many bytes there are, after `room`.
  char* room(std::size_t bytes);
  std::size_t spare() const;
  void grow(std::size_t bytes) { mLength += bytes; }
  void cut(std::size_t length);

 private:
  ztauth::SecretBytes mBytes;  // one more than the text at least, as the terminator
  std::size_t mLength = 0;
};

// Where a secret comes from: a descriptor, or without one the terminal.
struct SecretPlace {
  static constexpr int kTerminal = -1;

  int descriptor = kTerminal;
};

// Declares `--NAME N`, the descriptor that a secret is read from.
void addSecretOption(CLI::App& app, std::string const& name, SecretPlace& place,
                     std::string const& description);

// A secret that exists already, or one that is being set: the terminal asks for that twice.
// Refuses one that is empty, has more than one line or a NUL, isn't UTF-8, or has more than 1 MiB.
// `what` names it, such as "password of user \"kim\"". A line end behind it isn't part of it.
Secret takeSecret(std::string const& what, SecretPlace place);
Secret takeNewSecret(std::string const& what, SecretPlace place);

// All that a descriptor gives, at most `mostBytes`. `what` names it in refusals.
Secret readAll(int descriptor, std::size_t mostBytes, std::string const& what);

// Overwrites a secret that the library gave, and that `text` alone holds.
void wipe(ZtbString& text);

}  // namespace tool

#endif
