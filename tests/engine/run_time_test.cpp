// TakeRunTime: which calls it counts, and whose.
#include "engine/run_time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "engine/ai_engine.h"
#include "support/network_files.h"
#include "support/standard_error.h"

namespace nuvik::alg::common {
namespace {

using test::ConfigOf;
using test::Fill;
using test::MakeBuffers;
using test::NetworkPath;
using test::StandardErrorOf;

static_assert(noexcept(TakeRunTime()));

// Every test begins with nothing to take. The network fails on numbers of 1.
class RunTimeTest : public testing::Test {
 protected:
  RunTimeTest()
      : config_(ConfigOf(NetworkPath("fails-later"))),
        inputs_(MakeBuffers(config_.input_sizes)),
        outputs_(MakeBuffers(config_.output_sizes)) {
    TakeRunTime();
    EXPECT_EQ(engine_.Init(config_), 0);
  }

  int Infer() { return engine_.DoInference(inputs_, outputs_); }

  AIEngineConfig config_;
  std::map<std::string, AIBuff> inputs_;
  std::map<std::string, AIBuff> outputs_;
  AIEngine engine_;
};

TEST_F(RunTimeTest, IsNothingBeforeARun) {
  const RunTime time = TakeRunTime();  // after the trial run of Init
  EXPECT_EQ(time.runs, 0);
  EXPECT_EQ(time.milliseconds, 0.0);
}

// The calls measured from outside take longer by hardly more than the reading of two clocks. A
// quarter leaves room for a machine that stops this thread just there.
TEST_F(RunTimeTest, IsWhatTheRunsTake) {
  double outside = 0.0;
  for (int i = 0; i < 10000; ++i) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(Infer(), kAIOk);
    const auto end = std::chrono::steady_clock::now();
    outside += std::chrono::duration<double, std::milli>(end - start).count();
  }
  const RunTime time = TakeRunTime();
  EXPECT_EQ(time.runs, 10000);
  EXPECT_LE(time.milliseconds, outside + 1e-3);  // rounding of ten thousand sums
  EXPECT_GT(time.milliseconds, outside / 4);
}

TEST_F(RunTimeTest, IsHandedOutOnce) {
  ASSERT_EQ(Infer(), kAIOk);
  EXPECT_EQ(TakeRunTime().runs, 1);
  const RunTime again = TakeRunTime();
  EXPECT_EQ(again.runs, 0);
  EXPECT_EQ(again.milliseconds, 0.0);
}

TEST_F(RunTimeTest, CountsRunsThatFail) {
  Fill(inputs_.at("x"), 0, 1, 1.0F);
  StandardErrorOf([&] { EXPECT_EQ(Infer(), kAIRuntimeFailure); });
  const RunTime failed = TakeRunTime();
  EXPECT_EQ(failed.runs, 1);
  EXPECT_GT(failed.milliseconds, 0.0);
  inputs_.clear();
  EXPECT_EQ(Infer(), kAIMissingBuffer);
  EXPECT_EQ(AIEngine().DoInference(inputs_, outputs_), kAINotInitialised);
  EXPECT_EQ(TakeRunTime().runs, 2);
}

TEST_F(RunTimeTest, CountsTheRunsOfEveryEngine) {
  AIEngine other;
  ASSERT_EQ(other.Init(config_), 0);
  EXPECT_EQ(Infer(), kAIOk);
  EXPECT_EQ(other.DoInference(inputs_, outputs_), kAIOk);
  EXPECT_EQ(TakeRunTime().runs, 2);
}

TEST_F(RunTimeTest, IsOfTheCallingThread) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Infer(), kAIOk);
  RunTime before{-1, -1.0};
  RunTime after;
  std::thread([&] {
    before = TakeRunTime();
    EXPECT_EQ(Infer(), kAIOk);
    after = TakeRunTime();
  }).join();
  EXPECT_EQ(before.runs, 0);
  EXPECT_EQ(before.milliseconds, 0.0);
  EXPECT_EQ(after.runs, 1);
  EXPECT_GT(after.milliseconds, 0.0);
  EXPECT_EQ(TakeRunTime().runs, 3);
}

// A run of several slots works on other threads too, and is one run of its caller.
TEST_F(RunTimeTest, CountsARunOfSeveralSlotsOnce) {
  AIEngineConfig config = ConfigOf(NetworkPath("fails-later"), 4);
  config.thread_count = 3;
  AIEngine engine;
  ASSERT_EQ(engine.Init(config), 0);
  std::map<std::string, AIBuff> inputs = MakeBuffers(config.input_sizes);
  std::map<std::string, AIBuff> outputs = MakeBuffers(config.output_sizes);
  EXPECT_EQ(engine.DoInference(inputs, outputs), kAIOk);
  EXPECT_EQ(TakeRunTime().runs, 1);
}

}  // namespace
}  // namespace nuvik::alg::common
