// COCO's compressed run lengths of a mask.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <string>

namespace dirty_seg {

/// A mask as COCO writes it.
///
/// The pixels are read column by column, each from top to bottom. `counts` holds the lengths of
/// their runs, which alternate between zeros and ones and begin with zeros: a mask whose first
/// pixel is set begins with a run of length 0. From index 3 on, a length is stored as its
/// difference from the length two before it, the last one of the same kind. A number is written in
/// groups of five bits, lowest first. Bit 0x20 of a group means that another follows; bit 0x10 of
/// the last group is the number's sign. Each group plus 48 is one character, '0' to 'o'.
struct RunLengths {
  int height = 0;
  int width = 0;
  std::string counts;
};

/// `mask` is CV_8UC1; every pixel that is not 0 is set.
RunLengths EncodeRunLengths(const cv::Mat& mask);

/// Those of a mask of size `whole` that is 0 but for `part`, which lies in it at `at`.
RunLengths EncodeRunLengths(const cv::Mat& part, const cv::Point& at, const cv::Size& whole);

/// The mask, 0 or 255. Throws std::invalid_argument for a side below 0 and, naming the position,
/// for a text that is not a list of run lengths of `height` x `width` pixels.
cv::Mat DecodeRunLengths(const RunLengths& run_lengths);

/// {"size": [height, width], "counts": "..."}.
nlohmann::ordered_json RunLengthsToJson(const RunLengths& run_lengths);

}  // namespace dirty_seg
