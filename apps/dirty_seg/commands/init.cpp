#include "commands/init.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "base/text.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "config/patch_fit.h"
#include "console/messages.h"
#include "files/editor_line.h"
#include "files/output_file.h"
#include "networks/network_report.h"
#include "networks/networks.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHostName = "host.yaml";
constexpr const char* kConfigName = "config.yaml";
constexpr std::size_t kAnyBatch = 1;

// As the report has it, where it can serve in its role.
NetworkReport Inspect(const std::string& path, const char* role,
                      const Suitability NetworkReport::*as, std::size_t batch) {
  NetworkReport report = InspectNetwork(path, batch, 1, "--grid");
  const std::string& fault = (report.*as).fault;
  if (fault.empty()) return report;
  const bool is_other = report.segmentation.fits() || report.classifier.fits();
  throw SetupError(fmt::format("'{}': cannot be the {}: {}{}", path, role, fault,
                               is_other ? "; it can be the " + report.Role() : ""));
}

// A network with a fixed batch is looked at whatever the grid, so that what is wrong with the grid
// can be said.
NetworkReport InspectForBatch(const std::string& path, std::size_t batch) {
  const auto declared = DescribeNetwork(path);
  const bool is_fixed = !declared.inputs.empty() && !declared.inputs[0].MayHoldOneSlot();
  return Inspect(path, "segmentation network", &NetworkReport::segmentation,
                 is_fixed ? kAnyBatch : batch);
}

// Nothing for a network that takes any batch.
std::optional<int> BatchOf(const NetworkReport& report) {
  if (report.takes_any_batch) return std::nullopt;
  return report.head->batch;
}

// Nothing where it is left to the network.
std::optional<Grid> ReadGrid(const InitOptions& options) {
  if (options.grid.empty()) return std::nullopt;
  const std::optional<Grid> grid = ParseGrid(options.grid);
  if (grid) return grid;
  throw SetupError(
      fmt::format("--grid {}: expected columns x rows, each from 1 to 64, as 3x2", options.grid));
}

// A network that takes any batch takes whatever the grid has, as long as the engine can hold it.
void CheckBatch(const InitOptions& options, const Grid& grid, const NetworkReport& report) {
  const int batch = report.head->batch;
  if (report.takes_any_batch) {
    ReadSegmentationNetwork(options.model, static_cast<std::size_t>(grid.count()), 1);
    return;
  }
  if (grid.count() <= batch) return;
  const std::string fitting =
      JoinEach(GridsThatFit(batch, options.overlap, report.head->input_side), GridText);
  throw SetupError(fmt::format("--grid {} has {} patches, but the batch of '{}' takes {}{}{}",
                               GridText(grid), grid.count(), options.model, batch,
                               fitting.empty() ? "" : "; these fit: ", fitting));
}

// As seen from the folder that the files go to; whole where the two share nothing but the root.
std::string SeenFrom(const std::string& folder, const std::string& path) {
  const fs::path whole = fs::absolute(path).lexically_normal();
  const fs::path from = fs::absolute(folder).lexically_normal();
  const bool is_far = *++whole.begin() != *++from.begin();
  return is_far ? whole : whole.lexically_proximate(from);
}

// Of many classes, the first.
std::string ClassList(const std::map<std::int32_t, std::string>& names) {
  constexpr std::size_t kMax = 20;
  std::vector<std::string> texts;
  for (const auto& [id, name] : names) {
    if (texts.size() == kMax) {
      return fmt::format("{} and {} more", Join(texts), names.size() - kMax);
    }
    texts.push_back(fmt::format("{} {}", id, name));
  }
  return Join(texts);
}

// A class that nobody chose would be taken for faeces where the classifier errs.
std::vector<int> FeceClasses(const InitOptions& options, const NetworkReport& report) {
  const int classes = report.head->classes;
  for (const int id : options.fece_class_ids) {
    if (id < classes) continue;
    throw SetupError(fmt::format("--fece-class-ids {}: '{}' has {} classes; expected 0 to {}", id,
                                 options.model, classes, classes - 1));
  }
  if (!options.fece_class_ids.empty()) return options.fece_class_ids;
  std::vector<int> ids = FeceClassesByName(report.class_names, classes);
  if (!ids.empty()) return ids;
  throw SetupError(fmt::format(
      "'{}' {}; expected --fece-class-ids with those that '{}' is to look at", options.model,
      report.class_names.empty() ? fmt::format("does not name its {} classes", classes)
                                 : "names no class like faeces: " + ClassList(report.class_names),
      options.fece_model));
}

