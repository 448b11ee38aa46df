// Lack of memory: request after request of Init and of DoInference fails, once or from then on.
// std::bad_alloc comes out, or OpenCV's own error for it, or the call succeeds; nothing leaks, and
// the next call works.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>

#include "failing_memory.h"
#include "scripted_frame.h"
#include "support/memory_file.h"

namespace faults {
namespace {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;

// Whether the call returned true; nothing when memory ran out. Every other exception passes on.
template <typename Call>
std::optional<bool> Try(Call&& call, std::size_t n, bool forever) {
  const FailingMemory failing(n, forever);
  try {
    return call();
  } catch (const std::bad_alloc&) {
  } catch (const cv::Exception& exception) {
    if (exception.code != cv::Error::StsNoMem) throw;
  }
  return std::nullopt;
}

// The parameter: whether memory fails from then on.
class LackOfMemory : public testing::TestWithParam<bool> {
 protected:
  // What is made once a process, and what the libraries keep, is made before anything is counted.
  void SetUp() override {
    setenv("SPDLOG_STDOUT", "false", 1);
    ScriptAgain();
    DirtySegDetector detector;
    ASSERT_TRUE(detector.Init(config_));
    ExpectWholeFrame(detector);
  }

  static void ScriptAgain() {
    scripted_engine::Reset();
    ScriptFrame();
  }

  void ExpectWholeFrame(DirtySegDetector& detector) const {
    std::shared_ptr<DirtyStatusResultData> result;
    ASSERT_TRUE(detector.DoInference(images_, result));
    EXPECT_TRUE(IsWhole(*result));
  }

  // One detector that runs out of memory in its first Init; whether it came to that.
  bool FailInit(std::size_t n) {
    ScriptAgain();
    DirtySegDetector detector;
    const auto outcome = Try([&] { return detector.Init(config_); }, n, GetParam());
    const bool has_failed = FailingMemory::HasFailed();
    if (outcome) {
      EXPECT_TRUE(*outcome);
      EXPECT_EQ(detector.patches_.size(), 2U);
    }
    detector.patches_.clear();  // a second Init appends
    EXPECT_TRUE(detector.Init(config_));
    ExpectWholeFrame(detector);
    return has_failed;
  }

  // The same in its second frame.
  bool FailFrame(std::size_t n) {
    ScriptAgain();
    DirtySegDetector detector;
    EXPECT_TRUE(detector.Init(config_));
    ExpectWholeFrame(detector);
    const auto before = std::make_shared<DirtyStatusResultData>();
    auto result = before;
    const auto outcome = Try([&] { return detector.DoInference(images_, result); }, n, GetParam());
    const bool has_failed = FailingMemory::HasFailed();
    EXPECT_TRUE(outcome.value_or(true));
    // The last line is logged when the result is in place.
    EXPECT_TRUE(IsWhole(*result) || (!outcome && result == before));
    ExpectWholeFrame(detector);
    return has_failed;
  }

  // Runs `fail` for every request that there is; how many there were.
  template <typename Fail>
  std::size_t ForEveryRequest(Fail&& fail) {
    for (std::size_t n = 1;; ++n) {
      SCOPED_TRACE("request " + std::to_string(n));
      scripted_engine::Reset();
      const long before = LiveBlocks();
      const bool has_failed = fail(n);
      scripted_engine::Reset();
      EXPECT_EQ(LiveBlocks(), before);
      if (!has_failed) return n - 1;
      if (HasFailure()) return n;
    }
  }

  nuvik::test::MemoryFile file_{kTwoPatches};
  DirtySegDetectorConfig config_ = ScriptedConfig(file_.path());
  ImageMap images_ = Frame();
};

TEST_P(LackOfMemory, InInit) {
  const std::size_t requests = ForEveryRequest([this](std::size_t n) { return FailInit(n); });
  EXPECT_GT(requests, 100U);
  std::printf("%zu requests of Init failed\n", requests);
}

TEST_P(LackOfMemory, InDoInference) {
  const std::size_t requests = ForEveryRequest([this](std::size_t n) { return FailFrame(n); });
  EXPECT_GT(requests, 50U);
  std::printf("%zu requests of DoInference failed\n", requests);
}

INSTANTIATE_TEST_SUITE_P(Memory, LackOfMemory, testing::Bool(), [](const auto& test) {
  return test.param ? std::string("Forever") : std::string("Once");
});

}  // namespace
}  // namespace faults
