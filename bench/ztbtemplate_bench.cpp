// SPDX-License-Identifier: MIT
//
// Templates of up to 100,000 variables; what is reported is the time a variable: reading the text,
// the first expansion, which fetches the values, and a further one. The peer gets the same text in
// its own brackets; its values are in a dictionary before it expands, so a further expansion is
// what compares.

#include "ztbtemplate.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#ifdef ZTB_HAVE_CTEMPLATE
#include <ctemplate/template.h>
#endif

namespace {

constexpr char kValue[] = "Marlene Öztürk";

struct Release {
  void operator()(ZtbTemplate* each) const { each->release(); }
};
using Owned = std::unique_ptr<ZtbTemplate, Release>;

// Names in no order, so that those of one bucket or branch aren't neighbours in memory.
std::string nameOf(int index) {
  return "Field" + std::to_string(static_cast<unsigned>(index) * 2654435761u);
}

std::string textOf(int variables, std::string const& open, std::string const& close) {
  std::string text;
  for (int i = 0; i < variables; ++i) {
    text += "the next of the fields is " + open + nameOf(i) + close + ",\n";
  }
  return text;
}

class Values final : public ZtbTemplateValueCB {
 public:
  bool getValue(ZtbString const&, ZtbString* value, ZtbString*) override {
    *value = ZtbString(kValue, true);
    return true;
  }
};

struct Ours {
  explicit Ours(int variables) : text(textOf(variables, "{", "}").c_str(), false) {}
  bool parse() { return made->parse(text, &error); }

  ZtbString text;
  ZtbString error;
  Values values;
  Owned made{ztbCreateBasicTemplate(&values, &error)};
};

void parse(benchmark::State& state, int variables) {
  Ours ours(variables);
  while (state.KeepRunningBatch(variables)) {
    if (!ours.parse()) state.SkipWithError(ours.error.asCstr());
  }
}

void parseAndExpand(benchmark::State& state, int variables) {
  Ours ours(variables);
  while (state.KeepRunningBatch(variables)) {
    ours.parse();
    ZtbString const expanded = ours.made->expand(&ours.error);
    benchmark::DoNotOptimize(expanded.asCstr());
  }
}

void expand(benchmark::State& state, int variables) {
  Ours ours(variables);
  ours.parse();
  ours.made->expand(&ours.error);
  while (state.KeepRunningBatch(variables)) {
    ZtbString const expanded = ours.made->expand(&ours.error);
    benchmark::DoNotOptimize(expanded.asCstr());
  }
}

void list(benchmark::State& state, int variables) {
  Ours ours(variables);
  while (state.KeepRunningBatch(variables)) {
    state.PauseTiming();
    ours.parse();
    state.ResumeTiming();
    for (int i = 0; i < variables; ++i) {
      bool bracketed = false;
      ZtbString const name = ours.made->getVariable(i, &bracketed, &ours.error);
      benchmark::DoNotOptimize(name.asCstr());
    }
  }
}

#ifdef ZTB_HAVE_CTEMPLATE
struct Peer {
  explicit Peer(int variables)
      : text(textOf(variables, "{{", "}}")), count(variables), dictionary("bench") {
    fill(&dictionary);
  }
  std::unique_ptr<ctemplate::Template> parsed() const {
    return std::unique_ptr<ctemplate::Template>(
        ctemplate::Template::StringToTemplate(text, ctemplate::DO_NOT_STRIP));
  }
  void fill(ctemplate::TemplateDictionary* out) const {
    for (int i = 0; i < count; ++i) out->SetValue(nameOf(i), kValue);
  }

  std::string text;
  int count;
  ctemplate::TemplateDictionary dictionary;
};

void parseCtemplate(benchmark::State& state, int variables) {
  Peer const peer(variables);
  while (state.KeepRunningBatch(variables)) {
    if (!peer.parsed()) state.SkipWithError("not a template");
  }
}

void parseAndExpandCtemplate(benchmark::State& state, int variables) {
  Peer const peer(variables);
  while (state.KeepRunningBatch(variables)) {
    std::unique_ptr<ctemplate::Template> const made = peer.parsed();
    ctemplate::TemplateDictionary dictionary("bench");
    peer.fill(&dictionary);
    std::string expanded;
    made->Expand(&expanded, &dictionary);
    benchmark::DoNotOptimize(expanded.data());
  }
}

void expandCtemplate(benchmark::State& state, int variables) {
  Peer const peer(variables);
  std::unique_ptr<ctemplate::Template> const made = peer.parsed();
  Ours ours(variables);
  ours.parse();
  std::string first;
  made->Expand(&first, &peer.dictionary);
  if (first != ours.made->expand(&ours.error).asCstr()) state.SkipWithError("not the same text");
  while (state.KeepRunningBatch(variables)) {
    std::string expanded;
    made->Expand(&expanded, &peer.dictionary);
    benchmark::DoNotOptimize(expanded.data());
  }
}
#define ZTB_TEMPLATE_PEER(function, operation, size) \
  BENCHMARK_CAPTURE(function##Ctemplate, size, size) \
      ->Name("template/" operation "_" #size "/ctemplate");
#else
#define ZTB_TEMPLATE_PEER(function, operation, size)
#endif

#define ZTB_TEMPLATE_BENCHMARK(function, operation, size)                                     \
  BENCHMARK_CAPTURE(function, size, size)->Name("template/" operation "_" #size "/ztbcpp31"); \
  ZTB_TEMPLATE_PEER(function, operation, size)
#define ZTB_TEMPLATE_SIZES(function, operation)      \
  ZTB_TEMPLATE_BENCHMARK(function, operation, 100)   \
  ZTB_TEMPLATE_BENCHMARK(function, operation, 1000)  \
  ZTB_TEMPLATE_BENCHMARK(function, operation, 10000) \
  ZTB_TEMPLATE_BENCHMARK(function, operation, 100000)

ZTB_TEMPLATE_SIZES(parse, "parse")
ZTB_TEMPLATE_SIZES(parseAndExpand, "parse_and_expand")
ZTB_TEMPLATE_SIZES(expand, "expand_again")
BENCHMARK_CAPTURE(list, 100000, 100000)->Name("template/list_100000/ztbcpp31");

}  // namespace
