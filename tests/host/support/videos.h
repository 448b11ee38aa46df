// Videos that any OpenCV can write and read.
#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>
#include <string>
#include <vector>

namespace dirty_seg::test {

/// Writes Motion JPEG in AVI and returns the path.
inline std::string WriteVideo(const std::string& path, const std::vector<cv::Mat>& frames,
                              double rate) {
  cv::VideoWriter writer(path, cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'),
                         rate, frames.at(0).size());
  EXPECT_TRUE(writer.isOpened()) << path;
  for (const cv::Mat& frame : frames) writer.write(frame);
  return path;
}

struct VideoContent {
  std::vector<cv::Mat> frames;
  double rate = 0.0;
};

inline VideoContent ReadVideo(const std::string& path) {
  cv::VideoCapture capture(path, cv::CAP_FFMPEG);
  EXPECT_TRUE(capture.isOpened()) << path;
  VideoContent content;
  content.rate = capture.get(cv::CAP_PROP_FPS);
  for (cv::Mat frame; capture.read(frame);) content.frames.push_back(frame.clone());
  return content;
}

}  // namespace dirty_seg::test
