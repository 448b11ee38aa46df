// What is read from ONNX files, and the text of every rejection.
#include "networks/networks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "networks/tensor_names.h"
#include "support/paths.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::Network;
using test::CommonNetwork;
using test::HostNetwork;
using testing::ElementsAre;
using testing::Key;
using testing::Pair;

std::string SegmentationRejection(const std::string& path, std::size_t patch_count) {
  return test::RejectionOf<SetupError>([&] { ReadSegmentationNetwork(path, patch_count, 1); });
}

std::string FeceRejection(const std::string& path) {
  return test::RejectionOf<SetupError>([&] { ReadFeceNetwork(path, 1); });
}

TEST(SegmentationNetwork, IsDescribedWithItsClassNames) {
  const std::string path = CommonNetwork("seg-b2-64");
  const Network network = ReadSegmentationNetwork(path, 2, 3);
  EXPECT_EQ(network.config.model_path, path);
  EXPECT_EQ(network.config.thread_count, 3);
  EXPECT_THAT(network.config.input_shapes, ElementsAre(Pair("images", ElementsAre(2, 3, 64, 64))));
  EXPECT_THAT(network.config.input_sizes, ElementsAre(Pair("images", 2 * 3 * 64 * 64 * 4)));
  EXPECT_THAT(network.config.output_sizes, ElementsAre(Key("output0"), Key("output1")));
  EXPECT_THAT(network.class_names, ElementsAre(Pair(0, "red"), Pair(1, "green")));
}

TEST(SegmentationNetwork, MayHaveMoreSlotsThanPatches) {
  EXPECT_EQ(ReadSegmentationNetwork(CommonNetwork("seg-b2-64"), 1, 1)
                .config.input_shapes.at("images")
                .at(0),
            2);
}

TEST(SegmentationNetwork, TakesAnOpenBatchFromThePatches) {
  const Network network = ReadSegmentationNetwork(CommonNetwork("seg-dynamic"), 5, 1);
  EXPECT_THAT(network.config.input_shapes.at("images"), ElementsAre(5, 3, 640, 640));
  EXPECT_THAT(network.config.output_shapes.at("output0"), ElementsAre(5, 38, 8400));
}

TEST(SegmentationNetwork, OfBatchOneHasASlotForEachPatch) {
  const Network network = ReadSegmentationNetwork(CommonNetwork("seg-b1-64"), 6, 1);
  EXPECT_TRUE(network.takes_any_batch);
  EXPECT_THAT(network.config.input_shapes.at("images"), ElementsAre(6, 3, 64, 64));
  EXPECT_THAT(network.config.output_shapes.at("output1"), ElementsAre(6, 32, 16, 16));
}

TEST(SegmentationNetwork, WithFewerSlotsThanPatchesIsRefused) {
  const std::string path = CommonNetwork("seg-b2-64");
  EXPECT_EQ(SegmentationRejection(path, 3),
            "'" + path +
                "': its batch of 2 is too small for the 3 patches of the configuration; expected "
                "at most 2 patches");
}

TEST(SegmentationNetwork, OfAnotherKindIsToldAsSuchBeforeItsBatch) {
  const std::string path = CommonNetwork("boxes-only");
  EXPECT_EQ(SegmentationRejection(path, 3),
            "'" + path +
                "': not a YOLOv8 segmentation network: no output has rank 4, the prototypes; found "
                "'output0' [2, 38, 84]");
}

TEST(SegmentationNetwork, ThatCannotBeReadIsRefused) {
  EXPECT_EQ(SegmentationRejection("missing.onnx", 1),
            "'missing.onnx': cannot be used as the segmentation network; the engine's message "
            "above says why");
}

TEST(SegmentationNetwork, WithSeveralInputsIsRefused) {
  const std::string path = CommonNetwork("types");
  EXPECT_EQ(
      SegmentationRejection(path, 1),
      "'" + path +
          "': has inputs 'f16', 'f32', 'f64', 'i32', 'i64', 'u8'; expected one, [N, 3, S, S]");
}

