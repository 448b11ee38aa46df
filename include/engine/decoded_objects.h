// The objects of a frame, each with its own mask. An addition of the bundled engine.
#pragma once

#include <vector>

#include "engine/export.h"
#include "engine/yolov8_postprocess.h"

namespace nuvik::model {

/// While one of these lives, it keeps what `Yolov8Postprocess::PostProcess` finds on the thread
/// that made it: a detector's record unites the masks of a label, so those of single objects are
/// known nowhere else. Of several on a thread, the youngest keeps. Made, used and destroyed by one
/// thread, in the order of a stack.
///
/// An engine of another make does not have this class: the detector does without it.
class NUVIK_EXPORT DecodedObjects {
 public:
  DecodedObjects() noexcept;
  ~DecodedObjects();
  DecodedObjects(const DecodedObjects&) = delete;
  DecodedObjects& operator=(const DecodedObjects&) = delete;

  /// The lists of the last call, as its caller got them, and once: empty if there was no call since
  /// the last `Take`, or it failed. The masks share the caller's memory and are read only; as long
  /// as one of them lives, the decoder cannot use its memory again.
  std::vector<std::vector<Object>> Take();

 private:
  friend void KeepObjects(const std::vector<std::vector<Object>>& objects);

  std::vector<std::vector<Object>> objects_;
  DecodedObjects* outer_;
};

}  // namespace nuvik::model
