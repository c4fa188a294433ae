// SPDX-License-Identifier: MIT

#include "ztauth_userfile.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace ztauth {

namespace {

constexpr int kBase64 = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
constexpr std::string_view kArgon = "argon2id";
constexpr std::string_view kPlainKey = "x25519";
constexpr std::string_view kSecretKey = "x25519+secret";
constexpr std::size_t kLeastFields = 5;

// A sealed credential has a multiple of this, so that its size tells little about the password's.
constexpr std::size_t kPadding = 128;

static_assert(std::tuple_size_v<decltype(PasswordCheck::salt)> == crypto_pwhash_SALTBYTES);
static_assert(std::tuple_size_v<Key> == crypto_box_PUBLICKEYBYTES &&
              std::tuple_size_v<Key> == crypto_box_SECRETKEYBYTES &&
              std::tuple_size_v<Key> == crypto_box_SEEDBYTES &&
              std::tuple_size_v<Key> == crypto_kdf_KEYBYTES);

unsigned char const* bytesOf(std::string_view text) {
  return reinterpret_cast<unsigned char const*>(text.data());
}

bool isControl(char byte) {
  return (byte >= 0 && byte < 0x20) || byte == 0x7F;
}

// ---- UTF-8 --------------------------------------------------------------------------------------

bool isAscii8(char const* p) {
  std::uint64_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return (bytes & 0x8080808080808080u) == 0;
}

// The first bytes of the sequences and the range of their second ones (Unicode, table 3-7).
struct Utf8Form {
  unsigned char firstLow, firstHigh, secondLow, secondHigh;
  std::size_t bytes;
};
constexpr Utf8Form kUtf8Forms[] = {
    {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

// The bytes of the character at the front of a text that isn't empty; 0 if it is ill-formed.
std::size_t characterAt(std::string_view text) {
  unsigned char const* const p = bytesOf(text);
  auto const* const form =
      std::find_if(std::begin(kUtf8Forms), std::end(kUtf8Forms),
                   [p](Utf8Form const& f) { return f.firstLow <= p[0] && p[0] <= f.firstHigh; });
  if (form == std::end(kUtf8Forms) || text.size() < form->bytes) return 0;
  if (form->bytes > 1 && (p[1] < form->secondLow || p[1] > form->secondHigh)) return 0;
  for (std::size_t i = 2; i < form->bytes; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
  }
  return form->bytes;
}

// ---- Escapes ------------------------------------------------------------------------------------

std::string escape(std::string_view text, std::string_view special) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  bool const illFormed = !isUtf8(text);
  std::string escaped;
  for (char const byte : text) {
    bool const plain = !isControl(byte) && special.find(byte) == special.npos;
    if (plain && !(illFormed && byte < 0)) {
      escaped += byte;
      continue;
    }
    auto const value = static_cast<unsigned char>(byte);
    escaped += {'%', kDigits[value >> 4], kDigits[value & 15]};
  }
  return escaped;
}

std::string escapeName(std::string_view name) {
  return escape(name, ":%=,#");
}

bool unescape(std::string_view text, std::string& plain) {
  plain.clear();
  while (!text.empty()) {
    std::size_t const run = std::min(text.find('%'), text.size());
    plain += text.substr(0, run);
    text.remove_prefix(run);
    if (text.empty()) return true;
    unsigned value = 0;
    if (text.size() < 3 ||
        std::from_chars(text.data() + 1, text.data() + 3, value, 16).ptr != text.data() + 3) {
      return false;
    }
    plain += static_cast<char>(value);
    text.remove_prefix(3);
  }
  return true;
}

// ---- Fields -------------------------------------------------------------------------------------

// Takes what stands before the separator, or all that is left, off the front of a text.
std::string_view takeField(std::string_view& text, char separator) {
  std::size_t const length = std::min(text.find(separator), text.size());
  std::string_view const field = text.substr(0, length);
  text.remove_prefix(std::min(length + 1, text.size()));
  return field;
}

bool isName(std::string_view text) {
  return text.size() <= kMaxNameBytes && text.find('\0') == text.npos && isUtf8(text);
}

bool parseName(std::string_view field, std::string& name) {
  return unescape(field, name) && isName(name);
}

bool parseNumber(std::string_view field, unsigned least, unsigned most, unsigned& number) {
  auto const [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  return error == std::errc() && end == field.data() + field.size() && least <= number &&
         number <= most;
}

std::string encode(std::span<unsigned char const> bytes) {
  std::string text(sodium_base64_encoded_len(bytes.size(), kBase64), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kBase64);
  text.pop_back();
  return text;
}

// Decodes a text that fills `bytes` exactly.
bool decode(std::string_view text, std::span<unsigned char> bytes) {
  std::size_t length = 0;
  // libsodium 1.0.18 takes bytes beyond ASCII for "_".
  bool const isAscii = std::all_of(text.begin(), text.end(), [](char byte) { return byte >= 0; });
  return isAscii &&
         sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &length,
                           nullptr, kBase64) == 0 &&
         length == bytes.size();
}

bool parsePassword(std::string_view field, PasswordCheck& check) {
  if (takeField(field, ',') != kArgon) return false;
  HashCost& cost = check.cost;
  return parseNumber(takeField(field, ','), kLeastCost.passes, kMostCost.passes, cost.passes) &&
         parseNumber(takeField(field, ','), kLeastCost.kibibytes, kMostCost.kibibytes,
                     cost.kibibytes) &&
         decode(takeField(field, ','), check.salt) && decode(field, check.verifier);
}

bool parseKey(std::string_view field, UserRecord& record) {
  std::string_view const kind = takeField(field, ',');
  record.needsSecret = kind == kSecretKey;
  return (kind == kPlainKey || kind == kSecretKey) && decode(field, record.publicKey);
}

SealedCredential* findCredential(UserRecord& record, std::string_view domain) {
  auto const found = std::find_if(record.credentials.begin(), record.credentials.end(),
                                  [domain](auto const& entry) { return entry.domain == domain; });
  return found != record.credentials.end() ? &*found : nullptr;
}

bool parseCredential(std::string_view field, UserRecord& record) {
  SealedCredential credential;
  if (!parseName(takeField(field, '='), credential.domain) || credential.domain.empty()) {
    return false;
  }
  // Four characters of base64 stand for three bytes, those left over for one fewer than they are.
  credential.sealed.resize(field.size() / 4 * 3 + std::max<std::size_t>(field.size() % 4, 1) - 1);
  std::span<char> const sealed = credential.sealed;
  if (sealed.size() <= crypto_box_SEALBYTES ||
      !decode(field, {reinterpret_cast<unsigned char*>(sealed.data()), sealed.size()}) ||
      findCredential(record, credential.domain) != nullptr) {
    return false;
  }
  record.credentials.push_back(std::move(credential));
  return true;
}

// ---- Reading ------------------------------------------------------------------------------------

class OpenFile {
 public:
  // A pipe must not make anybody wait for its other end, nor a terminal take over.
  explicit OpenFile(char const* path) {
    do {
      mFd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (mFd < 0 && errno == EINTR);
  }
  OpenFile(OpenFile const&) = delete;
  OpenFile& operator=(OpenFile const&) = delete;
  ~OpenFile() {
    if (mFd >= 0) ::close(mFd);
  }
  int get() const { return mFd; }

 private:
  int mFd;
};

std::string systemReason() {
  char const* const text = ::strerrordesc_np(errno);
  return std::string("it can't be read: ") + (text != nullptr ? text : "unknown failure");
}

std::string reasonAgainst(struct stat const& status) {
  if (!S_ISREG(status.st_mode)) return "it isn't a regular file";
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
    return "it belongs neither to this user nor to root";
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return "others may write it: chmod go-w mends that";
  }
  return "";
}

// Gives the lines of a file one by one, out of a buffer that grows to the longest.
class LineReader {
 public:
  explicit LineReader(int fd) : mFd(fd), mBuffer(kChunk, '\0') {}

  // The next line, good until the next call. False at the end, or with a reason.
  bool next(std::string_view& line, std::string& reason) {
    for (std::size_t looked = 0;;) {
      std::string_view const held(mBuffer.data() + mBegin, mEnd - mBegin);
      std::size_t const length = std::min(held.find('\n', looked), held.size());
      if (length > kMaxLineBytes) {
        reason = "the line is too long";
        return false;
      }
      if (length < held.size()) {
        line = held.substr(0, length);
        mBegin += length + 1;
        return true;
      }
      looked = length;
      if (!fill(reason)) {
        if (reason.empty() && looked != 0) reason = "the last line has no end: the file is cut off";
        return false;
      }
    }
  }

 private:
  static constexpr std::size_t kChunk = 64 * 1024;

  // Reads more behind what is held. False at the end of the file, or with a reason.
  bool fill(std::string& reason) {
    mBuffer.erase(0, mBegin);
    mEnd -= std::exchange(mBegin, 0);
    mBuffer.resize(std::max(mBuffer.size(), mEnd + kChunk));
    ssize_t got = 0;
    do {
      got = ::read(mFd, mBuffer.data() + mEnd, mBuffer.size() - mEnd);
    } while (got < 0 && errno == EINTR);
    if (got < 0) reason = systemReason();
    if (got <= 0) return false;
    mEnd += static_cast<std::size_t>(got);
    return true;
  }

  int mFd;
  std::string mBuffer;
  std::size_t mBegin = 0;
  std::size_t mEnd = 0;
};

// Whether each part is there; what they hold is looked at in the record that is wanted only, so
// that a login costs its hash in a large file too.
std::string checkShape(UserLine& line) {
  std::string_view rest = line.text;
  if (!parseName(takeField(rest, ':'), line.name) || line.name.empty()) {
    return "the user's name isn't one";
  }
  // The second field to the last one but one.
  for (std::size_t field = 2; field < kLeastFields; ++field) takeField(rest, ':');
  return rest.empty() ? "the record has too few fields" : "";
}

std::string checkLine(UserLine& line) {
  if (line.number == 1 && line.text != kUserFileHead) {
    return "it doesn't say '" + std::string(kUserFileHead) +
           "', so this is something else or a newer form";
  }
  if (!isUtf8(line.text)) return "the text isn't UTF-8";
  line.isRecord = line.number > 1 && !line.text.empty() && line.text.front() != '#';
  return line.isRecord ? checkShape(line) : "";
}

// ---- Keys ---------------------------------------------------------------------------------------

void startSodium() {
  if (sodium_init() < 0) throw std::bad_alloc();
}

// Everything that is made of a password, in one locked piece.
struct Derived {
  unsigned char master[crypto_kdf_KEYBYTES];
  unsigned char verifier[crypto_kdf_KEYBYTES];
  unsigned char seedKey[crypto_kdf_KEYBYTES];
  unsigned char seed[crypto_box_SEEDBYTES];
};

// What the keys below the master key are for. Frozen, as is the context.
enum Purpose : std::uint64_t { kVerifier = 1, kSeedKey = 2 };
constexpr char kContext[crypto_kdf_CONTEXTBYTES + 1] = "ztbusers";

SecretBytes derive(PasswordCheck const& check, std::string_view password) {
  startSodium();
  SecretBytes memory(sizeof(Derived));
  auto* const keys = new (memory.data()) Derived;
  if (password.empty()) password = "";  // not null
  if (crypto_pwhash(keys->master, sizeof keys->master, password.data(), password.size(),
                    check.salt.data(), check.cost.passes, std::size_t{check.cost.kibibytes} * 1024,
                    crypto_pwhash_ALG_ARGON2ID13) != 0) {
    throw std::bad_alloc();
  }
  crypto_kdf_derive_from_key(keys->verifier, sizeof keys->verifier, kVerifier, kContext,
                             keys->master);
  crypto_kdf_derive_from_key(keys->seedKey, sizeof keys->seedKey, kSeedKey, kContext, keys->master);
  return memory;
}

UserKeys makeKeys(Derived& derived, std::string_view secret) {
  crypto_generichash(derived.seed, sizeof derived.seed, bytesOf(secret), secret.size(),
                     derived.seedKey, sizeof derived.seedKey);
  UserKeys keys{{}, SecretBytes(crypto_box_SECRETKEYBYTES)};
  crypto_box_seed_keypair(keys.publicKey.data(), keys.secretKey.data(), derived.seed);
  return keys;
}

std::string checkNames(UserRecord const& record) {
  if (record.name.empty()) return "A user needs a name";
  for (std::string const* name : {&record.name, &record.domain, &record.resolved}) {
    if (!isName(*name)) {
      return "A name must be UTF-8 without NUL, and have at most " + std::to_string(kMaxNameBytes) +
             " bytes";
    }
  }
  return "";
}

// Where a credential's text has its next part, or the end.
char const* behind(char const* text) {
  return text + std::strlen(text) + 1;
}

}  // namespace

// ---- Secrets ------------------------------------------------------------------------------------

SecretBytes::SecretBytes(std::size_t bytes) : mSize(bytes) {
  startSodium();
  mData = static_cast<unsigned char*>(sodium_malloc(bytes));
  if (mData == nullptr) throw std::bad_alloc();
  sodium_memzero(mData, bytes);
}

SecretBytes::SecretBytes(SecretBytes&& other) noexcept
    : mData(std::exchange(other.mData, nullptr)), mSize(std::exchange(other.mSize, 0)) {}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
  std::swap(mData, other.mData);
  std::swap(mSize, other.mSize);
  return *this;
}

