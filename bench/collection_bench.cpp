// SPDX-License-Identifier: MIT
// Inserts texts in random order into a sorted collection, then destroys it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "foundation/lum_sorted_collection.h"
#include "foundation/lum_string.h"

namespace {

std::vector<std::string> shuffledTexts(std::int64_t count) {
  std::vector<std::string> texts;
  for (std::int64_t i = 0; i < count; ++i) texts.push_back("setting " + std::to_string(i));
  std::shuffle(texts.begin(), texts.end(), std::mt19937(310));
  return texts;
}

void insert(LumSortedCollection& collection, const std::string& text) {
  collection.add(new LumString(text.c_str()));
}

using Multiset = std::multiset<std::string>;
void insert(Multiset& set, const std::string& text) { set.insert(text); }

using Vector = std::vector<std::unique_ptr<std::string>>;
void insert(Vector& vector, const std::string& text) {
  const auto less = [](const std::string& a, const auto& b) { return a < *b; };
  const auto at = std::upper_bound(vector.begin(), vector.end(), text, less);
  vector.insert(at, std::make_unique<std::string>(text));
}

template <typename Collection>
void InsertSorted(benchmark::State& state) {
  const auto texts = shuffledTexts(state.range(0));
  for (auto _ : state) {
    Collection collection;
    for (const auto& text : texts) insert(collection, text);
    benchmark::DoNotOptimize(&collection);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void counts(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(InsertSorted, LumSortedCollection)->Apply(counts);
BENCHMARK_TEMPLATE(InsertSorted, Multiset)->Apply(counts);
BENCHMARK_TEMPLATE(InsertSorted, Vector)->Apply(counts);

}  // namespace
