// Decoder of YOLOv8 segmentation outputs: boxes, suppression, masks.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/export.h"

namespace YAML {
class Node;
}

namespace nuvik::model {

/// One detection, in pixels of the patch that it was found in (origin at the patch's left top
/// corner, x right, y down).
struct Object {
  /// Left top corner and size of the box; inside the patch, finite, width and height above 0.
  float x = 0.0F;
  float y = 0.0F;
  float width = 0.0F;
  float height = 0.0F;
  /// Class id, from 0.
  std::int32_t label = 0;
  /// Confidence, as the network gave it: above the score threshold of its class, at most 1 for a
  /// usual network.
  float score = 0.0F;
  /// Instance mask as large as the patch, CV_8UC1, 255 inside and 0 outside. May be empty for
  /// records that another decoder made. Read only: the bundled decoder takes the memory back for a
  /// later frame once it is not in use.
  cv::Mat mask;
};

/// Results of `Yolov8Postprocess::PostProcess`.
enum PostProcessStatus : int {
  kPostProcessOk = 0,             ///< decoded; an empty list means that nothing was found
  kPostProcessMissingOutput = 1,  ///< a configured output has no buffer or no storage
  kPostProcessWrongSize = 2,      ///< an output's storage is not as long as its configured shape
};

/// Turns the outputs of a YOLOv8 segmentation network into lists of objects.
///
/// Two outputs are read, recognised by rank and shape, never by name: predictions
/// [N, 4 + classes + coefficients, anchors] or [N, anchors, 4 + classes + coefficients] with box
/// centre and size in network pixels and class scores after the sigmoid, and prototypes
/// [N, coefficients, H / k, W / k]; each float32 or float16.
///
/// The same tensors always give the same lists: best score first, equal scores in anchor order.
/// One object is used by one thread at a time.
class NUVIK_EXPORT Yolov8Postprocess {
 public:
  /// `root` is the configuration file. Its optional mapping `postprocess` holds
  ///
  ///   score_threshold  0.25   in [0, 1]: keep a candidate whose best class score is greater
  ///   iou_threshold    0.7    in [0, 1]: drop a box overlapping a better one by more than this
  ///   max_detections   300    in [1, 100000]: per patch, best first
  ///   class_agnostic   false  true: boxes suppress each other across classes
  ///   mask_threshold   0.5    in [0, 1]: a pixel is mask when its probability is greater
  ///   score_thresholds {}     class id to a number in [0, 1], over score_threshold for that class
  ///   classes          all    class ids: keep candidates of these classes only
  ///
  /// A candidate is an anchor with its best class, and stands or falls with that one: where its
  /// score does not exceed its class's threshold, or its class is not among `classes`, no other
  /// class of the anchor takes its place. What falls here suppresses nothing. A class id that the
  /// network does not have has no effect.
  ///
  /// `config` gives the shapes and types of the network's one input and of its outputs.
  /// `patch_sizes` holds width and height of each predefined patch in configuration order; their
  /// origins come from `patch` / `patches` of `root`, so that a patch reaching over the right or
  /// lower edge of the 1920 x 1080 frame is decoded at its clipped size, and one wholly outside
  /// takes no batch slot. An empty list means one whole frame per slot.
  ///
  /// Throws std::invalid_argument, naming what is wrong and what would be right: a `postprocess`
  /// value of the wrong type or out of range; an input that is not [N, 3, S, S]; outputs that are
  /// not a YOLOv8 segmentation head; a type other than float32 and float16; more patches than batch
  /// slots; an invalid patch list; patch sizes that disagree with the file's.
  Yolov8Postprocess(const YAML::Node& root, const alg::common::AIEngineConfig& config,
                    const std::vector<cv::Size>& patch_sizes);
  ~Yolov8Postprocess();
  Yolov8Postprocess(const Yolov8Postprocess&) = delete;
  Yolov8Postprocess& operator=(const Yolov8Postprocess&) = delete;

  /// Decodes `outputs` (read only) and replaces `objects` by one list for each batch slot that a
  /// patch took, in slot order. Returns a `PostProcessStatus`; unless it is `kPostProcessOk`,
  /// `objects` is empty and one line on standard error says why. A class score that is not finite
  /// counts as none; a candidate whose box or mask coefficients are not finite is dropped;
  /// prototypes that are not finite give no mask pixel. The 1st, 10th, 100th ... frame with such
  /// numbers is reported on standard error; `TakeNonFiniteCounts` gives each frame's count.
  int PostProcess(std::map<std::string, alg::common::AIBuff>& outputs,
                  std::vector<std::vector<Object>>& objects);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace nuvik::model
