// SPDX-License-Identifier: MIT
// Runs the benchmarks in memory that the process keeps once it has it.
//
// Otherwise it would depend on what ran before whether a library finds its memory there or has it
// mapped by the system page by page, and that takes longer than most of what is measured.
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
