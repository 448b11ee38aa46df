#include "commands/detect.h"

#include <unistd.h>

#include <filesystem>
#include <future>
#include <istream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "base/version.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "console/progress.h"
#include "console/waiting_input.h"
#include "detector/detector_setup.h"
#include "files/checksum.h"
#include "frames/frame_source.h"
#include "frames/inputs.h"
#include "frames/video_reader.h"
#include "media/media.h"
#include "run/detection_run.h"

namespace dirty_seg {
namespace {

void AddResultOptions(Command command, ResultOptions& options) {
  Option output =
      command
          .AddOption("--output", &options.output, "Results folder (default: JSON lines to stdout)")
          .Check(NotEmpty("a folder's name"))
          .TypeName("DIR");
  command.AddFlag("--save", &options.save, "Results folder runs/detect, runs/detect2, ...")
      .Excludes(output);
  constexpr const char* kRuns = "Replace a run, go on with one; join parts";
  Option overwrite =
      command.AddFlag("--overwrite", &options.overwrite, "Replace an earlier run in --output DIR")
          .Group(kRuns)
          .Needs(output);
  command.AddFlag("--resume", &options.resume, "Go on with an interrupted run in --output DIR")
      .Group(kRuns)
      .Needs(output)
      .Excludes(overwrite);
  command.AddFlag("--merge", &options.merge, "Join what patches show of one thing").Group(kRuns);
  constexpr const char* kLabels = "Also COCO results, YOLO labels, outlines (lossy)";
  command.AddFlag("--coco", &options.coco, "Also COCO results").Group(kLabels);
  command.AddFlag("--yolo", &options.yolo, "Also YOLO labels").Group(kLabels);
  command.AddFlag("--polygons", &options.polygons, "Also outlines, which are lossy").Group(kLabels);
  constexpr const char* kPictures = "More or fewer pictures";
  command.AddFlag("--crops", &options.crops, "Also what the classifier saw")
      .Group(kPictures)
      .Needs(command.option("--fece-model"));
  command.AddFlag("--video", &options.video, "Also annotated videos").Group(kPictures);
  command.AddFlag("--no-overlays", &options.no_overlays, "No annotated pictures").Group(kPictures);
  command.AddFlag("--no-masks", &options.no_masks, "No mask pictures").Group(kPictures);
}

// A missing network is refused at once, and not only when the libraries are loaded.
bool HasNetworks(const DetectorOptions& options) {
  const auto is_file = [](const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
  };
  return is_file(options.model) && (options.fece_model.empty() || is_file(options.fece_model));
}

using Checksums = std::map<std::string, std::string>;

// Beside the loading of the networks; nothing if no summary needs them.
std::future<Checksums> ChecksumsAhead(const DetectOptions& options) {
  if (options.results.HasNoFolder()) return {};
  const auto sum = [detector = options.detector] {
    Checksums sums{{"model", ChecksumOfFile(detector.model)},
                   {"config", ChecksumOfFile(detector.config)}};
    if (!detector.fece_model.empty()) sums["fece_model"] = ChecksumOfFile(detector.fece_model);
    if (!detector.names.empty()) sums["names"] = ChecksumOfFile(detector.names);
    return sums;
  };
  return std::async(std::launch::async | std::launch::deferred, sum);
}

// What results depend on and no file says.
nlohmann::ordered_json OptionsToJson(const DetectOptions& options) {
  nlohmann::ordered_json json;
  const DetectorOptions& detector = options.detector;
  if (!detector.fece_model.empty()) {
    json["fece_class_ids"] = detector.fece_class_ids;
    json["fece_score_threshold"] = detector.fece_score_threshold;
    json["fece_area_threshold"] = detector.fece_area_threshold;
  }
  json["frame_step"] = options.input.frame_step;
  if (options.input.every) json["every"] = *options.input.every;
  json["fit"] = options.input.fit;
  const ResultOptions& results = options.results;
  json["merge"] = results.merge;
  json["coco"] = results.coco;
  json["yolo"] = results.yolo;
  json["polygons"] = results.polygons;
  json["crops"] = results.crops;
  json["video"] = results.video;
  json["no_overlays"] = results.no_overlays;
  json["no_masks"] = results.no_masks;
  return json;
}

}  // namespace

Command AddDetect(Program& program, DetectOptions& options) {
  Command command = program.AddCommand("detect", "Find dirty regions in pictures and videos");
  AddDetectorOptions(command, options.detector);
  AddNamesOption(command, options.detector.names);
  AddInputOptions(command, options.input);
  AddEveryOption(command, options.input);
  for (const char* name : {"--recursive", "--frame-step", "--every", "--fit"}) {
    command.option(name).Group("Folders; frames");
  }
  AddResultOptions(command, options.results);
  AddLogOptions(command, options.log);
  command.Footer(
      "Example:\n"
      "  dirty_seg detect --model seg.onnx --config patches.yaml --save floor.jpg\n"
      "Exit status: 0 all done, 1 some inputs failed,\n"
      "  2 bad usage, network or configuration, 130 interrupted");
  return command;
}

int RunDetect(const DetectOptions& options) {
  SetQuiet(options.log.quiet);
  KeepVideoLibrariesQuiet();
  // Before the capture takes it over. A bar would be mixed up with results on the same terminal.
  const bool shows_results = options.results.HasNoFolder() && isatty(STDOUT_FILENO) != 0;
  LogCapture log(options.log);
  const DetectorOptions& detector = options.detector;
  const InputArguments& input = options.input;
  ConfigCheck check = PrepareDetector(detector);
  // Beside the networks.
  const std::future<void> loading = HasNetworks(detector) ? LoadMediaAhead() : std::future<void>();
  std::future<Checksums> checksums = ChecksumsAhead(options);
  DetectorSetup setup = SetUpDetector(detector, std::move(check));
  RunDescription description{NameAndVersion(),
                             detector.model,
                             detector.config,
                             detector.fece_model,
                             setup.file->options(),
                             OptionsToJson(options),
                             checksums.valid() ? checksums.get() : Checksums()};
  DetectionRun run(std::move(setup), FitModeOf(input.fit), std::move(description), options.results,
                   log);
  WaitingInput standard_input(STDIN_FILENO, [&run] { return run.IsOver(); });
  std::istream list(&standard_input);
  FrameSource source(
      InputQueue(input.inputs, {input.recursive, true, options.results.output}, list),
      {{input.frame_step, input.every}, std::nullopt, std::nullopt}, run.DoneInputs());
  std::optional<Progress> progress;
  if (!shows_results) progress.emplace(SteadySeconds, TerminalColumns());
  const Interruption interruption;
  return run.Process(source, progress ? &*progress : nullptr, UsesOneThread());
}

}  // namespace dirty_seg
