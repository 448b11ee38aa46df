// Patch lists, frames and whatever an engine may answer through the whole pipeline, on the scripted
// engine: no call does more than return false or throw what is documented, and every result keeps
// what its record promises.
#include <yaml-cpp/yaml.h>

#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "input.h"
#include "quiet_log.h"
#include "scripted_engine.h"
#include "support/memory_file.h"

namespace {

using fuzz::Input;
using fuzz::Require;
using nuvik::alg::common::AIEngineConfig;
using nuvik::model::Object;
using nuvik::perception::dirty_seg_detector::DirtySegDetector;
using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;
using nuvik::perception::dirty_seg_detector::DirtyStatusResultData;
using nuvik::perception::dirty_seg_detector::ImageMap;

const cv::Size kFrame(1920, 1080);

// Mostly near the frame's size, sometimes anywhere.
int TakeCoordinate(Input& input) {
  return input.TakeFrom(0, 15) == 15 ? input.Take<std::int32_t>() : input.Take<std::int16_t>() / 8;
}

std::string TakePatches(Input& input) {
  std::string list;
  for (int left = input.TakeFrom(0, 6); left > 0; --left) {
    list += list.empty() ? "[" : ", [";
    for (int i = 0; i < 4; ++i)
      list += (i == 0 ? "" : ", ") + std::to_string(TakeCoordinate(input));
    list += "]";
  }
  return "patch: {enable: true, patches: [" + list + "]}\n";
}

DirtySegDetectorConfig TakeConfig(Input& input) {
  DirtySegDetectorConfig config;
  AIEngineConfig& network = config.dirty_seg_model_config;
  const std::int64_t height = input.TakeFrom(1, 40);
  const std::int64_t width = input.TakeBool() ? height : input.TakeFrom(1, 40);
  network.input_shapes = {{"images", {1, 3, height, width}}};
  network.input_shapes["images"].resize(input.TakeFrom(0, 31) == 31 ? 3 : 4);
  network.input_sizes = {{"images", input.TakeFrom(0, 40000)}};
  network.output_sizes = {{"output0", 0}};
  network.output_shapes = {{"output0", {1, 2}}};
  network.output_types = {{"output0", 2}};
  config.fece_enable = input.TakeBool();
  config.fece_class_ids = {0, input.Take<std::int8_t>()};
  config.fece_score_threshold = input.Take<float>();
  config.fece_area_threshold = input.TakeBool() ? 0.0F : input.Take<float>();
  AIEngineConfig& fece = config.fece_model_config;
  fece.input_sizes = {{"input", input.TakeFrom(0, 31) == 31 ? 602111 : 602112}};
  fece.output_sizes = {{"output", 0}};
  fece.output_shapes = {{"output", {input.TakeFrom(0, 31) == 31 ? 1 : 2}}};
  fece.output_types = {{"output", 2}};
  return config;
}

// Of any size and element type, some with padded rows, some with a third dimension.
std::shared_ptr<cv::Mat> TakeImage(Input& input) {
  const int kind = input.TakeFrom(0, 15);
  if (kind == 14) return nullptr;
  if (kind == 15) return std::make_shared<cv::Mat>();
  const bool is_frame = kind == 13;
  const int rows = is_frame ? kFrame.height : input.TakeFrom(1, 200);
  const int cols = is_frame ? kFrame.width : input.TakeFrom(1, 200);
  int type = CV_8UC3;
  if (!is_frame && input.TakeFrom(0, 3) == 3) {
    const int depth = input.TakeFrom(0, 7);
    type = CV_MAKETYPE(depth, input.TakeFrom(1, 4));
  }
  const auto fill = cv::Scalar::all(input.Take<std::uint8_t>());
  if (kind == 12) return std::make_shared<cv::Mat>(std::vector<int>{2, rows, cols}, type, fill);
  const cv::Mat whole(rows + 2, cols + 3, type, fill);
  return std::make_shared<cv::Mat>(whole(cv::Rect(1, 1, cols, rows)));
}

ImageMap TakeImages(Input& input) {
  ImageMap images;
  if (input.TakeFrom(0, 31) != 31) images["color"] = TakeImage(input);
  if (input.TakeBool()) images["depth"] = TakeImage(input);
  return images;
}

Object TakeObject(Input& input) {
  Object object;
  for (float* number : {&object.x, &object.y, &object.width, &object.height}) {
    *number = input.TakeBool() ? input.Take<float>() : input.Take<std::int16_t>();
  }
  object.label = input.TakeBool() ? input.Take<std::int8_t>() : input.Take<std::int32_t>();
  object.score = input.Take<float>();
  if (input.TakeFrom(0, 3) == 3) return object;
  const int type = input.TakeFrom(0, 15) == 15 ? CV_8UC3 : CV_8UC1;
  const cv::Size size{input.TakeFrom(1, 100), input.TakeFrom(1, 100)};
  object.mask = cv::Mat(size, type, cv::Scalar(0));
  for (int left = input.TakeFrom(0, 7); left > 0; --left) {
    const int row = input.Take<std::uint8_t>() % object.mask.rows;
    object.mask.row(row).setTo(input.Take<std::uint8_t>());
  }
  return object;
}

// A script that answers the same however often it is asked.
void TakeScript(Input& input) {
  scripted_engine::Script& script = scripted_engine::GetScript();
  const int lists = input.TakeFrom(0, 5);
  for (int i = 0; i < lists; ++i) {
    script.objects.emplace_back();
    for (int left = input.TakeFrom(0, 4); left > 0; --left) {
      script.objects.back().push_back(TakeObject(input));
    }
  }
  const float logits[2] = {input.Take<float>(), input.Take<float>()};
  script.on_inference = [first = logits[0], second = logits[1]](const std::string&,
                                                                auto& /*inputs*/, auto& outputs) {
    const auto output = outputs.find("output");
    if (output == outputs.end() || output->second.data->size() < 8) return;
    std::memcpy(output->second.data->data(), &first, 4);
    std::memcpy(output->second.data->data() + 4, &second, 4);
  };
}

void CheckResult(const DirtyStatusResultData& result) {
  Require(result.success && result.message == "success", "the result is a success");
  Require(
      result.bboxes.size() == result.scores.size() && result.bboxes.size() == result.labels.size(),
      "boxes, scores and labels are parallel");
  for (const std::vector<float>& box : result.bboxes) Require(box.size() == 4, "a box is four");
  Require(result.mask_pixel_counts.size() <= result.bboxes.size(), "no count without a box");
  for (const auto& [label, mask] : result.label_masks) {
    Require(mask.size() == kFrame && mask.type() == CV_8UC1, "a label mask is a frame");
    Require(std::count(result.labels.begin(), result.labels.end(), label) > 0,
            "a label mask belongs to a detection");
  }
}

// Whether a frame went through, and its result; the same whenever it is asked.
std::shared_ptr<DirtyStatusResultData> Infer(DirtySegDetector& detector, const ImageMap& images) {
  const auto before = std::make_shared<DirtyStatusResultData>();
  std::shared_ptr<DirtyStatusResultData> result = before;
  try {
    if (!detector.DoInference(images, result)) {
      Require(result == before, "a failure leaves the result unchanged");
      return nullptr;
    }
    Require(result != nullptr && result != before, "a success makes a new record");
    CheckResult(*result);
    return result;
  } catch (const cv::Exception&) {
  } catch (const std::out_of_range&) {
  }
  Require(result == before, "an exception leaves the result unchanged");
  return nullptr;
}

void Run(Input& input) {
  DirtySegDetectorConfig config = TakeConfig(input);
  const nuvik::test::MemoryFile file(TakePatches(input));
  config.yaml_config_path = file.path();
  DirtySegDetector detector;
  Require(detector.Init(config), "the configuration is accepted");
  const std::size_t bytes = detector.dirty_seg_inputs_["images"].data->size();
  const ImageMap images = TakeImages(input);
  TakeScript(input);
  const auto first = Infer(detector, images);
  const auto second = Infer(detector, images);
  Require((first == nullptr) == (second == nullptr), "a frame goes through whenever it did");
  Require(first == nullptr || first->labels == second->labels, "a frame gives the same labels");
  Require(detector.dirty_seg_inputs_["images"].data->size() == bytes, "the buffer keeps its size");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool is_silent = fuzz::SilenceLog();
  Require(is_silent, "the log is silent");
  Input input(data, size);
  Run(input);
  scripted_engine::Reset();
  return 0;
}
