// What a process with a detector costs between its frames.
#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "bench/frame.h"
#include "bench/quiet.h"

namespace {

using namespace bench;

constexpr double kPause = 0.3;  // seconds

double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Processor time of all threads while the caller sleeps behind a frame.
void Processor(benchmark::State& state, int batch) {
  DirtySegDetector detector;
  InitDetector(detector, 2, batch);
  const ImageMap frame = MakeFrame();
  for (auto _ : state) {
    RunFrame(detector, frame);
    const double before = ProcessorSeconds();
    std::this_thread::sleep_for(std::chrono::duration<double>(kPause));
    state.SetIterationTime(ProcessorSeconds() - before);
  }
}

void Clock(benchmark::State& state) {
  for (auto _ : state) state.SetIterationTime(kPause);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("Idle/batch6", Processor, kSlots)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("Idle/batch1", Processor, 1)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("Idle/clock", Clock)->UseManualTime()->Iterations(1);
  return RunQuietly(argc, argv);
}
