// Threads: two detectors in two, and none of the library's own. ctest runs each test in a process
// of its own, so that the first line of each is the process's first.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <opencv2/imgproc.hpp>
#include <thread>
#include <vector>

#include "scripted_frame.h"
#include "support/memory_file.h"
#include "support/process.h"

namespace faults {
namespace {

using nuvik::perception::dirty_seg_detector::AIBuff;
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

  nuvik::test::MemoryFile file_{kTwoPatches};
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

// Another thread in a loop of OpenCV's. It leaves as soon as memory for a matrix is asked for,
// which a function of OpenCV does before a loop of its own: OpenCV's flag against nested loops is
// one for all threads, and says something else then than a moment ago.
class LoopElsewhere : public cv::MatAllocator {
 public:
  LoopElsewhere() {
    while (!is_inside_) std::this_thread::yield();
    cv::Mat::setDefaultAllocator(this);
  }
  ~LoopElsewhere() override {
    cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator());
    Leave();
    thread_.join();
  }
  LoopElsewhere(const LoopElsewhere&) = delete;
  LoopElsewhere& operator=(const LoopElsewhere&) = delete;

  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag access, cv::UMatUsageFlags usage) const override {
    Leave();
    return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, access, usage);
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag access,
                cv::UMatUsageFlags usage) const override {
    return cv::Mat::getStdAllocator()->allocate(data, access, usage);
  }
  void deallocate(cv::UMatData* data) const override {
    cv::Mat::getStdAllocator()->deallocate(data);
  }

 private:
  void Leave() const {
    may_leave_ = true;
    while (!has_left_) std::this_thread::yield();
  }

  std::atomic<bool> is_inside_{false};
  mutable std::atomic<bool> may_leave_{false};
  std::atomic<bool> has_left_{false};
  std::thread thread_{[this] {
    cv::parallel_for_(cv::Range(0, 1), [this](const cv::Range& /*step*/) {
      is_inside_ = true;
      while (!may_leave_) std::this_thread::yield();
    });
    has_left_ = true;
  }};
};

// OpenCV's pool stays until the process ends: a worker that a single call had made would be left.
// The other thread stands for a second detector, or for whatever a host does with OpenCV.
class ScalingStartsNone : public Threads {
 protected:
  template <typename Stage>
  static void ExpectOf(const Stage& stage) {
    const std::size_t before = nuvik::test::ThreadCount();
    {
      const LoopElsewhere loop;
      DirtySegDetector detector;
      stage(detector);
    }
    EXPECT_TRUE(nuvik::test::ThreadCountBecomes(before));
  }

  // Becomes 640 x 360 pixels, four times what OpenCV scales on one thread.
  static constexpr int kSide = 640;
  static ImageMap Picture(int type) {
    return {{"color", std::make_shared<cv::Mat>(36, 64, type, cv::Scalar::all(9))}};
  }
  static AIBuff Input(std::size_t side) {
    AIBuff input;
    input.data->resize(sizeof(float) * 3 * side * side);
    return input;
  }
};

TEST_F(ScalingStartsNone, OfWholePictures) {
  for (const int type : {CV_8UC3, CV_8UC1, CV_16UC3}) {
    const ImageMap picture = Picture(type);
    ExpectOf([&](DirtySegDetector& detector) {
      AIBuff input = Input(kSide);
      EXPECT_TRUE(detector.PreProcess(picture, input, {kSide, kSide}));
    });
  }
}

TEST_F(ScalingStartsNone, OfPatches) {
  for (const int type : {CV_8UC3, CV_8UC1, CV_16UC3}) {
    const ImageMap picture = Picture(type);
    ExpectOf([&](DirtySegDetector& detector) {
      AIBuff input = Input(kSide);
      detector.patches_ = {{0, 0, 36, 36}};
      EXPECT_TRUE(detector.PreProcessFromSingleImageCrop(picture, input, {kSide, kSide}));
    });
  }
}

TEST_F(ScalingStartsNone, OfCandidates) {
  const cv::Mat crop(1080, 1920, CV_8UC3, cv::Scalar::all(9));
  ExpectOf([&](DirtySegDetector& detector) {
    AIBuff input = Input(224);
    EXPECT_TRUE(detector.PreProcessFece(crop, input));
  });
}

// What the tests above would see.
TEST_F(ScalingStartsNone, ButOpenCvItselfWould) {
  if (cv::getNumThreads() < 2) GTEST_SKIP() << "OpenCV would not use a second thread here";
  const std::size_t before = nuvik::test::ThreadCount();
  cv::Mat scaled;
  cv::resize(*Picture(CV_8UC3).at("color"), scaled, {kSide, 360});
  EXPECT_GT(nuvik::test::ThreadCount(), before);
}

}  // namespace
}  // namespace faults
