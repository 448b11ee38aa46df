// What a page lists of a frame.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "detector/labels.h"
#include "report/run_facts.h"
#include "results/results_reader.h"

namespace dirty_seg {

/// People read the numbers of the page: more digits would only make it larger.
double Rounded(double value, double steps);

/// Whether a classifier looked at candidates.
bool HasClassifier(const Results& results, const std::optional<RunFacts>& facts);

/// Of each detection. Where a line does not say what was confirmed, as in older results, label 19
/// does.
std::vector<Kind> KindsOf(const StoredFrame& frame, bool has_classifier);

/// Adds `boxes`, scaled to a picture of `size`, and `scores` of the detections.
void AddDetections(const StoredFrame& frame, const cv::Size& size, nlohmann::ordered_json& json);

/// The size of the picture as the line tells it, else that of the frame.
cv::Size ReportedSize(const StoredFrame& frame);

}  // namespace dirty_seg
