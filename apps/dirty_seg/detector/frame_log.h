// The detector library's log of one frame.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace dirty_seg {

/// Milliseconds of the detector's stages; nothing for one that is not known.
struct StageTimes {
  std::optional<double> inference;
  std::optional<double> postprocess;
  /// The log has it within `convert`: see `SeparateClassifier`.
  std::optional<double> classify;
  std::optional<double> convert;
};

/// One line of the log, as "INFO" and what follows.
struct LogEntry {
  std::string tag;
  std::string message;
};

struct FrameLog {
  /// As the log tells them.
  StageTimes times;
  /// Messages of the error lines, in order.
  std::vector<std::string> errors;
  /// All lines, in order.
  std::vector<LogEntry> entries;
};

/// Splits "  7 [INFO] message"; nothing for a line of another form.
std::optional<LogEntry> ReadLogEntry(const std::string& line);

/// `lines` as the library writes them: number, tag in brackets, message. Other lines are skipped.
FrameLog ReadFrameLog(const std::vector<std::string>& lines);

}  // namespace dirty_seg
