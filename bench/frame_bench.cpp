// The whole frame against only the network: the same session, on the same buffers.
#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>

#include "bench/frame.h"
#include "bench/quiet.h"

namespace {

using namespace bench;

// Both sides take turns on one detector, loaded once.
DirtySegDetector& Detector(int threads) {
  static std::map<int, DirtySegDetector> detectors;
  const auto [detector, is_new] = detectors.try_emplace(threads);
  if (is_new) {
    InitDetector(detector->second, threads);
    RunFrame(detector->second, MakeFrame());
  }
  return detector->second;
}

void FrameDetector(benchmark::State& state, int threads) {
  DirtySegDetector& detector = Detector(threads);
  const ImageMap frame = MakeFrame();
  for (auto _ : state) RunFrame(detector, frame);
}

void FrameNetwork(benchmark::State& state, int threads) {
  DirtySegDetector& detector = Detector(threads);
  for (auto _ : state) {
    benchmark::DoNotOptimize(detector.dirty_seg_engine_->DoInference(detector.dirty_seg_inputs_,
                                                                     detector.dirty_seg_outputs_));
  }
}

void Register() {
  using Side = void (*)(benchmark::State&, int);
  for (const int threads : {1, 2}) {
    for (const auto& [name, side] :
         {std::pair<const char*, Side>{"/detector", FrameDetector}, {"/network", FrameNetwork}}) {
      auto* frame = benchmark::RegisterBenchmark(
          ("Frame_" + std::to_string(threads) + "threads" + name).c_str(), side, threads);
      // The caller's processor time knows nothing of a second thread.
      if (threads > 1) frame->UseRealTime();
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
