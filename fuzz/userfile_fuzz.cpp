// SPDX-License-Identifier: MIT
//
// Any bytes as a file of users, as a record, and as what is sealed in one.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "ztauth_userfile.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

// A file of the fuzzer's own, under the name that the process has for it.
struct File {
  File() {
    char name[] = "/tmp/userfile-fuzz-XXXXXX";
    fd = mkostemp(name, O_CLOEXEC);
    require(fd >= 0);
    unlink(name);
    path = "/proc/self/fd/" + std::to_string(fd);
  }
  void write(std::string const& text) const {
    require(ftruncate(fd, 0) == 0 &&
            pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  }
  int fd;
  std::string path;
};

// A record that was read is written and read again as the same one.
void checkRecord(std::string const& line) {
  ztauth::UserRecord record;
  if (!ztauth::parseUserLine(line, record).empty()) return;
  std::string const composed = ztauth::composeUserLine(record);
  ztauth::UserRecord again;
  require(ztauth::parseUserLine(composed, again).empty());
  require(ztauth::composeUserLine(again) == composed && again.name == record.name);
  ztauth::UserKeys const keys{{}, ztauth::SecretBytes(32)};
  for (auto const& [domain, sealed] : record.credentials) {
    ztauth::Credential credential;
    require(!ztauth::openCredential(record, keys, domain, credential).empty());
  }
}

// Bytes that were sealed for a domain "D", whatever they are, open to two texts or not at all.
void checkSealed(std::string const& text) {
  ztauth::UserRecord record;
  record.name = "kim";
  static ztauth::UserKeys const keys = [] {
    ztauth::UserKeys made;
    ztauth::UserRecord user;
    user.name = "kim";
    require(ztauth::setPassword(user, "p", "", {1, 8}).empty() &&
            ztauth::checkPassword(user.password, "p", "", made));
    return made;
  }();
  record.publicKey = keys.publicKey;
  std::size_t const half = text.size() / 2;
  if (!ztauth::sealCredential(record, "D", text.substr(0, half), text.substr(half)).empty()) return;
  ztauth::Credential credential;
  require(ztauth::openCredential(record, keys, "D", credential).empty());
  require(text.substr(0, half) == credential.user() && text.substr(half) == credential.password());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static File const file;
  std::string const text(reinterpret_cast<char const*>(data), size);
  file.write(text);
  std::optional<ztauth::UserRecord> record;
  std::string const reason = ztauth::findUser(file.path, "kim", record);
  require(!reason.empty() || !record || record->name == "kim");
  require(ztauth::isUtf8(reason));
  static_cast<void>(ztauth::scanUserFile(file.path, [](ztauth::UserLine const& line) {
    checkRecord(std::string(line.text));
    return std::string();
  }));
  checkRecord(text);
  checkSealed(text);
  return 0;
}
