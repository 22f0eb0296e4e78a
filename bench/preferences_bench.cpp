// SPDX-License-Identifier: MIT
// Stores one choice: sets a key of a settings file and synchronises. Beside it the least cost of
// writing the same bytes durably: write a new file, sync it, rename it over the old one, sync the
// folder; and the same without the last sync, which a power failure may undo.
//
// Measures real time, which is spent waiting for the disk of the temporary files.
#include <benchmark/benchmark.h>

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

class Ours {
 public:
  explicit Ours(const std::string& folder) : file_(folder, kName) {
    for (const auto& [key, value] : settings()) file_.set(key, value);
    file_.synchronize();
  }
  bool store() {
    file_.set("Setting0", std::to_string(++number_));
    return file_.synchronize();
  }
  bool storeNothing() { return file_.synchronize(); }

 private:
  PreferencesFile file_;
  int number_ = 10000;
};

class WriteSyncRename {
 public:
  explicit WriteSyncRename(const std::string& folder) : path_(folder + "/" + kName) { store(); }
  bool store() { return static_cast<bool>(replaceFile(path_, path_ + ".new", bytes_, 0600)); }

 private:
  std::string path_;
  std::string bytes_ = writtenPreferences(settings()).value_or("");
};

class WriteSyncRenameSync {
 public:
  explicit WriteSyncRenameSync(const std::string& folder) : folder_(folder), file_(folder) {}
  bool store() { return file_.store() && syncFolder(folder_); }

 private:
  std::string folder_;
  WriteSyncRename file_;
};

template <typename Store>
void StoreOneOf20Keys(benchmark::State& state) {
  const test_support::TemporaryDirectory home;
  Store store(home.path());
  for (auto _ : state) {
    if (!store.store()) state.SkipWithError("the file cannot be written");
  }
}
BENCHMARK_TEMPLATE(StoreOneOf20Keys, Ours)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(StoreOneOf20Keys, WriteSyncRenameSync)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(StoreOneOf20Keys, WriteSyncRename)->UseRealTime()->Unit(benchmark::kMicrosecond);

template <typename Store>
void StoreNothing(benchmark::State& state) {
  const test_support::TemporaryDirectory home;
  Store store(home.path());
  for (auto _ : state) {
    if (!store.storeNothing()) state.SkipWithError("the file cannot be read");
  }
}
BENCHMARK_TEMPLATE(StoreNothing, Ours)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
