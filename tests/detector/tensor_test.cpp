// PopulateData and PreProcess: pixels to planar floats, whole images.
#include <opencv2/core/parallel/parallel_backend.hpp>
#include <opencv2/imgproc.hpp>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

// Value of a byte in the tensor.
float Unit(int byte) { return static_cast<float>(byte) / 255.0F; }

constexpr float kUntouched = -7.0F;

// --- PopulateData ---

class PopulateData : public DetectorTest {
 protected:
  // The tensor of an image, `floats` long, and the number of bytes reported.
  std::vector<float> Tensor(const cv::Mat& image, std::size_t floats) {
    std::vector<float> tensor(floats, kUntouched);
    bytes = detector.PopulateData(image, tensor.data());
    return tensor;
  }

  std::size_t bytes = 99;
};

TEST_F(PopulateData, BlueGreenRedBecomesRedGreenBlue) {
  const cv::Mat image(1, 1, CV_8UC3, cv::Scalar(0, 128, 255));

  EXPECT_EQ(Tensor(image, 3), (std::vector<float>{1.0F, 128.0F / 255.0F, 0.0F}));
}

TEST_F(PopulateData, PlanesAreRowMajorOneAfterAnother) {
  const cv::Mat image = (cv::Mat_<cv::Vec3b>(2, 2) << cv::Vec3b(1, 2, 3), cv::Vec3b(4, 5, 6),
                         cv::Vec3b(7, 8, 9), cv::Vec3b(10, 11, 12));

  EXPECT_EQ(Tensor(image, 12),
            (std::vector<float>{Unit(3), Unit(6), Unit(9), Unit(12), Unit(2), Unit(5), Unit(8),
                                Unit(11), Unit(1), Unit(4), Unit(7), Unit(10)}));
}

TEST_F(PopulateData, ReturnsTheBytesWritten) {
  const std::vector<float> tensor = Tensor(cv::Mat(5, 7, CV_8UC3, cv::Scalar::all(255)), 106);

  EXPECT_EQ(bytes, 5U * 7U * 3U * 4U);
  EXPECT_EQ(tensor[104], 1.0F);
  EXPECT_EQ(tensor[105], kUntouched);
}

TEST_F(PopulateData, DividesEveryByteBy255) {
  cv::Mat image(1, 256, CV_8UC3);
  for (int byte = 0; byte < 256; ++byte) image.col(byte).setTo(cv::Scalar::all(byte));

  const std::vector<float> tensor = Tensor(image, 3 * 256);

  for (std::size_t i = 0; i < tensor.size(); ++i) {
    ASSERT_EQ(tensor[i], Unit(static_cast<int>(i % 256))) << "element " << i;
  }
}

TEST_F(PopulateData, RowsAreReadAtTheImagesStep) {
  cv::Mat frame(4, 40, CV_8UC3, cv::Scalar(255, 255, 255));
  cv::Mat part = frame(cv::Rect(3, 1, 20, 2));
  part.row(0).setTo(cv::Scalar(51, 102, 153));
  part.row(1).setTo(cv::Scalar(0, 204, 51));
  ASSERT_FALSE(part.isContinuous());

  const std::vector<float> tensor = Tensor(part, 120);

  for (std::size_t x = 0; x < 20; ++x) {
    ASSERT_EQ(tensor[x], 0.6F);
    ASSERT_EQ(tensor[20 + x], 0.2F);
    ASSERT_EQ(tensor[40 + x], 0.4F);
    ASSERT_EQ(tensor[60 + x], 0.8F);
    ASSERT_EQ(tensor[80 + x], 0.2F);
    ASSERT_EQ(tensor[100 + x], 0.0F);
  }
}

TEST_F(PopulateData, AcceptedImageLogsNothing) {
  Tensor(cv::Mat(2, 2, CV_8UC3), 12);

  EXPECT_EQ(log.GetLines(), Lines{});
}

