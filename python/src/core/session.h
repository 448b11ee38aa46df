// One detector for Python: its calls take turns, and it knows what a fork leaves of it.
#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "config/detector_options.h"
#include "detector/detector_setup.h"
#include "detector/frame_detector.h"
#include "frames/frame_fit.h"
#include "results/frame_record.h"
#include "speech.h"

namespace dirty_seg::python {

/// What is known of a frame once it is done. Nothing in it changes.
struct FrameResult {
  FrameRecord record;
  std::shared_ptr<const Labels> labels;
  /// x1, y1, x2, y2 of all detections, one after the other.
  std::vector<float> boxes;
};

/// `record` is complete but for its masks' run lengths.
std::shared_ptr<const FrameResult> MakeResult(FrameRecord record,
                                              std::shared_ptr<const Labels> labels);

/// The detector was used in a way that it cannot be: closed, or made before a fork.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Session {
 public:
  /// Throws SetupError with everything that is wrong.
  Session(const DetectorOptions& options, bool merge);
  /// In a child of a fork, whose engine has no threads any more, nothing is released.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// `picture` is CV_8UC3 in B, G, R order, of any size but empty; it is only read. Waits for calls
  /// of other threads. Throws InputError for a picture that does not fit, UsageError, and
  /// std::bad_alloc. A frame that fails is a result that says so.
  std::shared_ptr<const FrameResult> Detect(const std::shared_ptr<cv::Mat>& picture, FitMode fit);

  /// Releases the networks once calls that wait or work are done. Further calls throw UsageError.
  void Close();

  /// What was said to the user at setup.
  const std::vector<std::string>& warnings() const { return warnings_; }
  const std::shared_ptr<const Labels>& labels() const { return labels_; }
  /// Rectangles in the frame, in the configuration's order.
  const std::vector<cv::Rect>& patches() const { return patches_; }

 private:
  bool IsForked() const;

  pid_t process_;
  std::mutex mutex_;
  std::vector<std::string> warnings_;
  bool merge_;
  std::vector<cv::Rect> patches_;
  std::shared_ptr<const Labels> labels_;
  SpeechRecorder recorder_;
  std::unique_ptr<FrameDetector> detector_;  // none once closed
};

}  // namespace dirty_seg::python