SecretBytes::~SecretBytes() {
  sodium_free(mData);
}

char const* Credential::user() const {
  return behind(reinterpret_cast<char const*>(text.data()));
}

char const* Credential::password() const {
  return behind(user());
}

// ---- Lines --------------------------------------------------------------------------------------

std::string scanUserFile(std::string const& path,
                         std::function<std::string(UserLine const&)> const& visit) {
  std::string const file = "The file of users " + inQuotes(path);
  if (path.find('\0') != path.npos) return file + ": no path holds a NUL";
  OpenFile const handle(path.c_str());
  if (handle.get() < 0) return file + ": " + systemReason();
  struct stat status {};
  std::string reason = ::fstat(handle.get(), &status) != 0 ? systemReason() : reasonAgainst(status);
  if (!reason.empty()) return file + ": " + reason;
  LineReader reader(handle.get());
  UserLine line{1, {}, false, {}};
  for (; reader.next(line.text, reason); ++line.number) {
    reason = checkLine(line);
    if (reason.empty()) reason = visit(line);
    if (!reason.empty()) break;
  }
  if (reason.empty() && line.number == 1) reason = "the file is empty";
  return reason.empty() ? "" : file + ", line " + std::to_string(line.number) + ": " + reason;
}

std::string findUser(std::string const& path, std::string_view name,
                     std::optional<UserRecord>& record) {
  record.reset();
  return scanUserFile(path, [&](UserLine const& line) -> std::string {
    if (!line.isRecord || line.name != name) return "";
    if (record) return "the user " + inQuotes(name) + " stands there a second time";
    return parseUserLine(line.text, record.emplace());
  });
}

