#include "commands/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "commands/options.h"
#include "config/check_report.h"
#include "config/config_check.h"
#include "config/host_file.h"
#include "console/messages.h"
#include "drawing/patch_drawing.h"
#include "files/json_text.h"
#include "files/output_file.h"
#include "files/picture_file.h"
#include "files/text_stream.h"
#include "frames/inputs.h"
#include "networks/networks.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr int kDefaultSide = 640;

// A file of that name may be another program's.
HostFile ReadHostFileOrNone(const std::string& path) try {
  return ReadHostFile(path);
} catch (const SetupError&) {
  return {};
}

// The network of a host.yaml beside the configuration that names it, as `init` leaves the two;
// empty where there is none.
std::string ModelBeside(const std::string& config) {
  const std::string path = (fs::path(config).parent_path() / "host.yaml").string();
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return "";
  const HostFile host = ReadHostFileOrNone(path);
  const auto value = [&](const char* key) {
    const auto entry = std::find_if(host.shared.begin(), host.shared.end(),
                                    [key](const HostEntry& each) { return each.key == key; });
    return entry == host.shared.end() ? "" : BesideHostFile(path, entry->values.at(0));
  };
  if (!fs::equivalent(value("config"), config, error)) return "";
  std::string model = value("model");
  if (model.empty()) return "";
  if (fs::exists(model, error)) {
    PrintMessage(fmt::format("checked against '{}', which '{}' names", model, path));
    return model;
  }
  PrintWarning(fmt::format("'{}' names '{}', which is not there; checked against an input of {}",
                           path, model, SizeText({kDefaultSide, kDefaultSide})));
  return "";
}

// A network that does not take the patches is refused here as a run would.
void CheckOnNetwork(const std::string& model, ConfigCheck& check) {
  const std::size_t patches = std::max<std::size_t>(1, check.patches.size());
  const auto network = ReadSegmentationNetwork(model, patches, 1);
  const auto head = ReadHead(model, network.config);
  CheckFit(head.input_side, network.takes_any_batch ? std::nullopt : std::optional<int>(head.batch),
           check);
  CheckClasses(head.classes, check);
}

ConfigCheck Check(const CheckOptions& options) {
  ConfigCheck check = CheckConfig(options.config);
  const std::string model = options.model.empty() ? ModelBeside(options.config) : options.model;
  if (model.empty()) {
    CheckFit(kDefaultSide, std::nullopt, check);
  } else {
    CheckOnNetwork(model, check);
  }
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
  throw SetupError(fmt::format("'{}': {}", path, error.what()));
}

void DrawOverFrame(const CheckOptions& options, const ConfigCheck& check) {
  const cv::Mat frame = ReadFrame(options.frame, FitModeOf(options.fit));
  WritePicture(options.output, DrawPatches(frame, check.patches, check.coverage.gaps));
}

}  // namespace

Command AddCheck(Program& program, CheckOptions& options) {
  Command command = program.AddCommand("check", "Say what is wrong with a configuration");
  command.AddOption("CONFIG,--config", &options.config, "Patches and thresholds")
      .Required()
      .TypeName("CONFIG.yaml");
  command
      .AddOption("--model", &options.model,
                 "Its input decides how patches fit; without it,\nthat of host.yaml beside "
                 "CONFIG, or 640 x 640")
      .TypeName("SEG.onnx");
  Option frame =
      command.AddOption("--frame", &options.frame, "Draw the patches on this").TypeName("PICTURE");
  Option output =
      command.AddOption("--output", &options.output, "... into this file").TypeName("PICTURE");
  frame.Needs(output);
  output.Needs(frame);
  AddFitOption(command, options.fit);
  command.AddFlag("--overwrite", &options.overwrite, "Replace an existing file").Needs(output);
  command.AddFlag("--strict", &options.strict, "Warnings make the exit status 1");
  command.AddFlag("--json", &options.json, "As JSON, with how each patch fits");
  command.Footer(
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
  if (check.Count(FileProblem::Kind::kError) > 0) return kCannotRun;
  const bool is_warned = check.Count(FileProblem::Kind::kWarning) > 0;
  return options.strict && is_warned ? kSomeInputFailed : kAllDone;
}

}  // namespace dirty_seg
