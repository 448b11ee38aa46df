// Reading the layout of a segmentation network's outputs from its configuration.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "network/segmentation_head.h"
#include "support/case_name.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using alg::common::AIEngineConfig;
using test::HeadLayout;
using test::RejectionOf;
using test::SegmentationOutputs;

// A network of 80 classes and 32 coefficients at 640 x 640, batch 6.
AIEngineConfig UsualConfig() {
  AIEngineConfig config;
  config.input_sizes["images"] = 29491200;
  config.input_shapes["images"] = {6, 3, 640, 640};
  config.output_sizes = {{"output0", 23385600}, {"output1", 19660800}};
  config.output_shapes = {{"output0", {6, 116, 8400}}, {"output1", {6, 32, 160, 160}}};
  config.output_types = {{"output0", 2}, {"output1", 2}};
  return config;
}

std::string Rejection(const AIEngineConfig& config) {
  return RejectionOf([&config] { ReadSegmentationHead(config); });
}

TEST(SegmentationHead, OfTheUsualNetworkIsReadCompletely) {
  const SegmentationHead head = ReadSegmentationHead(UsualConfig());
  EXPECT_EQ(head.predictions, "output0");
  EXPECT_EQ(head.prototypes, "output1");
  EXPECT_EQ(head.predictions_type, alg::common::kAIFloat32);
  EXPECT_EQ(head.prototypes_type, alg::common::kAIFloat32);
  EXPECT_EQ(head.batch, 6);
  EXPECT_EQ(head.input_side, 640);
  EXPECT_EQ(head.classes, 80);
  EXPECT_EQ(head.coefficients, 32);
  EXPECT_EQ(head.anchors, 8400);
  EXPECT_FALSE(head.anchor_major);
  EXPECT_EQ(head.proto_side, 160);
  EXPECT_EQ(head.channels(), 116);
}

TEST(SegmentationHead, TransposedPredictionsAreAnchorMajor) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes["output0"] = {6, 8400, 116};
  const SegmentationHead head = ReadSegmentationHead(config);
  EXPECT_TRUE(head.anchor_major);
  EXPECT_EQ(head.classes, 80);
  EXPECT_EQ(head.anchors, 8400);
}

TEST(SegmentationHead, OutputsAreToldByRankWhenTheirNamesAreSwapped) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes = {{"output1", {6, 116, 8400}}, {"output0", {6, 32, 160, 160}}};
  const SegmentationHead head = ReadSegmentationHead(config);
  EXPECT_EQ(head.predictions, "output1");
  EXPECT_EQ(head.prototypes, "output0");
  EXPECT_EQ(head.classes, 80);
}

TEST(SegmentationHead, EachOutputHasItsOwnType) {
  AIEngineConfig config = UsualConfig();
  config.output_types = {{"output0", 1}, {"output1", 2}};
  EXPECT_EQ(ReadSegmentationHead(config).predictions_type, alg::common::kAIFloat16);
  EXPECT_EQ(ReadSegmentationHead(config).prototypes_type, alg::common::kAIFloat32);
  config.output_types = {{"output0", 2}, {"output1", 1}};
  EXPECT_EQ(ReadSegmentationHead(config).predictions_type, alg::common::kAIFloat32);
  EXPECT_EQ(ReadSegmentationHead(config).prototypes_type, alg::common::kAIFloat16);
}

TEST(SegmentationHead, AnOutputWithoutATypeIsFloat32) {
  AIEngineConfig config = UsualConfig();
  config.output_types.clear();
  EXPECT_EQ(ReadSegmentationHead(config).predictions_type, alg::common::kAIFloat32);
  EXPECT_EQ(ReadSegmentationHead(config).prototypes_type, alg::common::kAIFloat32);
}

TEST(SegmentationHead, OneClassAndOneCoefficientAreEnough) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes = {{"output0", {6, 6, 8400}}, {"output1", {6, 1, 160, 160}}};
  const SegmentationHead head = ReadSegmentationHead(config);
  EXPECT_EQ(head.classes, 1);
  EXPECT_EQ(head.coefficients, 1);
}

