// PreProcessFromSingleImageCrop: patches of the colour image to the batch tensor.
#include <climits>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

constexpr const char* kFunction = "PreProcessFromSingleImageCrop";

float Unit(int byte) { return static_cast<float>(byte) / 255.0F; }

class PatchCrop : public DetectorTest {
 protected:
  static constexpr std::size_t kSlotFloats = 3 * 8 * 8;
  static constexpr std::size_t kSlotBytes = 4 * kSlotFloats;
  static constexpr std::uint8_t kUntouched = 0xEE;

  PatchCrop() : input(Buffer(3 * kSlotBytes, kUntouched)) {}

  bool Run(const ImageMap& images, const cv::Size& size = {8, 8}) {
    return detector.PreProcessFromSingleImageCrop(images, input, size);
  }

  void ExpectSolid(std::size_t offset, std::size_t plane, const cv::Vec3b& bgr) {
    const std::vector<float> tensor = FloatsOf(input);
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t i = 0; i < plane; ++i) {
        ASSERT_EQ(tensor[offset + c * plane + i], Unit(bgr[2 - static_cast<int>(c)]))
            << "plane " << c << ", element " << i;
      }
    }
  }

  void ExpectUntouchedFrom(std::size_t byte) {
    for (std::size_t i = byte; i < input.data->size(); ++i) {
      ASSERT_EQ(input.data->at(i), kUntouched) << "byte " << i;
    }
  }

  std::vector<std::string> CropNames() const {
    std::vector<std::string> names;
    for (const auto& [name, crop] : detector.crop_images_) names.push_back(name);
    return names;
  }

  static Line Called() {
    return Debug(kFunction, "----------PreProcessFromSingleImageCrop()----------");
  }
  static Line Using(int count) {
    return Info(kFunction, "Using predefined patches, count: " + std::to_string(count));
  }
  static Line Total(int count) { return Info(kFunction, "Total crops: " + std::to_string(count)); }

  AIBuff input;
};

// --- The colour image ---

TEST_F(PatchCrop, MissingNullOrEmptyColorImageIsInvalid) {
  detector.patches_ = {{0, 0, 8, 8}};
  const ImageMap unusable[] = {{},
                               {{"depth", ColorImage(8, 8)}},
                               {{"color_left", ColorImage(8, 8)}},
                               {{"color", nullptr}},
                               ColorOnly(std::make_shared<cv::Mat>())};
  for (const ImageMap& images : unusable) {
    log.Clear();
    EXPECT_FALSE(Run(images));
    EXPECT_EQ(log.GetLines(), (Lines{Called(), Error(kFunction, "Invalid input image")}));
  }
  ExpectUntouchedFrom(0);
}

TEST_F(PatchCrop, WithoutAColorImageTheEarlierCropsStay) {
  detector.patches_ = {{0, 0, 8, 8}};
  ASSERT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  EXPECT_FALSE(Run({{"depth", ColorImage(8, 8)}}));

  EXPECT_EQ(CropNames(), std::vector<std::string>{"crop_0"});
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PatchCrop, ImageIsLookedAtBeforeThePatches) {
  detector.patches_.clear();
  detector.crop_images_["crop_0"] = cv::Mat(1, 1, CV_8UC3);

  EXPECT_FALSE(Run({}));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Error(kFunction, "Invalid input image")}));
  EXPECT_EQ(CropNames(), std::vector<std::string>{"crop_0"});
}

TEST_F(PatchCrop, OnlyTheColorImageIsRead) {
  detector.patches_ = {{0, 0, 8, 8}};

  EXPECT_TRUE(Run({{"a", nullptr},
                   {"color", ColorImage(8, 8, {1, 2, 3})},
                   {"depth", ColorImage(8, 8, {9, 9, 9})}}));

  EXPECT_EQ(CropNames(), std::vector<std::string>{"crop_0"});
  ExpectSolid(0, 64, {1, 2, 3});
  ExpectUntouchedFrom(kSlotBytes);
}

// --- Counting ---

TEST_F(PatchCrop, LogsTheNumberOfPatchesAndOfCrops) {
  detector.patches_ = {{0, 0, 8, 8}, {100, 100, 8, 8}, {0, 0, 4, 4}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(3), Total(2)}));
}

TEST_F(PatchCrop, NoPatchesAreAFailureThatEmptiesTheCrops) {
  detector.crop_images_["crop_0"] = cv::Mat(1, 1, CV_8UC3);

  EXPECT_FALSE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Total(0)}));
  EXPECT_TRUE(detector.crop_images_.empty());
  ExpectUntouchedFrom(0);
}

