// SPDX-License-Identifier: MIT
//
// ztb protect, unprotect and encode: the protected form of a text and of a password, and back.

#include <cstdio>
#include <memory>
#include <new>

#include "secret.h"
#include "tool.h"
#include "ztauth.h"
#include "ztbencrypt.h"
#include "ztbsubject.h"

namespace tool {
namespace {

constexpr std::size_t kLongestText = std::size_t{128} << 20;
constexpr std::size_t kLongestForm = 2 * kLongestText;  // a form is not quite twice its text

constexpr char kKeyHelp[] =
    "The key is in the file that the environment variable ZTB_KEY_FILE names. Without it there is\n"
    "no protection but from a glance. docs/protected-texts.md has more.\n\n";

void tellOfKnownKey(char const* command) {
  char const* const file = getenv("ZTB_KEY_FILE");
  if (file != nullptr && *file != '\0') return;
  std::fprintf(stderr,
               "ztb %s: note: without ZTB_KEY_FILE everybody who has this tool can read it\n",
               command);
}

// Nothing is protected if the key file can't be used.
void checkKey() {
  if (!ztbEncryptString(ZtbString()).isNull()) return;
  throw Refused(
      "the file that ZTB_KEY_FILE names can't be used: it must be there, be yours or root's, not "
      "be open to others (chmod 600), and hold 64 hexadecimal digits");
}

ZtbString formOf(Secret const& text) {
  checkKey();
  ZtbString const form = ztbEncryptString(text.string());
  if (form.isNull()) throw std::bad_alloc();
  return form;
}

int protect() {
  Secret const text = readAll(0, kLongestText, "text");
  if (text.text().find('\0') != std::string_view::npos) {
    throw Refused("the text holds a NUL, which a text of the library can't");
  }
  if (!isUtf8(text.text())) {
    throw Refused("the text isn't UTF-8; ztb text FILE --to UTF-8 converts files");
  }
  Library library;
  library.startForMessages();
  std::printf("%s\n", formOf(text).asCstr());
  tellOfKnownKey("protect");
  return 0;
}

std::string readForm() {
  constexpr std::string_view kBlanks = " \t\r\n";
  Secret const input = readAll(0, kLongestForm, "protected text");
  std::string_view form = input.text();
  form.remove_prefix(std::min(form.find_first_not_of(kBlanks), form.size()));
  form = form.substr(0, form.find_last_not_of(kBlanks) + 1);
  if (form.find('\0') != form.npos) throw Refused("this is no protected text: it holds a NUL");
  return std::string(form);
}

// What is left of a text is only looked at: the reading of passwords, whose form is the same, tells
// whether it is whole.
int unprotect(bool partial) {
  std::string const form = readForm();
  Library library;
  library.startForMessages();
  ZtbString text;
  ZtbString error;
  bool const isWhole = ztbSubjectDecodePW(toZtb(as_encoded_prefix + form), text, &error);
  if (!isWhole) {
    checkKey();
    text = ztbDecryptString(toZtb(form));
  }
  if (isWhole || partial) std::fwrite(text.asCstr(), 1, text.cStrSize() - 1, stdout);
  if (isWhole) return 0;
  if (text.cStrSize() == 1) {
    throw Refused("this isn't a protected text, or it was protected under another key");
  }
  throw Refused("the text was changed or is cut: only its first " +
                std::to_string(text.cStrSize() - 1) + " bytes are as they were" +
                (partial ? "" : "; --partial writes these"));
}

int encode(SecretPlace place) {
  Secret const password = takeNewSecret("password to encode", place);
  Library library;
  library.startForMessages();
  std::printf("%s%s\n", as_encoded_prefix, formOf(password).asCstr());
  tellOfKnownKey("encode");
  return 0;
}

}  // namespace

Run declareProtect(CLI::App& app) {
  app.footer(std::string(kKeyHelp) +
             "The text is all of standard input, with its last line end, at most 128 MB of UTF-8\n"
             "without NUL. Its form is one line.\n\n"
             "  ztb protect <figures.txt >figures.ztp");
  return protect;
}

Run declareUnprotect(CLI::App& app) {
  auto const partial = std::make_shared<bool>(false);
  app.add_flag("--partial", *partial,
               "Of a damaged text write what is in front of the damage; refused all the same");
  app.footer(std::string(kKeyHelp) +
             "Writes exactly what was protected, with nothing added. A text that was changed, is\n"
             "cut or comes from elsewhere is refused, and nothing is written.\n\n"
             "  ztb unprotect <figures.ztp");
  return [partial] { return unprotect(*partial); };
}

Run declareEncode(CLI::App& app) {
  auto const place = std::make_shared<SecretPlace>();
  addSecretOption(app, "password-fd", *place, "Read the password from this file descriptor");
  app.footer(
      std::string(kKeyHelp) +
      "The password is asked for at the terminal and not shown; programs give it through a\n"
      "file descriptor. The encoded form is for configuration files: applications decode it\n"
      "with ztbSubjectDecodePW.\n\n"
      "  ztb encode --password-fd 3 3<password.txt");
  return [place] { return encode(*place); };
}

}  // namespace tool