std::string parseUserLine(std::string_view line, UserRecord& record) {
  record = UserRecord();
  if (std::any_of(line.begin(), line.end(), isControl)) return "it holds a control character";
  if (!parseName(takeField(line, ':'), record.name) || record.name.empty()) {
    return "the user's name isn't one";
  }
  if (!parseName(takeField(line, ':'), record.domain)) return "the authentication domain isn't one";
  if (!parseName(takeField(line, ':'), record.resolved)) return "the resolved name isn't one";
  if (!parsePassword(takeField(line, ':'), record.password)) return "the password isn't a record";
  bool const endsOpen = line.ends_with(':');
  if (!parseKey(takeField(line, ':'), record)) return "the key isn't one";
  if (endsOpen) return "a credential is damaged";
  while (!line.empty()) {
    if (!parseCredential(takeField(line, ':'), record)) return "a credential is damaged";
  }
  return "";
}

std::string composeUserLine(UserRecord const& record) {
  PasswordCheck const& password = record.password;
  std::string line = escapeName(record.name) + ':' + escapeName(record.domain) + ':' +
                     escapeName(record.resolved) + ':';
  line += std::string(kArgon) + ',' + std::to_string(password.cost.passes) + ',' +
          std::to_string(password.cost.kibibytes) + ',' + encode(password.salt) + ',' +
          encode(password.verifier) + ':';
  line += std::string(record.needsSecret ? kSecretKey : kPlainKey) + ',';
  line += encode(record.publicKey);
  for (auto const& [domain, sealed] : record.credentials) {
    line += ':' + escapeName(domain) + '=' + encode({bytesOf(sealed), sealed.size()});
  }
  return line;
}

