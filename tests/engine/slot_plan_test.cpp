// Which networks run slot by slot, and the threads for it.
#include "engine/slot_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nuvik::alg::common {
namespace {

using Shape = std::vector<std::int64_t>;

struct Plan {
  std::int64_t slots;
  int threads;
  int workers;
  int operator_threads;
};

TEST(ThreadPlan, GivesThreadsToSlotsAndTheRestToOperators) {
  const std::vector<Plan> plans{
      {1, 1, 1, 1}, {1, 4, 1, 4},                                // the whole batch at once
      {6, 1, 1, 1}, {6, 2, 2, 1},           {6, 3, 3, 1},        // rounds of that many slots
      {6, 4, 3, 2}, {6, 5, 3, 3},                                // two rounds of three each
      {6, 6, 6, 1}, {6, 8, 6, 3},           {2, 1024, 2, 1023},  // one round
      {7, 4, 4, 1}, {1025, 1024, 513, 512}, {3, 2, 2, 1},
  };
  for (const Plan& expected : plans) {
    SCOPED_TRACE(std::to_string(expected.slots) + " slots, " + std::to_string(expected.threads) +
                 " threads");
    const ThreadPlan plan(expected.slots, expected.threads);
    EXPECT_EQ(plan.workers, expected.workers);
    EXPECT_EQ(plan.operator_threads, expected.operator_threads);
  }
}

DeclaredTensor Declared(const std::string& name, const std::vector<std::string>& shape) {
  DeclaredTensor tensor;
  tensor.name = name;
  tensor.shape = shape;
  tensor.has_shape = true;
  return tensor;
}

// A network of one input and two outputs, configured with a batch of 3.
class SlotsOfTest : public testing::Test {
 protected:
  SlotsOfTest() {
    declared_.inputs = {Declared("images", {"1", "3", "64", "64"})};
    declared_.outputs = {Declared("a", {"1", "38", "84"}), Declared("b", {"1", "32"})};
    config_.input_sizes = {{"images", 0}};
    config_.output_sizes = {{"a", 0}, {"b", 0}};
    config_.input_shapes = {{"images", {3, 3, 64, 64}}};
    config_.output_shapes = {{"a", {3, 38, 84}}, {"b", {3, 32}}};
  }

  std::int64_t Slots() const { return SlotsOf(config_, declared_); }

  OnnxDescription declared_;
  AIEngineConfig config_;
};

TEST_F(SlotsOfTest, AreThoseOfAllTensorsOfANetworkOfBatchOne) { EXPECT_EQ(Slots(), 3); }

TEST_F(SlotsOfTest, AreThoseOfANetworkWithAnOpenBatch) {
  declared_.inputs[0].shape[0] = "batch";
  declared_.outputs[0].shape[0] = "?";
  declared_.outputs[1].shape[0] = "-1";
  EXPECT_EQ(Slots(), 3);
}

TEST_F(SlotsOfTest, AreThoseOfANetworkWithAnOutputOfUnknownRank) {
  declared_.outputs[0].has_shape = false;
  declared_.outputs[0].shape.clear();
  EXPECT_EQ(Slots(), 3);
}

TEST_F(SlotsOfTest, AreOneForALargerFixedBatch) {
  declared_.inputs[0].shape[0] = "3";
  EXPECT_EQ(Slots(), 1);
}

TEST_F(SlotsOfTest, AreOneWhereAnOutputHasAFixedFirstDimension) {
  declared_.outputs[1].shape[0] = "3";
  EXPECT_EQ(Slots(), 1);
}

TEST_F(SlotsOfTest, AreOneForAScalarOutput) {
  declared_.outputs[1].shape.clear();
  EXPECT_EQ(Slots(), 1);
}

TEST_F(SlotsOfTest, AreOneWhereTheConfiguredTensorsHaveDifferentNumbers) {
  config_.output_shapes["b"][0] = 1;
  EXPECT_EQ(Slots(), 1);
}

TEST_F(SlotsOfTest, DoNotDependOnAnOutputThatIsNotConfigured) {
  declared_.outputs[1].shape[0] = "84";
  config_.output_sizes.erase("b");
  EXPECT_EQ(Slots(), 3);
}

TEST_F(SlotsOfTest, AreOneWithoutAShape) {
  config_.input_shapes.clear();
  EXPECT_EQ(Slots(), 1);
  config_.input_shapes["images"];
  EXPECT_EQ(Slots(), 1);
}

TEST_F(SlotsOfTest, AreOneForAFileThatDeclaresNothing) {
  declared_ = OnnxDescription();
  EXPECT_EQ(Slots(), 1);
}

}  // namespace
}  // namespace nuvik::alg::common