TEST(SegmentationHead, AStrideFourScaleForSmallObjectsIsRead) {
  // 160^2 + 80^2 + 40^2 + 20^2 anchors; its prototypes are half the input.
  AIEngineConfig config = UsualConfig();
  config.output_shapes = {{"output0", {6, 116, 34000}}, {"output1", {6, 32, 320, 320}}};
  EXPECT_EQ(ReadSegmentationHead(config).anchors, 34000);
  EXPECT_EQ(ReadSegmentationHead(config).proto_side, 320);
}

TEST(SegmentationHead, AStrideSixtyFourScaleForLargeObjectsIsRead) {
  // 80^2 + 40^2 + 20^2 + 10^2 anchors.
  AIEngineConfig config = UsualConfig();
  config.output_shapes["output0"] = {6, 116, 8500};
  EXPECT_EQ(ReadSegmentationHead(config).anchors, 8500);
}

TEST(SegmentationHead, ChannelMajorWinsWhereBothReadingsFit) {
  // 84 anchors at 64 x 64 and 84 channels: 72 classes and 8 coefficients.
  AIEngineConfig config = UsualConfig();
  config.input_shapes["images"] = {1, 3, 64, 64};
  config.output_shapes = {{"output0", {1, 84, 84}}, {"output1", {1, 8, 16, 16}}};
  EXPECT_FALSE(ReadSegmentationHead(config).anchor_major);
  EXPECT_EQ(ReadSegmentationHead(config).classes, 72);
}

TEST(SegmentationHead, OutputsOfOtherRanksAreLeftAlone) {
  AIEngineConfig config = UsualConfig();
  config.output_sizes["extra"] = 24;
  config.output_shapes["extra"] = {6, 1};
  config.output_types["extra"] = 4;
  EXPECT_EQ(ReadSegmentationHead(config).predictions, "output0");
}

TEST(SegmentationHead, ShapesOfOutputsThatAreNotConfiguredAreLeftAlone) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes["unused"] = {6, 116, 8400};
  EXPECT_EQ(ReadSegmentationHead(config).predictions, "output0");
}

TEST(SegmentationHead, OfTheTestTensorsAgreesWithTheirLayout) {
  HeadLayout layout;
  layout.batch = 3;
  layout.input_side = 96;
  layout.anchor_major = true;
  const SegmentationHead head = ReadSegmentationHead(SegmentationOutputs(layout).Config());
  EXPECT_EQ(head.batch, 3);
  EXPECT_EQ(head.anchors, 189);  // 12^2 + 6^2 + 3^2
  EXPECT_EQ(head.proto_side, 24);
}

TEST(SegmentationHeadRejection, NoInput) {
  AIEngineConfig config = UsualConfig();
  config.input_shapes.clear();
  EXPECT_EQ(Rejection(config), "not a YOLOv8 segmentation network: it has 0 inputs; expected 1");
}

TEST(SegmentationHeadRejection, TwoInputs) {
  AIEngineConfig config = UsualConfig();
  config.input_shapes["depth"] = {6, 1, 640, 640};
  EXPECT_EQ(Rejection(config), "not a YOLOv8 segmentation network: it has 2 inputs; expected 1");
}

TEST(SegmentationHeadRejection, OfTheInputComesBeforeThatOfTheOutputs) {
  EXPECT_EQ(Rejection({}), "not a YOLOv8 segmentation network: it has 0 inputs; expected 1");
}

struct ShapeCase {
  const char* name;
  std::vector<std::int64_t> shape;
  const char* message;
};

void PrintTo(const ShapeCase& shape_case, std::ostream* out) { *out << shape_case.name; }

class InputRejection : public testing::TestWithParam<ShapeCase> {};

