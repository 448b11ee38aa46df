#include "commands/detect.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <utility>

#include "geometry/letterbox.h"
#include "host/errors.h"
#include "host/frame_detector.h"
#include "host/frame_record.h"
#include "host/inputs.h"
#include "host/labels.h"
#include "host/log_capture.h"
#include "host/messages.h"
#include "host/networks.h"
#include "host/output.h"
#include "host/overlay.h"
#include "host/patches.h"
#include "host/stopwatch.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

std::string SizeText(const cv::Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

// CLI11's own range check lets not-a-number through and adds its bounds to the help.
template <typename Number>
CLI::Validator NumberFrom(Number least, Number most, const std::string& range) {
  const auto check = [least, most, range](std::string& text) -> std::string {
    Number value{};
    const bool is_number = CLI::detail::lexical_cast(text, value);
    return is_number && value >= least && value <= most ? "" : text + " is not " + range;
  };
  return {check, ""};
}

DirtySegDetectorConfig MakeConfig(const DetectOptions& options) {
  DirtySegDetectorConfig config;
  config.yaml_config_path = options.config;
  config.fece_enable = !options.fece_model.empty();
  config.fece_class_ids = options.fece_class_ids;
  config.fece_score_threshold = options.fece_score_threshold;
  config.fece_area_threshold = options.fece_area_threshold;
  if (config.fece_enable) {
    config.fece_model_config = ReadFeceNetwork(options.fece_model, options.threads);
  }
  return config;
}

void TellUnknownClasses(const std::vector<int>& ids,
                        const std::map<std::int32_t, std::string>& class_names) {
  for (const int id : ids) {
    if (class_names.empty() || class_names.count(id) != 0) continue;
    TellWarning("--fece-class-ids " + std::to_string(id) +
                ": the segmentation network names no such class, so it has no effect");
  }
}

// One run over all inputs.
class Run {
 public:
  Run(const DetectOptions& options, LogCapture& log, const std::vector<cv::Rect>& patches,
      const DirtySegDetectorConfig& config, Labels labels)
      : patches_(patches),
        labels_(std::move(labels)),
        detector_(config, log),
        destination_("standard output"),
        results_(log.standard_output()) {
    if (options.output.empty()) return;
    folder_.emplace(options.output);
    destination_ = "'" + folder_->results_path() + "'";
    results_ = folder_->results();
  }

  int Process(const std::vector<Input>& inputs) {
    std::size_t failures = 0;
    for (const Input& input : inputs) {
      try {
        if (!input.failure.empty()) throw InputError(input.failure);
        ProcessPicture(input.path);
      } catch (const InputError& error) {
        TellError("'" + input.path + "': " + error.what());
        ++failures;
      }
    }
    if (folder_) {
      Tell(std::to_string(inputs.size() - failures) + " of " + std::to_string(inputs.size()) +
           " inputs processed; results in " + destination_);
    }
    return failures == 0 ? kAllDone : kSomeInputFailed;
  }

 private:
  void ProcessPicture(const std::string& path) {
    FrameRecord record;
    record.source = path;
    const Stopwatch read_watch;
    const auto picture = std::make_shared<cv::Mat>(ReadPicture(path));
    record.read_ms = read_watch.Milliseconds();
    TellOddSize(path, picture->size());

    record.outcome = detector_.Detect(picture);
    for (const std::string& complaint : record.outcome.complaints) {
      TellWarning("'" + path + "': " + complaint);
    }
    DirtyStatusResultData& result = record.outcome.result;
    if (!result.success) result.message += FailureHint(picture->size());

    const Stopwatch write_watch;
    record.masks = DescribeMasks(result);
    if (folder_ && result.success) WritePictures(*picture, record);
    record.write_ms = write_watch.Milliseconds();
    WriteJsonLine(ToJson(record, labels_), destination_, results_);
    if (!result.success) throw InputError(result.message);
  }

  void WritePictures(const cv::Mat& picture, FrameRecord& record) {
    const std::string name = names_.Take(record.source);
    const DirtyStatusResultData& result = record.outcome.result;
    for (auto& [label, mask] : record.masks) {
      mask.file = folder_->WriteMask(name, label, result.label_masks.at(label));
    }
    folder_->WriteOverlay(name, DrawOverlay(picture, result, labels_));
  }

  static void TellOddSize(const std::string& path, const cv::Size& size) {
    const cv::Size expected(geometry::kFrameWidth, geometry::kFrameHeight);
    if (size == expected) return;
    TellWarning("'" + path + "' is " + SizeText(size) + ", not " + SizeText(expected) +
                ": patches are laid out on that frame, so results may be missing or misplaced");
  }

  // The detector says of a picture that no patch reaches only that preparing it failed.
  std::string FailureHint(const cv::Size& size) const {
    const bool is_reached = std::any_of(
        patches_.begin(), patches_.end(),
        [&size](const cv::Rect& patch) { return patch.x < size.width && patch.y < size.height; });
    return is_reached ? "" : "; no patch reaches into a picture of " + SizeText(size);
  }

  const std::vector<cv::Rect>& patches_;
  Labels labels_;
  FrameDetector detector_;
  std::optional<OutputFolder> folder_;
  UniqueNames names_;
  std::string destination_;
  std::FILE* results_;
};

void AddFeceOptions(CLI::App& command, DetectOptions& options) {
  CLI::Option* model =
      command.add_option("--fece-model", options.fece_model, "Classifier that confirms faeces")
          ->type_name("FECE.onnx");
  CLI::Option* class_ids = command
                               .add_option("--fece-class-ids", options.fece_class_ids,
                                           "Classes whose detections it looks at, as 0,3")
                               ->delimiter(',')
                               ->allow_extra_args(false)
                               ->check(NumberFrom(0, 1000000, "a class id, a whole number from 0"))
                               ->type_name("IDS");
  model->needs(class_ids);
  class_ids->needs(model);
  command
      .add_option("--fece-score-threshold", options.fece_score_threshold,
                  "It confirms above this probability; 0.5")
      ->check(NumberFrom(0.0F, 1.0F, "a number from 0 to 1"))
      ->needs(model)
      ->type_name("P");
  command
      .add_option("--fece-area-threshold", options.fece_area_threshold,
                  "It looks at boxes of more pixels than this; 400")
      ->check(NumberFrom(0.0F, 1e9F, "a number of pixels from 0"))
      ->needs(model)
      ->type_name("PIXELS");
}

}  // namespace

