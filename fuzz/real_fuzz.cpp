// SPDX-License-Identifier: MIT
//
// Two reals of any bytes through every operation, and their texts at every width: what a text
// spells reads back to the number, cut toward zero; a record is the number, rounded; equal numbers
// have equal raw forms.
// Aimed at src/ztbreal.cpp

#include <algorithm>
#include <cstring>

#include "target.h"
#include "ztbreal.h"

namespace {

using Raw = unsigned __int64[3];

void checkTexts(ZtbReal const& value) {
  for (int width = -1; width <= 62; ++width) {
    ZtbString const text = value.asString(width);
    if (text.isNull()) continue;
    ZtbReal const back = ZtbReal().assign(text.asCstr());
    require(text.cStrSize() <= 62 && !back.isNull() && !back.truncated());
    require(back.absolute() <= value.absolute());
  }
}

// The record is at most half a unit of its last place away.
void checkRecord(ZtbReal const& value, int precision, int scale) {
  ZT_SQL_NUMERIC_STRUCT record;
  bool overflow = false;
  value.asSQLNumeric(&record, &overflow, precision, scale);
  ZtbReal const back = ZtbReal().assign(&record);
  if (overflow) return require(back == 0.0);
  ZT_SQL_NUMERIC_STRUCT const unit{1, record.scale, 1, {1}};
  ZtbReal difference = value.absolute() - back.absolute();
  require((difference + difference).absolute() <= ZtbReal().assign(&unit));
}

void checkRaw(ZtbReal value) {
  ZtbReal const before = value;
  Raw first, second;
  value.asFD(&first);
  ZtbReal(value).assign(&first, false).asFD(&second);
  require(std::memcmp(first, second, sizeof first) == 0);
  require(before.isNull() ? value.isNull() : before == value);
}

void checkOperations(ZtbReal a, ZtbReal const& b, int places) {
  bool error = false;
  for (ZtbReal const& result : {a.add(b, &error), a.subtract(b, &error), a.multiply(b, &error),
                                a.divide(b, &error), a.modulo(b), a.sqrt(&error), a.negative(),
                                a.absolute(), a.floor(), a.ceiling(), a.round(places)}) {
    checkRaw(result);
  }
  require(a.isNull() || b.isNull() || a.compare(b) == -b.compare(a));
  a.asInt64(&error);
  a.asDouble(&error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  startPool();
  struct {
    Raw left, right;
    int places, precision;
  } in = {};
  std::memcpy(&in, data, std::min(size, sizeof in));
  ZtbReal const a = ZtbReal().assign(&in.left, false);
  checkTexts(a);
  checkRecord(a, in.precision, in.places);
  checkRaw(a);
  checkOperations(a, ZtbReal().assign(&in.right, true), in.places);
  return 0;
}
