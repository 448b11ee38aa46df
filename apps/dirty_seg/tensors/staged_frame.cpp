#include "tensors/staged_frame.h"

#include <fmt/format.h>

#include <utility>

#include "base/errors.h"
#include "base/text.h"
#include "detector/frame_detector.h"
#include "detector/frame_log.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;
using nuvik::alg::common::AIBuff;
using nuvik::alg::common::AIEngine;
using nuvik::alg::common::AIEngineConfig;
using nuvik::perception::dirty_seg_detector::DirtySegDetector;
using nuvik::perception::dirty_seg_detector::ImageMap;
using nuvik::perception::dirty_seg_detector_data::DirtySegDetectorResData;
using Buffers = std::map<std::string, AIBuff>;

[[noreturn]] void FailFrame(const std::string& stage, LogCapture& log) {
  std::vector<std::string> causes = ReadFrameLog(log.TakeLines()).errors;
  causes.insert(causes.begin(), stage);
  throw InputError(Join(causes, "; "));
}

// Zeroed, as the detector's own are before their first frame.
Buffers MakeBuffers(const std::map<std::string, std::int32_t>& sizes,
                    const std::map<std::string, std::vector<std::int64_t>>& shapes,
                    const std::map<std::string, std::uint32_t>& types) {
  Buffers buffers;
  for (const auto& [name, bytes] : sizes) {
    AIBuff& buffer = buffers[name];
    buffer.data->resize(static_cast<std::size_t>(bytes));
    buffer.shape = shapes.at(name);
    buffer.data_type = types.at(name);
  }
  return buffers;
}

void Prepare(DirtySegDetector& detector, const ImageMap& images, LogCapture& log, Buffers& inputs) {
  for (auto& [name, input] : inputs) {
    const cv::Size size(static_cast<int>(input.shape.at(3)), static_cast<int>(input.shape.at(2)));
    if (!detector.PreProcessFromSingleImageCrop(images, input, size)) {
      FailFrame("the patches cannot be cut out", log);
    }
  }
}

StagedFrame RunInitialised(DirtySegDetector& detector, AIEngine& engine,
                           const AIEngineConfig& network, const ImageMap& images, LogCapture& log) {
  StagedFrame frame;
  frame.inputs = MakeBuffers(network.input_sizes, network.input_shapes, network.input_types);
  frame.outputs = MakeBuffers(network.output_sizes, network.output_shapes, network.output_types);
  Prepare(detector, images, log, frame.inputs);
  if (const int status = engine.DoInference(frame.inputs, frame.outputs); status != 0) {
    FailFrame(fmt::format("the network fails with status {}", status), log);
  }
  auto objects = std::make_shared<DirtySegDetectorResData>();
  detector.PostProcess(images, frame.outputs, objects);
  frame.result = *detector.ConvertToDirtyStatusResult(images, objects);
  return frame;
}

}  // namespace

StagedFrame RunStages(const DirtySegDetectorConfig& config, const std::string& config_name,
                      const std::shared_ptr<cv::Mat>& picture, LogCapture& log) {
  DirtySegDetector detector;
  InitDetector(config, detector, log, config_name);
  AIEngine engine;
  const AIEngineConfig& network = config.dirty_seg_model_config;
  if (engine.Init(network) < 0) {
    throw SetupError(fmt::format(
        "'{}': cannot be loaded twice; the engine's message above says why", network.model_path));
  }
  try {
    StagedFrame frame = RunInitialised(detector, engine, network, {{"color", picture}}, log);
    if (const std::optional<FeceRules> rules = FeceRulesOf(config)) {
      frame.fece_candidates =
          ReadFeceCandidates(ReadFrameLog(log.TakeLines()), *rules, picture->size(), frame.result);
    }
    return frame;
  } catch (const cv::Exception& exception) {
    throw InputError(OneLine(exception.what()));
  }
}

std::vector<PatchSlot> FindSlots(const std::vector<cv::Rect>& patches, int side) {
  std::vector<PatchSlot> slots;
  for (std::size_t i = 0; i < patches.size(); ++i) {
    const cv::Rect crop = geometry::ClipFarEdges(patches[i], geometry::FrameSize());
    if (crop.width <= 0 || crop.height <= 0) continue;
    slots.push_back({i, crop, geometry::Letterbox(crop.size(), side)});
  }
  return slots;
}

}  // namespace dirty_seg
