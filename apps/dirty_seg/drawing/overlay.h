// Draws detections onto a picture.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "detector/labels.h"
#include "things/shown.h"

namespace dirty_seg {

/// Colour of a label, B, G, R: always the same, distinct for colour-blind people too. Six colours
/// in turn; a seventh is only for confirmed faeces.
cv::Scalar LabelColour(int label, bool is_confirmed_faeces);

/// Where a tag of `size` goes: on the box's upper edge, or the next place downwards where it covers
/// none of `taken`; inside a picture of `picture_size` as far as it fits in. If there is no such
/// place, it covers another.
cv::Rect PlaceTag(const cv::Rect& box, const cv::Size& size, const cv::Size& picture_size,
                  const std::vector<cv::Rect>& taken);

/// A copy of `picture` (CV_8UC3) with each kind's mask as a translucent, outlined area, a thin box
/// and a tag with name and score for each finding. Confirmed faeces stand out: their own colour,
/// a double box, a mark in the tag. Line and text sizes follow the picture's. What lies outside the
/// picture is left out.
cv::Mat DrawOverlay(const cv::Mat& picture, const Shown& shown, const Labels& labels);

}  // namespace dirty_seg
