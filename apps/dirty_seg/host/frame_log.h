// What the detector library's log says of one frame.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace dirty_seg {

/// Milliseconds of the detector's stages; nothing for one that the log does not tell.
struct StageTimes {
  std::optional<double> inference;
  std::optional<double> postprocess;
  std::optional<double> convert;
};

struct FrameLog {
  StageTimes times;
  /// Messages of the error lines, in order.
  std::vector<std::string> errors;
};

/// `lines` as the library writes them: number, tag in brackets, message. Other lines are passed
/// over.
FrameLog ReadFrameLog(const std::vector<std::string>& lines);

}  // namespace dirty_seg
