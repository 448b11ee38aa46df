// PreProcessFece: one crop to the classifier's input tensor.
#include <opencv2/imgproc.hpp>
#include <utility>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

constexpr std::size_t kPlane = 224 * 224;
constexpr std::size_t kBytes = 602112;  // 3 planes of 224 x 224 floats
constexpr std::uint8_t kUntouched = 0xEE;

// The formulas of the three planes, red, green, blue.
float Red(int byte) { return (static_cast<float>(byte) / 255.0F - 0.485F) / 0.229F; }
float Green(int byte) { return (static_cast<float>(byte) / 255.0F - 0.456F) / 0.224F; }
float Blue(int byte) { return (static_cast<float>(byte) / 255.0F - 0.406F) / 0.225F; }

class PreProcessFece : public DetectorTest {
 protected:
  PreProcessFece() : input(Buffer(kBytes, kUntouched)) {}

  // The tensor of a crop that is taken.
  std::vector<float> Tensor(const cv::Mat& crop) {
    EXPECT_TRUE(detector.PreProcessFece(crop, input));
    EXPECT_EQ(log.GetLines(), Lines{});
    return FloatsOf(input);
  }

  void ExpectRefused(const cv::Mat& crop, const std::string& text) {
    log.Clear();
    EXPECT_FALSE(detector.PreProcessFece(crop, input));
    EXPECT_EQ(log.GetLines(), Lines{Error("PreProcessFece", text)});
    if (input.data != nullptr) {
      EXPECT_EQ(*input.data, std::vector<std::uint8_t>(input.data->size(), kUntouched));
    }
  }

  AIBuff input;
};

void ExpectPlanes(const std::vector<float>& tensor, float red, float green, float blue) {
  ASSERT_EQ(tensor.size(), 3 * kPlane);
  for (std::size_t i = 0; i < kPlane; ++i) {
    ASSERT_EQ(tensor[i], red) << "element " << i;
    ASSERT_EQ(tensor[kPlane + i], green) << "element " << i;
    ASSERT_EQ(tensor[2 * kPlane + i], blue) << "element " << i;
  }
}

// --- Values ---

TEST_F(PreProcessFece, OnePixelFillsEveryPlane) {
  ExpectPlanes(Tensor(cv::Mat(1, 1, CV_8UC3, cv::Scalar(10, 20, 30))), Red(30), Green(20),
               Blue(10));
}

TEST_F(PreProcessFece, WhiteIsHigh) {
  const std::vector<float> tensor = Tensor(cv::Mat(9, 5, CV_8UC3, cv::Scalar::all(255)));

  EXPECT_NEAR(tensor[0], 2.2489, 5e-5);
  EXPECT_NEAR(tensor[kPlane], 2.4286, 5e-5);
  EXPECT_NEAR(tensor[2 * kPlane], 2.64, 5e-5);
}

TEST_F(PreProcessFece, BlackIsLow) {
  const std::vector<float> tensor = Tensor(cv::Mat(9, 5, CV_8UC3, cv::Scalar::all(0)));

  EXPECT_NEAR(tensor[0], -2.1179, 5e-5);
  EXPECT_NEAR(tensor[kPlane], -2.0357, 5e-5);
  EXPECT_NEAR(tensor[2 * kPlane], -1.8044, 5e-5);
}

TEST_F(PreProcessFece, RedLandsInPlaneZero) {
  ExpectPlanes(Tensor(cv::Mat(3, 3, CV_8UC3, cv::Scalar(0, 0, 255))), Red(255), Green(0), Blue(0));
}

TEST_F(PreProcessFece, EveryByteIsNormalisedToTheBit) {
  cv::Mat crop(224, 224, CV_8UC3);
  for (int x = 0; x < 224; ++x) {
    crop.col(x).setTo(cv::Scalar(x, (x + 100) % 256, 255 - x));
  }

  const std::vector<float> tensor = Tensor(crop);

  for (int y : {0, 223}) {
    for (int x = 0; x < 224; ++x) {
      const auto i = static_cast<std::size_t>(y * 224 + x);
      ASSERT_EQ(tensor[i], Red(255 - x)) << "column " << x;
      ASSERT_EQ(tensor[kPlane + i], Green((x + 100) % 256)) << "column " << x;
      ASSERT_EQ(tensor[2 * kPlane + i], Blue(x)) << "column " << x;
    }
  }
}

// --- Geometry ---

