// SPDX-License-Identifier: MIT
//
// Adds up an invoice without losing a cent, and asks where digits are lost.
//
//   ./decimals

#include <ztbinit.h>
#include <ztbreal.h>

#include <cstdio>

namespace {

void showInvoice() {
  char const* const prices[] = {"19.99", "0.07", "1234567890123456789012345678901234567890.01"};
  ZtbReal net(0LL);
  for (char const* text : prices) {
    ZtbReal price;
    net += price.assign(text);
  }
  ZtbReal const gross = (net * 1.19).round(2);
  std::printf("net       %s\n", net.asString().asCstr());
  std::printf("gross     %s\n", gross.asString().asCstr());
}

void showThird() {
  ZtbReal one(1LL);
  bool error = false;
  ZtbReal const third = one.divide(ZtbReal(3LL), &error);
  std::printf("1/3       %s%s\n", third.asString(12).asCstr(),
              one.truncated() ? "..., digits were lost" : "");
  ZtbReal const none = one.divide(ZtbReal(0LL), &error);
  std::printf("1/0       %s%s\n", none.asString().asCstr(), error ? ", an error" : "");
}

// What a column of a database makes of a number, with 5 digits, 2 of them behind the point.
void showColumn(char const* text) {
  ZtbReal value;
  ZT_SQL_NUMERIC_STRUCT record;
  bool overflow = false;
  value.assign(text).asSQLNumeric(&record, &overflow, 5, 2);
  ZtbReal const stored = ZtbReal().assign(&record);
  std::printf("%-9s %s\n", text,
              overflow ? "is too large for 5 digits" : stored.asString().asCstr());
}

}  // namespace

int main(int, char** argv) {
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "decimals: %s\n", error);
    return 1;
  }
  showInvoice();
  showThird();
  showColumn("123.456");
  showColumn("1000");
  ztbShutdown();
  return 0;
}
