#include "commands/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/nearest.h"

namespace dirty_seg {
namespace {

void AddFeceOptions(CLI::App& command, DetectorOptions& options) {
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

CLI::Validator OneOf(const std::vector<std::string>& words) {
  const auto check = [words](const std::string& text) -> std::string {
    if (std::find(words.begin(), words.end(), text) != words.end()) return "";
    return text + " is none of " + CLI::detail::join(words, ", ") + DidYouMean(text, words);
  };
  return {check, ""};
}

CLI::Validator NotEmpty(const std::string& expected) {
  const auto check = [expected](const std::string& text) -> std::string {
    return text.empty() ? "the text is empty; expected " + expected : "";
  };
  return {check, ""};
}

void AddThreadsOption(CLI::App& command, int& threads) {
  command.add_option("--threads", threads, "To compute with; 0, the default, is all cores")
      ->check(NumberFrom(0, 1024, "a whole number from 0 to 1024"))
      ->type_name("N");
}

void AddFitOption(CLI::App& command, std::string& word) {
  command.add_option("--fit", word, "Scale pictures to the frame, or only pad; scale")
      ->check(OneOf({kFitWords.begin(), kFitWords.end()}))
      ->type_name("scale|pad");
}

void AddInputOptions(CLI::App& command, InputArguments& arguments) {
  command
      .add_option("INPUT", arguments.inputs, "Picture, folder, glob, video, camera:0, - (a list)")
      ->required()
      ->type_name("");
  constexpr const char* kGroup = "Folders within folders too; every N-th frame";
  command.add_flag("--recursive", arguments.recursive, "Folders within folders too")->group(kGroup);
  command.add_option("--frame-step", arguments.frame_step, "Of a video, every N-th frame; 1")
      ->check(NumberFrom(1, 1000000, "a whole number from 1 to 1000000"))
      ->type_name("N")
      ->group(kGroup);
  AddFitOption(command, arguments.fit);
}

void AddDetectorOptions(CLI::App& command, DetectorOptions& options) {
  command.add_option("--model", options.model, "Segmentation network, YOLOv8")
      ->required()
      ->type_name("SEG.onnx");
  command.add_option("--config", options.config, "Patches and thresholds")
      ->required()
      ->type_name("CONFIG.yaml");
  AddFeceOptions(command, options);
  AddThreadsOption(command, options.threads);
}

CLI::Option* AddQuietOption(CLI::App& command, bool& quiet) {
  return command.add_flag("-q,--quiet", quiet, "Show errors alone");
}

void AddLogOptions(CLI::App& command, LogOptions& options) {
  constexpr const char* kGroup = "What is said on standard error";
  CLI::Option* verbose =
      command.add_flag("-v,--verbose", options.verbose, "Show the detector's log")->group(kGroup);
  CLI::Option* quiet = AddQuietOption(command, options.quiet)->group(kGroup);
  CLI::Option* level =
      command
          .add_option("--log-level", options.level, "Show the detector's log from this level on")
          ->check(OneOf({kLogLevels.begin(), kLogLevels.end()}))
          ->type_name("LEVEL")
          ->group(kGroup);
  quiet->excludes(verbose)->excludes(level);
}

}  // namespace dirty_seg
