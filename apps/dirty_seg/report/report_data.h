// The data of a report's page.
#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "detector/labels.h"
#include "report/report_pictures.h"
#include "results/results_reader.h"

namespace dirty_seg {

/// Facts of the run from its summary.json.
struct RunFacts {
  bool interrupted = false;
  bool complete = true;
  std::size_t inputs = 0;
  std::size_t failed_inputs = 0;
  std::string program;
  std::string model;
  std::string config;
  std::string fece_model;  // empty without a classifier
  /// Source and cause of each failure.
  std::vector<std::pair<std::string, std::string>> failures;
  std::string write_error;  // empty if everything was written
};

/// Reads the summary.json beside the results. A missing key leaves its default. One that cannot be
/// parsed, as a killed run leaves it, is reported on standard error and counts as missing.
std::optional<RunFacts> ReadRunFacts(const std::string& folder);

/// The indices of at most `most` frames that have a picture, evenly spread over those that did not
/// fail; in order.
std::vector<std::size_t> ChooseFrames(const std::vector<StoredFrame>& frames, std::size_t most);

class ReportData {
 public:
  /// `results` outlives this object; its things are listed as detections (listed_things.h).
  ReportData(const Results& results, std::optional<RunFacts> facts);

  /// Adds frame `index` to those with a picture, and the picture that was found for it.
  void SetPicture(std::size_t index, const FramePicture& picture);

  /// Everything; `max_frames` was the limit for the choice of pictures.
  nlohmann::ordered_json ToJson(std::size_t max_frames) const;

 private:
  struct Picture {
    PictureOrigin origin;
    cv::Size size;
  };

  bool HasClassifier() const;
  std::vector<Kind> KindsOf(const StoredFrame& frame) const;
  std::set<Kind> FindKinds() const;
  Labels MakeLabels() const;
  std::vector<std::string> Stages() const;
  nlohmann::ordered_json LabelsToJson() const;
  nlohmann::ordered_json FrameToJson(std::size_t index,
                                     const std::vector<std::string>& stages) const;
  nlohmann::ordered_json MasksToJson(const StoredFrame& frame) const;
  nlohmann::ordered_json ThingMasksToJson(const StoredFrame& frame) const;
  nlohmann::ordered_json TimingToJson(const std::vector<std::string>& stages) const;
  nlohmann::ordered_json FactsToJson() const;
  nlohmann::ordered_json NotesToJson(std::size_t max_frames) const;
  void AddRunNotes(nlohmann::ordered_json& notes) const;
  void AddFailureNotes(nlohmann::ordered_json& notes) const;
  void AddPictureNotes(std::size_t max_frames, nlohmann::ordered_json& notes) const;
  std::size_t CountWhole() const;
  std::string UnreadInputsText() const;
  std::size_t CountPictures(PictureOrigin origin) const;

  const Results& results_;
  std::optional<RunFacts> facts_;
  bool has_classifier_;
  std::set<Kind> kinds_;  // of all detections
  Labels labels_;
  std::map<std::size_t, Picture> pictures_;  // of the chosen frames
};

}  // namespace dirty_seg
