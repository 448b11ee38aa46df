// Finds dirty regions in a colour camera's view.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector_config.h"
#include "dirty_seg_detector/dirty_seg_detector_data.h"
#include "engine/ai_engine.h"
#include "engine/export.h"
#include "engine/yolov8_postprocess.h"

namespace nuvik::perception::dirty_seg_detector {

using alg::common::AIBuff;
using alg::common::AIEngine;
using alg::common::AIEngineConfig;
using dirty_seg_detector_data::DirtySegDetectorResData;
using dirty_seg_detector_data::DirtyStatusResultData;
using model::Yolov8Postprocess;

/// The images of one frame by stream name. "color" is CV_8UC3 in B, G, R order, 1920 x 1080; rows
/// may be padded. The pixels are shared, never written.
using ImageMap = std::map<std::string, std::shared_ptr<cv::Mat>>;

/// Detector of dirty regions: patches of the colour image through a segmentation network, candidate
/// boxes through a classifier, everything back into the 1920 x 1080 frame.
///
/// A picture of another size is accepted, and then some results are silently wrong: patches are cut
/// at the picture's edges, while boxes and masks are decoded for patches cut at the frame's.
/// - A patch inside both is right. What no such patch shows is not searched.
/// - A patch over an edge of one of them has its boxes and masks shifted and scaled.
/// - A patch outside one of them takes a batch slot on only one side: every later list of objects
///   is placed with the rectangle of another patch.
/// Scale such a picture by one factor so that it fits into 1920 x 1080, pad it with grey 114 at the
/// right and lower edge, and divide the boxes by the factor (examples/host.cpp).
///
/// Call `Init` once; after it returned true, `DoInference` for each frame. The other operations are
/// its stages. One object is used by one thread at a time; separate objects are independent. The
/// library starts no thread and throws nothing of its own: exceptions of yaml-cpp, OpenCV, map
/// lookups (std::out_of_range) and allocation pass through. Failures are logged before the false
/// return.
class NUVIK_EXPORT DirtySegDetector {
 public:
  /// Copies `config`, loads both networks, makes their buffers, reads the YAML file.
  ///
  /// Returns false when a network could not be loaded (logged at info level). Throws
  /// YAML::Exception for a missing or malformed file, std::out_of_range for an output without a
  /// configured shape or type, std::length_error for a negative byte length, and what the
  /// post-processor's constructor throws. After false or an exception the detector must not be
  /// used. Each call appends the file's patches to those already there.
  bool Init(const DirtySegDetectorConfig& config);

  /// Runs one frame and stores a new record in `result`.
  ///
  /// Returns false, with `result` untouched, when there is no usable "color" image or no patch of
  /// it, or when the network fails. Throws std::out_of_range when a configured input has fewer than
  /// four dimensions or no buffer, and cv::Exception for a patch with a negative origin.
  bool DoInference(const ImageMap& images, std::shared_ptr<DirtyStatusResultData>& result);

  /// Whole-image input: scales every image whose name does not contain "depth" to `size` (longer
  /// side, bilinear), pads it square and packs one after another into `input`, [images, 3, S, S].
  /// Always returns true; an image that would not fit is logged and left out. `DoInference` uses
  /// the patches instead. Throws cv::Exception for an empty image.
  bool PreProcess(const ImageMap& images, AIBuff& input, const cv::Size& size);

  /// Writes `image` as three planes of floats, red, green, blue, each rows x cols in row-major
  /// order, byte / 255 (0 to 1). `dst` has room for rows * cols * 3 floats.
  /// Returns the number of bytes written; 0, with nothing written, unless `image` is CV_8UC3.
  std::size_t PopulateData(const cv::Mat& image, float* dst);

  /// Patch input: cuts every patch out of "color", scales it to `size` (longer side,
  /// nearest-neighbour), pads it square and packs one after another into `input`,
  /// [patches, 3, S, S].
  ///
  /// Returns false without a usable "color" image, without a patch that reaches into it, and when a
  /// crop would not fit into `input`.
  bool PreProcessFromSingleImageCrop(const ImageMap& images, AIBuff& input, const cv::Size& size);

  /// Decodes the network's `outputs` into `result`'s object lists and records the images.
  /// `result` must not be null. Always returns true.
  bool PostProcess(const ImageMap& images, std::map<std::string, AIBuff>& outputs,
                   std::shared_ptr<DirtySegDetectorResData>& result);

  /// Moves the objects of `result` into the frame, asks the classifier about candidates and unites
  /// the masks by label. Never returns null: without a `result`, a record with `success` false.
  std::shared_ptr<DirtyStatusResultData> ConvertToDirtyStatusResult(
      const ImageMap& images, const std::shared_ptr<DirtySegDetectorResData>& result);

  /// Asks the classifier whether the box `bbox` (x1, y1, x2, y2 in pixels of "color") shows faeces.
  /// Every failure is logged and answered with false.
  bool judge_fece(const ImageMap& images, const std::vector<float>& bbox);

  /// Writes `crop` (CV_8UC3, stretched to 224 x 224) as the classifier's input, [1, 3, 224, 224],
  /// red, green, blue, normalised by mean and standard deviation.
  /// Returns false, with `input` untouched, for an empty crop, a buffer without storage, another
  /// type or a buffer under 602112 bytes, in this order. Throws cv::Exception for a type that
  /// OpenCV cannot scale.
  bool PreProcessFece(const cv::Mat& crop, AIBuff& input);

  /// Returns a copy of `image` padded with grey 114 on both short sides by half the difference,
  /// rounded down: square, or one pixel short of it.
  cv::Mat MakeSquare(const cv::Mat& image);

 private:
  std::shared_ptr<DirtySegDetectorConfig> config_;
  std::shared_ptr<AIEngine> dirty_seg_engine_;
  std::map<std::string, AIBuff> dirty_seg_inputs_;
  std::map<std::string, AIBuff> dirty_seg_outputs_;
  std::map<std::string, cv::Mat> crop_images_;
  std::shared_ptr<Yolov8Postprocess> yolov8_postprocess_;
  std::vector<cv::Rect> patches_;
  std::shared_ptr<AIEngine> fece_engine_;
  std::map<std::string, AIBuff> fece_inputs_;
  std::map<std::string, AIBuff> fece_outputs_;
};

}  // namespace nuvik::perception::dirty_seg_detector
