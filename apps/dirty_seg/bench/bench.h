// Runs one or two configurations of the detector over the same frames, in turns.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "compare/difference.h"
#include "console/progress.h"
#include "detector/detector_setup.h"
#include "detector/frame_detector.h"
#include "detector/log_capture.h"
#include "frames/frame_fit.h"
#include "frames/frame_source.h"
#include "frames/inputs.h"
#include "network/postprocess_options.h"
#include "results/stages.h"

namespace dirty_seg {

inline constexpr std::array<const char*, 6> kBenchStages{kPreprocessStage,  kInferenceStage,
                                                         kPostprocessStage, kClassifyStage,
                                                         kConvertStage,     kTotalStage};

/// Measurements of one side.
struct BenchSide {
  DetectorOptions options;
  nuvik::model::PostprocessOptions thresholds;  // in force
  /// Milliseconds of every measured run, by stage.
  std::map<std::string, std::vector<double>> times;
  /// Measured frames in which the network gave numbers that are not finite.
  std::size_t non_finite_frames = 0;
  /// In bytes, of a process that runs only this side; nothing if it could not be measured.
  std::optional<std::int64_t> peak_memory;
};

struct BenchPlan {
  std::vector<DetectorOptions> sides;  // one or two
  int rounds = 10;
  /// Runs of each side on the first frame that are not measured.
  int warmup = 2;
};

/// Where the frames come from. Opened more than once.
struct BenchInputs {
  std::vector<std::string> arguments;
  InputOptions options;
  FrameChoice choice;
  FitMode fit = FitMode::kScale;
  /// The list that "-" among the arguments means.
  std::string list;
};

struct BenchResult {
  std::vector<BenchSide> sides;
  std::size_t frames = 0;
  /// Frames, and inputs that gave none.
  std::size_t failed = 0;
  /// An Interruption ended it early; the last frame can have fewer rounds than the others.
  bool interrupted = false;
  /// With two sides: differences of the second's results from the first's, each frame once.
  DifferenceTotals differences;
};

/// Measures the peak memory of each side on the first frame that can be read, in a process of its
/// own, which opens the inputs for itself: call it before anything has started a thread.
std::vector<std::optional<std::int64_t>> MeasurePeakMemory(const BenchPlan& plan,
                                                           const BenchInputs& inputs);

/// Reads each frame once and runs every side on it `rounds` times; of two sides, A goes first in
/// one round and B in the next, after one run of each that is compared and not measured. An input
/// that cannot be read, and a frame that a side fails on, is reported on standard error and counted
/// as failed. An Interruption ends it after the current round. `progress` may be null. Throws
/// SetupError when a side cannot be set up.
BenchResult RunBench(const BenchPlan& plan, const BenchInputs& inputs, LogCapture& log,
                     Progress* progress);

/// The parts of one frame's outcome that are compared. The masks are shared.
FrameFindings FindingsOf(const FrameOutcome& outcome);

}  // namespace dirty_seg
