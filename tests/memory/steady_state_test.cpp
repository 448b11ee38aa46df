// What a frame asks of the allocator once the detector has seen a few: of the large blocks only
// those that leave the library with the result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "engine/network_reader.h"
#include "large_blocks.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using memory_test::kLargeBlock;
using memory_test::LargeBlocks;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

// OpenCV asks for some bytes more: it aligns the block and notes its address before it.
constexpr std::size_t kCanvas = 1920 * 1080;
constexpr std::size_t kAlignment = 128;

AIEngineConfig ConfigOf(const std::string& network) {
  alg::common::Network read;
  std::string error;
  EXPECT_EQ(alg::common::ReadNetwork(FLOOR_FOLDER "/" + network, {}, read, error), 0) << error;
  read.config.thread_count = 2;
  return read.config;
}

// Keeps the compiler from leaving out an unused block.
void* Used(void* block) {
  asm volatile("" : "+r"(block) : : "memory");
  return block;
}

TEST(LargeBlocks, CountsEveryKindOfRequest) {
  constexpr std::size_t kBytes = kLargeBlock + 1;
  constexpr std::align_val_t kWide{64};
  LargeBlocks blocks;
  void* block = Used(std::malloc(kBytes));
  block = Used(std::realloc(block, kBytes + 1));
  std::free(block);
  std::free(Used(std::calloc(kBytes + 2, 1)));
  void* aligned = nullptr;
  EXPECT_EQ(posix_memalign(&aligned, 64, kBytes + 3), 0);
  std::free(aligned);
  ::operator delete(Used(::operator new(kBytes + 4)));
  ::operator delete(Used(::operator new(kLargeBlock + 64, kWide)), kWide);
  const cv::Mat matrix(1, kBytes + 100, CV_8UC1);
  std::vector<std::size_t> sizes = blocks.Stop();
  ASSERT_THAT(sizes, SizeIs(7));
  EXPECT_THAT(sizes.back(), AllOf(Ge(kBytes + 100), Le(kBytes + 100 + kAlignment)));
  sizes.pop_back();
  EXPECT_THAT(
      sizes, ElementsAre(kBytes, kBytes + 1, kBytes + 2, kBytes + 3, kBytes + 4, kLargeBlock + 64));
}

TEST(LargeBlocks, PassesOverWhatIsNotLarge) {
  LargeBlocks blocks;
  std::free(Used(std::malloc(kLargeBlock)));
  EXPECT_THAT(blocks.Stop(), IsEmpty());
}

// The floor through its networks.
class SteadyState : public testing::Test {
 protected:
  void SetUp() override {
    setenv("SPDLOG_STDOUT", "false", 1);
    auto floor = std::make_shared<cv::Mat>(cv::imread(FLOOR_FOLDER "/floor.jpg"));
    ASSERT_EQ(floor->size(), cv::Size(1920, 1080));
    images_["color"] = floor;
    config_.dirty_seg_model_config = ConfigOf("dirt-seg.onnx");
    config_.yaml_config_path = FLOOR_FOLDER "/floor.yaml";
  }

  // Frames of which the host holds one result at a time, and one large block for each of that
  // result's canvases.
  void ExpectCanvasesAlone() {
    DirtySegDetector detector;
    ASSERT_TRUE(detector.Init(config_));
    std::shared_ptr<DirtyStatusResultData> result;
    for (int frame = 0; frame < 3; ++frame) ASSERT_TRUE(detector.DoInference(images_, result));
    for (int frame = 0; frame < 3; ++frame) {
      LargeBlocks blocks;
      ASSERT_TRUE(detector.DoInference(images_, result));
      const std::vector<std::size_t> sizes = blocks.Stop();
      ASSERT_FALSE(result->label_masks.empty());
      EXPECT_THAT(sizes, SizeIs(result->label_masks.size())) << LargeBlocks::Callers();
      EXPECT_THAT(sizes, Each(AllOf(Ge(kCanvas), Le(kCanvas + kAlignment))))
          << LargeBlocks::Callers();
    }
  }

  ImageMap images_;
  DirtySegDetectorConfig config_;
};

TEST_F(SteadyState, AFrameAsksForItsCanvasesAlone) { ExpectCanvasesAlone(); }

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
