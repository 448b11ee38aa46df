// The small records of the engine's interface.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "engine/ai_engine.h"
#include "engine/data_base.h"
#include "engine/to_string.h"
#include "engine/yolov8_postprocess.h"

namespace nuvik {
namespace {

TEST(DataBase, GivesTheNameItWasMadeWith) {
  const utils::DataBase record("dirty_seg_detector_res_data");
  EXPECT_EQ(record.name(), "dirty_seg_detector_res_data");
  EXPECT_EQ(utils::DataBase("").name(), "");
}

TEST(DataBase, StartsWithBothNumbersZero) {
  const utils::DataBase record("a");
  EXPECT_EQ(record.timestamp_ns, 0);
  EXPECT_EQ(record.sequence, 0);
}

class Derived : public utils::DataBase {
 public:
  explicit Derived(bool& destroyed) : DataBase("derived"), destroyed_(destroyed) {}
  Derived(const Derived&) = delete;
  Derived& operator=(const Derived&) = delete;
  ~Derived() override { destroyed_ = true; }

 private:
  bool& destroyed_;
};

TEST(DataBase, DestroysTheDerivedRecordThroughABasePointer) {
  bool destroyed = false;
  std::unique_ptr<utils::DataBase> record = std::make_unique<Derived>(destroyed);
  EXPECT_EQ(record->name(), "derived");
  EXPECT_FALSE(destroyed);
  record.reset();
  EXPECT_TRUE(destroyed);
}

class Renamed : public utils::DataBase {
 public:
  Renamed() : DataBase("base") {}
  const std::string& name() const override { return own_; }

 private:
  std::string own_ = "own";
};

TEST(DataBase, LetsADerivedRecordGiveAnotherName) {
  const Renamed record;
  const utils::DataBase& base = record;
  EXPECT_EQ(base.name(), "own");
}

TEST(DataBase, CopiesAreIndependent) {
  utils::DataBase original("first");
  original.sequence = 7;
  utils::DataBase copy = original;
  original = utils::DataBase("second");
  EXPECT_EQ(copy.name(), "first");
  EXPECT_EQ(copy.sequence, 7);
  EXPECT_EQ(original.name(), "second");
}

TEST(ToString, GivesTextUnchanged) {
  EXPECT_EQ(std::to_string(std::string("dirty seg detection inference")),
            "dirty seg detection inference");
  EXPECT_EQ(std::to_string(std::string()), "");
  EXPECT_EQ(std::to_string(std::string("a\0b%f", 5)), std::string("a\0b%f", 5));
}

TEST(AIBuff, StartsAsAnEmptyFloat32BufferInHostMemoryWithStorage) {
  const alg::common::AIBuff buffer;
  ASSERT_NE(buffer.data, nullptr);
  EXPECT_TRUE(buffer.data->empty());
  EXPECT_EQ(buffer.data_type, 2U);
  EXPECT_EQ(buffer.memory_type, 0);
  EXPECT_EQ(buffer.device_id, 0);
  EXPECT_TRUE(buffer.shape.empty());
  EXPECT_EQ(buffer.used_slots, 0);
}

TEST(AIBuff, TwoDefaultBuffersDoNotShareStorageAndCopiesDo) {
  const alg::common::AIBuff first;
  const alg::common::AIBuff second;
  const alg::common::AIBuff copy = first;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_NE(first.data, second.data);
  EXPECT_EQ(first.data, copy.data);
}

TEST(AIDataType, CodesAreThoseThatTheDetectorSizesBuffersBy) {
  EXPECT_EQ(alg::common::kAIUint8, 0U);
  EXPECT_EQ(alg::common::kAIFloat16, 1U);
  EXPECT_EQ(alg::common::kAIFloat32, 2U);
  EXPECT_EQ(alg::common::kAIInt32, 3U);
  EXPECT_EQ(alg::common::kAIInt64, 4U);
  EXPECT_EQ(alg::common::kAIFloat64, 5U);
}

// Hosts see the numbers: the detector logs them.
TEST(AIStatus, NumbersAreThoseOfTheInterface) {
  EXPECT_EQ(alg::common::kAIOk, 0);
  EXPECT_EQ(alg::common::kAINotInitialised, 1);
  EXPECT_EQ(alg::common::kAIMissingBuffer, 2);
  EXPECT_EQ(alg::common::kAIWrongSize, 3);
  EXPECT_EQ(alg::common::kAIWrongMemory, 4);
  EXPECT_EQ(alg::common::kAIRuntimeFailure, 5);
}

TEST(PostProcessStatus, NumbersAreThoseOfTheInterface) {
  EXPECT_EQ(model::kPostProcessOk, 0);
  EXPECT_EQ(model::kPostProcessMissingOutput, 1);
  EXPECT_EQ(model::kPostProcessWrongSize, 2);
}

TEST(AIMemoryType, HostMemoryIsZero) { EXPECT_EQ(alg::common::kAIHostMemory, 0); }

TEST(AIEngineConfig, AsksForOneThreadACoreOnTheProcessorByDefault) {
  const alg::common::AIEngineConfig config;
  EXPECT_EQ(config.thread_count, 0);
  EXPECT_EQ(config.device_id, 0);
}

TEST(Object, StartsWithoutBoxLabelScoreAndMask) {
  const model::Object object;
  EXPECT_EQ(object.x, 0.0F);
  EXPECT_EQ(object.y, 0.0F);
  EXPECT_EQ(object.width, 0.0F);
  EXPECT_EQ(object.height, 0.0F);
  EXPECT_EQ(object.label, 0);
  EXPECT_EQ(object.score, 0.0F);
  EXPECT_TRUE(object.mask.empty());
}

TEST(EngineTypes, CannotBeCopiedButHaveADefaultConstructorWhereTheyNeedOne) {
  EXPECT_TRUE(std::is_default_constructible_v<alg::common::AIEngine>);
  EXPECT_FALSE(std::is_copy_constructible_v<alg::common::AIEngine>);
  EXPECT_FALSE(std::is_copy_constructible_v<model::Yolov8Postprocess>);
  EXPECT_TRUE(std::has_virtual_destructor_v<utils::DataBase>);
}

}  // namespace
}  // namespace nuvik
