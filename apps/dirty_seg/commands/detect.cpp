#include "commands/detect.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <istream>
#include <optional>

#include "base/version.h"
#include "commands/options.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "console/progress.h"
#include "console/waiting_input.h"
#include "frames/frame_source.h"
#include "frames/inputs.h"
#include "run/detection_run.h"

namespace dirty_seg {
namespace {

void AddResultOptions(CLI::App& command, ResultOptions& options) {
  CLI::Option* output =
      command.add_option("--output", options.output, "Results folder; else JSON lines to stdout")
          ->check(NotEmpty("a folder's name"))
          ->type_name("DIR");
  command.add_flag("--save", options.save, "Results folder runs/detect, runs/detect2, ...")
      ->excludes(output);
  command.add_flag("--overwrite", options.overwrite, "Replace what a run left in --output DIR")
      ->needs(output);
  constexpr const char* kLabels = "Also COCO results, YOLO labels, outlines (lossy)";
  command.add_flag("--coco", options.coco, "Also COCO results")->group(kLabels);
  command.add_flag("--yolo", options.yolo, "Also YOLO labels")->group(kLabels);
  command.add_flag("--polygons", options.polygons, "Also outlines, which are lossy")
      ->group(kLabels);
  constexpr const char* kPictures = "Also what the classifier saw, annotated videos";
  command.add_flag("--crops", options.crops, "Also what the classifier saw")
      ->group(kPictures)
      ->needs(command.get_option("--fece-model"));
  command.add_flag("--video", options.video, "Also annotated videos")->group(kPictures);
}

}  // namespace

CLI::App* AddDetect(CLI::App& app, DetectOptions& options) {
  CLI::App* command = app.add_subcommand("detect", "Find dirty regions in pictures and videos");
  AddDetectorOptions(*command, options.detector);
  AddInputOptions(*command, options.input);
  AddResultOptions(*command, options.results);
  AddLogOptions(*command, options.log);
  command->footer(
      "Example:\n"
      "  dirty_seg detect --model seg.onnx --config patches.yaml --save floor.jpg\n"
      "Exit status: 0 all done, 1 some inputs failed,\n"
      "  2 bad usage, network or configuration, 130 interrupted");
  return command;
}

int RunDetect(const DetectOptions& options) {
  SetQuiet(options.log.quiet);
  // Before the capture takes it over. A bar would be mixed up with results on the same terminal.
  const bool shows_results = options.results.HasNoFolder() && isatty(STDOUT_FILENO) != 0;
  LogCapture log(options.log);
  const DetectorOptions& detector = options.detector;
  const InputArguments& input = options.input;
  DetectionRun run(SetUpDetector(detector), FitModeOf(input.fit),
                   {NameAndVersion(), detector.model, detector.config, detector.fece_model},
                   options.results, log);
  WaitingInput standard_input(STDIN_FILENO);
  std::istream list(&standard_input);
  FrameSource source(
      InputQueue(input.inputs, {input.recursive, true, options.results.output}, list),
      {input.frame_step, std::nullopt, std::nullopt});
  std::optional<Progress> progress;
  if (!shows_results) progress.emplace(SteadySeconds, TerminalColumns());
  const Interruption interruption;
  return run.Process(source, progress ? &*progress : nullptr);
}

}  // namespace dirty_seg
