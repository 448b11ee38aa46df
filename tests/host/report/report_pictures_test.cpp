#include "report/report_pictures.h"

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>
#include <string>
#include <vector>

#include "support/pictures.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

// The picture in what was encoded. Base 64 is undone here, so that a fault in one half shows.
cv::Mat Decoded(const std::string& base64) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<unsigned char> bytes;
  unsigned group = 0;
  int bits = 0;
  for (const char c : base64) {
    const std::size_t value = alphabet.find(c);
    if (value == std::string::npos) break;  // padding
    group = group << 6U | static_cast<unsigned>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<unsigned char>(group >> static_cast<unsigned>(bits) & 0xffU));
  }
  return cv::imdecode(bytes, cv::IMREAD_COLOR);
}

bool IsNearly(const cv::Vec3b& pixel, const cv::Scalar& colour) {
  for (int i = 0; i < 3; ++i) {
    if (std::abs(pixel[i] - colour[i]) > 12) return false;
  }
  return true;
}

class PictureLoaderTest : public testing::Test {
 protected:
  PictureLoaderTest() {
    frame_.source = test::WritePicture(folder_ / "source.png", Plain(40, 20, test::kRedPixel));
    results_ = folder_.MakeFolder("results");
    test::WritePicture(results_ + "/source.overlay.png", Plain(40, 20, test::kGreenPixel));
    frame_.overlay = "source.overlay.png";
  }

  static cv::Mat Plain(int width, int height, const cv::Scalar& colour) {
    return test::Plain(cv::Size(width, height), colour);
  }

  test::TemporaryFolder folder_;
  std::string results_;
  StoredFrame frame_;
};

TEST_F(PictureLoaderTest, TakesTheSource) {
  const FramePicture picture = PictureLoader(results_).Load(frame_);
  EXPECT_EQ(picture.origin, PictureOrigin::kSource);
  EXPECT_EQ(picture.pixels.size(), cv::Size(40, 20));
  EXPECT_EQ(picture.pixels.at<cv::Vec3b>(5, 5), cv::Vec3b(0, 0, 255));
}

TEST_F(PictureLoaderTest, TakesTheOverlayWhereTheSourceIsGone) {
  frame_.source = folder_ / "gone.png";
  const FramePicture picture = PictureLoader(results_).Load(frame_);
  EXPECT_EQ(picture.origin, PictureOrigin::kOverlay);
  EXPECT_EQ(picture.pixels.at<cv::Vec3b>(5, 5), cv::Vec3b(0, 255, 0));
}

TEST_F(PictureLoaderTest, TakesTheOverlayWhereTheSourceIsAnotherPictureByNow) {
  frame_.image_size = cv::Size(40, 20);
  EXPECT_EQ(PictureLoader(results_).Load(frame_).origin, PictureOrigin::kSource);
  frame_.image_size = cv::Size(20, 40);
  EXPECT_EQ(PictureLoader(results_).Load(frame_).origin, PictureOrigin::kOverlay);
}

TEST_F(PictureLoaderTest, HasNothingWhereBothAreGone) {
  frame_.source = folder_ / "gone.png";
  frame_.overlay = "gone.overlay.png";
  EXPECT_EQ(PictureLoader(results_).Load(frame_).origin, PictureOrigin::kNone);
  frame_.overlay = "";
  EXPECT_EQ(PictureLoader(results_).Load(frame_).origin, PictureOrigin::kNone);
}

TEST_F(PictureLoaderTest, TakesNoOverlayOutsideOfTheResults) {
  frame_.source = folder_ / "gone.png";
  frame_.overlay = "../source.png";
  EXPECT_EQ(PictureLoader(results_).Load(frame_).origin, PictureOrigin::kNone);
}

