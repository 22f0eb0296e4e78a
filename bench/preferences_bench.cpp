// What a synchronise costs, beside the least that a durable write of the same bytes can cost.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <string>

#include "platform/preferences/plist/preferences_file.h"
#include "tests/support/temporary_directory.h"

namespace {

constexpr const char* kName = "com.vantrel.bench.plist";
constexpr int kKeys = 20;

CFDictionary settings() {
  CFDictionary values;
  for (int i = 0; i < kKeys; ++i) values.insert_or_assign("Setting" + std::to_string(i), "48000");
  return values;
}

void ChangeOneOf20Keys(benchmark::State& state) {
  const test_support::TemporaryDirectory home;
  PreferencesFile file(home.path(), kName);
  for (const auto& [key, value] : settings()) file.set(key, value);
  int number = 10000;
  for (auto _ : state) {
    file.set("Setting0", std::to_string(++number));
    if (!file.synchronize()) state.SkipWithError("the file cannot be written");
  }
}
BENCHMARK(ChangeOneOf20Keys)->UseRealTime();

void WriteSyncRenameSyncTheSameBytes(benchmark::State& state) {
  const test_support::TemporaryDirectory home;
  const std::string path = home.path() / kName;
  const std::string bytes = writtenPreferences(settings()).value_or("");
  for (auto _ : state) {
    const FileDescriptor file = writeNewFile(path + ".new", bytes);
    if (!file || std::rename((path + ".new").c_str(), path.c_str()) != 0 ||
        !syncFolder(home.path())) {
      state.SkipWithError("the file cannot be written");
    }
  }
}
BENCHMARK(WriteSyncRenameSyncTheSameBytes)->UseRealTime();

void SynchronizeWithNothingChanged(benchmark::State& state) {
  const test_support::TemporaryDirectory home;
  PreferencesFile file(home.path(), kName);
  for (const auto& [key, value] : settings()) file.set(key, value);
  file.synchronize();
  for (auto _ : state) {
    if (!file.synchronize()) state.SkipWithError("the file cannot be read");
  }
}
BENCHMARK(SynchronizeWithNothingChanged);

}  // namespace

BENCHMARK_MAIN();
