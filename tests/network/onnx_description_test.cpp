// What ONNX files declare.
#include "network/onnx_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace nuvik::alg::common {
namespace {

using testing::ElementsAre;
using testing::Pair;

OnnxDescription Describe(const std::string& network) {
  std::ifstream file(TEST_NETWORKS_FOLDER "/" + network + ".onnx", std::ios::binary);
  return DescribeOnnxFile(file);
}

TEST(OnnxDescription, TellsOpenDimensionsByName) {
  const OnnxDescription description = Describe("seg-dynamic");
  ASSERT_EQ(description.inputs.size(), 1U);
  EXPECT_EQ(description.inputs[0].name, "images");
  EXPECT_EQ(DeclarationText(description.inputs[0]), "float32 [batch, 3, height, width]");
  ASSERT_EQ(description.outputs.size(), 2U);
  EXPECT_EQ(DeclarationText(description.outputs[0]), "float32 [batch, 38, anchors]");
}

TEST(OnnxDescription, TellsElementTypesThatTheEngineDoesNotCarry) {
  EXPECT_EQ(DeclarationText(Describe("bool").inputs.at(0)), "bool [1, 4]");
  EXPECT_EQ(DeclarationText(Describe("string").inputs.at(0)), "string [1, 4]");
}

TEST(OnnxDescription, TellsOriginOperatorsAndMetadata) {
  const OnnxDescription description = Describe("seg-b2-64");
  EXPECT_EQ(description.producer, "dirty_seg");
  EXPECT_THAT(description.opsets, ElementsAre(Pair("ai.onnx", 17)));
  EXPECT_THAT(description.metadata,
              ElementsAre(Pair("names", "{0: 'red', 1: 'green'}"), Pair("task", "segment")));
}

TEST(OnnxDescription, OfSomethingElseIsEmpty) {
  std::istringstream text("");
  const OnnxDescription description = DescribeOnnxFile(text);
  EXPECT_TRUE(description.inputs.empty());
  EXPECT_TRUE(description.metadata.empty());
}

TEST(OnnxDescription, SaysThatARankIsUnknown) {
  EXPECT_EQ(DeclarationText({"x", "float32", {}, false}), "float32 of unknown rank");
  EXPECT_EQ(DeclarationText({"x", "float32", {}, true}), "float32 []");
}

TEST(DeclaredTensor, MayHoldOneSlotWhereItsFirstDimensionIsOneOrOpen) {
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {"1", "3"}, true}.MayHoldOneSlot()));
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {"batch", "3"}, true}.MayHoldOneSlot()));
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {"?"}, true}.MayHoldOneSlot()));
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {"-1"}, true}.MayHoldOneSlot()));
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {}, false}.MayHoldOneSlot()));
  EXPECT_FALSE((DeclaredTensor{"x", "float32", {}, true}.MayHoldOneSlot()));
  EXPECT_FALSE((DeclaredTensor{"x", "float32", {"6", "3"}, true}.MayHoldOneSlot()));
  EXPECT_FALSE((DeclaredTensor{"x", "float32", {"11"}, true}.MayHoldOneSlot()));
}

TEST(DeclaredTensor, HasAnOpenBatchWhereItsFirstDimensionIsNotANumber) {
  EXPECT_TRUE((DeclaredTensor{"x", "float32", {"batch", "3"}, true}.HasOpenBatch()));
  EXPECT_FALSE((DeclaredTensor{"x", "float32", {"1", "width"}, true}.HasOpenBatch()));
  EXPECT_FALSE((DeclaredTensor{"x", "float32", {}, false}.HasOpenBatch()));
}

}  // namespace
}  // namespace nuvik::alg::common
