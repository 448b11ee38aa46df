// AIEngine::DoInference: the buffers' own storage, every status, threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/ai_engine.h"
#include "support/network_files.h"
#include "support/process.h"
#include "support/standard_error.h"

namespace nuvik::alg::common {
namespace {

using test::ConfigOf;
using test::Fill;
using test::MakeBuffers;
using test::NetworkPath;
using test::NumbersOf;
using test::StandardErrorOf;
using test::ThreadCount;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using BufferMap = std::map<std::string, AIBuff>;

constexpr std::uint8_t kUntouched = 0xA5;
constexpr std::size_t kPlane = 64 * 64;

// The seven rows of anchor 0 that are not always 0: box, both scores, the first coefficient.
std::vector<float> FirstAnchor(const std::vector<float>& predictions, std::size_t slot) {
  std::vector<float> rows;
  for (std::size_t row = 0; row < 7; ++row) rows.push_back(predictions[(slot * 38 + row) * 84]);
  return rows;
}

// An engine on a test network with a set of buffers of the right sizes.
class EngineInference : public testing::Test {
 protected:
  void Load(const std::string& network, std::int64_t batch = 1) {
    config_ = ConfigOf(NetworkPath(network), batch);
    ASSERT_EQ(engine_.Init(config_), 0);
    inputs_ = MakeBuffers(config_.input_sizes);
    outputs_ = MakeBuffers(config_.output_sizes);
    for (auto& [name, buffer] : outputs_) {
      std::fill(buffer.data->begin(), buffer.data->end(), kUntouched);
    }
  }

  // Runs and expects a refusal that says nothing and leaves the outputs as they were.
  void ExpectRefused(int status) {
    EXPECT_THAT(StandardErrorOf([&] { EXPECT_EQ(engine_.DoInference(inputs_, outputs_), status); }),
                IsEmpty());
    for (const auto& [name, buffer] : outputs_) {
      if (buffer.data == nullptr) continue;
      EXPECT_THAT(*buffer.data, Each(kUntouched)) << name;
    }
  }

  // Fills the three planes of one picture of "images".
  void Paint(std::size_t slot, float red, float green, float blue) {
    AIBuff& images = inputs_.at("images");
    Fill(images, (slot * 3 + 0) * kPlane, kPlane, red);
    Fill(images, (slot * 3 + 1) * kPlane, kPlane, green);
    Fill(images, (slot * 3 + 2) * kPlane, kPlane, blue);
  }

