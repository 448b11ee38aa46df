// Networks that the engine runs slot by slot: the same bits as one slot alone gives, at every
// number of threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/network_reader.h"
#include "support/network_files.h"
#include "support/process.h"
#include "support/standard_error.h"

namespace nuvik::alg::common {
namespace {

using test::Fill;
using test::MakeBuffers;
using test::NetworkPath;
using test::NumbersOf;
using test::StandardErrorOf;
using test::ThreadCount;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using BufferMap = std::map<std::string, AIBuff>;

AIEngineConfig ConfigOf(const std::string& network, std::int64_t slots, int threads) {
  Network read;
  std::string error;
  EXPECT_EQ(ReadNetwork(NetworkPath(network), {slots, 64, 64}, read, error), 0) << error;
  EXPECT_TRUE(read.takes_any_batch);
  read.config.thread_count = threads;
  return read.config;
}

// An initialised engine and its buffers.
struct Loaded {
  explicit Loaded(const AIEngineConfig& config)
      : inputs(MakeBuffers(config.input_sizes)), outputs(MakeBuffers(config.output_sizes)) {
    EXPECT_EQ(engine.Init(config), 0);
  }

  int Infer() { return engine.DoInference(inputs, outputs); }

  AIEngine engine;
  BufferMap inputs;
  BufferMap outputs;
};

std::vector<float> RandomNumbers(std::size_t count) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> distribution(0.0F, 1.0F);
  std::vector<float> numbers(count);
  for (float& number : numbers) number = distribution(random);
  return numbers;
}

constexpr std::size_t kPicture = std::size_t{3} * 64 * 64;

// Slot `slot` of `tensor`, of `slots`.
std::vector<std::uint8_t> BytesOf(const AIBuff& tensor, std::size_t slot, std::size_t slots) {
  const auto length = static_cast<std::ptrdiff_t>(tensor.data->size() / slots);
  const auto begin = tensor.data->begin() + static_cast<std::ptrdiff_t>(slot) * length;
  return {begin, begin + length};
}

TEST(EngineSlots, OfANetworkOfBatchOneAreComputedEachFromItsOwnPicture) {
  Loaded loaded(ConfigOf("seg-b1-64", 5, 2));
  for (std::size_t slot = 0; slot < 5; ++slot) {
    Fill(loaded.inputs.at("images"), slot * kPicture, 64U * 64U,
         0.125F * static_cast<float>(slot + 1));
  }
  ASSERT_EQ(loaded.Infer(), kAIOk);
  const std::vector<float> predictions = NumbersOf<float>(loaded.outputs.at("output0"));
  const std::vector<float> prototypes = NumbersOf<float>(loaded.outputs.at("output1"));
  ASSERT_EQ(predictions.size(), 5U * 38 * 84);
  ASSERT_EQ(prototypes.size(), 5U * 32 * 256);
  for (std::size_t slot = 0; slot < 5; ++slot) {
    EXPECT_EQ(predictions[(slot * 38 + 4) * 84], 0.125F * static_cast<float>(slot + 1)) << slot;
    EXPECT_EQ(prototypes[slot * 32 * 256], 4.0F) << slot;
  }
}

TEST(EngineSlots, HaveTheSameBitsAtEveryNumberOfThreads) {
  constexpr std::size_t kSlots = 6;
  for (const char* network : {"seg-b1-64", "seg-dynamic"}) {
    const std::vector<float> pictures = RandomNumbers(kSlots * kPicture);
    const auto paint = [&pictures](AIBuff& tensor, std::size_t slot, std::size_t slots) {
      const auto* begin = reinterpret_cast<const std::uint8_t*>(&pictures[slot * kPicture]);
      tensor.data->assign(begin, begin + slots * kPicture * sizeof(float));
    };
    Loaded alone(ConfigOf(network, 1, 1));
    std::map<std::string, std::vector<std::vector<std::uint8_t>>> expected;
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      paint(alone.inputs.at("images"), slot, 1);
      ASSERT_EQ(alone.Infer(), kAIOk);
      for (const auto& [name, tensor] : alone.outputs) expected[name].push_back(*tensor.data);
    }
    for (const int threads : {1, 2, 3, 4, 5, 6, 8}) {
      Loaded loaded(ConfigOf(network, kSlots, threads));
      paint(loaded.inputs.at("images"), 0, kSlots);
      for (int frame = 0; frame < 3; ++frame) {
        ASSERT_EQ(loaded.Infer(), kAIOk);
        for (const auto& [name, slots] : expected) {
          for (std::size_t slot = 0; slot < kSlots; ++slot) {
            ASSERT_EQ(BytesOf(loaded.outputs.at(name), slot, kSlots), slots[slot])
                << network << ", " << threads << " threads, " << name << " of slot " << slot;
          }
        }
      }
    }
  }
}

