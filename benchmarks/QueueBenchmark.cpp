// Throughput of the dispatch queues: posting a million blocks and running them.
// Figures only; run with scripts/run-benchmarks.sh or the QueueBenchmark binary.

#include <benchmark/benchmark.h>

#include <cstdint>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"

namespace {
constexpr std::int64_t blockCount = 1'000'000;

// Posts every block to the main queue from the loop's own thread, then drains them.
void BM_MainQueuePostThenDrain(benchmark::State& state) {
  std::int64_t counter = 0;
  for (auto _ : state) {
    for (std::int64_t i = 0; i < blockCount; ++i) OVNDispatchQueue::main()->async([&counter] { ++counter; });
    OVNRunLoop::main().drain();
  }
  if (counter != blockCount * static_cast<std::int64_t>(state.iterations())) state.SkipWithError("blocks lost");
  state.SetItemsProcessed(state.iterations() * blockCount);
}
BENCHMARK(BM_MainQueuePostThenDrain)->Unit(benchmark::kMillisecond)->UseRealTime();

// Posts every block to a serial queue (which starts running them on the pool meanwhile),
// then waits for the last one with sync().
void BM_SerialQueuePostThenWait(benchmark::State& state) {
  auto queue = OVNDispatchQueue::createSerial("benchmark.serial");
  std::int64_t counter = 0;  // touched only on the queue
  for (auto _ : state) {
    for (std::int64_t i = 0; i < blockCount; ++i) queue->async([&counter] { ++counter; });
    queue->sync([] {});
  }
  std::int64_t total = 0;
  queue->sync([&] { total = counter; });
  if (total != blockCount * static_cast<std::int64_t>(state.iterations())) state.SkipWithError("blocks lost");
  state.SetItemsProcessed(state.iterations() * blockCount);
}
BENCHMARK(BM_SerialQueuePostThenWait)->Unit(benchmark::kMillisecond)->UseRealTime();
}  // namespace
