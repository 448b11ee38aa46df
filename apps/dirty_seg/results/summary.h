// The summary of a run: summary.json.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/percentiles.h"
#include "detector/labels.h"
#include "network/postprocess_options.h"
#include "results/frame_record.h"

namespace dirty_seg {

/// Program, networks and configuration of the run.
struct RunDescription {
  std::string program;  // with its version
  std::string model;
  std::string config;
  std::string fece_model;                       // empty without a classifier
  nuvik::model::PostprocessOptions thresholds;  // in force
  /// What else results depend on, under the options' names.
  nlohmann::ordered_json options = nlohmann::ordered_json::object();
  /// Of the files, as ChecksumOfFile has it, under their keys.
  std::map<std::string, std::string> checksums;
};

/// The first keys of summary.json, from `program` on.
nlohmann::ordered_json DescriptionToJson(const RunDescription& description);

/// An input, or a frame of it, that failed.
struct Failure {
  std::string source;
  /// Of a video or camera, if a frame was read.
  std::optional<std::int64_t> frame;
  std::string cause;
};

inline bool operator==(const Failure& a, const Failure& b) {
  return a.source == b.source && a.frame == b.frame && a.cause == b.cause;
}

/// How a run ended.
struct RunEnd {
  bool interrupted = false;
  /// Whether every input was taken to its end and everything written.
  bool complete = false;
  /// What could not be written, and why; empty if everything was.
  std::string write_error;
  /// Total number of inputs, including those not reached; nothing if it is not known.
  std::optional<std::size_t> inputs;
};

class Summary {
 public:
  explicit Summary(RunDescription description) : description_(std::move(description)) {}

  /// Counts an input; `failed` if it, or a frame of it, failed.
  void AddInput(bool failed);

  void AddFailure(Failure failure) { failures_.push_back(std::move(failure)); }

  /// Times, detections and things of a frame that failed are not counted.
  void AddFrame(const FrameRecord& record);

  std::size_t inputs() const { return inputs_; }
  std::size_t failed() const { return failed_; }
  std::size_t frames() const { return frames_; }
  /// Frames in which the network gave numbers that are not finite.
  std::size_t non_finite_frames() const { return non_finite_frames_; }

  /// Times of the stage, in milliseconds; all 0 if no frame has any.
  Distribution TimesOf(const std::string& stage) const;

  /// Keys in a fixed order, as docs/schema/summary.schema.json has them.
  nlohmann::ordered_json ToJson(const Labels& labels, const RunEnd& end) const;

 private:
  void CountThings(const std::vector<Thing>& things);

  RunDescription description_;
  std::size_t inputs_ = 0;
  std::size_t failed_ = 0;
  std::size_t frames_ = 0;
  std::vector<Failure> failures_;
  std::size_t non_finite_frames_ = 0;
  std::map<int, std::size_t> detections_;
  std::optional<std::map<int, std::size_t>> things_;  // nothing unless frames had them
  std::size_t confirmed_things_ = 0;
  std::size_t confirmed_ = 0;
  bool is_confirmed_known_ = true;
  std::vector<std::string> stages_;  // in the order in which they came
  std::map<std::string, std::vector<double>> times_;
};

}  // namespace dirty_seg
