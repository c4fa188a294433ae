// SPDX-License-Identifier: MIT
//
// The file of users: its lines, its records, and what is sealed in them. docs/users.md has the
// format. It is read here and its records are made here; replacing a file is the caller's.
//
// A `reason` that comes back is empty after success, and otherwise a text in English that holds no
// secret. Memory that runs out is std::bad_alloc, everywhere. Nothing here keeps state: everything
// may be called from any threads at once. Lengths are bytes, and texts may hold any bytes unless a
// function says otherwise.

#ifndef ZTAUTH_USERFILE_H
#define ZTAUTH_USERFILE_H

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ztauth {

// What the first line of a file of users says.
inline constexpr std::string_view kUserFileHead = "ztb-users 1";

inline constexpr std::size_t kMaxNameBytes = 1024;     // of a user, a domain, a resolved name
inline constexpr std::size_t kMaxSecretBytes = 65536;  // of a password in a credential
inline constexpr std::size_t kMaxLineBytes = 1 << 20;  // without its line feed

// Bytes in memory that is kept out of swap and core files where the system grants it, and that is
// overwritten when it is given back. Movable, with an owner.
class SecretBytes {
 public:
  SecretBytes() = default;
  explicit SecretBytes(std::size_t bytes);  // zeros
  SecretBytes(SecretBytes&& other) noexcept;
  SecretBytes& operator=(SecretBytes&& other) noexcept;
  ~SecretBytes();

  unsigned char* data() { return mData; }
  unsigned char const* data() const { return mData; }
  std::size_t size() const { return mSize; }

 private:
  unsigned char* mData = nullptr;
  std::size_t mSize = 0;
};

// What an Argon2id hash takes (RFC 9106, with one lane): passes over that much memory.
struct HashCost {
  unsigned passes = 2;
  unsigned kibibytes = 65536;

  bool operator==(HashCost const&) const = default;
};

// The least and the most that a record may ask for, so that no record makes a login take minutes.
inline constexpr HashCost kLeastCost{1, 8};
inline constexpr HashCost kMostCost{10, 1 << 20};

using Key = std::array<unsigned char, 32>;

// What a password is compared with. Two of them are equal only for one and the same setting of a
// password, since each has a salt of its own.
struct PasswordCheck {
  HashCost cost;
  std::array<unsigned char, 16> salt{};
  Key verifier{};

  bool operator==(PasswordCheck const&) const = default;
};

struct SealedCredential {
  std::string domain;
  std::string sealed;  // bytes
};

struct UserRecord {
  std::string name;
  std::string domain;    // the authentication domain; may be empty
  std::string resolved;  // empty for the name itself
  PasswordCheck password;
  Key publicKey{};           // credentials are sealed for it
  bool needsSecret = false;  // the key that opens them takes the secret of the location too
  std::vector<SealedCredential> credentials;
};

// The key that opens a user's credentials, which takes the password to make.
struct UserKeys {
  Key publicKey{};
  SecretBytes secretKey;
};

// A credential in the open; both texts have terminators.
struct Credential {
  SecretBytes text;  // domain, user, password, each with its terminator; the rest is zeros

  char const* user() const;
  char const* password() const;
};

// ---- Lines --------------------------------------------------------------------------------------

struct UserLine {
  std::size_t number;     // counted from 1
  std::string_view text;  // without its line feed
  bool isRecord;          // neither the first line nor a comment nor empty
  std::string name;       // of a record: the user's
};

// Reads a file in constant memory, and calls `visit` for every line from the first to the last. It
// stops at the first reason that `visit` gives, and gives it back with the file and the line. Every
// line is checked for well-formed UTF-8 and each record for the form of its parts; what the parts
// hold is for parseUserLine. Refused is also what isn't a regular file of root's or this user's, or
// what others may write.
[[nodiscard]] std::string scanUserFile(std::string const& path,
                                       std::function<std::string(UserLine const&)> const& visit);

// Looks a user up, through the whole file: one who stands there twice is refused. Without a reason
// and without a record there is no such user.
[[nodiscard]] std::string findUser(std::string const& path, std::string_view name,
                                   std::optional<UserRecord>& record);

// A record from its line; `record` is unspecified after a failure.
[[nodiscard]] std::string parseUserLine(std::string_view line, UserRecord& record);

// The line of a record, without line feed. `record` comes from the functions here.
[[nodiscard]] std::string composeUserLine(UserRecord const& record);

// ---- Passwords and credentials ------------------------------------------------------------------

// Why a text is no secret of a location. It ends where a log of the location stops hiding it, and
// white space at its ends gets lost.
[[nodiscard]] std::string checkSecret(std::string_view secret);

// Gives the user of `record`, whose names are set, a password and a new key; the credentials that
// were there are gone, as no one could open them any more. An empty `secret` is none. Refuses names
// that are no names: empty, too long, ill-formed UTF-8, with a NUL; and what is no secret. Costs a
// hash.
[[nodiscard]] std::string setPassword(UserRecord& record, std::string_view password,
                                      std::string_view secret, HashCost cost = {});

// The keys that a password makes, if it is the right one; otherwise false. Costs a hash, and
// whether the password was right doesn't show in the time. A wrong `secret` shows by a public key
// that isn't the record's.
[[nodiscard]] bool checkPassword(PasswordCheck const& check, std::string_view password,
                                 std::string_view secret, UserKeys& keys);

// Costs the hash of a password that is compared with none.
void checkNoPassword(std::string_view password);

// Adds a credential for a domain, or replaces that for it. Needs no password of the user's.
[[nodiscard]] std::string sealCredential(UserRecord& record, std::string_view domain,
                                         std::string_view user, std::string_view password);

// Opens a credential. The reason tells if there is none for the domain.
[[nodiscard]] std::string openCredential(UserRecord const& record, UserKeys const& keys,
                                         std::string_view domain, Credential& credential);

// ---- Texts --------------------------------------------------------------------------------------

// Whether a text is well-formed UTF-8; NUL is a character like any other.
[[nodiscard]] bool isUtf8(std::string_view text);

// A name or a path for people to read, in quotes: control characters and ill-formed UTF-8 as %XX.
[[nodiscard]] std::string inQuotes(std::string_view text);

}  // namespace ztauth

#endif