TEST_P(InputRejection, SaysShapeAndExpectation) {
  AIEngineConfig config = UsualConfig();
  config.input_shapes["images"] = GetParam().shape;
  EXPECT_EQ(Rejection(config),
            std::string("not a YOLOv8 segmentation network: ") + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, InputRejection,
    testing::Values(ShapeCase{"RankThree",
                              {3, 640, 640},
                              "input 'images' has shape [3, 640, 640]; expected [N, 3, S, S] "
                              "with S a multiple of 32"},
                    ShapeCase{"RankFive",
                              {6, 3, 640, 640, 1},
                              "input 'images' has shape [6, 3, 640, 640, 1]; expected [N, 3, S, S] "
                              "with S a multiple of 32"},
                    ShapeCase{"OneChannel",
                              {6, 1, 640, 640},
                              "input 'images' has shape [6, 1, 640, 640]; expected [N, 3, S, S] "
                              "with S a multiple of 32"},
                    ShapeCase{"ChannelsLast",
                              {6, 640, 640, 3},
                              "input 'images' has shape [6, 640, 640, 3]; expected [N, 3, S, S] "
                              "with S a multiple of 32"},
                    ShapeCase{"NotSquare",
                              {6, 3, 480, 640},
                              "input 'images' has shape [6, 3, 480, 640]; expected [N, 3, S, S] "
                              "with S a multiple of 32"},
                    ShapeCase{"TooLarge",
                              {1, 3, 16385, 16385},
                              "'images' has shape [1, 3, 16385, 16385]; expected positive "
                              "dimensions and at most 2147483647 bytes"},
                    ShapeCase{"ZeroBatch",
                              {0, 3, 640, 640},
                              "'images' has shape [0, 3, 640, 640]; expected positive dimensions "
                              "and at most 2147483647 bytes"},
                    ShapeCase{"OpenBatch",
                              {-1, 3, 640, 640},
                              "'images' has shape [?, 3, 640, 640]; expected positive dimensions "
                              "and at most 2147483647 bytes"}),
    test::CaseName());

class PredictionsRejection : public testing::TestWithParam<ShapeCase> {};

TEST_P(PredictionsRejection, SaysShapeAndExpectation) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes["output0"] = GetParam().shape;
  EXPECT_EQ(Rejection(config),
            std::string("not a YOLOv8 segmentation network: ") + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, PredictionsRejection,
    testing::Values(
        ShapeCase{"OtherBatch",
                  {1, 116, 8400},
                  "predictions 'output0' have shape [1, 116, 8400]; expected [6, at least 37, "
                  "8400] or its transpose for 32 prototypes and an input of 640 x 640"},
        ShapeCase{"NoClassLeft",
                  {6, 36, 8400},
                  "predictions 'output0' have shape [6, 36, 8400]; expected [6, at least 37, 8400] "
                  "or its transpose for 32 prototypes and an input of 640 x 640"},
        ShapeCase{"NoClassLeftTransposed",
                  {6, 8400, 36},
                  "predictions 'output0' have shape [6, 8400, 36]; expected [6, at least 37, 8400] "
                  "or its transpose for 32 prototypes and an input of 640 x 640"},
        ShapeCase{"OneAnchorTooFew",
                  {6, 116, 8399},
                  "predictions 'output0' have shape [6, 116, 8399]; expected [6, at least 37, "
                  "8400] or its transpose for 32 prototypes and an input of 640 x 640"},
        ShapeCase{"DetectionsThatAreSuppressedAlready",
                  {6, 300, 38},
                  "predictions 'output0' have shape [6, 300, 38]; expected [6, at least 37, 8400] "
                  "or its transpose for 32 prototypes and an input of 640 x 640"},
        ShapeCase{"ZeroAnchors",
                  {6, 116, 0},
                  "'output0' has shape [6, 116, 0]; expected positive dimensions and at most "
                  "2147483647 bytes"},
        ShapeCase{"Endless",
                  {6, 116, 1LL << 40},
                  "'output0' has shape [6, 116, 1099511627776]; expected positive dimensions and "
                  "at most 2147483647 bytes"},
        ShapeCase{"RankTwo",
                  {6, 8400},
                  "no output has rank 3, the predictions; found 'output0' [6, 8400], 'output1' [6, "
                  "32, 160, 160]"},
        ShapeCase{"RankFour",
                  {6, 116, 8400, 1},
                  "outputs 'output0' and 'output1' both have rank 4; expected one, the "
                  "prototypes"}),
    test::CaseName());

TEST(SegmentationHeadRejection, AnchorsOfAStrideThatTheInputIsNoMultipleOf) {
  AIEngineConfig config = UsualConfig();
  config.input_shapes["images"] = {6, 3, 32, 32};  // 21 anchors; no multiple of stride 64
  config.output_shapes["output1"] = {6, 32, 8, 8};
  for (const std::int64_t anchors : {0, 1, 16, 20, 22}) {
    config.output_shapes["output0"] = {6, 116, anchors};
    EXPECT_NE(Rejection(config), "") << anchors;
  }
  config.output_shapes["output0"] = {6, 116, 21};
  EXPECT_EQ(ReadSegmentationHead(config).anchors, 21);
}

class PrototypesRejection : public testing::TestWithParam<ShapeCase> {};

TEST_P(PrototypesRejection, SaysShapeAndExpectation) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes["output1"] = GetParam().shape;
  EXPECT_EQ(Rejection(config),
            std::string("not a YOLOv8 segmentation network: ") + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, PrototypesRejection,
    testing::Values(
        ShapeCase{
            "OtherBatch",
            {1, 32, 160, 160},
            "prototypes 'output1' have shape [1, 32, 160, 160]; expected [6, coefficients, S, "
            "S] with S a divisor of 640"},
        ShapeCase{"NotSquare",
                  {6, 32, 160, 80},
                  "prototypes 'output1' have shape [6, 32, 160, 80]; expected [6, coefficients, S, "
                  "S] with S a divisor of 640"},
        ShapeCase{
            "NoDivisor",
            {6, 32, 159, 159},
            "prototypes 'output1' have shape [6, 32, 159, 159]; expected [6, coefficients, S, "
            "S] with S a divisor of 640"},
        ShapeCase{"LargerThanTheInput",
                  {6, 32, 1280, 1280},
                  "prototypes 'output1' have shape [6, 32, 1280, 1280]; expected [6, coefficients, "
                  "S, S] with S a divisor of 640"},
        ShapeCase{"NoCoefficient",
                  {6, 0, 160, 160},
                  "'output1' has shape [6, 0, 160, 160]; expected positive dimensions and at most "
                  "2147483647 bytes"},
        ShapeCase{"RankThree",
                  {6, 32, 25600},
                  "no output has rank 4, the prototypes; found 'output0' [6, 116, 8400], 'output1' "
                  "[6, 32, 25600]"}),
    test::CaseName());

TEST(SegmentationHeadRejection, TwoPredictions) {
  AIEngineConfig config = UsualConfig();
  config.output_sizes["output2"] = 0;
  config.output_shapes["output2"] = {6, 116, 8400};
  EXPECT_EQ(Rejection(config),
            "not a YOLOv8 segmentation network: outputs 'output0' and 'output2' both have rank 3; "
            "expected one, the predictions");
}

TEST(SegmentationHeadRejection, NoOutputs) {
  AIEngineConfig config = UsualConfig();
  config.output_sizes.clear();
  EXPECT_EQ(Rejection(config),
            "not a YOLOv8 segmentation network: no output has rank 4, the prototypes; found none");
}

TEST(SegmentationHeadRejection, AnOutputWithoutAShape) {
  AIEngineConfig config = UsualConfig();
  config.output_shapes.erase("output1");
  EXPECT_EQ(Rejection(config), "not a YOLOv8 segmentation network: output 'output1' has no shape");
}

TEST(SegmentationHeadRejection, TypesThatAreNoFloats) {
  AIEngineConfig config = UsualConfig();
  config.output_types["output0"] = 3;
  EXPECT_EQ(Rejection(config),
            "not a YOLOv8 segmentation network: output 'output0' is int32; expected float32 or "
            "float16");
  config = UsualConfig();
  config.output_types["output1"] = 5;
  EXPECT_EQ(Rejection(config),
            "not a YOLOv8 segmentation network: output 'output1' is float64; expected float32 or "
            "float16");
  config.output_types["output1"] = 9;
  EXPECT_EQ(
      Rejection(config),
      "not a YOLOv8 segmentation network: output 'output1' is type code 9; expected float32 or "
      "float16");
}

TEST(SegmentationHeadRejection, AnInputSideThatTheStridesDoNotDivideIsNamedAsTheFault) {
  AIEngineConfig config = UsualConfig();
  config.input_shapes["images"] = {6, 3, 648, 648};
  config.output_shapes = {{"output0", {6, 116, 8400}}, {"output1", {6, 32, 162, 162}}};
  const std::string message = Rejection(config);
  EXPECT_NE(message.find("648"), std::string::npos) << message;
  EXPECT_NE(message.find("multiple of 32"), std::string::npos)
      << "no number of anchors is right for such an input: " << message;
}

}  // namespace
}  // namespace nuvik::model