TEST_F(PopulateData, ImageWithoutPixelsWritesNothing) {
  EXPECT_EQ(Tensor(cv::Mat(0, 5, CV_8UC3), 1), std::vector<float>{kUntouched});

  EXPECT_EQ(bytes, 0U);
  EXPECT_EQ(log.GetLines(), Lines{});
}

class PopulateDataOfType : public PopulateData, public ::testing::WithParamInterface<int> {};

TEST_P(PopulateDataOfType, IsRefused) {
  const cv::Mat image(2, 2, GetParam(), cv::Scalar::all(1));

  EXPECT_EQ(Tensor(image, 12), std::vector<float>(12, kUntouched));

  EXPECT_EQ(bytes, 0U);
  EXPECT_EQ(log.GetLines(), Lines{Error("PopulateData", "Invalid data")});
}

INSTANTIATE_TEST_SUITE_P(Types, PopulateDataOfType,
                         ::testing::Values(CV_8UC1, CV_8UC2, CV_8UC4, CV_8SC3, CV_16UC1, CV_16UC3,
                                           CV_16SC3, CV_32FC3));

TEST_F(PopulateData, EmptyImageOfNoTypeIsRefused) {
  EXPECT_EQ(Tensor(cv::Mat(), 1), std::vector<float>{kUntouched});

  EXPECT_EQ(bytes, 0U);
  EXPECT_EQ(log.GetLines(), Lines{Error("PopulateData", "Invalid data")});
}

TEST_F(PopulateData, VolumeIsNoImage) {
  const int sizes[] = {2, 2, 2};
  EXPECT_EQ(Tensor(cv::Mat(3, sizes, CV_8UC3, cv::Scalar::all(0)), 24),
            std::vector<float>(24, kUntouched));

  EXPECT_EQ(bytes, 0U);
  EXPECT_EQ(log.GetLines(), Lines{Error("PopulateData", "Invalid data")});
}

// --- PreProcess ---

class PreProcess : public DetectorTest {
 protected:
  static constexpr std::size_t kSquare8Floats = 3 * 8 * 8;
  static constexpr std::size_t kSquare8Bytes = 4 * kSquare8Floats;

  PreProcess() : input(Buffer(3 * kSquare8Bytes, 0xEE)) {}

  bool Run(const ImageMap& images, const cv::Size& size = {8, 8}) {
    return detector.PreProcess(images, input, size);
  }

  // Whether `floats` values from `offset` on are a solid colour's three planes.
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
      ASSERT_EQ(input.data->at(i), 0xEE) << "byte " << i;
    }
  }

  AIBuff input;
  const Line called = Debug("PreProcess", "----------PreProcessImage() is called----------");
};

TEST_F(PreProcess, LogsItsCallAtDebugLevel) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), Lines{called});
}

// Counts the loops that OpenCV shares out among threads, and runs them on the caller's.
class SharedLoops : public cv::parallel::ParallelForAPI {
 public:
  int getThreadNum() const override { return 0; }
  int getNumThreads() const override { return 2; }
  int setNumThreads(int /*count*/) override { return 2; }
  const char* getName() const override { return "counted"; }
  void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
    ++count;
    body(0, tasks, data);
  }

  int count = 0;
};

// OpenCV itself would share a resize of this size out among threads of its own.
TEST_F(PreProcess, SharesNoLoopOutAmongThreads) {
  const ImageMap images{{"color", ColorImage(1080, 1920)},
                        {"grey", std::make_shared<cv::Mat>(1080, 1920, CV_8UC1, cv::Scalar(0))}};
  input = Buffer(sizeof(float) * 3 * 1280 * 1280);
  const auto loops = std::make_shared<SharedLoops>();
  cv::parallel::setParallelForBackend(loops, false);

  EXPECT_TRUE(Run(images, {1280, 1280}));
  EXPECT_EQ(loops->count, 0);

  cv::Mat resized;
  cv::resize(*images.at("color"), resized, {1280, 720});
  EXPECT_GT(loops->count, 0) << "the counter is not asked";
  cv::parallel::setParallelForBackend(std::shared_ptr<cv::parallel::ParallelForAPI>(), false);
}

