// SPDX-License-Identifier: MIT
//
// What the subcommands share.

#include "tool.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "ztbinit.h"
#include "ztbstartup.h"
#include "ztschr12.h"

namespace tool {
namespace {

std::filesystem::path executablePath() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

// The bytes of the well-formed UTF-8 character at the start of `text`, or 0 if there is none.
std::size_t characterBytes(std::string_view text) {
  auto const byteAt = [text](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  unsigned const first = byteAt(0);
  if (first < 0x80) return 1;
  std::size_t const bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  unsigned code = first & (0xFFu >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byteAt(i) & 0x3F);
  }
  constexpr unsigned kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  return first >= 0xC2 && code >= kLeast[bytes] && code <= 0x10FFFF && !isSurrogate ? bytes : 0;
}

// A control code of one byte or, in UTF-8, of the range U+0080 to U+009F.
bool isControl(std::string_view character) {
  auto const first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

std::string hexOf(char const* format, std::string_view bytes) {
  std::string result;
  for (char const c : bytes) {
    char text[8];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(static_cast<unsigned char>(c)));
    result += text;
  }
  return result;
}

std::string jsonCharacter(std::string_view character) {
  if (character == "\"" || character == "\\") return "\\" + std::string(character);
  if (character == "\n") return "\\n";
  if (character == "\t") return "\\t";
  if (character.size() == 1 && isControl(character)) return hexOf("\\u%04x", character);
  return std::string(character);
}

}  // namespace

Library::Library() {
  char const* error = nullptr;
  if (ztbInitialize(executablePath().c_str(), &error) != 0) throw Refused(error);
}

Library::~Library() {
  ztbShutdown();
}

void Library::start() {
  char const* error = nullptr;
  if (ztbStartup(&error) != 0) throw Refused(error);
}

void Library::startForMessages() {
  char const* ignored = nullptr;
  ztbStartup(&ignored);
}

void takeUserLocale() {
  setlocale(LC_ALL, "");
  setlocale(LC_NUMERIC, "C");
}

void chooseHome(std::string const& home) {
  if (!home.empty()) {
    setenv("ZTEXEC_HOME", std::filesystem::absolute(home).c_str(), 1);
    return;
  }
  if (char const* const present = getenv("ZTEXEC_HOME"); present != nullptr && *present) return;
  std::filesystem::path const prefix = executablePath().parent_path().parent_path();
  for (char const* const place : {"share/ztbcpp31/home", "home"}) {
    if (!std::filesystem::is_directory(prefix / place / "etc")) continue;
    setenv("ZTEXEC_HOME", (prefix / place).c_str(), 1);
    return;
  }
}

// The argument is declared for the help, and so that CLI11 leaves what follows "--" to `app`; no
// text passes its check, so that all come as they are, and in their order, among the extras.
void describeTexts(CLI::App& app, std::string const& name, std::string const& description) {
  app.add_option(
         name, [](CLI::results_t const&) { return true; }, description)
      ->check([](std::string const&) { return std::string("not here"); })
      ->type_name("");
  app.validate_positionals();
  app.allow_extras();
}

void takeTexts(CLI::App& app, std::string const& name, std::string const& description,
               std::size_t least) {
  describeTexts(app, name, description);
  app.callback([&app, name, least] {
    for (std::string const& text : app.remaining()) {
      if (text == "--") break;
      if (text.substr(0, 2) == "--" && std::isalpha(static_cast<unsigned char>(text[2])) != 0) {
        throw CLI::ExtrasError({text});
      }
    }
    if (textsOf(app).size() < least) throw CLI::RequiredError(name);
  });
}

std::vector<std::string> textsOf(CLI::App const& app) {
  std::vector<std::string> texts = app.remaining();
  auto const mark = std::find(texts.begin(), texts.end(), "--");
  if (mark != texts.end()) texts.erase(mark);
  return texts;
}

CLI::Validator nameAndValue(std::string const& form) {
  auto const check = [form](std::string const& text) {
    std::size_t const equals = text.find('=');
    bool const isGood = equals != std::string::npos && equals > 0;
    return isGood ? std::string() : "write it as " + form + ": " + printable(text);
  };
  return {check, ""};
}

CLI::Validator isFolder() {
  return CLI::Validator(CLI::ExistingDirectory).description("");
}

CLI::Validator isEncoding() {
  auto const check = [](std::string const& name) {
    if (np_uchar_getenc(name.c_str()) >= 0) return std::string();
    return "unknown encoding \"" + printable(name) + "\"; docs/text-files.md lists them";
  };
  return {check, ""};
}

CLI::Validator isBetween(long long least, long long most) {
  auto const check = [least, most](std::string const& text) {
    char const* const end = text.data() + text.size();
    long long number = 0;
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    bool const isNumber = error == std::errc() && stop == end;
    if (isNumber && text.size() > 1 && text[0] == '0') {
      return "write it without zeros in front: " + text;
    }
    if (isNumber && number >= least && number <= most) return std::string();
    return "Value " + printable(text) + " not in range " + std::to_string(least) + " to " +
           std::to_string(most);
  };
  return {check, ""};
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t const bytes = characterBytes(text);
    std::string_view const character = text.substr(0, bytes == 0 ? 1 : bytes);
    bool const isPlain = bytes != 0 && !isControl(character);
    result += isPlain ? std::string(character) : hexOf("\\x%02x", character);
    text.remove_prefix(character.size());
  }
  return result;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    std::size_t const bytes = characterBytes(text);
    if (bytes == 0) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

std::string jsonText(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    std::size_t const bytes = characterBytes(text);
    result += bytes == 0 ? "\uFFFD" : jsonCharacter(text.substr(0, bytes));
    text.remove_prefix(bytes == 0 ? 1 : bytes);
  }
  return result + "\"";
}

void JsonObject::addRaw(std::string_view name, std::string const& value) {
  if (!mMembers.empty()) mMembers += ", ";
  mMembers += jsonText(name) + ": " + value;
}

JsonObject& JsonObject::add(std::string_view name, std::string_view text) {
  addRaw(name, jsonText(text));
  return *this;
}

JsonObject& JsonObject::add(std::string_view name, long long number) {
  addRaw(name, std::to_string(number));
  return *this;
}

JsonObject& JsonObject::add(std::string_view name, bool flag) {
  addRaw(name, flag ? "true" : "false");
  return *this;
}

JsonObject& JsonObject::addNull(std::string_view name) {
  addRaw(name, "null");
  return *this;
}

JsonObject& JsonObject::add(std::string_view name, std::vector<JsonObject> const& objects) {
  std::string array;
  for (JsonObject const& object : objects) array += (array.empty() ? "" : ", ") + object.str();
  addRaw(name, "[" + array + "]");
  return *this;
}

void printJsonArray(std::vector<JsonObject> const& objects) {
  std::printf("[");
  char const* separator = "\n";
  for (JsonObject const& object : objects) {
    std::printf("%s%s", separator, object.str().c_str());
    separator = ",\n";
  }
  std::printf("\n]\n");
}

}  // namespace tool
