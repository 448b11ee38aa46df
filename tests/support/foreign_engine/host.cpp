// Runs one frame through the detector library on an installed engine, and checks that this engine
// was asked and that what it answered, or threw, came back.
#include <yaml-cpp/yaml.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "scripted_engine.h"

namespace detector = nuvik::perception::dirty_seg_detector;

namespace {

int failures = 0;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "host: not so: %s\n", what);
  ++failures;
}

detector::DirtySegDetectorConfig Configure(const std::string& yaml_path) {
  detector::DirtySegDetectorConfig config;
  config.dirty_seg_model_config.model_path = "foreign.model";
  config.dirty_seg_model_config.input_sizes = {{"images", 3 * 8 * 8 * 4}};
  config.dirty_seg_model_config.input_shapes = {{"images", {1, 3, 8, 8}}};
  config.dirty_seg_model_config.output_sizes = {{"output0", 16}};
  config.dirty_seg_model_config.output_shapes = {{"output0", {4}}};
  config.dirty_seg_model_config.output_types = {{"output0", 2}};
  config.yaml_config_path = yaml_path;
  return config;
}

void ScriptOneObject() {
  nuvik::model::Object object;
  object.x = 1.0F;
  object.y = 2.0F;
  object.width = 3.0F;
  object.height = 4.0F;
  object.label = 5;
  object.score = 0.75F;
  object.mask = cv::Mat(2, 3, CV_8UC1, cv::Scalar(255));
  scripted_engine::GetScript().objects = {{object}};
}

void RunOneFrame(const std::string& yaml_path) {
  scripted_engine::Reset();
  ScriptOneObject();
  detector::DirtySegDetector dirty_seg_detector;
  Check(dirty_seg_detector.Init(Configure(yaml_path)), "Init returns true");

  const auto frame = std::make_shared<cv::Mat>(1080, 1920, CV_8UC3, cv::Scalar(0, 0, 255));
  std::shared_ptr<detector::DirtyStatusResultData> result;
  Check(dirty_seg_detector.DoInference({{"color", frame}}, result), "DoInference returns true");
  if (result == nullptr) {
    Check(false, "there is a result");
    return;
  }
  Check(result->success && result->message == "success", "the result is a success");
  Check(result->bboxes == std::vector<std::vector<float>>{{101, 202, 104, 206}},
        "the box is moved by the patch");
  Check(result->labels == std::vector<int>{5}, "the label is the engine's");
  Check(result->mask_pixel_counts == std::vector<float>{6.0F}, "the mask has six pixels");
  Check(result->label_masks.count(5) == 1 && cv::countNonZero(result->label_masks.at(5)) == 6,
        "the canvas has six pixels");

  const auto inferences = scripted_engine::CallsOf(scripted_engine::kInfer);
  Check(inferences.size() == 1 && inferences[0].model_path == "foreign.model",
        "the installed engine ran the network once");
  Check(scripted_engine::CallsOf(scripted_engine::kPostProcess).size() == 1,
        "its post-processor decoded the outputs once");
  Check(scripted_engine::CallsOf(scripted_engine::kToString).size() == 3,
        "its std::to_string made the three stage labels");
  Check(scripted_engine::CallsOf(scripted_engine::kMakeRecord).size() == 1,
        "its record base was constructed once");
}

void FailInit(const std::string& yaml_path) {
  scripted_engine::Reset();
  detector::DirtySegDetector dirty_seg_detector;
  try {
    dirty_seg_detector.Init(Configure(yaml_path));
    Check(false, "a patch of three numbers throws");
  } catch (const YAML::TypedBadConversion<int>&) {
  }
  try {
    dirty_seg_detector.Init(Configure(yaml_path + ".missing"));
    Check(false, "a missing file throws");
  } catch (const YAML::BadFile&) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string yaml_path = argc > 1 ? argv[1] : "host.yaml";
  std::ofstream(yaml_path) << "patch: {enable: true, patches: [[100, 200, 640, 640]]}\n";
  RunOneFrame(yaml_path);
  std::ofstream(yaml_path) << "patch: {enable: true, patches: [[100, 200, 640]]}\n";
  FailInit(yaml_path);
  if (failures == 0) std::printf("host: one frame went through the installed engine\n");
  return failures == 0 ? 0 : 1;
}
