// What a run over many frames comes to: summary.json.
#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/frame_record.h"
#include "host/labels.h"
#include "host/percentiles.h"

namespace dirty_seg {

/// What the run was made with.
struct RunDescription {
  std::string program;  // with its version
  std::string model;
  std::string config;
  std::string fece_model;  // empty without a classifier
};

class Summary {
 public:
  explicit Summary(RunDescription description) : description_(std::move(description)) {}

  /// An input came to its end; `failed` when it, or a frame of it, failed.
  void AddInput(bool failed);

  /// Times and detections of a frame that failed are not counted.
  void AddFrame(const FrameRecord& record);

  std::size_t inputs() const { return inputs_; }
  std::size_t failed() const { return failed_; }
  std::size_t frames() const { return frames_; }

  /// Times of the stage, in milliseconds; all 0 for one that no frame told.
  Distribution TimesOf(const std::string& stage) const;

  /// Keys in a fixed order, as docs/schema/summary.schema.json has them.
  nlohmann::ordered_json ToJson(const Labels& labels, bool interrupted) const;

 private:
  RunDescription description_;
  std::size_t inputs_ = 0;
  std::size_t failed_ = 0;
  std::size_t frames_ = 0;
  std::map<int, std::size_t> detections_;
  std::size_t confirmed_ = 0;
  bool is_confirmed_known_ = true;
  std::vector<std::string> stages_;  // in the order in which they came
  std::map<std::string, std::vector<double>> times_;
};

}  // namespace dirty_seg