TEST_F(PreProcessFece, PlanesAreRowMajor) {
  cv::Mat crop(224, 224, CV_8UC3, cv::Scalar::all(0));
  crop.at<cv::Vec3b>(7, 9) = cv::Vec3b(1, 2, 3);

  const std::vector<float> tensor = Tensor(crop);

  const std::size_t i = 7 * 224 + 9;
  EXPECT_EQ(tensor[i], Red(3));
  EXPECT_EQ(tensor[kPlane + i], Green(2));
  EXPECT_EQ(tensor[2 * kPlane + i], Blue(1));
  EXPECT_EQ(tensor[i - 1], Red(0));
  EXPECT_EQ(tensor[i + 1], Red(0));
}

TEST_F(PreProcessFece, WideCropIsStretchedWithoutABorder) {
  // The upper row black, the lower one white, 100 columns wide: rows of one value all the way.
  cv::Mat crop(2, 100, CV_8UC3, cv::Scalar::all(0));
  crop.row(1).setTo(cv::Scalar::all(255));

  const std::vector<float> tensor = Tensor(crop);

  EXPECT_EQ(tensor[0], Red(0));
  EXPECT_EQ(tensor[223], Red(0));
  EXPECT_EQ(tensor[223 * 224], Red(255));
  EXPECT_EQ(tensor[223 * 224 + 223], Red(255));
}

TEST_F(PreProcessFece, ResizesBilinearly) {
  // From 112 columns to 224: between two columns the output lies at a quarter and three quarters.
  cv::Mat crop(224, 112, CV_8UC3, cv::Scalar::all(0));
  crop.colRange(1, 112).setTo(cv::Scalar::all(100));

  const std::vector<float> tensor = Tensor(crop);

  EXPECT_EQ(tensor[0], Red(0));
  EXPECT_EQ(tensor[1], Red(25));
  EXPECT_EQ(tensor[2], Red(75));
  EXPECT_EQ(tensor[3], Red(100));
}

TEST_F(PreProcessFece, ShrinkingBlendsTheTwoPixelsInTheMiddle) {
  // Four rows and columns to one; a mean of all four would be 50.
  cv::Mat crop(896, 896, CV_8UC3, cv::Scalar::all(0));
  for (int x = 0; x < 896; x += 4) crop.colRange(x + 1, x + 3).setTo(cv::Scalar::all(100));

  ExpectPlanes(Tensor(crop), Red(100), Green(100), Blue(100));
}

TEST_F(PreProcessFece, EqualsCvResizeToTheBit) {
  cv::RNG random(11);
  cv::Mat crop(157, 301, CV_8UC3);
  random.fill(crop, cv::RNG::UNIFORM, 0, 256);
  cv::Mat resized;
  cv::resize(crop, resized, cv::Size(224, 224), 0, 0, cv::INTER_LINEAR);

  const std::vector<float> tensor = Tensor(crop);

  for (std::size_t i = 0; i < kPlane; ++i) {
    const auto& pixel = resized.at<cv::Vec3b>(static_cast<int>(i));
    ASSERT_EQ(tensor[i], Red(pixel[2])) << "element " << i;
    ASSERT_EQ(tensor[kPlane + i], Green(pixel[1])) << "element " << i;
    ASSERT_EQ(tensor[2 * kPlane + i], Blue(pixel[0])) << "element " << i;
  }
}

TEST_F(PreProcessFece, CropIsReadAtItsRowStep) {
  cv::Mat frame(300, 300, CV_8UC3, cv::Scalar::all(200));
  const cv::Mat part = frame(cv::Rect(11, 5, 224, 224));
  frame(cv::Rect(11, 5, 224, 224)).setTo(cv::Scalar(10, 20, 30));
  ASSERT_FALSE(part.isContinuous());

  ExpectPlanes(Tensor(part), Red(30), Green(20), Blue(10));
}

TEST_F(PreProcessFece, CropIsNotWritten) {
  const cv::Mat crop(3, 3, CV_8UC3, cv::Scalar(1, 2, 3));

  Tensor(crop);

  EXPECT_TRUE(SameImage(crop, cv::Mat(3, 3, CV_8UC3, cv::Scalar(1, 2, 3))));
}

// --- The buffer ---

TEST_F(PreProcessFece, LargerBufferKeepsItsRest) {
  input = Buffer(kBytes + 8, kUntouched);

  EXPECT_TRUE(detector.PreProcessFece(cv::Mat(1, 1, CV_8UC3, cv::Scalar::all(0)), input));

  for (std::size_t i = kBytes; i < kBytes + 8; ++i) EXPECT_EQ(input.data->at(i), kUntouched);
}

