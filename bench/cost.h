// What work costs beside its time, in the counters of a benchmark.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <functional>

#include "heap.h"
#include "system_calls.h"

namespace bench {

// Does the work once for its memory and the bytes that it writes and once more for its system calls;
// nothing at all unless WAVECODEC_BENCH_COST is set. `restore` follows each. Work that is not traced
// tells its reads and writes only.
inline void TellCost(
    benchmark::State& state, const std::function<void()>& work,
    const std::function<void()>& restore = [] {}, bool traced = true) {
  if (std::getenv("WAVECODEC_BENCH_COST") == nullptr) return;
  work();  // what only a first call does counts nowhere
  restore();
  const IoCounts before = ProcessIo();
  heap::ResetPeak();
  const size_t live = heap::Now().Live;
  work();
  constexpr double kKiB = 1024;
  state.counters["heap_kib"] = static_cast<double>(heap::Now().Peak - live) / kKiB;
  const IoCounts after = ProcessIo();
  state.counters["written"] = static_cast<double>(after.BytesWritten - before.BytesWritten);
  restore();
  if (traced) {
    state.counters["calls"] = SystemCalls(work);
    restore();
  } else {
    state.counters["reads_writes"] =
        static_cast<double>(after.Reads - before.Reads + after.Writes - before.Writes);
  }
}

// Processor time of this process so far, in seconds.
inline double CpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace bench