TEST_F(PatchCrop, PatchesThatAreAllClippedAwayAreAFailure) {
  detector.patches_ = {{8, 0, 8, 8}, {0, 8, 8, 8}};
  detector.crop_images_["crop_0"] = cv::Mat(1, 1, CV_8UC3);

  EXPECT_FALSE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(2), Total(0)}));
  EXPECT_TRUE(detector.crop_images_.empty());
}

TEST_F(PatchCrop, NumbersAreDecimalWithoutLeadingZeros) {
  detector.patches_.assign(11, {0, 0, 8, 8});
  input = Buffer(11 * kSlotBytes);

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(CropNames(),
            (std::vector<std::string>{"crop_0", "crop_1", "crop_10", "crop_2", "crop_3", "crop_4",
                                      "crop_5", "crop_6", "crop_7", "crop_8", "crop_9"}));
}

TEST_F(PatchCrop, FortyPatchesAreFortyCrops) {
  detector.patches_.assign(40, {0, 0, 8, 8});
  input = Buffer(40 * kSlotBytes);

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  EXPECT_EQ(detector.crop_images_.size(), 40U);
  ExpectSolid(39 * kSlotFloats, 64, {1, 2, 3});
}

TEST_F(PatchCrop, SecondCallKeepsOnlyItsOwnCrops) {
  detector.patches_ = {{0, 0, 8, 8}, {0, 0, 4, 4}};
  ASSERT_TRUE(Run(ColorOnly(ColorImage(8, 8))));
  detector.crop_images_["other"] = cv::Mat(1, 1, CV_8UC3);
  detector.patches_.pop_back();

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {4, 5, 6}))));

  EXPECT_EQ(CropNames(), std::vector<std::string>{"crop_0"});
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {4, 5, 6})));
}

// --- Clipping ---

TEST_F(PatchCrop, SecondPatchOfAFullFrameIsClippedScaledAndSquared) {
  detector.patches_ = {{0, 0, 640, 640}, {1600, 800, 640, 640}};
  const auto frame = ColorImage(1080, 1920, {1, 2, 3});
  (*frame)(cv::Rect(1600, 800, 320, 280)).setTo(cv::Scalar(10, 20, 30));
  input = Buffer(2 * 640 * 640 * 3 * 4);

  EXPECT_TRUE(Run(ColorOnly(frame), {640, 640}));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(640, 640, {1, 2, 3})));
  cv::Mat second(640, 640, CV_8UC3, cv::Scalar::all(114));
  second(cv::Rect(0, 40, 640, 560)).setTo(cv::Scalar(10, 20, 30));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_1"), second));
  const std::vector<float> tensor = FloatsOf(input);
  EXPECT_EQ(tensor[0], Unit(3));
  EXPECT_EQ(tensor[1228800], Unit(114));
  EXPECT_EQ(tensor[1228800 + 40 * 640], Unit(30));
  EXPECT_EQ(tensor[1228800 + 599 * 640 + 639], Unit(30));
  EXPECT_EQ(tensor[1228800 + 600 * 640], Unit(114));
}

TEST_F(PatchCrop, SkippedPatchTakesNoNumber) {
  detector.patches_ = {{0, 0, 4, 4}, {16, 0, 8, 8}, {0, 8, 8, 8}, {4, 0, 4, 4}};
  const auto frame = ColorImage(8, 16, {1, 1, 1});
  (*frame)(cv::Rect(4, 0, 4, 4)).setTo(cv::Scalar(2, 2, 2));

  EXPECT_TRUE(Run(ColorOnly(frame)));

  EXPECT_EQ(CropNames(), (std::vector<std::string>{"crop_0", "crop_1"}));
  ExpectSolid(0, 64, {1, 1, 1});
  ExpectSolid(kSlotFloats, 64, {2, 2, 2});
  ExpectUntouchedFrom(2 * kSlotBytes);
}

TEST_F(PatchCrop, PatchOfNoOrNegativeSizeIsSkipped) {
  detector.patches_ = {{0, 0, 0, 4}, {0, 0, 4, 0}, {2, 2, -1, 4}, {2, 2, 4, -1}, {0, 0, 1, 1}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(5), Total(1)}));
}

TEST_F(PatchCrop, OneColumnInsideIsEnough) {
  detector.patches_ = {{7, 0, 8, 8}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  // 1 x 8 with 3 grey columns on each side: one pixel short of square.
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(7, 8));
  EXPECT_EQ(detector.crop_images_.at("crop_0").at<cv::Vec3b>(0, 3), cv::Vec3b(1, 2, 3));
}

