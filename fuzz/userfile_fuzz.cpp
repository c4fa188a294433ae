// SPDX-License-Identifier: MIT
//
// Any bytes as a file of users, as a record, and as what is sealed in one.
// Aimed at platform/linux/ztauth_userfile.cpp

#include <sys/mman.h>
#include <unistd.h>

#include "target.h"
#include "ztauth_userfile.h"

namespace {

// A record that was read is written and read again as the same one.
void checkRecord(std::string const& line) {
  ztauth::UserRecord record, again;
  if (!ztauth::parseUserLine(line, record).empty()) return;
  std::string const composed = ztauth::composeUserLine(record);
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
  static ztauth::UserKeys keys;
  static ztauth::UserRecord const user = [] {
    ztauth::UserRecord made;
    made.name = "kim";
    require(ztauth::setPassword(made, "p", "", {1, 8}).empty());
    require(ztauth::checkPassword(made.password, "p", "", keys));
    return made;
  }();
  ztauth::UserRecord record = user;
  std::string const first = text.substr(0, text.size() / 2), rest = text.substr(first.size());
  if (!ztauth::sealCredential(record, "D", first, rest).empty()) return;
  ztauth::Credential credential;
  require(ztauth::openCredential(record, keys, "D", credential).empty());
  require(first == credential.user() && rest == credential.password());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static int const file = ::memfd_create("userfile_fuzz", MFD_CLOEXEC);
  static std::string const path = "/proc/self/fd/" + std::to_string(file);
  std::string const text = bytesOf(data, size);
  require(::ftruncate(file, 0) == 0 &&
          ::pwrite(file, text.data(), text.size(), 0) == std::ssize(text));
  std::optional<ztauth::UserRecord> record;
  std::string const reason = ztauth::findUser(path, "kim", record);
  require(!reason.empty() || !record || record->name == "kim");
  require(ztauth::isUtf8(reason));
  static_cast<void>(ztauth::scanUserFile(path, [](ztauth::UserLine const& line) {
    checkRecord(std::string(line.text));
    return std::string();
  }));
  checkRecord(text);
  checkSealed(text);
  return 0;
}
