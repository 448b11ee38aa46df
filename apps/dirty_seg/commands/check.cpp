#include "commands/check.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "commands/options.h"
#include "host/check_report.h"
#include "host/config_check.h"
#include "host/errors.h"
#include "host/inputs.h"
#include "host/networks.h"
#include "host/output.h"
#include "host/patch_drawing.h"

namespace dirty_seg {
namespace {

constexpr int kUsualSide = 640;

// A network that does not take the patches is refused here as a run would.
int InputSide(const CheckOptions& options, std::size_t patch_count) {
  const auto network =
      ReadSegmentationNetwork(options.model, std::max<std::size_t>(1, patch_count), 1);
  return ReadHead(options.model, network.config).input_side;
}

ConfigCheck Check(const CheckOptions& options) {
  ConfigCheck check = CheckConfig(options.config);
  CheckFit(options.model.empty() ? kUsualSide : InputSide(options, check.patches.size()), check);
  return check;
}

std::string ResultText(const CheckOptions& options, const ConfigCheck& check) {
  return options.json ? ToIndentedText(ToJson(options.config, check))
                      : CheckText(options.config, check);
}

// As a run would have it.
cv::Mat ReadFrame(const std::string& path, FitMode mode) try {
  const auto picture = std::make_shared<cv::Mat>(ReadPicture(path));
  return *PlaceInFrame(picture, FitToFrame(picture->size(), mode));
} catch (const InputError& error) {
  throw SetupError("'" + path + "': " + error.what());
}

void DrawOverFrame(const CheckOptions& options, const ConfigCheck& check) {
  const cv::Mat frame = ReadFrame(options.frame, FitModeOf(options.fit));
  WritePicture(options.output, DrawPatches(frame, check.patches, check.coverage.gaps));
}

}  // namespace

CLI::App* AddCheck(CLI::App& app, CheckOptions& options) {
  CLI::App* command = app.add_subcommand("check", "Say what is wrong with a configuration");
  command->add_option("CONFIG,--config", options.config, "Patches and thresholds")
      ->required()
      ->type_name("CONFIG.yaml");
  command
      ->add_option("--model", options.model,
                   "Its input decides how patches fit;\n640 x 640 without it")
      ->type_name("SEG.onnx");
  CLI::Option* frame = command->add_option("--frame", options.frame, "Draw the patches on this")
                           ->type_name("PICTURE");
  CLI::Option* output =
      command->add_option("--output", options.output, "... into this file")->type_name("PICTURE");
  frame->needs(output);
  output->needs(frame);
  AddFitOption(*command, options.fit);
  command->add_flag("--overwrite", options.overwrite, "Replace that file if it is there")
      ->needs(output);
  command->add_flag("--strict", options.strict, "Warnings make the exit status 1");
  command->add_flag("--json", options.json, "As JSON, with how each patch fits");
  command->footer(
      "Example:\n"
      "  dirty_seg check config.yaml --frame floor.jpg --output patches.jpg\n"
      "Exit status:\n"
      "  0 fine, 1 with --strict: there are warnings, 2 there are errors");
  return command;
}

int RunCheck(const CheckOptions& options) {
  if (!options.overwrite) RefuseToReplace(options.output);
  const ConfigCheck check = Check(options);
  PrintResult(ResultText(options, check), "the findings");
  if (!options.frame.empty()) DrawOverFrame(options, check);
  if (check.Count(Finding::Kind::kError) > 0) return kCannotRun;
  const bool is_warned = check.Count(Finding::Kind::kWarning) > 0;
  return options.strict && is_warned ? kSomeInputFailed : kAllDone;
}

}  // namespace dirty_seg
