// Pictures as files.
#include "files/picture_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

TEST(PictureFile, OfAPictureThatItsFormatCannotHoldIsRefused) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "wide.jpg";
  const cv::Mat wide(1, 65501, CV_8UC3, cv::Scalar(0, 0, 0));
  EXPECT_THAT(test::RejectionOf<InputError>([&] { WritePicture(path, wide); }),
              testing::StartsWith("'" + path + "' cannot be written: "));
}

TEST(EncodeMask, WritesOneBitAPixelWhichReadsAs0And255) {
  cv::Mat mask(1080, 1920, CV_8UC1, cv::Scalar(0));
  mask(cv::Rect(3, 5, 601, 77)) = 255;
  mask(cv::Rect(1000, 900, 1, 1)) = 7;  // any value but 0 is inside
  const PendingFile file = EncodeMask("floor", 19, mask);
  EXPECT_EQ(file.name, "floor.mask_19.png");
  constexpr std::size_t kBitDepth = 24;  // in a PNG file's header
  EXPECT_EQ(file.bytes.at(kBitDepth), 1);
  const std::vector<unsigned char> bytes(file.bytes.begin(), file.bytes.end());
  const cv::Mat read = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
  ASSERT_EQ(read.type(), CV_8UC1);
  EXPECT_EQ(cv::countNonZero(read != (mask != 0)), 0);
}

// Every place of a set pixel in a row, whole groups of eight or not, under a row of zeros.
TEST(EncodeMask, KeepsEveryPixelOfRowsOfAnyLength) {
  for (int width = 1; width <= 25; ++width) {
    for (int x = 0; x < width; ++x) {
      cv::Mat wider(2, width + 3, CV_8UC1, cv::Scalar(255));  // a mask may be a part of a matrix
      cv::Mat mask = wider.colRange(1, 1 + width);
      mask = 0;
      mask.at<std::uint8_t>(1, x) = static_cast<std::uint8_t>(1 << x % 8);
      const PendingFile file = EncodeMask("floor", 0, mask);
      const std::vector<unsigned char> bytes(file.bytes.begin(), file.bytes.end());
      const cv::Mat read = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
      ASSERT_EQ(read.size(), mask.size());
      EXPECT_EQ(cv::countNonZero(read), 1) << width;
      EXPECT_EQ(read.at<std::uint8_t>(1, x), 255) << width << ", " << x;
    }
  }
}

TEST(EncodeMask, RefusesWhatPngCannotHold) {
  const cv::Mat mask(1, 1000001, CV_8UC1, cv::Scalar(0));
  EXPECT_THAT(test::RejectionOf<InputError>([&] { EncodeMask("floor", 0, mask); }),
              testing::StartsWith("the mask cannot be written as PNG: "));
}

}  // namespace
}  // namespace dirty_seg
