// Yolov8Postprocess: what it refuses, when it is made and in each frame.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <cstdint>
#include <map>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/decoding.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using alg::common::AIEngineConfig;
using test::HeadLayout;
using test::RejectionOf;
using test::SegmentationOutputs;
using test::StandardErrorOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr auto kHalf = alg::common::kAIFloat16;

TEST(DecoderConstructor, IgnoresElementsAfterTheFourthOfAPatch) {
  const SegmentationOutputs outputs = OneBoxASlot(Batch(1));
  EXPECT_NO_THROW(
      Yolov8Postprocess(YAML::Load("patch: {enable: true, patches: [[0, 0, 64, 64, 7]]}"),
                        outputs.Config(), {{64, 64}}));
}

std::string Rejection(const YAML::Node& root, const std::vector<cv::Size>& sizes, int batch = 2) {
  const SegmentationOutputs outputs(Batch(batch));
  return RejectionOf([&] { Yolov8Postprocess(root, outputs.Config(), sizes); });
}

TEST(DecoderConstructor, RefusesMorePatchesThanSlots) {
  const std::vector<cv::Rect> patches(3, {0, 0, 64, 64});
  EXPECT_EQ(Rejection(Root(patches), Sizes(patches)),
            "3 patches reach into the frame; the network's batch has 2 slots");
}

TEST(DecoderConstructor, CountsOnlyPatchesThatReachIntoTheFrame) {
  const std::vector<cv::Rect> patches{
      {0, 0, 64, 64}, {1920, 0, 64, 64}, {64, 0, 64, 64}, {0, 1080, 64, 64}};
  const SegmentationOutputs outputs(Batch(2));
  EXPECT_NO_THROW(Yolov8Postprocess(Root(patches), outputs.Config(), Sizes(patches)));
}

TEST(DecoderConstructor, RefusesAnotherNumberOfSizesThanTheFileHas) {
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 64}}), {{64, 64}}),
            "1 patch sizes given; the file has 2 patches");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}}), {}), "0 patch sizes given; the file has 1 patches");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 64}}), {{65, 64}}),
            "1 patch sizes given; the file has 2 patches");
}

TEST(DecoderConstructor, RefusesSizesThatDisagreeWithTheFile) {
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 48}}), {{64, 64}, {64, 47}}),
            "patch 1 is given as 64 x 47; the file has 64 x 48");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}}), {{65, 64}}),
            "patch 0 is given as 65 x 64; the file has 64 x 64");
}

TEST(DecoderConstructor, RefusesAPatchThatScalesToNothing) {
  EXPECT_EQ(Rejection(Root({{0, 0, 1920, 16}}), {{1920, 16}}),
            "a patch of 1920 x 16 scales to 64 x 0; expected at least 1 x 1");
}

TEST(DecoderConstructor, RefusesBadOptionsByTheirKey) {
  EXPECT_EQ(Rejection(YAML::Load("postprocess: {iou_threshold: 7}"), {}),
            "postprocess.iou_threshold in line 1 is '7'; expected a number from 0 to 1");
}

TEST(DecoderConstructor, RefusesANetworkWithoutASegmentationHead) {
  AIEngineConfig config = SegmentationOutputs(Batch(1)).Config();
  config.output_sizes.erase("output1");
  EXPECT_EQ(RejectionOf([&] { Yolov8Postprocess(YAML::Node(), config, {}); }),
            "not a YOLOv8 segmentation network: no output has rank 4, the prototypes; found "
            "'output0' [1, 14, 84]");
}

TEST(DecoderConstructor, LooksAtTheOptionsThenAtTheNetworkThenAtThePatches) {
  AIEngineConfig config = SegmentationOutputs(Batch(1)).Config();
  config.output_sizes.clear();
  const auto rejection = [&config](const char* yaml) {
    return RejectionOf([&] { Yolov8Postprocess(YAML::Load(yaml), config, {}); });
  };
  EXPECT_THAT(rejection("{postprocess: 5, patch: 5}"), StartsWith("postprocess in line 1 is '5'"));
  EXPECT_THAT(rejection("patch: 5"), StartsWith("not a YOLOv8 segmentation network: "));
}

TEST(DecoderConstructor, RefusesAMalformedPatchList) {
  for (const char* text :
       {"patch: 5", "patch: {enable: true, patches: [7]}", "patch: {enable: true, patches: {a: 1}}",
        "patch: {enable: true, patches: [[0, 0, 64]]}",
        "patch: {enable: true, patches: [[0, 0, wide, 64]]}"}) {
    const std::string rejection = Rejection(YAML::Load(text), {{64, 64}});
    EXPECT_THAT(rejection, StartsWith("patch list: ")) << text;
    EXPECT_THAT(rejection, EndsWith("; expected patch: {enable: true or false, patches: "
                                    "[[x, y, width, height], ...]}"))
        << text;
  }
}