TEST_F(PatchCrop, FarEdgeBeyondTheLargestIntIsClipped) {
  detector.patches_ = {{4, 4, INT_MAX, INT_MAX}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PatchCrop, OriginBeyondEveryImageIsSkipped) {
  detector.patches_ = {{INT_MAX, INT_MAX, INT_MAX, INT_MAX}};

  EXPECT_FALSE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(1), Total(0)}));
}

TEST_F(PatchCrop, ImageLargerThanTheFrameIsCutToItsOwnEdges) {
  detector.patches_ = {{1992, 1192, 640, 640}};
  const auto image = ColorImage(1200, 2000, {9, 9, 9});
  (*image)(cv::Rect(1992, 1192, 8, 8)).setTo(cv::Scalar(1, 2, 3));

  EXPECT_TRUE(Run(ColorOnly(image)));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PatchCrop, NegativeOriginIsLeftToOpenCv) {
  detector.patches_ = {{0, 0, 8, 8}, {-1, 0, 8, 8}};

  EXPECT_THROW(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))), cv::Exception);

  EXPECT_EQ(CropNames(), std::vector<std::string>{"crop_0"});
  ExpectSolid(0, 64, {1, 2, 3});
  ExpectUntouchedFrom(kSlotBytes);
}

TEST_F(PatchCrop, SideThatVanishesIsLeftToOpenCv) {
  detector.patches_ = {{0, 0, 100, 1}};  // 1 row times 8 / 100 is less than one
  EXPECT_THROW(Run(ColorOnly(ColorImage(100, 100))), cv::Exception);
  detector.patches_ = {{0, 0, 1, 100}};
  EXPECT_THROW(Run(ColorOnly(ColorImage(100, 100))), cv::Exception);

  ExpectUntouchedFrom(0);
}

TEST_F(PatchCrop, SideOfOnePixelIsScaledLikeOthers) {
  detector.patches_ = {{0, 0, 16, 2}, {0, 0, 2, 16}};  // 2 times 8 / 16 is one
  ASSERT_TRUE(Run(ColorOnly(ColorImage(16, 16, {1, 2, 3}))));

  for (const auto& [name, crop] : detector.crop_images_) {
    EXPECT_EQ(crop.at<cv::Vec3b>(3, 3), cv::Vec3b(1, 2, 3)) << name;
    EXPECT_EQ(crop.at<cv::Vec3b>(0, 0), cv::Vec3b(114, 114, 114)) << name;
  }
}

TEST_F(PatchCrop, PatchesAreLeftUnchanged) {
  detector.patches_ = {{4, 4, 100, 100}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(detector.patches_, (std::vector<cv::Rect>{{4, 4, 100, 100}}));
}

// --- Scaling and packing ---

TEST_F(PatchCrop, ScalesToTheNearestNeighbour) {
  detector.patches_ = {{0, 0, 4, 4}};
  const auto frame = ColorImage(4, 4);
  frame->colRange(2, 4).setTo(cv::Scalar::all(100));

  EXPECT_TRUE(Run(ColorOnly(frame)));

  const cv::Mat square = detector.crop_images_.at("crop_0");
  const std::vector<int> expected{0, 0, 0, 0, 100, 100, 100, 100};
  for (int x = 0; x < 8; ++x) {
    EXPECT_EQ(square.at<cv::Vec3b>(3, x)[0], expected[static_cast<std::size_t>(x)]) << x;
  }
}

TEST_F(PatchCrop, LongerSideOfTheNetworkGoverns) {
  detector.patches_ = {{0, 0, 4, 4}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(4, 4)), {4, 8}));
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(8, 8));

  EXPECT_TRUE(Run(ColorOnly(ColorImage(4, 4)), {8, 4}));
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(8, 8));
}

TEST_F(PatchCrop, LongerSideOfTheClippedPatchGoverns) {
  // 16 x 2 at first, 4 x 2 after clipping: the scale is 8 / 4.
  detector.patches_ = {{4, 0, 16, 2}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  cv::Mat expected(8, 8, CV_8UC3, cv::Scalar::all(114));
  expected(cv::Rect(0, 2, 8, 4)).setTo(cv::Scalar(1, 2, 3));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), expected));
}

TEST_F(PatchCrop, TallPatchGetsGreyColumns) {
  detector.patches_ = {{0, 0, 2, 4}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  cv::Mat expected(8, 8, CV_8UC3, cv::Scalar::all(114));
  expected(cv::Rect(2, 0, 4, 8)).setTo(cv::Scalar(1, 2, 3));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), expected));
}

