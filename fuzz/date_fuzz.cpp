// SPDX-License-Identifier: MIT
//
// Any text as a date. The first byte chooses the order of numeric dates. A text that is accepted
// gives elements that make a moment, which comes back from its own text, and is no number.
// Aimed at platform/linux/ztsstr12_datetext.cpp

#include "target.h"
#include "ztsstr12.h"

namespace {

struct Elements {
  int year, month, day, hour, minute, second;
  bool operator==(Elements const&) const = default;
};

bool read(char const* text, ZtsDateFormat format, Elements* e) {
  return zts_string_to_date(text, &e->year, &e->month, &e->day, &e->hour, &e->minute, &e->second,
                            format) == 0;
}

void checkElements(Elements const& e) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", e.year, e.month, e.day, e.hour,
                e.minute, e.second);
  Elements back{}, moment{};
  require(read(text, zts_date_locale, &back) && back == e);
  double value = 0;
  require(zts_compose_date(e.year, e.month, e.day, e.hour, e.minute, e.second, &value) != 0);
  require(zts_decompose_date(value, &moment.year, &moment.month, &moment.day, &moment.hour,
                             &moment.minute, &moment.second) != 0);
  require(moment == e);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::string const text = bytesOf(data, size, 1);
  double number = 0;
  bool const isNumber = zts_numparsedbl(text.c_str(), &number) != 0;
  Elements e{};
  if (!read(text.c_str(), data[0] % 5, &e)) return 0;
  require(!isNumber);
  checkElements(e);
  return 0;
}