TEST_F(PreProcess, NoImagesAreNoFailure) {
  EXPECT_TRUE(Run({}));

  EXPECT_EQ(log.GetLines(), Lines{called});
  ExpectUntouchedFrom(0);
}

TEST_F(PreProcess, EveryKeyThatContainsDepthIsSkipped) {
  const auto image = ColorImage(8, 8);

  EXPECT_TRUE(
      Run({{"depth", image}, {"left_depth", image}, {"depth_2", image}, {"xdepthx", image}}));

  EXPECT_TRUE(detector.crop_images_.empty());
  ExpectUntouchedFrom(0);
}

TEST_F(PreProcess, SkippedImagesMayBeNull) { EXPECT_TRUE(Run({{"depth", nullptr}})); }

TEST_F(PreProcess, SkippedImagesTakeNoSlot) {
  EXPECT_TRUE(Run({{"a_depth", ColorImage(8, 8)}, {"color", ColorImage(8, 8, {51, 102, 153})}}));

  ExpectSolid(0, 64, {51, 102, 153});
  ExpectUntouchedFrom(kSquare8Bytes);
}

TEST_F(PreProcess, DepthIsMatchedByCase) {
  EXPECT_TRUE(Run({{"Depth", ColorImage(8, 8, {1, 2, 3})}}));

  ExpectSolid(0, 64, {1, 2, 3});
}

TEST_F(PreProcess, FullFrameBecomes640By360InTheMiddleOfASquare) {
  input = Buffer(640 * 640 * 3 * 4);

  EXPECT_TRUE(Run(ColorOnly(ColorImage(1080, 1920, {10, 20, 30})), {640, 640}));

  cv::Mat expected(640, 640, CV_8UC3, cv::Scalar::all(114));
  expected(cv::Rect(0, 140, 640, 360)).setTo(cv::Scalar(10, 20, 30));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("color"), expected));
  const std::vector<float> tensor = FloatsOf(input);
  EXPECT_EQ(tensor[139 * 640 + 639], Unit(114));
  EXPECT_EQ(tensor[140 * 640], Unit(30));
  EXPECT_EQ(tensor[409600 + 140 * 640], Unit(20));
  EXPECT_EQ(tensor[819200 + 499 * 640 + 639], Unit(10));
  EXPECT_EQ(tensor[819200 + 500 * 640], Unit(114));
}

TEST_F(PreProcess, LongerSideOfTheNetworkGoverns) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(4, 4)), {4, 8}));
  EXPECT_EQ(detector.crop_images_.at("color").size(), cv::Size(8, 8));

  EXPECT_TRUE(Run(ColorOnly(ColorImage(4, 4)), {8, 4}));
  EXPECT_EQ(detector.crop_images_.at("color").size(), cv::Size(8, 8));
}

TEST_F(PreProcess, LongerSideOfTheImageGoverns) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(16, 8, {9, 9, 9}))));

  // 4 columns and 8 rows, 2 grey columns on each side.
  const cv::Mat square = detector.crop_images_.at("color");
  ASSERT_EQ(square.size(), cv::Size(8, 8));
  EXPECT_EQ(square.at<cv::Vec3b>(0, 1), cv::Vec3b::all(114));
  EXPECT_EQ(square.at<cv::Vec3b>(0, 2), cv::Vec3b::all(9));
  EXPECT_EQ(square.at<cv::Vec3b>(7, 5), cv::Vec3b::all(9));
  EXPECT_EQ(square.at<cv::Vec3b>(7, 6), cv::Vec3b::all(114));
}