  AIEngineConfig config_;
  AIEngine engine_;
  BufferMap inputs_;
  BufferMap outputs_;
};

TEST_F(EngineInference, ComputesEverySlotFromItsOwnPicture) {
  Load("seg-b2-64");
  Paint(0, 0.25F, 0.5F, 0.75F);
  Paint(1, 0.5F, 0.125F, 1.0F);
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  const std::vector<float> predictions = NumbersOf<float>(outputs_.at("output0"));
  const std::vector<float> prototypes = NumbersOf<float>(outputs_.at("output1"));
  ASSERT_EQ(predictions.size(), 2U * 38 * 84);
  ASSERT_EQ(prototypes.size(), 2U * 32 * 256);
  EXPECT_THAT(FirstAnchor(predictions, 0), ElementsAre(32, 32, 32, 16, 0.25F, 0.5F, 1));
  EXPECT_THAT(FirstAnchor(predictions, 1), ElementsAre(32, 32, 32, 16, 0.5F, 0.125F, 1));
  EXPECT_EQ(predictions[1], 0.0F);  // the second anchor
  for (std::size_t cell = 0; cell < 256; ++cell) {
    ASSERT_EQ(prototypes[cell], 4.0F);
    ASSERT_EQ(prototypes[256 + cell], 0.75F);
    ASSERT_EQ(prototypes[32 * 256 + 256 + cell], 1.0F);
    ASSERT_EQ(prototypes[2 * 256 + cell], 0.0F);
  }
}

TEST_F(EngineInference, ComputesEveryFrameAnew) {
  Load("classifier-224");
  for (const float value : {0.5F, 0.25F, 1.0F, 0.0F}) {
    Fill(inputs_.at("input"), 0, 224U * 224U, value);
    Fill(inputs_.at("input"), 2U * 224U * 224U, 224U * 224U, 1.0F - value);
    ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
    const std::vector<float> output = NumbersOf<float>(outputs_.at("output"));
    ASSERT_EQ(output.size(), 2U);
    // The mean of 50,176 equal numbers, summed in an order of the runtime's choice.
    EXPECT_NEAR(output[0], value, 1e-5);
    EXPECT_NEAR(output[1], 1.0F - value, 1e-5);
  }
}

TEST_F(EngineInference, RunsOpenDimensionsAtTheConfiguredSize) {
  Load("seg-dynamic", 2);
  Paint(0, 0.25F, 0.5F, 0.75F);
  Paint(1, 0.5F, 0.125F, 1.0F);
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  const std::vector<float> predictions = NumbersOf<float>(outputs_.at("output0"));
  ASSERT_EQ(predictions.size(), 2U * 38 * 84);
  EXPECT_EQ(predictions[4 * 84], 0.25F);
  EXPECT_EQ(predictions[(38 + 4) * 84], 0.5F);
}

TEST_F(EngineInference, ReadsAndWritesTheBuffersOwnStorage) {
  Load("seg-b2-64");
  std::map<std::string, const std::uint8_t*> storage;
  std::map<std::string, const std::vector<std::uint8_t>*> vectors;
  for (BufferMap* buffers : {&inputs_, &outputs_}) {
    for (const auto& [name, buffer] : *buffers) {
      storage[name] = buffer.data->data();
      vectors[name] = buffer.data.get();
    }
  }
  Paint(1, 0.5F, 0.5F, 0.5F);
  const std::vector<std::uint8_t> images = *inputs_.at("images").data;
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  for (BufferMap* buffers : {&inputs_, &outputs_}) {
    for (const auto& [name, buffer] : *buffers) {
      EXPECT_EQ(buffer.data->data(), storage.at(name)) << name;
      EXPECT_EQ(buffer.data.get(), vectors.at(name)) << name;
    }
  }
  EXPECT_EQ(*inputs_.at("images").data, images);
  // Memory that was handed out before the call sees the result.
  float score = 0;
  std::memcpy(&score, storage.at("output0") + (38 + 4) * 84 * sizeof(float), sizeof(float));
  EXPECT_EQ(score, 0.5F);
}

TEST_F(EngineInference, TakesOtherBuffersInEveryCall) {
  Load("seg-b2-64");
  for (const float value : {0.25F, 0.5F}) {
    inputs_ = MakeBuffers(config_.input_sizes);
    outputs_ = MakeBuffers(config_.output_sizes);
    Paint(0, value, 0, 0);
    ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
    EXPECT_EQ(NumbersOf<float>(outputs_.at("output0"))[4 * 84], value);
  }
}

TEST_F(EngineInference, WritesNoByteBeyondAnOutput) {
  Load("seg-b2-64");
  constexpr std::size_t kGuard = 64;
  for (auto& [name, buffer] : outputs_) {
    const std::size_t bytes = buffer.data->size();
    buffer.data->resize(bytes + kGuard, kUntouched);
    buffer.data->resize(bytes);  // keeps the memory and the guard behind it
  }
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  for (const auto& [name, buffer] : outputs_) {
    const std::uint8_t* guard = buffer.data->data() + buffer.data->size();
    EXPECT_THAT(std::vector<std::uint8_t>(guard, guard + kGuard), Each(kUntouched)) << name;
    EXPECT_THAT(std::vector<std::uint8_t>(guard - 4, guard), Each(0)) << name;
  }
}

TEST_F(EngineInference, LeavesBuffersThatAreNotConfiguredAlone) {
  Load("seg-b2-64");
  inputs_["depth"].data->assign(5, kUntouched);
  inputs_["empty"].data = nullptr;
  outputs_["extra"].data->assign(7, kUntouched);
  outputs_["extra"].memory_type = 3;
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  EXPECT_EQ(*inputs_.at("depth").data, std::vector<std::uint8_t>(5, kUntouched));
  EXPECT_EQ(*outputs_.at("extra").data, std::vector<std::uint8_t>(7, kUntouched));
  EXPECT_EQ(inputs_.size(), 3U);
  EXPECT_EQ(outputs_.size(), 3U);
}

TEST_F(EngineInference, ComputesOnlyTheConfiguredOutputs) {
  Load("seg-b2-64");
  AIEngineConfig config = config_;
  config.output_sizes.erase("output0");
  ASSERT_EQ(engine_.Init(config), 0);
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  EXPECT_THAT(*outputs_.at("output0").data, Each(kUntouched));
  EXPECT_EQ(NumbersOf<float>(outputs_.at("output1"))[0], 4.0F);
}

TEST_F(EngineInference, DoesNotLookAtTypeAndShapeOfABuffer) {
  Load("seg-b2-64");
  for (BufferMap* buffers : {&inputs_, &outputs_}) {
    for (auto& [name, buffer] : *buffers) {
      buffer.data_type = 77;
      buffer.shape = {1, 2, 3};
      buffer.used_slots = 1;
    }
  }
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  EXPECT_EQ(outputs_.at("output0").data_type, 77U);
  EXPECT_EQ(outputs_.at("output0").shape, (std::vector<std::int64_t>{1, 2, 3}));
}

TEST_F(EngineInference, PassesEveryElementTypeOnToTheBit) {
  Load("types");
  ASSERT_EQ(inputs_.size(), 6U);
  std::mt19937 random(7);
  for (int round = 0; round < 10; ++round) {
    for (auto& [name, buffer] : inputs_) {
      for (std::uint8_t& byte : *buffer.data) byte = static_cast<std::uint8_t>(random());
    }
    ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
    for (const auto& [name, buffer] : inputs_) {
      EXPECT_EQ(*buffer.data, *outputs_.at(name + "_out").data) << name;
    }
  }
}

TEST_F(EngineInference, HalfPrecisionOutputsAreBinary16) {
  Load("seg-b2-64-f16");
  Paint(0, 0.25F, 0, 0);
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  const std::vector<std::uint16_t> predictions = NumbersOf<std::uint16_t>(outputs_.at("output0"));
  ASSERT_EQ(predictions.size(), 2U * 38 * 84);
  EXPECT_EQ(predictions[0], 0x5000);       // 32
  EXPECT_EQ(predictions[4 * 84], 0x3400);  // 0.25
}

// Networks that compute in float16 or in 8 bits give the numbers of the float32 one, where these
// are exact in all three.
class EngineArithmetic : public EngineInference, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Networks, EngineArithmetic,
                         testing::Values("seg-b2-64", "seg-b2-64-half", "seg-b2-64-quantised"),
                         [](const auto& network) {
                           std::string name = network.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST_P(EngineArithmetic, ComputesEverySlotFromItsOwnPicture) {
  Load(GetParam());
  Paint(0, 0.25F, 0.5F, 0.75F);
  Paint(1, 0.5F, 0.75F, 0.25F);
  ASSERT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  const std::vector<float> predictions = NumbersOf<float>(outputs_.at("output0"));
  const std::vector<float> prototypes = NumbersOf<float>(outputs_.at("output1"));
  ASSERT_EQ(predictions.size(), 2U * 38 * 84);
  ASSERT_EQ(prototypes.size(), 2U * 32 * 256);
  EXPECT_THAT(FirstAnchor(predictions, 0), ElementsAre(32, 32, 32, 16, 0.25F, 0.5F, 1));
  EXPECT_THAT(FirstAnchor(predictions, 1), ElementsAre(32, 32, 32, 16, 0.5F, 0.75F, 1));
  EXPECT_EQ(prototypes[0], 4.0F);
  EXPECT_EQ(prototypes[32 * 256], 4.0F);
  EXPECT_EQ(prototypes[256], 0.75F);
  EXPECT_EQ(prototypes[33 * 256], 0.25F);
}

// --- Statuses

TEST_F(EngineInference, WithoutInitIsNotInitialised) {
  inputs_["images"].data->assign(4, kUntouched);
  outputs_["output0"].data->assign(4, kUntouched);
  ExpectRefused(kAINotInitialised);
}

TEST_F(EngineInference, AMissingInputIsAMissingBuffer) {
  Load("seg-b2-64");
  inputs_.erase("images");
  ExpectRefused(kAIMissingBuffer);
  EXPECT_THAT(inputs_, IsEmpty());
}

TEST_F(EngineInference, AMissingOutputIsAMissingBuffer) {
  Load("seg-b2-64");
  outputs_.erase("output1");
  ExpectRefused(kAIMissingBuffer);
  EXPECT_EQ(outputs_.size(), 1U);
}

TEST_F(EngineInference, ABufferWithoutStorageIsAMissingBuffer) {
  Load("seg-b2-64");
  outputs_.at("output1").data = nullptr;
  ExpectRefused(kAIMissingBuffer);
  inputs_.at("images").data = nullptr;
  ExpectRefused(kAIMissingBuffer);
}

TEST_F(EngineInference, AnInputOfAnotherLengthIsAWrongSize) {
  Load("seg-b2-64");
  for (const std::size_t bytes : {98303U, 98305U, 0U, 49152U}) {
    inputs_.at("images").data->resize(bytes);
    ExpectRefused(kAIWrongSize);
    EXPECT_EQ(inputs_.at("images").data->size(), bytes);
  }
}

TEST_F(EngineInference, AnOutputOfAnotherLengthIsAWrongSize) {
  Load("seg-b2-64");
  for (const std::size_t bytes : {25535U, 25537U, 0U}) {
    outputs_.at("output0").data->resize(bytes, kUntouched);
    ExpectRefused(kAIWrongSize);
    EXPECT_EQ(outputs_.at("output0").data->size(), bytes);
  }
}

TEST_F(EngineInference, ABufferOutsideHostMemoryIsWrongMemory) {
  Load("seg-b2-64");
  inputs_.at("images").memory_type = 1;
  ExpectRefused(kAIWrongMemory);
  inputs_.at("images").memory_type = kAIHostMemory;
  outputs_.at("output1").memory_type = -1;
  ExpectRefused(kAIWrongMemory);
}

TEST_F(EngineInference, InputsAreLookedAtBeforeOutputs) {
  Load("seg-b2-64");
  inputs_.at("images").data->resize(1);
  outputs_.erase("output1");
  ExpectRefused(kAIWrongSize);
}

TEST_F(EngineInference, StorageIsLookedAtBeforeItsMemory) {
  Load("seg-b2-64");
  inputs_.at("images").data = nullptr;
  inputs_.at("images").memory_type = 1;
  ExpectRefused(kAIMissingBuffer);
}

TEST_F(EngineInference, OneBufferIsLookedAtWhollyBeforeTheNext) {
  Load("seg-b2-64");
  outputs_.at("output0").data->resize(25535, kUntouched);
  outputs_.erase("output1");
  ExpectRefused(kAIWrongSize);
}

TEST_F(EngineInference, MemoryIsLookedAtBeforeTheLength) {
  Load("seg-b2-64");
  inputs_.at("images").memory_type = 1;
  inputs_.at("images").data->resize(1);
  ExpectRefused(kAIWrongMemory);
}

TEST_F(EngineInference, RunsAgainAfterARefusal) {
  Load("seg-b2-64");
  AIBuff images = inputs_.at("images");
  inputs_.clear();
  ExpectRefused(kAIMissingBuffer);
  inputs_["images"] = images;
  EXPECT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
}

TEST_F(EngineInference, AFailureInsideTheRuntimeIsAStatusAndOneLine) {
  Load("fails-later");
  Fill(inputs_.at("x"), 0, 1, 1.0F);
  const std::vector<std::string> lines = StandardErrorOf(
      [&] { EXPECT_EQ(engine_.DoInference(inputs_, outputs_), kAIRuntimeFailure); });
  const std::string ours = "libtessmar_ai_engine: inference failed: ";
  EXPECT_THAT(lines, ElementsAre(testing::AllOf(StartsWith(ours), testing::Not(ours))));
}

TEST_F(EngineInference, RunsAgainAfterAFailureInsideTheRuntime) {
  Load("fails-later");
  for (int round = 0; round < 3; ++round) {
    Fill(inputs_.at("x"), 0, 1, 1.0F);
    StandardErrorOf([&] { EXPECT_EQ(engine_.DoInference(inputs_, outputs_), kAIRuntimeFailure); });
    Fill(inputs_.at("x"), 0, 1, 0.25F);
    EXPECT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
    EXPECT_THAT(NumbersOf<float>(outputs_.at("y")), ElementsAre(0.25F));
  }
}

TEST_F(EngineInference, SeveralEnginesAreIndependent) {
  Load("seg-b2-64");
  AIEngine other;
  const AIEngineConfig config = ConfigOf(NetworkPath("fails-later"));
  ASSERT_EQ(other.Init(config), 0);
  BufferMap inputs = MakeBuffers(config.input_sizes);
  BufferMap outputs = MakeBuffers(config.output_sizes);
  Fill(inputs.at("x"), 0, 1, 0.125F);
  EXPECT_EQ(other.DoInference(inputs, outputs), kAIOk);
  EXPECT_EQ(engine_.DoInference(inputs_, outputs_), kAIOk);
  EXPECT_THAT(NumbersOf<float>(outputs.at("y")), ElementsAre(0.125F));
}

TEST_F(EngineInference, EnginesInTwoThreadsAtOnceGiveTheirOwnResults) {
  const auto work = [](float value, int& faults) {
    AIEngine engine;
    const AIEngineConfig config = ConfigOf(NetworkPath("seg-b2-64"));
    if (engine.Init(config) != 0) ++faults;
    BufferMap inputs = MakeBuffers(config.input_sizes);
    BufferMap outputs = MakeBuffers(config.output_sizes);
    Fill(inputs.at("images"), 0, kPlane, value);
    for (int frame = 0; frame < 50; ++frame) {
      if (engine.DoInference(inputs, outputs) != 0) ++faults;
      if (NumbersOf<float>(outputs.at("output0"))[4 * 84] != value) ++faults;
    }
  };
  int first_faults = 0;
  int second_faults = 0;
  std::thread first(work, 0.25F, std::ref(first_faults));
  std::thread second(work, 0.5F, std::ref(second_faults));
  first.join();
  second.join();
  EXPECT_EQ(first_faults, 0);
  EXPECT_EQ(second_faults, 0);
}

// --- Threads

TEST(EngineThreads, AreAsManyAsConfiguredWithTheCallersOwn) {
  AIEngineConfig config = ConfigOf(NetworkPath("seg-b2-64"));
  for (const int count : {1, 2, 3, 5}) {
    const std::size_t before = ThreadCount();
    {
      AIEngine engine;
      config.thread_count = count;
      ASSERT_EQ(engine.Init(config), 0);
      const std::size_t more = static_cast<std::size_t>(count) - 1;
      EXPECT_EQ(ThreadCount(), before + more) << count << " after Init";
      BufferMap inputs = MakeBuffers(config.input_sizes);
      BufferMap outputs = MakeBuffers(config.output_sizes);
      ASSERT_EQ(engine.DoInference(inputs, outputs), kAIOk);
      EXPECT_EQ(ThreadCount(), before + more) << count << " after DoInference";
    }
    EXPECT_TRUE(test::ThreadCountBecomes(before))
        << ThreadCount() << " when the engine is gone, not " << before;
  }
}

TEST(EngineThreads, AreOneForEachCoreByDefault) {
  AIEngineConfig config = ConfigOf(NetworkPath("seg-b2-64"));
  config.thread_count = 0;
  const std::size_t before = ThreadCount();
  AIEngine engine;
  ASSERT_EQ(engine.Init(config), 0);
  EXPECT_EQ(ThreadCount(), before + std::max(1U, std::thread::hardware_concurrency()) - 1);
}

double SecondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Of processor time.
double ProcessorSeconds() { return SecondsOf(CLOCK_PROCESS_CPUTIME_ID); }
double ThreadSeconds() { return SecondsOf(CLOCK_THREAD_CPUTIME_ID); }

// An engine of two threads and its buffers: on one slot both are in the operators, on two each has
// one.
struct TwoThreads {
  explicit TwoThreads(std::int64_t slots) {
    AIEngineConfig config = ConfigOf(NetworkPath("classifier-dynamic-batch"), slots);
    config.thread_count = 2;
    EXPECT_EQ(engine.Init(config), 0);
    inputs = MakeBuffers(config.input_sizes);
    outputs = MakeBuffers(config.output_sizes);
  }

  void Infer() { ASSERT_EQ(engine.DoInference(inputs, outputs), kAIOk); }

  AIEngine engine;
  BufferMap inputs;
  BufferMap outputs;
};

// Over 300 ms. A thread that spins burns all of the time between two frames.
TEST(EngineThreads, SleepBetweenFrames) {
  constexpr int kFrames = 150;
  constexpr double kPause = 0.002;
  for (const std::int64_t slots : {1, 2}) {
    TwoThreads threads(slots);
    double between = 0;
    for (int frame = 0; frame < kFrames; ++frame) {
      threads.Infer();
      const double before = ProcessorSeconds();
      std::this_thread::sleep_for(std::chrono::duration<double>(kPause));
      between += ProcessorSeconds() - before;
    }
    EXPECT_LT(between, 0.05 * kFrames * kPause) << slots << " slots, seconds of processor time";
  }
}

// What the engines burn in the second's turn would be more than the one core that it has.
TEST(EngineThreads, LeaveTheCoresToAnotherEngineWhenTheirRunEnds) {
  AIEngineConfig config = ConfigOf(NetworkPath("classifier-dynamic-batch"));
  config.thread_count = 1;
  AIEngine second;
  ASSERT_EQ(second.Init(config), 0);
  BufferMap inputs = MakeBuffers(config.input_sizes);
  BufferMap outputs = MakeBuffers(config.output_sizes);
  for (const std::int64_t slots : {1, 2}) {
    TwoThreads first(slots);
    double burnt = 0;
    double own = 0;
    for (int frame = 0; frame < 100; ++frame) {
      first.Infer();
      const double before = ProcessorSeconds();
      const double own_before = ThreadSeconds();
      for (int run = 0; run < 10; ++run) {
        ASSERT_EQ(second.DoInference(inputs, outputs), kAIOk);
      }
      burnt += ProcessorSeconds() - before;
      own += ThreadSeconds() - own_before;
    }
    EXPECT_LT(burnt, 1.1 * own) << slots << " slots";
  }
}

TEST(EngineThreads, AreGoneAfterAFailedInit) {
  AIEngineConfig config = ConfigOf(NetworkPath("seg-b2-64"));
  config.thread_count = 3;
  const std::size_t before = ThreadCount();
  AIEngine engine;
  ASSERT_EQ(engine.Init(config), 0);
  config.output_sizes.clear();
  StandardErrorOf([&] { ASSERT_LT(engine.Init(config), 0); });
  EXPECT_TRUE(test::ThreadCountBecomes(before)) << ThreadCount() << ", not " << before;
}

}  // namespace
}  // namespace nuvik::alg::common
