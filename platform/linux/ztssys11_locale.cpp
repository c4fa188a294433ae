// SPDX-License-Identifier: MIT
//
// What the user's settings say: the locale's character set and the time zone.

#include <langinfo.h>
#include <locale.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "ztssys11.h"
#include "ztssys11_env.h"

namespace {

// Longer than every registered name of a character set.
constexpr std::size_t kCharsetSize = 64;
using CharsetName = std::array<char, kCharsetSize>;

std::string_view localeSetting() {
  for (char const* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    char const* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "C";
}

// The character set that a locale's name carries: "de_DE.ISO-8859-15@euro" gives "ISO-8859-15".
std::string_view charsetOfName(std::string_view locale) {
  std::size_t const dot = locale.find('.');
  if (dot == std::string_view::npos) return {};
  std::string_view const tail = locale.substr(dot + 1);
  return tail.substr(0, tail.find('@'));
}

bool copyName(std::string_view name, CharsetName& result) {
  if (name.empty() || name.size() >= result.size()) return false;
  *std::copy(name.begin(), name.end(), result.begin()) = '\0';
  return true;
}

bool charsetOfSystem(char const* locale, CharsetName& result) {
  locale_t const handle = newlocale(LC_CTYPE_MASK, locale, nullptr);
  if (handle == nullptr) return false;
  bool const copied = copyName(nl_langinfo_l(CODESET, handle), result);
  freelocale(handle);
  return copied;
}

}  // namespace

int np_lcinfo_charset(char* buffer, unsigned size) {
  CharsetName name{};
  {
    ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
    bool const found = charsetOfSystem("", name) || copyName(charsetOfName(localeSetting()), name);
    if (!found && !charsetOfSystem("C", name)) return 1;
  }
  return npTextDeliver(name.data(), buffer, size) ? 0 : 1;
}

void np_stamp_zone() {
  ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
  tzset();
}

int np_stamp_local(long long seconds, int* year, int* month, int* day, int* hour, int* minute,
                   int* second) {
  time_t const moment = seconds;
  tm local{};
  {
    ZtLockHold const guard(npEnvironmentLock(), ZtLockHold::kShared);
    // Reads TZ if nobody has before, and doesn't look at it again.
    if (localtime_r(&moment, &local) == nullptr) return 1;
  }
  if (__builtin_add_overflow(local.tm_year, 1900, year)) return 1;
  *month = local.tm_mon + 1;
  *day = local.tm_mday;
  *hour = local.tm_hour;
  *minute = local.tm_min;
  *second = local.tm_sec;
  return 0;
}
