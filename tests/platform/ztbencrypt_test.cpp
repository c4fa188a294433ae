// SPDX-License-Identifier: MIT

#include "ztbencrypt.h"

#include <sys/stat.h>

#include <iterator>
#include <string>

#include "ztbtest.h"
#include "ztsstr12.h"

namespace {

constexpr char kKey[] = "00112233445566778899aabbccddeeff00112233445566778899AABBCCDDEEFF";

using ZtbEncrypt = ztbtest::LibraryTest;

ZtbString encrypt(std::string const& text) {
  return ztbEncryptString(ZtbString(text.c_str(), false));
}

std::string decrypt(std::string const& form) {
  ZtbString const text = ztbDecryptString(ZtbString(form.c_str(), false));
  EXPECT_FALSE(text.isNull());
  return text.asCstr();
}

// A text of `characters` characters, of one to four bytes each.
std::string textOf(int characters) {
  constexpr char const* kCharacters[] = {"a", "é", "漢", "😀", "z"};
  std::string text;
  for (int i = 0; i < characters; ++i) text += kCharacters[i % std::size(kCharacters)];
  return text;
}

std::string keyFile(ztbtest::TempFolder const& folder, char const* name, std::string const& content,
                    mode_t mode) {
  std::string const path = folder.write(name, content);
  chmod(path.c_str(), mode);
  return path;
}

TEST_F(ZtbEncrypt, GivesBackTextsOfEveryLength) {
  for (int characters = 0; characters < 200; ++characters) {
    std::string const text = textOf(characters);
    std::string const form = encrypt(text).asCstr();
    std::size_t const lines = text.size() <= 13 ? 0 : (text.size() - 13 + 36) / 37;
    std::size_t const last = text.size() - (lines == 0 ? 0 : 13 + (lines - 1) * 37);
    std::size_t const lastRaw = last + 17 + (lines == 0 ? 24 : 0);
    EXPECT_EQ(lines * 72 + (lastRaw + 2) / 3 * 4, form.size()) << text;
    EXPECT_EQ(std::string::npos, form.find_first_of("\r\n")) << text;
    ZtbString const back = ztbDecryptString(ZtbString(form.c_str(), false));
    EXPECT_EQ(text, back.asCstr());
    EXPECT_EQ(static_cast<unsigned>(characters), back.length()) << text;
    EXPECT_STRNE(form.c_str(), encrypt(text).asCstr()) << "each form is new";
  }
  EXPECT_EQ("", decrypt(ztbEncryptString(ZtbString()).asCstr()));
  for (std::string const illFormed :
       {"\xff", "a\xff z", "twelve bytes\xc3 and more", "cut\xe6\xbc"}) {
    EXPECT_EQ(illFormed, decrypt(encrypt(illFormed).asCstr()));
  }
}

TEST_F(ZtbEncrypt, GivesNothingBehindDamage) {
  std::string const text = textOf(60);
  std::string const form = encrypt(text).asCstr();
  for (std::size_t i = 0; i < form.size(); ++i) {
    std::string damaged = form;
    // A byte beyond ASCII is no "/", nor anything else.
    damaged[i] = form[i] == '/' ? '\xc3' : form[i] == 'A' ? 'B' : 'A';
    std::size_t const bytes = i < 72 ? 0 : 13 + (i / 72 - 1) * 37;
    std::string const given = decrypt(damaged);
    EXPECT_EQ(text.substr(0, given.size()), given) << i;
    EXPECT_TRUE(given.size() <= bytes && given.size() + 4 > bytes) << i;
    EXPECT_EQ(text.substr(0, decrypt(form.substr(0, i)).size()), decrypt(form.substr(0, i))) << i;
  }
  std::string const swapped = form.substr(0, 72) + form.substr(144, 72) + form.substr(72, 72);
  EXPECT_EQ(text.substr(0, decrypt(swapped).size()), decrypt(swapped));
  for (std::string const& row : {std::string("not a form"), form.substr(72), form.substr(0, 71),
                                 std::string(72, '='), std::string(300, 'A')}) {
    EXPECT_EQ("", decrypt(row)) << row;
  }
  std::string const full = encrypt(std::string(13 + 37, 'f')).asCstr();
  EXPECT_EQ(std::string(13 + 37, 'f'), decrypt(full + full)) << "the last line is the last";
}

TEST_F(ZtbEncrypt, TakesTheKeyOfTheFile) {
  ztbtest::TempFolder const folder;
  std::string const withKnownKey = encrypt("secret").asCstr();
  ztbtest::Variable const key("ZTB_KEY_FILE",
                              keyFile(folder, "a", std::string(kKey) + "\n", 0600).c_str());
  std::string const form = encrypt("secret").asCstr();
  EXPECT_EQ("secret", decrypt(form));
  EXPECT_EQ("", decrypt(withKnownKey));
  std::string other = kKey;
  other[63] = '0';
  ztbtest::Variable const second("ZTB_KEY_FILE", keyFile(folder, "b", other, 0400).c_str());
  EXPECT_EQ("", decrypt(form));
}

TEST_F(ZtbEncrypt, ProtectsNothingWithoutAKeyThatIsThere) {
  ztbtest::TempFolder const folder;
  std::string const form = encrypt("secret").asCstr();
  struct {
    std::string path;
    int reason;
  } const rows[] = {
      {folder.path() + "/none", zts_xc_key_unreadable},
      {folder.path(), zts_xc_key_form},
      {keyFile(folder, "exposed", kKey, 0640), zts_xc_key_exposed},
      {keyFile(folder, "short", std::string(kKey).substr(1), 0600), zts_xc_key_form},
      {keyFile(folder, "long", std::string(kKey) + "0", 0600), zts_xc_key_form},
      {keyFile(folder, "words", std::string(64, 'g'), 0600), zts_xc_key_form},
      {keyFile(folder, "more", kKey + std::string(16, '\n') + "words", 0600), zts_xc_key_form},
      {keyFile(folder, "nul", kKey + std::string(1, '\0'), 0600), zts_xc_key_form},
      {keyFile(folder, "empty", "", 0600), zts_xc_key_form},
  };
  for (auto const& [path, reason] : rows) {
    ztbtest::Variable const key("ZTB_KEY_FILE", path.c_str());
    char state[zts_xc_state_bytes];
    int info = 0;
    EXPECT_EQ(reason, zts_xc_reset(state, &info)) << path;
    EXPECT_EQ(reason, info);
    EXPECT_STRNE("", zts_xc_keytext(info));
    EXPECT_TRUE(encrypt("secret").isNull()) << path;
    EXPECT_EQ("", decrypt(form)) << path;
  }
}

}  // namespace
