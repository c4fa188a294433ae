// SPDX-License-Identifier: MIT
//
// What the benchmarks of decimal numbers share: the operands, and one runner for all peers. A peer
// is a struct of static functions over its `Value`. Each operation's results are compared with ours
// before they are timed.

#ifndef ZTBREAL_BENCH_H
#define ZTBREAL_BENCH_H

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "ztbreal.h"

namespace ztbreal_bench {

constexpr std::size_t kPairs = 1000;
constexpr std::size_t kPrices = 1'000'000;

// Numbers of 30 to 52 digits with 0 to 6 of them behind the point, the same in each run; for peers
// of 34 digits the first 34.
std::vector<std::string> const& operandTexts(bool cut);
// 0.01 to 9999.99.
std::vector<std::string> const& priceTexts();

template <class Peer>
struct Pair {
  typename Peer::Value left, right;
};

template <class Peer>
std::vector<Pair<Peer>>& pairs() {
  static std::vector<Pair<Peer>> all = [] {
    std::vector<std::string> const& texts = operandTexts(Peer::kDigits < 52);
    std::vector<Pair<Peer>> made;
    for (std::size_t i = 0; i < kPairs; ++i) {
      made.push_back({Peer::parse(texts[i]), Peer::parse(texts[(i + 1) % kPairs])});
    }
    return made;
  }();
  return all;
}

struct Ztb {
  using Value = ZtbReal;
  static constexpr int kDigits = 52;
  static Value parse(std::string const& text) { return Value().assign(text.c_str()); }
  static ZtbString format(Value const& value) { return value.asString(); }
  static double toDouble(Value const& value) { return value.asDouble(nullptr); }
  static double toDouble(int value) { return value; }
  static Value add(Value& a, Value const& b) { return a + b; }
  static Value subtract(Value& a, Value const& b) { return a - b; }
  static Value multiply(Value& a, Value const& b) { return a * b; }
  static Value divide(Value& a, Value const& b) { return a / b; }
  static int compare(Value& a, Value const& b) { return a.compare(b); }
  static Value sqrt(Value& a, Value const&) { return a.sqrt(nullptr); }
  static void accumulate(Value& total, Value const& price) { total += price; }
};

inline bool close(double a, double b) {
  return std::fabs(a - b) <= 1e-13 * std::fabs(a);
}

// Times `Peer`'s operation, a function of two values, round robin over the pairs.
template <class Peer, auto kOperation, auto kOurs>
void addOperation(std::string const& name, std::string const& who) {
  auto const body = [](benchmark::State& state) {
    for (std::size_t i = 0; i < kPairs; ++i) {
      auto& mine = pairs<Ztb>()[i];
      auto& theirs = pairs<Peer>()[i];
      double const expected = Ztb::toDouble(kOurs(mine.left, mine.right));
      if (!close(expected, Peer::toDouble(kOperation(theirs.left, theirs.right)))) {
        return state.SkipWithError("results differ");
      }
    }
    auto* const operands = pairs<Peer>().data();
    std::size_t i = 0;
    for (auto _ : state) {
      auto& pair = operands[i];
      auto result = kOperation(pair.left, pair.right);
      benchmark::DoNotOptimize(result);
      if (++i == kPairs) i = 0;
    }
  };
  benchmark::RegisterBenchmark(("real/" + name + "/" + who).c_str(), body);
}

template <class Peer>
void sumPrices(benchmark::State& state) {
  std::vector<typename Peer::Value> prices;
  ZtbReal expected(0LL);
  for (std::string const& text : priceTexts()) {
    prices.push_back(Peer::parse(text));
    expected += Ztb::parse(text);
  }
  for (auto _ : state) {
    typename Peer::Value total = Peer::parse("0");
    for (auto const& price : prices) Peer::accumulate(total, price);
    benchmark::DoNotOptimize(total);
    if (!close(Ztb::toDouble(expected), Peer::toDouble(total))) {
      return state.SkipWithError("sums differ");
    }
  }
}

// The whole text for all: those who hold fewer digits have to round.
template <class Peer>
void fromText(benchmark::State& state) {
  std::vector<std::string> const& texts = operandTexts(false);
  std::size_t i = 0;
  for (auto _ : state) {
    auto value = Peer::parse(texts[i]);
    benchmark::DoNotOptimize(value);
    if (++i == kPairs) i = 0;
  }
}

template <class Peer>
void toText(benchmark::State& state) {
  auto const* const operands = pairs<Peer>().data();
  std::size_t i = 0;
  for (auto _ : state) {
    auto text = Peer::format(operands[i].left);
    benchmark::DoNotOptimize(text);
    if (++i == kPairs) i = 0;
  }
}

// What every peer has.
template <class Peer>
bool addArithmetic(std::string const& who) {
  addOperation<Peer, Peer::add, Ztb::add>("add", who);
  addOperation<Peer, Peer::subtract, Ztb::subtract>("subtract", who);
  addOperation<Peer, Peer::multiply, Ztb::multiply>("multiply", who);
  addOperation<Peer, Peer::divide, Ztb::divide>("divide", who);
  addOperation<Peer, Peer::compare, Ztb::compare>("compare", who);
  benchmark::RegisterBenchmark(("real/sum_1e6_prices/" + who).c_str(), sumPrices<Peer>)
      ->Unit(benchmark::kMillisecond);
  return true;
}

// And what the compiler's type has not.
template <class Peer>
bool addAll(std::string const& who) {
  addArithmetic<Peer>(who);
  addOperation<Peer, Peer::sqrt, Ztb::sqrt>("sqrt", who);
  benchmark::RegisterBenchmark(("real/from_text/" + who).c_str(), fromText<Peer>);
  benchmark::RegisterBenchmark(("real/to_text/" + who).c_str(), toText<Peer>);
  return true;
}

}  // namespace ztbreal_bench

#endif
