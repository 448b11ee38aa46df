#include "commands/bench.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/errors.h"
#include "base/version.h"
#include "bench/bench.h"
#include "bench/bench_report.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "console/progress.h"
#include "files/json_text.h"
#include "files/text_stream.h"
#include "media/media.h"

namespace dirty_seg {
namespace {

// Default for a camera.
constexpr std::int64_t kCameraFrames = 100;

void AddSecondSide(Command command, BenchOptions& options) {
  constexpr const char* kNetwork = "Network, patches of side B";
  command.AddOption("--model-b", &options.model_b, "Network of the other side, B")
      .TypeName("SEG.onnx")
      .Group(kNetwork);
  command.AddOption("--config-b", &options.config_b, "Configuration of B")
      .TypeName("CONFIG.yaml")
      .Group(kNetwork);
  constexpr const char* kRest = "Classifier, threads of B";
  command.AddOption("--fece-model-b", &options.fece_model_b, "Classifier of B")
      .Needs(command.option("--fece-model"))
      .TypeName("FECE.onnx")
      .Group(kRest);
  command.AddOption("--threads-b", &options.threads_b, "Threads of B")
      .Check(ThreadsCheck())
      .TypeName("N")
      .Group(kRest);
}

void AddAmounts(Command command, BenchOptions& options) {
  command.option("--recursive").Group("Include subfolders");
  constexpr const char* kVideo = "Every N-th video frame; maximum frames";
  command.option("--frame-step").Group(kVideo);
  command
      .AddOption("--max-frames", &options.max_frames,
                 "Maximum frames of a video or camera (camera: default 100)")
      .Check(NumberFrom<std::int64_t>(1, 1000000000, "a whole number from 1"))
      .TypeName("N")
      .Group(kVideo);
  constexpr const char* kRuns = "Measured (default 10) and warm-up (default 2) runs";
  command.AddOption("--rounds", &options.rounds, "Measured runs per frame (default 10)")
      .Check(NumberFrom(1, 1000000, "a whole number from 1"))
      .TypeName("N")
      .Group(kRuns);
  command.AddOption("--warmup", &options.warmup, "Warm-up runs (default 2)")
      .Check(NumberFrom(0, 1000000, "a whole number from 0"))
      .TypeName("N")
      .Group(kRuns);
}

// Read to its end, since two processes go through it.
std::string ReadList(const std::vector<std::string>& inputs) {
  if (std::find(inputs.begin(), inputs.end(), "-") == inputs.end()) return "";
  return {std::istreambuf_iterator<char>(std::cin), {}};
}

BenchInputs MakeInputs(const BenchOptions& options) {
  const InputArguments& input = options.input;
  return {input.inputs,
          {input.recursive, true, ""},
          {{input.frame_step, std::nullopt},
           options.max_frames,
           options.max_frames.value_or(kCameraFrames)},
          FitModeOf(input.fit),
          ReadList(input.inputs)};
}

BenchPlan MakePlan(const BenchOptions& options) {
  BenchPlan plan{{options.detector}, options.rounds, options.warmup};
  DetectorOptions b = options.detector;
  if (!options.model_b.empty()) b.model = options.model_b;
  if (!options.config_b.empty()) b.config = options.config_b;
  if (!options.fece_model_b.empty()) b.fece_model = options.fece_model_b;
  b.threads = options.threads_b.value_or(b.threads);
  const bool has_b = !options.model_b.empty() || !options.config_b.empty() ||
                     !options.fece_model_b.empty() || options.threads_b.has_value();
  if (has_b) plan.sides.push_back(std::move(b));
  return plan;
}

// The bar is gone when this returns.
BenchResult Measure(const BenchPlan& plan, const BenchInputs& inputs, LogCapture& log) {
  Progress progress(SteadySeconds, TerminalColumns());
  return RunBench(plan, inputs, log, &progress);
}

std::string ResultText(const BenchOptions& options, const BenchPlan& plan,
                       const BenchResult& result) {
  if (!options.json) return BenchText(plan, result);
  return ToIndentedText(BenchToJson(NameAndVersion(), plan, result));
}

}  // namespace

Command AddBench(Program& program, BenchOptions& options) {
  Command command = program.AddCommand("bench", "Measure time and memory, of one side or two");
  AddDetectorOptions(command, options.detector);
  AddInputOptions(command, options.input);
  AddSecondSide(command, options);
  AddAmounts(command, options);
  command.AddFlag("--json", &options.json, "Write JSON");
  AddLogOptions(command, options.log);
  command.Footer(
      "Example:\n"
      "  dirty_seg bench --model seg.onnx --model-b int8.onnx --config c.yaml photos\n"
      "Exit status: 0 all done, 1 some inputs failed,\n"
      "  2 bad usage, network or configuration, 130 interrupted");
  return command;
}

int RunBenchCommand(const BenchOptions& options) {
  SetQuiet(options.log.quiet);
  const Interruption interruption;
  const BenchPlan plan = MakePlan(options);
  const BenchInputs inputs = MakeInputs(options);
  LoadMedia();  // once, not in each of the processes that memory is measured in
  // Before the networks are loaded here: their threads would not be in another process.
  const auto peaks = MeasurePeakMemory(plan, inputs);
  LogCapture log(options.log);
  BenchResult result = Measure(plan, inputs, log);
  for (std::size_t i = 0; i < peaks.size(); ++i) result.sides[i].peak_memory = peaks[i];
  if (result.frames > 0) {
    PrintResult(ResultText(options, plan, result), "the measurements", log.standard_output());
  }
  if (!result.interrupted) return result.failed == 0 ? kAllDone : kSomeInputFailed;
  PrintMessage(fmt::format("interrupted: frames measured: {}", result.frames));
  return kInterrupted;
}

}  // namespace dirty_seg