TEST_F(PatchCrop, FloatScaleCanComeOutOnePixelShort) {
  // The float product 41 * (8 / 41) is below 8, and is truncated.
  detector.patches_ = {{0, 0, 41, 41}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(41, 41, {51, 51, 51}))));

  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(7, 7));
  ExpectSolid(0, 49, {51, 51, 51});
  ExpectUntouchedFrom(4 * 3 * 49);
}

TEST_F(PatchCrop, SlotIsCountedInLengthsOfTheCropItself) {
  // The second crop is 8 x 7: its slot starts at 168 floats, inside the first one's 192.
  detector.patches_ = {{0, 0, 8, 8}, {0, 0, 8, 7}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {51, 51, 51}))));

  ExpectSolid(168, 56, {51, 51, 51});
  ExpectUntouchedFrom(4 * (168 + 3 * 56));
}

TEST_F(PatchCrop, CropDoesNotShareTheFramesMemory) {
  detector.patches_ = {{0, 0, 8, 8}};
  const auto frame = ColorImage(8, 8, {1, 2, 3});
  ASSERT_TRUE(Run(ColorOnly(frame)));

  frame->setTo(cv::Scalar::all(0));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PatchCrop, FrameWithPaddedRowsIsReadAtItsStep) {
  detector.patches_ = {{0, 0, 8, 8}};
  cv::Mat wide(8, 13, CV_8UC3, cv::Scalar::all(200));
  wide(cv::Rect(2, 0, 8, 8)).setTo(cv::Scalar(51, 102, 153));

  EXPECT_TRUE(Run(ColorOnly(std::make_shared<cv::Mat>(wide(cv::Rect(2, 0, 8, 8))))));

  ExpectSolid(0, 64, {51, 102, 153});
}

TEST_F(PatchCrop, RefusedTypeIsStillCounted) {
  detector.patches_ = {{0, 0, 8, 8}, {0, 0, 8, 8}};
  const auto grey = std::make_shared<cv::Mat>(8, 8, CV_8UC1, cv::Scalar(9));

  EXPECT_TRUE(Run(ColorOnly(grey)));

  const Line refused = Error("PopulateData", "Invalid data");
  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(2), refused, refused, Total(2)}));
  EXPECT_EQ(CropNames(), (std::vector<std::string>{"crop_0", "crop_1"}));
  ExpectUntouchedFrom(0);
}

TEST_F(PatchCrop, RefusedTypeIsScaledToTheNearestNeighbourToo) {
  detector.patches_ = {{0, 0, 4, 2}};
  const auto grey = std::make_shared<cv::Mat>(4, 4, CV_8UC1, cv::Scalar(0));
  grey->colRange(2, 4).setTo(cv::Scalar(100));

  EXPECT_TRUE(Run(ColorOnly(grey)));

  cv::Mat expected(8, 8, CV_8UC1, cv::Scalar(114));
  expected(cv::Rect(0, 2, 4, 4)).setTo(cv::Scalar(0));
  expected(cv::Rect(4, 2, 4, 4)).setTo(cv::Scalar(100));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), expected));
}

TEST_F(PatchCrop, RefusedTypeTakesTheSamePixels) {
  detector.patches_ = {{0, 0, 37, 23}};
  const auto grey = std::make_shared<cv::Mat>(23, 37, CV_8UC1);
  cv::RNG random(7);
  random.fill(*grey, cv::RNG::UNIFORM, 0, 256);
  const auto color = ColorImage(23, 37);
  cv::insertChannel(*grey, *color, 1);
  input = Buffer(3 * 64 * 64 * 4);

  EXPECT_TRUE(Run(ColorOnly(color), {64, 64}));
  cv::Mat green;
  cv::extractChannel(detector.crop_images_.at("crop_0"), green, 1);
  EXPECT_TRUE(Run(ColorOnly(grey), {64, 64}));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), green));
}

TEST_F(PatchCrop, RefusedTypeIsScaledLikeCvResizeWhateverItsSize) {
  detector.patches_ = {{0, 0, 400, 400}};
  const auto depth = std::make_shared<cv::Mat>(400, 400, CV_16UC2);
  cv::RNG random(7);
  random.fill(*depth, cv::RNG::UNIFORM, 0, 65536);

  EXPECT_TRUE(Run(ColorOnly(depth), {640, 640}));

  cv::Mat expected;
  cv::resize(*depth, expected, {640, 640}, 0, 0, cv::INTER_NEAREST);
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), expected));
}

// It has neither columns nor rows, so that every patch lies outside of it.
TEST_F(PatchCrop, ColorImageOfThreeDimensionsHasNoPatches) {
  detector.patches_ = {{0, 0, 8, 8}};
  const int sizes[] = {8, 8, 8};

  EXPECT_FALSE(Run(ColorOnly(std::make_shared<cv::Mat>(3, sizes, CV_8UC3, cv::Scalar::all(0)))));

  EXPECT_EQ(log.GetLines(), (Lines{Called(), Using(1), Total(0)}));
  ExpectUntouchedFrom(0);
}

