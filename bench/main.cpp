// SPDX-License-Identifier: MIT
// Runs the benchmarks with an allocator that never returns memory to the system.
//
// Otherwise a benchmark's time would depend on the benchmarks before it: memory that the system
// maps again, page by page, takes longer than most of the measured operations.
#include <benchmark/benchmark.h>
#include <malloc.h>

int main(int count, char** arguments) {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
