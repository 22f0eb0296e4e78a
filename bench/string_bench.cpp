// SPDX-License-Identifier: MIT
// Appends one character, and eight characters, a million times.
#include <benchmark/benchmark.h>

#include <string>

#include "foundation/lum_string.h"

namespace {

constexpr int kAppends = 1'000'000;

const char* textOf(const LumString& string) { return string; }
const char* textOf(const std::string& string) { return string.c_str(); }

template <typename String>
void AppendOne(benchmark::State& state) {
  for (auto _ : state) {
    String string;
    for (int i = 0; i < kAppends; ++i) string += 'x';
    benchmark::DoNotOptimize(textOf(string));
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}

template <typename String>
void AppendEight(benchmark::State& state) {
  const char* eight = "abcdefgh";
  for (auto _ : state) {
    benchmark::DoNotOptimize(eight);
    String string;
    for (int i = 0; i < kAppends; ++i) string += eight;
    benchmark::DoNotOptimize(textOf(string));
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}

BENCHMARK_TEMPLATE(AppendOne, LumString)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(AppendOne, std::string)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(AppendEight, LumString)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(AppendEight, std::string)->Unit(benchmark::kMicrosecond);

}  // namespace
