// SPDX-License-Identifier: MIT
//
// The variant beside QVariant and std::variant: copies, and assignments over a value of the same
// type.

#include "ztbdatavar.h"

#include <benchmark/benchmark.h>

#include <string>
#include <thread>
#include <variant>

#ifdef ZTB_HAVE_QT
#include <QString>
#include <QVariant>
#endif

namespace {

using StdVariant = std::variant<std::monostate, bool, __int64, double, std::string>;

constexpr char const* kText = "a text of 20 bytes..";

template <class Variant>
void copyAndDestroy(benchmark::State& state, Variant const& original) {
  for (auto _ : state) {
    Variant copy(original);
    benchmark::DoNotOptimize(copy);
  }
}

// `assign(variant, i)` stores something that depends on i.
template <class Variant, class Assign>
void assignOver(benchmark::State& state, Assign assign) {
  Variant variant;
  __int64 i = 0;
  for (auto _ : state) {
    assign(variant, ++i);
    benchmark::DoNotOptimize(variant);
    benchmark::ClobberMemory();
  }
}

// The text, out of the optimiser's sight.
char const* text() {
  char const* result = kText;
  benchmark::DoNotOptimize(result);
  return result;
}

void copyIntegerZtb(benchmark::State& state) {
  copyAndDestroy(state, ZtbDatavar().assign(42LL));
}
void copyStringZtb(benchmark::State& state) {
  copyAndDestroy(state, ZtbDatavar().assign(kText));
}
void copyIntegerStd(benchmark::State& state) {
  copyAndDestroy(state, StdVariant(42LL));
}
void copyStringStd(benchmark::State& state) {
  copyAndDestroy(state, StdVariant(std::string(kText)));
}
BENCHMARK(copyIntegerZtb)->Name("variant/copy_destroy_integer/ztbcpp31");
BENCHMARK(copyIntegerStd)->Name("variant/copy_destroy_integer/std_variant");
BENCHMARK(copyStringZtb)->Name("variant/copy_destroy_string/ztbcpp31");
BENCHMARK(copyStringStd)->Name("variant/copy_destroy_string/std_variant");

// The same once the process had a second thread: shared texts are counted with the bus lock then.
void hadASecondThread(benchmark::State const&) {
  std::thread([] {}).join();
}
BENCHMARK(copyIntegerZtb)
    ->Name("variant_threads/copy_destroy_integer/ztbcpp31")
    ->Setup(hadASecondThread);
BENCHMARK(copyStringZtb)
    ->Name("variant_threads/copy_destroy_string/ztbcpp31")
    ->Setup(hadASecondThread);

void assignIntegerZtb(benchmark::State& state) {
  assignOver<ZtbDatavar>(state, [](ZtbDatavar& v, __int64 i) { v.assign(i); });
}
void assignIntegerStd(benchmark::State& state) {
  assignOver<StdVariant>(state, [](StdVariant& v, __int64 i) { v = i; });
}
BENCHMARK(assignIntegerZtb)->Name("variant/assign_integer/ztbcpp31");
BENCHMARK(assignIntegerStd)->Name("variant/assign_integer/std_variant");

void assignStringZtb(benchmark::State& state) {
  ZtbString const value(kText, false);
  assignOver<ZtbDatavar>(state, [&](ZtbDatavar& v, __int64) { v.assign(value); });
}
void assignStringStd(benchmark::State& state) {
  std::string const value(kText);
  assignOver<StdVariant>(state, [&](StdVariant& v, __int64) { v = value; });
}
BENCHMARK(assignStringZtb)->Name("variant/assign_string_20/ztbcpp31");
BENCHMARK(assignStringStd)->Name("variant/assign_string_20/std_variant");

void assignTextZtb(benchmark::State& state) {
  assignOver<ZtbDatavar>(state, [](ZtbDatavar& v, __int64) { v.assign(text()); });
}
void assignTextStd(benchmark::State& state) {
  assignOver<StdVariant>(state, [](StdVariant& v, __int64) { v = text(); });
}
void assignNewTextStd(benchmark::State& state) {
  assignOver<StdVariant>(state, [](StdVariant& v, __int64) { v = std::string(text()); });
}
BENCHMARK(assignTextZtb)->Name("variant/assign_text_20/ztbcpp31");
BENCHMARK(assignTextStd)->Name("variant/assign_text_20/std_variant");
BENCHMARK(assignNewTextStd)->Name("variant/assign_text_20/std_variant_new_string");

void assignRealZtb(benchmark::State& state) {
  ZtbReal const value(1234.5678);
  assignOver<ZtbDatavar>(state, [&](ZtbDatavar& v, __int64) { v.assign(value); });
}
void assignDoubleZtb(benchmark::State& state) {
  assignOver<ZtbDatavar>(
      state, [](ZtbDatavar& v, __int64 i) { v.assign(static_cast<double>(i % 100000) / 100); });
}
void assignDoubleStd(benchmark::State& state) {
  assignOver<StdVariant>(
      state, [](StdVariant& v, __int64 i) { v = static_cast<double>(i % 100000) / 100; });
}
BENCHMARK(assignRealZtb)->Name("variant/assign_real/ztbcpp31");
BENCHMARK(assignDoubleZtb)->Name("variant/assign_double/ztbcpp31");
BENCHMARK(assignDoubleStd)->Name("variant/assign_double/std_variant");

#ifdef ZTB_HAVE_QT
void copyIntegerQt(benchmark::State& state) {
  copyAndDestroy(state, QVariant(42LL));
}
void copyStringQt(benchmark::State& state) {
  copyAndDestroy(state, QVariant(QString(kText)));
}
void assignIntegerQt(benchmark::State& state) {
  assignOver<QVariant>(state, [](QVariant& v, __int64 i) { v = QVariant(i); });
}
// Inlined, and writes in place.
void setIntegerQt(benchmark::State& state) {
  assignOver<QVariant>(state, [](QVariant& v, __int64 i) { v.setValue(i); });
}
void assignStringQt(benchmark::State& state) {
  QString const value(kText);
  assignOver<QVariant>(state, [&](QVariant& v, __int64) { v = QVariant(value); });
}
BENCHMARK(copyIntegerQt)->Name("variant/copy_destroy_integer/QVariant");
BENCHMARK(copyStringQt)->Name("variant/copy_destroy_string/QVariant");
BENCHMARK(copyIntegerQt)
    ->Name("variant_threads/copy_destroy_integer/QVariant")
    ->Setup(hadASecondThread);
BENCHMARK(copyStringQt)
    ->Name("variant_threads/copy_destroy_string/QVariant")
    ->Setup(hadASecondThread);
BENCHMARK(assignIntegerQt)->Name("variant/assign_integer/QVariant");
BENCHMARK(setIntegerQt)->Name("variant/assign_integer/QVariant_setValue");
BENCHMARK(assignStringQt)->Name("variant/assign_string_20/QVariant");
#endif

}  // namespace
