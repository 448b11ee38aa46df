// Which frames are taken of a camera, by a clock of the test.
#include "frames/video_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "base/errors.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;

// Gives a frame at each of the moments, and then none.
class FakeCamera : public VideoInput {
 public:
  FakeCamera(std::vector<double> moments, double& now) : moments_(std::move(moments)), now_(now) {}

  double FrameCount() const override { return 0.0; }
  double Rate() const override { return 30.0; }
  bool Grab() override {
    if (next_ == moments_.size()) return false;
    now_ = moments_[next_++];
    return true;
  }
  cv::Mat Retrieve() override { return test::Plain({8, 8}, test::kRedPixel); }
  bool Seek(std::int64_t /*frame*/) override { return false; }

 private:
  std::vector<double> moments_;
  double& now_;
  std::size_t next_ = 0;
};

std::vector<std::int64_t> IndicesOf(FrameReader& reader, double rate) {
  std::vector<std::int64_t> indices;
  for (Frame frame; reader.Read(frame);) {
    indices.push_back(frame.index);
    EXPECT_EQ(frame.rate, rate);
  }
  return indices;
}

TEST(Camera, GivesTheFirstFrameOfEveryPeriod) {
  double now = 100.0;
  auto camera = std::make_unique<FakeCamera>(
      std::vector<double>{100.25, 101.5, 102.0, 102.5, 103.9, 104.0}, now);
  const auto reader = ReadCamera(std::move(camera), {1, 2.0}, [&now] { return now; });
  EXPECT_EQ(reader->Count(), std::nullopt);
  EXPECT_THAT(IndicesOf(*reader, 0.5), ElementsAre(0, 2, 5));
}

// The second comes in the fourth period, and the next is due in the fifth.
TEST(Camera, IsNotPutOffByAFrameThatComesLate) {
  double now = 0.0;
  auto camera = std::make_unique<FakeCamera>(std::vector<double>{0.0, 7.9, 8.0, 9.0}, now);
  const auto reader = ReadCamera(std::move(camera), {1, 2.0}, [&now] { return now; });
  EXPECT_THAT(IndicesOf(*reader, 0.5), ElementsAre(0, 1, 2));
}

TEST(Camera, GivesEveryNthFrameWithoutAPeriod) {
  double now = 0.0;
  auto camera = std::make_unique<FakeCamera>(std::vector<double>(7, 0.0), now);
  const auto reader = ReadCamera(std::move(camera), {3, std::nullopt}, [&now] { return now; });
  EXPECT_THAT(IndicesOf(*reader, 10.0), ElementsAre(0, 3, 6));
}

// Of 12 frames a second: every 6th, and never less than every one.
TEST(Video, GivesOneFrameInSoManySecondsByItsRate) {
  const test::TemporaryFolder folder;
  const std::string path = test::WriteVideo(
      folder / "clip.avi", std::vector<cv::Mat>(13, test::Plain({64, 48}, test::kRedPixel)), 12.0);
  const auto half = OpenVideo(path, {1, 0.5});
  EXPECT_EQ(half->Count(), 3);
  EXPECT_THAT(IndicesOf(*half, 2.0), ElementsAre(0, 6, 12));
  EXPECT_EQ(OpenVideo(path, {1, 0.001})->Count(), 13);
}

}  // namespace
}  // namespace dirty_seg
