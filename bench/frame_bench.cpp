// The whole frame: against only its network in the same session, and against what one would
// otherwise write around a session with default options.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/default_session.h"
#include "bench/frame.h"
#include "bench/quiet.h"
#include "bench/usual_way.h"

namespace {

using namespace bench;

// All sides take turns on the same detectors, each loaded once.
DirtySegDetector& Detector(int threads, int batch) {
  static std::map<std::pair<int, int>, DirtySegDetector> detectors;
  const auto [detector, is_new] = detectors.try_emplace({threads, batch});
  if (is_new) {
    InitDetector(detector->second, threads, batch);
    RunFrame(detector->second, MakeFrame());
  }
  return detector->second;
}

void FrameDetector(benchmark::State& state, int threads, int batch) {
  DirtySegDetector& detector = Detector(threads, batch);
  const ImageMap frame = MakeFrame();
  for (auto _ : state) RunFrame(detector, frame);
}

void FrameNetwork(benchmark::State& state, int threads) {
  DirtySegDetector& detector = Detector(threads, kSlots);
  for (auto _ : state) {
    benchmark::DoNotOptimize(detector.dirty_seg_engine_->DoInference(detector.dirty_seg_inputs_,
                                                                     detector.dirty_seg_outputs_));
  }
}

// The batch of six in one session.
DefaultSession& Session() {
  static DefaultSession session(NetworkPath(kSlots));
  return session;
}

// The buffers of a detector, with what the session has to know of them.
std::map<std::string, AIBuff>& Inputs(DirtySegDetector& detector) {
  for (auto& [name, buffer] : detector.dirty_seg_inputs_) buffer.shape = {kSlots, 3, kSide, kSide};
  return detector.dirty_seg_inputs_;
}

void FrameDefault(benchmark::State& state) {
  DirtySegDetector& detector = Detector(0, kSlots);
  auto& inputs = Inputs(detector);
  for (auto _ : state) Session().Run(inputs, detector.dirty_seg_outputs_);
}

void RunUsual(const cv::Mat& frame, const std::vector<cv::Rect>& patches, Outputs& outputs) {
  cv::Mat blob = BlobOf(frame, patches);
  std::map<std::string, AIBuff> inputs;
  AIBuff& images = inputs["images"];
  images.shape = {kSlots, 3, kSide, kSide};
  images.data->assign(blob.data, blob.data + blob.total() * sizeof(float));
  Session().Run(inputs, outputs);
  std::size_t objects = 0;
  for (const auto& list : DecodeGeneric(outputs)) objects += list.size();
  if (objects != kFrameObjects) throw std::runtime_error("the usual way found other objects");
}

void FrameUsual(benchmark::State& state) {
  DirtySegDetector& detector = Detector(0, kSlots);
  const ImageMap frame = MakeFrame();
  cv::setNumThreads(-1);  // OpenCV's default
  for (auto _ : state) {
    RunUsual(*frame.at("color"), detector.patches_, detector.dirty_seg_outputs_);
  }
  cv::setNumThreads(1);
}

// Real time: the caller's processor time knows nothing of the other threads.
template <typename Side, typename... Arguments>
void RegisterInRealTime(const std::string& name, Side side, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), side, arguments...)->UseRealTime();
}

void Register() {
  benchmark::RegisterBenchmark("Frame_1threads/detector", FrameDetector, 1, kSlots);
  benchmark::RegisterBenchmark("Frame_1threads/network", FrameNetwork, 1);
  RegisterInRealTime("Frame_2threads/detector", FrameDetector, 2, kSlots);
  RegisterInRealTime("Frame_2threads/network", FrameNetwork, 2);
  RegisterInRealTime("Frame_batch6/ours", FrameDetector, 0, kSlots);
  RegisterInRealTime("Frame_batch6/default_session", FrameDefault);
  RegisterInRealTime("Frame_batch6/usual_way", FrameUsual);
  RegisterInRealTime("Frame_batch1/ours", FrameDetector, 0, 1);
  RegisterInRealTime("Frame_batch1/one_thread", FrameDetector, 1, 1);
  RegisterInRealTime("Frame_batch1/default_session_of_batch6", FrameDefault);
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
