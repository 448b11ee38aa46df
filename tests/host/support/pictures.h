// Pictures whose means are exact in binary, and the files that they stand in.
#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <string>

namespace dirty_seg::test {

const cv::Size kFrame(1920, 1080);
const cv::Scalar kBlackPixel(0, 0, 0);
const cv::Scalar kRedPixel(0, 0, 255);
const cv::Scalar kGreenPixel(0, 255, 0);
const cv::Scalar kMagentaPixel(255, 0, 255);

inline cv::Mat Plain(const cv::Size& size, const cv::Scalar& colour) {
  return cv::Mat(size, CV_8UC3, colour);
}

/// Writes the picture losslessly or not, as the extension says, and returns the path.
inline std::string WritePicture(const std::string& path, const cv::Mat& picture) {
  EXPECT_TRUE(cv::imwrite(path, picture)) << path;
  return path;
}

}  // namespace dirty_seg::test
