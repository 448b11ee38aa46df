// Init: the buffers that it makes.
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/init_fixture.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

Names NamesOf(const std::map<std::string, AIBuff>& buffers) {
  Names names;
  for (const auto& [name, buffer] : buffers) names.push_back(name);
  return names;
}

bool IsZeroed(const AIBuff& buffer, std::size_t bytes) {
  return *buffer.data == std::vector<std::uint8_t>(bytes, 0);
}

// --- Input buffers ---

TEST_F(Init, MakesOneZeroedBufferForEachInput) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"b", 20}, {"a", 12}, {"empty", 0}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), (Names{"a", "b", "empty"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("a"), 12));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("b"), 20));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("empty"), 0));
}

TEST_F(Init, InputBuffersAreSizedInBytesWhateverTheirType) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"images", 10}};
  config.dirty_seg_model_config.input_types = {{"images", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("images"), 10));
}

TEST_F(Init, InputBuffersKeepTheDefaultTypeAndNoShape) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_types = {{"images", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data_type, 2U);
  EXPECT_TRUE(detector.dirty_seg_inputs_.at("images").shape.empty());
}

TEST_F(Init, NegativeInputSizeThrowsLengthError) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"a", 12}, {"b", -1}, {"c", 12}};

  EXPECT_THROW(detector.Init(config), std::length_error);

  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), (Names{"a", "b"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("a"), 12));
  EXPECT_TRUE(detector.dirty_seg_outputs_.empty());
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

// --- Output buffers ---

using CodeAndBytes = std::pair<std::uint32_t, std::size_t>;

class InitOutputType : public Init, public ::testing::WithParamInterface<CodeAndBytes> {};

TEST_P(InitOutputType, SizesTheElement) {
  const AIBuff buffer = OutputBuffer({1, 2, 3}, GetParam().first);

  EXPECT_TRUE(IsZeroed(buffer, 6 * GetParam().second));
  EXPECT_EQ(buffer.data_type, GetParam().first);
  EXPECT_EQ(buffer.shape, (std::vector<std::int64_t>{1, 2, 3}));
}

INSTANTIATE_TEST_SUITE_P(Codes, InitOutputType,
                         ::testing::Values(CodeAndBytes{0, 1}, CodeAndBytes{1, 2},
                                           CodeAndBytes{2, 4}, CodeAndBytes{3, 4},
                                           CodeAndBytes{4, 8}, CodeAndBytes{5, 8},
                                           CodeAndBytes{6, 4}, CodeAndBytes{9, 4},
                                           CodeAndBytes{4294967295U, 4}),
                         [](const auto& test) { return std::to_string(test.param.first); });

TEST_F(Init, EmptyOutputShapeIsOneElement) {
  EXPECT_TRUE(IsZeroed(OutputBuffer({}, alg::common::kAIInt64), 8));
}

TEST_F(Init, OutputShapeWithAZeroHasNoElements) {
  EXPECT_TRUE(IsZeroed(OutputBuffer({3, 0, 5}, alg::common::kAIFloat32), 0));
}

TEST_F(Init, OutputShapeBeyondMemoryThrowsLengthError) {
  constexpr std::int64_t kLarge = std::int64_t{1} << 32;
  // 2^61 elements: a product of 32 bits would be 0. A dimension below 0 is a length near 2^64.
  EXPECT_THROW(OutputBuffer({kLarge, kLarge / 8}, alg::common::kAIUint8), std::length_error);
  EXPECT_THROW(OutputBuffer({-1, 3}, alg::common::kAIFloat32), std::length_error);
}

TEST_F(Init, OutputByteCountsAreNotUsed) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_sizes = {{"output0", -77}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_TRUE(IsZeroed(detector.dirty_seg_outputs_.at("output0"), 24));
}

TEST_F(Init, OnlyNamesOfTheOutputMapGetABuffer) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_shapes["other"] = {4};
  config.dirty_seg_model_config.output_types["other"] = 0;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), Names{"output0"});
}

TEST_F(Init, MissingOutputShapeThrowsAndLeavesAFreshBuffer) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_shapes.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  const AIBuff& buffer = detector.dirty_seg_outputs_.at("output0");
  EXPECT_TRUE(IsZeroed(buffer, 0));
  EXPECT_EQ(buffer.data_type, 2U);
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

TEST_F(Init, MissingOutputTypeThrowsAndLeavesTheBufferSizedForTheDefaultType) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_types.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  const AIBuff& buffer = detector.dirty_seg_outputs_.at("output0");
  EXPECT_EQ(buffer.shape, (std::vector<std::int64_t>{1, 2, 3}));
  EXPECT_TRUE(IsZeroed(buffer, 24));
  EXPECT_EQ(buffer.data_type, 2U);
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, OutputsAreMadeInAscendingOrderOfTheirNames) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_sizes = {{"c", 0}, {"b", 0}, {"a", 0}};
  config.dirty_seg_model_config.output_shapes = {{"a", {2}}, {"c", {2}}};
  config.dirty_seg_model_config.output_types = {{"a", 0}, {"c", 0}};

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), (Names{"a", "b"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_outputs_.at("a"), 2));
}

TEST_F(Init, FeceBuffersFollowTheSameRules) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.fece_model_config.input_sizes = {{"input", 40}, {"second", 3}};
  config.fece_model_config.output_shapes = {{"output", {1, 2}}};
  config.fece_model_config.output_types = {{"output", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.fece_inputs_), (Names{"input", "second"}));
  EXPECT_TRUE(IsZeroed(detector.fece_inputs_.at("input"), 40));
  EXPECT_EQ(detector.fece_inputs_.at("input").data_type, 2U);
  EXPECT_TRUE(IsZeroed(detector.fece_outputs_.at("output"), 16));
  EXPECT_EQ(detector.fece_outputs_.at("output").data_type, 5U);
  EXPECT_EQ(detector.fece_outputs_.at("output").shape, (std::vector<std::int64_t>{1, 2}));
}

TEST_F(Init, MissingFeceOutputTypeThrows) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.fece_model_config.output_types.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceReady}));
  EXPECT_EQ(NamesOf(detector.fece_inputs_), Names{"input"});  // made before the outputs
  EXPECT_EQ(NamesOf(detector.fece_outputs_), Names{"output"});
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
