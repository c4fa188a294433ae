// SPDX-License-Identifier: MIT
//
// Reads a date, counts days with it, tells it in the ISO form and in the user's, and refuses a text
// that is no date.
//
//   ./dates
//   LC_ALL=de_DE.UTF-8 ./dates

#include <ztbdate.h>
#include <ztbinit.h>

#include <clocale>
#include <cstdio>

namespace {

void showInvoice() {
  ZtbDate const invoice("3 Feb 1989 7:05 PM");
  constexpr double kSecondsADay = 86400;
  ZtbDate const due(invoice.asDouble() + 30 * kSecondsADay);
  std::printf("invoice   %s\n", invoice.asString(true).asCstr());
  std::printf("due       %s\n", due.asString(true).asCstr());
  std::printf("here      %s\n", due.asString(false).asCstr());
  std::printf("weekday   %d, counted from Sunday, 0\n", due.getWeekDay());
}

void showRefusal(char const* text) {
  ZtbDate const date(text);
  std::printf("%-9s %s\n", text, date.isNull() ? "is no date" : date.asString(true).asCstr());
}

}  // namespace

int main(int, char** argv) {
  // The library never changes the process locale; this program wants the user's.
  std::setlocale(LC_ALL, "");
  char const* error = nullptr;
  if (ztbInitialize(argv[0], &error) != 0) {
    std::fprintf(stderr, "dates: %s\n", error);
    return 1;
  }
  showInvoice();
  showRefusal("2001-02-29");
  ztbShutdown();
  return 0;
}