void AddDetect(CLI::App& app, DetectOptions& options) {
  CLI::App* command = app.add_subcommand("detect", "Find dirty regions in pictures");
  command->add_option("--model", options.model, "Segmentation network, YOLOv8")
      ->required()
      ->type_name("SEG.onnx");
  command->add_option("--config", options.config, "Patches and thresholds")
      ->required()
      ->type_name("CONFIG.yaml");
  AddFeceOptions(*command, options);
  command->add_option("--threads", options.threads, "To compute with; 0, the default, is all cores")
      ->check(NumberFrom(0, 1024, "a whole number from 0 to 1024"))
      ->type_name("N");
  command
      ->add_option("--output", options.output,
                   "For results.jsonl, overlays and masks;\n"
                   "without it, JSON lines go to standard output")
      ->type_name("DIR");
  command->add_flag("-v,--verbose", options.verbose, "Show the detector's log on standard error");
  command->add_option("INPUT", options.inputs, "Pictures, and folders of pictures")
      ->required()
      ->type_name("");
  command->footer(
      "Example:\n"
      "  dirty_seg detect --model seg.onnx --config patches.yaml --output out floor.jpg\n"
      "Exit status:\n"
      "  0 all inputs processed, 1 some failed, 2 bad usage, network or configuration");
}

int RunDetect(const DetectOptions& options) {
  cv::setNumThreads(options.threads == 0 ? -1 : options.threads);  // below 0: OpenCV's default
  LogCapture log(options.verbose);
  const std::vector<cv::Rect> patches = ReadPatches(options.config);
  nuvik::alg::common::Network network =
      ReadSegmentationNetwork(options.model, patches.size(), options.threads);
  DirtySegDetectorConfig config = MakeConfig(options);
  config.dirty_seg_model_config = std::move(network.config);
  TellUnknownClasses(options.fece_class_ids, network.class_names);
  Labels labels(std::move(network.class_names), config.fece_enable);
  return Run(options, log, patches, config, std::move(labels))
      .Process(ExpandInputs(options.inputs));
}

}  // namespace dirty_seg
