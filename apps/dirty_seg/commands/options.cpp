#include "commands/options.h"

#include <fmt/format.h>

#include "command_line/checks.h"
#include "config/class_names.h"
#include "engine/ai_engine.h"
#include "network/postprocess_options.h"

namespace dirty_seg {
namespace {

void AddFeceOptions(Command command, DetectorOptions& options) {
  Option model =
      command.AddOption("--fece-model", &options.fece_model, "Classifier that confirms faeces")
          .TypeName("FECE.onnx");
  Option class_ids = command
                         .AddOption("--fece-class-ids", &options.fece_class_ids,
                                    "Classes whose detections it looks at, as 0,3")
                         .CommaSeparated()
                         .Check(ClassIdCheck())
                         .TypeName("IDS");
  model.Needs(class_ids);
  class_ids.Needs(model);
  constexpr const char* kLimits = "Defaults 0.5 and 400";
  command
      .AddOption("--fece-score-threshold", &options.fece_score_threshold,
                 "Confirms above this probability (default 0.5)")
      .Check(NumberFrom(0.0F, 1.0F, "a number from 0 to 1"))
      .Needs(model)
      .TypeName("P")
      .Group(kLimits);
  command
      .AddOption("--fece-area-threshold", &options.fece_area_threshold,
                 "Ignores boxes up to this area (default 400)")
      .Check(NumberFrom(0.0F, 1e9F, "a number of pixels from 0"))
      .Needs(model)
      .TypeName("PIXELS")
      .Group(kLimits);
}

void AddThresholdOptions(Command command, Thresholds& thresholds) {
  constexpr const char* kGroup = "For one run";
  const auto fraction = [&](const char* name, std::optional<float>& value, const char* text) {
    command
        .AddCallback(
            name, [&value](const std::string& word) { value = ReadNumber<float>(word); }, text)
        .Check(NumberFrom(0.0F, 1.0F, "a number from 0 to 1"))
        .TypeName("P")
        .Group(kGroup);
  };
  fraction("--conf", thresholds.score, "Score above which a detection is kept");
  fraction("--iou", thresholds.iou, "Overlap above which a box is dropped for a better one");
  constexpr int kMost = nuvik::model::kMaxDetections;
  command
      .AddCallback(
          "--max-det",
          [&thresholds](const std::string& word) {
            thresholds.max_detections = ReadNumber<int>(word);
          },
          "Detections per patch, at most")
      .Check(NumberFrom(1, kMost, fmt::format("a whole number from 1 to {}", kMost)))
      .TypeName("N")
      .Group(kGroup);
  fraction("--mask-threshold", thresholds.mask, "Probability above which a pixel is mask");
  command.AddOption("--classes", &thresholds.classes, "Classes to keep, as 0,3")
      .CommaSeparated()
      .Check(ClassIdCheck())
      .TypeName("IDS")
      .Group(kGroup);
}

}  // namespace

ValueCheck ThreadsCheck() {
  constexpr std::int32_t kMost = nuvik::alg::common::kAIMaxThreads;
  return NumberFrom(0, kMost, fmt::format("a whole number from 0 to {}", kMost));
}

ValueCheck ClassIdCheck() {
  return NumberFrom(0, kMaxClassId, "a class id, a whole number from 0");
}

void AddThreadsOption(Command command, int& threads) {
  command.AddOption("--threads", &threads, "Threads (default 0: all cores); 1: frame by frame")
      .Check(ThreadsCheck())
      .TypeName("N");
}

void AddFitOption(Command command, std::string& word) {
  command.AddOption("--fit", &word, "Scale pictures to the frame, or pad (default scale)")
      .Check(OneOf({kFitWords.begin(), kFitWords.end()}))
      .TypeName("scale|pad");
}

void AddInputOptions(Command command, InputArguments& arguments) {
  command
      .AddOption("INPUT", &arguments.inputs, "Picture, folder, glob, video, camera:0, - (a list)")
      .Required()
      .TypeName("");
  constexpr const char* kGroup = "Include subfolders; every N-th frame (default 1)";
  command.AddFlag("--recursive", &arguments.recursive, "Include subfolders").Group(kGroup);
  command
      .AddOption("--frame-step", &arguments.frame_step, "Every N-th frame of a video (default 1)")
      .Check(NumberFrom(1, 1000000, "a whole number from 1 to 1000000"))
      .TypeName("N")
      .Group(kGroup);
  AddFitOption(command, arguments.fit);
}

void AddEveryOption(Command command, InputArguments& arguments) {
  command
      .AddCallback(
          "--every",
          [&arguments](const std::string& word) { arguments.every = ReadNumber<float>(word); },
          "One frame in so many seconds of a camera or video")
      .Check(NumberFrom(0.001F, 86400.0F, "a number of seconds from 0.001 to 86400"))
      .TypeName("SECONDS")
      .Excludes(command.option("--frame-step"));
}

void AddDetectorOptions(Command command, DetectorOptions& options) {
  command.AddOption("--model", &options.model, "Segmentation network, YOLOv8")
      .Required()
      .TypeName("SEG.onnx");
  command.AddOption("--config", &options.config, "Patches and thresholds")
      .Required()
      .TypeName("CONFIG.yaml");
  AddFeceOptions(command, options);
  AddThreadsOption(command, options.threads);
  AddThresholdOptions(command, options.thresholds);
}

void AddNamesOption(Command command, std::string& names) {
  command.AddOption("--names", &names, "Names of classes, over those of the network")
      .Check(NotEmpty("a file's name"))
      .TypeName("FILE");
}

Option AddQuietOption(Command command, bool& quiet) {
  return command.AddFlag("-q,--quiet", &quiet, "Only show errors");
}

void AddLogOptions(Command command, LogOptions& options) {
  constexpr const char* kGroup = "Messages on standard error";
  Option verbose =
      command.AddFlag("-v,--verbose", &options.verbose, "Show the detector's log").Group(kGroup);
  Option quiet = AddQuietOption(command, options.quiet).Group(kGroup);
  Option level =
      command.AddOption("--log-level", &options.level, "Show the detector's log from this level on")
          .Check(OneOf({kLogLevels.begin(), kLogLevels.end()}))
          .TypeName("LEVEL")
          .Group(kGroup);
  quiet.Excludes(verbose).Excludes(level);
}

}  // namespace dirty_seg