// ---- Passwords and credentials ------------------------------------------------------------------

std::string checkSecret(std::string_view secret) {
  constexpr std::string_view kBlanks = " \t\r\n\f\v";
  bool const isGood = secret.find_first_of(std::string_view("/,\0", 3)) == secret.npos &&
                      (secret.empty() || (kBlanks.find(secret.front()) == kBlanks.npos &&
                                          kBlanks.find(secret.back()) == kBlanks.npos));
  return isGood ? "" : "A secret can hold neither '/' nor ',', nor white space at its ends";
}

std::string setPassword(UserRecord& record, std::string_view password, std::string_view secret,
                        HashCost cost) {
  std::string reason = checkNames(record);
  if (reason.empty()) reason = checkSecret(secret);
  if (!reason.empty()) return reason;
  startSodium();
  record.password.cost = cost;
  randombytes_buf(record.password.salt.data(), record.password.salt.size());
  SecretBytes memory = derive(record.password, password);
  auto& derived = *reinterpret_cast<Derived*>(memory.data());
  std::copy_n(derived.verifier, record.password.verifier.size(), record.password.verifier.data());
  record.publicKey = makeKeys(derived, secret).publicKey;
  record.needsSecret = !secret.empty();
  record.credentials.clear();
  return "";
}

bool checkPassword(PasswordCheck const& check, std::string_view password, std::string_view secret,
                   UserKeys& keys) {
  SecretBytes memory = derive(check, password);
  auto& derived = *reinterpret_cast<Derived*>(memory.data());
  UserKeys made = makeKeys(derived, secret);
  if (sodium_memcmp(derived.verifier, check.verifier.data(), check.verifier.size()) != 0) {
    return false;
  }
  keys = std::move(made);
  return true;
}

