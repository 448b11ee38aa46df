// Threads: two detectors in two, and none of the library's own. ctest runs each test in a process
// of its own, so that the first line of each is the process's first.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "memory_file.h"
#include "scripted_frame.h"
#include "support/process.h"

namespace faults {
namespace {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;

class Threads : public testing::Test {
 protected:
  void SetUp() override {
    // No sink, and so no lock of one that would order what is to race.
    setenv("SPDLOG_STDOUT", "false", 1);
    scripted_engine::Reset();
    ScriptFrame();
  }

  // A detector of the calling thread's own, `frames` frames; counts what went wrong.
  void Work(int frames, std::atomic<int>& faults) const {
    DirtySegDetector detector;
    if (!detector.Init(ScriptedConfig(file_.path()))) ++faults;
    const ImageMap images = Frame();
    for (int i = 0; i < frames; ++i) {
      std::shared_ptr<DirtyStatusResultData> result;
      if (!detector.DoInference(images, result) || !IsWhole(*result)) ++faults;
    }
    for (int i = 0; i < 2000; ++i) {  // a line each, and nothing else
      if (detector.judge_fece(images, {})) ++faults;
    }
  }

  fuzz::MemoryFile file_{kTwoPatches};
};

TEST_F(Threads, TwoDetectorsRaceForTheFirstLineAndGoOnSideBySide) {
  std::atomic<int> faults{0};
  std::atomic<int> waiting{2};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      Work(5, faults);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
}

TEST_F(Threads, TheDetectorStartsNone) {
  const std::size_t before = nuvik::test::ThreadCount();
  std::atomic<int> faults{0};
  Work(3, faults);
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(nuvik::test::ThreadCount(), before);
}

}  // namespace
}  // namespace faults