TEST(SegmentationNetwork, WithAnInputThatIsNoPictureIsRefused) {
  const std::string path = CommonNetwork("fails-later");
  EXPECT_EQ(SegmentationRejection(path, 1),
            "'" + path + "': input 'x' is float32 [1, 4]; expected float32 [N, 3, S, S]");
}

TEST(FeceNetwork, IsDescribed) {
  const std::string path = CommonNetwork("classifier-224");
  const AIEngineConfig config = ReadFeceNetwork(path, 2);
  EXPECT_EQ(config.model_path, path);
  EXPECT_EQ(config.thread_count, 2);
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("input", ElementsAre(1, 3, 224, 224))));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output", ElementsAre(1, 2))));
}

TEST(FeceNetwork, HasItsOpenBatchClosedWithOne) {
  const AIEngineConfig config = ReadFeceNetwork(CommonNetwork("classifier-dynamic-batch"), 1);
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("input", ElementsAre(1, 3, 224, 224))));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output", ElementsAre(1, 2))));
}

TEST(FeceNetwork, HasOnlyTheVerdictComputed) {
  const AIEngineConfig config = ReadFeceNetwork(HostNetwork("classifier-features"), 1);
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output", 8)));
  EXPECT_THAT(config.output_shapes, ElementsAre(Key("output")));
  EXPECT_THAT(config.output_types, ElementsAre(Key("output")));
}

TEST(FeceNetwork, ThatCannotBeReadIsRefused) {
  EXPECT_EQ(FeceRejection("missing.onnx"),
            "'missing.onnx': cannot be used as the classifier; the engine's message above says "
            "why");
}

TEST(FeceNetwork, OfAnotherSizeIsRefused) {
  const std::string path = CommonNetwork("classifier-112");
  EXPECT_EQ(FeceRejection(path), "'" + path +
                                     "': input 'input' is float32 [1, 3, 112, 112]; expected "
                                     "float32 [1, 3, 224, 224]");
}

TEST(FeceNetwork, WithOtherNamesIsRefused) {
  const std::string other_input = HostNetwork("classifier-other-input");
  EXPECT_EQ(FeceRejection(other_input),
            "'" + other_input +
                "': has inputs 'picture'; expected the one input 'input'; this makes such a file: "
                "dirty_seg rename-tensors " +
                other_input + " renamed.onnx picture=input");
  const std::string other_output = HostNetwork("classifier-other-output");
  EXPECT_EQ(FeceRejection(other_output),
            "'" + other_output +
                "': has outputs 'verdict'; expected one named 'output'; this makes such a file: "
                "dirty_seg rename-tensors " +
                other_output + " renamed.onnx verdict=output");
}

// One command for both names; none where more than names is in the way.
TEST(FeceNetwork, ThatNamesAloneSpoilIsToldHowToRenameThem) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "two words.onnx";
  RenameTensors(HostNetwork("classifier-other-input"), path,
                {{"picture", "data"}, {"output", "prob"}});
  EXPECT_EQ(FeceRejection(path),
            "'" + path +
                "': has inputs 'data'; expected the one input 'input'; this makes such a file: "
                "dirty_seg rename-tensors '" +
                path + "' renamed.onnx data=input prob=output");
  RenameTensors(CommonNetwork("classifier-112"), path, {{"input", "data"}});
  EXPECT_EQ(FeceRejection(path),
            "'" + path + "': has inputs 'data'; expected the one input 'input'");
  RenameTensors(HostNetwork("classifier-three"), path, {{"output", "prob"}});
  EXPECT_EQ(FeceRejection(path), "'" + path + "': has outputs 'prob'; expected one named 'output'");
}

TEST(FeceNetwork, WithAnotherNumberOfClassesIsRefused) {
  const std::string path = HostNetwork("classifier-three");
  EXPECT_EQ(FeceRejection(path), "'" + path +
                                     "': output 'output' is float32 [1, 3]; expected two elements, "
                                     "float32 [1, 2]");
}

}  // namespace
}  // namespace dirty_seg