TEST_F(PreProcess, ScalesBilinearly) {
  const auto image = std::make_shared<cv::Mat>(4, 4, CV_8UC3, cv::Scalar::all(0));
  image->colRange(2, 4).setTo(cv::Scalar::all(100));

  EXPECT_TRUE(Run(ColorOnly(image)));

  // Between columns 1 and 2 the output lies at a quarter and at three quarters.
  const cv::Mat square = detector.crop_images_.at("color");
  const std::vector<int> expected{0, 0, 0, 25, 75, 100, 100, 100};
  for (int x = 0; x < 8; ++x) {
    EXPECT_EQ(square.at<cv::Vec3b>(3, x)[0], expected[static_cast<std::size_t>(x)]) << x;
  }
}

TEST_F(PreProcess, ShrinkingBlendsTheTwoPixelsInTheMiddle) {
  // Four rows and columns to one; a mean of all four would be 50.
  const auto image = ColorImage(32, 32);
  for (int x = 0; x < 32; x += 4) image->colRange(x + 1, x + 3).setTo(cv::Scalar::all(100));

  EXPECT_TRUE(Run(ColorOnly(image)));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("color"), *ColorImage(8, 8, {100, 100, 100})));
}

TEST_F(PreProcess, ScalesLikeCvResizeToTheBit) {
  const auto image = ColorImage(300, 400);
  cv::RNG random(11);
  random.fill(*image, cv::RNG::UNIFORM, 0, 256);
  input = Buffer(4 * 3 * 160 * 160);

  EXPECT_TRUE(Run(ColorOnly(image), {160, 160}));

  cv::Mat expected(160, 160, CV_8UC3, cv::Scalar::all(114));
  cv::Mat inner = expected(cv::Rect(0, 20, 160, 120));
  cv::resize(*image, inner, inner.size(), 0, 0, cv::INTER_LINEAR);
  EXPECT_TRUE(SameImage(detector.crop_images_.at("color"), expected));
}

TEST_F(PreProcess, FloatScaleCanComeOutOnePixelShort) {
  // The float product 41 * (8 / 41) is below 8, and is truncated.
  EXPECT_TRUE(Run(ColorOnly(ColorImage(41, 41, {51, 51, 51}))));

  EXPECT_EQ(detector.crop_images_.at("color").size(), cv::Size(7, 7));
  ExpectSolid(0, 49, {51, 51, 51});
  ExpectUntouchedFrom(4 * 3 * 49);
}

TEST_F(PreProcess, OddDifferenceIsPackedOnePixelShort) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(7, 8, {51, 51, 51}))));

  EXPECT_EQ(detector.crop_images_.at("color").size(), cv::Size(8, 7));
  ExpectSolid(0, 56, {51, 51, 51});
  ExpectUntouchedFrom(4 * 3 * 56);
}

TEST_F(PreProcess, ImagesFollowOneAnotherInKeyOrder) {
  EXPECT_TRUE(Run({{"b", ColorImage(8, 8, {4, 5, 6})}, {"a", ColorImage(8, 8, {1, 2, 3})}}));

  ExpectSolid(0, 64, {1, 2, 3});
  ExpectSolid(kSquare8Floats, 64, {4, 5, 6});
  ExpectUntouchedFrom(2 * kSquare8Bytes);
}

TEST_F(PreProcess, SlotIsCountedInLengthsOfTheImageItself) {
  // The second image is 8 x 7: its slot starts at 168 floats, inside the first one's 192.
  EXPECT_TRUE(Run({{"a", ColorImage(8, 8, {1, 1, 1})}, {"b", ColorImage(7, 8, {2, 2, 2})}}));

  const std::vector<float> tensor = FloatsOf(input);
  EXPECT_EQ(tensor[167], Unit(1));
  ExpectSolid(168, 56, {2, 2, 2});
}

TEST_F(PreProcess, StoresEachImageUnderItsKeyWithoutEmptyingFirst) {
  detector.crop_images_["crop_0"] = cv::Mat(1, 1, CV_8UC3);
  detector.crop_images_["color"] = cv::Mat(2, 2, CV_8UC3);

  EXPECT_TRUE(Run({{"color", ColorImage(8, 8, {1, 2, 3})}, {"rear", ColorImage(8, 8)}}));

  EXPECT_EQ(detector.crop_images_.size(), 3U);
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(1, 1));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("color"), *ColorImage(8, 8, {1, 2, 3})));
  EXPECT_TRUE(SameImage(detector.crop_images_.at("rear"), *ColorImage(8, 8)));
}

