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
#include "report/changes.h"
#include "report/report_pictures.h"
#include "report/run_facts.h"
#include "results/results_reader.h"

namespace dirty_seg {

/// The indices of at most `most` frames that have a picture, evenly spread over those that did not
/// fail; in order. Those in `first` go before all others.
std::vector<std::size_t> ChooseFrames(const std::vector<StoredFrame>& frames, std::size_t most,
                                      const std::set<std::size_t>& first = {});

class ReportData {
 public:
  /// `results` outlives this object; its things are listed as detections (listed_things.h). So does
  /// `other`, the run that they are compared with; null for none. Throws as Changes does.
  ReportData(const Results& results, std::optional<RunFacts> facts,
             const OtherRun* other = nullptr);

  /// The frames that are to have a picture, at most `most`.
  std::vector<std::size_t> ChooseFrames(std::size_t most) const;

  /// Adds frame `index` to those with a picture, and the picture that was found for it.
  void SetPicture(std::size_t index, const FramePicture& picture);

  /// Everything; `max_frames` was the limit for the choice of pictures.
  nlohmann::ordered_json ToJson(std::size_t max_frames) const;

 private:
  struct Picture {
    PictureOrigin origin;
    cv::Size size;
  };

  std::vector<const StoredFrame*> OtherFrames() const;
  std::set<Kind> FindKinds() const;
  Labels MakeLabels() const;
  std::vector<std::string> Stages() const;
  nlohmann::ordered_json LabelsToJson() const;
  nlohmann::ordered_json FrameToJson(std::size_t index,
                                     const std::vector<std::string>& stages) const;
  nlohmann::ordered_json IdsToJson(const std::vector<Kind>& kinds) const;
  void AddChanges(std::size_t index, nlohmann::ordered_json& json) const;
  nlohmann::ordered_json MasksToJson(const StoredFrame& frame) const;
  nlohmann::ordered_json ThingMasksToJson(const StoredFrame& frame) const;
  nlohmann::ordered_json TimingToJson(const std::vector<std::string>& stages) const;
  nlohmann::ordered_json NotesToJson(std::size_t max_frames) const;
  void AddRunNotes(nlohmann::ordered_json& notes) const;
  void AddFailureNotes(nlohmann::ordered_json& notes) const;
  void AddPictureNotes(std::size_t max_frames, nlohmann::ordered_json& notes) const;
  std::size_t CountWhole() const;
  std::string UnreadInputsText() const;
  std::size_t CountPictures(PictureOrigin origin) const;

  const Results& results_;
  std::optional<RunFacts> facts_;
  std::optional<Changes> changes_;  // nothing without another run
  bool has_classifier_;
  bool other_has_classifier_;
  std::set<Kind> kinds_;  // of all detections of both
  Labels labels_;
  std::map<std::size_t, Picture> pictures_;  // of the chosen frames
};

}  // namespace dirty_seg