StarterNetworks Describe(const InitOptions& options, const NetworkReport& report) {
  const auto& head = *report.head;
  StarterNetworks networks;
  networks.model = SeenFrom(options.output, options.model);
  networks.model_comment = fmt::format("segmentation network, {}, batch {}",
                                       SizeText({head.input_side, head.input_side}),
                                       report.takes_any_batch ? "any" : std::to_string(head.batch));
  networks.class_names = report.class_names;
  if (options.fece_model.empty()) return networks;
  networks.fece_model = SeenFrom(options.output, options.fece_model);
  networks.fece_class_ids = FeceClasses(options, report);
  return networks;
}

// Both or, as far as can be known before, neither.
void Write(const fs::path& folder, const std::string& host, const std::string& config) {
  WholeFile host_file((folder / kHostName).string());
  WholeFile config_file((folder / kConfigName).string());
  host_file.Write(host);
  config_file.Write(config);
  config_file.Keep();
  host_file.Keep();
}

void MakeFolder(const InitOptions& options) {
  for (const char* name : {kHostName, kConfigName}) {
    if (!options.overwrite) RefuseToReplace(fs::path(options.output) / name);
  }
  std::error_code error;
  fs::create_directories(options.output, error);
  if (error) {
    throw SetupError(fmt::format("--output '{}': the folder cannot be made: {}", options.output,
                                 error.message()));
  }
}

void PrintClasses(const InitOptions& options, const StarterNetworks& networks) {
  if (networks.fece_model.empty() || !options.fece_class_ids.empty()) return;
  PrintMessage(fmt::format(
      "the classifier looks at {} of the classes, by their names; see fece-class-ids in the host "
      "file",
      networks.fece_class_ids.size()));
}

// Said once, also where no layout of the patches could mend it and a check has nothing to say.
void WarnOfShrinking(const cv::Size& patch, int side) {
  const PatchFit fit = FitPatch(patch, side);
  if (fit.shrunk <= kDefaultFitLimits.shrunk) return;
  PrintMessage(
      fmt::format("patches are shrunk to one pixel of {:.1f} for the network's input of {}; what "
                  "is smaller may "
                  "be missed",
                  fit.shrunk, SizeText({side, side})));
}

}  // namespace

Command AddInit(Program& program, InitOptions& options) {
  Command command = program.AddCommand("init", "Write the files to start from");
  command.AddOption("SEG.onnx", &options.model, "Segmentation network").Required().TypeName("");
  command.AddOption("FECE.onnx", &options.fece_model, "Classifier of faeces").TypeName("");
  command
      .AddOption("--grid", &options.grid,
                 "Patches across and down, as 3x2;\nwhat suits SEG.onnx without it")
      .TypeName("CxR");
  command.AddOption("--overlap", &options.overlap, "Pixels that neighbours share (default 80)")
      .Check(NumberFrom(0, 1080, "a whole number from 0 to 1080"))
      .TypeName("PIXELS");
  command
      .AddOption("--fece-class-ids", &options.fece_class_ids,
                 "What FECE.onnx looks at, as 0,3;\nby the classes' names without it")
      .CommaSeparated()
      .Check(ClassIdCheck())
      .TypeName("IDS");
  command.AddOption("--output", &options.output, "Output folder (default .)").TypeName("DIR");
  command.AddFlag("--overwrite", &options.overwrite, "Replace existing files");
  command.Footer(
      "By their first line, editors with a YAML language server complete the files.\n"
      "Example:\n"
      "  dirty_seg init seg.onnx fece.onnx --fece-class-ids 0,3\n"
      "  dirty_seg detect --host host.yaml --save photographs");
  return command;
}

int RunInit(const InitOptions& options) {
  const std::optional<Grid> wanted = ReadGrid(options);
  const std::size_t batch = wanted ? static_cast<std::size_t>(wanted->count()) : kAnyBatch;
  const NetworkReport report = InspectForBatch(options.model, batch);
  if (!options.fece_model.empty()) {
    Inspect(options.fece_model, "classifier", &NetworkReport::classifier, kAnyBatch);
  }
  const Grid grid =
      wanted ? *wanted : DefaultGrid(report.head->input_side, BatchOf(report), options.overlap);
  CheckBatch(options, grid, report);
  const std::vector<cv::Rect> patches = LayOutGrid(grid, options.overlap, report.head->input_side);
  const StarterNetworks networks = Describe(options, report);
  MakeFolder(options);
  const fs::path folder(options.output);
  Write(folder, EditorLine("host") + StarterHost(networks, kConfigName),
        EditorLine("config") + StarterConfig(patches, "a grid of " + GridText(grid)));
  PrintClasses(options, networks);
  WarnOfShrinking(patches.at(0).size(), report.head->input_side);
  const std::string host = (folder / kHostName).lexically_normal().string();
  PrintMessage(fmt::format(
      "'{}' and '{}' written; continue with: dirty_seg detect --host {} --save PICTURE...", host,
      (folder / kConfigName).lexically_normal().string(), ShellWord(host)));
  return kAllDone;
}

}  // namespace dirty_seg