TEST_F(PreProcess, StoredImageDoesNotShareTheFramesMemory) {
  const auto image = ColorImage(8, 8, {1, 2, 3});
  EXPECT_TRUE(Run(ColorOnly(image)));

  image->setTo(cv::Scalar::all(0));

  EXPECT_TRUE(SameImage(detector.crop_images_.at("color"), *ColorImage(8, 8, {1, 2, 3})));
}

TEST_F(PreProcess, RefusedImageKeepsItsSlot) {
  const auto grey = std::make_shared<cv::Mat>(8, 8, CV_8UC1, cv::Scalar(9));

  EXPECT_TRUE(Run({{"a", grey}, {"b", ColorImage(8, 8, {4, 5, 6})}}));

  EXPECT_EQ(log.GetLines(), (Lines{called, Error("PopulateData", "Invalid data")}));
  EXPECT_EQ(detector.crop_images_.at("a").type(), CV_8UC1);
  EXPECT_EQ(input.data->at(0), 0xEE);
  ExpectSolid(kSquare8Floats, 64, {4, 5, 6});
}

TEST_F(PreProcess, RefusedImageIsScaledLikeCvResizeToTheBit) {
  const auto expect = [&](int type, int side) {
    const auto image = std::make_shared<cv::Mat>(300, 400, type);
    cv::RNG(11).fill(*image, cv::RNG::UNIFORM, 0.0, 200.0);

    EXPECT_TRUE(Run({{"image", image}}, {side, side}));

    const cv::Size scaled(side, side / 4 * 3);
    cv::Mat expected;
    cv::resize(*image, expected, scaled, 0, 0, cv::INTER_LINEAR);
    const cv::Rect inner({0, side / 8}, scaled);
    EXPECT_TRUE(SameImage(detector.crop_images_.at("image")(inner).clone(), expected))
        << "type " << type << " to " << side;
  };
  for (const int type : {CV_8UC1, CV_8UC4}) {
    for (const int side : {200, 256, 800, 1000}) expect(type, side);
  }
  for (const int type : {CV_8UC2, CV_16UC1, CV_32FC2}) expect(type, 256);
}

// Of another type to more pixels than OpenCV scales on one thread.
TEST_F(PreProcess, LargeRefusedImageOfAnotherTypeIsScaledBilinearlyToo) {
  // 1 x 2 steps of 1000, over the whole height: the seams between strips of rows do not show.
  const auto steps = std::make_shared<cv::Mat>(3, 4, CV_16UC1, cv::Scalar(0));
  steps->colRange(2, 4).setTo(cv::Scalar(1000));

  EXPECT_TRUE(Run({{"steps", steps}}, {800, 800}));

  // 600 rows of 800 columns, of which 300 to 499 lie between the middles of the two columns.
  cv::Mat expected(800, 800, CV_16UC1, cv::Scalar(114));
  cv::Mat inner = expected(cv::Rect(0, 100, 800, 600));
  inner.setTo(cv::Scalar(0));
  for (int x = 300; x < 800; ++x) inner.col(x).setTo(cv::Scalar(std::min(1000, 5 * x - 1497)));
  const cv::Mat& square = detector.crop_images_.at("steps");
  ASSERT_EQ(square.size(), expected.size());
  EXPECT_LE(cv::norm(square, expected, cv::NORM_INF), 1.0);  // halves round either way
}

TEST_F(PreProcess, TypeThatOpenCvCannotScaleIsLeftToIt) {
  const auto image = std::make_shared<cv::Mat>(4, 4, CV_32SC3, cv::Scalar::all(0));

  EXPECT_THROW(Run({{"small", image}}), cv::Exception);
  EXPECT_THROW(Run({{"large", image}}, {800, 800}), cv::Exception);
}

