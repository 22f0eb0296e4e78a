// Runs the benchmarks with memory that each run takes from the system and gives back to it.
//
// The C library would otherwise move the sizes from which on it does so with what was freed before,
// and a library be measured in memory that another one has left in the caches.
#include <benchmark/benchmark.h>
#include <malloc.h>

int main(int count, char** arguments) {
  constexpr int kThreshold = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, kThreshold);
  mallopt(M_TRIM_THRESHOLD, kThreshold);
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