TEST(DecoderConstructor, NamesThePlaceOfAWrongNumber) {
  EXPECT_THAT(Rejection(YAML::Load("patch:\n  enable: true\n  patches: [[0, 0, wide, 64]]"), {}),
              HasSubstr("line 3, column 20: bad conversion"));
}

// Made for each of them, their geometries would take 20 GB.
TEST(DecoderConstructor, RefusesAMillionPatchesAtOnce) {
  EXPECT_EQ(Rejection(YAML::Node(), std::vector<cv::Size>(1000000, {1920, 1080})),
            "1000000 patches reach into the frame; the network's batch has 2 slots");
}

class DecoderStatus : public testing::Test {
 protected:
  DecoderStatus() {
    outputs_.Put(0, 0, {32, 32, 8, 8, 0, 0.5F});
    buffers_ = outputs_.Buffers();
  }

  // Decodes into lists that already hold something.
  int Run(std::vector<std::string>& lines) {
    objects_.assign(5, std::vector<Object>(2));
    int status = -1;
    lines = StandardErrorOf([&] { status = decoder_.PostProcess(buffers_, objects_); });
    return status;
  }

  void ExpectFailure(int expected, const std::string& line) {
    std::vector<std::string> lines;
    EXPECT_EQ(Run(lines), expected);
    EXPECT_THAT(lines, ElementsAre(line));
    EXPECT_THAT(objects_, IsEmpty());
  }

  SegmentationOutputs outputs_ = Outputs(Batch(2));
  Yolov8Postprocess decoder_{
      Root({{0, 0, 64, 64}, {0, 0, 64, 64}}), outputs_.Config(), {{64, 64}, {64, 64}}};
  BufferMap buffers_;
  Lists objects_;
};

TEST_F(DecoderStatus, OkReplacesWhatTheListsHeld) {
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessOk);
  EXPECT_THAT(objects_, ElementsAre(SizeIs(1), IsEmpty()));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(DecoderStatus, MissingPredictions) {
  buffers_.erase("output0");
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
}

TEST_F(DecoderStatus, MissingPrototypes) {
  buffers_.erase("output1");
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output1' has no buffer to decode");
}

TEST_F(DecoderStatus, NoBufferAtAll) {
  buffers_.clear();
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
}

TEST_F(DecoderStatus, ABufferWithoutStorage) {
  buffers_.at("output0").data = nullptr;
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
  buffers_ = outputs_.Buffers();
  buffers_.at("output1").data = nullptr;
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output1' has no buffer to decode");
}

TEST_F(DecoderStatus, PredictionsAreLookedAtWhollyBeforeThePrototypes) {
  buffers_.at("output0").data->resize(9407);
  buffers_.erase("output1");
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9407 bytes to decode; expected 9408");
}

TEST_F(DecoderStatus, AStorageThatIsTooShortTooLongOrEmpty) {
  // 2 x 14 x 84 floats and 2 x 8 x 16 x 16 floats.
  buffers_.at("output0").data->resize(9407);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9407 bytes to decode; expected 9408");
  buffers_.at("output0").data->resize(9409);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9409 bytes to decode; expected 9408");
  buffers_.at("output0").data->clear();
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 0 bytes to decode; expected 9408");
  buffers_ = outputs_.Buffers();
  buffers_.at("output1").data->resize(16383);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output1' has 16383 bytes to decode; expected 16384");
}

TEST_F(DecoderStatus, TheCallAfterAFailureDecodesAgain) {
  buffers_.at("output0").data = nullptr;
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessMissingOutput);
  buffers_ = outputs_.Buffers();
  EXPECT_EQ(Run(lines), kPostProcessOk);
  EXPECT_THAT(objects_, ElementsAre(SizeIs(1), IsEmpty()));
}

TEST_F(DecoderStatus, BuffersAreOnlyReadAndOtherOnesIgnored) {
  buffers_["extra"].data->assign(3, 7);
  std::map<std::string, std::vector<std::uint8_t>> before;
  for (const auto& [name, buffer] : buffers_) before[name] = *buffer.data;
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessOk);
  ASSERT_EQ(buffers_.size(), 3U);
  for (const auto& [name, buffer] : buffers_) EXPECT_EQ(*buffer.data, before.at(name)) << name;
}

TEST_F(DecoderStatus, SizesOfHalfPrecisionTensorsAreHalf) {
  HeadLayout layout;
  layout.predictions_type = kHalf;
  const SegmentationOutputs outputs(layout);
  Yolov8Postprocess decoder(YAML::Node(), outputs.Config(), {});
  BufferMap buffers = outputs.Buffers();
  buffers.at("output0").data->resize(4704);
  EXPECT_THAT(StandardErrorOf([&] {
                EXPECT_EQ(decoder.PostProcess(buffers, objects_), kPostProcessWrongSize);
              }),
              ElementsAre("libtessmar_ai_engine: output 'output0' has 4704 bytes to decode; "
                          "expected 2352"));
}

}  // namespace
}  // namespace nuvik::model