TEST(EngineSlots, ThatFailFailTheFrameAndNotTheNext) {
  for (const int threads : {1, 2, 3}) {
    Loaded loaded(ConfigOf("fails-later", 3, threads));
    AIBuff& x = loaded.inputs.at("x");
    Fill(x, 4, 1, 0.75F);  // of the second slot
    EXPECT_THAT(StandardErrorOf([&] { EXPECT_EQ(loaded.Infer(), kAIRuntimeFailure); }),
                ElementsAre(StartsWith("libtessmar_ai_engine: inference failed: ")));
    Fill(x, 4, 1, 0.25F);
    Fill(x, 8, 1, 0.5F);
    EXPECT_THAT(StandardErrorOf([&] { EXPECT_EQ(loaded.Infer(), kAIOk); }), IsEmpty());
    EXPECT_THAT(NumbersOf<float>(loaded.outputs.at("y")), ElementsAre(0.0F, 0.25F, 0.5F));
  }
}

TEST(EngineSlots, ThatTheTrialRunFailsOnAreRefusedWithOneLine) {
  AIEngine engine;
  AIEngineConfig config;
  config.model_path = NetworkPath("fails-at-run");
  config.input_sizes = {{"x", 48}};
  config.input_shapes = {{"x", {3, 4}}};
  config.output_sizes = {{"y", 12}};
  config.output_shapes = {{"y", {3, 1}}};
  config.thread_count = 2;
  EXPECT_THAT(StandardErrorOf([&] { EXPECT_LT(engine.Init(config), 0); }),
              ElementsAre(StartsWith("libtessmar_ai_engine: '" + config.model_path +
                                     "': fails in a trial run on zeros: ")));
}

// Where the file only seems to leave it open.
TEST(EngineSlots, AreComputedTogetherWhereTheNetworkTakesNoOtherBatch) {
  Network read;
  std::string error;
  ASSERT_EQ(ReadNetwork(NetworkPath("seg-dynamic-b2-inside"), {2, 64, 64}, read, error), 0);
  EXPECT_FALSE(read.takes_any_batch);
  EXPECT_EQ(read.config.output_shapes.at("output0"), (std::vector<std::int64_t>{2, 38, 84}));
  read.config.thread_count = 2;
  Loaded loaded(read.config);
  Fill(loaded.inputs.at("images"), kPicture, 64U * 64U, 0.5F);
  ASSERT_EQ(loaded.Infer(), kAIOk);
  EXPECT_EQ(NumbersOf<float>(loaded.outputs.at("output0"))[(38 + 4) * 84], 0.5F);
}

TEST(EngineSlots, AreRefusedWhereTheTensorsHaveDifferentNumbersOfThem) {
  AIEngineConfig config = ConfigOf("seg-b1-64", 3, 1);
  config.output_shapes["output1"][0] = 1;
  config.output_sizes["output1"] = 0;
  AIEngine engine;
  EXPECT_THAT(StandardErrorOf([&] { EXPECT_LT(engine.Init(config), 0); }),
              ElementsAre("libtessmar_ai_engine: '" + config.model_path +
                          "': input 'images' is configured with shape [3, 3, 64, 64], the network "
                          "has [1, 3, 64, 64]"));
}

TEST(EngineSlots, NeedTheWholeBatchsStorage) {
  Loaded loaded(ConfigOf("seg-b1-64", 3, 1));
  loaded.inputs.at("images").data->resize(kPicture * sizeof(float));
  EXPECT_EQ(loaded.Infer(), kAIWrongSize);
}

TEST(EngineSlots, UseAsManyThreadsAsConfigured) {
  for (const int threads : {1, 2, 3, 5}) {
    const AIEngineConfig config = ConfigOf("seg-b1-64", 3, threads);
    const std::size_t before = ThreadCount();
    {
      Loaded loaded(config);
      const std::size_t more = static_cast<std::size_t>(threads) - 1;
      EXPECT_EQ(ThreadCount(), before + more) << threads;
      ASSERT_EQ(loaded.Infer(), kAIOk);
      EXPECT_EQ(ThreadCount(), before + more) << threads;
    }
    EXPECT_TRUE(test::ThreadCountBecomes(before)) << threads;
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Ends the process.
void InitWithMoreWorkersThanFit() {
  const AIEngineConfig config = ConfigOf("seg-dynamic", 1000, 1000);
  if (!test::LeaveRoomFor(512)) std::_Exit(2);
  AIEngine engine;
  std::_Exit(engine.Init(config) < 0 ? 0 : 1);
}

// Not taken for a batch that is another size inside, which would be tried in one run.
TEST(EngineSlotsDeathTest, OfAnOpenBatchRefuseAWorkerThatCannotBeStarted) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(InitWithMoreWorkersThanFit(), testing::ExitedWithCode(0),
              "worker thread [0-9]+ of 999 cannot be started: Resource temporarily unavailable");
}

#endif

}  // namespace
}  // namespace nuvik::alg::common
