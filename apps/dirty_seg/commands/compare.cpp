#include "commands/compare.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "base/errors.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "compare/results_comparison.h"
#include "console/messages.h"
#include "files/json_text.h"
#include "files/text_stream.h"
#include "tensors/dump_comparison.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr int kCompareSchemaVersion = 1;

void AddLimits(Command command, CompareOptions& options) {
  const ValueCheck number = NumberFrom(0.0, kMax, "a number from 0");
  command
      .AddOption("--max-box-distance", &options.limits.max_box_distance,
                 "Largest allowed corner distance")
      .Check(number)
      .TypeName("PIXELS");
  command
      .AddOption("--max-score-difference", &options.limits.max_score_difference,
                 "Largest allowed score difference")
      .Check(number)
      .TypeName("D");
  command.AddOption("--min-mask-iou", &options.limits.min_mask_iou, "Smallest allowed mask overlap")
      .Check(NumberFrom(0.0, 1.0, "a number from 0 to 1"))
      .TypeName("IOU");
  command
      .AddOption("--max-unmatched", &options.limits.max_unmatched,
                 "Detections allowed without a match")
      .Check(NumberFrom<std::size_t>(0, 1000000000, "a whole number from 0"))
      .TypeName("N");
  command
      .AddOption("--max-difference", &options.max_difference, "Largest allowed difference in dumps")
      .Check(number)
      .TypeName("D");
}

// The exit status: whether anything is beyond the limits.
int Conclude(const CompareOptions& options, const ordered_json& json, const std::string& text,
             const std::vector<std::string>& excesses) {
  if (options.json) {
    ordered_json whole{
        {"schema_version", kCompareSchemaVersion}, {"a", options.a}, {"b", options.b}};
    whole.update(json);
    whole["beyond_limits"] = excesses;
    PrintResult(ToIndentedText(whole), "the comparison");
  } else {
    PrintResult(text, "the comparison");
  }
  for (const std::string& excess : excesses) PrintError(excess);
  return excesses.empty() ? kAllDone : kSomeInputFailed;
}

int RunOnDumps(const CompareOptions& options) {
  if (options.limits.Any()) {
    throw SetupError(
        "--max-box-distance, --max-score-difference, --min-mask-iou and "
        "--max-unmatched are limits of results; expected --max-difference for dumps");
  }
  const DumpComparison comparison = CompareDumps(options.a, options.b);
  return Conclude(options, ToJson(comparison), ComparisonText(comparison),
                  FindExcesses(comparison, options.max_difference));
}

int RunOnResults(const CompareOptions& options) {
  if (options.max_difference) {
    throw SetupError(
        "--max-difference is a limit of dumps; expected --max-box-distance, "
        "--max-score-difference, --min-mask-iou or --max-unmatched for results");
  }
  const Results a = ReadResults(options.a);
  const Results b = ReadResults(options.b);
  const ResultsComparison comparison = CompareResults(a, b);
  std::vector<std::string> excesses = FindExcesses(comparison, options.limits);
  if (comparison.frames.empty()) excesses.emplace_back("the two have no frame in common");
  return Conclude(options, ToJson(comparison), ComparisonText(comparison), excesses);
}

}  // namespace

Command AddCompare(Program& program, CompareOptions& options) {
  Command command = program.AddCommand("compare", "Show how two results or dumps differ");
  command.AddOption("A", &options.a, "Results or dump of one side").Required().TypeName("");
  command.AddOption("B", &options.b, "Results or dump of the other").Required().TypeName("");
  command.AddFlag("--json", &options.json, "Write JSON, with every frame or tensor in full");
  AddQuietOption(command, options.quiet);
  AddLimits(command, options);
  command.Footer(
      "Results: folders of 'detect --output', or their .jsonl files.\n"
      "Dumps: folders of 'dump', or any .npy files.\n"
      "Example:\n"
      "  dirty_seg compare float quantised --max-box-distance 2 --min-mask-iou 0.95\n"
      "Exit status: 0 within the limits, 1 beyond one, 2 not comparable");
  return command;
}

int RunCompare(const CompareOptions& options) {
  SetQuiet(options.quiet);
  const bool is_dump = IsDump(options.a);
  if (is_dump != IsDump(options.b)) {
    throw SetupError(
        fmt::format("'{}' and '{}': one is a dump, the other is not; expected two results or two "
                    "dumps",
                    options.a, options.b));
  }
  return is_dump ? RunOnDumps(options) : RunOnResults(options);
}

}  // namespace dirty_seg
