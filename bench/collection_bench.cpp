// Sorted insertion of texts in an order without any, and the destruction of all.
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

void InsertInCollection(benchmark::State& state) {
  const auto texts = shuffledTexts(state.range(0));
  for (auto _ : state) {
    LumSortedCollection collection;
    for (const auto& text : texts) collection.add(new LumString(text.c_str()));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void InsertInMultiset(benchmark::State& state) {
  const auto texts = shuffledTexts(state.range(0));
  for (auto _ : state) {
    std::multiset<std::string> set;
    for (const auto& text : texts) set.insert(text);
    benchmark::DoNotOptimize(set.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void InsertInSortedVector(benchmark::State& state) {
  const auto texts = shuffledTexts(state.range(0));
  const auto less = [](const auto& a, const auto& b) { return *a < *b; };
  for (auto _ : state) {
    std::vector<std::unique_ptr<std::string>> vector;
    for (const auto& text : texts) {
      auto added = std::make_unique<std::string>(text);
      vector.insert(std::lower_bound(vector.begin(), vector.end(), added, less), std::move(added));
    }
    benchmark::DoNotOptimize(vector.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(InsertInCollection)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(InsertInMultiset)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(InsertInSortedVector)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);

}  // namespace
