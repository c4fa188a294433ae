// SPDX-License-Identifier: MIT
//
// Dates from and to ISO text, beside the C library, the standard streams and Qt.

#include "ztbdate.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <iomanip>
#include <sstream>

#ifdef ZTB_HAVE_QT
#include <QDateTime>
#endif

namespace {

constexpr char kText[] = "1989-02-03 19:05:06";
constexpr double kValue = 602535906.0;

// What was read must be the moment that was meant, or the comparison means nothing.
template <class Value>
bool verified(benchmark::State& state, Value value) {
  bool const right = static_cast<double>(value) == kValue;
  if (!right) state.SkipWithError("wrong moment");
  return right;
}

void fromIsoZtb(benchmark::State& state) {
  if (!verified(state, ZtbDate(kText).asDouble())) return;
  for (auto _ : state) {
    ZtbDate date(kText);
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(fromIsoZtb)->Name("date/from_iso/ztbcpp31");

std::time_t byStrptime() {
  std::tm parts{};
  strptime(kText, "%Y-%m-%d %H:%M:%S", &parts);
  return timegm(&parts);
}

void fromIsoStrptime(benchmark::State& state) {
  if (!verified(state, byStrptime())) return;
  for (auto _ : state) benchmark::DoNotOptimize(byStrptime());
}
BENCHMARK(fromIsoStrptime)->Name("date/from_iso/strptime+timegm");

std::time_t byGetTime() {
  std::tm parts{};
  std::istringstream(kText) >> std::get_time(&parts, "%Y-%m-%d %H:%M:%S");
  return timegm(&parts);
}

void fromIsoGetTime(benchmark::State& state) {
  if (!verified(state, byGetTime())) return;
  for (auto _ : state) benchmark::DoNotOptimize(byGetTime());
}
BENCHMARK(fromIsoGetTime)->Name("date/from_iso/std::get_time");

void toIsoZtb(benchmark::State& state) {
  ZtbDate const date(kValue);
  for (auto _ : state) {
    ZtbString text = date.asString(true);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(toIsoZtb)->Name("date/to_iso/ztbcpp31");

void toIsoStrftime(benchmark::State& state) {
  std::time_t const value = static_cast<std::time_t>(kValue);
  std::tm parts{};
  gmtime_r(&value, &parts);
  char text[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(toIsoStrftime)->Name("date/to_iso/strftime");

void toLocaleZtb(benchmark::State& state) {
  ZtbDate const date(kValue);
  for (auto _ : state) {
    ZtbString text = date.asString(false);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(toLocaleZtb)->Name("date/to_locale/ztbcpp31");

void toLocaleEarlyZtb(benchmark::State& state) {
  ZtbDate const date(1850, 2, 3, 12, 0, 0);
  for (auto _ : state) {
    ZtbString text = date.asString(false);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(toLocaleEarlyZtb)->Name("date/to_locale_before_1900/ztbcpp31");

void nowZtb(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ZtbDate::currentDate());
}
BENCHMARK(nowZtb)->Name("date/now/ztbcpp31");

void nowLibc(benchmark::State& state) {
  for (auto _ : state) {
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    tzset();
    benchmark::DoNotOptimize(localtime_r(&now, &parts));
  }
}
BENCHMARK(nowLibc)->Name("date/now/tzset+localtime_r");

#ifdef ZTB_HAVE_QT
// A text with a zone spares Qt the look-up of the local one.
void fromIsoQtUtc(benchmark::State& state) {
  QString const text = QString::fromLatin1("1989-02-03T19:05:06Z");
  if (!verified(state, QDateTime::fromString(text, Qt::ISODate).toSecsSinceEpoch())) return;
  for (auto _ : state) {
    QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(fromIsoQtUtc)->Name("date/from_iso/QDateTime_utc");

void fromIsoQt(benchmark::State& state) {
  QString const text = QString::fromLatin1(kText);
  if (QDateTime::fromString(text, Qt::ISODate).toString("yyyy-MM-dd HH:mm:ss") != text) {
    return state.SkipWithError("wrong moment");
  }
  for (auto _ : state) {
    QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(fromIsoQt)->Name("date/from_iso/QDateTime");

void toIsoQt(benchmark::State& state) {
  QDateTime const date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(kValue), Qt::UTC);
  for (auto _ : state) {
    QString text = date.toString(Qt::ISODate);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(toIsoQt)->Name("date/to_iso/QDateTime");

void nowQt(benchmark::State& state) {
  for (auto _ : state) {
    QDateTime date = QDateTime::currentDateTime();
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(nowQt)->Name("date/now/QDateTime");
#endif

}  // namespace
