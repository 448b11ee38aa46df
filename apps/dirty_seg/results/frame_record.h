// One frame's line of results.jsonl.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "detector/frame_detector.h"
#include "detector/labels.h"
#include "frames/frame_fit.h"
#include "results/run_length.h"
#include "things/thing.h"

namespace dirty_seg {

/// Of results.jsonl and summary.json; increased when a key changes its meaning or is removed.
inline constexpr int kSchemaVersion = 1;

/// A label's mask in the line.
struct MaskRecord {
  /// Name of the mask picture in the output folder; empty when none was written.
  std::string file;
  std::int64_t pixels = 0;
  RunLengths run_lengths;
};

struct FrameRecord {
  /// The input's path, as given.
  std::string source;
  /// Number of the frame in a video; 0 for a picture.
  std::int64_t frame = 0;
  /// The picture's own size, and where in the frame it lies.
  FrameFit fit;
  FrameOutcome outcome;
  std::map<int, MaskRecord> masks;
  /// Nothing unless they were asked for.
  std::optional<std::vector<Thing>> things;
  /// Name of the annotated picture in the output folder; empty when none was written.
  std::string overlay;
  double read_ms = 0.0;
  /// Time to encode run lengths, mask pictures and overlay, without writing them or this line.
  double write_ms = 0.0;
};

/// Describes each label mask of `outcome`, without a file name.
std::map<int, MaskRecord> DescribeMasks(const DirtyStatusResultData& result);

/// Milliseconds that the detector takes before the network runs: the part of the total that belongs
/// to no other stage. Nothing unless the log has all of these.
std::optional<double> PreprocessTime(const FrameOutcome& outcome);

/// Milliseconds of each of the detector's stages that is known, and of their total, in the order of
/// `kStages`.
std::vector<std::pair<std::string, double>> DetectorTimesOf(const FrameOutcome& outcome);

/// Milliseconds of each stage that is known, in the order of `kStages`.
std::vector<std::pair<std::string, double>> StageTimesOf(const FrameRecord& record);

/// Times are written rounded to the microsecond.
double RoundToMicrosecond(double milliseconds);

/// Where the picture lies in the frame.
nlohmann::ordered_json FitToJson(const FrameFit& fit);

/// Label to name, for each label among `present` that has one.
nlohmann::ordered_json LabelNamesToJson(const std::set<int>& present, const Labels& labels);

/// Keys in a fixed order, as docs/schema/results.schema.json has them, the record's own under its
/// members' names. Numbers read back exactly, except the times, which are rounded to the
/// microsecond; a time that is not known is left out.
nlohmann::ordered_json ToJson(const FrameRecord& record, const Labels& labels);

}  // namespace dirty_seg
