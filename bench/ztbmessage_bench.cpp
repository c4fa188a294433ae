// SPDX-License-Identifier: MIT
//
// A message by its number, beside what the C library offers: catgets on the same catalog, and
// snprintf with the text as its format.

#include "ztbmessage.h"

#include <benchmark/benchmark.h>
#include <nl_types.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ztbstartup.h"

namespace {

constexpr int kBaseServicesSet = 2;

std::string stagedHome() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "home")
      .string();
}

// Opens the database, as start-up does.
bool startUp() {
  static bool const isUp = [] {
    setenv("ZTEXEC_HOME", stagedHome().c_str(), 1);
    setenv("MARLOVEN_ERROR_LOCALE", "en", 1);
    char const* error = nullptr;
    return ztbStartup(&error) == 0;
  }();
  return isUp;
}

void ours(benchmark::State& state) {
  if (!startUp()) state.SkipWithError("start-up failed");
  for (auto _ : state) {
    ZtbString const text =
        ztb_get_message("bench", 1, "Base Services", 1353, "/etc/app.cfg", "Permission denied");
    benchmark::DoNotOptimize(text.asCstr());
  }
}
BENCHMARK(ours)->Name("message/two_texts/ztbcpp31");

void bareCatgets(benchmark::State& state) {
  nl_catd const catalog = catopen((stagedHome() + "/share/msg/en/messages.cat").c_str(), 0);
  if (catalog == reinterpret_cast<nl_catd>(-1)) state.SkipWithError("no catalog");
  for (auto _ : state) {
    char buffer[2048];
    char const* const format = catgets(catalog, kBaseServicesSet, 1353, "");
    std::snprintf(buffer, sizeof(buffer), format, "/etc/app.cfg", "Permission denied");
    std::string const text(buffer);
    benchmark::DoNotOptimize(text.data());
  }
  catclose(catalog);
}
BENCHMARK(bareCatgets)->Name("message/two_texts/catgets+snprintf");

}  // namespace
