// The host program's command line and configuration file, without a process: each is refused in the
// documented way, or what was read is in its documented range.
#include <optional>
#include <string>
#include <vector>

#include "base/errors.h"
#include "base/version.h"
#include "command_line/command_line.h"
#include "commands/detect.h"
#include "config/class_names.h"
#include "config/config_check.h"
#include "config/effective_config.h"
#include "config/host_file.h"
#include "geometry/letterbox.h"
#include "input.h"
#include "support/memory_file.h"

namespace {

using fuzz::Input;
using fuzz::Require;

// A word a line, up to an empty line.
std::vector<std::string> TakeWords(Input& input) {
  std::vector<std::string> words;
  while (!input.IsEmpty()) {
    std::string word = input.TakeLine();
    if (word.empty()) break;
    words.push_back(std::move(word));
  }
  return words;
}

void CheckOptions(const dirty_seg::DetectOptions& options) {
  Require(!options.input.inputs.empty(), "there is an input");
  Require(options.input.frame_step >= 1 && options.input.frame_step <= 1000000,
          "the frame step is in range");
  const std::optional<float>& every = options.input.every;
  Require(!every || (*every >= 0.001F && *every <= 86400.0F && options.input.frame_step == 1),
          "the period is in range, and in place of a frame step");
  Require(options.results.output.empty() || !options.results.save, "there is one folder at most");
  Require(
      !options.results.resume || (!options.results.overwrite && !options.results.output.empty()),
      "what is gone on with is a folder that is not replaced");
  Require(!options.log.quiet || !options.log.verbose, "quiet and verbose exclude each other");
  Require(options.detector.threads >= 0 && options.detector.threads <= 1024,
          "threads are in range");
  Require(options.detector.fece_score_threshold >= 0.0F &&
              options.detector.fece_score_threshold <= 1.0F,
          "the score threshold is a probability");
  Require(
      options.detector.fece_area_threshold >= 0.0F && options.detector.fece_area_threshold <= 1e9F,
      "the area threshold is in range");
  const dirty_seg::Thresholds& thresholds = options.detector.thresholds;
  for (const auto& fraction : {thresholds.score, thresholds.iou, thresholds.mask}) {
    Require(!fraction || (*fraction >= 0.0F && *fraction <= 1.0F), "thresholds are fractions");
  }
  const int most = thresholds.max_detections.value_or(1);
  Require(most >= 1 && most <= 100000, "the number of detections is in range");
  for (const auto* ids : {&options.detector.fece_class_ids, &thresholds.classes}) {
    for (const int id : *ids) Require(id >= 0 && id <= 1000000, "ids are in range");
  }
}

void ParseWords(const std::vector<std::string>& words) {
  dirty_seg::Program program("dirty_seg", "Finds dirty regions in pictures",
                             dirty_seg::NameAndVersion());
  dirty_seg::DetectOptions options;
  dirty_seg::AddDetect(program, options);
  std::vector<const char*> argv{"dirty_seg"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  try {
    const bool asks = program.Parse(static_cast<int>(argv.size()), argv.data()).has_value();
    if (!asks) CheckOptions(options);
  } catch (const dirty_seg::SetupError&) {
  }
}

// Whether `read` refuses the file, which it has to name.
template <typename Read>
bool IsRefused(const nuvik::test::MemoryFile& file, const Read& read) {
  try {
    read();
    return false;
  } catch (const dirty_seg::SetupError& error) {
    Require(std::string(error.what()).find(file.path()) != std::string::npos,
            "a refusal names the file");
    return true;
  }
}

void CheckNames(const std::map<std::int32_t, std::string>& names) {
  Require(!names.empty(), "there are names");
  Require(names.begin()->first >= 0 && names.rbegin()->first <= 1000000, "ids are in range");
  for (const auto& [id, name] : names) Require(!name.empty(), "no name is empty");
}

// The command line's values in place of the file's make a file that says what is in force.
void OverrideConfiguration(const std::string& path) {
  dirty_seg::DetectorOptions options;
  options.config = path;
  options.thresholds = {0.75F, std::nullopt, 7, std::nullopt, {1}};
  const dirty_seg::EffectiveConfig file(options);
  const dirty_seg::ConfigCheck check = dirty_seg::CheckConfig(file.path());
  Require(check.Count(dirty_seg::FileProblem::Kind::kError) == 0, "it is permitted");
  for (const auto& values : {check.postprocess, file.options()}) {
    Require(values.score_threshold == 0.75F && values.max_detections == 7 &&
                values.score_thresholds.empty() && values.classes == std::vector<int>{1},
            "it has the values");
  }
}

// What has no error can be run: every patch shows something of the frame.
void ReadConfiguration(const std::string& text) {
  const nuvik::test::MemoryFile file(text);
  dirty_seg::ConfigCheck check;
  const bool is_no_yaml = IsRefused(file, [&] {
    check = dirty_seg::CheckConfig(file.path());
    dirty_seg::CheckFit(640, std::nullopt, check);
  });
  IsRefused(file, [&] { dirty_seg::ReadHostFile(file.path()); });
  IsRefused(file, [&] { CheckNames(dirty_seg::ReadClassNames(file.path())); });
  if (is_no_yaml || check.Count(dirty_seg::FileProblem::Kind::kError) > 0) return;
  Require(!check.patches.empty(), "there is a patch");
  OverrideConfiguration(file.path());
  const cv::Rect frame({0, 0}, nuvik::geometry::FrameSize());
  for (const dirty_seg::ListedPatch& listed : check.patches) {
    const cv::Rect& patch = listed.rectangle;
    Require(frame.contains(patch.tl()) && patch.width > 0 && patch.height > 0,
            "every patch begins inside the frame and has an area");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  ParseWords(TakeWords(input));
  ReadConfiguration(input.TakeRest());
  return 0;
}
