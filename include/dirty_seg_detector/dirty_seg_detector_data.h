// Records that carry a frame's results: within the detector, and from it to the host.
#pragma once

#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "engine/data_base.h"
#include "engine/yolov8_postprocess.h"

namespace nuvik::perception::dirty_seg_detector_data {

/// The label of a detection that the fece classifier confirmed.
inline constexpr int kFeceLabel = 19;

/// Intermediate record of one frame, between post-processing and conversion.
struct DirtySegDetectorResData : public utils::DataBase {
  DirtySegDetectorResData() : DataBase("dirty_seg_detector_res_data") {}
  ~DirtySegDetectorResData() override = default;

  /// Position of each input image's name in the image map's order, from 0.
  std::map<std::string, int> image_index;
  /// One list a batch slot, in slot order; list i is placed with patch rectangle i.
  std::vector<std::vector<model::Object>> patch_objects;
  /// The frame's images, shared with the caller.
  std::map<std::string, std::shared_ptr<cv::Mat>> images;
  /// Further images of the record's own; the detector writes none.
  std::map<std::string, cv::Mat> named_mats;
};

/// What the detector found in one frame. Coordinates are pixels of the 1920 x 1080 frame, origin at
/// its left top corner, whatever the size of the image.
struct DirtyStatusResultData {
  /// Whether there was a segmentation result to convert.
  bool success = true;
  /// "ok" until the conversion sets "success" or "inference failed".
  std::string message = "ok";
  /// x1, y1, x2, y2 of each detection; not clipped to the frame.
  std::vector<std::vector<float>> bboxes;
  /// Confidence of each detection, parallel to `bboxes`.
  std::vector<float> scores;
  /// Class id of each detection, parallel to `bboxes`; kFeceLabel where the classifier confirmed
  /// it.
  std::vector<int> labels;
  /// Mask pixels inside the frame, one entry for each detection whose mask is not empty and reaches
  /// into the frame: NOT parallel to `bboxes` once a detection had no such mask.
  std::vector<float> mask_pixel_counts;
  /// Union of the masks of each final label that had one: 1080 rows x 1920 columns, CV_8UC1, not 0
  /// inside.
  std::map<int, cv::Mat> label_masks;
};

}  // namespace nuvik::perception::dirty_seg_detector_data