TEST_F(PreProcess, ImageOfThreeDimensionsIsLeftToOpenCv) {
  const int sizes[] = {9, 9, 9};
  const auto volume = std::make_shared<cv::Mat>(3, sizes, CV_8UC3, cv::Scalar::all(0));

  EXPECT_THROW(Run(ColorOnly(volume)), cv::Exception);
  EXPECT_THROW(Run(ColorOnly(volume), {800, 800}), cv::Exception);

  ExpectUntouchedFrom(0);
}

TEST_F(PreProcess, BufferOfExactlyTheRightSizeIsFilled) {
  input = Buffer(2 * kSquare8Bytes, 0xEE);

  EXPECT_TRUE(Run({{"a", ColorImage(8, 8, {1, 2, 3})}, {"b", ColorImage(8, 8, {4, 5, 6})}}));

  EXPECT_EQ(log.GetLines(), Lines{called});
  ExpectSolid(kSquare8Floats, 64, {4, 5, 6});
}

TEST_F(PreProcess, ImageThatWouldNotFitIsLoggedAndLeftOut) {
  input = Buffer(2 * kSquare8Bytes - 1, 0xEE);

  EXPECT_TRUE(Run({{"a", ColorImage(8, 8, {1, 2, 3})}, {"b", ColorImage(8, 8)}}));

  EXPECT_EQ(log.GetLines(), (Lines{called, Error("PreProcess",
                                                 "Input buffer too small: 1536 bytes needed, 1535 "
                                                 "bytes available")}));
  ExpectSolid(0, 64, {1, 2, 3});
  ExpectUntouchedFrom(kSquare8Bytes);
  EXPECT_EQ(detector.crop_images_.count("b"), 1U);
}

TEST_F(PreProcess, GoesOnBehindAnImageThatWouldNotFit) {
  input = Buffer(kSquare8Bytes, 0xEE);

  EXPECT_TRUE(Run({{"a", ColorImage(8, 8)}, {"b", ColorImage(8, 8)}, {"c", ColorImage(8, 8)}}));

  EXPECT_EQ(
      log.GetLines(),
      (Lines{
          called,
          Error("PreProcess", "Input buffer too small: 1536 bytes needed, 768 bytes available"),
          Error("PreProcess", "Input buffer too small: 2304 bytes needed, 768 bytes available")}));
  EXPECT_EQ(detector.crop_images_.size(), 3U);
}

TEST_F(PreProcess, BufferWithoutStorageTakesNothing) {
  input.data = nullptr;

  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_EQ(log.GetLines(), (Lines{called, Error("PreProcess",
                                                 "Input buffer too small: 768 bytes needed, 0 "
                                                 "bytes available")}));
}

TEST_F(PreProcess, RefusedTypeIsNoOverflow) {
  input = Buffer(1);
  const auto grey = std::make_shared<cv::Mat>(8, 8, CV_8UC1, cv::Scalar(0));

  EXPECT_TRUE(Run({{"grey", grey}}));

  EXPECT_EQ(log.GetLines(), (Lines{called, Error("PopulateData", "Invalid data")}));
}

TEST_F(PreProcess, NullOrEmptyImageIsLeftToOpenCv) {
  EXPECT_THROW(Run({{"color", nullptr}}), cv::Exception);
  EXPECT_THROW(Run(ColorOnly(std::make_shared<cv::Mat>())), cv::Exception);

  ExpectUntouchedFrom(0);
}

TEST_F(PreProcess, SideThatVanishesIsLeftToOpenCv) {
  // 1 row times 8 / 100 is less than one.
  EXPECT_THROW(Run(ColorOnly(ColorImage(1, 100))), cv::Exception);
}

TEST_F(PreProcess, AsksNothingOfTheEngine) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(8, 8))));

  EXPECT_TRUE(scripted_engine::Calls().empty());
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