TEST_F(PictureLoaderTest, TakesFramesOutOfAVideo) {
  const std::string path = folder_ / "video.avi";
  cv::VideoWriter writer(path, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10.0, {64, 48});
  ASSERT_TRUE(writer.isOpened());
  for (int i = 0; i < 6; ++i) writer.write(Plain(64, 48, {40.0 * i, 100, 200}));
  writer.release();
  PictureLoader loader(results_);
  frame_.source = path;
  for (const int number : {0, 1, 4, 4, 2}) {
    frame_.frame = number;
    const FramePicture picture = loader.Load(frame_);
    ASSERT_EQ(picture.origin, PictureOrigin::kSource) << number;
    EXPECT_TRUE(IsNearly(picture.pixels.at<cv::Vec3b>(20, 20), {40.0 * number, 100, 200}));
  }
  frame_.frame = 6;
  EXPECT_EQ(loader.Load(frame_).origin, PictureOrigin::kOverlay);
  frame_.source = folder_.Write("text.avi", "no video");
  frame_.frame = 0;
  EXPECT_EQ(loader.Load(frame_).origin, PictureOrigin::kOverlay);
}

TEST(EncodePicture, KeepsSizeAndColoursUpToTheWidth) {
  const cv::Mat picture = Decoded(EncodePicture(test::Plain({64, 48}, {10, 200, 100}), 64));
  ASSERT_EQ(picture.size(), cv::Size(64, 48));
  EXPECT_TRUE(IsNearly(picture.at<cv::Vec3b>(20, 20), {10, 200, 100}));
}

TEST(EncodePicture, ShrinksAWiderOneInProportion) {
  EXPECT_EQ(Decoded(EncodePicture(test::Plain({1920, 1080}, test::kRedPixel), 1600)).size(),
            cv::Size(1600, 900));
  EXPECT_EQ(Decoded(EncodePicture(test::Plain({5000, 1}, test::kRedPixel), 64)).size(),
            cv::Size(64, 1));
}

TEST(EncodeThumbnail, BoundsBothSides) {
  EXPECT_EQ(Decoded(EncodeThumbnail(test::Plain({1920, 1080}, test::kRedPixel))).size(),
            cv::Size(320, 180));
  EXPECT_EQ(Decoded(EncodeThumbnail(test::Plain({500, 1000}, test::kRedPixel))).size(),
            cv::Size(160, 320));
  EXPECT_EQ(Decoded(EncodeThumbnail(test::Plain({30, 20}, test::kRedPixel))).size(),
            cv::Size(30, 20));
}

TEST(EncodeCrop, ShowsTheBoxWithAMargin) {
  cv::Mat picture = test::Plain({400, 300}, test::kGreenPixel);
  picture(cv::Rect(100, 50, 100, 100)).setTo(test::kRedPixel);
  const cv::Mat crop = Decoded(EncodeCrop(picture, {100.0F, 50.0F, 200.0F, 150.0F}));
  ASSERT_EQ(crop.size(), cv::Size(140, 140));
  EXPECT_TRUE(IsNearly(crop.at<cv::Vec3b>(70, 70), test::kRedPixel));
  EXPECT_TRUE(IsNearly(crop.at<cv::Vec3b>(5, 5), test::kGreenPixel));
}

TEST(EncodeCrop, EndsAtThePicturesEdge) {
  const cv::Mat picture = test::Plain({400, 300}, test::kGreenPixel);
  EXPECT_EQ(Decoded(EncodeCrop(picture, {-50.0F, -50.0F, 50.0F, 50.0F})).size(), cv::Size(70, 70));
  EXPECT_EQ(Decoded(EncodeCrop(picture, {350.0F, 260.0F, 450.0F, 360.0F})).size(),
            cv::Size(70, 60));
  EXPECT_EQ(Decoded(EncodeCrop(picture, {-1e30F, -1e30F, 1e30F, 1e30F})).size(),
            cv::Size(300, 225));
}

TEST(EncodeCrop, IsEmptyForABoxOutside) {
  const cv::Mat picture = test::Plain({400, 300}, test::kGreenPixel);
  EXPECT_EQ(EncodeCrop(picture, {500.0F, 50.0F, 600.0F, 150.0F}), "");
  EXPECT_EQ(EncodeCrop(picture, {50.0F, 50.0F, 50.0F, 50.0F}), "");
}

}  // namespace
}  // namespace dirty_seg
