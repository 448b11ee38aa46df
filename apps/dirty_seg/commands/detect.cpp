#include "commands/detect.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <utility>

#include "commands/options.h"
#include "geometry/letterbox.h"
#include "host/detector_setup.h"
#include "host/errors.h"
#include "host/frame_detector.h"
#include "host/frame_record.h"
#include "host/inputs.h"
#include "host/labels.h"
#include "host/log_capture.h"
#include "host/messages.h"
#include "host/output.h"
#include "host/overlay.h"
#include "host/stopwatch.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

std::string SizeText(const cv::Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

// One run over all inputs.
class Run {
 public:
  Run(const DetectOptions& options, LogCapture& log, DetectorSetup setup)
      : patches_(std::move(setup.patches)),
        labels_(std::move(setup.labels)),
        detector_(setup.config, log),
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

  std::vector<cv::Rect> patches_;
  Labels labels_;
  FrameDetector detector_;
  std::optional<OutputFolder> folder_;
  UniqueNames names_;
  std::string destination_;
  std::FILE* results_;
};

}  // namespace

CLI::App* AddDetect(CLI::App& app, DetectOptions& options) {
  CLI::App* command = app.add_subcommand("detect", "Find dirty regions in pictures");
  AddDetectorOptions(*command, options.detector);
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
  return command;
}

int RunDetect(const DetectOptions& options) {
  LogCapture log(options.verbose);
  return Run(options, log, SetUpDetector(options.detector)).Process(ExpandInputs(options.inputs));
}

}  // namespace dirty_seg
