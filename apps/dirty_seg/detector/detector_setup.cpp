#include "detector/detector_setup.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <utility>

#include "config/class_names.h"
#include "console/messages.h"
#include "network/segmentation_head.h"
#include "network/telemetry.h"
#include "networks/networks.h"

namespace dirty_seg {
namespace {

DirtySegDetectorConfig MakeConfig(const DetectorOptions& options) {
  DirtySegDetectorConfig config;
  config.fece_enable = !options.fece_model.empty();
  config.fece_class_ids = options.fece_class_ids;
  config.fece_score_threshold = options.fece_score_threshold;
  config.fece_area_threshold = options.fece_area_threshold;
  if (config.fece_enable) {
    config.fece_model_config = ReadFeceNetwork(options.fece_model, options.threads);
  }
  return config;
}

void WarnOfUnknownClasses(const std::vector<int>& ids,
                          const std::map<std::int32_t, std::string>& class_names) {
  for (const int id : ids) {
    if (class_names.empty() || class_names.count(id) != 0) continue;
    PrintWarning(fmt::format(
        "--fece-class-ids {}: the segmentation network names no such class, so it has no effect",
        id));
  }
}

// 0 classes: how many there are is not known.
void WarnOfClassesBeyond(int classes, const DetectorOptions& options,
                         const nuvik::model::PostprocessOptions& postprocess) {
  const std::string in_file = fmt::format("'{}': postprocess.", options.config);
  const auto warn = [&](const std::string& key, int id) {
    if (classes == 0 || id < classes) return;
    PrintWarning(fmt::format(
        "{} names class {}: the segmentation network has no such class, so it has no effect; "
        "expected class ids from 0 to {}",
        key, id, classes - 1));
  };
  for (const auto& [id, threshold] : postprocess.score_thresholds) {
    warn(in_file + "score_thresholds", id);
  }
  const bool is_of_run = !options.thresholds.classes.empty();
  for (const int id : postprocess.classes) warn(is_of_run ? "--classes" : in_file + "classes", id);
}

// The classifier would look at detections that there cannot be.
void WarnOfClassesLeftOut(const std::vector<int>& fece_ids, const std::vector<int>& classes) {
  for (const int id : fece_ids) {
    if (classes.empty() || std::find(classes.begin(), classes.end(), id) != classes.end()) continue;
    PrintWarning(fmt::format(
        "--fece-class-ids {}: the class is not among those that are kept, so it has no effect",
        id));
  }
}

// Names of the classes that there can be. 0 classes: how many there are is not known.
std::map<std::int32_t, std::string> NamesWithin(int classes, const std::string& path,
                                                std::map<std::int32_t, std::string> names) {
  const auto beyond = classes == 0 ? names.end() : names.lower_bound(classes);
  for (auto each = beyond; each != names.end(); ++each) {
    PrintWarning(fmt::format(
        "'{}' names class {}: the segmentation network has no such class, so it has no effect; "
        "expected class ids from 0 to {}",
        path, each->first, classes - 1));
  }
  names.erase(beyond, names.end());
  return names;
}

// 0 for outputs that are not a segmentation head; the detector refuses these with the cause.
int CountClasses(const nuvik::alg::common::AIEngineConfig& network) try {
  return nuvik::model::ReadSegmentationHead(network).classes;
} catch (const std::invalid_argument&) {
  return 0;
}

std::vector<cv::Rect> Rectangles(const std::vector<ListedPatch>& patches) {
  std::vector<cv::Rect> rectangles;
  rectangles.reserve(patches.size());
  for (const ListedPatch& patch : patches) rectangles.push_back(patch.rectangle);
  return rectangles;
}

}  // namespace

void SetThreads(int threads) {
  cv::setNumThreads(-1);  // OpenCV's default
  const int most = cv::getNumThreads();
  if (threads > 0) cv::setNumThreads(std::min(threads, most));
}

bool UsesOneThread() { return cv::getNumThreads() == 1; }

ConfigCheck PrepareDetector(const DetectorOptions& options) {
  nuvik::alg::common::SwitchTelemetryOff();
  SetThreads(options.threads);
  ConfigCheck check = CheckConfig(LoadConfig(options));
  RefuseErrors(options.config, check);
  return check;
}

DetectorSetup SetUpDetector(const DetectorOptions& options, ConfigCheck check) {
  std::map<std::int32_t, std::string> names;
  if (!options.names.empty()) names = ReadClassNames(options.names);
  nuvik::alg::common::Network network =
      ReadSegmentationNetwork(options.model, check.patches.size(), options.threads);
  CheckFit(InputSide(network.config), std::nullopt, check);
  RefuseErrors(options.config, check);
  DirtySegDetectorConfig config = MakeConfig(options);
  auto file = std::make_shared<const EffectiveConfig>(options);
  config.yaml_config_path = file->path();
  const int class_count = CountClasses(network.config);
  config.dirty_seg_model_config = std::move(network.config);
  WarnOfUnknownClasses(options.fece_class_ids, network.class_names);
  WarnOfClassesBeyond(class_count, options, file->options());
  WarnOfClassesLeftOut(options.fece_class_ids, file->options().classes);
  if (!names.empty()) network.class_names = NamesWithin(class_count, options.names, names);
  Labels labels(std::move(network.class_names), config.fece_enable, class_count);
  return {std::move(config), std::move(file), Rectangles(check.patches), std::move(labels)};
}

DetectorSetup SetUpDetector(const DetectorOptions& options) {
  return SetUpDetector(options, PrepareDetector(options));
}

}  // namespace dirty_seg
