// Optional output formats, beside results.jsonl.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <string>

#include "detector/labels.h"
#include "files/output_folder.h"
#include "frames/frame.h"
#include "results/frame_record.h"
#include "things/shown.h"

namespace dirty_seg {

/// One frame that succeeded, with everything known about it.
struct FoundFrame {
  const Frame& frame;
  const FrameRecord& record;
  /// The record's outcome, boxes and label masks in the picture's own pixels.
  const FrameOutcome& outcome;
  const Shown& shown;
  /// Prefix of the names of the frame's files.
  std::string name;
  /// Prefix of the names of its input's files.
  std::string input_name;
  cv::Mat overlay;
};

// Every format but the record's own is in pixels of the picture, as their readers expect.

class ResultSink {
 public:
  virtual ~ResultSink() = default;
  ResultSink() = default;
  ResultSink(const ResultSink&) = delete;
  ResultSink& operator=(const ResultSink&) = delete;

  /// Throws InputError for a frame that does not fit, and OutputError.
  virtual void Write(const FoundFrame& found) = 0;

  /// Takes a frame of an earlier run that is gone on with: for a file of many frames, which begins
  /// anew. The frame is without its picture, and there is no overlay. Throws as Write does.
  virtual void Restore(const FoundFrame& /*found*/) {}

  /// The same, with the picture and the overlay: of a video that is taken up again. Throws as Write
  /// does.
  virtual void Redraw(const FoundFrame& /*found*/) {}

  /// Completes the files of the input of the last frame. Throws OutputError with the cause.
  virtual void EndInput() {}

  /// Completes the files; nothing is written after that. Throws OutputError with the cause.
  virtual void Finish() {}
};

// Each sink writes into `folder`, which outlives it, as does `labels`. Where a format has one
// number for the class, it is `Labels::IdOf`.

/// coco_results.json and coco_images.json, as COCO's tools read them: an entry for each finding.
std::unique_ptr<ResultSink> MakeCocoSink(const OutputFolder& folder, const Labels& labels);

/// polygons.jsonl: the areas of each label's mask, and of each thing.
std::unique_ptr<ResultSink> MakePolygonSink(const OutputFolder& folder, const Labels& labels);

/// labels/NAME.txt: a line per finding with its class and the outline of its largest area, as
/// fractions of the picture's width and height; its box if it has no area.
std::unique_ptr<ResultSink> MakeYoloSink(const OutputFolder& folder, const Labels& labels);

/// NAME.crop_DETECTION.VERDICT_SCORE.png: what the classifier saw of each candidate; with things,
/// NAME.crop_THING.VERDICT_SCORE.png, the whole thing with the verdict on its detection that
/// decides: a confirmed one first, then the highest score.
std::unique_ptr<ResultSink> MakeCropSink(const OutputFolder& folder);

/// NAME.overlay.mp4 of each video and camera, at the rate of the frames taken: MPEG-4, or Motion
/// JPEG in NAME.overlay.avi where OpenCV has no codec for that. Says what it wrote.
std::unique_ptr<ResultSink> MakeVideoSink(const OutputFolder& folder);

}  // namespace dirty_seg
