#include "commands/detect.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <utility>

#include "commands/help.h"
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
#include "host/run_folder.h"
#include "host/stopwatch.h"
#include "host/summary.h"

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
        summary_({"dirty_seg " DIRTY_SEG_VERSION, options.detector.model, options.detector.config,
                  options.detector.fece_model}),
        destination_("standard output"),
        results_(log.standard_output()) {
    if (options.save) {
      folder_.emplace(MakeNumberedRunFolder("detect"), true);
    } else if (!options.output.empty()) {
      folder_.emplace(options.output, options.overwrite);
    } else {
      return;
    }
    destination_ = "'" + folder_->results_path() + "'";
    results_ = folder_->results();
  }

  int Process(const std::vector<Input>& inputs) {
    for (const Input& input : inputs) {
      bool failed = false;
      try {
        if (!input.failure.empty()) throw InputError(input.failure);
        ProcessPicture(input.path);
      } catch (const InputError& error) {
        TellError("'" + input.path + "': " + error.what());
        failed = true;
      }
      summary_.AddInput(failed);
    }
    if (folder_) {
      folder_->WriteJson("summary.json", summary_.ToJson(labels_, false));
      Tell(std::to_string(summary_.inputs() - summary_.failed()) + " of " +
           std::to_string(summary_.inputs()) + " inputs processed; results in " + destination_);
    }
    return summary_.failed() == 0 ? kAllDone : kSomeInputFailed;
  }

 private:
  void ProcessPicture(const std::string& path) {
    FrameRecord record;
    record.source = path;
    const Stopwatch read_watch;
    const auto picture = std::make_shared<cv::Mat>(ReadPicture(path));
    record.read_ms = read_watch.Milliseconds();
    record.image_size = picture->size();
    TellOddSize(path, record.image_size);

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
    summary_.AddFrame(record);
    if (!result.success) throw InputError(result.message);
  }

  void WritePictures(const cv::Mat& picture, FrameRecord& record) {
    const std::string name = names_.Take(record.source);
    const DirtyStatusResultData& result = record.outcome.result;
    for (auto& [label, mask] : record.masks) {
      mask.file = folder_->WriteMask(name, label, result.label_masks.at(label));
    }
    record.overlay = folder_->WriteOverlay(name, DrawOverlay(picture, result, labels_));
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
  Summary summary_;
  std::optional<OutputFolder> folder_;
  UniqueNames names_;
  std::string destination_;
  std::FILE* results_;
};

}  // namespace

CLI::App* AddDetect(CLI::App& app, DetectOptions& options) {
  CLI::App* command = app.add_subcommand("detect", "Find dirty regions in pictures");
  AddDetectorOptions(*command, options.detector);
  CLI::Option* output =
      command
          ->add_option("--output", options.output, "Results folder; else JSON lines go to stdout")
          ->type_name("DIR");
  command->add_flag("--save", options.save, "Results folder runs/detect, runs/detect2, ...")
      ->excludes(output);
  command->add_flag("--overwrite", options.overwrite, "--output DIR need not be empty")
      ->needs(output);
  AddLogOptions(*command, options.log);
  UseCompactHelp(*command);
  command->add_option("INPUT", options.inputs, "Pictures, and folders of pictures")
      ->required()
      ->type_name("");
  command->footer(
      "Example:\n"
      "  dirty_seg detect --model seg.onnx --config patches.yaml --save floor.jpg\n"
      "Exit status: 0 all done, 1 some inputs failed,\n"
      "  2 bad usage, network or configuration");
  return command;
}

int RunDetect(const DetectOptions& options) {
  SetQuiet(options.log.quiet);
  LogCapture log(options.log);
  return Run(options, log, SetUpDetector(options.detector)).Process(ExpandInputs(options.inputs));
}

}  // namespace dirty_seg