TEST_F(PreProcessFece, BufferWithoutStorageIsInvalid) {
  const cv::Mat crop(3, 3, CV_8UC3, cv::Scalar::all(0));
  input = AIBuff();
  ExpectRefused(crop, "[FECE] Invalid input buffer");

  input.data = nullptr;
  ExpectRefused(crop, "[FECE] Invalid input buffer");
}

TEST_F(PreProcessFece, BufferOneByteShortIsInvalid) {
  input = Buffer(kBytes - 1, kUntouched);

  ExpectRefused(cv::Mat(3, 3, CV_8UC3, cv::Scalar::all(0)), "[FECE] Invalid input buffer");
}

TEST_F(PreProcessFece, MissingStorageIsFoundBeforeTheType) {
  input = AIBuff();

  ExpectRefused(cv::Mat(3, 3, CV_8UC1, cv::Scalar(0)), "[FECE] Invalid input buffer");
}

TEST_F(PreProcessFece, MissingStorageIsFoundBeforeTheResize) {
  // OpenCV cannot resize 32-bit integers and would throw.
  input = AIBuff();

  ExpectRefused(cv::Mat(3, 3, CV_32SC3, cv::Scalar::all(0)), "[FECE] Invalid input buffer");
}

TEST_F(PreProcessFece, TypeIsLookedAtBeforeTheBuffersLength) {
  input = Buffer(kBytes - 1, kUntouched);

  ExpectRefused(cv::Mat(3, 3, CV_8UC1, cv::Scalar(0)), "[FECE] Invalid image type: 0");
  ExpectRefused(cv::Mat(3, 3, CV_8UC4, cv::Scalar::all(0)), "[FECE] Invalid image type: 24");
}

TEST_F(PreProcessFece, ResizeComesBeforeTheBuffersLength) {
  // OpenCV cannot resize 32-bit integers.
  input = Buffer(1, kUntouched);

  EXPECT_THROW(detector.PreProcessFece(cv::Mat(3, 3, CV_32SC3, cv::Scalar::all(0)), input),
               cv::Exception);

  EXPECT_EQ(log.GetLines(), Lines{});
  EXPECT_EQ(*input.data, std::vector<std::uint8_t>{kUntouched});
}

// --- The crop ---

TEST_F(PreProcessFece, EmptyCropIsRefused) {
  ExpectRefused(cv::Mat(), "[FECE] Empty crop image");
  ExpectRefused(cv::Mat(0, 5, CV_8UC3), "[FECE] Empty crop image");
}

TEST_F(PreProcessFece, EmptyCropIsFoundBeforeTheBuffer) {
  input = AIBuff();

  ExpectRefused(cv::Mat(), "[FECE] Empty crop image");
}

using TypeAndCode = std::pair<int, int>;

class PreProcessFeceOfType : public PreProcessFece,
                             public ::testing::WithParamInterface<TypeAndCode> {};

TEST_P(PreProcessFeceOfType, IsRefusedWithItsCode) {
  ExpectRefused(cv::Mat(3, 3, GetParam().first, cv::Scalar::all(0)),
                "[FECE] Invalid image type: " + std::to_string(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Types, PreProcessFeceOfType,
                         ::testing::Values(TypeAndCode{CV_8UC1, 0}, TypeAndCode{CV_8UC4, 24},
                                           TypeAndCode{CV_32FC3, 21}, TypeAndCode{CV_16UC3, 18}),
                         [](const auto& test) { return std::to_string(test.param.second); });

TEST_F(PreProcessFece, CropOfThreeDimensionsIsLeftToOpenCv) {
  const int sizes[] = {3, 3, 3};
  EXPECT_THROW(detector.PreProcessFece(cv::Mat(3, sizes, CV_8UC3, cv::Scalar::all(0)), input),
               cv::Exception);

  EXPECT_EQ(*input.data, std::vector<std::uint8_t>(kBytes, kUntouched));
}

TEST_F(PreProcessFece, TypeIsCheckedAfterTheResize) {
  EXPECT_THROW(detector.PreProcessFece(cv::Mat(3, 3, CV_32SC3, cv::Scalar::all(0)), input),
               cv::Exception);

  EXPECT_EQ(*input.data, std::vector<std::uint8_t>(kBytes, kUntouched));
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