void checkNoPassword(std::string_view password) {
  UserKeys keys;
  static_cast<void>(checkPassword(PasswordCheck(), password, "", keys));
}

std::string sealCredential(UserRecord& record, std::string_view domain, std::string_view user,
                           std::string_view password) {
  if (domain.empty()) return "A credential needs a domain";
  if (!isName(domain) || !isName(user)) {
    return "A domain and the user's name in it must be UTF-8 without NUL, and have at most " +
           std::to_string(kMaxNameBytes) + " bytes";
  }
  if (password.size() > kMaxSecretBytes || password.find('\0') != password.npos ||
      !isUtf8(password)) {
    return "A password for a domain must be UTF-8 without NUL, and have at most " +
           std::to_string(kMaxSecretBytes) + " bytes";
  }
  std::size_t const bytes = domain.size() + user.size() + password.size() + 3;
  SecretBytes plain((bytes + kPadding - 1) / kPadding * kPadding);
  unsigned char* end = plain.data();
  for (std::string_view const text : {domain, user, password}) {
    end = std::copy_n(bytesOf(text), text.size(), end) + 1;
  }
  std::string sealed(plain.size() + crypto_box_SEALBYTES, '\0');
  if (crypto_box_seal(reinterpret_cast<unsigned char*>(sealed.data()), plain.data(), plain.size(),
                      record.publicKey.data()) != 0) {
    return "The user's key isn't one";
  }
  UserRecord changed = record;
  SealedCredential* entry = findCredential(changed, domain);
  if (entry == nullptr) entry = &changed.credentials.emplace_back();
  *entry = {std::string(domain), std::move(sealed)};
  if (composeUserLine(changed).size() > kMaxLineBytes) return "There are too many credentials";
  record = std::move(changed);
  return "";
}

std::string openCredential(UserRecord const& record, UserKeys const& keys, std::string_view domain,
                           Credential& credential) {
  auto const found =
      std::find_if(record.credentials.begin(), record.credentials.end(),
                   [domain](SealedCredential const& entry) { return entry.domain == domain; });
  if (found == record.credentials.end()) {
    return "User " + inQuotes(record.name) + " has no credentials for domain " + inQuotes(domain);
  }
  std::string const& sealed = found->sealed;
  // The three terminators stand behind what was sealed, whatever that is.
  SecretBytes plain(sealed.size() - crypto_box_SEALBYTES + 3);
  if (crypto_box_seal_open(plain.data(), bytesOf(sealed), sealed.size(), keys.publicKey.data(),
                           keys.secretKey.data()) != 0 ||
      reinterpret_cast<char const*>(plain.data()) != domain) {
    return "The credentials of user " + inQuotes(record.name) + " for domain " + inQuotes(domain) +
           " are damaged";
  }
  credential.text = std::move(plain);
  return "";
}

// ---- Texts --------------------------------------------------------------------------------------

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    std::size_t const bytes = text.size() >= 8 && isAscii8(text.data()) ? 8 : characterAt(text);
    if (bytes == 0) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

std::string inQuotes(std::string_view text) {
  return '\'' + escape(text, "") + '\'';
}

}  // namespace ztauth