// --- From frame to frame ---

TEST_F(PatchCrop, NothingOfTheLastFrameShowsInTheBorder) {
  detector.patches_ = {{0, 0, 8, 8}};
  ASSERT_TRUE(Run(ColorOnly(ColorImage(8, 8, {255, 255, 255}))));

  EXPECT_TRUE(Run(ColorOnly(ColorImage(4, 8, {1, 2, 3}))));

  cv::Mat wide(8, 8, CV_8UC3, cv::Scalar::all(114));
  wide(cv::Rect(0, 2, 8, 4)).setTo(cv::Scalar(1, 2, 3));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), wide));

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 4, {4, 5, 6}))));

  cv::Mat tall(8, 8, CV_8UC3, cv::Scalar::all(114));
  tall(cv::Rect(2, 0, 4, 8)).setTo(cv::Scalar(4, 5, 6));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), tall));
}

TEST_F(PatchCrop, SizeAndTypeFollowTheFrame) {
  detector.patches_ = {{0, 0, 8, 8}};
  ASSERT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_TRUE(Run(ColorOnly(ColorImage(7, 8))));
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(8, 7));

  EXPECT_TRUE(Run(ColorOnly(std::make_shared<cv::Mat>(8, 8, CV_8UC1, cv::Scalar(0)))));
  EXPECT_EQ(detector.crop_images_.at("crop_0").type(), CV_8UC1);

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PatchCrop, CropInUseIsNotOverwritten) {
  detector.patches_ = {{0, 0, 8, 8}};
  ASSERT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));
  const cv::Mat held = detector.crop_images_.at("crop_0");

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {4, 5, 6}))));

  EXPECT_TRUE(SameImage(held, *ColorImage(8, 8, {1, 2, 3})));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("crop_0"), *ColorImage(8, 8, {4, 5, 6})));
}

TEST_F(PatchCrop, CropsOfTheWholeImagePathAreNotWrittenThrough) {
  // PreProcess stores under the stream's name, which may be that of a crop.
  detector.patches_ = {{0, 0, 8, 8}};
  const auto frame = ColorImage(8, 8, {1, 2, 3});
  detector.crop_images_["crop_0"] = *frame;

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {4, 5, 6}))));

  EXPECT_TRUE(SameImage(*frame, *ColorImage(8, 8, {1, 2, 3})));
}

// --- Buffers that are too small ---

TEST_F(PatchCrop, BufferOfExactlyTheRightSizeIsFilled) {
  detector.patches_ = {{0, 0, 8, 8}, {0, 0, 8, 8}};
  input = Buffer(2 * kSlotBytes, kUntouched);

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  ExpectSolid(kSlotFloats, 64, {1, 2, 3});
}

TEST_F(PatchCrop, CropThatWouldNotFitIsNotWrittenAndEndsTheCall) {
  detector.patches_ = {{0, 0, 8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8}};
  input = Buffer(2 * kSlotBytes - 1, kUntouched);

  EXPECT_FALSE(Run(ColorOnly(ColorImage(8, 8, {1, 2, 3}))));

  EXPECT_EQ(
      log.GetLines(),
      (Lines{Called(), Using(3),
             Error(kFunction, "Input buffer too small: 1536 bytes needed, 1535 bytes available")}));
  ExpectSolid(0, 64, {1, 2, 3});
  ExpectUntouchedFrom(kSlotBytes);
}

TEST_F(PatchCrop, BufferWithoutStorageTakesNothing) {
  detector.patches_ = {{0, 0, 8, 8}};
  input.data = nullptr;

  EXPECT_FALSE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines().back(),
            Error(kFunction, "Input buffer too small: 768 bytes needed, 0 bytes available"));
}

TEST_F(PatchCrop, RefusedTypeIsNoOverflow) {
  detector.patches_ = {{0, 0, 8, 8}};
  input = Buffer(1, kUntouched);
  const auto grey = std::make_shared<cv::Mat>(8, 8, CV_8UC1, cv::Scalar(9));

  EXPECT_TRUE(Run(ColorOnly(grey)));

  EXPECT_EQ(log.GetLines(),
            (Lines{Called(), Using(1), Error("PopulateData", "Invalid data"), Total(1)}));
}

TEST_F(PatchCrop, AsksNothingOfTheEngine) {
  detector.patches_ = {{0, 0, 8, 8}};

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_TRUE(scripted_engine::Calls().empty());
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
